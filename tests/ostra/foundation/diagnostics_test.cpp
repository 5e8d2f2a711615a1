#include <gtest/gtest.h>
#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraDebug.h>
#include <ostra/foundation/OstraError.h>
#include <ostra/foundation/OstraErrors.h>
#include <ostra/foundation/TarnStatus.h>
#include <platform/framework/CStatusBar.h>
#include <platform/framework/CWnd.h>
#include <platform/system/registry.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

class Traced : public ClusterComponent {
public:
    int Status(int) override { return 0; }
};

class TheDebugLog : public testing::Test {
protected:
    TheDebugLog() {
        if (const char* zone = std::getenv("TZ")) _zone = zone;
        ::setenv("TZ", "UTC0", 1);
    }
    ~TheDebugLog() override { _zone.empty() ? ::unsetenv("TZ") : ::setenv("TZ", _zone.c_str(), 1); }

    static void SetValue(const std::vector<BYTE>& data, DWORD type = REG_DWORD) {
        HKEY key = nullptr;
        ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Norvane\\Ostra\\OstraDebug", 0, nullptr, 0,
                                     KEY_ALL_ACCESS, nullptr, &key, nullptr));
        EXPECT_EQ(0, RegSetValueExW(key, L"DebugMask", 0, type, data.data(), static_cast<DWORD>(data.size())));
        RegCloseKey(key);
    }
    static void SetMask(DWORD mask) {
        SetValue({static_cast<BYTE>(mask), static_cast<BYTE>(mask >> 8), static_cast<BYTE>(mask >> 16),
                  static_cast<BYTE>(mask >> 24)});
    }
    std::string Log(const std::string& name) const {
        std::ifstream file(home.Path() / "log" / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    tests::TemporaryHome home;
    tests::CapturedOutput output;
    tests::FakeClock clock{1'700'000'000};

private:
    std::string _zone;
};

TEST_F(TheDebugLog, IsEnabledByTheBitOfAComponentWhateverTheNamesCase) {
    EXPECT_FALSE(OstraDebug::IsDebugEnabled(L"Ostra")) << "without a key";
    const struct {
        const wchar_t* name;
        DWORD bit;
    } rows[] = {{L"mod0", 0x1},   {L"ostra", 0x2},  {L"Ostra", 0x2},   {L"OSTRA", 0x2}, {L"mod2", 0x4},
                {L"mod3", 0x8},   {L"mod4", 0x10},  {L"mod5", 0x20},   {L"mod6", 0x40}, {L"Mod7", 0x80},
                {L"mod8", 0x100}, {L"mod9", 0x200}, {L"mod10", 0x400}, {L"unknown", 0}, {L"mod1", 0},
                {L"mod11", 0},    {L"", 0},         {L"ostra ", 0}};
    for (const DWORD mask : {0x1U, 0x2U, 0x55555555U, 0xAAAAAAAAU, 0xFFFFF800U, 0xFFFFFFFFU}) {
        SetMask(mask);
        for (const auto& row : rows)
            EXPECT_EQ((mask & row.bit) != 0, OstraDebug::IsDebugEnabled(row.name)) << mask << row.name;
    }
    SetValue({2, 0, 0, 0}, REG_BINARY);
    EXPECT_TRUE(OstraDebug::IsDebugEnabled(L"Ostra")) << "the type does not count";
    SetValue({2, 0, 0, 0, 0});
    EXPECT_FALSE(OstraDebug::IsDebugEnabled(L"Ostra")) << "more than four bytes are no mask";
    SetValue({2});
    EXPECT_TRUE(OstraDebug::IsDebugEnabled(L"Ostra"));
}

TEST_F(TheDebugLog, StandsInAFileNamedAfterTheProgram) {
    SetMask(0xFFFFFFFF);
    const struct {
        const wchar_t* path;
        const char* file;
        bool isWritten;
    } rows[] = {{L"C:\\programs\\mod3.exe", "mod3.log", true},
                {L"/opt.d/mod5", "mod5.log", true},
                {L"D:mod6.exe", "mod6.log", true},
                {L"Ostra", "Ostra.log", true},
                {L"/opt/other.exe", "other.log", false},
                {L"/opt/mod4.tar.gz", "mod4.tar.log", false}};
    for (const auto& row : rows) {
        const OstraDebug debug(row.path);
        debug.DbgLog(L"here");
        EXPECT_EQ(row.isWritten ? "<Tue Nov 14 22:13:20 2023> here\n" : "", Log(row.file)) << row.path;
    }
    const auto mode = std::filesystem::status(home.Path() / "log" / "mod3.log").permissions();
    EXPECT_EQ(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, mode);
}

TEST_F(TheDebugLog, HasStampedLinesAndAnEmptyOneBehindEachExit) {
    SetMask(0x2);
    clock.Set(1'699'056'789);
    const OstraDebug debug(L"Ostra");
    debug.DbgEnter(L"Open");
    debug.DbgLog(L"%s %d %s", L"Gr\u00fcn", 7, std::wstring(512, L'x').c_str());
    debug.DbgExit(L"Open");
    EXPECT_EQ("<Sat Nov  4 00:13:09 2023> *** Enter: Open ***\n<Sat Nov  4 00:13:09 2023> Gr\u00fcn 7 " +
                  std::string(512, 'x') + "\n<Sat Nov  4 00:13:09 2023> *** Exit: Open ***\n\n",
              Log("Ostra.log"));
}

TEST_F(TheDebugLog, IsSharedByCopiesAndKeptOverRuns) {
    SetMask(0x3);
    OstraDebug other(L"mod0");
    {
        const OstraDebug debug(L"Ostra");
        other = debug;
        debug.DbgLog(L"one");
    }
    other.DbgLog(L"two");
    other = OstraDebug(L"off");
    other.DbgLog(L"nowhere");
    OstraDebug(L"Ostra").DbgLog(L"three");
    const std::string log = Log("Ostra.log");
    EXPECT_EQ(3, std::count(log.begin(), log.end(), '\n'));
    EXPECT_EQ("", Log("mod0.log"));
}

TEST_F(TheDebugLog, TakesWholeLinesOfSeveralThreads) {
    SetMask(0x2);
    const std::wstring text(9000, L'y');
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            const OstraDebug debug(L"Ostra");
            for (int line = 0; line < 25; ++line) debug.DbgLog(L"%s", text.c_str());
        });
    for (std::thread& thread : threads) thread.join();
    std::ifstream file(home.Path() / "log" / "Ostra.log");
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) EXPECT_EQ(27U + text.size(), line.size());
    EXPECT_EQ(100, lines);
}

