#pragma once

#include <platform/base/types.h>

#include <string>

namespace programs {

/// The time that "2026-12-24 23:30" names: local, or with an offset behind it ("+01:00", "Z") at that offset; a "T" may
/// stand between date and time, and ":00" behind the minute. Throws a usage error in words: for another form, a date
/// that is none, a time in the past or beyond what a job's time can hold, and a local one that the clock skips or shows
/// twice where daylight saving begins or ends.
TimeValue ParseJobTime(const std::string& text);

/// The next full minute a span from now, "2h", "90m", "1d12h": days, hours and minutes, in this order. Throws likewise.
TimeValue ParseJobDelay(const std::string& text);

/// The seconds of such a span, which may be none ("0m"). Throws a usage error in words above `longest`.
DWORD ParseSpan(const std::string& text, DWORD longest);

/// A time as ParseJobTime reads it and RFC 3339 has it, on this process's clock: "2026-12-24T23:30:00+01:00".
std::string JobTimeText(TimeValue time);

/// A whole span as ParseSpan reads it.
std::string SpanText(DWORD seconds);

}  // namespace programs
