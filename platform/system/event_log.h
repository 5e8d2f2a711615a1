#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <cstdint>
#include <string>
#include <vector>

// The event log: what programs report, lasting in `events.db` of each host's state directory, the newest 100,000
// reports of it. May be called from any thread.

inline constexpr WORD EVENTLOG_ERROR_TYPE = 1;
inline constexpr WORD EVENTLOG_WARNING_TYPE = 2;
inline constexpr WORD EVENTLOG_INFORMATION_TYPE = 4;

/// Registers a source of reports to a server's log; null or empty is this machine. Costs next to nothing: no file is
/// opened before the first report. Null on failure with the last error set: 87 for a name that cannot be, 1722 for a
/// server that cannot be reached.
PLATFORM_API HEVENTSOURCE RegisterEventSourceW(const wchar_t* server, const wchar_t* source);

/// Writes one report, which is on disk when 1 is returned; 0 on failure, with the last error set. The report's text is
/// its strings, one a line, together at most 32,000 characters. Category, user and binary data are not kept.
PLATFORM_API BOOL ReportEventW(HEVENTSOURCE source, WORD type, WORD category, DWORD identifier, void* user,
                               WORD stringCount, DWORD dataSize, const wchar_t* const* strings, void* data);

/// 0, with the last error set, for a source that is not registered.
PLATFORM_API BOOL DeregisterEventSource(HEVENTSOURCE source);

namespace platform {

/// One report.
struct EventRecord {
    std::int64_t number = 0;  ///< grows by at least 1 with each report of a log; 0 in a sink
    std::int64_t time = 0;    ///< seconds since 1 January 1970 UTC
    std::wstring source;
    WORD type = 0;
    DWORD identifier = 0;
    std::wstring text;
    std::wstring host;  ///< the machine whose program reported
};

/// Takes the reports of this process in place of the logs. Write may be called from any thread.
class PLATFORM_API EventSink {
public:
    virtual ~EventSink() = default;
    virtual void Write(const EventRecord& record) = 0;
};

/// Puts a sink in place and returns the one before; null restores the logs. The caller keeps it alive until it is
/// replaced.
PLATFORM_API EventSink* SetEventSink(EventSink* sink);

/// The reports of this machine's log whose number is above `after`, oldest first, at most `limit`. Answers a code of
/// platform::error; no log yet is no report.
PLATFORM_API DWORD ReadEvents(std::int64_t after, std::size_t limit, std::vector<EventRecord>& records);

/// The newest `limit` reports of this machine's log, oldest first.
PLATFORM_API DWORD ReadLastEvents(std::size_t limit, std::vector<EventRecord>& records);

}  // namespace platform
