#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>

#include <string>

/// Carries out one scheduled job: says whether it is due, waits until it is, and brings a group online or offline or
/// moves it. It works on the calling thread and blocks it meanwhile: TakeNap until the job is due, Run for as long as
/// the cluster takes, and a second. Every question reads the clock anew. Threads may use a runner each at once; not one
/// together.
///
/// The command is "Online", "Offline" or "Move", spelt exactly so, and the group's name, parted by blanks; runs of
/// blanks count as one, within the name as well. What goes wrong is not told by a result: a group that cannot be opened
/// is in the event log, any other failure of the command goes to OstraError::Display; the last error has the reason,
/// InvalidParameter for a command that is none.
class OSTRA_API ScheduleRunner {
public:
    /// A job without a command is displayed as a failure and is due at time 0.
    ScheduleRunner(const std::wstring& clusterName, const std::wstring& command, TimeValue time);
    ScheduleRunner(const ScheduleRunner&) = default;
    ScheduleRunner& operator=(const ScheduleRunner&) = default;
    virtual ~ScheduleRunner();

    /// 1 when the due time is past, else 0.
    int IsObsolete() const;
    /// 1 from the due time to 300 seconds after it, both included, else 0.
    int IsTimeToRun() const;
    /// 1 when now is in the hour of the due time, by the local clock, else 0.
    int IsSameHour() const;

    /// Sleeps two minutes at a time, at least once, until it is time to run, and tells of it on standard output. 1
    /// then. 0 when that time is over, at once or after a nap in which it went by: the job will not become due any
    /// more.
    int TakeNap() const;

    /// Carries the job out, on a connection of its own, and tells of it on standard output; a `beep` other than 0 is
    /// heard before. Returns a second later, always 1.
    int Run(int beep);
    /// The same on an open cluster, which stays the caller's, and without the second. A cluster whose information
    /// cannot be had is also shown in a message box, which does not stop the job.
    int Run(const HCLUSTER& cluster, int beep);

private:
    int RunClusterJob();
    int RunClusterJob(const HCLUSTER& cluster);
    bool IsMissed() const;

    std::wstring _clusterName;
    std::wstring _scheduledCommand;
    TimeValue _scheduleTime = 0;
};