TEST_F(TheDebugLog, GetsTheTracesOfComponentsThatWereMadeWhileItWasOn) {
    const Traced early;
    SetMask(0x2);
    const Traced late;
    output.Take();
    early.printf(L"lost: its log was off when it was made");
    late.printf("%s", "100%d");
    EXPECT_EQ(L"", output.Take());
    EXPECT_EQ("<Tue Nov 14 22:13:20 2023> 100%d\n", Log("Ostra.log"));
    SetMask(0x1);
    late.printf(L"shown");
    EXPECT_EQ(L"shown", output.Take());
}

TEST_F(TheDebugLog, IsSilentlyOffWhenItsFileCannotBeOpened) {
    SetMask(0x2);
    std::filesystem::create_directories(home.Path() / "log" / "Ostra.log");
    OstraDebug(L"Ostra").DbgLog(L"nowhere");
    EXPECT_EQ(L"", output.Text());
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
    writer << L"%1 stays";
    const NTEventViewer other(L"Ostra", NTEventViewer::Error, L"");
    writer << std::wstring(1064, L'x');
    other << L"other";
    const auto reports = events.Take();
    ASSERT_EQ(5U, reports.size());
    const struct {
        const wchar_t* source;
        WORD type;
        DWORD identifier;
        std::wstring text;
    } rows[] = {{L"Ostra::Test", 1, 1, L"first"},
                {L"Ostra::Test", 1, 2, L"42"},
                {L"Ostra::Test", 4, 3, L"%1 stays"},
                {L"Ostra::Test", 4, 1, std::wstring(1063, L'x')},
                {L"Ostra", 1, 2, L"other"}};
    for (std::size_t index = 0; index < std::size(rows); ++index) {
        EXPECT_EQ(rows[index].source, reports[index].source) << index;
        EXPECT_EQ(rows[index].type, reports[index].type) << index;
        EXPECT_EQ(rows[index].identifier, reports[index].identifier) << index;
        EXPECT_EQ(rows[index].text, reports[index].text) << index;
    }
}

TEST_F(AnEventWriter, WhoseSourceCannotBeRegisteredSaysSoOnStandardOutput) {
    NTEventViewer writer(L"Ostra", NTEventViewer::Error, L"no-such-host");
    EXPECT_EQ(L"NTEventViewer::NTEventViewer( ). Failure calling RegisterEventSource( ).\n", output.Take());
    writer << L"lost";
    EXPECT_EQ(L"NTEventViewer::Log( ). Failure calling ReportEvent( ).\n", output.Take());
    {
        const NTEventViewer local(L"Ostra", NTEventViewer::Error, L"");
        writer = local;
    }
    writer << L"kept";
    EXPECT_EQ((StringArray{L"kept"}), events.TakeTexts()) << "the registration outlives the writer that made it";
}

