#include <ostra/scheduler/ScheduleTable.h>

#include <ostra/foundation/MakeOrNull.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/framework/CArchive.h>

#include <algorithm>
#include <istream>
#include <memory>
#include <new>
#include <ostream>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

namespace {

void ReportNoMemory() {
    try {
        platform::WriteOutputLine(L"Failure newing ScheduleEntry for Schedule Table.");
    } catch (const std::bad_alloc&) {  // the line is all that is lost
    }
    SetLastError(platform::error::NotEnoughMemory);
}

/// A new entry; null, and a line on standard output, when memory ran out.
template <typename... Arguments>
std::unique_ptr<ScheduleEntry> MakeEntry(const Arguments&... arguments) {
    auto entry = MakeOrNull<ScheduleEntry>(arguments...);
    if (!entry) ReportNoMemory();
    return entry;
}

}  // namespace

ScheduleTable::ScheduleTable(const std::wstring& tablePath) {
    try {
        _tablePath = tablePath;
    } catch (const std::bad_alloc&) {
        platform::WriteOutputLine(L"ScheduleTable::ScheduleTable( tablePath ). Failure newing _tablePath");
    }
}

ScheduleTable::ScheduleTable(const ScheduleTable& other) : CArray(), Persistence() {
    for (const ScheduleEntry* entry : other)
        if (auto copy = MakeEntry(*entry)) Append(copy.release());
}

ScheduleTable& ScheduleTable::operator=(ScheduleTable other) {
    Hold(Entries(other.begin(), other.end()));  // the copies made for the parameter, which does not own them
    Persist();
    return *this;
}

ScheduleTable::~ScheduleTable() = default;

void ScheduleTable::Serialize(CArchive& archive) {
    if (archive.IsStoring()) {
        archive << static_cast<DWORD>(Count()) << *this;
        return;
    }
    DWORD count = 0;
    archive >> count;
    for (; count > 0 && !archive.Failed(); --count) {
        auto entry = MakeEntry();
        if (!entry) return;
        archive >> *entry;
        if (!archive.Failed()) Add(entry.release());
    }
}

void ScheduleTable::SetPersistence(const std::wstring& text) {
    std::vector<std::unique_ptr<ScheduleEntry>> read;
    const int before = Count();
    const std::size_t length = _persistentData.size();
    try {
        for (std::size_t start = 0, end; (end = text.find(L'\n', start)) != std::wstring::npos; start = end + 1) {
            if (end == start) break;
            read.push_back(std::make_unique<ScheduleEntry>(text.substr(start, end - start)));
            if (read.back()->JobLine().empty()) throw std::bad_alloc();  // it has said so
            Join(read.back().get());
        }
    } catch (const std::bad_alloc&) {
        RemoveAt(before, Count() - before);
        _persistentData.resize(length);
        return ReportNoMemory();
    }
    for (auto& entry : read) static_cast<void>(entry.release());  // the caller's from now on
}

int ScheduleTable::Add(ScheduleEntry* entry) {
    if (!entry) return Count();
    const std::size_t length = _persistentData.size();
    try {
        Join(entry);
    } catch (const std::bad_alloc&) {
        _persistentData.resize(length);
        ReportNoMemory();
    }
    return Count();
}

int ScheduleTable::GetEntry(const std::wstring& clusterName) const {
    for (int index = 0; index < Count(); ++index)
        if (*GetAt(index)->ScheduledClusterName() == clusterName) return index;
    return -1;
}

int ScheduleTable::RemoveEntry(const ScheduleEntry* entry) {
    platform::WriteOutputLine(platform::Format(L"ScheduleTable::RemoveEntry( void ). On entry. Size:%d", Count()));
    Entries kept;
    std::set<ScheduleEntry*> removed;  // a set, for an entry may have been added twice
    for (ScheduleEntry* held : *this) {
        if (entry && *held == *entry)
            removed.insert(held);
        else
            kept.push_back(held);
    }
    Hold(kept);
    for (const ScheduleEntry* equal : removed) delete equal;
    platform::WriteOutputLine(L"ScheduleTable::RemoveEntry( void ). On exit");
    Persist();
    return removed.empty() ? 0 : 1;
}

int ScheduleTable::RemoveEntry(int index) {
    if (index < 0 || index >= Count()) SetLastError(platform::error::InvalidParameter);
    RemoveAt(index);
    Persist();
    return 0;
}

