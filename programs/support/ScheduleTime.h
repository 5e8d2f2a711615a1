#pragma once

#include <platform/base/types.h>

#include <string>

namespace programs {

/// The local time that "2026-12-24 23:30" names. Throws a usage error in words: for another form, a date that is none,
/// one in the past or beyond what a job's time can hold, and one that the start of daylight saving skips.
TimeValue ParseJobTime(const std::string& text);

/// The next full minute a span from now, "2h", "90m", "1d12h": days, hours and minutes, in this order. Throws likewise.
TimeValue ParseJobDelay(const std::string& text);

/// A job's time as ParseJobTime reads it.
std::string JobTimeText(TimeValue time);

}  // namespace programs
