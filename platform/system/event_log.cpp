#include <platform/system/event_log.h>

#include <platform/base/HandleTable.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/system/StateFiles.h>

#include <algorithm>
#include <limits>
#include <mutex>

namespace {

using namespace platform;

constexpr std::int64_t keptReports = 100'000;
constexpr std::int64_t trimmingStep = 256;
constexpr std::size_t longestText = 32'000;
constexpr std::size_t longestName = 256;

struct EventSource {
    std::wstring name;
    HostPlace place;
};

struct EventFile {
    explicit EventFile(std::unique_ptr<Database> opened) : database(std::move(opened)) {}

    static DWORD Open(const std::string& path, OpenMode mode, std::shared_ptr<EventFile>& file) {
        static const DatabaseSchema& schema = *new DatabaseSchema{0x4F534556, 2, R"(
            CREATE TABLE events (
                number INTEGER PRIMARY KEY AUTOINCREMENT,
                time INTEGER NOT NULL,
                source TEXT NOT NULL CHECK (length(source) <= 256),
                type INTEGER NOT NULL CHECK (type BETWEEN 0 AND 65535),
                identifier INTEGER NOT NULL CHECK (identifier BETWEEN 0 AND 4294967295),
                text TEXT NOT NULL CHECK (length(text) <= 32000),
                host TEXT NOT NULL CHECK (length(host) <= 256),
                checksum INTEGER NOT NULL AS (row_checksum(number, time, source, type, identifier, text, host)) STORED
            ) STRICT)",
                                                                  1};
        std::unique_ptr<Database> database;
        const DWORD code = Database::Open(path, schema, mode, database);
        file = code == error::Success ? std::make_shared<EventFile>(std::move(database)) : nullptr;
        return code;
    }

    DWORD Write(const EventRecord& record) {
        WriteTransaction transaction(*database);
        if (const DWORD code = transaction.Begin()) return code;
        Statement row(*database,
                      "INSERT INTO events (time, source, type, identifier, text, host) VALUES (?, ?, ?, ?, ?, ?)",
                      record.time, record.source, record.type, record.identifier, record.text, record.host);
        if (const DWORD code = row.Run()) return code;
        const std::int64_t number = database->LastInsertedId();
        if (number > keptReports && number % trimmingStep == 0) {
            Statement old(*database, "DELETE FROM events WHERE number <= ?", number - keptReports);
            if (const DWORD code = old.Run()) return code;
        }
        return transaction.Commit();
    }

    std::unique_ptr<Database> database;
};

StateFiles<EventFile>& Logs() {
    return StateFilesNamed<EventFile>("events.db");
}

HandleTable<HEVENTSOURCE, const EventSource>& Handles() {
    static auto& handles = *new HandleTable<HEVENTSOURCE, const EventSource>;
    return handles;
}

/// The sink in place. The lock is held while it writes, so that one that was replaced is at rest.
struct SinkPlace {
    std::recursive_mutex mutex;
    EventSink* sink = nullptr;
};

SinkPlace& TheSink() {
    static auto& place = *new SinkPlace;
    return place;
}

bool WriteToSink(const EventRecord& record) {
    SinkPlace& place = TheSink();
    const std::scoped_lock lock(place.mutex);
    if (place.sink) place.sink->Write(record);
    return place.sink != nullptr;
}

std::wstring JoinStrings(const wchar_t* const* strings, WORD count) {
    std::wstring text;
    for (WORD index = 0; index < count && text.size() < longestText; ++index) {
        if (index) text += L'\n';
        if (strings[index]) text += strings[index];
    }
    text.resize(std::min(text.size(), longestText));
    return text;
}

DWORD ReadRows(Statement& rows, std::vector<EventRecord>& records) {
    while (rows.NextRow()) {
        EventRecord record;
        record.number = rows.Integer(0, 1);
        record.time = rows.Integer(1);
        record.source = rows.Text(2, longestName);
        record.type = static_cast<WORD>(rows.Integer(3, 0, std::numeric_limits<WORD>::max()));
        record.identifier = static_cast<DWORD>(rows.Integer(4, 0, std::numeric_limits<DWORD>::max()));
        record.text = rows.Text(5, longestText);
        record.host = rows.Text(6, longestName);
        if (rows.Result() != error::Success) break;
        records.push_back(std::move(record));
    }
    return rows.Result();
}

DWORD Read(const char* sql, std::int64_t after, std::size_t limit, std::vector<EventRecord>& records) {
    const auto most = static_cast<std::int64_t>(std::min<std::size_t>(limit, keptReports + trimmingStep));
    const DWORD code = Logs().With({}, OpenMode::MustExist, [&](const std::shared_ptr<EventFile>& file) {
        records.clear();
        ReadTransaction transaction(*file->database);
        if (const DWORD failure = transaction.Begin()) return failure;
        Statement rows(*file->database, sql, after, most);
        return ReadRows(rows, records);
    });
    if (code != error::Success) records.clear();
    return code == error::FileNotFound ? error::Success : code;
}

BOOL Answer(DWORD code) {
    if (code != error::Success) SetLastError(code);
    return code == error::Success ? 1 : 0;
}

}  // namespace

HEVENTSOURCE RegisterEventSourceW(const wchar_t* server, const wchar_t* source) {
    HostPlace place;
    DWORD code = source && *source ? FindHost(server, place) : error::InvalidParameter;
    if (code == error::BadNetworkPath) code = error::ServerUnavailable;
    if (!Answer(code)) return nullptr;
    EventSource registered{std::wstring(source).substr(0, longestName), std::move(place)};
    return Handles().Open(std::make_shared<const EventSource>(std::move(registered)));
}

BOOL ReportEventW(HEVENTSOURCE source, WORD type, WORD, DWORD identifier, void*, WORD stringCount, DWORD,
                  const wchar_t* const* strings, void*) {
    const std::shared_ptr<const EventSource> found = Handles().Find(source);
    if (!found) return Answer(error::InvalidHandle);
    if (stringCount && !strings) return Answer(error::InvalidParameter);
    const EventRecord record{
        0, CurrentTime(), found->name, type, identifier, JoinStrings(strings, stringCount), LocalHostName()};
    if (WriteToSink(record)) return 1;
    return Answer(Logs().With(found->place, OpenMode::CreateIfMissing,
                              [&](const std::shared_ptr<EventFile>& file) { return file->Write(record); }));
}

BOOL DeregisterEventSource(HEVENTSOURCE source) {
    return Answer(Handles().Close(source) ? error::Success : error::InvalidHandle);
}

namespace platform {

EventSink* SetEventSink(EventSink* sink) {
    SinkPlace& place = TheSink();
    const std::scoped_lock lock(place.mutex);
    return std::exchange(place.sink, sink);
}

DWORD ReadEvents(std::int64_t after, std::size_t limit, std::vector<EventRecord>& records) {
    return Read(
        "SELECT number, time, source, type, identifier, text, host, checksum FROM events WHERE number > ? "
        "ORDER BY number LIMIT ?",
        after, limit, records);
}

DWORD ReadLastEvents(std::size_t limit, std::vector<EventRecord>& records) {
    const DWORD code = Read(
        "SELECT number, time, source, type, identifier, text, host, checksum FROM events WHERE number > ? "
        "ORDER BY number DESC LIMIT ?",
        0, limit, records);
    std::reverse(records.begin(), records.end());
    return code;
}

}  // namespace platform
