#include <platform/system/event_log.h>

#include <gtest/gtest.h>
#include <platform/base/last_error.h>
#include <sqlite3.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

namespace {

using platform::EventRecord;

class AnEventLog : public testing::Test {
protected:
    static BOOL Report(HEVENTSOURCE source, const wchar_t* text, WORD type = 1, DWORD identifier = 1) {
        return ReportEventW(source, type, 0, identifier, nullptr, 1, 0, &text, nullptr);
    }

    static StringArray Texts(const std::vector<EventRecord>& records) {
        StringArray texts;
        for (const EventRecord& record : records) texts.push_back(record.text);
        return texts;
    }

    const tests::TemporaryHome home;
    tests::FakeClock clock;
};

TEST_F(AnEventLog, IsMadeByTheFirstReportOnly) {
    std::vector<EventRecord> records(1);
    const HEVENTSOURCE source = RegisterEventSourceW(nullptr, L"Ostra");
    ASSERT_NE(nullptr, source);
    EXPECT_EQ(0U, platform::ReadLastEvents(10, records));
    EXPECT_TRUE(records.empty());
    EXPECT_TRUE(std::filesystem::is_empty(home.Path()));
    EXPECT_EQ(1, Report(source, L"caf\x00E9 \x0001F600", 4, 7));
    ASSERT_EQ(0U, platform::ReadLastEvents(10, records));
    ASSERT_EQ(1U, records.size());
    const EventRecord& record = records[0];
    EXPECT_EQ(L"Ostra caf\x00E9 \x0001F600", record.source + L" " + record.text);
    EXPECT_TRUE(record.type == 4 && record.identifier == 7 && record.time == clock.Now() && !record.host.empty());
    EXPECT_EQ(1, DeregisterEventSource(source));
}

TEST_F(AnEventLog, ReadsTheNewestOrWhatCameAfterANumber) {
    const HEVENTSOURCE source = RegisterEventSourceW(L"", L"Ostra");
    for (const wchar_t* text : {L"1", L"2", L"3", L"4"}) EXPECT_EQ(1, Report(source, text));
    std::vector<EventRecord> records;
    ASSERT_EQ(0U, platform::ReadLastEvents(2, records));
    EXPECT_EQ((StringArray{L"3", L"4"}), Texts(records));
    const std::int64_t newest = records[1].number;
    ASSERT_EQ(0U, platform::ReadEvents(newest - 3, 2, records));
    EXPECT_EQ((StringArray{L"2", L"3"}), Texts(records));
    ASSERT_EQ(0U, platform::ReadEvents(newest, 2, records));
    EXPECT_TRUE(records.empty());
}

TEST_F(AnEventLog, RefusesWhatIsNoSourceAndSaysWhy) {
    EXPECT_EQ(nullptr, RegisterEventSourceW(nullptr, L""));
    EXPECT_EQ(87U, GetLastError());
    EXPECT_EQ(nullptr, RegisterEventSourceW(L"N1", L"Ostra"));
    EXPECT_EQ(1722U, GetLastError());
    const HEVENTSOURCE source = RegisterEventSourceW(nullptr, L"Ostra");
    EXPECT_EQ(1, DeregisterEventSource(source));
    for (const HEVENTSOURCE bad : {source, HEVENTSOURCE(nullptr)}) {
        SetLastError(0);
        EXPECT_EQ(0, Report(bad, L"text"));
        EXPECT_EQ(6U, GetLastError());
        EXPECT_EQ(0, DeregisterEventSource(bad));
    }
}

TEST_F(AnEventLog, KeepsTheReportsToAnotherHostInItsFolder) {
    std::filesystem::create_directories(home.Path() / "hosts" / "N1");
    const HEVENTSOURCE source = RegisterEventSourceW(L"\\\\N1", L"Ostra");
    EXPECT_EQ(1, Report(source, L"text"));
    EXPECT_TRUE(std::filesystem::exists(home.Path() / "hosts" / "N1" / "events.db"));
    std::filesystem::remove_all(home.Path() / "hosts");
    EXPECT_EQ(0, Report(source, L"text"));
    EXPECT_NE(0U, GetLastError());
}

TEST_F(AnEventLog, CutsLongTextsAndForgetsOldReports) {
    const HEVENTSOURCE source = RegisterEventSourceW(nullptr, L"Ostra");
    EXPECT_EQ(1, Report(source, std::wstring(40'000, L'x').c_str()));
    std::vector<EventRecord> records;
    ASSERT_EQ(0U, platform::ReadLastEvents(1, records));
    EXPECT_EQ(32'000U, records.at(0).text.size());
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open((home.Path() / "events.db").c_str(), &raw));
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(raw, "UPDATE sqlite_sequence SET seq = 100351", nullptr, nullptr, nullptr));
    sqlite3_close(raw);
    EXPECT_EQ(1, Report(source, L"100352"));
    ASSERT_EQ(0U, platform::ReadLastEvents(10, records));
    EXPECT_EQ(StringArray{L"100352"}, Texts(records));
}

TEST_F(AnEventLog, GivesReportsToASinkInItsPlace) {
    struct Kept final : platform::EventSink {
        void Write(const EventRecord& record) override { records.push_back(record); }
        std::vector<EventRecord> records;
    } sink;
    const HEVENTSOURCE source = RegisterEventSourceW(nullptr, L"Ostra");
    EXPECT_EQ(nullptr, platform::SetEventSink(&sink));
    const wchar_t* strings[] = {L"one", nullptr, L"three"};
    EXPECT_EQ(1, ReportEventW(source, 1, 0, 5, nullptr, 3, 0, strings, nullptr));
    EXPECT_EQ(&sink, platform::SetEventSink(nullptr));
    EXPECT_EQ((StringArray{L"one\n\nthree"}), Texts(sink.records));
    EXPECT_TRUE(std::filesystem::is_empty(home.Path()));
}

}  // namespace
