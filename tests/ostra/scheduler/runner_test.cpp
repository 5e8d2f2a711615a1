#include <ostra/registry/TypedClusterKeys.h>
#include <ostra/scheduler/ScheduleRunner.h>
#include <ostra/scheduler/ScheduleTable.h>
#include <tests/ostra/cluster/ClusterWorld.h>
#include <tests/ostra/scheduler/TimeZone.h>
#include <tests/support/CapturedMessageBoxes.h>

#include <limits>

using tests::Operation;
using tests::TimeZone;

namespace {

constexpr TimeValue earliest = std::numeric_limits<TimeValue>::min();
constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

/// The groups Alpha, Beta and Gamma, offline, and the group Accounting Group, online, all on N1.
class ScheduledJobs : public tests::ClusterWorld {
protected:
    ScheduledJobs() {
        Give({.name = L"Accounting Group", .resources = {{L"Ledger"}}});
        printed.Take();
    }

    /// Carries a command out in both forms, each on a group of its own: `%` in it stands for that group's name.
    void Run(const std::wstring& command, const std::wstring& byName, const std::wstring& byHandle) {
        EXPECT_EQ(1, ScheduleRunner(L"Test", Filled(command, byName), 60).Run(0));
        EXPECT_EQ(1, ScheduleRunner(L"Elsewhere", Filled(command, byHandle), 60).Run(cluster, 0));
    }
    StringArray ChangesOfState() {
        StringArray changed;
        for (const auto& change : Changes())
            if (change.notification == CLUSTER_CHANGE_GROUP_STATE) changed.push_back(change.object);
        return changed;
    }

    TimeZone zone{TimeZone::utc};
    tests::CapturedMessageBoxes boxes;

private:
    static std::wstring Filled(std::wstring command, const std::wstring& group) {
        const std::size_t at = command.find(L'%');
        return at == std::wstring::npos ? command : command.replace(at, 1, group);
    }
};

TEST_F(ScheduledJobs, BringGroupsOnlineOfflineAndToAnotherNode) {
    const long users = service.use_count();
    Run(L"Online %", L"Alpha", L"Beta");
    EXPECT_EQ(0u, StateOf(L"Alpha"));
    EXPECT_EQ(0u, StateOf(L"Beta"));
    Run(L"  Move   % ", L"Alpha", L"Beta");
    EXPECT_EQ(L"N2", OwnerOf(L"Alpha"));
    EXPECT_EQ(L"N2", OwnerOf(L"Beta"));
    Run(L"Offline %", L"Alpha", L"Beta");
    EXPECT_EQ(1u, StateOf(L"Alpha"));
    EXPECT_EQ(1u, StateOf(L"Beta"));
    Run(L"Move   Accounting     Group", {}, {});  // there and back
    EXPECT_EQ(L"N1", OwnerOf(L"Accounting Group"));
    EXPECT_EQ(users, service.use_count()) << "handles left open";
    EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(ScheduledJobs, DoNothingForACommandThatIsNone) {
    Forget();
    for (const wchar_t* command :
         {L"online Alpha", L"Onlines Alpha", L"MOVE Alpha", L"Online", L"  Offline  ", L"Alpha Online", L"", L" "})
        Run(command, {}, {});
    EXPECT_EQ(StringArray(), ChangesOfState());
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Online Alpha", 60).Run(nullptr, 0));
    EXPECT_EQ(1u, StateOf(L"Alpha"));
    EXPECT_TRUE(boxes.boxes.empty());
    EXPECT_EQ((StringArray{L"1 ScheduleRunner::RunClusterJob( ). Failure opening group Online"}), NewReports());
}

TEST_F(ScheduledJobs, TellOfAGroupOrClusterThatIsNotThere) {
    Run(L"Online Nowhere At All", {}, {});
    EXPECT_EQ((StringArray{L"1 Cluster::BringGroupOnLine( groupName ). Invalid group name Nowhere At All",
                           L"1 ScheduleRunner::RunClusterJob( ). Failure opening group Nowhere At All"}),
              NewReports());
    EXPECT_EQ(1, ScheduleRunner(L"Elsewhere", L"Online Alpha", 60).Run(0));
    EXPECT_EQ((StringArray{L"1 Cluster::Open( ). Failure opening cluster:Elsewhere"}), NewReports());

    failing->Fail(Operation::Information, 5);
    EXPECT_EQ(1, ScheduleRunner(L"", L"Online Alpha", 60).Run(cluster, 0));
    const std::vector<tests::CapturedMessageBoxes::Box> box{
        {L" Invalid cluster handle", L"Norvane Ostra", MB_DEFAULT_DESKTOP_ONLY}};
    EXPECT_EQ(box, boxes.boxes);
    EXPECT_EQ(0u, StateOf(L"Alpha")) << "the box does not stop the job";

    const HCLUSTER closed = OpenCluster(L"Test");
    CloseCluster(closed);
    EXPECT_EQ(1, ScheduleRunner(L"", L"Offline Alpha", 60).Run(closed, 0));
    EXPECT_EQ(2u, boxes.boxes.size());
    EXPECT_EQ((StringArray{L"1 ScheduleRunner::RunClusterJob( ). Failure opening group Alpha"}), NewReports());
}

TEST_F(ScheduledJobs, TellWhatTheyDoOnStandardOutput) {
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Dance  all   Night", 11 * 3600 + 120).Run(1));
    const std::wstring text = printed.Take();
    const std::wstring head =
        L"Next in queue: Dance  all   Night at 11:02\nExecuting Dance  all   Night at 2023 November 14 22 13\n the "
        L"group:all Night\n";
    const std::wstring tail = L"Scheduler::RunClusterJob( ). On exit.\nScheduleRunner::Run( data ). On exit.\n";
    EXPECT_EQ(head, text.substr(0, head.size()));
    EXPECT_TRUE(text.ends_with(tail)) << testing::PrintToString(text);
    EXPECT_EQ((std::vector<DWORD>{1000}), clock.naps);
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Online Alpha", 60).Run(cluster, -1));
    EXPECT_EQ(L"ScheduleRunner::Run( data ). On exit.\n", printed.Take());
    EXPECT_EQ(1u, clock.naps.size());
    EXPECT_EQ((std::vector<std::pair<DWORD, DWORD>>{{100, 100}, {100, 100}}), clock.beeps);
}

TEST_F(ScheduledJobs, AreDueForFiveMinutesAndObsoleteRightAfterTheirTime) {
    const TimeValue now = platform::CurrentTime();
    const struct {
        TimeValue due;
        int isTimeToRun;
        int isObsolete;
    } rows[] = {{now + 1, 0, 0},   {now, 1, 0},      {now - 1, 1, 1}, {now - 300, 1, 1},
                {now - 301, 0, 1}, {earliest, 0, 1}, {latest, 0, 0}};
    for (const auto& row : rows) {
        const ScheduleRunner runner(L"Test", L"Move Alpha", row.due);
        EXPECT_EQ(row.isTimeToRun, runner.IsTimeToRun()) << now - row.due;
        EXPECT_EQ(row.isObsolete, runner.IsObsolete()) << now - row.due;
    }
    EXPECT_EQ(0, ScheduleRunner(L"Test", L"", latest).IsTimeToRun());
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"", latest).IsObsolete());
}

