#pragma once

#include <platform/base/clock.h>

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace tests {

/// The process's clock while it lives: it stands still, but for naps, which pass at once.
class FakeClock : public platform::Clock {
public:
    /// `now` is in seconds since 1 January 1970 UTC; the default is a Tuesday, 14 November 2023, 22:13:20 UTC.
    explicit FakeClock(std::int64_t now = 1'700'000'000) : _milliseconds(now * 1000) {}
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;
    ~FakeClock() override { platform::SetClock(_before); }

    std::int64_t Now() override { return _milliseconds / 1000; }

    void Sleep(DWORD milliseconds) override {
        naps.push_back(milliseconds);
        _milliseconds += milliseconds;
        if (auto events = std::exchange(meanwhile, {})) events();
    }

    void Beep(DWORD frequency, DWORD milliseconds) override { beeps.emplace_back(frequency, milliseconds); }

    bool Await(int descriptor, short events, DWORD milliseconds) override {
        if (!isAlone) return Clock::Await(descriptor, events, milliseconds);
        if (Clock::Await(descriptor, events, 0)) return true;
        _milliseconds += milliseconds;
        return false;
    }

    void Set(std::int64_t now) { _milliseconds = now * 1000; }
    void Advance(std::int64_t seconds) { _milliseconds += seconds * 1000; }

    bool isAlone = false;                        // no other program does anything: waits for one pass at once
    std::function<void()> meanwhile;             // happens once, at the end of the next nap
    std::vector<DWORD> naps;                     // each in milliseconds
    std::vector<std::pair<DWORD, DWORD>> beeps;  // hertz, milliseconds

private:
    std::int64_t _milliseconds;
    platform::Clock* _before = platform::SetClock(this);
};

}  // namespace tests
