#pragma once

#include <ostra/export.h>
#include <ostra/foundation/Persistence.h>
#include <ostra/scheduler/ScheduleEntry.h>
#include <platform/framework/CArray.h>

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

/// The list of scheduled jobs, numbered from 0, and beside it a persistent text of one job line an entry, each ended by
/// "\n", which keys of the registry and of the cluster database store and load.
///
/// The text follows the list after Add, Persist, RemoveEntry and a SetPersistence of an empty table. The other
/// operations change the list only: who stores the table calls Persist first. A job of which no line can tell (see
/// ScheduleEntry::JobLine) stays in the list and is left out of the text; the last error is InvalidData then.
///
/// The entries are the caller's, also those that the table made while copying or loading: but for RemoveEntry of a job,
/// which deletes what it removes, removing and destroying let go of the pointers and delete nothing. Entries outlive
/// their place in the table, and no place holds null.
///
/// No operation blocks. One thread at a time may use a table and its entries.
class OSTRA_API ScheduleTable : public CArray<ScheduleEntry*>, public Persistence {
public:
    /// The most UTF-16 units that keys of the registry and of the cluster database read back of a persistent text (a
    /// character above U+FFFF has two); some 700 jobs. A longer one reads back as an empty text.
    static constexpr std::size_t LongestText = 32'499;

    ScheduleTable() = default;
    /// `tablePath` says where the caller keeps the table; the table itself only hands it out. When memory does not
    /// suffice for it, a line on standard output says so and there is none.
    explicit ScheduleTable(const std::wstring& tablePath);
    /// New copies of the entries, without job lines; no path, and an empty persistent text.
    ScheduleTable(const ScheduleTable& other);
    /// Lets go of the entries held before, takes new copies of the other's and persists them. The path stays.
    ScheduleTable& operator=(ScheduleTable other);
    ~ScheduleTable() override;

    /// Stores the number of entries and the entries, or loads them behind those that the table has, as far as the
    /// archive reads without failing.
    void Serialize(CArchive& archive) override;

    /// Adds the lines of a text as jobs to those that the table has, up to the first empty line; what follows the last
    /// line end is no line. When memory does not suffice, the table stays as it was, a line on standard output says so,
    /// and the last error is NotEnoughMemory.
    void SetPersistence(const std::wstring& text) override;

    int Count() const { return GetSize(); }
    /// Null when there is none; else it lives as long as the table.
    std::wstring* TablePath() { return _tablePath ? &*_tablePath : nullptr; }
    const std::wstring* TablePath() const { return _tablePath ? &*_tablePath : nullptr; }

    /// Appends the entry and, to the persistent text, its JobLine; null changes nothing, nor does one for which memory
    /// does not suffice, of which a line on standard output tells. The number of entries.
    int Add(ScheduleEntry* entry);
    /// The first entry of that cluster, named exactly so; -1 when there is none.
    int GetEntry(const std::wstring& clusterName) const;

    /// Removes and deletes every entry equal to this one, which may be one of them, and persists. 1 when there was one,
    /// else 0. Lines on standard output frame it.
    int RemoveEntry(const ScheduleEntry* entry);
    /// Removes the entry of that number and persists; a number that no entry has removes none. Always 0.
    int RemoveEntry(int index);

    /// Orders the entries by time, as exchanging the entry of each place, from the first on, with every later one that
    /// is strictly earlier does: entries of equal times need not keep the order in which they were. Always 1.
    int Sort();

    /// The number of entries that are overdue: whose time is before the current one.
    int NumberOfObsoleteEntries() const;
    /// Removes them, and gives their number. The walk starts anew behind each removal and tells of each entry that it
    /// visits on standard output.
    int RemoveObsoleteEntries();
    /// Sorts, and keeps of equal entries the first. Lines on standard output frame it. Always 1.
    int Purge();

    /// Makes the persistent text anew. The number of entries.
    DWORD Persist();

    /// The Info of every entry, joined with nothing between.
    std::wstring Info() const;

    /// Adds new copies of the other table's entries.
    ScheduleTable* operator+=(const ScheduleTable& other);

    /// Stores each entry, without their number; loads as many as the table has, each a new entry in the place of one.
    /// Places for which the archive has no whole entry left keep the one they have.
    OSTRA_API friend CArchive& operator<<(CArchive& archive, const ScheduleTable& table);
    OSTRA_API friend CArchive& operator>>(CArchive& archive, ScheduleTable& table);
    /// Reads nothing.
    OSTRA_API friend std::istream& operator>>(std::istream& stream, ScheduleTable& table);
    /// A line an entry, for a person's eyes.
    OSTRA_API friend std::ostream& operator<<(std::ostream& stream, const ScheduleTable& table);

private:
    using Entries = std::vector<ScheduleEntry*>;

    void Join(ScheduleEntry* entry);
    void PersistLine(const ScheduleEntry& entry);

    void Append(ScheduleEntry* entry) { CArray::Add(entry); }
    void Hold(const Entries& entries);

    std::optional<std::wstring> _tablePath;
};
