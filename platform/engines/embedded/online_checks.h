#pragma once

#include <platform/engines/embedded/ClusterStore.h>

#include <optional>

namespace platform::embedded {

/// The code that keeps a resource from coming online on its group's node, 0 when nothing does. HostNodeNotAvailable
/// when none of its possible owners is up, ClusterNodeDown, NodeCannotHostResource; ClusterIpAddressInUse for an
/// "IP Address" whose "Address" another online one has; ResourceNotAvailable for a "Physical Disk" that has no
/// "Signature", one that no disk has, or one whose disk another online resource holds. Inside Read or Write.
DWORD CheckOnline(ClusterStore& store, const ResourceRecord& resource);

/// The type of the resources that stand for shared disks.
inline constexpr const wchar_t* physicalDisk = L"Physical Disk";
bool IsPhysicalDisk(const ClusterModel& model, const ResourceRecord& resource);

/// The private property "Signature" of a resource: a number, or a text in hexadecimal. 0, which no disk has, without
/// one. Inside Read or Write.
DWORD SignatureOf(ClusterStore& store, const ResourceRecord& resource);

}  // namespace platform::embedded
