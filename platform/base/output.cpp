#include <platform/base/output.h>
#include <platform/base/text.h>

#include <poll.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

namespace platform {

namespace {

std::atomic<OutputSink*> currentSink = nullptr;

/// Keeps a write to a pipe without a reader from ending the process: the library was asked to do something else, and
/// its lines are only told beside it.
class BrokenPipeGuard {
public:
    BrokenPipeGuard() {
        sigset_t pending;
        sigpending(&pending);
        _wasPending = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&_pipeSignal);
        sigaddset(&_pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &_pipeSignal, &_before);
    }
    BrokenPipeGuard(const BrokenPipeGuard&) = delete;
    BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;
    ~BrokenPipeGuard() {
        constexpr timespec noWait = {};
        if (!_wasPending) sigtimedwait(&_pipeSignal, nullptr, &noWait);
        pthread_sigmask(SIG_SETMASK, &_before, nullptr);
    }

private:
    sigset_t _pipeSignal;
    sigset_t _before;
    bool _wasPending = false;
};

void WriteToStandardOutput(std::string_view bytes) {
    const BrokenPipeGuard guard;
    std::fflush(stdout);  // the program's own lines come first
    while (!bytes.empty()) {
        const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd ready = {STDOUT_FILENO, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

class Silence final : public OutputSink {
public:
    void Write(std::wstring_view) override {}
    bool IsRead() const override { return false; }
};

}  // namespace

OutputSink* SetOutputSink(OutputSink* sink) {
    return currentSink.exchange(sink);
}

OutputSink& SilentOutput() {
    static auto& silence = *new Silence;
    return silence;
}

bool IsOutputRead() {
    const OutputSink* sink = currentSink.load();
    return !sink || sink->IsRead();
}

void WriteOutput(std::wstring_view text) {
    if (OutputSink* sink = currentSink.load())
        sink->Write(text);
    else
        WriteToStandardOutput(ToUtf8(text));
}

void WriteOutputLine(std::wstring_view text) {
    WriteOutput(std::wstring(text) + L'\n');
}

}  // namespace platform
