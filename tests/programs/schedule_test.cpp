#include <gtest/gtest.h>
#include <ostra/pipes/PipeClient.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <ostra/scheduler/ScheduleTable.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <programs/ostra-scheduler/RequestListener.h>
#include <programs/ostra-scheduler/Server.h>
#include <programs/ostra-scheduler/ServiceNotices.h>
#include <programs/support/ScheduleTime.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <tests/ostra/scheduler/TimeZone.h>
#include <tests/programs/OstraRun.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/CapturedOutput.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>

namespace tests {
namespace {

using programs::Json;
using programs::ScheduleRequest;
using programs::Wakeup;

/// Lets the time pass at once, for at most as many waits as it is given, and may do something at the end of each.
class PassingTime final : public programs::Waiter {
public:
    PassingTime(FakeClock& clock, int waits) : _clock(clock), _waits(waits) {}

    Wakeup Wait(DWORD milliseconds) override {
        lengths.push_back(milliseconds);
        if (HasStopped()) return Wakeup::Stop;
        --_waits;
        _clock.Sleep(milliseconds);
        if (atWait) atWait(static_cast<int>(lengths.size()));
        return Wakeup::Timeout;
    }
    bool HasStopped() override { return _waits <= 0; }
    void Poke() override { ++pokes; }

    std::function<void(int)> atWait;
    std::vector<DWORD> lengths;
    std::atomic<int> pokes = 0;

private:
    FakeClock& _clock;
    int _waits;
};

/// A cluster on which something happens when a group has been moved.
class EventfulCluster final : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;
    DWORD MoveGroup(platform::ObjectId group, std::optional<platform::ObjectId> node) override {
        const DWORD code = Target().MoveGroup(group, node);
        if (atMove) atMove();
        return code;
    }
    DWORD Transact(const std::function<DWORD()>& steps) override {
        const DWORD code = refusal && !isDoneAllTheSame ? refusal : Target().Transact(steps);
        return refusal ? refusal : code;
    }
    std::function<void()> atMove;
    DWORD refusal = 0;  // of every transaction, when it is not 0
    bool isDoneAllTheSame = false;
};

/// The cluster "demo" with the groups A, B and C, offline on N1; it is 22:13:20 on 14 November 2023, UTC.
class Schedule : public OstraProgram {
protected:
    Schedule() {
        Do({"cluster", "create", "demo"});
        for (const char* group : {"A", "B", "C"}) Do({"group", "create", group});
        events.Take();
    }
    ~Schedule() override { platform::ClusterDirectory::Register(L"demo", nullptr); }

    /// Adds a job that is due so many minutes after this one, or before it.
    static DWORD Add(int minutes, const wchar_t* word, const wchar_t* group) {
        programs::ScheduledJob job;
        const TimeValue time = (platform::CurrentTime() / 60 + minutes) * 60;
        EXPECT_EQ(0u, programs::MakeJob(L"demo", word, group, time, job));
        return programs::Perform({ScheduleRequest::Verb::Add, L"demo", job}, 0).code;
    }
    static std::size_t Count() { return Read({"schedule", "list"}).size(); }
    static std::string Stand(const std::string& group) {
        const Json shown = Read({"group", "show", group});
        return shown["state"].dump() + " on " + shown["owner"].get<std::string>();
    }

    std::shared_ptr<EventfulCluster> GivenEventfulCluster() {
        std::shared_ptr<platform::ClusterService> service;
        EXPECT_EQ(0u, platform::ClusterDirectory::Resolve(L"demo", service));
        const auto cluster = std::make_shared<EventfulCluster>(service);
        platform::ClusterDirectory::Register(L"demo", cluster);
        return cluster;
    }

    void Serve(PassingTime& waiter) { programs::Server(waiter, journal).Serve(); }
    std::size_t CarryOutOnce() {
        PassingTime waiter(clock, 1);
        return programs::Server(waiter, journal).CarryOutDue();
    }
    static bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

