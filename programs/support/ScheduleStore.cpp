#include <programs/support/ScheduleStore.h>

#include <ostra/foundation/OstraString.h>
#include <ostra/scheduler/ScheduleTable.h>
#include <platform/base/error_codes.h>
#include <platform/base/little_endian.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace error = platform::error;
using platform::ClusterKeyId;
using platform::ClusterService;

namespace programs {

namespace {

constexpr wchar_t keyPath[] = L"Ostra\\Scheduler";
constexpr wchar_t tableName[] = L"Persistence";  // as the key classes keep a table
constexpr wchar_t instantsName[] = L"Instants";
constexpr wchar_t begunName[] = L"Begun";
constexpr wchar_t graceName[] = L"Grace";

/// The key's texts, one line a job.
struct Texts {
    std::wstring table;     // job lines
    std::wstring instants;  // for each job whose time is fixed: that, a blank, the job line
    std::wstring begun;     // identities
};

DWORD ReadText(ClusterService& service, ClusterKeyId key, const wchar_t* name, std::wstring& text) {
    DWORD type = 0;
    std::vector<BYTE> data;
    const DWORD code = service.QueryValue(key, name, type, data);
    text.clear();
    if (code == error::FileNotFound) return error::Success;
    if (code) return code;
    text = platform::FromUtf16(data);
    std::vector<BYTE> whole = platform::ToUtf16(text, false);
    whole.resize(std::max(whole.size(), data.size()));         // nulls at the end are no part of the text
    const bool isText = type == REG_BINARY || type == REG_SZ;  // earlier versions wrote the latter
    return isText && data == whole ? error::Success : error::InvalidData;
}

DWORD WriteText(ClusterService& service, ClusterKeyId key, const wchar_t* name, const std::wstring& text) {
    return service.SetValue(key, name, REG_BINARY, platform::ToUtf16(text));
}

DWORD ReadGrace(ClusterService& service, ClusterKeyId key, DWORD& grace) {
    DWORD type = 0;
    std::vector<BYTE> data;
    const DWORD code = service.QueryValue(key, graceName, type, data);
    if (code == error::FileNotFound) return error::Success;
    if (code) return code;
    if (type != REG_DWORD || data.size() != 4) return error::InvalidData;
    grace = std::min(platform::NumberAt(data.data()), longestGrace);
    return error::Success;
}

DWORD WriteGrace(ClusterService& service, ClusterKeyId key, DWORD grace) {
    std::array<BYTE, 4> data{};
    platform::PutNumber(data.data(), grace);
    return service.SetValue(key, graceName, REG_DWORD, data);
}

std::vector<std::wstring> LinesOf(const std::wstring& text) {
    std::vector<std::wstring> lines;
    for (std::size_t start = 0, end; (end = text.find(L'\n', start)) != std::wstring::npos; start = end + 1)
        lines.push_back(text.substr(start, end - start));
    return lines;
}

/// The job lines of a table, as the library reads them. False when it would leave something out.
bool ReadTable(const std::wstring& text, std::vector<std::wstring>& lines) {
    ScheduleTable table;
    table.SetPersistence(text);
    const std::wstring read = table.PersistentData();
    for (const ScheduleEntry* entry : table) delete entry;
    lines = LinesOf(read);
    return text.starts_with(read) && text.find_first_not_of(L'\n', read.size()) == std::wstring::npos;
}

/// The fixed times of each job line, in the table's order. False when the text is none of ours.
bool ReadInstants(const std::wstring& text, std::multimap<std::wstring, TimeValue>& instants) {
    for (const std::wstring& line : LinesOf(text)) {
        const std::size_t blank = line.find(L' ');
        const std::optional<TimeValue> instant = ReadInstant(line.substr(0, blank));
        if (!instant || blank == std::wstring::npos) return false;
        instants.emplace(line.substr(blank + 1), *instant);
    }
    return true;
}

DWORD Parse(const Texts& texts, std::vector<ScheduledJob>& jobs) {
    std::vector<std::wstring> lines;
    std::multimap<std::wstring, TimeValue> instants;
    if (!ReadTable(texts.table, lines) || !ReadInstants(texts.instants, instants)) return error::InvalidData;
    const std::vector<std::wstring> notes = LinesOf(texts.begun);
    const std::set<std::wstring> begun(notes.begin(), notes.end());
    jobs.clear();
    for (const std::wstring& line : lines) {
        const auto instant = instants.find(line);  // the first of those left
        const bool isFixed = instant != instants.end();
        jobs.push_back(ReadJob(line, isFixed ? std::optional(instant->second) : std::nullopt));
        if (isFixed) instants.erase(instant);
        jobs.back().isBegun = begun.contains(jobs.back().Identity()) || begun.contains(line);
    }
    return error::Success;
}

Texts TextsOf(const std::vector<ScheduledJob>& jobs) {
    Texts texts;
    for (const ScheduledJob& job : jobs) {
        texts.table += job.line + L'\n';
        if (job.isFixed) texts.instants += job.Identity() + L'\n';
        if (job.isBegun) texts.begun += job.Identity() + L'\n';
    }
    return texts;
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

DWORD Read(ClusterService& service, ClusterKeyId key, Texts& texts, Schedule& schedule) {
    // In this order: a job that comes or ends in between is then not there at all, rather than there and not begun, or
    // there without its instant.
    DWORD code = ReadText(service, key, begunName, texts.begun);
    if (!code) code = ReadText(service, key, tableName, texts.table);
    if (!code) code = ReadText(service, key, instantsName, texts.instants);
    if (!code) code = ReadGrace(service, key, schedule.grace);
    return code ? code : Parse(texts, schedule.jobs);
}

DWORD Write(ClusterService& service, ClusterKeyId key, const Texts& before, const Texts& after) {
    DWORD code = error::Success;
    if (after.table != before.table) code = WriteText(service, key, tableName, after.table);
    if (!code && after.instants != before.instants) code = WriteText(service, key, instantsName, after.instants);
    if (!code && after.begun != before.begun) code = WriteText(service, key, begunName, after.begun);
    return code;
}

std::vector<ScheduledJob>::iterator Find(Schedule& schedule, const ScheduledJob& wanted) {
    return std::find_if(schedule.jobs.begin(), schedule.jobs.end(), [&](const ScheduledJob& job) {
        return job.line == wanted.line && (job.time == wanted.time || !job.isFixed || !wanted.isFixed);
    });
}

bool IsJob(const ScheduledJob& job) {
    return job.line.find_first_of(std::wstring(L"\n\0", 2)) == std::wstring::npos && !job.cluster.empty() &&
           !job.Group().empty();
}

}  // namespace

std::wstring ScheduledJob::Word() const {
    return OstraString(command, L" ").Word(1);
}

std::wstring ScheduledJob::Group() const {
    return OstraString(command, L" ").Words(2);
}

std::wstring ScheduledJob::Identity() const {
    return isFixed ? std::to_wstring(time) + L" " + line : line;
}

std::optional<TimeValue> ReadInstant(const std::wstring& text) {
    const std::string digits = platform::ToUtf8(text);
    TimeValue instant = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), instant);
    const bool isNumber = result.ec == std::errc() && result.ptr == digits.data() + digits.size();
    return isNumber ? std::optional(instant) : std::nullopt;
}

