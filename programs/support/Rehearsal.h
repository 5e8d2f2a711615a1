#pragma once

#include <programs/support/Context.h>

#include <functional>
#include <map>
#include <string>

namespace programs {

/// Everything that a command can change, as texts: "group Files / owner" -> "N1".
using Snapshot = std::map<std::string, std::string>;

/// Reads objects, states, properties and keys of a cluster, and of the local registry.
Snapshot TakeSnapshot(platform::ClusterService& service);
Snapshot TakeRegistrySnapshot();

/// Runs `action` on copies of the cluster and of the local registry in memory and prints what would differ. Nothing is
/// written, whatever the action does. Cluster-less actions (creating one) rehearse on an empty world.
void Rehearse(Context& context, const std::function<void()>& action);

}  // namespace programs
