#pragma once

#include <platform/base/types.h>
#include <platform/cluster/ClusterService.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace programs {

/// One timed job, as a cluster's table has it.
struct ScheduledJob {
    std::wstring line;  ///< the job line
    std::wstring cluster;
    std::wstring command;
    TimeValue time = 0;    ///< when it is due
    bool isFixed = false;  ///< `time` is what the table says; else what the line says on the clock of who reads it
    bool isBegun = false;  ///< a scheduler began to carry it out and has not removed it yet

    std::wstring Word() const;   ///< "Online", "Offline" or "Move"
    std::wstring Group() const;  ///< the group's name
    /// What tells it from all others: its line, and in front of it, when that is fixed, its time.
    std::wstring Identity() const;
};

/// Seconds since 1 January 1970 UTC as the table and requests write them; nothing for a text that is none.
std::optional<TimeValue> ReadInstant(const std::wstring& text);

/// The job that a line tells of, due at that instant; without one, when the line says on this process's clock.
ScheduledJob ReadJob(const std::wstring& line, std::optional<TimeValue> instant);

/// The job of these values, if a line can tell of it: InvalidName when a name holds what parts the line's fields or
/// lines, or blanks that the line does not keep.
DWORD MakeJob(const std::wstring& cluster, const std::wstring& word, const std::wstring& group, TimeValue time,
              ScheduledJob& job);

/// How long after its time, in seconds, a job is still carried out by a scheduler that did not serve its cluster at its
/// time: unless the cluster says otherwise, and at most.
inline constexpr DWORD usualGrace = 300;
inline constexpr DWORD longestGrace = 366 * 86'400;

/// The jobs of one cluster.
struct Schedule {
    std::vector<ScheduledJob> jobs;  ///< in the order in which they run: by time, and as the table has them
    DWORD grace = usualGrace;

    /// Jobs of an earlier time are over for a scheduler that serves the cluster since then.
    TimeValue Overdue(TimeValue since) const;
};

/// The job table of one cluster, in its database under the key "Ostra\Scheduler" (docs/formats.md). The key is a
/// lasting one; where a program made a volatile one, the first change replaces it.
///
/// Each change is one transaction of the cluster, so that several writers never lose a job. Operations answer a result
/// code; another than 0 has changed nothing. InvalidData: the key holds what is no table; it is left as it is.
///
/// Each call blocks as long as the cluster's database does, and throws nothing but std::bad_alloc. A store may be used
/// by one thread at a time; several stores of one cluster by several.
class ScheduleStore {
public:
    explicit ScheduleStore(std::shared_ptr<platform::ClusterService> service) : _service(std::move(service)) {}

    DWORD Load(Schedule& schedule);
    /// AlreadyExists when it is there; InvalidData for a line that tells of no job; InsufficientBuffer when the table
    /// would be longer than ScheduleTable::LongestText, so that programs could not read it back from its key.
    DWORD Add(const ScheduledJob& job);
    /// FileNotFound when it is not there, Busy when it was begun.
    DWORD Remove(const ScheduledJob& job);
    /// Removes what is there twice, and what is over for a scheduler that serves the cluster since then, but nothing
    /// that was begun; `removed` is their number.
    DWORD Purge(TimeValue since, std::size_t& removed);

    /// Fixes the times of the jobs that have only a line: as this process's clock reads them.
    DWORD FixTimes();
    /// InvalidParameter above `longestGrace`.
    DWORD SetGrace(DWORD seconds);

    /// Notes, before it is carried out, that the job was begun: FileNotFound when it is not there, AlreadyExists when
    /// it was begun before.
    DWORD Begin(const ScheduledJob& job);
    /// Removes a job that was begun, and the note; done also when it is not there any more.
    DWORD Finish(const ScheduledJob& job);

private:
    DWORD Change(const std::function<DWORD(Schedule& schedule)>& change);

    std::shared_ptr<platform::ClusterService> _service;
};

}  // namespace programs
