#include <platform/system/PipeWatch.h>

#include <platform/base/clock.h>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>
#include <vector>

namespace platform {

namespace {

struct Spares {
    std::mutex mutex;
    std::vector<std::unique_ptr<PipeWatch>> watches;
};

Spares& TheSpares() {
    static auto& spares = *new Spares;
    return spares;
}

}  // namespace

std::unique_ptr<PipeWatch> PipeWatch::Take() {
    Spares& spares = TheSpares();
    const std::scoped_lock lock(spares.mutex);
    if (spares.watches.empty()) return std::make_unique<PipeWatch>();
    std::unique_ptr<PipeWatch> watch = std::move(spares.watches.back());
    spares.watches.pop_back();
    return watch;
}

void PipeWatch::GiveBack(std::unique_ptr<PipeWatch> watch) {
    Spares& spares = TheSpares();
    const std::scoped_lock lock(spares.mutex);
    spares.watches.push_back(std::move(watch));
}

PipeWatch::~PipeWatch() {
    if (_descriptor >= 0) ::close(_descriptor);
}

void PipeWatch::Begin(const std::string& folder) {
    if (_process != ::getpid()) {
        if (_descriptor >= 0) ::close(_descriptor);
        _descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        _watched = -1;
        _process = ::getpid();
    }
    const int before = _watched;
    _watched = ::inotify_add_watch(_descriptor, folder.c_str(), IN_MOVED_TO | IN_ONLYDIR);
    if (before >= 0 && before != _watched) ::inotify_rm_watch(_descriptor, before);
    Forget();
}

bool PipeWatch::Await(DWORD milliseconds) {
    constexpr DWORD nap = 20;
    if (_watched < 0) {
        platform::Sleep(std::min(nap, milliseconds));
        return milliseconds > nap;
    }
    const bool hasHappened = platform::Await(_descriptor, POLLIN, milliseconds);
    Forget();
    return hasHappened;
}

void PipeWatch::Forget() {
    std::array<char, 4096> notices;
    while (::read(_descriptor, notices.data(), notices.size()) > 0) continue;
}

}  // namespace platform
