#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CArray.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

class Disk;
class ExpertGroup;
class Group;
class NetworkAdapter;
class NetworkAdapters;
class NetworkInterfaces;
class Networks;
class Node;
class NTClusterDisks;
class OwnedComponents;
struct ToldChange;
struct EnumeratedNames;
class Resource;
class ResourceType;

namespace OstraDLL {

/// One cluster: the way in to its nodes, groups, resources and the inventory that new groups are built from, kept
/// current by the cluster's change notifications, and operations on groups and resources by name.
///
/// What discovery found, what a notification told of and what was created here belongs to the cluster and lives until
/// it is destroyed, also when it no longer stands in a collection; before that, only what Update is told was deleted
/// and what `DeleteReplaced` lets go of is deleted. A copy shares the handle and all of this, and the last of the
/// copies lets go.
///
/// Used by one thread at a time, together with its copies and with everything that it owns, and this goes for questions
/// too: states, collections and attributes are read into the objects when they are asked for. Threads that ask at the
/// same time need a Cluster each.
///
/// An operation that failed leaves the cause in the thread's last error. What asks the cluster waits for changes of
/// other processes to be done, which an engine bounds: the embedded one to ten seconds, after which it refuses with
/// 1460, so that MoveGroup, say, takes ten seconds and answers 1 all the same.
class OSTRA_API Cluster : public ClusterComponent {
public:
    /// Connects to nothing yet. A `fullDiscovery` other than 0 reads the inventory at once, which opens the cluster by
    /// its name for as long as that takes. `numberOfNodes` is what NumberOfNodes gives.
    Cluster(const std::wstring& name, int fullDiscovery, DWORD numberOfNodes);
    /// Takes over an open cluster and closes it with the last copy of this object. The names are empty.
    Cluster(HCLUSTER cluster, int fullDiscovery, DWORD numberOfNodes);
    Cluster(const Cluster& other);
    ~Cluster() override;

    /// Share the other's handle, and nothing else; null changes nothing.
    Cluster* operator=(const Cluster& other);
    Cluster* operator=(const Cluster* other);

    /// Reads nothing. Always 1.
    int Status(int argument) override;
    /// Connects, and with `discover` 1 discovers. Objects found over a former connection keep it until the cluster is
    /// destroyed, and a discovery over another one finds new ones: to look again, call Discover. 0: reported to the
    /// event log, and a former connection stays.
    virtual int Open(int discover);
    /// The handle stays open until destruction. Always 1.
    virtual int Close();
    virtual int Add(ClusterComponents* components, ClusterComponent* component) const;
    /// Traces identifier and name. The state's text.
    virtual std::wstring Info();

    /// Starts over with empty collections, and with full discovery reads the inventory.
    void Initialize();

    /// Reads the nodes, and through them groups and resources. What the cluster still has under its name stands as it
    /// is, down to its address; what it has no longer leaves the collections and lives on. Objects of the nodes but the
    /// last are made when they are first asked for. The number of groups now known.
    DWORD Discover();
    DWORD GetAllNodes();
    /// Deletes what later reads, notifications and renames took out of the collections, and inventory lists that later
    /// ones replaced: for a program that follows a cluster for long and holds none of these any more. Connections stay.
    void DeleteReplaced();

    /// The cluster's own name as its service gives it; empty without a connection or when that fails.
    std::wstring GetClusterName() const;

    HCLUSTER Handle() const { return _handle.Get(); }
    // Collections keyed by name. Of a name that several nodes found, the object of the node read last stands in groups
    // and resources.
    ClusterComponents* NodesPtr() const;
    ClusterComponents* GroupsPtr() const;
    ClusterComponents* ResourcesPtr() const;
    DWORD NumberOfNodes() const { return _numberOfNodes; }

    /// 1 when a resource came or went since the last call, else 0.
    int DisksJustChanged() const;

    /// Follows a notification of the cluster: the name of what changed and a CLUSTER_CHANGE_... code. Objects of groups
    /// and resources that were deleted leave every collection of this cluster and are deleted.
    ///
    /// The cluster is asked what the notification leaves open. A resource that was added enters the group that has it,
    /// in every node's view, and leaves any other; only one that the cluster does not have enters every group. Nodes
    /// that came or went, and groups that a notification of their state or properties shows to be renamed or unknown
    /// so far, are followed; a renamed group is a new object, the former one lives on outside of the collections.
    /// Fed with every notification in its order, the collections have what a discovery would find. Whoever missed some
    /// calls Discover.
    ///
    /// The last node that was told; null when there is none or the notification is about a network.
    ClusterComponent* Update(const std::wstring& name, DWORD notification);
    /// Follows resource added and resource deleted in the resource collection alone: a new object for the one, and the
    /// object of the other leaves it and lives on. `DisksJustChanged` tells of a disk, and of a deleted resource that
    /// may have been one: its type was not known here, and the cluster has it no longer. Always 0; a name that is not
    /// known is in the event log.
    int UpdateResources(const std::wstring& name, DWORD notification);