ScheduledJob ReadJob(const std::wstring& line, std::optional<TimeValue> instant) {
    const ScheduleEntry entry(line);
    return {line,
            *entry.ScheduledClusterName(),
            *entry.ScheduledCommand(),
            instant.value_or(entry.ScheduleTime()),
            instant.has_value(),
            false};
}

DWORD MakeJob(const std::wstring& cluster, const std::wstring& word, const std::wstring& group, TimeValue time,
              ScheduledJob& job) {
    const std::wstring command = word + L" " + group;
    ScheduledJob made = ReadJob(ScheduleEntry(cluster, command, time).JobLine(), time);
    if (made.cluster != cluster || made.command != command || made.Group() != group) return error::InvalidName;
    job = std::move(made);
    return error::Success;
}

TimeValue Schedule::Overdue(TimeValue since) const {
    constexpr std::int64_t earliest = std::numeric_limits<TimeValue>::min();
    return static_cast<TimeValue>(std::max(earliest, std::int64_t{since} - grace));
}

DWORD ScheduleStore::Load(Schedule& schedule) {
    schedule = {};
    ClusterKeyId root = 0;
    ClusterKeyId key = 0;
    Texts texts;
    DWORD code = _service->RootKey(root);
    if (!code) code = _service->OpenKey(root, keyPath, key);
    if (code == error::FileNotFound) return error::Success;
    if (!code) code = Read(*_service, key, texts, schedule);
    std::stable_sort(schedule.jobs.begin(), schedule.jobs.end(),
                     [](const ScheduledJob& left, const ScheduledJob& right) { return left.time < right.time; });
    return code;
}

