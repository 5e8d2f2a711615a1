#include <gtest/gtest.h>
#include <ostra/foundation/ClusterComponent.h>
#include <ostra/registry/Registry.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <sys/stat.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <tuple>

namespace {

struct Traced : ClusterComponent {
    int Status(int) override { return 0; }
};

class TheDebugLog : public testing::Test {
protected:
    TheDebugLog() { ::setenv("TZ", "UTC0", 1); }

    static void SetMask(const std::vector<BYTE>& data, DWORD type = REG_DWORD) {
        Registry registry(L"HKEY_LOCAL_MACHINE\\Software\\Norvane\\Ostra\\OstraDebug\\", L"");
        const HKEY key = registry.Open(nullptr, 0);
        EXPECT_EQ(0, RegSetValueExW(key, L"DebugMask", 0, type, data.data(), static_cast<DWORD>(data.size())));
    }
    std::string Log(const std::string& name) const {
        std::ifstream file(home.Path() / "log" / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    tests::TemporaryHome home;
    tests::CapturedOutput output;
    tests::FakeClock clock{1'699'056'789};
};

TEST_F(TheDebugLog, IsEnabledByTheBitOfAComponentWhateverTheNamesCase) {
    EXPECT_FALSE(OstraDebug::IsDebugEnabled(L"Ostra")) << "without a key";
    const wchar_t* const names[] = {L"mod0", L"OSTRA", L"mod2", L"mod3", L"mod4", L"mod5",
                                    L"mod6", L"Mod7",  L"mod8", L"mod9", L"mod10"};
    for (const BYTE bits : {BYTE{0x55}, BYTE{0xAA}}) {
        SetMask({bits, bits, bits, bits});
        for (std::size_t row = 0; row < std::size(names); ++row)
            EXPECT_EQ((bits >> row % 8 & 1) != 0, OstraDebug::IsDebugEnabled(names[row])) << bits << names[row];
    }
    SetMask({0, 0xF8, 0xFF, 0xFF});
    for (const wchar_t* name : {L"mod0", L"mod10", L"unknown", L"mod1", L""})
        EXPECT_FALSE(OstraDebug::IsDebugEnabled(name)) << name;
    SetMask({2, 0, 0, 0}, REG_BINARY);
    EXPECT_TRUE(OstraDebug::IsDebugEnabled(L"Ostra")) << "the type does not count";
    SetMask({2, 0, 0, 0, 0});
    EXPECT_FALSE(OstraDebug::IsDebugEnabled(L"Ostra")) << "more than four bytes are no mask";
}

TEST_F(TheDebugLog, HoldsStampedLinesInAFileNamedAfterTheProgramAndAnEmptyOneBehindEachExit) {
    SetMask({0xFF, 0xFF, 0xFF, 0xFF});
    const std::string stamp = "<Sat Nov  4 00:13:09 2023> ";
    for (const auto& [path, file, isWritten] : {std::tuple(L"C:\\programs\\mod3.exe", "mod3.log", true),
                                                {L"/opt.d/mod5", "mod5.log", true},
                                                {L"D:mod6.exe", "mod6.log", true},
                                                {L"/opt/mod4.tar.gz", "mod4.tar.log", false}}) {
        OstraDebug(path).DbgLog(L"here");
        EXPECT_EQ(isWritten ? stamp + "here\n" : "", Log(file)) << path;
    }
    const OstraDebug debug(L"Ostra");
    debug.DbgEnter(L"Open");
    debug.DbgLog(L"%s %d %s", L"Gr\u00fcn", 7, std::wstring(512, L'x').c_str());
    debug.DbgExit(L"Open");
    EXPECT_EQ(stamp + "*** Enter: Open ***\n" + stamp + "Gr\u00fcn 7 " + std::string(512, 'x') + "\n" + stamp +
                  "*** Exit: Open ***\n\n",
              Log("Ostra.log"));
}

TEST_F(TheDebugLog, TakesWholeLinesOfCopiesAndThreadsAndKeepsThem) {
    SetMask({3, 0, 0, 0});
    OstraDebug copy(L"mod0");
    copy = OstraDebug(L"Ostra");
    copy.DbgLog(L"the file outlives the object that opened it");
    copy = OstraDebug(L"off");
    copy.DbgLog(L"nowhere");
    const std::wstring text(9000, L'y');
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int line = 0; line < 25; ++line) OstraDebug(L"Ostra").DbgLog(L"%s", text.c_str());
        });
    for (std::thread& thread : threads) thread.join();
    std::ifstream file(home.Path() / "log" / "Ostra.log");
    std::string line;
    std::getline(file, line);
    int lines = 0;
    for (; std::getline(file, line); ++lines) EXPECT_EQ(27U + text.size(), line.size());
    EXPECT_EQ(100, lines);
    EXPECT_EQ("", Log("mod0.log"));
}

TEST_F(TheDebugLog, GetsTheTracesOfComponentsThatWereMadeWhileItWasOn) {
    const Traced early;
    SetMask({2, 0, 0, 0});
    const Traced late;
    output.Take();
    early.printf(L"lost: its log was off when it was made");
    late.printf("%s", "100%d");
    EXPECT_EQ(L"", output.Take());
    EXPECT_EQ("<Sat Nov  4 00:13:09 2023> 100%d\n", Log("Ostra.log"));
    SetMask({1, 0, 0, 0});
    late.printf(L"shown");
    EXPECT_EQ(L"shown", output.Take());
    std::filesystem::create_directories(home.Path() / "log" / "mod0.log");
    OstraDebug(L"mod0").DbgLog(L"the file cannot be opened");
    EXPECT_EQ(L"", output.Take());
}

TEST_F(TheDebugLog, IsOneForAllSpellingsOfAComponentAndMadeAnewWhenItsFileWasTakenAway) {
    SetMask({0xFF, 0, 0, 0});
    const OstraDebug old(L"mod2");
    OstraDebug(L"MOD2").DbgLog(L"also here");
    std::filesystem::rename(home.Path() / "log" / "mod2.log", home.Path() / "log" / "mod2.log.1");
    OstraDebug(L"Mod2").DbgLog(L"new");
    old.DbgLog(L"keeps its file");
    OstraDebug(L"mod2").DbgLog(L"the new one");
    EXPECT_TRUE(Log("mod2.log.1").ends_with("also here\n<Sat Nov  4 00:13:09 2023> keeps its file\n"));
    EXPECT_TRUE(Log("Mod2.log").ends_with("new\n<Sat Nov  4 00:13:09 2023> the new one\n"));
    EXPECT_EQ("", Log("mod2.log") + Log("MOD2.log"));
    ASSERT_EQ(0, ::mkfifo((home.Path() / "log" / "MOD3.log").c_str(), 0600));
    for (int line = 0; line < 10'000; ++line) OstraDebug(L"mod3").DbgLog(L"a pipe that is never read would fill up");
}

TEST_F(TheDebugLog, FollowsTheMaskOfTheStateDirectoryOfTheMoment) {
    SetMask({2, 0, 0, 0});
    EXPECT_TRUE(OstraDebug::IsDebugEnabled(L"Ostra"));
    {
        const tests::TemporaryHome other;
        EXPECT_FALSE(OstraDebug::IsDebugEnabled(L"Ostra"));
        SetMask({2, 0, 0, 0});
        EXPECT_TRUE(OstraDebug::IsDebugEnabled(L"Ostra")) << "asked and answered within one tick";
    }
    EXPECT_TRUE(OstraDebug::IsDebugEnabled(L"Ostra"));
    SetMask({0, 0, 0, 0});
    EXPECT_FALSE(OstraDebug::IsDebugEnabled(L"Ostra"));
}

class AnEventWriter : public testing::Test {
protected:
    tests::TemporaryHome home;
    tests::CapturedOutput output;
    tests::CapturedEvents events;
};

TEST_F(AnEventWriter, ReportsUnderItsSourceAndTypeAndNumbersFromTheLastConstruction) {
    NTEventViewer writer(L"Ostra::Test", NTEventViewer::Error, L"");
    writer << L"first" << 42;
    writer.ResetEventType(NTEventViewer::Information);
    for (int source = 0; source < 40; ++source)
        NTEventViewer(L"Source " + std::to_wstring(source), NTEventViewer::Error, L"");
    const NTEventViewer other(L"Ostra", NTEventViewer::Error, L"");
    writer << L"%1" + std::wstring(1064, L'x');
    other << L"other";
    std::wstring lines;
    for (const platform::EventRecord& report : events.Take())
        lines += report.source + platform::Format(L" %d %d ", report.type, report.identifier) + report.text + L"\n";
    EXPECT_EQ(L"Ostra::Test 1 1 first\nOstra::Test 1 2 42\nOstra::Test 4 1 %1" + std::wstring(1061, L'x') +
                  L"\nOstra 1 2 other\n",
              lines);
}

TEST_F(AnEventWriter, WhoseSourceCannotBeRegisteredSaysSoOnStandardOutput) {
    NTEventViewer writer(L"Ostra", NTEventViewer::Error, L"no-such-host");
    EXPECT_EQ(L"NTEventViewer::NTEventViewer( ). Failure calling RegisterEventSource( ).\n", output.Take());
    SetLastError(77);
    writer << L"lost";
    EXPECT_EQ(77U, GetLastError()) << "the code of what was reported";
    EXPECT_EQ(L"NTEventViewer::Log( ). Failure calling ReportEvent( ).\n", output.Take());
    writer = NTEventViewer(L"Ostra", NTEventViewer::Error, L"");
    writer << L"kept";
    EXPECT_EQ((StringArray{L"kept"}), events.TakeTexts()) << "the registration outlives the writer that made it";
}

TEST(AnErrorRecord, KnowsTheMessagesOfCodesBelow6000AndKeepsTheLastText) {
    const OstraError error;
    EXPECT_EQ(L"Access is denied.\r\n", error.GetErrorString(5));
    EXPECT_EQ(L"Access is denied.\r\n", error.GetErrorString(6000));
    EXPECT_EQ(L"", error.GetErrorString(5999) + error.GetNTErrorString(60'000));
    OstraError made(1722, L"");
    EXPECT_EQ(L"error 1722", made.ErrorString());
    EXPECT_EQ(L"", OstraError(made).ErrorString());
    EXPECT_EQ(L"", made.GetErrorString(2102)) << "of the network's table, not loaded";
    made = OstraError();
    EXPECT_FALSE(made.GetErrorString(2102).empty()) << "the table is shared and outlives the record that loaded it";
}

TEST(AnErrorList, KnowsItsLastRecordAndFindsTheFirstOfACode) {
    tests::CapturedOutput output;
    OstraErrors errors;
    OstraError denied(5, L"denied"), again(5, L"again"), server(1722, L"server");
    for (OstraError* error : {&denied, &again, &server, static_cast<OstraError*>(nullptr)}) errors.Add(error);
    EXPECT_EQ(1722, errors.GetLastErrorCode());
    EXPECT_EQ(&denied, errors.Find(5));
    EXPECT_EQ(nullptr, errors.Find(7));
    errors.Info();
    EXPECT_EQ(L"5 5\n5 7\n5 7\n1722 7\n3 errors.\n5 denied\n5 again\n1722 server\n", output.Take());
    static_cast<CPtrList&>(errors).RemoveAll();
    EXPECT_EQ(0, errors.GetLastErrorCode() + errors.NumberOfComponents());
    EXPECT_EQ(L"", errors.GetLastErrorString());
}

}  // namespace