    static constexpr char scheduler[] = R"(Ostra\Scheduler)";
    TimeZone zone{TimeZone::utc};
    CapturedOutput printed;
    CapturedEvents events;
    std::string said;
    programs::Journal journal{[this](const std::string& line) { said += line + "\n"; }};
};

TEST_F(Schedule, IsChangedAndShownByCommands) {
    Do({"schedule", "add", "--at", "2023-11-14 23:30", "Online", "A"});
    Do({"schedule", "add", "--in", "1h", "Move", "B"});
    const Json jobs = Read({"schedule", "list"});
    ASSERT_EQ(2u, jobs.size());
    const char* const expected =
        R"({"name": "Move B", "number": 1, "due": "2023-11-14T23:14:00+00:00", "cluster": "demo",
        "command": "Move", "group": "B", "state": "waiting"})";
    EXPECT_EQ(Json::parse(expected), jobs[0]) << "not before the hour is over";
    EXPECT_EQ("A", jobs[1]["group"]);
    const std::string tree = Do({"schedule", "tree", "--count", "62"}).out;
    EXPECT_TRUE(Has(tree, "        23:14\n          demo-Move B\n        23:15\n")) << tree;
    EXPECT_TRUE(Has(Do({"schedule", "remove", "1", "--dry-run"}).out, "Ostra\\Scheduler"));
    EXPECT_EQ("B", Read({"schedule", "remove", "1"})["group"]);
    clock.Set(programs::ParseJobTime("2023-11-14 23:30") + 301);
    EXPECT_EQ("overdue", Read({"schedule", "list"})[0]["state"]);
    EXPECT_EQ(1, Read({"schedule", "purge"})["removed"]);
    EXPECT_EQ(0u, Count());
}

TEST_F(Schedule, RefusesWhatCouldNotBeCarriedOutInWords) {
    const TimeZone europe(TimeZone::middleEurope);
    Do({"group", "create", "A,B"});
    Do({"group", "create", "Two  blanks"});
    Do({"schedule", "add", "--at", "2023-11-14 23:59", "Move", "A"});
    const std::tuple<std::vector<std::string>, int, const char*> refusals[] = {
        {{"add", "--at", "2023-11-14 23:59", "Move", "A"}, 4, "number 1"},
        {{"add", "--in", "2h", "Online", "Nobody"}, 3, "no group named"},
        {{"add", "--in", "2h", "online", "A"}, 2, "Use Online, Offline or Move"},
        {{"add", "--in", "2h", "Online", "A,B"}, 2, "comma"},
        {{"add", "--in", "2h", "Online", "Two  blanks"}, 2, "single blanks"},
        {{"add", "--at", "2023-11-14 23:13", "Online", "A"}, 2, "in the past"},
        {{"add", "--at", "2038-01-19 04:15", "Online", "A"}, 2, "2038-01-19T04:14:07+01:00 at the"},
        {{"add", "--at", "2038-01-19T04:15+01:00", "Online", "A"}, 2, "at the latest"},
        {{"add", "--at", "2024-07-01T12:00+1:00", "Online", "A"}, 2, "is no time"},
        {{"add", "--at", "2024-10-27 02:30", "Online", "A"},
         2,
         "--at 2024-10-27T02:30:00+02:00 or --at 2024-10-27T02:30:00+01:00"},
        {{"add", "--in", "9000d", "Online", "A"}, 2, "at the latest"},
        {{"add", "--at", "2024-03-31 02:30", "Online", "A"}, 2, "daylight saving"},
        {{"add", "--at", "2024-02-30 10:00", "Online", "A"}, 2, "on no calendar"},
        {{"add", "--in", "0h", "Online", "A"}, 2, "is no span"},
        {{"add", "--in", "1h1d", "Online", "A"}, 2, "is no span"},
        {{"add", "Online", "A"}, 2, "Say when"},
        {{"remove", "-1"}, 2, "NUMBER"},
        {{"grace", "367d"}, 2, "at most 366d"},
        {{"run", "--once", "--cluster", "demo"}, 2, "all clusters"}};
    for (const auto& [arguments, code, saying] : refusals) {
        std::vector<std::string> line{"schedule"};
        line.insert(line.end(), arguments.begin(), arguments.end());
        const Outcome outcome = Ostra(line);
        EXPECT_EQ(code, outcome.code) << saying;
        EXPECT_TRUE(Has(outcome.err, saying)) << outcome.err;
    }
    EXPECT_EQ(1u, Count());
}

