#pragma once

#include <platform/base/types.h>

#include <csignal>

namespace programs {

/// Why a wait ended, the most important first.
enum class Wakeup { Stop, Poked, Timeout };

/// The only thing on which a scheduler waits between jobs. Tests give one that lets the time pass at once.
class Waiter {
public:
    virtual ~Waiter() = default;
    /// Waits at most that long. Once it was Stop, it is Stop.
    virtual Wakeup Wait(DWORD milliseconds) = 0;
    /// Whether the next wait is a Stop. Ends no poke.
    virtual bool HasStopped() = 0;
    /// Ends the wait, or the next one if none is under way. From any thread.
    virtual void Poke() = 0;
};

/// Waits for SIGTERM, SIGINT and SIGHUP, unless the process ignores them, and keeps them from their usual effect in the
/// thread that made it and those started afterwards. The first of them is a Stop; the next one ends the process at
/// once.
class SignalWaiter final : public Waiter {
public:
    SignalWaiter();
    SignalWaiter(const SignalWaiter&) = delete;
    SignalWaiter& operator=(const SignalWaiter&) = delete;
    ~SignalWaiter() override;

    Wakeup Wait(DWORD milliseconds) override;
    bool HasStopped() override;
    void Poke() override;

private:
    sigset_t _before{};
    int _signals;
    int _pokes;
    bool _isStopped = false;
};

}  // namespace programs
