#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>
#include <platform/cluster/ClusterDirectory.h>

#include <memory>
#include <string>

namespace platform {

/// Makes an empty cluster, with the predefined resource types only, in the memory of this process; it dies with its
/// service. 123 for a name that an object of a cluster cannot have.
///
/// Its ClusterAdministration adds the nodes, networks and disks. For as long as nobody registers the service with
/// ClusterDirectory, only its holders know it.
PLATFORM_API DWORD CreateEmbeddedCluster(const std::wstring& name, std::shared_ptr<ClusterService>& service);

/// The default engine, known to ClusterDirectory as "embedded". It keeps a cluster in the file "cluster.db" of the
/// cluster's directory; any number of processes may have it open, and each sees at its next call what the others did.
/// It keeps state and enforces the rules of a cluster, and runs no workload: what is online is so by its word.
///
/// Each service that it opens has a connection of its own, in one process as well.
PLATFORM_API ClusterEngine& EmbeddedEngine();

}  // namespace platform
