#include <programs/support/ScheduleTime.h>

#include <platform/base/clock.h>
#include <platform/base/text.h>
#include <programs/support/ExitCode.h>

#include <array>
#include <chrono>
#include <ctime>
#include <limits>
#include <optional>
#include <string_view>

namespace programs {

namespace {

constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

CommandError Usage(const std::string& text) {
    return CommandError(ExitCode::Usage, text);
}

CommandError TooLate(const std::string& text) {
    return Usage("\"" + text + "\" is too late: a job's time can be " + JobTimeText(latest) + " at the latest.");
}

struct LocalMinute {
    int year, month, day, hour, minute;
};

std::optional<int> Number(std::string_view digits) {
    int number = 0;
    for (const char digit : digits) {
        if (digit < '0' || digit > '9') return std::nullopt;
        number = number * 10 + (digit - '0');
    }
    return number;
}

// Exactly "YYYY-MM-DD HH:MM".
std::optional<LocalMinute> ReadMinute(std::string_view text) {
    constexpr std::string_view form = "YYYY-MM-DD HH:MM";
    if (text.size() != form.size()) return std::nullopt;
    for (const std::size_t mark : {4U, 7U, 10U, 13U})
        if (text[mark] != form[mark]) return std::nullopt;
    const auto year = Number(text.substr(0, 4));
    const auto month = Number(text.substr(5, 2));
    const auto day = Number(text.substr(8, 2));
    const auto hour = Number(text.substr(11, 2));
    const auto minute = Number(text.substr(14, 2));
    if (!year || !month || !day || !hour || !minute) return std::nullopt;
    return LocalMinute{*year, *month, *day, *hour, *minute};
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

}  // namespace

TimeValue ParseJobTime(const std::string& text) {
    const std::optional<LocalMinute> minute = ReadMinute(text);
    if (!minute) throw Usage("\"" + text + R"(" is no time. Give date and time as in: --at "2026-12-24 23:30")");
    if (!IsInCalendar(*minute)) throw Usage("\"" + text + "\" is on no calendar and no clock.");
    const TimeValue time =
        platform::MakeTime(minute->year, minute->month, minute->day, minute->hour, minute->minute, 0);
    if (time == latest) throw TooLate(text);
    if (time <= platform::CurrentTime()) throw Usage("\"" + text + "\" is in the past.");
    if (!IsOnClock(time, *minute))
        throw Usage("\"" + text + "\" does not come: the clock is set forward over it for daylight saving.");
    return time;
}

TimeValue ParseJobDelay(const std::string& text) {
    constexpr std::array<std::pair<char, std::int64_t>, 3> units{{{'d', 86'400}, {'h', 3'600}, {'m', 60}}};
    constexpr std::size_t mostDigits = 6;
    std::int64_t seconds = 0;
    std::string_view rest = text;
    for (const auto& [unit, length] : units) {
        const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
        if (digits == 0 || digits > mostDigits || digits == rest.size() || rest[digits] != unit) continue;
        seconds += *Number(rest.substr(0, digits)) * length;
        rest.remove_prefix(digits + 1);
    }
    if (!rest.empty() || seconds == 0)
        throw Usage("\"" + text + "\" is no span. Give days, hours and minutes as in: --in 2h, --in 90m, --in 1d12h");
    const std::int64_t minute = (platform::CurrentTime() + seconds + 59) / 60 * 60;  // not before the span is over
    if (minute >= latest) throw TooLate(text);
    return static_cast<TimeValue>(minute);
}

std::string JobTimeText(TimeValue time) {
    return platform::ToUtf8(platform::FormatTime(time, L"%Y-%m-%d %H:%M"));
}

}  // namespace programs