TEST_F(Schedule, HasJobsOfOneInstantWhateverTheZones) {
    for (const char* there : {TimeZone::newYork, "JST-9"}) {
        const TimeZone client(there);
        Do({"schedule", "add", "--in", "5m", "Move", "A"});
    }
    EXPECT_EQ("2023-11-14T22:19:00+00:00", Read({"schedule", "list"})[1]["due"]);
    EXPECT_EQ(1, Read({"schedule", "purge"})["removed"]) << "they are one job";
    // A line alone, as programs of the library write it, is of the scheduler's zone.
    Do({"registry", "set", scheduler, "Persistence=REG_BINARY:demo,Online B,22:14 x 14,x November 2023\n",
        "--cluster-database"});
    clock.Advance(300);
    EXPECT_EQ(1u, CarryOutOnce()) << said;
    EXPECT_EQ("0 on N1", Stand("B"));

    Do({"registry", "set", scheduler, "Persistence=REG_SZ:demo,Move C,23:00 x 14,x November 2023\n",
        "--cluster-database"});
    CarryOutOnce();
    const TimeZone europe(TimeZone::middleEurope);
    EXPECT_EQ("2023-11-15T00:00:00+01:00", Read({"schedule", "list"})[0]["due"]);
    // One line, two instants.
    for (const char* offset : {"+02:00", "+01:00"})
        Do({"schedule", "add", "--at", std::string("2024-10-27T02:30:00") + offset, "Move", "B"});
    EXPECT_EQ("2024-10-27T02:30:00+01:00", Read({"schedule", "remove", "3"})["due"]);
    EXPECT_EQ("2024-10-27T02:30:00+02:00", Read({"schedule", "list"})[1]["due"]);
}

TEST_F(Schedule, IsOneTableWithTheKeyClassesAndNeverOverwrittenUnread) {
    Do({"registry", "set", "Ostra", "Any=REG_SZ:", "--cluster-database"});
    ScheduleTable table;
    const std::wstring line = L"demo,Online C,23:30 on 14,Tuesday November 2023\n";
    table.SetPersistence(line);
    ClusterSchedulerKey(L"demo", L"Scheduler") << table;
    EXPECT_EQ(0u, Add(1, L"Online", L"A"));
    EXPECT_EQ(2u, Count());
    ScheduleTable read;
    ClusterSchedulerKey(L"demo", L"Scheduler") >> read;
    EXPECT_EQ(line + L"demo,Online A,22:14 on 14,Tuesday November 2023\n", read.PersistentData());
    for (const ScheduleTable* made : {&table, &read})
        for (const ScheduleEntry* entry : *made) delete entry;

    const char* const damage[] = {"Persistence=REG_DWORD:1", "Persistence=REG_SZ:demo,Online A\n\nmore\n",
                                  "Persistence=REG_SZ:more", "Instants=REG_SZ:then demo,Online A\n", "Grace=REG_SZ:5m"};
    for (const char* value : damage) {
        Do({"registry", "delete", scheduler, "--cluster-database", "--recursive"});
        Do({"registry", "set", scheduler, value, "--cluster-database"});
        const std::string before = Do({"registry", "list", scheduler, "--cluster-database"}).out;
        for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
                 {"list"}, {"purge"}, {"add", "--in", "1h", "Move", "A"}, {"run", "--once"}}) {
            std::vector<std::string> arguments{"schedule"};
            arguments.insert(arguments.end(), command.begin(), command.end());
            const Outcome outcome = Ostra(arguments);
            EXPECT_EQ(6, outcome.code) << value << " " << command[0] << outcome.err;
            EXPECT_FALSE(Has(outcome.err, "No job was due"));
        }
        EXPECT_EQ(before, Do({"registry", "list", scheduler, "--cluster-database"}).out);
    }
}

