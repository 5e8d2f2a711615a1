#include <ostra/pipes/PipeClient.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <programs/ostra-scheduler/InstanceLock.h>
#include <programs/ostra-scheduler/RequestListener.h>
#include <programs/ostra-scheduler/Server.h>
#include <programs/support/ScheduleTime.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <tests/ostra/scheduler/TimeZone.h>
#include <tests/programs/OstraRun.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <deque>
#include <functional>

namespace tests {
namespace {

using programs::Json;
using programs::ScheduleAnswer;
using programs::ScheduledJob;
using programs::ScheduleRequest;
using programs::ScheduleStore;
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
        if (atWait) atWait();
        return Wakeup::Timeout;
    }
    bool HasStopped() override { return _waits <= 0; }
    void Poke() override { ++pokes; }

    std::function<void()> atWait;
    std::vector<DWORD> lengths;
    std::atomic<int> pokes = 0;

private:
    FakeClock& _clock;
    int _waits;
};

/// A cluster on which something happens when a group is moved, and around the transaction after it.
class EventfulCluster final : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;
    DWORD MoveGroup(platform::ObjectId group, std::optional<platform::ObjectId> node) override {
        ++moves;
        const DWORD code = Target().MoveGroup(group, node);
        if (atMove) atMove();
        return code;
    }
    DWORD Transact(const std::function<DWORD()>& steps) override {
        if (beforeTransaction) beforeTransaction();
        return refusal ? refusal : Target().Transact(steps);
    }
    std::function<void()> atMove;
    std::function<void()> beforeTransaction;
    DWORD refusal = 0;  // of every transaction, when it is not 0
    int moves = 0;
};

/// The cluster "demo" with the groups A, B and C, offline on N1; it is 22:13:20 on 14 November 2023, UTC.
class Schedule : public OstraProgram {
protected:
    Schedule() {
        Do({"cluster", "create", "demo"});
        for (const char* group : {"A", "B", "C"}) Do({"group", "create", group});
        events.Take();
    }

    static void Add(const std::string& time, const std::string& word, const std::string& group) {
        Do({"schedule", "add", "--at", "2023-11-14 " + time, word, group});
    }
    static std::size_t Count() { return Read({"schedule", "list"}).size(); }
    static std::string OwnerOf(const std::string& group) { return Read({"group", "show", group})["owner"]; }
    static int StateOf(const std::string& group) { return Read({"group", "show", group})["state"]; }

    std::shared_ptr<platform::ClusterService> Service() {
        std::shared_ptr<platform::ClusterService> service;
        EXPECT_EQ(0u, platform::ClusterDirectory::Resolve(L"demo", service));
        return service;
    }

    void Serve(PassingTime& waiter) { programs::Server(waiter, journal).Serve(); }
    std::size_t CarryOutOnce() {
        PassingTime waiter(clock, 1);
        return programs::Server(waiter, journal).CarryOutDue();
    }
    std::string Reports() {
        std::string texts;
        for (const std::wstring& text : events.TakeTexts()) texts += platform::ToUtf8(text) + "\n";
        return texts;
    }
    static bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

    TimeZone zone{TimeZone::utc};
    CapturedOutput printed;
    CapturedEvents events;
    programs::Journal journal{[](const std::string&) {}};
};