DWORD ScheduleStore::Add(const ScheduledJob& job) {
    if (!IsJob(job)) return error::InvalidData;
    return Change([&](Schedule& schedule) -> DWORD {
        const auto isSame = [&](const ScheduledJob& there) { return there.line == job.line && there.time == job.time; };
        if (std::ranges::any_of(schedule.jobs, isSame)) return error::AlreadyExists;
        schedule.jobs.push_back(job);
        const bool isReadable = platform::Utf16Length(TextsOf(schedule.jobs).table) <= ScheduleTable::LongestText;
        return isReadable ? error::Success : error::InsufficientBuffer;
    });
}

DWORD ScheduleStore::Remove(const ScheduledJob& job) {
    return Change([&](Schedule& schedule) -> DWORD {
        const auto found = Find(schedule, job);
        if (found == schedule.jobs.end()) return error::FileNotFound;
        if (found->isBegun) return error::Busy;
        schedule.jobs.erase(found);
        return error::Success;
    });
}

DWORD ScheduleStore::Purge(TimeValue since, std::size_t& removed) {
    removed = 0;
    return Change([&](Schedule& schedule) -> DWORD {
        const TimeValue overdue = schedule.Overdue(since);
        std::set<std::tuple<TimeValue, std::wstring, std::wstring>> seen;
        removed = std::erase_if(schedule.jobs, [&](const ScheduledJob& job) {
            const bool isFirst = seen.emplace(job.time, job.command, job.cluster).second;
            return !job.isBegun && (!isFirst || job.time < overdue);
        });
        return error::Success;
    });
}

DWORD ScheduleStore::FixTimes() {
    return Change([](Schedule& schedule) -> DWORD {
        for (ScheduledJob& job : schedule.jobs) job.isFixed = true;
        return error::Success;
    });
}

DWORD ScheduleStore::SetGrace(DWORD seconds) {
    if (seconds > longestGrace) return error::InvalidParameter;
    return Change([&](Schedule& schedule) -> DWORD {
        schedule.grace = seconds;
        return error::Success;
    });
}

DWORD ScheduleStore::Begin(const ScheduledJob& job) {
    return Change([&](Schedule& schedule) -> DWORD {
        const auto found = Find(schedule, job);
        if (found == schedule.jobs.end()) return error::FileNotFound;
        if (found->isBegun) return error::AlreadyExists;
        found->isBegun = true;
        return error::Success;
    });
}

DWORD ScheduleStore::Finish(const ScheduledJob& job) {
    return Change([&](Schedule& schedule) -> DWORD {
        const auto found = Find(schedule, job);
        if (found != schedule.jobs.end()) schedule.jobs.erase(found);
        return error::Success;
    });
}

DWORD ScheduleStore::Change(const std::function<DWORD(Schedule& schedule)>& change) {
    return _service->Transact([&] {
        ClusterKeyId key = 0;
        Texts before;
        Schedule schedule;
        DWORD code = CreateLastingKey(*_service, key);
        if (!code) code = Read(*_service, key, before, schedule);
        const DWORD grace = schedule.grace;
        if (!code) code = change(schedule);
        if (!code) code = Write(*_service, key, before, TextsOf(schedule.jobs));
        if (!code && schedule.grace != grace) code = WriteGrace(*_service, key, schedule.grace);
        return code;
    });
}

}  // namespace programs
