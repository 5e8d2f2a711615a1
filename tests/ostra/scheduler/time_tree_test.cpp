#include <ostra/scheduler/ScheduleTable.h>
#include <ostra/scheduler/TreeNode.h>
#include <platform/base/clock.h>
#include <tests/ostra/scheduler/TimeZone.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>

#include <limits>
#include <memory>

using tests::TimeZone;

namespace {

// A way to the private operations, which no public one calls.
using HourText = std::wstring (TreeNode::*)(int) const;
HourText OpenedHourText();
template <HourText operation>
struct Open {
    friend HourText OpenedHourText() { return operation; }
};
template struct Open<&TreeNode::GetHourString>;

class TimeTrees : public testing::Test {
protected:
    /// Sets the clock by the wall.
    void At(int year, int month, int day, int hour, int minute, int second) {
        clock.Set(platform::MakeTime(year, month, day, hour, minute, second));
    }
    void Build(LONG count, int interval, int synchronize = 1) {
        EXPECT_EQ(1, tree.Initialize(count, interval, L"", L"", synchronize));
    }
    /// The outline as it is shown, each line indented by its level.
    std::wstring Outline() const {
        std::wstring text;
        for (int line = 0; line < tree.Size(); ++line)
            text += std::wstring(static_cast<std::size_t>(tree.TreeNodeLevel(line)), L' ') + tree[line] + L"\n";
        return text;
    }
    void Schedule(const std::wstring& command, TimeValue time) {
        table.Add(_made.emplace_back(std::make_unique<ScheduleEntry>(L"C", command, time)).get());
    }
    void Insert() { EXPECT_EQ(0, tree.InsertJobEntries(&table)); }