TEST_F(Schedule, IsChangedAndShownByCommands) {
    Add("23:30", "Online", "A");
    Do({"schedule", "add", "--in", "1h", "Move", "B"});
    const Json jobs = Read({"schedule", "list"});
    ASSERT_EQ(2u, jobs.size());
    EXPECT_EQ(
        Json::parse(R"({"name": "Move B", "number": 1, "due": "2023-11-14 23:14", "cluster": "demo", "command": "Move",
                              "group": "B", "state": "waiting"})"),
        jobs[0])
        << "not before the hour is over";
    EXPECT_EQ("A", jobs[1]["group"]);

    const Json outline = Read({"schedule", "tree", "--count", "62"});
    const auto job = std::find(outline.begin(), outline.end(), Json{{"level", 5}, {"text", "demo-Move B"}});
    ASSERT_NE(outline.end(), job);
    EXPECT_EQ("23:14", (*(job - 1))["text"]);

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
    Add("23:59", "Move", "A");
    struct Refusal {
        std::vector<std::string> arguments;
        int code;
        const char* saying;
    };
    const Refusal refusals[] = {{{"--at", "2023-11-14 23:59", "Move", "A"}, 4, "number 1"},
                                {{"--in", "2h", "Online", "Nobody"}, 3, "no group named"},
                                {{"--in", "2h", "Online", "A", "--cluster", "elsewhere"}, 6, "Known clusters: demo"},
                                {{"--in", "2h", "online", "A"}, 2, "Use Online, Offline or Move"},
                                {{"--in", "2h", "Online", "A,B"}, 2, "comma"},
                                {{"--in", "2h", "Online", "A\nB"}, 2, "line end"},
                                {{"--in", "2h", "Online", "Two  blanks"}, 2, "single blanks"},
                                {{"--at", "2023-11-14 23:13", "Online", "A"}, 2, "in the past"},
                                {{"--at", "2038-01-19 04:15", "Online", "A"}, 2, "2038-01-19 04:14 at the latest"},
                                {{"--in", "9000d", "Online", "A"}, 2, "at the latest"},
                                {{"--at", "2024-03-31 02:30", "Online", "A"}, 2, "daylight saving"},
                                {{"--at", "2024-02-30 10:00", "Online", "A"}, 2, "on no calendar"},
                                {{"--at", "2024-02-28 24:00", "Online", "A"}, 2, "on no calendar"},
                                {{"--at", "24-02-28 10:00", "Online", "A"}, 2, "is no time"},
                                {{"--in", "2", "Online", "A"}, 2, "is no span"},
                                {{"--in", "0h", "Online", "A"}, 2, "is no span"},
                                {{"--in", "1h1d", "Online", "A"}, 2, "is no span"},
                                {{"--in", "1h", "--at", "2024-02-28 10:00", "Online", "A"}, 2, "excludes"},
                                {{"Online", "A"}, 2, "Say when"}};
    for (const Refusal& refusal : refusals) {
        std::vector<std::string> arguments{"schedule", "add"};
        arguments.insert(arguments.end(), refusal.arguments.begin(), refusal.arguments.end());
        const Outcome outcome = Ostra(arguments);
        EXPECT_EQ(refusal.code, outcome.code) << refusal.saying;
        EXPECT_TRUE(Has(outcome.err, refusal.saying)) << outcome.err;
    }
    EXPECT_EQ(1u, Count());
    EXPECT_EQ(3, Ostra({"schedule", "remove", "2"}).code);
    clock.Set(programs::ParseJobTime("2024-10-27 01:30"));
    for (const char* span : {"1h", "2h"}) {  // to the first 02:30 and to the second one
        const Outcome twice = Ostra({"schedule", "add", "--in", span, "Online", "A"});
        EXPECT_EQ(2, twice.code);
        EXPECT_TRUE(Has(twice.err, "shows 2024-10-27 02:30 twice")) << twice.err;
    }
}

TEST_F(Schedule, IsALastingKeyThatTwoWritersDoNotSpoil) {
    const auto add = [](int minute, const wchar_t* group) {
        ScheduledJob job;
        const TimeValue time = 1'700'000'040 + minute * 60;
        if (programs::MakeJob(L"demo", L"Online", group, time, job)) return false;
        return programs::Perform({ScheduleRequest::Verb::Add, L"demo", job.line}, 0).code == 0;
    };
    {
        const auto service = Service();
        platform::ClusterKeyId root = 0;
        platform::ClusterKeyId key = 0;
        bool created = false;
        service->RootKey(root);
        ASSERT_EQ(0u, service->CreateKey(root, L"Ostra", false, key, created));
        ASSERT_EQ(0u, service->CreateKey(root, L"Ostra\\Scheduler", true, key, created));
        const auto table = platform::ToUtf16(L"demo,Online C,23:30 on 14,Tuesday November 2023\n");
        ASSERT_EQ(0u, service->SetValue(key, L"Persistence", 1, table));
        EXPECT_TRUE(add(0, L"A"));
        ASSERT_EQ(0u, service->OpenKey(root, L"Ostra\\Scheduler", key));
        EXPECT_EQ(0u, service->CreateKey(key, L"Below", false, key, created)) << "a volatile key refuses";
    }
    const pid_t child = ::fork();  // no connection is open now
    int lost = 0;
    for (int minute = 1; minute <= 20; ++minute) lost += add(minute, child ? L"A" : L"B") ? 0 : 1;
    if (child == 0) ::_exit(lost);
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, lost);
    EXPECT_EQ(42u, Count());
}