TEST_F(Schedule, IsNeverLongerThanItsKeyReadsBack) {
    const CapturedMessageBoxes boxes;
    const std::string line = "demo,Online B,23:30 on 14,Tuesday November 2023\n";
    std::string text;
    while (text.size() <= ScheduleTable::LongestText) text += line;
    Do({"registry", "set", scheduler, "Persistence=REG_BINARY:" + text.substr(line.size()), "--cluster-database"});
    const Outcome full = Ostra({"schedule", "add", "--in", "1h", "Move", "A"});
    EXPECT_EQ(1, full.code);
    EXPECT_TRUE(Has(full.err, "the table is full")) << full.err;
    // One that is too long already is shown, and no key class erases or makes one.
    Do({"registry", "set", scheduler, "Persistence=REG_BINARY:" + text, "--cluster-database"});
    const std::size_t count = Count();
    EXPECT_EQ(text.size() / line.size(), count);
    ClusterSchedulerKey key(L"demo", L"Scheduler");
    ScheduleTable table;
    key >> table;
    EXPECT_EQ(0, table.Count());
    key << table;
    table.SetPersistence(platform::FromUtf8(text));
    ClusterSchedulerKey(L"demo", L"Scheduler") << table;
    EXPECT_EQ(platform::error::MoreData, GetLastError());
    EXPECT_EQ(2u, boxes.boxes.size());
    EXPECT_EQ(count, Count());
    for (const ScheduleEntry* entry : table) delete entry;
    EXPECT_EQ(count - 1, Read({"schedule", "purge"})["removed"]);
}

TEST_F(Schedule, IsALastingKeyThatTwoWritersDoNotSpoil) {
    {
        const auto cluster = GivenEventfulCluster();
        platform::ClusterKeyId key = 0;
        bool created = false;
        cluster->RootKey(key);
        ASSERT_EQ(0u, cluster->CreateKey(key, L"Ostra", false, key, created));
        ASSERT_EQ(0u, cluster->CreateKey(key, L"Scheduler", true, key, created));
        const auto table = platform::ToUtf16(L"demo,Online C,23:30 on 14,Tuesday November 2023\n");
        ASSERT_EQ(0u, cluster->SetValue(key, L"Persistence", 1, table));
        EXPECT_EQ(0u, Add(1, L"Online", L"A"));
        cluster->RootKey(key);
        ASSERT_EQ(0u, cluster->OpenKey(key, L"Ostra\\Scheduler", key));
        EXPECT_EQ(0u, cluster->CreateKey(key, L"Below", false, key, created)) << "a volatile key refuses";
        platform::ClusterDirectory::Register(L"demo", nullptr);
    }
    const pid_t child = ::fork();  // no connection is open now
    DWORD refused = 0;
    for (int minute = 2; minute <= 21; ++minute) refused |= Add(minute, L"Online", child ? L"A" : L"B");
    if (child == 0) ::_exit(refused ? 1 : 0);
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0u, refused | static_cast<DWORD>(status));
    EXPECT_EQ(42u, Count());
}