int ScheduleTable::Sort() {
    std::vector<std::pair<TimeValue, ScheduleEntry*>> sorted;  // the times at hand: they are compared all with all
    sorted.reserve(static_cast<std::size_t>(Count()));
    for (ScheduleEntry* entry : *this) sorted.emplace_back(entry->ScheduleTime(), entry);
    for (auto place = sorted.begin(); place != sorted.end(); ++place)
        for (auto later = place + 1; later != sorted.end(); ++later)
            if (later->first < place->first) std::swap(*place, *later);
    int index = 0;
    for (const auto& [time, entry] : sorted) SetAt(index++, entry);
    return 1;
}

int ScheduleTable::NumberOfObsoleteEntries() const {
    const TimeValue now = platform::CurrentTime();
    return static_cast<int>(
        std::count_if(begin(), end(), [now](const ScheduleEntry* entry) { return entry->ScheduleTime() < now; }));
}

int ScheduleTable::RemoveObsoleteEntries() {
    const TimeValue now = platform::CurrentTime();
    platform::WriteOutputLine(L"ScheduleTable::Validate( ). On entry.");
    platform::WriteOutputLine(ScheduleEntry::TimeText(now));
    Entries kept;
    std::wstring linesOfKept;  // what each new walk tells first, before it comes to where the last one ended
    int removed = 0;
    for (ScheduleEntry* entry : *this) {
        const std::wstring line = entry->Info() + L'\n';
        platform::WriteOutput(line);
        if (entry->ScheduleTime() < now) {
            platform::WriteOutputLine(L"removed");
            ++removed;
            platform::WriteOutput(linesOfKept);
        } else {
            linesOfKept += line;
            kept.push_back(entry);
        }
    }
    Hold(kept);
    return removed;
}

int ScheduleTable::Purge() {
    platform::WriteOutputLine(L"ScheduleTable::Purge( void ). On entry");
    Sort();
    Entries kept;
    std::set<std::tuple<TimeValue, std::wstring_view, std::wstring_view>> seen;
    for (ScheduleEntry* entry : *this) {
        const bool isNew =
            seen.emplace(entry->ScheduleTime(), *entry->ScheduledCommand(), *entry->ScheduledClusterName()).second;
        if (isNew) kept.push_back(entry);
    }
    Hold(kept);
    FreeExtra();
    platform::WriteOutputLine(L"ScheduleTable::Purge( void ). On exit");
    return 1;
}

DWORD ScheduleTable::Persist() {
    _persistentData.clear();
    for (const ScheduleEntry* entry : *this) PersistLine(*entry);
    return static_cast<DWORD>(Count());
}

std::wstring ScheduleTable::Info() const {
    std::wstring text;
    for (const ScheduleEntry* entry : *this) text += entry->Info();
    return text;
}

ScheduleTable* ScheduleTable::operator+=(const ScheduleTable& other) {
    const int count = other.Count();  // as it is before, when the other is this table
    for (int index = 0; index < count; ++index)
        if (auto copy = MakeEntry(*other.GetAt(index))) Add(copy.release());
    return this;
}

void ScheduleTable::Join(ScheduleEntry* entry) {
    PersistLine(*entry);
    Append(entry);
}

void ScheduleTable::PersistLine(const ScheduleEntry& entry) {
    const std::wstring line = entry.JobLine();
    if (line.empty())
        SetLastError(platform::error::InvalidData);
    else
        _persistentData += line + L'\n';
}

void ScheduleTable::Hold(const Entries& entries) {
    RemoveAll();
    for (ScheduleEntry* entry : entries) Append(entry);
}

CArchive& operator<<(CArchive& archive, const ScheduleTable& table) {
    for (const ScheduleEntry* entry : table) archive << *entry;
    return archive;
}

CArchive& operator>>(CArchive& archive, ScheduleTable& table) {
    for (int index = 0; index < table.Count(); ++index) {
        auto entry = MakeEntry();
        if (!entry) continue;
        archive >> *entry;
        if (archive.Failed()) break;
        table.SetAt(index, entry.release());
    }
    return archive;
}

std::istream& operator>>(std::istream& stream, ScheduleTable&) {
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const ScheduleTable& table) {
    for (const ScheduleEntry* entry : table) stream << *entry << '\n';
    return stream;
}
