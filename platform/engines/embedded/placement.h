#pragma once

#include <platform/engines/embedded/ClusterModel.h>

#include <optional>

namespace platform::embedded {

/// The code that keeps `group` from coming to `node`, 0 when nothing does: ClusterNodeDown, ClusterNodePaused, or
/// NodeCannotHostResource when the node is no possible owner of one of the group's resources. A paused node may keep
/// the groups that it has.
DWORD MayHave(const ClusterModel& model, const NodeRecord& node, const GroupRecord& group);

/// Where a group goes that needs a node: its first preferred owner that may have it, else the first node that may;
/// never to `except`.
std::optional<RowId> FirstChoice(const ClusterModel& model, const GroupRecord& group, RowId except = 0);

/// Where a group comes online that nobody sends to a node: where it is while something of it is online there; else its
/// first preferred owner that may have it, else its own node, else the first that may.
std::optional<RowId> PlaceToComeOnline(const ClusterModel& model, const GroupRecord& group);

/// The next node after the group's own, in order of creation and around, that may have it.
std::optional<RowId> NextPlace(const ClusterModel& model, const GroupRecord& group);

}  // namespace platform::embedded
