#include <programs/ostra-scheduler/JobExecution.h>

#include <ostra/scheduler/ScheduleRunner.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/cluster_api.h>
#include <programs/support/ExitCode.h>

namespace programs {

namespace {

struct Standing {
    DWORD code = 0;  // when it is not 0, the others say nothing
    DWORD state = ClusterStateUnknown;
    std::wstring owner;
};

Standing Look(const ScheduledJob& job) {
    Standing standing;
    std::shared_ptr<platform::ClusterService> service;
    platform::ObjectId group;
    standing.code = platform::ClusterDirectory::Resolve(job.cluster, service);
    if (!standing.code) standing.code = service->Find(platform::ObjectKind::Group, job.Group(), group);
    if (!standing.code) standing.code = service->GroupState(group, standing.state, standing.owner);
    return standing;
}

std::wstring WordOf(DWORD state) {
    switch (state) {
        case ClusterGroupOnline: return L"online";
        case ClusterGroupOffline: return L"offline";
        case ClusterGroupFailed: return L"failed";
        case ClusterGroupPartialOnline: return L"partly online";
        case ClusterGroupPending: return L"not settled";
        default: return L"in state " + std::to_wstring(state);
    }
}

std::wstring TextOf(const ScheduledJob& job, const Standing& standing) {
    if (standing.code)
        return L"group " + job.Group() + L" cannot be seen: " + platform::FromUtf8(CauseText(standing.code));
    return L"group " + job.Group() + L" is " + WordOf(standing.state) + L" on " + standing.owner;
}

bool IsReached(const ScheduledJob& job, const Standing& before, const Standing& after) {
    const std::wstring word = job.Word();
    if (word == L"Online") return after.state == ClusterGroupOnline;
    if (word == L"Offline") return after.state == ClusterGroupOffline;
    return word == L"Move" && !before.code && after.owner != before.owner && after.state != ClusterGroupPending;
}

/// Lets change lists name the job while it is carried out.
class NamedChanges {
public:
    explicit NamedChanges(const ScheduledJob& job) { platform::SetChangeCommand(L"ostra-scheduler: " + job.command); }
    NamedChanges(const NamedChanges&) = delete;
    NamedChanges& operator=(const NamedChanges&) = delete;
    ~NamedChanges() { platform::SetChangeCommand(_before); }

private:
    std::wstring _before = platform::ChangeCommand();
};

}  // namespace

Outcome CarryOut(const ScheduledJob& job) {
    const NamedChanges naming(job);
    const Standing before = Look(job);
    ScheduleRunner(job.cluster, job.command, job.time).Run(0);
    const Standing after = Look(job);
    Outcome outcome;
    outcome.text = TextOf(job, after);
    if (after.code) return outcome;
    if (IsReached(job, before, after))
        outcome.kind = Outcome::Kind::Reached;
    else if (after.state == ClusterGroupPending)
        outcome.kind = Outcome::Kind::Pending;
    return outcome;
}

std::wstring StandingOf(const ScheduledJob& job) {
    return TextOf(job, Look(job));
}

}  // namespace programs