    tests::FakeClock clock;
    tests::CapturedOutput output;
    TimeZone zone{TimeZone::utc};
    ScheduleTable table;
    TreeNode tree;

private:
    std::vector<std::unique_ptr<ScheduleEntry>> _made;
};

TEST_F(TimeTrees, ShowEachUnitWhereItChangesAsDeepAsTheIntervalSays) {
    At(1997, 11, 18, 14, 7, 30);
    Build(3, 4);
    EXPECT_EQ(L"1997\n November\n  18, Tuesday\n   14:00\n    14:08\n    14:09\n    14:10\n    14:11\n", Outline());
    Build(2, 2);
    EXPECT_EQ(L"1997\n November\n  18, Tuesday\n  19, Wednsday\n  20, Thursday\n", Outline());
    Build(0, 3);
    EXPECT_EQ(L"1997\n November\n  18, Tuesday\n   14:00\n", Outline());
    At(1997, 12, 31, 23, 20, 0);
    Build(2, 3);
    EXPECT_EQ(L"1997\n December\n  31, Wednsday\n   23:00\n1998\n January\n  01, Thursday\n   00:00\n   01:00\n",
              Outline());
    Build(-3, 1);
    EXPECT_EQ(L"1997\n December\n  31, Wednsday\n", Outline());
}

TEST_F(TimeTrees, SpendTheFirstStepOfAnIntervalOfTheirOwnOnSynchronizing) {
    At(1997, 11, 18, 14, 7, 0);
    Build(2, 15);
    EXPECT_EQ(L"1997\n November\n  18, Tuesday\n   14:00\n    14:15\n    14:30\n", Outline());
    Build(2, 15, 0);
    EXPECT_EQ(L"1997\n November\n  18, Tuesday\n   14:00\n    14:15\n    14:30\n    14:45\n", Outline());
    At(1997, 11, 18, 14, 15, 59);
    EXPECT_EQ(L"    14:30\n", (Build(1, 15), Outline().substr(Outline().size() - 10)));
    for (const int interval : {0, -1, std::numeric_limits<int>::min()}) {
        Build(2000, interval);
        const std::wstring asOne = Outline();
        Build(2000, 1);
        EXPECT_EQ(Outline(), asOne);
    }
}

TEST_F(TimeTrees, FollowTheLocalClockThroughAChangeOfDaylightSaving) {
    const TimeZone there(TimeZone::middleEurope);
    At(2024, 3, 31, 1, 55, 0);
    Build(5, 4);
    EXPECT_EQ(
        L"2024\n March\n  31, Sunday\n   01:00\n    01:56\n    01:57\n    01:58\n    01:59\n   03:00\n    03:00\n"
        L"    03:01\n",
        Outline());
    const TimeValue second = platform::MakeTime(2024, 10, 27, 3, 0, 0) - 3600;  // 02:00 when it comes again
    clock.Set(second - 300);
    Build(5, 4);
    Schedule(L"First", second - 3600);
    Schedule(L"Second", second);
    Insert();
    EXPECT_EQ(
        L"2024\n October\n  27, Sunday\n   02:00\n    02:56\n    02:57\n    02:58\n    02:59\n    02:00\n"
        L"     C-Second\n    02:01\n",
        Outline());
}

TEST_F(TimeTrees, HoldJobsUnderTheMinuteOfExactlyTheirTimeInTheTablesOrder) {
    At(1997, 11, 18, 14, 7, 30);
    Build(3, 4);
    const TimeValue due = platform::MakeTime(1997, 11, 18, 14, 9, 0);
    for (const auto& [command, late] :
         {std::pair{L"Last", 120}, {L"B", 0}, {L"Between", 30}, {L"A", 0}, {L"Gone", -120}, {L"To come", 180}})
        Schedule(command, due + late);
    Insert();
    const std::wstring head = L"1997\n November\n  18, Tuesday\n   14:00\n    14:08\n    14:09\n";
    EXPECT_EQ(head + L"     C-B\n     C-A\n    14:10\n    14:11\n     C-Last\n", Outline());
    Insert();
    EXPECT_EQ(head + L"     C-B\n     C-A\n     C-B\n     C-A\n    14:10\n    14:11\n     C-Last\n     C-Last\n",
              Outline());
    EXPECT_EQ(0, tree.InsertJobEntries(nullptr));
    EXPECT_EQ(1, tree.RemoveAll());
    Insert();
    EXPECT_EQ(0, tree.Size());
    Build(3, 3);
    Insert();
    EXPECT_EQ(std::wstring::npos, Outline().find(L"C-"));
}

TEST_F(TimeTrees, EndAtTheirMostStepsAndWithTheLastTimeThereIs) {
    clock.Set(0);
    Build(600'000, 1, 0);  // a minute each, of which days are shown: from 00:01 on 1 January, 500,000 minutes
    EXPECT_EQ(L"14, Monday", tree[tree.Size() - 1]);
    EXPECT_EQ(1 + 12 + 348, tree.Size());
    clock.Set(std::numeric_limits<TimeValue>::max() - 180);
    Build(100, 4);
    EXPECT_EQ(L"2038\n January\n  19, Tuesday\n   03:00\n    03:12\n    03:13\n    03:14\n", Outline());
    for (const int interval : {std::numeric_limits<int>::max(), 2}) {
        Build(100, interval);
        EXPECT_EQ(L"2038\n January\n  19, Tuesday\n", Outline().substr(0, 28));
    }
    clock.Set(std::numeric_limits<TimeValue>::min());
    Build(1, 4);
    EXPECT_EQ(L"1901\n December\n  13, Friday\n   20:00\n    20:48\n    20:49\n", Outline());
}

TEST_F(TimeTrees, NameUnitsTimesAndHours) {
    const std::pair<const wchar_t*, int> units[] = {{L"year", 1},   {L" month 3", 2}, {L"day", 3},   {L"hour", 4},
                                                    {L"minute", 5}, {L"Year", 0},     {L"years", 0}, {L"", 0}};
    for (const auto& [unit, level] : units) EXPECT_EQ(level, tree.TreeLevel(unit));
    EXPECT_EQ(L"2023 November 14 Tuesday, 22:13:20", tree.CTimeString(1'700'000'000));
    const std::pair<int, const wchar_t*> hours[] = {{0, L"0:00am"},     {9, L"9:00am"},  {11, L"11:00am"},
                                                    {12, L"12:00noon"}, {13, L"1:00pm"}, {23, L"11:00pm"}};
    for (const auto& [hour, text] : hours) EXPECT_EQ(text, (tree.*OpenedHourText())(hour));
}

TEST_F(TimeTrees, AnswerAnIndexThatIsNoneWithALineAndNoText) {
    const TreeNode built(0, 2, L"", L"");
    output.Take();
    for (const LONG index : {3, -1, std::numeric_limits<LONG>::max()}) {
        EXPECT_EQ(L"", built[index]);
        EXPECT_EQ(L"TreeNode::operator[]. Invalid subscript:" + std::to_wstring(index) + L"\n", output.Take());
        EXPECT_EQ(-1, built.TreeNodeLevel(index));
    }
    built.Info();
    EXPECT_EQ(L"TreeNode::Info( ). _treeNodeText.GetSize( ):3\n", output.Take());
}

}  // namespace