    /// Opens a group and keeps it open for the life of the process, one group in all. 1 when one is held, else 0.
    int Monitor(const std::wstring& groupName, int);

    // Combine a collection with the cluster's own, which changes nothing in either. The number of its members.
    int AddGroups(ClusterComponents* groups);
    int AddResources(ClusterComponents* resources);

    /// Those of ClusterComponent: the last error recorded.
    LONG ErrorCode() const { return GetErrorCode(); }
    std::wstring ErrorString() const { return GetErrorString(); }

    // Inventory. Null without full discovery; what could not be read is left out.
    /// Read the networks or the interfaces anew; the former collection and its members live on. The number found.
    DWORD GetAllNetworks();
    DWORD GetAllNetworkInterfaces();
    /// Reads the resource types. The number found; 0 without full discovery.
    DWORD GetAllResourceTypes();
    /// Reads the shared disks anew, deletes the former list with its disks and chooses the default disk again. Null on
    /// failure. The list is the cluster's.
    NTClusterDisks* GetClusterDisks();
    NTClusterDisks* ClusterDisks() const { return _clusterDisks.get(); }
    /// The first available disk; null when there is none.
    Disk* DefaultClusterDisk() const { return _defaultClusterDisk; }
    /// Makes the network adapters anew, deletes the former list with its adapters and chooses the default adapter
    /// again. Null on failure. The list is the cluster's.
    NetworkAdapters* GetNetworkAdapters();
    NetworkAdapters* AvailableNetworkAdapters() const { return _networkAdapters.get(); }
    /// The first adapter; null when there is none.
    NetworkAdapter* DefaultNetworkAdapter() const { return _defaultNetworkAdapter; }
    Networks* NetworksPtr() const { return _networks.get(); }
    NetworkInterfaces* NetworkInterfacesPtr() const { return _networkInterfaces.get(); }
    ClusterComponents* ResourceTypesPtr() const;
    /// 1 when a network changed since the last call, else 0.
    int AdaptersJustChanged() const;
    /// Notes that the network adapters have to be read anew. Always 0.
    int UpdateNetworkAdapters(const std::wstring& name, DWORD notification);

    /// Appends a TCPIPAddress record, the caller's to delete, for every resource of that type among `ResourcesPtr`: its
    /// address and its network's name as its private attributes of the given names have them now, empty where there
    /// is none. Always 0.
    int GetAllTCPIPAddresses(CArray<CObject*>* addresses, const std::wstring& networkAttribute,
                             const std::wstring& addressAttribute, const std::wstring& resourceType);

    // Look-up. Names are case-sensitive.
    /// Null when it is not among the nodes.
    Node* FindNode(const std::wstring& nodeName);
    /// A new object for a group of the cluster, whether it was discovered or not. The caller's to delete; null when the
    /// cluster is not open or has no such group.
    Group* FindGroup(const std::wstring& groupName);
    /// Null when the group or the resource in it is not known.
    Resource* GetResource(const std::wstring& groupName, const std::wstring& resourceName);

    // Control of what was discovered. 0: the group is not known or could not be opened; otherwise the result of the
    // operation of Group.
    int BringGroupOnLine(const std::wstring& groupName);
    int BringGroupOffLine(const std::wstring& groupName);
    int BringResourceOnLine(const std::wstring& groupName, const std::wstring& resourceName);
    int BringResourceOffLine(const std::wstring& groupName, const std::wstring& resourceName);
    int MoveGroup(const std::wstring& groupName);
    /// The object keeps its name and its place in the collections.
    int RenameGroup(const std::wstring& oldName, const std::wstring& newName);

