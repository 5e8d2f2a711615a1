#pragma once

#include <platform/engines/embedded/ClusterStore.h>

#include <vector>

namespace platform::embedded {

/// The value list that describes the disk of a "Physical Disk" resource, with its end mark. ResourceNotAvailable when
/// its signature is that of no disk. Inside Read or Write of the store.
DWORD DescribeDiskOf(ClusterStore& store, const ResourceRecord& resource, std::vector<BYTE>& list);

/// The value list of all disks that no resource has, in order of creation, with one end mark. Inside Read or Write.
DWORD DescribeAvailableDisks(ClusterStore& store, std::vector<BYTE>& list);

}  // namespace platform::embedded
