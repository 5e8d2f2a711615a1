#include <programs/support/ScheduleStore.h>

#include <ostra/foundation/OstraString.h>
#include <ostra/scheduler/ScheduleTable.h>
#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>

#include <functional>
#include <set>
#include <utility>

namespace error = platform::error;
using platform::ClusterKeyId;
using platform::ClusterService;

namespace programs {

namespace {

constexpr wchar_t keyPath[] = L"Ostra\\Scheduler";
constexpr wchar_t tableName[] = L"Persistence";
constexpr wchar_t begunName[] = L"Begun";

/// A table that owns its entries.
class Jobs {
public:
    explicit Jobs(const std::wstring& text) {
        _table.SetPersistence(text);
        for (ScheduleEntry* entry : _table) _entries.emplace_back(entry);
    }

    std::wstring Text() const { return _table.PersistentData(); }
    const ScheduleTable& Table() const { return _table; }

    void Add(const std::wstring& line) {
        _entries.push_back(std::make_unique<ScheduleEntry>(line));
        _table.Add(_entries.back().get());
    }

    /// All of that line; false when there is none.
    bool Remove(const std::wstring& line) {
        return RemoveIf([&](const ScheduleEntry& entry) { return entry.JobLine() == line; }) > 0;
    }

    std::size_t RemoveIf(const std::function<bool(const ScheduleEntry&)>& isUnwanted) {
        std::vector<ScheduleEntry*> kept;
        for (ScheduleEntry* entry : _table)
            if (!isUnwanted(*entry)) kept.push_back(entry);
        const std::size_t removed = static_cast<std::size_t>(_table.Count()) - kept.size();
        _table.RemoveAll();
        for (ScheduleEntry* entry : kept) _table.CArray::Add(entry);
        _table.Persist();
        return removed;
    }

    bool Has(const std::wstring& line) const {
        for (const ScheduleEntry* entry : _table)
            if (entry->JobLine() == line) return true;
        return false;
    }

    void Sort() { _table.Sort(); }

