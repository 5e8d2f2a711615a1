#include <programs/ostra-scheduler/Waiter.h>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <system_error>

namespace programs {

namespace {

// Blocked, a signal that the process was started to ignore (under nohup, or as a script's background job) would come.
sigset_t StopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
    }
    return signals;
}

int Checked(int descriptor) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "The scheduler cannot wait");
    return descriptor;
}

// What was to be read is of no use beyond its being there.
template <typename Note>
bool TakeNote(int descriptor) {
    Note note;
    return ::read(descriptor, &note, sizeof note) == static_cast<ssize_t>(sizeof note);
}

}  // namespace

SignalWaiter::SignalWaiter()
    : _signals([] {
          const sigset_t stops = StopSignals();
          return Checked(::signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK));
      }()),
      _pokes(Checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
    const sigset_t stops = StopSignals();
    pthread_sigmask(SIG_BLOCK, &stops, &_before);
}

SignalWaiter::~SignalWaiter() {
    pthread_sigmask(SIG_SETMASK, &_before, nullptr);
    ::close(_signals);
    ::close(_pokes);
}

Wakeup SignalWaiter::Wait(DWORD milliseconds) {
    if (_isStopped) return Wakeup::Stop;
    std::array<pollfd, 2> sources{{{_signals, POLLIN, 0}, {_pokes, POLLIN, 0}}};
    const auto limit = std::min<DWORD>(milliseconds, std::numeric_limits<int>::max());
    ::poll(sources.data(), sources.size(), static_cast<int>(limit));
    if (HasStopped()) return Wakeup::Stop;
    return TakeNote<std::uint64_t>(_pokes) ? Wakeup::Poked : Wakeup::Timeout;
}

bool SignalWaiter::HasStopped() {
    if (_isStopped) return true;
    _isStopped = TakeNote<signalfd_siginfo>(_signals);
    if (_isStopped) pthread_sigmask(SIG_SETMASK, &_before, nullptr);
    return _isStopped;
}

void SignalWaiter::Poke() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(_pokes, &one, sizeof one);  // a full counter wakes as well
}

}  // namespace programs
