#pragma once

#include <platform/engines/embedded/ClusterStore.h>

#include <string>

namespace platform::embedded {

// What must hold of a resource while it is online. Inside Read or Write of the store. Failures leave words for a
// person, which name the resource that holds what this one asks for.

/// The code that keeps a resource from coming online on its group's node, 0 when nothing does: HostNodeNotAvailable
/// when none of its possible owners is up, ClusterNodeDown, NodeCannotHostResource, and those of CheckParameters.
DWORD CheckOnline(ClusterStore& store, const ResourceRecord& resource);

/// The code that its private properties give. Those of CheckOwnParameters, and when another online resource of its type
/// has the same: ClusterIpAddressInUse for the "Address" of an "IP Address", ResourceNotAvailable for the "Signature"
/// of a "Physical Disk", DuplicateName for the "Name" of a "Network Name", whatever its case.
DWORD CheckParameters(ClusterStore& store, const ResourceRecord& resource);

/// For an "IP Address" InvalidParameter when "Address" is none, "SubnetMask" is given and none, or "Network" is given
/// and not one of the cluster's; for a "Physical Disk" ResourceNotAvailable when "Signature" is that of no disk.
DWORD CheckOwnParameters(ClusterStore& store, const ResourceRecord& resource);

/// Whether CheckParameters of a resource depends on its private property of that name.
bool IsCheckedParameter(const ClusterModel& model, const ResourceRecord& resource, const std::wstring& name);

/// What a resource has to itself while it is online, with its type's name, so that equal texts are one thing; empty for
/// nothing.
DWORD ReadHeldThing(ClusterStore& store, const ResourceRecord& resource, std::wstring& thing);

/// Whether an online "IP Address" is on that network.
DWORD HasOnlineAddress(ClusterStore& store, const NetworkRecord& network, bool& hasOne);

/// The type of the resources that stand for shared disks.
inline constexpr const wchar_t* physicalDisk = L"Physical Disk";
bool IsPhysicalDisk(const ClusterModel& model, const ResourceRecord& resource);

/// The private property "Signature" of a resource: a number, or a text in hexadecimal. 0, which no disk has, without
/// one.
DWORD ReadSignature(ClusterStore& store, const ResourceRecord& resource, DWORD& signature);

}  // namespace platform::embedded