    /// Sorts, and keeps one of equal jobs.
    std::size_t RemoveDuplicates() {
        const int before = _table.Count();
        _table.Purge();
        const int removed = before - _table.Count();
        if (removed > 0) _table.Persist();  // else the text is as good as it was
        return static_cast<std::size_t>(removed);
    }

private:
    std::vector<std::unique_ptr<ScheduleEntry>> _entries;  // also of those that the table lets go
    ScheduleTable _table;
};

DWORD ReadText(ClusterService& service, ClusterKeyId key, const wchar_t* name, std::wstring& text) {
    DWORD type = 0;
    std::vector<BYTE> data;
    const DWORD code = service.QueryValue(key, name, type, data);
    text.clear();
    if (code == error::FileNotFound) return error::Success;
    if (code) return code;
    if (type != REG_SZ) return error::InvalidData;  // not ours to overwrite
    text = platform::FromUtf16(data);
    return error::Success;
}

DWORD WriteText(ClusterService& service, ClusterKeyId key, const wchar_t* name, const std::wstring& text) {
    return service.SetValue(key, name, REG_SZ, platform::ToUtf16(text));
}

DWORD OpenKey(ClusterService& service, ClusterKeyId& key) {
    ClusterKeyId root = 0;
    if (const DWORD code = service.RootKey(root)) return code;
    return service.OpenKey(root, keyPath, key);
}

// Only a volatile key refuses a lasting one below it.
DWORD IsVolatile(ClusterService& service, ClusterKeyId key, bool& isVolatile) {
    constexpr wchar_t probe[] = L"Lasting";
    ClusterKeyId below = 0;
    bool created = false;
    const DWORD code = service.CreateKey(key, probe, false, below, created);
    isVolatile = code == error::ChildMustBeVolatile;
    if (isVolatile) return error::Success;
    return code ? code : created ? service.DeleteKey(key, probe) : error::Success;
}

DWORD ReplaceByLasting(ClusterService& service, ClusterKeyId root, ClusterKeyId& key) {
    std::wstring table;
    DWORD code = ReadText(service, key, tableName, table);
    bool created = false;
    if (!code) code = service.DeleteKey(root, keyPath);
    if (!code) code = service.CreateKey(root, keyPath, false, key, created);
    if (!code) code = WriteText(service, key, tableName, table);
    return code;
}

// Only a lasting key gets the notes, so that a key with them need not be tried again at each change.
DWORD CreateLastingKey(ClusterService& service, ClusterKeyId& key) {
    ClusterKeyId root = 0;
    bool created = false;
    bool isVolatile = false;
    DWORD type = 0;
    std::vector<BYTE> notes;
    DWORD code = service.RootKey(root);
    if (!code) code = service.CreateKey(root, keyPath, false, key, created);
    if (code || (!created && service.QueryValue(key, begunName, type, notes) == error::Success)) return code;
    if (!created) code = IsVolatile(service, key, isVolatile);
    if (!code && isVolatile) code = ReplaceByLasting(service, root, key);
    if (!code) code = WriteText(service, key, begunName, {});
    return code;
}

struct Texts {
    std::wstring table;
    std::wstring begun;
};

DWORD Read(ClusterService& service, ClusterKeyId key, Texts& texts) {
    // The notes first: a job that ends in between is then in neither, rather than in the table and not begun.
    if (const DWORD code = ReadText(service, key, begunName, texts.begun)) return code;
    return ReadText(service, key, tableName, texts.table);
}

/// Changes table and notes in one transaction.
DWORD Change(ClusterService& service, const std::function<DWORD(Jobs& table, Jobs& begun)>& change) {
    return service.Transact([&] {
        ClusterKeyId key = 0;
        Texts before;
        DWORD code = CreateLastingKey(service, key);
        if (!code) code = Read(service, key, before);
        if (code) return code;
        Jobs table(before.table);
        Jobs begun(before.begun);
        code = change(table, begun);
        if (!code && table.Text() != before.table) code = WriteText(service, key, tableName, table.Text());
        if (!code && begun.Text() != before.begun) code = WriteText(service, key, begunName, begun.Text());
        return code;
    });
}

// Which of the two a line then reads as may differ from one reading to the next.
bool IsShownTwice(TimeValue time) {
    const std::wstring shown = ScheduleEntry::TimeText(time);
    for (const int change : {1800, 3600})  // as far as clocks are set back
        if (ScheduleEntry::TimeText(time - change) == shown || ScheduleEntry::TimeText(time + change) == shown)
            return true;
    return false;
}

ScheduledJob JobOf(const ScheduleEntry& entry) {
    return {entry.JobLine(), *entry.ScheduledClusterName(), *entry.ScheduledCommand(), entry.ScheduleTime(), false};
}

}  // namespace

std::wstring ScheduledJob::Word() const {
    return OstraString(command, L" ").Word(1);
}

std::wstring ScheduledJob::Group() const {
    return OstraString(command, L" ").Words(2);
}

DWORD MakeJob(const std::wstring& cluster, const std::wstring& word, const std::wstring& group, TimeValue time,
              ScheduledJob& job) {
    const ScheduleEntry entry(cluster, word + L" " + group, time);
    const ScheduleEntry read(entry.JobLine());
    ScheduledJob made = JobOf(read);
    if (made.cluster != cluster || made.command != word + L" " + group || made.Group() != group)
        return error::InvalidName;
    if (made.time != time || IsShownTwice(time)) return error::InvalidData;
    job = std::move(made);
    return error::Success;
}

DWORD ScheduleStore::Load(std::vector<ScheduledJob>& jobs) {
    jobs.clear();
    ClusterKeyId key = 0;
    Texts texts;
    DWORD code = OpenKey(*_service, key);
    if (code == error::FileNotFound) return error::Success;
    if (!code) code = Read(*_service, key, texts);
    if (code) return code;
    Jobs table(texts.table);
    table.Sort();
    std::set<std::wstring> begun;
    const Jobs notes(texts.begun);
    for (const ScheduleEntry* entry : notes.Table()) begun.insert(entry->JobLine());
    for (const ScheduleEntry* entry : table.Table()) {
        jobs.push_back(JobOf(*entry));
        jobs.back().isBegun = begun.contains(jobs.back().line);
    }
    return error::Success;
}

DWORD ScheduleStore::Add(const std::wstring& line) {
    const ScheduleEntry entry(line);
    const bool isJob = line.find_first_of(std::wstring(L"\n\0", 2)) == std::wstring::npos &&
                       !entry.ScheduledClusterName()->empty() && !JobOf(entry).Group().empty();
    if (!isJob) return error::InvalidData;
    return Change(*_service, [&](Jobs& table, Jobs&) {
        if (table.Has(line)) return error::AlreadyExists;
        table.Add(line);
        return error::Success;
    });
}

DWORD ScheduleStore::Remove(const std::wstring& line) {
    return Change(*_service, [&](Jobs& table, Jobs& begun) {
        if (begun.Has(line)) return error::Busy;
        return table.Remove(line) ? error::Success : error::FileNotFound;
    });
}

DWORD ScheduleStore::Purge(TimeValue overdue, std::size_t& removed) {
    removed = 0;
    return Change(*_service, [&](Jobs& table, Jobs& begun) {
        removed = table.RemoveIf(
            [&](const ScheduleEntry& entry) { return entry.ScheduleTime() < overdue && !begun.Has(entry.JobLine()); });
        removed += table.RemoveDuplicates();
        return error::Success;
    });
}

DWORD ScheduleStore::Begin(const std::wstring& line) {
    return Change(*_service, [&](Jobs& table, Jobs& begun) {
        if (!table.Has(line)) return error::FileNotFound;
        if (begun.Has(line)) return error::AlreadyExists;
        begun.Add(line);
        return error::Success;
    });
}

DWORD ScheduleStore::Finish(const std::wstring& line) {
    return Change(*_service, [&](Jobs& table, Jobs& begun) {
        if (!begun.Remove(line)) return error::FileNotFound;
        table.Remove(line);
        return error::Success;
    });
}

}  // namespace programs
