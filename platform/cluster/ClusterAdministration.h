#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>
#include <platform/cluster/ClusterService.h>

#include <memory>
#include <string>
#include <vector>

namespace platform {

/// One entry of a cluster's change list. Numbers rise by one; the oldest entries are dropped at some length.
struct ClusterChange {
    std::int64_t number = 0;
    std::int64_t time = 0;   ///< seconds since 1 January 1970 UTC
    std::wstring user;       ///< who made it
    std::wstring command;    ///< the command that made it, as SetChangeCommand gave it; may be empty
    std::wstring object;     ///< name of the object or key that changed
    DWORD notification = 0;  ///< CLUSTER_CHANGE_...
    std::wstring detail;     ///< what changed, for people: "offline -> online on N1"
};

/// A partition of a shared disk.
struct DiskPartition {
    std::wstring drive;  ///< the device name, such as "E:"
    std::wstring label;  ///< volume label
    DWORD serialNumber = 0;
};

/// A disk on the bus that all nodes share.
struct SharedDisk {
    DWORD signature = 0;
    DWORD scsiAddress = 0;
    DWORD number = 0;
    std::vector<DiskPartition> partitions;
};

/// A network of the cluster. Role: 0 none, 1 internal only, 2 clients only, 3 both.
struct NetworkDescription {
    std::wstring name;
    std::wstring address;  ///< of the subnet, dotted decimal
    std::wstring mask;     ///< dotted decimal
    DWORD role = 3;
    std::wstring description;
};

/// An engine's own side: what a cluster's hardware and its service would bring about, and what only programs and tests
/// may do. Codes are those of ClusterService.
class PLATFORM_API ClusterAdministration {
public:
    virtual ~ClusterAdministration() = default;

    /// A new node, up. It becomes a possible owner of the resources that every node so far could have. 5010 as for any
    /// name that is taken.
    virtual DWORD AddNode(const std::wstring& name) = 0;
    /// Adds a network, up, and to it one interface for each node; nodes that are added later get theirs. 87 for an
    /// address or a mask that is none, or a role above 3.
    virtual DWORD AddNetwork(const NetworkDescription& network) = 0;
    /// With its interfaces. 5019 while an online IP address is on it.
    virtual DWORD RemoveNetwork(ObjectId network) = 0;
    /// 5010 for a signature that another disk has.
    virtual DWORD AddDisk(const SharedDisk& disk) = 0;
    virtual DWORD Disks(std::vector<SharedDisk>& disks) = 0;

    /// The node stops answering: its groups fail over and come up as they were; those that no node may have stay with
    /// it, offline. 5050 when it is down already.
    virtual DWORD TakeNodeDown(ObjectId node) = 0;
    /// The node answers again, not paused; groups that stayed with it stay offline. 5056 when it is up already.
    virtual DWORD BringNodeUp(ObjectId node) = 0;
    /// The resource fails, and what depends on it goes offline; 5004 unless it is online. What follows is done at once
    /// and stands in the change list with its reason. By the resource's common property "RestartAction": 0 (standard)
    /// it stays failed; 1 and 2 it is restarted on its node, with what depended on it, up to "RestartThreshold" times
    /// within "RestartPeriod" milliseconds; with 2 its group then fails over to another node, up to "FailoverThreshold"
    /// times within the group's "FailoverPeriod" hours; else it stays failed. A period begins with its first attempt.
    /// After a failover all the group's resources have all their restarts. Bringing a failed resource online, or taking
    /// it offline, ends the failure.
    virtual DWORD FailResource(ObjectId resource) = 0;
    /// Sets a network's or an interface's state, as a broken cable would.
    virtual DWORD SetNetworkState(ObjectId network, DWORD state) = 0;
    virtual DWORD SetNetworkInterfaceState(ObjectId networkInterface, DWORD state) = 0;

    /// Deletes a group that has no resources (145) and is not online (5023), with its key.
    virtual DWORD DeleteGroup(ObjectId group) = 0;
    /// Deletes a resource that is not online (5019) and on which nothing depends (5001), with its keys.
    virtual DWORD DeleteResource(ObjectId resource) = 0;

    /// The changes after `number`, oldest first, at most `limit`. When entries after `number` have been dropped, the
    /// first one returned has a number above `number` + 1. What changed nothing, or was undone, has no entry. A rename
    /// is a ..._PROPERTY of the new name; a group that changes its node has a GROUP_STATE.
    virtual DWORD Changes(std::int64_t number, std::size_t limit, std::vector<ClusterChange>& changes) = 0;
    /// The number of the newest change, 0 before the first.
    virtual DWORD LastChange(std::int64_t& number) = 0;

    /// The same cluster in the memory of this process, cut loose from the original, to rehearse changes on.
    virtual DWORD CopyIntoMemory(std::shared_ptr<ClusterService>& copy) = 0;

    /// Checks what must hold of the engine's own state at any time; one line for each breach.
    virtual DWORD CheckInvariants(std::vector<std::wstring>& breaches) = 0;
};

/// Names the command on whose behalf this process changes clusters from now on; change lists record it.
PLATFORM_API void SetChangeCommand(const std::wstring& command);
PLATFORM_API std::wstring ChangeCommand();

}  // namespace platform
