#pragma once

#include <platform/base/types.h>
#include <platform/cluster/ClusterService.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace programs {

/// One timed job, as a cluster's table has it.
struct ScheduledJob {
    std::wstring line;  ///< the job line, which identifies the job
    std::wstring cluster;
    std::wstring command;
    TimeValue time = 0;
    bool isBegun = false;  ///< a scheduler began to carry it out and has not removed it yet

    std::wstring Word() const;   ///< "Online", "Offline" or "Move"
    std::wstring Group() const;  ///< the group's name
};

/// How long after its time a job is still carried out by a scheduler that was not there at its time, in seconds.
inline constexpr int dueSeconds = 300;

/// The job of these values, if one line can tell of it: InvalidName when a name holds what parts the line's fields or
/// lines, or blanks that the line does not keep; InvalidData for a time within a minute, and for one that the clock
/// shows twice because daylight saving ends.
DWORD MakeJob(const std::wstring& cluster, const std::wstring& word, const std::wstring& group, TimeValue time,
              ScheduledJob& job);

/// The job table of one cluster: in its database, key "Ostra\Scheduler", the value "Persistence" of one job line a job,
/// and beside it "Begun", the lines of those that a scheduler has begun. The key is a lasting one; where a program made
/// a volatile one, the first change replaces it.
///
/// Each change is one transaction of the cluster, so that several writers never lose a job. Operations answer a result
/// code; another than 0 has changed nothing.
class ScheduleStore {
public:
    explicit ScheduleStore(std::shared_ptr<platform::ClusterService> service) : _service(std::move(service)) {}

    /// All jobs in the order in which they run.
    DWORD Load(std::vector<ScheduledJob>& jobs);
    /// AlreadyExists when it is there; InvalidData for a line that tells of no job.
    DWORD Add(const std::wstring& line);
    /// FileNotFound when it is not there, Busy when it was begun.
    DWORD Remove(const std::wstring& line);
    /// Removes what is there twice, and those not begun whose time is before `overdue`; `removed` is their number.
    DWORD Purge(TimeValue overdue, std::size_t& removed);

    /// Notes, before it is carried out, that the job was begun: FileNotFound when it is not there, AlreadyExists when
    /// it was begun before.
    DWORD Begin(const std::wstring& line);
    /// Removes a job that was begun, and the note. FileNotFound when it was not begun.
    DWORD Finish(const std::wstring& line);

private:
    std::shared_ptr<platform::ClusterService> _service;
};

}  // namespace programs
