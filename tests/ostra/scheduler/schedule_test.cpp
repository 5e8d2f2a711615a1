#include <ostra/scheduler/ScheduleTable.h>
#include <platform/base/clock.h>
#include <platform/framework/CArchive.h>
#include <tests/ostra/scheduler/TimeZone.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <utility>

using tests::TimeZone;

namespace {

constexpr TimeValue earliest = std::numeric_limits<TimeValue>::min();
constexpr TimeValue latest = std::numeric_limits<TimeValue>::max();

std::wstring InUtc(TimeValue time) {
    const TimeZone zone(TimeZone::utc);
    return platform::FormatTime(time, L"%Y-%m-%d %H:%M:%S");
}

class ScheduleEntries : public testing::Test {
protected:
    tests::FakeClock clock;
    tests::CapturedOutput output;
    TimeZone zone{TimeZone::utc};
};

TEST_F(ScheduleEntries, ReadJobLinesAsLocalTimeInAnyZone) {
    const struct {
        const char* zone;
        const wchar_t* line;
        const wchar_t* cluster;
        const wchar_t* command;
        const wchar_t* utc;
    } rows[] = {
        {TimeZone::utc, L"C,Online Big Group,23:30 on 24,Thursday December 2026", L"C", L"Online Big Group",
         L"2026-12-24 23:30:00"},
        {TimeZone::india, L"C,Move G,00:05 x 1,x January 2027,more", L"C", L"Move G", L"2026-12-31 18:35:00"},
        {TimeZone::newYork, L"C,Move G,12:00 x 3,x July 2024", L"C", L"Move G", L"2024-07-03 16:00:00"},
        {TimeZone::middleEurope, L"C,Move G,01:59 x 31,x March 2024", L"C", L"Move G", L"2024-03-31 00:59:00"},
        {TimeZone::middleEurope, L"C,Move G,03:00 x 31,x March 2024", L"C", L"Move G", L"2024-03-31 01:00:00"},
        {TimeZone::middleEurope, L"C,Move G,03:00 x 27,x October 2024", L"C", L"Move G", L"2024-10-27 02:00:00"},
        {TimeZone::utc, L"C,,,Move G,,1:2  x   3,,x  March   2024", L"C", L"Move G", L"2024-03-03 01:02:00"},
        {TimeZone::utc, L"C,G,10:00 x 5,x march 2024", L"C", L"G", L"2023-12-05 10:00:00"},
        {TimeZone::utc, L"C,G,25:61 x 32,x December 2024", L"C", L"G", L"2025-01-02 02:01:00"},
        {TimeZone::utc, L",Move G,10:00 x 5,x March 2024", L"Move G", L"10:00 x 5", L"1901-12-13 20:45:52"},
        {TimeZone::utc, L"C,G,10:00 x 5,x March 99999", L"C", L"G", L"2038-01-19 03:14:07"},
        {TimeZone::utc, L"C,G,4294967295:-9 x 99999999999,x March 2024", L"C", L"G", L"2038-01-19 03:14:07"},
        {TimeZone::utc, L"only", L"only", L"", L"1901-12-13 20:45:52"},
        {TimeZone::utc, L",,,,", L"", L"", L"1901-12-13 20:45:52"},
        {TimeZone::utc, L"", L"", L"", L"1901-12-13 20:45:52"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.line)));
        const TimeZone there(row.zone);
        const ScheduleEntry entry{std::wstring(row.line)};
        EXPECT_EQ(row.cluster, *entry.ScheduledClusterName());
        EXPECT_EQ(row.command, *entry.ScheduledCommand());
        EXPECT_EQ(row.line, *entry.JobTimeString());
        EXPECT_EQ(row.utc, InUtc(entry.ScheduleTime()));
    }
}

