#pragma once

#include <platform/engines/embedded/ClusterStore.h>

#include <optional>

namespace platform::embedded {

// Changes of state by the cluster's rules, inside a Write of the store. An answer other than 0 makes the whole Write
// fail. What is in the state asked for already is left as it is.

DWORD OnlineGroup(ClusterStore& store, RowId group, std::optional<RowId> node);
DWORD OfflineGroup(ClusterStore& store, RowId group);
DWORD MoveGroup(ClusterStore& store, RowId group, std::optional<RowId> node);
DWORD OnlineResource(ClusterStore& store, RowId resource);
DWORD OfflineResource(ClusterStore& store, RowId resource);
DWORD FailResource(ClusterStore& store, RowId resource);

DWORD PauseNode(ClusterStore& store, RowId node);
DWORD ResumeNode(ClusterStore& store, RowId node);
/// The groups fail over; those that no node may have stay, offline.
DWORD TakeNodeDown(ClusterStore& store, RowId node);
DWORD BringNodeUp(ClusterStore& store, RowId node);
DWORD EvictNode(ClusterStore& store, RowId node);

/// Appends the change of a group's state since `before` to the change list, when there is one.
void NoteGroupState(ClusterStore& store, RowId group, DWORD before);

}  // namespace platform::embedded
