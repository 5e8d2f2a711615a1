#pragma once

#include <platform/base/types.h>
#include <programs/ostra-scheduler/JobExecution.h>
#include <programs/ostra-scheduler/Journal.h>
#include <programs/ostra-scheduler/Waiter.h>
#include <programs/support/ScheduleRequest.h>
#include <programs/support/ScheduleStore.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace programs {

/// Carries out the jobs of all clusters of the state directory at their times, one after the other.
///
/// A job is noted in its table as begun before it is carried out and removed afterwards: one that a killed scheduler
/// had begun is reported and removed by the next, and not carried out again. A job that falls due while the scheduler
/// works on another runs late, however late that is. A job whose time was over by more than its cluster's grace when
/// the scheduler started or first could read its cluster (one that was brought back from a copy, say), or when the
/// clock leapt over it by more than some hours, is reported and removed. Jobs whose table has no time for them but the
/// job line get one: as this process's clock reads the line.
///
/// All but Answer is for one thread, which it blocks as the waiter, the clusters and their jobs do.
class Server {
public:
    /// `waiter` must outlive the server.
    Server(Waiter& waiter, Journal& journal);

    /// Carries out what is due now, until nothing is or the waiter says Stop. The number of jobs carried out.
    std::size_t CarryOutDue();
    /// Does so, waits, and begins again, until the waiter says Stop.
    void Serve();

    /// Ends the command when a cluster's jobs could not be read at the last look, or something is left undone that was
    /// due.
    void RequireAllDone() const;

    /// Makes a change of a table on behalf of a client and ends the wait. From any thread.
    ScheduleAnswer Answer(const ScheduleRequest& request);

private:
    struct ServedCluster {
        std::shared_ptr<platform::ClusterService> service;  // null until its jobs can be read
        DWORD failure = 0;                                  // reported already
        TimeValue servedSince = 0;                          // set with the service
    };
    struct DueJob {
        std::shared_ptr<platform::ClusterService> service;
        ScheduledJob job;
    };

    void FindClusters();
    std::vector<DueJob> FindDue();
    bool Load(const std::wstring& name, ServedCluster& cluster, Schedule& schedule);
    void Settle(const DueJob& begun);
    void Drop(const DueJob& missed, const wchar_t* why);
    bool Execute(const DueJob& due);
    void Report(const ScheduledJob& job, const Outcome& outcome);
    void ReportStuck(const ScheduledJob& job, const wchar_t* what, DWORD code);
    DWORD UntilNextLook() const;
    void FollowClock(TimeValue before, TimeValue now);

    Waiter& _waiter;
    Journal& _journal;
    std::map<std::wstring, ServedCluster> _clusters;
    std::set<std::wstring> _stuck;  // identities of jobs whose trouble was reported and is tried anew at each look
    std::optional<TimeValue> _nextDue;
    std::atomic<TimeValue> _servedSince;  // the start, or the last leap of the clock
};

}  // namespace programs
