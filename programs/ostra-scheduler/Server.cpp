#include <programs/ostra-scheduler/Server.h>

#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <programs/ostra-scheduler/ServiceNotices.h>
#include <programs/support/ExitCode.h>
#include <programs/support/ScheduleTime.h>

#include <algorithm>
#include <cstdint>

namespace error = platform::error;

namespace programs {

namespace {

// Short enough that a clock which was set, and a job that another program added, are noticed well within the due time.
constexpr DWORD longestWait = 15'000;  // milliseconds

// A clock set forward by more than this was wrong before: what it skipped is then over rather than late.
constexpr std::int64_t largestCorrection = 3 * 3600;  // seconds

TimeValue StartOfAttendance() {
    return platform::CurrentTime() - dueSeconds;
}

std::wstring Name(const ScheduledJob& job) {
    return L"Job \"" + job.command + L"\" of cluster " + job.cluster + L", due " +
           platform::FromUtf8(JobTimeText(job.time)) + L",";
}

std::wstring Cause(DWORD code) {
    return platform::FromUtf8(CauseText(code));
}

}  // namespace

Server::Server(Waiter& waiter, Journal& journal)
    : _waiter(waiter), _journal(journal), _attendedFrom(StartOfAttendance()) {}

std::size_t Server::CarryOutDue() {
    std::size_t carriedOut = 0;
    for (bool isAnyDue = true; isAnyDue && !_waiter.HasStopped();) {
        isAnyDue = false;  // jobs that are refused are tried again at the next look, not at once
        for (const DueJob& due : FindDue()) {
            if (_waiter.HasStopped()) return carriedOut;
            NotifyService("WATCHDOG=1");
            if (!Execute(due)) continue;
            ++carriedOut;
            isAnyDue = true;
        }
    }
    return carriedOut;
}

void Server::Serve() {
    NotifyService("READY=1");
    for (;;) {
        CarryOutDue();
        NotifyService("WATCHDOG=1");
        const TimeValue before = platform::CurrentTime();
        if (_waiter.Wait(UntilNextLook()) == Wakeup::Stop) break;
        FollowClock(before, platform::CurrentTime());
    }
    NotifyService("STOPPING=1");
}

ScheduleAnswer Server::Answer(const ScheduleRequest& request) {
    const ScheduleAnswer answer = Perform(request, _attendedFrom);
    _waiter.Poke();
    return answer;
}

void Server::FindClusters() {
    const StringArray names = platform::ClusterDirectory::Names();
    std::erase_if(_clusters, [&](const auto& cluster) {
        return std::find(names.begin(), names.end(), cluster.first) == names.end();
    });
    for (const std::wstring& name : names) _clusters[name];
}

std::vector<Server::DueJob> Server::FindDue() {
    FindClusters();
    const TimeValue now = platform::CurrentTime();
    _nextDue.reset();
    std::vector<DueJob> due;
    for (auto& [name, cluster] : _clusters) {
        std::vector<ScheduledJob> jobs;
        if (!Load(name, cluster, jobs)) continue;
        const TimeValue attendedFrom = std::max<TimeValue>(_attendedFrom, cluster.attendedFrom);
        for (const ScheduledJob& job : jobs) {
            if (job.isBegun)
                Settle({cluster.service, job});
            else if (job.time > now)
                _nextDue = std::min(_nextDue.value_or(job.time), job.time);
            else if (job.time < attendedFrom)
                Drop({cluster.service, job});
            else
                due.push_back({cluster.service, job});
        }
    }
    std::stable_sort(due.begin(), due.end(),
                     [](const DueJob& left, const DueJob& right) { return left.job.time < right.job.time; });
    return due;
}

bool Server::Load(const std::wstring& name, ServedCluster& cluster, std::vector<ScheduledJob>& jobs) {
    DWORD code = error::Success;
    if (!cluster.service) {
        cluster.attendedFrom = StartOfAttendance();
        code = platform::ClusterDirectory::Resolve(name, cluster.service);
    }
    if (!code) code = ScheduleStore(cluster.service).Load(jobs);
    if (code) {
        cluster.service.reset();  // it may be another one the next time
        if (code != cluster.failure) _journal.Fail(L"The jobs of cluster " + name + L" cannot be read: " + Cause(code));
    }
    cluster.failure = code;
    return code == error::Success;
}

// No other scheduler is alive, and this one has nothing under way while it looks.
void Server::Settle(const DueJob& begun) {
    const DWORD code = ScheduleStore(begun.service).Finish(begun.job.line);
    if (code) return ReportStuck(begun.job, L"was begun and cannot be removed", code);
    if (_stuck.erase(begun.job.line)) return;  // begun by this scheduler, which has reported what became of it
    _journal.Warn(Name(begun.job) + L" had begun when its scheduler ended, and is not carried out again; " +
                  StandingOf(begun.job) + L".");
}

void Server::Drop(const DueJob& missed) {
    const DWORD code = ScheduleStore(missed.service).Remove(missed.job.line);
    if (code == error::FileNotFound) return;
    if (code) return ReportStuck(missed.job, L"was missed and cannot be removed", code);
    _stuck.erase(missed.job.line);
    _journal.Warn(Name(missed.job) + L" was missed, for its time passed while no scheduler was there; it is dropped.");
}

bool Server::Execute(const DueJob& due) {
    DWORD code = ScheduleStore(due.service).Begin(due.job.line);
    if (code == error::FileNotFound) return false;  // removed meanwhile
    if (code) {
        ReportStuck(due.job, L"cannot be begun", code);
        return false;
    }
    _stuck.erase(due.job.line);
    Report(due.job, CarryOut(due.job));
    code = ScheduleStore(due.service).Finish(due.job.line);
    if (code) ReportStuck(due.job, L"was carried out and cannot be removed", code);
    return true;
}

void Server::Report(const ScheduledJob& job, const Outcome& outcome) {
    switch (outcome.kind) {
        case Outcome::Kind::Reached: return _journal.Inform(Name(job) + L" is done: " + outcome.text + L".");
        case Outcome::Kind::Pending: return _journal.Warn(Name(job) + L" has not settled: " + outcome.text + L".");
        case Outcome::Kind::Missed: return _journal.Fail(Name(job) + L" failed: " + outcome.text + L".");
    }
}

void Server::ReportStuck(const ScheduledJob& job, const wchar_t* what, DWORD code) {
    if (_stuck.insert(job.line).second) _journal.Fail(Name(job) + L" " + what + L": " + Cause(code));
}

DWORD Server::UntilNextLook() const {
    DWORD wait = longestWait;
    if (const DWORD period = WatchdogPeriod()) wait = std::min(wait, std::max<DWORD>(period / 2, 1));
    if (!_nextDue) return wait;
    const std::int64_t untilDue = std::max<std::int64_t>(std::int64_t{*_nextDue} - platform::CurrentTime(), 0);
    return static_cast<DWORD>(std::min<std::int64_t>(wait, untilDue * 1000));
}

void Server::FollowClock(TimeValue before, TimeValue now) {
    const std::int64_t passed = std::int64_t{now} - before;
    const TimeValue start = StartOfAttendance();
    if (passed > largestCorrection) _attendedFrom = start;
    if (passed >= 0) return;
    _attendedFrom = std::min<TimeValue>(_attendedFrom, start);
    for (auto& [name, cluster] : _clusters) cluster.attendedFrom = std::min(cluster.attendedFrom, start);
}

}  // namespace programs
