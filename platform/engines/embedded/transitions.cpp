#include <platform/engines/embedded/transitions.h>

#include <platform/base/error_codes.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/online_checks.h>
#include <platform/engines/embedded/placement.h>

#include <algorithm>

namespace platform::embedded {

namespace {

const std::wstring& OwnerName(const ClusterModel& model, const GroupRecord& group) {
    return model.nodes.Find(group.owner)->name;
}

void SetState(ClusterStore& store, RowId id, DWORD state) {
    const ClusterModel& model = store.Model();
    const ResourceRecord& resource = *model.resources.Find(id);
    if (resource.state == state) return;
    const std::wstring before = ResourceStateWord(resource.state);
    store.SetResourceState(id, state);
    store.Note(
        resource.name, CLUSTER_CHANGE_RESOURCE_STATE,
        before + L" -> " + ResourceStateWord(state) + L" on " + OwnerName(model, *model.groups.Find(resource.group)));
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
        const bool hasProviders = std::ranges::all_of(resource.providers, [&](RowId provider) {
            return model.resources.Find(provider)->state == ClusterResourceOnline;
        });
        if (!hasProviders) continue;
        const bool isFit = CheckOnline(store, resource) == error::Success;
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

void Settle(ClusterStore& store, const GroupRecord& group, RowId node) {
    const ClusterModel& model = store.Model();
    const std::wstring before = OwnerName(model, group);
    store.SetGroupOwner(group.id, node);
    store.Note(group.name, CLUSTER_CHANGE_GROUP_STATE, L"moved from " + before + L" to " + OwnerName(model, group));
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
    const DWORD before = store.Model().GroupState(*store.Model().groups.Find(resource.group));
    TakeOffline(store, resource.dependents);
    SetState(store, id, ClusterResourceFailed);
    NoteGroupState(store, resource.group, before);
    return error::Success;
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
