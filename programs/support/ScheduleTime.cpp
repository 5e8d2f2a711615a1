#include <programs/support/ScheduleTime.h>

#include <platform/base/clock.h>
#include <platform/base/text.h>
#include <programs/support/ExitCode.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace programs {

namespace {

constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

constexpr std::array<std::pair<char, DWORD>, 3> spanUnits{{{'d', 86'400}, {'h', 3'600}, {'m', 60}}};

CommandError Usage(const std::string& text) {
    return CommandError(ExitCode::Usage, text);
}

CommandError TooLate(const std::string& text) {
    return Usage("\"" + text + "\" is too late: a job's time can be " + JobTimeText(latest) + " at the latest.");
}

struct LocalMinute {
    int year, month, day, hour, minute;
    std::optional<int> offset;  // seconds east of UTC; none: of the process's zone
};

std::optional<int> Number(std::string_view digits) {
    int number = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') return std::nullopt;
        number = number * 10 + (digit - '0');
    }
    return number;
}

// Nothing, "Z" or "+HH:MM"; false for anything else.
bool ReadOffset(std::string_view text, std::optional<int>& offset) {
    if (text.empty()) return true;
    if (text == "Z") return offset = 0, true;
    if (text.size() != 6 || (text[0] != '+' && text[0] != '-') || text[3] != ':') return false;
    const auto hours = Number(text.substr(1, 2));
    const auto minutes = Number(text.substr(4, 2));
    if (!hours || !minutes || *hours > 23 || *minutes > 59) return false;
    offset = (text[0] == '-' ? -1 : 1) * (*hours * 3600 + *minutes * 60);
    return true;
}

// "YYYY-MM-DD HH:MM", with what may stand behind it.
std::optional<LocalMinute> ReadMinute(std::string_view text) {
    constexpr std::string_view form = "YYYY-MM-DD HH:MM";
    if (text.size() < form.size()) return std::nullopt;
    for (const std::size_t mark : {4U, 7U, 13U})
        if (text[mark] != form[mark]) return std::nullopt;
    if (text[10] != ' ' && text[10] != 'T') return std::nullopt;
    const auto year = Number(text.substr(0, 4));
    const auto month = Number(text.substr(5, 2));
    const auto day = Number(text.substr(8, 2));
    const auto hour = Number(text.substr(11, 2));
    const auto minute = Number(text.substr(14, 2));
    if (!year || !month || !day || !hour || !minute) return std::nullopt;
    LocalMinute read{*year, *month, *day, *hour, *minute, {}};
    text.remove_prefix(form.size());
    if (text.starts_with(":00")) text.remove_prefix(3);
    return ReadOffset(text, read.offset) ? std::optional(read) : std::nullopt;
}

bool IsInCalendar(const LocalMinute& minute) {
    const std::chrono::year_month_day date(std::chrono::year(minute.year),
                                           std::chrono::month(static_cast<unsigned>(minute.month)),
                                           std::chrono::day(static_cast<unsigned>(minute.day)));
    return date.ok() && minute.hour < 24 && minute.minute < 60;
}

bool IsOnClock(TimeValue time, const LocalMinute& minute) {
    const std::tm local = platform::LocalTime(time);
    return local.tm_year + 1900 == minute.year && local.tm_mon + 1 == minute.month && local.tm_mday == minute.day &&
           local.tm_hour == minute.hour && local.tm_min == minute.minute;
}

TimeValue AtOffset(const LocalMinute& minute, const std::string& text) {
    const std::chrono::sys_days day = std::chrono::year(minute.year) / minute.month / static_cast<unsigned>(minute.day);
    const std::int64_t time =
        std::chrono::seconds(day.time_since_epoch()).count() + minute.hour * 3600 + minute.minute * 60 - *minute.offset;
    if (time >= latest) throw TooLate(text);
    return static_cast<TimeValue>(std::max<std::int64_t>(time, 0));
}

