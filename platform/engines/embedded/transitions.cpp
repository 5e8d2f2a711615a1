#include <platform/engines/embedded/transitions.h>

#include <platform/base/error_codes.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/attempts.h>
#include <platform/engines/embedded/object_properties.h>
#include <platform/engines/embedded/online_checks.h>
#include <platform/engines/embedded/placement.h>
#include <platform/store/failures.h>

#include <algorithm>

namespace platform::embedded {

namespace {

constexpr std::int64_t hour = 3'600'000;  // milliseconds

const std::wstring& OwnerName(const ClusterModel& model, const GroupRecord& group) {
    return model.nodes.Find(group.owner)->name;
}

void SetState(ClusterStore& store, RowId id, DWORD state, const std::wstring& reason = {}) {
    const ClusterModel& model = store.Model();
    const ResourceRecord& resource = *model.resources.Find(id);
    if (resource.state == state) return;
    const std::wstring before = ResourceStateWord(resource.state);
    store.SetResourceState(id, state);
    store.Note(resource.name, CLUSTER_CHANGE_RESOURCE_STATE,
               before + L" -> " + ResourceStateWord(state) + L" on " +
                   OwnerName(model, *model.groups.Find(resource.group)) + (reason.empty() ? L"" : L": " + reason));
}

std::set<RowId> ResourcesInState(const ClusterModel& model, const GroupRecord& group, DWORD state) {
    std::set<RowId> found;
    std::ranges::copy_if(group.resources, std::inserter(found, found.end()),
                         [&](RowId id) { return model.resources.Find(id)->state == state; });
    return found;
}

DWORD BringOnline(ClusterStore& store, const std::set<RowId>& start) {
    for (const RowId id : store.Model().ProvidersFirst(start)) {
        const ResourceRecord& resource = *store.Model().resources.Find(id);
        if (resource.state == ClusterResourceOnline) continue;
        if (const DWORD code = CheckOnline(store, resource)) return code;
        SetState(store, id, ClusterResourceOnline);
    }
    return error::Success;
}

void TakeOffline(ClusterStore& store, const std::set<RowId>& start) {
    for (const RowId id : store.Model().DependentsFirst(start)) SetState(store, id, ClusterResourceOffline);
}

// After a failure elsewhere nobody is there to be told: what cannot come up fails, and what depends on it stays down.
void BringBack(ClusterStore& store, const std::set<RowId>& wasOnline) {
    const ClusterModel& model = store.Model();
    for (const RowId id : model.ProvidersFirst(wasOnline)) {
        const ResourceRecord& resource = *model.resources.Find(id);
        if (resource.state == ClusterResourceOnline) continue;
        const bool hasProviders = std::ranges::all_of(resource.providers, [&](RowId provider) {
            return model.resources.Find(provider)->state == ClusterResourceOnline;
        });
        if (!hasProviders) continue;
        const Failure words = LastFailure();
        const bool isFit = CheckOnline(store, resource) == error::Success;
        KeepFailure(words);
        SetState(store, id, isFit ? ClusterResourceOnline : ClusterResourceFailed);
    }
}

// The group's online resources go offline on its node; answers which.
std::set<RowId> Leave(ClusterStore& store, const GroupRecord& group) {
    std::set<RowId> online = ResourcesInState(store.Model(), group, ClusterResourceOnline);
    for (const RowId id : store.Model().DependentsFirst(online)) {
        if (online.contains(id)) SetState(store, id, ClusterResourceOffline);
    }
    return online;
}

void Settle(ClusterStore& store, const GroupRecord& group, RowId node, const std::wstring& reason = {}) {
    const ClusterModel& model = store.Model();
    const std::wstring before = OwnerName(model, group);
    store.SetGroupOwner(group.id, node);
    store.Note(group.name, CLUSTER_CHANGE_GROUP_STATE,
               L"moved from " + before + L" to " + OwnerName(model, group) + (reason.empty() ? L"" : L": " + reason));
}

DWORD MoveTo(ClusterStore& store, const GroupRecord& group, RowId node) {
    if (group.owner == node) return error::Success;
    const std::set<RowId> online = Leave(store, group);
    Settle(store, group, node);
    return BringOnline(store, online);
}

void FailOver(ClusterStore& store, const GroupRecord& group) {
    const ClusterModel& model = store.Model();
    const DWORD before = model.GroupState(group);
    const std::set<RowId> online = Leave(store, group);
    if (const std::optional<RowId> node = FirstChoice(model, group)) {
        Settle(store, group, *node);
        BringBack(store, online);
    } else {
        TakeOffline(store, group.resources);
        store.SetAskedOnline(group.id, false);
    }
    NoteGroupState(store, group.id, before);
}

// One more restart or failover of an object, as its properties allow; its number is 0 when they allow no more.
struct Attempt {
    DWORD number = 0;
    DWORD threshold = 0;
    std::wstring Words(const std::wstring& what) const {
        return what + L" " + std::to_wstring(number) + L" of " + std::to_wstring(threshold);
    }
};

// `unit` is that of the period, in milliseconds.
DWORD Count(ClusterStore& store, ObjectId object, const wchar_t* threshold, const wchar_t* period, std::int64_t unit,
            Attempt& attempt) {
    DWORD length = 0;
    if (const DWORD code = ReadCommonNumber(store, object, threshold, attempt.threshold)) return code;
    if (const DWORD code = ReadCommonNumber(store, object, period, length)) return code;
    return CountAttempt(store, object, attempt.threshold, unit * length, attempt.number);
}

enum class Response { Stay, Restart, FailOver };

// What follows from a resource's failure by its properties and those of its group. `reason` says why, for change lists.
DWORD RespondToFailure(ClusterStore& store, const ResourceRecord& resource, const GroupRecord& group,
                       Response& response, std::wstring& reason) {
    const ObjectId id{ObjectKind::Resource, resource.id};
    DWORD action = 0;
    Attempt attempt;
    response = Response::Stay;
    DWORD code = ReadCommonNumber(store, id, L"RestartAction", action);
    if (code != error::Success || action == 0) return code;
    code = Count(store, id, L"RestartThreshold", L"RestartPeriod", 1, attempt);
    if (attempt.number != 0) response = Response::Restart;
    reason = attempt.number != 0 ? attempt.Words(L"restart") : L"its restarts are used up";
    if (code != error::Success || attempt.number != 0 || action == 1) return code;
    if (!FirstChoice(store.Model(), group, group.owner)) {
        reason += L", and no other node may have its group";
        return error::Success;
    }
    code = Count(store, {ObjectKind::Group, group.id}, L"FailoverThreshold", L"FailoverPeriod", hour, attempt);
    if (attempt.number != 0) response = Response::FailOver;
    reason = attempt.number != 0 ? attempt.Words(L"failover") : reason + L", and its group's failovers, too";
    return code;
}

// On the other node every resource has all its restarts.
DWORD FailOverFrom(ClusterStore& store, const GroupRecord& group, const std::set<RowId>& wasOnline,
                   const std::wstring& reason) {
    Leave(store, group);
    Settle(store, group, *FirstChoice(store.Model(), group, group.owner), reason);
    for (const RowId id : group.resources) {
        if (const DWORD code = ForgetAttempts(store, {ObjectKind::Resource, id})) return code;
    }
    BringBack(store, wasOnline);
    return error::Success;
}

std::vector<RowId> GroupsOf(const ClusterModel& model, RowId node) {
    std::vector<RowId> found;
    for (const auto& [id, group] : model.groups.All()) {
        if (group.owner == node) found.push_back(id);
    }
    return found;
}

void SetNodeState(ClusterStore& store, const NodeRecord& node, DWORD state) {
    const std::wstring before = NodeStateWord(node.state);
    store.SetNodeState(node.id, state);
    store.Note(node.name, CLUSTER_CHANGE_NODE_STATE, before + L" -> " + NodeStateWord(state));
}

void NoteInterfacesOf(ClusterStore& store, RowId node, const wchar_t* detail) {
    for (const auto& [id, networkInterface] : store.Model().interfaces.All()) {
        if (networkInterface.node == node) {
            store.Note(networkInterface.name, CLUSTER_CHANGE_NETINTERFACE_STATE, detail);
        }
    }
}

// Where the caller names a node, the code that keeps the group away from it is the answer.
DWORD Destination(const ClusterModel& model, const GroupRecord& group, std::optional<RowId> named,
                  std::optional<RowId> (*choose)(const ClusterModel&, const GroupRecord&), RowId& destination) {
    const std::optional<RowId> chosen = named ? named : choose(model, group);
    if (!chosen) return error::HostNodeNotAvailable;
    if (named) {
        if (const DWORD code = MayHave(model, *model.nodes.Find(*named), group)) return code;
    }
    destination = *chosen;
    return error::Success;
}

}  // namespace

void NoteGroupState(ClusterStore& store, RowId id, DWORD before) {
    const ClusterModel& model = store.Model();
    const GroupRecord& group = *model.groups.Find(id);
    const DWORD after = model.GroupState(group);
    if (after == before) return;
    store.Note(
        group.name, CLUSTER_CHANGE_GROUP_STATE,
        std::wstring(GroupStateWord(before)) + L" -> " + GroupStateWord(after) + L" on " + OwnerName(model, group));
}

DWORD OnlineGroup(ClusterStore& store, RowId id, std::optional<RowId> node) {
    const ClusterModel& model = store.Model();
    const GroupRecord& group = *model.groups.Find(id);
    const DWORD before = model.GroupState(group);
    RowId destination = 0;
    if (const DWORD code = Destination(model, group, node, &PlaceToComeOnline, destination)) return code;
    if (const DWORD code = MoveTo(store, group, destination)) return code;
    if (const DWORD code = BringOnline(store, group.resources)) return code;
    store.SetAskedOnline(id, true);
    NoteGroupState(store, id, before);
    return error::Success;
}

DWORD OfflineGroup(ClusterStore& store, RowId id) {
    const GroupRecord& group = *store.Model().groups.Find(id);
    const DWORD before = store.Model().GroupState(group);
    TakeOffline(store, group.resources);
    store.SetAskedOnline(id, false);
    NoteGroupState(store, id, before);
    return error::Success;
}

DWORD MoveGroup(ClusterStore& store, RowId id, std::optional<RowId> node) {
    const ClusterModel& model = store.Model();
    const GroupRecord& group = *model.groups.Find(id);
    RowId destination = 0;
    if (const DWORD code = Destination(model, group, node, &NextPlace, destination)) return code;
    return MoveTo(store, group, destination);
}

DWORD OnlineResource(ClusterStore& store, RowId id) {
    const RowId group = store.Model().resources.Find(id)->group;
    const DWORD before = store.Model().GroupState(*store.Model().groups.Find(group));
    if (const DWORD code = BringOnline(store, {id})) return code;
    NoteGroupState(store, group, before);
    return error::Success;
}

DWORD OfflineResource(ClusterStore& store, RowId id) {
    const RowId group = store.Model().resources.Find(id)->group;
    const DWORD before = store.Model().GroupState(*store.Model().groups.Find(group));
    TakeOffline(store, {id});
    NoteGroupState(store, group, before);
    return error::Success;
}

DWORD FailResource(ClusterStore& store, RowId id) {
    const ResourceRecord& resource = *store.Model().resources.Find(id);
    if (resource.state != ClusterResourceOnline) return error::ResourceNotOnline;
    const GroupRecord& group = *store.Model().groups.Find(resource.group);
    const DWORD before = store.Model().GroupState(group);
    const std::set<RowId> wasOnline = ResourcesInState(store.Model(), group, ClusterResourceOnline);
    Response response{};
    std::wstring reason;
    if (const DWORD code = RespondToFailure(store, resource, group, response, reason)) return code;
    TakeOffline(store, resource.dependents);
    SetState(store, id, ClusterResourceFailed, reason);
    if (response == Response::Restart) BringBack(store, wasOnline);
    const DWORD code =
        response == Response::FailOver ? FailOverFrom(store, group, wasOnline, reason) : DWORD{error::Success};
    NoteGroupState(store, resource.group, before);
    return code;
}

DWORD PauseNode(ClusterStore& store, RowId id) {
    const NodeRecord& node = *store.Model().nodes.Find(id);
    if (!node.IsRunning()) return error::ClusterNodeDown;
    if (node.state != ClusterNodePaused) SetNodeState(store, node, ClusterNodePaused);
    return error::Success;
}

DWORD ResumeNode(ClusterStore& store, RowId id) {
    const NodeRecord& node = *store.Model().nodes.Find(id);
    if (!node.IsRunning()) return error::ClusterNodeDown;
    if (node.state != ClusterNodePaused) return error::ClusterNodeNotPaused;
    SetNodeState(store, node, ClusterNodeUp);
    return error::Success;
}

DWORD TakeNodeDown(ClusterStore& store, RowId id) {
    const ClusterModel& model = store.Model();
    const NodeRecord& node = *model.nodes.Find(id);
    if (!node.IsRunning()) return error::ClusterNodeDown;
    SetNodeState(store, node, ClusterNodeDown);
    NoteInterfacesOf(store, id, L"unavailable: its node is down");
    for (const RowId group : GroupsOf(model, id)) FailOver(store, *model.groups.Find(group));
    return error::Success;
}

DWORD BringNodeUp(ClusterStore& store, RowId id) {
    const NodeRecord& node = *store.Model().nodes.Find(id);
    if (node.IsRunning()) return error::ClusterNodeUp;
    SetNodeState(store, node, ClusterNodeUp);
    NoteInterfacesOf(store, id, L"available: its node is up");
    return error::Success;
}

DWORD EvictNode(ClusterStore& store, RowId id) {
    const ClusterModel& model = store.Model();
    if (model.nodes.All().size() == 1) return error::CannotEvictActiveNode;
    const NodeRecord node = *model.nodes.Find(id);
    if (node.IsRunning()) SetNodeState(store, node, ClusterNodeDown);
    for (const RowId group : GroupsOf(model, id)) {
        FailOver(store, *model.groups.Find(group));
        if (model.groups.Find(group)->owner == id) return error::HostNodeNotAvailable;
    }
    for (const auto& [number, networkInterface] : model.interfaces.All()) {
        if (networkInterface.node == id) store.Note(networkInterface.name, CLUSTER_CHANGE_NETINTERFACE_DELETED, L"");
    }
    store.EraseNode(id);
    store.Note(node.name, CLUSTER_CHANGE_NODE_DELETED, L"evicted");
    return error::Success;
}

}  // namespace platform::embedded
