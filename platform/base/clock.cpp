#include <platform/base/clock.h>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <limits>
#include <string_view>
#include <thread>

namespace platform {

namespace {

class SystemClock : public Clock {
public:
    std::int64_t Now() override { return std::time(nullptr); }

    void Sleep(DWORD milliseconds) override { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

    void Beep(DWORD frequency, DWORD milliseconds) override {
        const int speaker = open("/dev/input/by-path/platform-pcspkr-event-spkr", O_WRONLY | O_CLOEXEC);
        if (speaker < 0) return;
        if (Sound(speaker, frequency)) {
            Sleep(milliseconds);
            Sound(speaker, 0);
        }
        close(speaker);
    }

private:
    static bool Sound(int speaker, DWORD frequency) {
        input_event event = {};
        event.type = EV_SND;
        event.code = SND_TONE;
        event.value = static_cast<std::int32_t>(frequency);
        return write(speaker, &event, sizeof event) == sizeof event;
    }
};

std::atomic<Clock*> replacedClock = nullptr;

Clock& CurrentClock() {
    static SystemClock& systemClock = *new SystemClock;  // lives on for what static destructors still do
    Clock* clock = replacedClock.load();
    return clock ? *clock : systemClock;
}

constexpr TimeValue earliest = std::numeric_limits<TimeValue>::min();
constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

TimeValue Clamp(std::int64_t seconds) {
    return static_cast<TimeValue>(std::clamp<std::int64_t>(seconds, earliest, latest));
}

constexpr std::int64_t secondsOfDay = 86400;

std::int64_t FloorDivide(std::int64_t value, std::int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

/// Days from 1 January 1970 to the first of a month of the Gregorian calendar; `month` counts from 0.
std::int64_t DaysToMonth(std::int64_t year, std::int64_t month) {
    // Years that begin in March have their leap day last, and months follow in a fixed pattern of lengths.
    const std::int64_t shifted = month < 2 ? year - 1 : year;
    const std::int64_t monthFromMarch = (month + 10) % 12;
    const std::int64_t leapDays = FloorDivide(shifted, 4) - FloorDivide(shifted, 100) + FloorDivide(shifted, 400);
    return shifted * 365 + leapDays + (153 * monthFromMarch + 2) / 5 - 719468;
}

constexpr const wchar_t* monthNames[] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                         L"July",    L"August",   L"September", L"October", L"November", L"December"};
constexpr const wchar_t* dayNames[] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                       L"Thursday", L"Friday", L"Saturday"};

std::wstring Digits(int value, std::size_t width) {
    std::wstring digits = std::to_wstring(value);
    return std::wstring(width > digits.size() ? width - digits.size() : 0, L'0') + digits;
}

std::wstring FormatField(const std::tm& time, wchar_t conversion) {
    const std::wstring_view month = monthNames[static_cast<std::size_t>(time.tm_mon)];
    const std::wstring_view day = dayNames[static_cast<std::size_t>(time.tm_wday)];
    switch (conversion) {
        case L'Y': return Digits(time.tm_year + 1900, 4);
        case L'm': return Digits(time.tm_mon + 1, 2);
        case L'B': return std::wstring(month);
        case L'b': return std::wstring(month.substr(0, 3));
        case L'd': return Digits(time.tm_mday, 2);
        case L'A': return std::wstring(day);
        case L'a': return std::wstring(day.substr(0, 3));
        case L'H': return Digits(time.tm_hour, 2);
        case L'M': return Digits(time.tm_min, 2);
        case L'S': return Digits(time.tm_sec, 2);
        case L'%': return L"%";
        default: return {L'%', conversion};
    }
}

}  // namespace

bool Clock::Await(int descriptor, short events, DWORD milliseconds) {
    using std::chrono::steady_clock;
    constexpr DWORD unlimited = 0xFFFFFFFF;
    const auto deadline = steady_clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        // Rounded up, so that the wait never ends before its time.
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
        const auto limit = std::clamp<std::int64_t>(rest, 0, std::numeric_limits<int>::max());
        pollfd awaited = {descriptor, events, 0};
        const int count = ::poll(&awaited, 1, milliseconds == unlimited ? -1 : static_cast<int>(limit));
        if (count > 0) return true;
        if (count == 0 && rest <= 0) return false;
        if (count < 0 && errno != EINTR) return false;
    }
}

Clock* SetClock(Clock* clock) {
    return replacedClock.exchange(clock);
}

TimeValue CurrentTime() {
    return Clamp(CurrentClock().Now());
}

void Sleep(DWORD milliseconds) {
    CurrentClock().Sleep(milliseconds);
}

void Beep(DWORD frequency, DWORD milliseconds) {
    CurrentClock().Beep(frequency, milliseconds);
}

bool Await(int descriptor, short events, DWORD milliseconds) {
    return CurrentClock().Await(descriptor, events, milliseconds);
}

std::tm LocalTime(TimeValue time) {
    const std::time_t seconds = time;
    std::tm local = {};
    tzset();
    localtime_r(&seconds, &local);
    return local;
}

TimeValue MakeTime(int year, int month, int day, int hour, int minute, int second) {
    const std::int64_t months = std::int64_t{year} * 12 + month - 1;
    const std::int64_t fullYear = FloorDivide(months, 12);
    const std::int64_t time = (DaysToMonth(fullYear, months - fullYear * 12) + day - 1) * secondsOfDay +
                              std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
    // No zone is a whole day off UTC, so that further out the zone cannot matter, and nothing below can overflow.
    if (Clamp(time - secondsOfDay) == latest || Clamp(time + secondsOfDay) == earliest) return Clamp(time);
    const std::time_t utc = time;
    std::tm local = {};
    gmtime_r(&utc, &local);
    local.tm_isdst = -1;
    tzset();
    return Clamp(std::mktime(&local));
}

std::wstring FormatTime(TimeValue time, const wchar_t* format) {
    return FormatTime(LocalTime(time), format);
}

std::wstring FormatTime(const std::tm& local, const wchar_t* format) {
    std::wstring text;
    for (std::wstring_view rest = format ? format : L""; !rest.empty(); rest.remove_prefix(1)) {
        if (rest.front() != L'%' || rest.size() == 1) {
            text += rest.front();
            continue;
        }
        rest.remove_prefix(1);
        text += FormatField(local, rest.front());
    }
    return text;
}

}  // namespace platform