TEST_F(ScheduleEntries, FindTheirTimeAgainInItsTextAndInTheLineThatTellsOfThem) {
    for (const char* rule : {TimeZone::utc, TimeZone::middleEurope, TimeZone::newYork, TimeZone::india}) {
        const TimeZone there(rule);
        for (const TimeValue time : {0, 1'700'000'000, 1'711'846'799, 1'711'846'800, 1'719'792'000, 2'147'400'000}) {
            const ScheduleEntry entry(L"Payroll", L"Online Accounting  Group", time);
            EXPECT_EQ(time / 60 * 60, entry.CTimeFormatToCTime(ScheduleEntry::TimeText(time)));
            const ScheduleEntry read(entry.JobLine());
            EXPECT_EQ(time / 60 * 60, read.ScheduleTime());
            EXPECT_EQ(*entry.ScheduledCommand(), *read.ScheduledCommand());
            EXPECT_EQ(L"Payroll", read.GetClusterName());
        }
    }
    EXPECT_EQ(L"2023 November 14 Tuesday 22 13 20", ScheduleEntry::TimeText(1'700'000'000));
    EXPECT_EQ(L"C,Move G,22:13 on 14,Tuesday November 2023", ScheduleEntry(L"C", L"Move G", 1'700'000'000).JobLine());
}

TEST_F(ScheduleEntries, ThatNoLineCanTellOfBecomeHarmlessOnes) {
    const std::pair<const wchar_t*, const wchar_t*> jobs[] = {
        {L"", L"Online G"}, {L"C", L""}, {L"", L""}, {L"A,B", L"Move G"}, {L"C", L"Move A,0:0 x 1,x May 2030"},
        {L"C", L"Move\nG"},
    };
    for (const auto& [cluster, command] : jobs) {
        const std::wstring line = ScheduleEntry(cluster, command, latest).JobLine();
        EXPECT_FALSE(line.empty());
        EXPECT_EQ(std::wstring::npos, line.find(L'\n'));
        EXPECT_EQ(L"", *ScheduleEntry(line).ScheduledCommand());
        EXPECT_EQ(earliest, ScheduleEntry(line).ScheduleTime());
    }
}

TEST_F(ScheduleEntries, AreNumberedAndComparedByTheirJobAlone) {
    ScheduleEntry first(L"C", L"Move G", 60);
    const ScheduleEntry copy(first);
    ScheduleEntry second(L"Move G", 60);
    EXPECT_EQ(first.ID() + 1, second.ID());
    EXPECT_EQ(7, first.SetLevel(7));
    EXPECT_TRUE(first == copy);
    EXPECT_FALSE(first == second);
    EXPECT_EQ(7, ScheduleEntry(first).Level());

    output.Take();
    EXPECT_EQ(nullptr, second.JobTimeString());
    EXPECT_EQ(1, std::ranges::count(output.Take(), L'\n'));
    { const ScheduleEntry assigned = second = first; }
    EXPECT_EQ(L"after delete _scheduledCommand\n", output.Take());
    EXPECT_TRUE(first == second);
    EXPECT_NE(first.ID(), second.ID());
    EXPECT_EQ(1, second.Set(L"Online H", 120));
    EXPECT_EQ(L"1970 January 01 Thursday 00 02 00:Online H:C:0", second.Info());
}

TEST_F(ScheduleEntries, PassThroughArchivesInAFixedOrder) {
    std::vector<BYTE> bytes;
    CArchive store(bytes, CArchive::Mode::Store);
    ScheduleEntry entry(L"Cluster", L"Move G", 60);
    store << entry;
    entry.Serialize(store);

    CArchive items(bytes, CArchive::Mode::Load);
    LONG times[2] = {};
    std::wstring texts[3];
    items >> times[0] >> texts[0] >> texts[1] >> times[1] >> texts[2];
    EXPECT_FALSE(items.Failed());
    EXPECT_EQ(60, times[0]);
    EXPECT_EQ(60, times[1]);
    EXPECT_EQ((std::vector<std::wstring>{L"Cluster", L"Move G", L"Move G"}),
              std::vector<std::wstring>(texts, std::end(texts)));

    CArchive load(bytes, CArchive::Mode::Load);
    ScheduleEntry read;
    ScheduleEntry serialized(L"Own", L"", 0);
    load >> read;
    serialized.Serialize(load);
    EXPECT_TRUE(read == entry);
    EXPECT_TRUE(serialized == ScheduleEntry(L"Own", L"Move G", 60));
    load >> read;  // past the end
    EXPECT_TRUE(load.Failed());
    EXPECT_TRUE(read == entry);
}

TEST_F(ScheduleEntries, WriteThemselvesToStreamsButReadNothing) {
    std::stringstream stream("C,Move G");
    ScheduleEntry entry(L"C\u00e4", L"Move G", 60);
    output.Take();
    stream >> entry;
    EXPECT_EQ(L"ooooooo\n", output.Take());
    std::ostringstream written;
    written << entry;
    EXPECT_EQ("1970 January 01 Thursday 00 01 00 C\xC3\xA4 Move G", written.str());
}

/// A table, and the deletion of what tests put into it.
class ScheduleTables : public ScheduleEntries {
protected:
    ScheduleEntry* Make(const std::wstring& command, TimeValue time, const std::wstring& cluster = L"C") {
        return _made.emplace_back(std::make_unique<ScheduleEntry>(cluster, command, time)).get();
    }
    /// What the table made itself.
    void TakeOver(const ScheduleTable& filled) {
        for (ScheduleEntry* entry : filled) _made.emplace_back(entry);
    }
    static std::vector<std::wstring> Commands(const ScheduleTable& filled) {
        std::vector<std::wstring> commands;
        for (const ScheduleEntry* entry : filled) commands.push_back(*entry->ScheduledCommand());
        return commands;
    }
    using Names = std::vector<std::wstring>;

    ScheduleTable table;
    const TimeValue now = platform::CurrentTime();

private:
    std::vector<std::unique_ptr<ScheduleEntry>> _made;
};

void Exchange(std::vector<ScheduleEntry*>& entries) {
    for (std::size_t i = 0; i < entries.size(); ++i)
        for (std::size_t j = i + 1; j < entries.size(); ++j)
            if (entries[j]->ScheduleTime() < entries[i]->ScheduleTime()) std::swap(entries[i], entries[j]);
}

TEST_F(ScheduleTables, SortExactlyAsExchangingTheirEntriesDoes) {
    std::vector<ScheduleEntry*> entries;
    const auto expectSameOrder = [&](const std::vector<TimeValue>& times) {
        for (std::size_t i = 0; i < times.size(); ++i) entries[i]->Set(L"", times[i]);
        std::vector<ScheduleEntry*> expected(entries.begin(), entries.begin() + static_cast<int>(times.size()));
        table.RemoveAll();
        for (ScheduleEntry* entry : expected) table.CArray<ScheduleEntry*>::Add(entry);
        Exchange(expected);
        EXPECT_EQ(1, table.Sort());
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), table.begin(), table.end()))
            << testing::PrintToString(times);
    };
    while (entries.size() < 200) entries.push_back(Make(L"", 0));

    // Every row of up to seven entries at three times, and of up to five at five.
    for (const auto& [most, kinds] : {std::pair<std::size_t, int>{7, 3}, {5, 5}})
        for (std::size_t size = 0; size <= most; ++size) {
            std::vector<TimeValue> times(size, 0);
            for (bool isLast = false; !isLast;) {
                expectSameOrder(times);
                const auto rise = std::ranges::find_if(times, [&](TimeValue time) { return time + 1 < kinds; });
                std::fill(times.begin(), rise, 0);
                isLast = rise == times.end();
                if (!isLast) ++*rise;
            }
        }
    std::mt19937 random(1);
    for (const unsigned kinds : {2u, 7u, 60u}) {
        std::vector<TimeValue> times(entries.size());
        for (TimeValue& time : times) time = static_cast<TimeValue>(random() % kinds) - 1;
        expectSameOrder(times);
    }
}

TEST_F(ScheduleTables, KeepTheirTextInStepWithWhatIsAddedAndRemoved) {
    EXPECT_EQ(0, table.Add(nullptr));
    const std::wstring text =
        L"A,Move G,10:00 x 5,x March 2030\nB,Online G,9:00 x 5,x March 2030\nA,Move G,1:1 x 5,x March 2030\n";
    table.SetPersistence(text + L"\nC,Move G,10:00 x 5,x March 2030\n");
    TakeOver(table);
    EXPECT_EQ(3, table.Count());
    EXPECT_EQ(text, table.PersistentData());
    EXPECT_EQ(3u, table.Persist());
    EXPECT_EQ(text, table.PersistentData());
    table.SetPersistence(L"unfinished");
    EXPECT_EQ(3, table.Count());

    EXPECT_EQ(1, table.GetEntry(L"B"));
    EXPECT_EQ(-1, table.GetEntry(L"b"));
    EXPECT_EQ(0, table.RemoveEntry(1));
    EXPECT_EQ(0, table.RemoveEntry(7));
    EXPECT_EQ(0, table.RemoveEntry(-1));
    EXPECT_EQ(text.substr(0, text.find(L'B')) + text.substr(text.rfind(L'A')), table.PersistentData());
    EXPECT_EQ(3, table.Add(Make(L"Move H", 60)));
    EXPECT_EQ(L"C,Move H,00:01 on 01,Thursday January 1970\n",
              table.PersistentData().substr(table.PersistentData().rfind(L'C')));

    table.Sort();
    EXPECT_EQ((Names{L"Move H", L"Move G", L"Move G"}), Commands(table));
    ScheduleTable loaded(L"Schedules");
    loaded.SetPersistence((table.Persist(), table.PersistentData()));
    TakeOver(loaded);
    EXPECT_EQ(Commands(table), Commands(loaded));
    EXPECT_EQ(L"Schedules", *loaded.TablePath());
    EXPECT_EQ(nullptr, table.TablePath());
}

TEST_F(ScheduleTables, TakeAnyTextForAPersistedOne) {
    std::mt19937 random(2);
    const std::wstring pieces[] = {
        L",", L"\n", L" ", L":", L"C", L"99999999999", L"March", L"\u20ac", std::wstring(1, L'\0')};
    for (int round = 0; round < 300; ++round) {
        std::wstring text;
        for (auto length = random() % 60; length > 0; --length) text += pieces[random() % std::size(pieces)];
        ScheduleTable filled;
        filled.SetPersistence(text);
        TakeOver(filled);
        filled.Purge();
        filled.RemoveObsoleteEntries();
        const std::wstring persisted = (filled.Persist(), filled.PersistentData());
        EXPECT_EQ(filled.Count(), std::ranges::count(persisted, L'\n'));
    }
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
    EXPECT_EQ((Names{L"Move H"}), Commands(table));
    EXPECT_EQ(kept->JobLine() + L"\n", table.PersistentData());
    const ScheduleEntry other(L"Other", L"Move H", 60);
    EXPECT_EQ(0, table.RemoveEntry(&other));
    EXPECT_EQ(0, table.RemoveEntry(nullptr));
    EXPECT_EQ(1, table.Count());
}

TEST_F(ScheduleTables, DropWhatIsOverdueAndTellOfEachWalk) {
    for (const auto& [command, late] : {std::pair{L"A", 0}, {L"B", 60}, {L"C", -60}, {L"D", 1}})
        table.Add(Make(command, now - late));
    const std::wstring text = table.PersistentData();
    const auto line = [&](int index) { return table.GetAt(index)->Info() + L"\n"; };
    const std::wstring kept = line(0) + line(2);
    const std::wstring walks =
        line(0) + line(1) + L"removed\n" + line(0) + line(2) + line(3) + L"removed\n" + line(0) + line(2);
    output.Take();
    EXPECT_EQ(2, table.NumberOfObsoleteEntries());
    EXPECT_EQ(L"", output.Take());
    EXPECT_EQ(2, table.RemoveObsoleteEntries());
    EXPECT_EQ(L"ScheduleTable::Validate( ). On entry.\n2023 November 14 Tuesday 22 13 20\n" + walks, output.Take());
    EXPECT_EQ((Names{L"A", L"C"}), Commands(table));
    EXPECT_EQ(text, table.PersistentData());
    EXPECT_EQ(0, table.RemoveObsoleteEntries());
    EXPECT_EQ(2, table.Count());
}

TEST_F(ScheduleTables, KeepTheFirstOfEqualEntriesInSortedOrder) {
    output.Take();
    EXPECT_EQ(1, table.Purge());
    EXPECT_EQ(L"ScheduleTable::Purge( void ). On entry\nScheduleTable::Purge( void ). On exit\n", output.Take());
    ScheduleEntry* first = Make(L"A", 120);
    for (ScheduleEntry* entry : {first, Make(L"B", 120), Make(L"A", 120), Make(L"A", 120, L"D"), Make(L"A", 60)})
        table.Add(entry);
    EXPECT_EQ(1, table.Purge());
    // The entry at 60 went to the front, and its exchange took the first one behind the others of its time.
    EXPECT_EQ((Names{L"A", L"B", L"A", L"A"}), Commands(table));
    EXPECT_EQ(60, table.GetAt(0)->ScheduleTime());
    EXPECT_NE(first, table.GetAt(2));
    EXPECT_EQ(L"C", table.GetAt(2)->GetClusterName());
    EXPECT_EQ(L"D", table.GetAt(3)->GetClusterName());
}

TEST_F(ScheduleTables, AreCopiedWithCopiesOfTheirEntries) {
    table.Add(Make(L"A", 60));
    table.Add(Make(L"B", 120));
    ScheduleTable copy(table);
    EXPECT_EQ(Commands(table), Commands(copy));
    EXPECT_NE(table.GetAt(0), copy.GetAt(0));
    EXPECT_EQ(L"", copy.PersistentData());
    EXPECT_EQ(&copy, copy += copy);
    TakeOver(copy);
    EXPECT_EQ((Names{L"A", L"B", L"A", L"B"}), Commands(copy));
    EXPECT_EQ(table.PersistentData(), copy.PersistentData());

    ScheduleTable assigned;
    assigned = copy;
    TakeOver(assigned);
    EXPECT_EQ(copy.Info(), assigned.Info());
    EXPECT_EQ(4, std::ranges::count(assigned.PersistentData(), L'\n'));
    EXPECT_NE(copy.GetAt(0), assigned.GetAt(0));
}

TEST_F(ScheduleTables, PassThroughArchives) {
    table.Add(Make(L"A", 60));
    table.Add(Make(L"B", 120));
    std::vector<BYTE> bare;
    CArchive store(bare, CArchive::Mode::Store);
    store << table;
    ScheduleTable slots;
    for (const wchar_t* command : {L"X", L"Y", L"Z"}) slots.Add(Make(command, 0));
    CArchive load(bare, CArchive::Mode::Load);
    load >> slots;
    EXPECT_EQ((Names{L"A", L"B", L"Z"}), Commands(slots));
    slots.RemoveEntry(2);  // the one that stayed, for the archive held no third
    TakeOver(slots);

    std::vector<BYTE> whole;
    CArchive storeWhole(whole, CArchive::Mode::Store);
    table.Serialize(storeWhole);
    for (const std::size_t size : {whole.size(), whole.size() - 1, std::size_t{3}}) {
        std::vector<BYTE> cut(whole.begin(), whole.begin() + static_cast<int>(size));
        CArchive loadWhole(cut, CArchive::Mode::Load);
        ScheduleTable read;
        read.Serialize(loadWhole);
        TakeOver(read);
        EXPECT_EQ(size == whole.size() ? 2 : size > 3 ? 1 : 0, read.Count());
    }
}

}  // namespace