TEST_F(ScheduledJobs, CompareHoursByTheLocalClock) {
    const ScheduleRunner runner(L"Test", L"Move Alpha", 1'700'000'000);  // 22:13:20
    for (const auto& [rule, later, isSame] : {std::tuple{TimeZone::utc, 2799, 1},
                                              {TimeZone::utc, 2800, 0},
                                              {TimeZone::india, 999, 1},
                                              {TimeZone::india, 1000, 0},
                                              {TimeZone::utc, 86'400, 0},
                                              {TimeZone::utc, 366 * 86'400, 0}}) {
        const TimeZone there(rule);
        clock.Set(1'700'000'000 + later);
        EXPECT_EQ(isSame, runner.IsSameHour()) << rule << " " << later;
    }
}

TEST_F(ScheduledJobs, SleepTwoMinutesAtATimeUntilTheyAreDue) {
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Move Alpha", platform::CurrentTime() + 121).TakeNap());
    EXPECT_EQ((std::vector<DWORD>{120'000, 120'000}), clock.naps);
    EXPECT_EQ(
        L"ScheduleRunner::Sleep( ). Went to sleep at 2023 November 14 Tuesday 22 13 20\n"
        L"ScheduleRunner::Sleep( ). Went to sleep at 2023 November 14 Tuesday 22 15 20\n"
        L"ScheduleRunner::Sleep( ). Woke up at 2023 November 14 Tuesday 22 17 20\n",
        printed.Take());
    clock.naps.clear();
    for (const TimeValue due : {platform::CurrentTime() - 301, earliest})
        EXPECT_EQ(0, ScheduleRunner(L"Test", L"Move Alpha", due).TakeNap());
    EXPECT_TRUE(clock.naps.empty());
    EXPECT_EQ(L"", printed.Take());
    // Due still, but not when the nap is over.
    EXPECT_EQ(0, ScheduleRunner(L"Test", L"Move Alpha", platform::CurrentTime() - 200).TakeNap());
    EXPECT_EQ(1u, clock.naps.size());
}

TEST_F(ScheduledJobs, AreKeptInTheClusterDatabase) {
    ScheduleTable table;
    table.SetPersistence(
        L"Test,Move Alpha,10:00 x 5,x March 2030\nTest,Online \u00dcber \U0001F600,9:00 x 5,x March 2030\n");
    ScheduleTable loaded;
    ClusterKey root(L"Test");
    ASSERT_EQ(0, ClusterRegCloseKey(root.GetHandle(L"Ostra", root.Root())));
    ClusterSchedulerKey(L"Test", L"Scheduler") << table;
    ClusterSchedulerKey(L"Test", L"Scheduler") >> loaded;
    EXPECT_EQ(table.PersistentData(), loaded.PersistentData());
    EXPECT_EQ(2, loaded.Count());
    for (const ScheduleTable* filled : {&table, &loaded})
        for (const ScheduleEntry* entry : *filled) delete entry;
}

}  // namespace