// Whether the clock is set forward over a time, or back so that it comes twice, only those before it can say.
TimeValue OnLocalClock(const LocalMinute& minute, const std::string& text) {
    const TimeValue time = platform::MakeTime(minute.year, minute.month, minute.day, minute.hour, minute.minute, 0);
    if (time == latest) throw TooLate(text);
    if (!IsOnClock(time, minute))
        throw Usage("\"" + text + "\" does not come: the clock is set forward over it for daylight saving.");
    for (const int change : {-3600, -1800, 1800, 3600}) {  // as far as clocks are set back
        if (!IsOnClock(time + change, minute)) continue;
        const TimeValue other = time + change;
        throw Usage("The clock shows \"" + text + "\" twice. Say which is meant: --at " +
                    JobTimeText(std::min(time, other)) + " or --at " + JobTimeText(std::max(time, other)));
    }
    return time;
}

std::optional<std::int64_t> ReadSpan(std::string_view rest) {
    constexpr std::size_t mostDigits = 6;
    if (rest.empty()) return std::nullopt;
    std::int64_t seconds = 0;
    for (const auto& [unit, length] : spanUnits) {
        const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
        if (digits == 0 || digits > mostDigits || digits == rest.size() || rest[digits] != unit) continue;
        seconds += *Number(rest.substr(0, digits)) * length;
        rest.remove_prefix(digits + 1);
    }
    return rest.empty() ? std::optional(seconds) : std::nullopt;
}

}  // namespace

TimeValue ParseJobTime(const std::string& text) {
    const std::optional<LocalMinute> minute = ReadMinute(text);
    if (!minute) throw Usage("\"" + text + R"(" is no time. Give date and time as in: --at "2026-12-24 23:30")");
    if (!IsInCalendar(*minute)) throw Usage("\"" + text + "\" is on no calendar and no clock.");
    const TimeValue time = minute->offset ? AtOffset(*minute, text) : OnLocalClock(*minute, text);
    if (time <= platform::CurrentTime()) throw Usage("\"" + text + "\" is in the past.");
    return time;
}

TimeValue ParseJobDelay(const std::string& text) {
    const std::int64_t seconds = ReadSpan(text).value_or(0);
    if (seconds == 0)
        throw Usage("\"" + text + "\" is no span. Give days, hours and minutes as in: --in 2h, --in 90m, --in 1d12h");
    const std::int64_t minute = (platform::CurrentTime() + seconds + 59) / 60 * 60;  // not before the span is over
    if (minute >= latest) throw TooLate(text);
    return static_cast<TimeValue>(minute);
}

DWORD ParseSpan(const std::string& text, DWORD longest) {
    const std::optional<std::int64_t> seconds = ReadSpan(text);
    if (!seconds) throw Usage("\"" + text + "\" is no span. Give days, hours and minutes as in: 2h, 90m, 1d12h");
    if (*seconds > longest) throw Usage("\"" + text + "\" is too long: at most " + SpanText(longest) + ".");
    return static_cast<DWORD>(*seconds);
}

std::string JobTimeText(TimeValue time) {
    const std::tm local = platform::LocalTime(time);
    const long minutes = std::labs(local.tm_gmtoff) / 60;
    const auto twoDigits = [](long number) { return std::to_string(number / 10) + std::to_string(number % 10); };
    return platform::ToUtf8(platform::FormatTime(local, L"%Y-%m-%dT%H:%M:%S")) + (local.tm_gmtoff < 0 ? "-" : "+") +
           twoDigits(minutes / 60) + ":" + twoDigits(minutes % 60);
}

std::string SpanText(DWORD seconds) {
    std::string text;
    for (const auto& [unit, length] : spanUnits) {
        if (const std::int64_t count = seconds / length) text += std::to_string(count) + unit;
        seconds %= length;
    }
    return text.empty() ? "0m" : text;
}

}  // namespace programs