TEST_F(Schedule, IsServedToTheMinuteAlsoWhenOneJobIsSlow) {
    const programs::ScheduledJob removed = programs::ReadJob(L"demo,Online B,22:30 on 14,Tuesday November 2023", {});
    GivenEventfulCluster()->atMove = [&] {
        clock.Advance(1800);
        programs::Perform({ScheduleRequest::Verb::Remove, L"demo", removed}, 0);
    };
    Add(17, L"Move", L"A");
    Add(17, L"Online", L"B");
    Add(37, L"Online", L"C");  // falls due while A is being moved
    PassingTime waiter(clock, 260);
    ::setenv("WATCHDOG_USEC", "8000000", 1);
    Serve(waiter);
    ::setenv("WATCHDOG_USEC", "7200000000", 1);
    EXPECT_EQ(7'200'000u, programs::WatchdogPeriod());
    ::unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(4000u, *std::max_element(waiter.lengths.begin(), waiter.lengths.end()));
    EXPECT_EQ("1 on N2", Stand("A"));
    EXPECT_EQ("1 on N1", Stand("B"));
    EXPECT_EQ("0 on N1", Stand("C"));
    EXPECT_EQ(0u, Count());
    const auto isOfJob = [](const std::wstring& text) { return text.starts_with(L"Job \""); };
    EXPECT_EQ(2, std::ranges::count_if(events.TakeTexts(), isOfJob));
    EXPECT_TRUE(
        Has(said, "Job \"Move A\" of cluster demo, due 2023-11-14T22:30:00+00:00, is done: group A is offline on N2"));
    EXPECT_FALSE(Has(said, "missed")) << said;
}

TEST_F(Schedule, ReportsWhatWasMissedAndWhatDidNotComeTrue) {
    Do({"node", "pause", "N2"});
    Add(-6, L"Online", L"A");
    Add(-4, L"Online", L"B");
    Add(-3, L"Move", L"B");
    Add(-2, L"Online", L"Gone");
    Add(30, L"Online", L"C");
    EXPECT_EQ(3u, CarryOutOnce());
    for (const char* report : {"\"Online A\" of cluster demo, due 2023-11-14T22:07:00+00:00, was missed, for its time "
                               "passed while no scheduler",
                               "\"Online B\" of cluster demo, due 2023-11-14T22:09:00+00:00, is done",
                               "failed: group B is online on N1", "failed: group Gone cannot be seen"})
        EXPECT_TRUE(Has(said, report)) << said;
    EXPECT_EQ(1u, Count());
    EXPECT_EQ("1h59m", Read({"schedule", "grace", "119m"})["grace"]);
    Add(-118, L"Online", L"A");
    EXPECT_EQ(1u, CarryOutOnce()) << said;
    EXPECT_EQ(300, Read({"schedule", "grace", "5m"})["seconds"]);

    // A cluster that comes back, perhaps from a copy, brings no jobs of old with it.
    PassingTime waiter(clock, 3);
    const auto folder = home.Path() / "clusters" / "demo";
    waiter.atWait = [&](int wait) {
        if (wait == 1) std::filesystem::rename(folder, home.Path() / "away");
        if (wait != 2) return;
        clock.Advance(3600);
        std::filesystem::rename(home.Path() / "away", folder);
    };
    Serve(waiter);
    EXPECT_TRUE(Has(said,
                    "\"Online C\" of cluster demo, due 2023-11-14T22:43:00+00:00, was missed, for its time passed "
                    "while no scheduler"))
        << said;
}

