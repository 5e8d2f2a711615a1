#include <ostra/scheduler/ScheduleRunner.h>
#include <tests/ostra/cluster/ClusterWorld.h>
#include <tests/ostra/scheduler/TimeZone.h>
#include <tests/support/CapturedMessageBoxes.h>

#include <gtest/gtest.h>

#include <limits>

using tests::TimeZone;

namespace {

constexpr TimeValue earliest = std::numeric_limits<TimeValue>::min();
constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

/// The groups Alpha and Beta, offline, and Accounting Group, online, all on N1.
class ScheduledJobs : public tests::ClusterWorld {
protected:
    ScheduledJobs() {
        Give({.name = L"Accounting Group", .resources = {{L"Ledger"}}});
        printed.Take();
    }

    /// Carries out one command in each form.
    void Run(const std::wstring& byName, const std::wstring& byHandle) {
        Forget();
        EXPECT_EQ(1, ScheduleRunner(L"Test", byName, 60).Run(0));
        EXPECT_EQ(1, ScheduleRunner(L"Elsewhere", byHandle, 60).Run(cluster, 0));
    }
    std::wstring StateAndOwner(const std::wstring& group) { return std::to_wstring(StateOf(group)) + OwnerOf(group); }

    TimeZone zone{TimeZone::utc};
    tests::CapturedMessageBoxes boxes;
};

TEST_F(ScheduledJobs, BringGroupsOnlineOfflineAndToAnotherNode) {
    const long users = service.use_count();
    for (const auto& [word, state] : {std::pair{L"Online ", L"0N1"}, {L"  Move   ", L"0N2"}, {L"Offline  ", L"1N2"}}) {
        Run(word + std::wstring(L"Alpha "), word + std::wstring(L"Beta"));
        EXPECT_EQ(state, StateAndOwner(L"Alpha"));
        EXPECT_EQ(state, StateAndOwner(L"Beta"));
    }
    Run(L"Move   Accounting     Group", L"Offline  Accounting   Group");
    EXPECT_EQ(L"1N2", StateAndOwner(L"Accounting Group"));
    EXPECT_EQ(users, service.use_count()) << "handles left open";
}

TEST_F(ScheduledJobs, DoNothingForACommandThatIsNone) {
    for (const wchar_t* command :
         {L"online Alpha", L"Onlines Alpha", L"Online", L"  Offline  ", L"Alpha Online", L""}) {
        Run(command, command);
        EXPECT_TRUE(Changes().empty()) << command;
    }
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Online Alpha", 60).Run(nullptr, 0));
    EXPECT_EQ(1u, StateOf(L"Alpha"));
    Run(L"Online Nowhere At All", L"Online Nowhere At All");
    EXPECT_EQ(1, ScheduleRunner(L"Elsewhere", L"Online Alpha", 60).Run(0));
    EXPECT_EQ((StringArray{L"1 ScheduleRunner::RunClusterJob( ). Failure opening group Online",
                           L"1 Cluster::BringGroupOnLine( groupName ). Invalid group name Nowhere At All",
                           L"1 ScheduleRunner::RunClusterJob( ). Failure opening group Nowhere At All",
                           L"1 Cluster::Open( ). Failure opening cluster:Elsewhere"}),
              NewReports());
}

TEST_F(ScheduledJobs, TellWhatTheyDoOnStandardOutputAndOfAnInvalidClusterInABox) {
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Dance  all   Night", 11 * 3600 + 120).Run(1));
    const std::wstring text = printed.Take();
    EXPECT_TRUE(
        text.starts_with(L"Next in queue: Dance  all   Night at 11:02\n"
                         L"Executing Dance  all   Night at 2023 November 14 22 13\n the group:all Night\n"));
    EXPECT_TRUE(text.ends_with(L"Scheduler::RunClusterJob( ). On exit.\nScheduleRunner::Run( data ). On exit.\n"));
    failing->Fail(tests::Operation::Information, 5);
    EXPECT_EQ(1, ScheduleRunner(L"", L"Online Alpha", 60).Run(cluster, -1));
    EXPECT_EQ(L"ScheduleRunner::Run( data ). On exit.\n", printed.Take());
    using Boxes = std::vector<tests::CapturedMessageBoxes::Box>;
    EXPECT_EQ((Boxes{{L" Invalid cluster handle", L"Norvane Ostra", MB_DEFAULT_DESKTOP_ONLY}}), boxes.boxes);
    EXPECT_EQ(0u, StateOf(L"Alpha")) << "the box does not stop the job";
    EXPECT_EQ((std::vector<DWORD>{1000}), clock.naps);
    EXPECT_EQ((std::vector<std::pair<DWORD, DWORD>>{{100, 100}, {100, 100}}), clock.beeps);
}

TEST_F(ScheduledJobs, AreDueForFiveMinutesAndObsoleteRightAfterTheirTime) {
    const TimeValue now = platform::CurrentTime();  // 22:13:20
    const std::tuple<TimeValue, int, int, int> rows[] = {
        {now + 1, 0, 0, 1},   {now, 1, 0, 1},       {now - 1, 1, 1, 1},    {now - 300, 1, 1, 1},
        {now - 301, 0, 1, 1}, {now - 801, 0, 1, 0}, {now + 2800, 0, 0, 0}, {now - 31'536'000, 0, 1, 0},
        {earliest, 0, 1, 0},  {latest, 0, 0, 0}};
    for (const auto& [due, isTimeToRun, isObsolete, isSameHour] : rows) {
        const ScheduleRunner runner(L"Test", L"Move Alpha", due);
        EXPECT_EQ(isTimeToRun, runner.IsTimeToRun()) << due;
        EXPECT_EQ(isObsolete, runner.IsObsolete()) << due;
        EXPECT_EQ(isSameHour, runner.IsSameHour()) << due;
    }
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"", latest).IsObsolete()) << "due at 0, without a command";
    const TimeZone there(TimeZone::india);  // it is 3:43:20 there
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Move Alpha", now + 999).IsSameHour());
    EXPECT_EQ(0, ScheduleRunner(L"Test", L"Move Alpha", now + 1000).IsSameHour());
}

TEST_F(ScheduledJobs, SleepTwoMinutesAtATimeUntilTheyAreDue) {
    EXPECT_EQ(1, ScheduleRunner(L"Test", L"Move Alpha", platform::CurrentTime() + 121).TakeNap());
    EXPECT_EQ(
        L"ScheduleRunner::Sleep( ). Went to sleep at 2023 November 14 Tuesday 22 13 20\n"
        L"ScheduleRunner::Sleep( ). Went to sleep at 2023 November 14 Tuesday 22 15 20\n"
        L"ScheduleRunner::Sleep( ). Woke up at 2023 November 14 Tuesday 22 17 20\n",
        printed.Take());
    // Due still, but not when the nap is over; and over long ago.
    for (const TimeValue due : {platform::CurrentTime() - 200, earliest})
        EXPECT_EQ(0, ScheduleRunner(L"Test", L"Move Alpha", due).TakeNap());
    EXPECT_EQ((std::vector<DWORD>{120'000, 120'000, 120'000}), clock.naps);
}

}  // namespace