TEST_F(Schedule, IsServedToTheMinuteAlsoWhenOneJobIsSlow) {
    const auto cluster = std::make_shared<EventfulCluster>(Service());
    cluster->atMove = [this] { clock.Advance(1800); };
    platform::ClusterDirectory::Register(L"demo", cluster);
    Add("22:30", "Move", "A");
    Add("22:30", "Online", "B");
    Add("22:30", "Online", "C");
    Add("22:50", "Offline", "C");  // falls due while A is being moved
    PassingTime waiter(clock, 68);
    Serve(waiter);
    platform::ClusterDirectory::Register(L"demo", nullptr);
    const std::string reports = Reports();
    EXPECT_EQ("N2", OwnerOf("A"));
    EXPECT_EQ(0, StateOf("B"));
    EXPECT_EQ(1, StateOf("C")) << reports;
    EXPECT_EQ(0u, Count());
    EXPECT_TRUE(Has(reports, "Job \"Move A\" of cluster demo, due 2023-11-14 22:30, is done: group A is offline on N2"))
        << reports;
    EXPECT_FALSE(Has(reports, "missed"));
    EXPECT_LT(*std::max_element(waiter.lengths.begin(), waiter.lengths.end()), 30'000u);
}

TEST_F(Schedule, DropsAndReportsWhatPassedWhileNoSchedulerWasThere) {
    Add("22:30", "Online", "A");
    Add("22:36", "Online", "B");
    Add("22:42", "Online", "C");
    clock.Set(programs::ParseJobTime("2023-11-14 22:40"));
    EXPECT_EQ(1u, CarryOutOnce());
    const std::string reports = Reports();
    EXPECT_TRUE(Has(reports, "\"Online A\" of cluster demo, due 2023-11-14 22:30, was missed")) << reports;
    EXPECT_TRUE(Has(reports, "\"Online B\" of cluster demo, due 2023-11-14 22:36, is done")) << reports;
    EXPECT_EQ(1, StateOf("A"));
    EXPECT_EQ(0, StateOf("B"));
    EXPECT_EQ(1u, Count());
}

TEST_F(Schedule, OutlivesAClockThatIsSet) {
    Add("22:30", "Online", "A");
    Add("23:30", "Online", "B");
    PassingTime waiter(clock, 14);
    int step = 0;
    waiter.atWait = [&] {
        if (++step == 2) clock.Advance(2400);   // an hour's quarter too far, over the first job
        if (step == 4) clock.Advance(-86'400);  // a day back: nothing is due twice
        if (step == 6) clock.Advance(86'400);   // forward again, as far as a wrong clock is
        if (step == 8) clock.Set(programs::ParseJobTime("2023-11-14 23:29"));
    };
    Serve(waiter);
    const std::string reports = Reports();
    EXPECT_EQ(0, StateOf("A")) << reports;
    EXPECT_EQ(0, StateOf("B")) << reports;
    EXPECT_FALSE(Has(reports, "missed")) << reports;

    Do({"schedule", "add", "--at", "2023-11-15 06:00", "Online", "C"});
    PassingTime leap(clock, 2);
    leap.atWait = [&] { clock.Advance(43'200); };
    Serve(leap);
    EXPECT_TRUE(Has(Reports(), "missed")) << "half a day is more than a correction";
    EXPECT_EQ(1, StateOf("C"));
}

TEST_F(Schedule, NeverRepeatsAJobWhoseSchedulerWasKilledBeforeItRemovedIt) {
    Add("22:30", "Move", "A");
    clock.Set(programs::ParseJobTime("2023-11-14 22:30"));
    const pid_t child = ::fork();
    if (child == 0) {
        const auto cluster = std::make_shared<EventfulCluster>(Service());
        cluster->beforeTransaction = [&] {
            if (cluster->moves > 0) ::_exit(9);
        };
        platform::ClusterDirectory::Register(L"demo", cluster);
        CarryOutOnce();
        ::_exit(0);
    }
    int status = -1;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    ASSERT_EQ(9, WEXITSTATUS(status));
    EXPECT_EQ("N2", OwnerOf("A"));
    EXPECT_EQ("begun", Read({"schedule", "list"})[0]["state"]);
    EXPECT_EQ(1, Ostra({"schedule", "remove", "1"}).code);

    EXPECT_EQ(0u, CarryOutOnce());
    EXPECT_EQ("N2", OwnerOf("A"));
    EXPECT_EQ(0u, Count());
    EXPECT_TRUE(Has(Reports(), "not carried out again; group A is offline on N2"));
}

TEST_F(Schedule, NeverRepeatsAJobThatCannotBeRemoved) {
    const auto cluster = std::make_shared<EventfulCluster>(Service());
    cluster->atMove = [&] { cluster->refusal = platform::error::DiskFull; };
    platform::ClusterDirectory::Register(L"demo", cluster);
    Add("22:14", "Move", "A");
    PassingTime waiter(clock, 10);
    Serve(waiter);
    EXPECT_EQ(1, cluster->moves);
    const std::string reports = Reports();
    const std::string stuck = "was carried out and cannot be removed";
    EXPECT_TRUE(Has(reports, stuck)) << reports;
    EXPECT_EQ(reports.find(stuck), reports.rfind(stuck)) << "told once: " << reports;
    cluster->refusal = 0;
    EXPECT_EQ(0u, CarryOutOnce());
    EXPECT_EQ(1, cluster->moves);
    EXPECT_EQ(0u, Count());
    platform::ClusterDirectory::Register(L"demo", nullptr);
}

TEST_F(Schedule, ReportsAJobThatDidNotDoWhatItShould) {
    Do({"node", "pause", "N2"});
    Add("22:30", "Move", "A");
    Add("22:30", "Online", "B");
    Do({"group", "delete", "B"});
    clock.Set(programs::ParseJobTime("2023-11-14 22:30"));
    EXPECT_EQ(2u, CarryOutOnce());
    const std::string reports = Reports();
    EXPECT_TRUE(Has(reports, "failed: group A is offline on N1")) << reports;
    EXPECT_TRUE(Has(reports, "failed: group B cannot be seen")) << reports;
    EXPECT_EQ(0u, Count());
}

TEST_F(Schedule, IsChangedThroughThePipeOfARunningScheduler) {
    PassingTime waiter(clock, 1);
    programs::Server server(waiter, journal);
    const programs::RequestListener listener([&](const ScheduleRequest& request) { return server.Answer(request); });
    ASSERT_TRUE(listener.IsListening());
    // Naps pass at once here, so that a client would not wait until the one before it is gone.
    const auto awaitFree = [] {
        while (!WaitNamedPipeW(L"\\\\.\\pipe\\ostra-scheduler", NMPWAIT_NOWAIT)) ::sched_yield();
    };
    const auto ask = [&](const std::wstring& text) {
        awaitFree();
        PipeClient client(programs::schedulerPipe, L"");
        EXPECT_NE(0, client.Open(1));
        EXPECT_NE(0, client.Send(text));
        return client.Receive();
    };
    for (const wchar_t* text : {L"", L"add", L"add\ndemo", L"dance\ndemo\nx", L"add\ndemo\nx\ny"})
        EXPECT_EQ(L"87 0", ask(text)) << platform::ToUtf8(text);
    for (const wchar_t* text : {L"add\ndemo\n", L"add\ndemo\ndemo,Online", L"add\ndemo\n,,,"})
        EXPECT_EQ(L"13 0", ask(text)) << platform::ToUtf8(text);
    EXPECT_EQ(L"2 0", ask(L"add\nelsewhere\nelsewhere,Online A,23:30 on 14,Tuesday November 2023"));
    {
        awaitFree();
        PipeClient leaving(programs::schedulerPipe, L"");
        EXPECT_NE(0, leaving.Open(1));
    }
    const int before = waiter.pokes;
    awaitFree();
    const Outcome added = Do({"schedule", "add", "--in", "1h", "Online", "A"});
    EXPECT_EQ("", added.err) << "a scheduler is there";
    EXPECT_EQ(before + 1, waiter.pokes);
    awaitFree();
    Do({"schedule", "purge"});
    awaitFree();
    Do({"schedule", "remove", "1"});
    EXPECT_EQ(before + 3, waiter.pokes);
    EXPECT_EQ(0u, Count());
}

TEST_F(Schedule, HasOneSchedulerThatTellsItsServiceManagerHowItStands) {
    const std::string path = (home.Path() / "notices").string();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ASSERT_EQ(0, ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
    ::setenv("WATCHDOG_USEC", "8000000", 1);
    PassingTime waiter(clock, 1);
    Serve(waiter);
    ::unsetenv("NOTIFY_SOCKET");
    ::unsetenv("WATCHDOG_USEC");
    StringArray notices;
    char text[64];
    for (ssize_t size = 0; (size = ::recv(socket, text, sizeof text, 0)) > 0;)
        notices.push_back(platform::FromUtf8({text, static_cast<std::size_t>(size)}));
    ::close(socket);
    EXPECT_EQ((StringArray{L"READY=1", L"WATCHDOG=1", L"WATCHDOG=1", L"STOPPING=1"}), notices);
    EXPECT_EQ(4000u, waiter.lengths.front());

    const programs::InstanceLock lock;
    const Outcome second = Ostra({"schedule", "run", "--once"});
    EXPECT_EQ(1, second.code);
    EXPECT_TRUE(Has(second.err, "Another scheduler is running"));
}

TEST(SignalWaiter, StopsAtTheFirstSignalAndKeepsAPokeForTheNextWait) {
    programs::SignalWaiter waiter;
    waiter.Poke();
    EXPECT_FALSE(waiter.HasStopped());
    EXPECT_EQ(Wakeup::Poked, waiter.Wait(0));
    EXPECT_EQ(Wakeup::Timeout, waiter.Wait(0));
    ::raise(SIGTERM);
    EXPECT_EQ(Wakeup::Stop, waiter.Wait(60'000));
    EXPECT_TRUE(waiter.HasStopped());
}

}  // namespace
}  // namespace tests
