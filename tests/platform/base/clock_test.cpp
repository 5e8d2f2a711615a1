#include <platform/base/clock.h>
#include <tests/support/FakeClock.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

using namespace platform;

namespace {

constexpr TimeValue earliest = std::numeric_limits<TimeValue>::min();
constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

/// Each test names its zone by its rule, so that no zone data need be installed.
class LocalTimes : public testing::Test {
protected:
    ~LocalTimes() override {
        if (_before.empty())
            unsetenv("TZ");
        else
            setenv("TZ", _before.c_str(), 1);
    }

    static void MoveTo(const char* zone) { setenv("TZ", zone, 1); }

    static constexpr const wchar_t* everything = L"%Y-%m-%d %H:%M:%S";

private:
    std::string _before = std::getenv("TZ") ? std::getenv("TZ") : "";
};

TEST_F(LocalTimes, FollowTheZoneOfTheMoment) {
    const struct {
        const char* zone;
        TimeValue time;
        const wchar_t* text;
    } rows[] = {
        {"UTC0", 1700000000, L"2023-11-14 22:13:20"},
        {"EST5EDT,M3.2.0,M11.1.0", 1700000000, L"2023-11-14 17:13:20"},
        {"IST-5:30", 1700000000, L"2023-11-15 03:43:20"},
        {"UTC0", 951782400, L"2000-02-29 00:00:00"},
        {"UTC0", -1, L"1969-12-31 23:59:59"},
        {"UTC0", earliest, L"1901-12-13 20:45:52"},
        {"UTC0", latest, L"2038-01-19 03:14:07"},
    };
    for (const auto& row : rows) {
        MoveTo(row.zone);
        EXPECT_EQ(row.text, FormatTime(row.time, everything)) << row.zone;
        const std::tm local = LocalTime(row.time);
        EXPECT_EQ(row.time, MakeTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                                     local.tm_sec))
            << row.zone << " " << row.time;
    }
}

TEST_F(LocalTimes, JumpAtAChangeOfDaylightSaving) {
    MoveTo("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(L"2024-03-31 03:00:00", FormatTime(MakeTime(2024, 3, 31, 1, 59, 59) + 1, everything));
    EXPECT_EQ(23 * 3600, MakeTime(2024, 4, 1, 0, 0, 0) - MakeTime(2024, 3, 31, 0, 0, 0));
    EXPECT_EQ(25 * 3600, MakeTime(2024, 10, 28, 0, 0, 0) - MakeTime(2024, 10, 27, 0, 0, 0));
    const std::tm summer = LocalTime(MakeTime(2024, 7, 1, 12, 0, 0));
    EXPECT_TRUE(summer.tm_isdst == 1 && summer.tm_hour == 12);
}

TEST_F(LocalTimes, CarryUnitsOverAndClampInsteadOfWrapping) {
    constexpr int most = std::numeric_limits<int>::max();
    constexpr int least = std::numeric_limits<int>::min();
    MoveTo("UTC0");
    EXPECT_EQ(MakeTime(2024, 3, 1, 0, 0, 0), MakeTime(2024, 2, 30, 0, 0, 0));
    EXPECT_EQ(MakeTime(2025, 1, 1, 0, 0, 0), MakeTime(2024, 12, 31, 23, 59, 60));
    EXPECT_EQ(MakeTime(2023, 12, 31, 23, 59, 59), MakeTime(2024, 1, 1, 0, 0, -1));
    EXPECT_EQ(MakeTime(2025, 2, 1, 0, 0, 0), MakeTime(2024, 14, 1, 0, 0, 0));
    EXPECT_EQ(MakeTime(2023, 11, 30, 0, 0, 0), MakeTime(2024, 0, 0, 0, 0, 0));
    EXPECT_EQ(latest, MakeTime(2038, 1, 19, 3, 14, 8));
    EXPECT_EQ(earliest, MakeTime(1901, 12, 13, 20, 45, 51));
    EXPECT_EQ(latest, MakeTime(most, most, most, most, most, most));
    EXPECT_EQ(earliest, MakeTime(least, least, least, least, least, least));
    MoveTo("WST11");  // 11 hours behind UTC: the end comes earlier by the local clock
    EXPECT_EQ(latest, MakeTime(2038, 1, 18, 16, 14, 7));
    EXPECT_EQ(latest - 1, MakeTime(2038, 1, 18, 16, 14, 6));
}

TEST_F(LocalTimes, AreNamedInEnglishAndCopyWhatIsNoConversion) {
    MoveTo("UTC0");
    EXPECT_EQ(L"Tuesday Tue November Nov 14", FormatTime(1700000000, L"%A %a %B %b %d"));
    EXPECT_EQ(L"100% %q 2023 %", FormatTime(1700000000, L"100%% %q %Y %"));
    EXPECT_EQ(L"", FormatTime(0, nullptr));
}

TEST(AReplacedClock, ServesTheWholeProcessUntilItGoes) {
    {
        tests::FakeClock clock(1000);
        Sleep(120'000);
        Beep(440, 200);
        EXPECT_EQ(1120, CurrentTime());
        EXPECT_EQ((std::vector<DWORD>{120'000}), clock.naps);
        EXPECT_EQ((std::vector<std::pair<DWORD, DWORD>>{{440, 200}}), clock.beeps);
        clock.Set(std::int64_t{1} << 40);
        EXPECT_EQ(latest, CurrentTime());
        clock.Set(-(std::int64_t{1} << 40));
        EXPECT_EQ(earliest, CurrentTime());
    }
    EXPECT_GT(CurrentTime(), 1'700'000'000);
}

}  // namespace
