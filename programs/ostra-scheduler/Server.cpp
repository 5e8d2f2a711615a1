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

constexpr wchar_t unserved[] = L"for its time passed while no scheduler served its cluster";
constexpr wchar_t leapt[] = L"for the clock was set forward over its time, or the computer stood still meanwhile";

std::wstring Name(const ScheduledJob& job) {
    return L"Job \"" + job.command + L"\" of cluster " + job.cluster + L", due " +
           platform::FromUtf8(JobTimeText(job.time)) + L",";
}

std::wstring Cause(DWORD code) {
    return platform::FromUtf8(CauseText(code));
}

/// Whether the job is noted as begun.
bool IsBegun(ScheduleStore store, const ScheduledJob& job) {
    Schedule schedule;
    return !store.Load(schedule) && std::ranges::any_of(schedule.jobs, [&](const ScheduledJob& there) {
        return there.isBegun && there.Identity() == job.Identity();
    });
}

}  // namespace

Server::Server(Waiter& waiter, Journal& journal)
    : _waiter(waiter), _journal(journal), _servedSince(platform::CurrentTime()) {}

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

void Server::RequireAllDone() const {
    std::string unread;
    for (const auto& [name, cluster] : _clusters)
        if (cluster.failure) unread += (unread.empty() ? "" : ", ") + platform::ToUtf8(name);
    if (!unread.empty())
        throw CommandError(ExitCode::Unreachable, "The jobs of these clusters could not be read: " + unread);
    if (!_stuck.empty())
        throw CommandError(ExitCode::Refused, "Not all that was due could be done. See: ostra schedule list");
}

ScheduleAnswer Server::Answer(const ScheduleRequest& request) {
    const ScheduleAnswer answer = Perform(request, _servedSince);
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
        Schedule schedule;
        if (!Load(name, cluster, schedule)) continue;
        for (const ScheduledJob& job : schedule.jobs) {
            if (job.isBegun)
                Settle({cluster.service, job});
            else if (job.time > now)
                _nextDue = std::min(_nextDue.value_or(job.time), job.time);
            else if (job.time < schedule.Overdue(cluster.servedSince))
                Drop({cluster.service, job}, unserved);
            else if (job.time < schedule.Overdue(_servedSince))
                Drop({cluster.service, job}, leapt);
            else
                due.push_back({cluster.service, job});
        }
    }
    std::stable_sort(due.begin(), due.end(),
                     [](const DueJob& left, const DueJob& right) { return left.job.time < right.job.time; });
    return due;
}

bool Server::Load(const std::wstring& name, ServedCluster& cluster, Schedule& schedule) {
    DWORD code = error::Success;
    if (!cluster.service) {
        cluster.servedSince = platform::CurrentTime();
        code = platform::ClusterDirectory::Resolve(name, cluster.service);
    }
    if (!code) code = ScheduleStore(cluster.service).Load(schedule);
    const auto isFixed = [](const ScheduledJob& job) { return job.isFixed; };
    // Where it is refused, the lines are good enough for this look.
    if (!code && !std::ranges::all_of(schedule.jobs, isFixed) && !ScheduleStore(cluster.service).FixTimes())
        code = ScheduleStore(cluster.service).Load(schedule);
    if (code) {
        cluster.service.reset();  // it may be another one the next time
        if (code != cluster.failure) _journal.Fail(L"The jobs of cluster " + name + L" cannot be read: " + Cause(code));
    }
    cluster.failure = code;
    return code == error::Success;
}

// No other scheduler is alive, and this one has nothing under way while it looks.
void Server::Settle(const DueJob& begun) {
    const DWORD code = ScheduleStore(begun.service).Finish(begun.job);
    if (code) return ReportStuck(begun.job, L"was begun and cannot be removed", code);
    if (_stuck.erase(begun.job.Identity())) return;  // begun by this scheduler, which has reported what became of it
    _journal.Warn(Name(begun.job) + L" had begun when its scheduler ended, and is not carried out again; " +
                  StandingOf(begun.job) + L".");
}

void Server::Drop(const DueJob& missed, const wchar_t* why) {
    const DWORD code = ScheduleStore(missed.service).Remove(missed.job);
    if (code == error::FileNotFound) return;
    if (code) return ReportStuck(missed.job, L"was missed and cannot be removed", code);
    _stuck.erase(missed.job.Identity());
    _journal.Warn(Name(missed.job) + L" was missed, " + why + L"; it is dropped.");
}

bool Server::Execute(const DueJob& due) {
    DWORD code = ScheduleStore(due.service).Begin(due.job);
    if (code == error::FileNotFound) return false;  // removed meanwhile
    // A change can be there although its end was not seen. Nobody else begins jobs, so that this one is ours to do.
    if (code && IsBegun(ScheduleStore(due.service), due.job)) code = error::Success;
    if (code) {
        ReportStuck(due.job, L"cannot be begun", code);
        return false;
    }
    _stuck.erase(due.job.Identity());
    Report(due.job, CarryOut(due.job));
    code = ScheduleStore(due.service).Finish(due.job);
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
    if (_stuck.insert(job.Identity()).second) _journal.Fail(Name(job) + L" " + what + L": " + Cause(code));
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
    if (passed > largestCorrection) _servedSince = now;
    if (passed >= 0) return;
    _servedSince = std::min<TimeValue>(_servedSince, now);
    for (auto& [name, cluster] : _clusters) cluster.servedSince = std::min(cluster.servedSince, now);
}

}  // namespace programs