TEST_F(Schedule, OutlivesAClockThatIsSet) {
    Add(17, L"Online", L"A");
    Add(77, L"Online", L"B");
    Add(300, L"Online", L"C");
    const TimeValue now = platform::CurrentTime();
    PassingTime waiter(clock, 16);
    waiter.atWait = [&](int wait) {
        if (wait == 2) clock.Advance(2400);     // an hour's quarter too far, over the first job
        if (wait == 4) clock.Advance(-86'400);  // a day back: nothing is due twice
        if (wait == 6) clock.Advance(86'400);   // forward again, as far as a wrong clock is
        if (wait == 8) clock.Set(now + 76 * 60);
        if (wait == 14) clock.Advance(43'200);  // more than a correction
    };
    Serve(waiter);
    EXPECT_EQ("0 on N1", Stand("A")) << said;
    EXPECT_EQ("0 on N1", Stand("B")) << said;
    EXPECT_EQ("1 on N1", Stand("C")) << said;
    EXPECT_EQ(said.find("missed"), said.rfind("missed")) << said;
    EXPECT_TRUE(Has(said, "was missed, for the clock was set forward")) << said;
    EXPECT_EQ(0u, Count());
}

TEST_F(Schedule, NeverRepeatsAJobWhoseSchedulerWasKilledBeforeItRemovedIt) {
    Add(0, L"Move", L"A");
    const pid_t child = ::fork();
    if (child == 0) {
        GivenEventfulCluster()->atMove = [] { ::_exit(9); };
        CarryOutOnce();
        ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_EQ(9, WEXITSTATUS(status));
    EXPECT_EQ("begun", Read({"schedule", "list"})[0]["state"]);
    EXPECT_EQ(1, Ostra({"schedule", "remove", "1"}).code);

    EXPECT_EQ(0u, CarryOutOnce());
    EXPECT_EQ("1 on N2", Stand("A"));
    EXPECT_EQ(0u, Count());
    EXPECT_TRUE(Has(said, "not carried out again; group A is offline on N2"));
}

TEST_F(Schedule, NeverRepeatsAJobThatCannotBeRemovedNorLosesOneWhoseBeginningWasNotSeen) {
    const auto cluster = GivenEventfulCluster();
    cluster->atMove = [&] { cluster->refusal = platform::error::DiskFull; };
    Add(1, L"Move", L"A");
    PassingTime waiter(clock, 10);
    Serve(waiter);
    const std::string stuck = "was carried out and cannot be removed";
    EXPECT_TRUE(Has(said, stuck)) << said;
    EXPECT_EQ(said.find(stuck), said.rfind(stuck)) << "told once" << said;
    cluster->refusal = 0;
    EXPECT_EQ(0u, CarryOutOnce());
    EXPECT_EQ("1 on N2", Stand("A"));
    cluster->isDoneAllTheSame = true;  // refused, and there
    cluster->refusal = platform::error::DiskFull;
    Add(0, L"Move", L"B");
    EXPECT_EQ(1u, CarryOutOnce()) << said;
    EXPECT_EQ("1 on N2", Stand("B"));
    EXPECT_EQ(0u, Count());
}

TEST_F(Schedule, IsChangedThroughThePipeOfARunningScheduler) {
    PassingTime waiter(clock, 1);
    programs::Server server(waiter, journal);
    const programs::RequestListener listener([&](const ScheduleRequest& request) { return server.Answer(request); });
    ASSERT_TRUE(listener.IsListening());
    const auto ask = [](const std::wstring& text) {
        PipeClient client(programs::schedulerPipe, L"");
        EXPECT_NE(0, client.Open(0));
        EXPECT_NE(0, client.Send(text));
        return client.Receive();
    };
    for (const wchar_t* text :
         {L"", L"add", L"add\ndemo\n", L"dance\ndemo\n\nx", L"add\ndemo\nx\ny", L"add\ndemo\n\nx\ny"})
        EXPECT_EQ(L"87 0", ask(text)) << platform::ToUtf8(text);
    for (const wchar_t* text : {L"add\ndemo\n\n", L"add\ndemo\n\ndemo,Online", L"add\ndemo\n60\n,,,"})
        EXPECT_EQ(L"13 0", ask(text)) << platform::ToUtf8(text);
    const std::wstring line = L"demo,Online B,23:30 on 14,Tuesday November 2023";
    EXPECT_EQ(L"2 0", ask(L"add\nelsewhere\n\n" + line));
    const int before = waiter.pokes;
    EXPECT_EQ(L"0 0", ask(L"add\ndemo\n1700004600\n" + line));
    EXPECT_EQ(L"183 0", ask(L"add\ndemo\n1700004600\n" + line));
    EXPECT_EQ(before + 2, waiter.pokes);
    EXPECT_EQ("", Do({"schedule", "add", "--in", "1h", "Online", "A"}).err);
    EXPECT_EQ(L"0 1", ask(L"remove\ndemo\n1700004600\n" + line));
    EXPECT_EQ(1u, Count());
}

TEST_F(Schedule, IsNotWaitedForWithoutEndWhenItsSchedulerStandsStill) {
    const PipeServer stopped(programs::schedulerPipe);  // lets a client in, and that is all
    clock.isAlone = true;
    const Outcome outcome = Ostra({"schedule", "add", "--in", "1h", "Online", "A"});
    EXPECT_EQ(5, outcome.code);
    EXPECT_TRUE(Has(outcome.err, "may make it as soon as it goes on. Look with: ostra schedule list")) << outcome.err;
    EXPECT_EQ(0u, Count());
    EXPECT_EQ("", Do({"schedule", "add", "--in", "2h", "Online", "A"}).err)
        << "the scheduler is busy, and was not told";
    EXPECT_EQ(1u, Count());
}

std::string Line(FILE* shell) {
    char line[1000] = "";
    return ::fgets(line, sizeof line, shell) ? line : "";
}

/// What a program writes, and a line with its exit code.
std::string InShell(const std::string& command) {
    FILE* const shell = ::popen((command + "; echo $?").c_str(), "r");
    std::string text;
    for (std::string line = Line(shell); !line.empty(); line = Line(shell)) text += line;
    ::pclose(shell);
    return text;
}

TEST_F(Schedule, IsServedByOneProgramThatTellsHowItStandsAndEndsWhenItIsAsked) {
    const std::string path = home.Path() / "notices";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int notices = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, ::bind(notices, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
    const std::string program = "'" OSTRA_SCHEDULER "' 2>&1";
    FILE* const server = ::popen(("echo $$; exec " + program).c_str(), "r");
    const pid_t process = std::stoi(Line(server));
    ASSERT_EQ("The scheduler has started.\n", Line(server));
    char notice[16] = "";
    EXPECT_EQ(7, ::recv(notices, notice, sizeof notice, 0));
    EXPECT_STREQ("READY=1", notice);
    const std::string added = InShell("'" OSTRA_PROGRAM "' schedule add --in 1h Online A 2>&1");
    EXPECT_TRUE(added.ends_with("waiting\n0\n")) << added;
    EXPECT_EQ("ostra: Another scheduler is running in " + home.Path().string() + ".\n1\n", InShell(program));
    EXPECT_TRUE(InShell(program + " now").ends_with("\n2\n"));
    EXPECT_EQ(0, ::kill(process, SIGTERM));
    EXPECT_EQ("The scheduler has ended.\n", Line(server));
    EXPECT_EQ(0, ::pclose(server));
    while (::recv(notices, notice, sizeof notice, MSG_DONTWAIT) > 0) continue;
    EXPECT_STREQ("STOPPING=1", notice);
    ::unsetenv("NOTIFY_SOCKET");
    ::close(notices);

    clock.Set(::time(nullptr));  // the program has no clock of ours
    Add(0, L"Online", L"B");
    const std::string carriedOut = InShell(program + " --once");
    EXPECT_TRUE(Has(carriedOut, "is done: group B is online on N1.\nJobs carried out: 1\n0\n")) << carriedOut;
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    ::close(ends[0]);
    const int own = ::dup(STDERR_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    const std::string unread = InShell("'" OSTRA_SCHEDULER "' --once");
    ::dup2(own, STDERR_FILENO);
    EXPECT_EQ("0\n", unread) << "nobody reads what it says";
    for (const int end : {ends[1], own}) ::close(end);
}

TEST(SignalWaiter, StopsAtTheFirstSignalAndKeepsAPokeForTheNextWait) {
    std::signal(SIGHUP, SIG_IGN);
    programs::SignalWaiter waiter;
    waiter.Poke();
    EXPECT_EQ(Wakeup::Poked, waiter.Wait(0));
    ::raise(SIGHUP);
    EXPECT_EQ(Wakeup::Timeout, waiter.Wait(0)) << "as nohup asks";
    std::signal(SIGHUP, SIG_DFL);
    ::raise(SIGTERM);
    EXPECT_EQ(Wakeup::Stop, waiter.Wait(60'000));
    EXPECT_TRUE(waiter.HasStopped());
}

}  // namespace
}  // namespace tests
