#include <ostra/scheduler/ScheduleTable.h>
#include <ostra/scheduler/TreeNode.h>
#include <platform/base/clock.h>
#include <platform/framework/CArchive.h>
#include <tests/ostra/scheduler/TimeZone.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>
#include <tuple>

using tests::TimeZone;

namespace {

constexpr TimeValue earliest = std::numeric_limits<TimeValue>::min();
constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

/// A table and a tree, and the deletion of what tests put into the table.
class AScheduleTest : public testing::Test {
protected:
    ScheduleEntry* Make(const std::wstring& command, TimeValue time, const std::wstring& cluster = L"C") {
        return _made.emplace_back(std::make_unique<ScheduleEntry>(cluster, command, time)).get();
    }
    void AddAandB() {
        table.Add(Make(L"A", 60));
        table.Add(Make(L"B", 120));
    }
    /// What the table made itself.
    void TakeOver(const ScheduleTable& filled) {
        for (ScheduleEntry* entry : filled) _made.emplace_back(entry);
    }
    static std::wstring Commands(const ScheduleTable& filled) {
        std::wstring commands;
        for (const ScheduleEntry* entry : filled) commands += *entry->ScheduledCommand() + L";";
        return commands;
    }
    /// The outline as it is shown, each line indented by its level.
    std::wstring Outline() const {
        std::wstring text;
        for (int line = 0; line < tree.Size(); ++line)
            text += std::wstring(static_cast<std::size_t>(tree.TreeNodeLevel(line)), L' ') + tree[line] + L"\n";
        return text;
    }
    /// That of an axis that begins then.
    std::wstring Outline(TimeValue start, LONG count, int interval, int synchronize = 1) {
        clock.Set(start);
        EXPECT_EQ(1, tree.Initialize(count, interval, L"", L"", synchronize));
        return Outline();
    }

