#include <platform/engines/embedded/placement.h>

#include <platform/base/error_codes.h>
#include <platform/cluster/cluster_api.h>

#include <algorithm>

namespace platform::embedded {

namespace {

bool MayHave(const ClusterModel& model, RowId node, const GroupRecord& group) {
    return MayHave(model, *model.nodes.Find(node), group) == error::Success;
}

std::optional<RowId> FirstPreferred(const ClusterModel& model, const GroupRecord& group, RowId except = 0) {
    for (const RowId node : group.preferredOwners) {
        if (node != except && MayHave(model, node, group)) return node;
    }
    return std::nullopt;
}

std::optional<RowId> FirstNode(const ClusterModel& model, const GroupRecord& group, RowId except = 0) {
    for (const auto& [id, node] : model.nodes.All()) {
        if (id != except && MayHave(model, id, group)) return id;
    }
    return std::nullopt;
}

}  // namespace

DWORD MayHave(const ClusterModel& model, const NodeRecord& node, const GroupRecord& group) {
    if (!node.IsRunning()) return error::ClusterNodeDown;
    if (node.state == ClusterNodePaused && node.id != group.owner) return error::ClusterNodePaused;
    const bool isOwnerOfAll = std::ranges::all_of(
        group.resources, [&](RowId id) { return model.resources.Find(id)->possibleOwners.contains(node.id); });
    return isOwnerOfAll ? error::Success : error::NodeCannotHostResource;
}

std::optional<RowId> FirstChoice(const ClusterModel& model, const GroupRecord& group, RowId except) {
    const std::optional<RowId> preferred = FirstPreferred(model, group, except);
    return preferred ? preferred : FirstNode(model, group, except);
}

std::optional<RowId> PlaceToComeOnline(const ClusterModel& model, const GroupRecord& group) {
    if (model.HasOnline(group)) return group.owner;
    if (const std::optional<RowId> preferred = FirstPreferred(model, group)) return preferred;
    if (MayHave(model, group.owner, group)) return group.owner;
    return FirstNode(model, group);
}

std::optional<RowId> NextPlace(const ClusterModel& model, const GroupRecord& group) {
    const auto& nodes = model.nodes.All();
    auto at = nodes.upper_bound(group.owner);
    for (std::size_t step = 1; step < nodes.size(); ++step, ++at) {
        if (at == nodes.end()) at = nodes.begin();
        if (MayHave(model, at->first, group)) return at->first;
    }
    return std::nullopt;
}

}  // namespace platform::embedded
