#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <cstdint>
#include <ctime>
#include <string>

namespace platform {

/// The time and the waiting of the process. Tests put a clock of their own in place, so that nothing waits for real.
/// May be called from any thread, and by several at once; only `Sleep`, `Beep` and `Await` block, for their time.
class PLATFORM_API Clock {
public:
    virtual ~Clock() = default;
    /// Seconds since 1 January 1970 UTC.
    virtual std::int64_t Now() = 0;
    /// Waits that many milliseconds.
    virtual void Sleep(DWORD milliseconds) = 0;
    /// Sounds the speaker: hertz, milliseconds. Without a speaker nothing is heard.
    virtual void Beep(DWORD frequency, DWORD milliseconds) = 0;
    /// Waits for another program's doing: until `events`, as poll takes them, come to a descriptor, for at most that
    /// many milliseconds (0xFFFFFFFF: without limit). False when they did not come. As it stands, it waits for real.
    virtual bool Await(int descriptor, short events, DWORD milliseconds);
};

/// Puts another clock in place and returns the one before; null restores the system's. The caller keeps it alive
/// until it is replaced and no call is under way on another thread.
PLATFORM_API Clock* SetClock(Clock* clock);

/// The current time, clamped to the range of TimeValue.
PLATFORM_API TimeValue CurrentTime();

PLATFORM_API void Sleep(DWORD milliseconds);
PLATFORM_API void Beep(DWORD frequency, DWORD milliseconds);
PLATFORM_API bool Await(int descriptor, short events, DWORD milliseconds);

/// A time broken down into local time.
PLATFORM_API std::tm LocalTime(TimeValue time);

/// The time of a local date; units out of range carry over into the next larger one, `year` is the full year, `month`
/// counts from 1, and the system decides whether daylight saving applies. Clamps to the range of TimeValue.
PLATFORM_API TimeValue MakeTime(int year, int month, int day, int hour, int minute, int second);

/// A local time by strftime's rules with English names, whatever the locale. Conversions: %Y %m %B %b %d %A %a %H %M %S
/// %%; anything else is copied.
PLATFORM_API std::wstring FormatTime(TimeValue time, const wchar_t* format);
/// The same for a time that was broken down before, as LocalTime does.
PLATFORM_API std::wstring FormatTime(const std::tm& local, const wchar_t* format);

}  // namespace platform