    tests::FakeClock clock;
    tests::CapturedOutput output;
    TimeZone zone{TimeZone::utc};
    ScheduleTable table;
    TreeNode tree;

private:
    std::vector<std::unique_ptr<ScheduleEntry>> _made;
};

using ScheduleEntries = AScheduleTest;
using ScheduleTables = AScheduleTest;
using TimeTrees = AScheduleTest;

ScheduleEntry ReadIn(const char* zone, const std::wstring& line) {
    const TimeZone there(zone);
    return ScheduleEntry(line);
}

TEST_F(ScheduleEntries, ReadJobLinesAsLocalTimeInAnyZone) {
    const std::tuple<const char*, const wchar_t*, const wchar_t*> rows[] = {
        {TimeZone::utc, L"C,Online Big G,23:30 on 24,x December 2026", L"C|Online Big G|2026-12-24 23:30:00"},
        {TimeZone::india, L"C,Move G,00:05 x 1,x January 2027,more", L"C|Move G|2026-12-31 18:35:00"},
        {TimeZone::newYork, L"C,Move G,12:00 x 3,x July 2024", L"C|Move G|2024-07-03 16:00:00"},
        {TimeZone::middleEurope, L"C,Move G,01:59 x 31,x March 2024", L"C|Move G|2024-03-31 00:59:00"},
        {TimeZone::middleEurope, L"C,Move G,03:00 x 31,x March 2024", L"C|Move G|2024-03-31 01:00:00"},
        {TimeZone::utc, L"C,,,Move G,,1:2  x   3,,x  March   2024", L"C|Move G|2024-03-03 01:02:00"},
        {TimeZone::utc, L"C,G,10:00 x 5,x march 2024", L"C|G|2023-12-05 10:00:00"},
        {TimeZone::utc, L"C,G,25:61 x 32,x December 2024", L"C|G|2025-01-02 02:01:00"},
        {TimeZone::utc, L",Move G,10:00 x 5,x March 2024", L"Move G|10:00 x 5|1901-12-13 20:45:52"},
        {TimeZone::utc, L"C,G,4294967295:-9 x 99999999999,x March 2024", L"C|G|2038-01-19 03:14:07"},
        {TimeZone::utc, L"", L"||1901-12-13 20:45:52"},
    };
    for (const auto& [rule, line, job] : rows) {
        const ScheduleEntry entry = ReadIn(rule, line);
        EXPECT_EQ(job, *entry.ScheduledClusterName() + L"|" + *entry.ScheduledCommand() + L"|" +
                           platform::FormatTime(entry.ScheduleTime(), L"%Y-%m-%d %H:%M:%S"));
    }
}

TEST_F(ScheduleEntries, FindTheirTimeAgainInItsTextAndInTheLineThatTellsOfThem) {
    for (const char* rule : {TimeZone::utc, TimeZone::middleEurope, TimeZone::newYork, TimeZone::india}) {
        const TimeZone there(rule);
        for (const TimeValue time : {0, 1'700'000'000, 1'711'846'799, 1'711'846'800, 1'719'792'000, 2'147'400'000}) {
            const ScheduleEntry entry(L"Payroll", L"Online Accounting  Group", time);
            EXPECT_EQ(time / 60 * 60, entry.CTimeFormatToCTime(ScheduleEntry::TimeText(time)));
            EXPECT_TRUE(ScheduleEntry(entry.JobLine()) ==
                        ScheduleEntry(L"Payroll", entry.GetCommand(entry.JobLine()), time / 60 * 60));
        }
    }
    EXPECT_EQ(L"C,Move  G,22:13 on 14,Tuesday November 2023", ScheduleEntry(L"C", L"Move  G", 1'700'000'000).JobLine());
}

TEST_F(ScheduleEntries, AreComparedByTheirJobAloneAndKeepTheirNumbers) {
    ScheduleEntry first(L"C", L"Move G", 60), second(L"Move G", 60);
    first.SetLevel(7);
    EXPECT_FALSE(first == second);
    second = first;
    EXPECT_TRUE(first == second) << "whatever their levels";
    EXPECT_EQ(first.ID() + 1, second.ID());
    EXPECT_EQ(L"1970 January 01 Thursday 00 01 00:Move G:C:0", second.Info());
}

TEST_F(ScheduleTables, SortExactlyAsExchangingTheirEntriesDoes) {
    std::mt19937 random(1);
    std::vector<ScheduleEntry*> entries;
    while (entries.size() < 200) entries.push_back(Make(L"", 0));
    for (int round = 0; round < 4000; ++round) {
        const auto kinds = 2 + random() % 5;
        std::vector<ScheduleEntry*> expected(entries.begin(),
                                             round < 10 ? entries.end() : entries.begin() + random() % 9);
        table.RemoveAll();
        for (ScheduleEntry* entry : expected) {
            entry->Set(L"", static_cast<TimeValue>(random() % kinds) - 1);
            table.CArray<ScheduleEntry*>::Add(entry);
        }
        for (std::size_t i = 0; i < expected.size(); ++i)
            for (std::size_t j = i + 1; j < expected.size(); ++j)
                if (expected[j]->ScheduleTime() < expected[i]->ScheduleTime()) std::swap(expected[i], expected[j]);
        EXPECT_EQ(1, table.Sort());
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), table.begin(), table.end())) << round;
    }
}

TEST_F(ScheduleTables, KeepTheirTextInStepWithWhatIsAddedAndRemoved) {
    const std::wstring text =
        L"A,Move G,10:00 x 5,x March 2030\nB,Online G,9:00 x 5,x March 2030\nA,Move I,1:1 x 5,x March 2030\n";
    table.SetPersistence(text + L"\nC,Move G,10:00 x 5,x March 2030\n");
    table.SetPersistence(L"unfinished");
    TakeOver(table);
    EXPECT_EQ(text, table.PersistentData());
    EXPECT_EQ(3u, table.Persist());
    EXPECT_EQ(text, table.PersistentData());
    EXPECT_EQ(1, table.GetEntry(L"B"));
    EXPECT_EQ(-1, table.GetEntry(L"b"));
    for (const int index : {1, 7, -1}) EXPECT_EQ(0, table.RemoveEntry(index));
    EXPECT_EQ(text.substr(0, text.find(L'B')) + text.substr(text.rfind(L'A')), table.PersistentData());
    EXPECT_EQ(3, table.Add(Make(L"Move H", 60)));
    EXPECT_TRUE(table.PersistentData().ends_with(L"\nC,Move H,00:01 on 01,Thursday January 1970\n"));
    EXPECT_EQ(3, table.Add(nullptr));
}

TEST_F(ScheduleTables, TellOfJobsThatNoLineCanHoldByHarmlessOnes) {
    const std::pair<const wchar_t*, const wchar_t*> jobs[] = {
        {L"", L"Online G"}, {L"C", L""}, {L"A,B", L"Move G"}, {L"C", L"Move A,0:0 x 1,x May 2030"}, {L"C", L"Move\nG"}};
    for (const auto& [cluster, command] : jobs) table.Add(Make(command, latest, cluster));
    ScheduleTable read;
    read.SetPersistence(table.PersistentData());
    TakeOver(read);
    EXPECT_EQ(L";;;;;", Commands(read));
    for (const ScheduleEntry* entry : read) EXPECT_EQ(earliest, entry->ScheduleTime());
}

TEST_F(ScheduleTables, RemoveAndDeleteEveryEntryEqualToAGivenOne) {
    ScheduleEntry* kept = Make(L"Move H", 60);
    ScheduleEntry* equal = new ScheduleEntry(L"C", L"Move G", 60);
    ScheduleEntry* twice = new ScheduleEntry(L"C", L"Move G", 60);
    for (ScheduleEntry* entry : {twice, equal, kept, twice}) table.Add(entry);
    output.Take();
    EXPECT_EQ(1, table.RemoveEntry(equal));
    EXPECT_EQ(
        L"ScheduleTable::RemoveEntry( void ). On entry. Size:4\n"
        L"after delete _scheduledCommand\nafter delete _scheduledCommand\n"
        L"ScheduleTable::RemoveEntry( void ). On exit\n",
        output.Take());
    EXPECT_EQ(0, table.RemoveEntry(nullptr));
    EXPECT_EQ(kept->JobLine() + L"\n", table.PersistentData());
}

TEST_F(ScheduleTables, DropWhatIsOverdueAndTellOfEachWalk) {
    for (const auto& [command, late] : {std::pair{L"A", 0}, {L"B", 60}, {L"C", -60}, {L"D", 1}})
        table.Add(Make(command, platform::CurrentTime() - late));
    const std::wstring text = table.PersistentData();
    const auto line = [&](int index) { return table.GetAt(index)->Info() + L"\n"; };
    const std::wstring walks =
        line(0) + line(1) + L"removed\n" + line(0) + line(2) + line(3) + L"removed\n" + line(0) + line(2);
    output.Take();
    EXPECT_EQ(2, table.NumberOfObsoleteEntries());
    EXPECT_EQ(2, table.RemoveObsoleteEntries());
    EXPECT_EQ(L"ScheduleTable::Validate( ). On entry.\n2023 November 14 Tuesday 22 13 20\n" + walks, output.Take());
    EXPECT_EQ(L"A;C;", Commands(table));
    EXPECT_EQ(text, table.PersistentData());
}

TEST_F(ScheduleTables, KeepTheFirstOfEqualEntriesInSortedOrder) {
    ScheduleEntry* first = Make(L"A", 120);
    for (ScheduleEntry* entry : {first, Make(L"B", 120), Make(L"A", 120), Make(L"A", 120, L"D"), Make(L"A", 60)})
        table.Add(entry);
    EXPECT_EQ(1, table.Purge());
    // The entry at 60 went to the front, and its exchange took the first one behind the others of its time.
    EXPECT_EQ(L"A;B;A;A;", Commands(table));
    EXPECT_NE(first, table.GetAt(2));
    EXPECT_EQ(L"D", table.GetAt(3)->GetClusterName());
}

TEST_F(ScheduleTables, AreCopiedWithCopiesOfTheirEntries) {
    AddAandB();
    ScheduleTable copy(table);
    EXPECT_EQ(L"", copy.PersistentData());
    EXPECT_EQ(&copy, copy += copy);
    ScheduleTable assigned;
    assigned = copy;
    for (const ScheduleTable* made : {&copy, &assigned}) TakeOver(*made);
    EXPECT_EQ(L"A;B;A;B;", Commands(copy));
    EXPECT_NE(table.GetAt(0), copy.GetAt(0));
    EXPECT_EQ(table.PersistentData(), copy.PersistentData()) << "of what was added only";
    EXPECT_EQ(table.PersistentData() + table.PersistentData(), assigned.PersistentData());
    EXPECT_NE(copy.GetAt(0), assigned.GetAt(0));
}

TEST_F(ScheduleTables, AndTheirEntriesPassThroughArchivesInAFixedOrder) {
    AddAandB();
    std::vector<BYTE> bare, whole;
    CArchive store(bare, CArchive::Mode::Store), storeWhole(whole, CArchive::Mode::Store);
    store << table;
    CArchive items(bare, CArchive::Mode::Load), load(bare, CArchive::Mode::Load);
    LONG time = 0;
    std::wstring cluster, command;
    items >> time >> cluster >> command;
    EXPECT_EQ(L"C A 60", cluster + L" " + command + L" " + std::to_wstring(time));
    ScheduleTable slots;
    for (const wchar_t* slot : {L"X", L"Y", L"Z"}) slots.Add(Make(slot, 0));
    load >> slots;
    EXPECT_EQ(L"A;B;Z;", Commands(slots)) << "the archive held no third";
    slots.RemoveEntry(2);
    TakeOver(slots);

    table.Serialize(storeWhole);
    for (const auto& [cut, commands] : {std::pair{0, L"A;B;"}, {1, L"A;"}, {static_cast<int>(whole.size()) - 3, L""}}) {
        std::vector<BYTE> rest(whole.begin(), whole.end() - cut);
        CArchive loadWhole(rest, CArchive::Mode::Load);
        ScheduleTable read;
        read.Serialize(loadWhole);
        TakeOver(read);
        EXPECT_EQ(commands, Commands(read));
    }
}

TEST_F(TimeTrees, ShowEachUnitWhereItChangesAsDeepAsTheIntervalSays) {
    const std::wstring day = L"1997\n November\n  18, Tuesday\n";
    const TimeValue now = platform::MakeTime(1997, 11, 18, 14, 7, 30);
    EXPECT_EQ(day + L"   14:00\n    14:08\n    14:09\n    14:10\n    14:11\n", Outline(now, 3, 4));
    EXPECT_EQ(day + L"  19, Wednsday\n  20, Thursday\n", Outline(now, 2, 2));
    EXPECT_EQ(L"1997\n December\n  31, Wednsday\n   23:00\n1998\n January\n  01, Thursday\n   00:00\n   01:00\n",
              Outline(platform::MakeTime(1997, 12, 31, 23, 20, 0), 2, 3));
    EXPECT_EQ(day, Outline(now, -3, 1));
    // An interval of its own spends its first step on synchronising.
    EXPECT_EQ(day + L"   14:00\n    14:15\n    14:30\n", Outline(now, 2, 15));
    EXPECT_EQ(day + L"   14:00\n    14:15\n    14:30\n    14:45\n", Outline(now, 2, 15, 0));
    EXPECT_EQ(day + L"   14:00\n    14:30\n", Outline(now + 509, 1, 15));
    const std::wstring asOne = Outline(now, 2000, 1);
    for (const int interval : {0, std::numeric_limits<int>::min()}) EXPECT_EQ(asOne, Outline(now, 2000, interval));
}

TEST_F(TimeTrees, FollowTheLocalClockThroughAChangeOfDaylightSaving) {
    const TimeZone there(TimeZone::middleEurope);
    EXPECT_EQ(
        L"2024\n March\n  31, Sunday\n   01:00\n    01:56\n    01:57\n    01:58\n    01:59\n   03:00\n    03:00\n",
        Outline(platform::MakeTime(2024, 3, 31, 1, 55, 0), 4, 4));
    const TimeValue second = platform::MakeTime(2024, 10, 27, 3, 0, 0) - 3600;  // 02:00 when it comes again
    table.Add(Make(L"First", second - 3600));
    table.Add(Make(L"Second", second));
    Outline(second - 180, 3, 4);
    tree.InsertJobEntries(&table);
    EXPECT_EQ(L"2024\n October\n  27, Sunday\n   02:00\n    02:00\n     C-Second\n    02:01\n    02:02\n    02:03\n",
              Outline());
}

TEST_F(TimeTrees, HoldJobsUnderTheMinuteOfExactlyTheirTimeInTheTablesOrder) {
    const TimeValue due = platform::MakeTime(1997, 11, 18, 14, 9, 0);
    Outline(due - 90, 3, 4);
    for (const auto& [command, late] :
         {std::pair{L"Last", 120}, {L"B", 0}, {L"Between", 30}, {L"A", 0}, {L"Gone", -120}, {L"To come", 180}})
        table.Add(Make(command, due + late));
    EXPECT_EQ(0, tree.InsertJobEntries(&table));
    const std::wstring head = L"1997\n November\n  18, Tuesday\n   14:00\n    14:08\n    14:09\n     C-B\n     C-A\n";
    EXPECT_EQ(head + L"    14:10\n    14:11\n     C-Last\n", Outline());
    table.Add(Make(L"New", due));
    EXPECT_EQ(0, tree.InsertJobEntries(&table));
    EXPECT_EQ(head + L"     C-B\n     C-A\n     C-New\n    14:10\n    14:11\n     C-Last\n     C-Last\n", Outline());
    tree.RemoveAll();
    for (const ScheduleTable* jobs : {&table, static_cast<ScheduleTable*>(nullptr)}) tree.InsertJobEntries(jobs);
    EXPECT_EQ(L"", Outline() + tree[0] + tree[-1]);
    EXPECT_EQ(-1, tree.TreeNodeLevel(0));
}

TEST_F(TimeTrees, EndAtTheirMostStepsAndWithTheLastTimeThereIs) {
    Outline(0, 600'000, 1, 0);  // a minute each, of which days are shown: from 00:01 on 1 January, 500,000 minutes
    EXPECT_EQ(L"14, Monday", tree[tree.Size() - 1]);
    EXPECT_EQ(1 + 12 + 348, tree.Size());
    const std::wstring hour = L"2038\n January\n  19, Tuesday\n   03:00\n";
    EXPECT_EQ(hour + L"    03:12\n    03:13\n    03:14\n", Outline(latest - 180, 100, 4));
    EXPECT_EQ(hour + L"    03:14\n", Outline(latest - 180, 100, std::numeric_limits<int>::max()));
    EXPECT_EQ(L"1901\n December\n  13, Friday\n   20:00\n    20:48\n    20:49\n", Outline(earliest, 1, 4));
}

}  // namespace