    /// Creates a group, offline, with its parameters and preferred owners (PreferredOwners=REG_SZ:N1#N2#). On success
    /// it is in `GroupsPtr` and the cluster's. When the cluster refused it, it is not there and the caller's to delete.
    Group* CreateGroup(const std::wstring& groupName, const StringArray* parameters);
    /// Creates a group with its resources from the group template `expertGroupType`; ExpertGroup::Create says what of
    /// it may be missing. `lists` are the parameters of the template's kinds. Null when there is no such template.
    /// When the cluster has the group, the result is in `GroupsPtr` and the cluster's; its resources are in its own
    /// collection only. When the cluster refused it, it is not there and the caller's to delete.
    ExpertGroup* CreateGroup(const std::wstring& groupName, const std::wstring& expertGroupType,
                             const std::vector<StringArray*>& lists, const StringArray* groupParameters);
    /// Applies a group template to a known group as ExpertGroup::Change does. Null when template or group is not known.
    /// The result is the caller's to delete, also when a kind failed (event log); it shares its resources with the
    /// object in `GroupsPtr`, which stays, and acts only while this cluster lives. `unused` is handed on.
    ExpertGroup* ChangeGroup(const std::wstring& groupName, const std::wstring& expertGroupType,
                             const std::vector<StringArray*>& lists, const StringArray* existingNames,
                             const StringArray* unused);
    /// Creates a resource in a known group; null when the group is not known. The result is in `ResourcesPtr` and the
    /// cluster's, whether the cluster accepted it or not. The type stays the caller's and must outlive it.
    Resource* CreateResource(const std::wstring& groupName, const std::wstring& resourceName, ResourceType* type,
                             const StringArray* parameters);

    /// Sets a group's preferred owners from its parameters' entry PreferredOwners, first choice first: node names that
    /// each end in "#", unknown ones skipped, ten at most. Without any it leaves the owners as they are. Always 0.
    int SetPreferredOwners(Group* group, const StringArray* parameters);
    /// Connects and discovers anew, then takes every node out of the resource's possible owners; a refusal is in the
    /// event log. 0 when the cluster could not be opened, else 1. `resource` stays valid.
    int RemoveAllOwners(Resource* resource);
    /// Has no effect; Resource::SetPossibleOwners sets them. Always 0.
    int SetPossibleOwners(Resource*, const StringArray*) { return 0; }

protected:
    platform::SharedHandle<HCLUSTER, CloseCluster> _handle;
    std::shared_ptr<OwnedComponents> _nodes;
    std::shared_ptr<OwnedComponents> _groups;     // owns those created here; the others are their nodes'
    std::shared_ptr<OwnedComponents> _resources;  // owns those created or told of here; the others are their groups'
    std::shared_ptr<Networks> _networks;
    std::shared_ptr<NetworkInterfaces> _networkInterfaces;
    std::shared_ptr<OwnedComponents> _resourceTypes;
    DWORD _numberOfNodes = 0;
    LONG _fullDiscovery = 0;
    std::shared_ptr<NTClusterDisks> _clusterDisks;
    Disk* _defaultClusterDisk = nullptr;  // of _clusterDisks
    std::shared_ptr<NetworkAdapters> _networkAdapters;
    NetworkAdapter* _defaultNetworkAdapter = nullptr;  // of _networkAdapters
    mutable LONG _adaptersJustChanged = 0;
    mutable LONG _disksJustChanged = 0;

private:
    /// What no collection holds any more and callers may.
    struct Past {
        std::vector<platform::SharedHandle<HCLUSTER, CloseCluster>> connections;
        std::vector<std::shared_ptr<void>> lists;
    };

    void ReplaceConnection(const platform::SharedHandle<HCLUSTER, CloseCluster>& handle);
    DWORD NumberOfGroups() const;
    Node* StoredNode(const std::wstring& nodeName);
    void RetireNodes(const StringArray& keys);
    void ReadNodes(const std::vector<std::pair<Node*, EnumeratedNames>>& nodes);
    void ListGroupsOf(Node& node);
    void FollowNode(const std::wstring& nodeName);
    ToldChange Ask(const std::wstring& name, DWORD notification) const;
    std::wstring HolderOf(const std::wstring& resourceName) const;
    void UpdateIndexes(Node& node, ClusterComponent* updated, const std::wstring& name, DWORD notification);
    void ListIfNew(const Node& node, const std::wstring& groupName);
    void AddNotifiedResource(const std::wstring& name);
    void RemoveNotifiedResource(const std::wstring& name);
    void DiscoverInventory();
    void ChooseDefaultDisk();
    void ChooseDefaultAdapter();
    Node* ListedNode(const std::wstring& nodeName) const;
    Group* ListedGroup(const std::wstring& groupName) const;
    template <typename Report, typename Operation>
    int WithGroup(const std::wstring& groupName, const Report& reportUnknown, const Operation& operation);
    void AppendOwners(std::vector<HNODE>& owners, const StringArray& nodeNames);
    static HNODE OpenedHandle(Node& node);

    std::shared_ptr<Past> _past;
};

}  // namespace OstraDLL
