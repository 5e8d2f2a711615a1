#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

class Group;
class OwnedComponents;
struct ToldChange;
struct EnumeratedNames;
namespace OstraDLL {
class Cluster;
}

/// One server of the cluster: its state, and the groups discovered under it, which are all groups of the cluster,
/// whichever node owns them.
///
/// Groups are the node's own and die with it; a copy shares them and the handle, and the last of the copies lets go.
/// A node that a Cluster discovered belongs to that cluster and lives until it is destroyed; it may read its groups
/// only when they are first asked for. Used by one thread at a time, together with what it owns. What asks the cluster
/// waits for changes of other processes to be done, which an engine bounds (the embedded one to ten seconds).
class OSTRA_API Node : public ClusterComponent {
public:
    /// `initialize` 1 makes the collections; the node is not opened.
    Node(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize);
    /// Shares handle, groups and resources with `other`; the rest is what ClusterComponent copies.
    Node(const Node& other);
    ~Node() override;

    /// Share what `other` has; null changes nothing.
    Node* operator=(const Node& other);
    Node* operator=(const Node* other);

    /// Opens the node and reads its state. 1: up, down, paused or joining, told by the status text; `StatusCode` is 0
    /// for all of them. 0: it could not be opened, or the state is none of these, which the event log has; the former
    /// state and text stay.
    int Status(int argument) override;

    /// Starts over with empty collections, deleting the groups held before.
    void Initialize();

    /// Null until `Open`. Closed with the last copy of this object.
    HNODE Handle() const { return _handle.Get(); }
    /// The resources of this node's groups, keyed by name; null before `Initialize`. The index is the node's, the
    /// members are their groups'.
    ClusterComponents* ResourcesPtr() const;
    /// The groups, keyed by name; null before `Initialize`. Index and members are the node's.
    ClusterComponents* GroupsPtr() const;

    /// Opens the node by its name and lets go of the handle held before. 0: reported to the event log, no handle.
    int Open();

    // The node must be open. 1: the cluster accepted. 0: it refused, and nothing changed. One line on standard output
    // says which.
    /// Keeps new groups away; those that the node has stay.
    int Pause();
    int Resume();
    /// Takes the node out of the cluster for good.
    int Evict();

    /// Reads the cluster's groups, and the resources of each. An object whose group or resource the cluster still has
    /// under its name stands as it is; one of which it does not is no longer listed and lives as long as this node.
    /// Always 0; what could not be read is left out.
    int Discover();

    /// Follows a notification of the cluster. Group added: the object for that name, a new one without its resources
    /// unless it is known, is returned. Group deleted: the object is taken out of every collection of this cluster and
    /// deleted; null. Any other is passed to every group, and the answer of the last one is returned: a resource that
    /// was added thus enters every group, because a notification does not say whose it is. Cluster::Update asks;
    /// whoever follows with this operation alone has to Discover afterwards.
    ClusterComponent* Update(const std::wstring& name, DWORD notification);
    /// Traces the node's fields and its groups' names.
    void Info();

protected:
    platform::SharedHandle<HNODE, CloseClusterNode> _handle;
    std::shared_ptr<ClusterComponents> _resources;  // null before Initialize
    std::shared_ptr<OwnedComponents> _groups;       // null before Initialize

private:
    friend class OstraDLL::Cluster;

    void ListIn(const std::shared_ptr<ClusterComponents>& groups, const std::shared_ptr<ClusterComponents>& resources);
    void LeaveCluster();
    void DeleteUnlisted();
    EnumeratedNames EnumerateGroups();
    void ReadGroups(const EnumeratedNames& found);
    void ReadIfUnread() const;
    std::unique_ptr<Group> MakeGroup(const std::wstring& groupName);
    void DiscoverGroup(const std::wstring& groupName);
    void RetireGroups(const StringArray& keys);
    Group* KnownGroup(const std::wstring& groupName) const;
    ClusterComponent* AddGroup(const std::wstring& groupName);
    void DeleteGroup(const std::wstring& groupName);
    ClusterComponent* UpdateGroups(const std::wstring& name, DWORD notification);
    ClusterComponent* Follow(const ToldChange& change);
    StringArray StaleGroups();
    Group* FollowGroup(const std::wstring& groupName);
    ClusterComponent* FollowResource(const std::wstring& resourceName, const std::wstring& holder);
    int Request(DWORD (*request)(HNODE), const wchar_t* done, const wchar_t* failure);

    std::weak_ptr<ClusterComponents> _clusterGroups;     // the cluster's index of the same groups
    std::weak_ptr<ClusterComponents> _clusterResources;  // the cluster's index of the same resources
    bool _isUnread = false;                              // the groups are read when they are first asked for
    std::map<std::wstring, DWORD> _contradicted;         // what an unread node was told that reading will not show
};