TEST(AnErrorRecord, KnowsTheMessagesOfCodesBelow6000AndKeepsTheLastText) {
    const OstraError error;
    EXPECT_EQ(0, error.ErrorCode());
    EXPECT_EQ(L"Access is denied.\r\n", error.GetErrorString(5));
    EXPECT_EQ(L"Access is denied.\r\n", error.GetErrorString(6000));
    EXPECT_EQ(L"", error.GetErrorString(5999));
    EXPECT_FALSE(error.GetErrorString(2102).empty()) << "from the network's table";
    EXPECT_EQ(OstraError(1722, L"").GetErrorString(2102), L"") << "which a record with a code and text does not load";
    EXPECT_EQ(L"", error.GetNTErrorString(60'000));

    OstraError made(1722, L"");
    EXPECT_EQ(L"error 1722", made.ErrorString());
    EXPECT_EQ(L"", OstraError(made).ErrorString());
    {
        const OstraError source;
        source.GetErrorString(5);
        EXPECT_EQ(&made, made = source);
    }
    EXPECT_EQ(L"Access is denied.\r\n", made.ErrorString());
    EXPECT_FALSE(made.GetErrorString(2102).empty()) << "the table is shared and outlives the record that loaded it";
}

TEST(AnErrorList, KnowsItsLastRecordAndFindsTheFirstOfACode) {
    tests::CapturedOutput output;
    OstraErrors errors(L"Errors");
    EXPECT_EQ(0, errors.GetLastErrorCode());
    EXPECT_EQ(L"", errors.GetLastErrorString());
    OstraError denied(5, L"denied"), again(5, L"again"), server(1722, L"server");
    for (OstraError* error : {&denied, &again, &server}) EXPECT_EQ(0, errors.Add(error));
    errors.Add(nullptr);
    EXPECT_EQ(1722, errors.GetLastErrorCode());
    EXPECT_EQ(L"server", errors.GetLastErrorString());
    EXPECT_EQ(&denied, errors.Find(5));
    EXPECT_EQ(nullptr, errors.Find(7));
    EXPECT_EQ(L"5 5\n5 7\n5 7\n1722 7\n", output.Take());
    EXPECT_EQ(L"", errors.Info());
    EXPECT_EQ(L"3 errors.\n5 denied\n5 again\n1722 server\n", output.Take());
    OstraErrors other;
    other = errors;
    EXPECT_EQ(L"Errors", other.Name());
    EXPECT_EQ(0, other.NumberOfComponents());
    errors.RemoveAll();
    EXPECT_EQ(0, errors.GetLastErrorCode());
}

TEST(AnErrorList, GivesAWindowAStatusBarForTheCallOnly) {
    struct Bar : CStatusBar {
        explicit Bar(std::wstring& events) : _events(events) {}
        ~Bar() override { _events += L"gone "; }
        BOOL Create(CWnd*, DWORD style, UINT id) override {
            _events += style == (WS_CHILD | WS_VISIBLE | CBRS_BOTTOM) && id == standardId ? L"created " : L"wrong ";
            return 0;
        }
        BOOL SetIndicators(const UINT*, int count) override {
            _events += std::to_wstring(count) + L" indicators ";
            return 1;
        }
        BOOL SetPaneText(int, const std::wstring&, BOOL) override { return 1; }
        void UpdateWindow() override {}
        std::wstring& _events;
    };
    struct Window : CWnd {
        std::unique_ptr<CStatusBar> NewStatusBar() override { return std::make_unique<Bar>(events); }
        std::wstring events;
    } window;
    struct Control : CStatusBarCtrl {
        BOOL SetText(const std::wstring& text, int part, UINT style) override {
            shown = text + std::to_wstring(part) + (style == SBT_NOBORDERS ? L" without borders" : L"");
            return 1;
        }
        std::wstring shown;
    } control;
    OstraErrors errors;
    errors.EnableStatusBarWriting(&window, 1);
    errors.EnableStatusBarWriting(&control, 1);
    EXPECT_EQ(L"created 4 indicators gone ", window.events);
    EXPECT_EQ(L"ASdadasdsadasd0 without borders", control.shown);
}

TEST(AStatus, ReplacesAMissingTextOnlyWhenItIsMade) {
    TarnStatus status(3, L"");
    EXPECT_EQ(L"status unknown", status.StatusString());
    status.Set(4, L"");
    EXPECT_EQ(L"", status.StatusString());
    EXPECT_EQ(4U, TarnStatus(status).StatusCode());
}

}  // namespace
