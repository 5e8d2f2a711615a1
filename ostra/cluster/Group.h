#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>

#include <memory>
#include <string>

class OwnedComponents;
class Resource;
class ResourceType;

/// One group of the cluster, the unit that fails over as a whole: its state and current owner, its parameters, and the
/// resources discovered or created under it.
///
/// The object may exist before the cluster's group does (`Create`), or stand for one that exists (`Open`, `Change`).
/// Its resources are its own and die with it; a copy shares them and the handle, and the last of the copies lets go.
/// Parameter lists hold strings of the form name=TYPE:value and may be null. Used by one thread at a time, together
/// with its resources.
///
/// What asks the cluster waits for changes of other processes to be done, which an engine bounds (the embedded one to
/// ten seconds, after which it refuses with 1460). Bringing resources online takes longer: Resource::BringOnLine.
class OSTRA_API Group : public ClusterComponent {
public:
    /// `initialize` 1 makes the resource collection, and with `open` 1 opens the group too; that it could not be
    /// opened is reported and shows in a null `Handle`.
    Group(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize, int open);
    /// The group of that name, opened anew: the given handle is not used and stays the caller's.
    Group(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, HGROUP group);
    /// Shares handle and resources with `other`; names the same group; own parameters and state start empty.
    Group(const Group& other);
    ~Group() override;

    /// Copy nothing.
    Group* operator=(const Group&) { return this; }
    Group* operator=(const Group*) { return this; }

    /// Opens the group and reads its state and owner. 1: known, `StatusCode` is 0 online, 1 offline, 2 failed or 3
    /// partially online; also 1, with nothing changed, when the cluster does not know it. 0: the group could not be
    /// opened, or its state is still settling; state and text stay as they were.
    int Status(int argument) override;

    /// Creates the group in the cluster, writes its parameters and, unless `online` is 0, brings it online. 0, with the
    /// thread's last error, when the cluster refused to create it; otherwise 1, or the result of bringing it online.
    virtual int Create(const StringArray* parameters, int online);
    /// The same for a group that exists.
    virtual int Change(const StringArray* parameters, int online);

    /// Starts over with a null handle and an empty collection, deleting the resources held before. With `open` 1 and a
    /// cluster, opens the group.
    void Initialize(int open);
    void InitializeParameters() { _parameters.clear(); }

    /// Null while the group is not open. Closed with the last copy of this object.
    HGROUP Handle() const { return _handle.Get(); }
    /// The resources, keyed by name; null before `Initialize`. Index and members are this group's.
    ClusterComponents* ResourcesPtr() const;

    /// Opens the group by its name and lets go of the handle held before. 0: reported to the event log, no handle.
    int Open();
    /// Has no effect; the handle stays open. Always 0.
    int Close() { return 0; }

    /// Writes the group's own parameters and then the given ones as values of the group's key in the cluster database.
    /// The result of the last write, 1 when there was none.
    int SetParameters(const StringArray* parameters);
    /// Replaces the preferred owners, first choice first; none with a count of 0. A negative count, and a null list of
    /// some, are refused (87). Always 0; a refusal is in the event log and the thread's last error.
    int SetPreferredOwners(int count, HNODE* nodes);

    // Control. The group is opened first; 0 when that fails. Once it is open the result is 1, even when the cluster
    // refused or has not finished: the event log has either the notice of success or the failure, whose code, 997 for
    // what has not finished, is the thread's last error.
    int BringOnLine();
    int BringOffLine();
    /// The cluster chooses the node.
    int MoveGroup();

    /// Renames the cluster's group, which must be open here; this object keeps its `Name`. 1 or 0.
    int Rename(const std::wstring& newName);

    /// The resource of that name; null when this group holds none.
    Resource* GetResource(const std::wstring& resourceName);
    /// The result of the resource's own operation; 0 when this group does not hold it.
    int BringResourceOnLine(const std::wstring& resourceName);
    int BringResourceOffLine(const std::wstring& resourceName);

    /// Creates a resource of `type` in this group's cluster group. With `dependencies` 1 it is then made to depend on
    /// the group's resources as its type's template says (`dependencyArgument` non-zero: on every disk); with `online`
    /// 1 it is brought online.
    ///
    /// Never null but for want of memory. When all steps succeeded and `store` is not 0, the resource is in
    /// `ResourcesPtr` and this group's; in every other case it is the caller's to delete. The type stays the caller's
    /// and must outlive the resource.
    Resource* CreateResource(const std::wstring& resourceName, ResourceType* type, const StringArray* parameters,
                             int dependencies, int online, int store, int dependencyArgument);
    /// Gives a resource of this group new parameters, with `online` 1 brings it online, and returns it; null when
    /// the group does not hold it. The type and the arguments without a name are not used.
    Resource* ChangeResource(const std::wstring& resourceName, ResourceType* type, const StringArray* parameters, int,
                             int online, int);

    /// Follows a notification of the cluster. Resource added: the object for that name, which is returned; a new one
    /// unless the one known still is that resource, and whosever it is: the group does not ask. What the name stood for
    /// before is no longer listed, and lives as long as this group. Resource deleted: the object is taken out of every
    /// collection of this cluster and deleted. Every other result is null.
    ClusterComponent* Update(const std::wstring& name, DWORD notification);
    /// Adds what the open group holds and this object does not know yet, and no longer lists what the cluster does not
    /// have under that name any more; such objects live as long as this group. Always 0; what could not be read is left
    /// out.
    int Discover(int argument);
    /// Traces the group's fields and its resources' names; reads the state first.
    void Info();

protected:
    std::shared_ptr<OwnedComponents> _resources;  // null before Initialize
    platform::SharedHandle<HGROUP, CloseClusterGroup> _handle;
    StringArray _parameters;

private:
    friend class Node;

    void ListResourcesIn(const std::weak_ptr<ClusterComponents>& index);
    void RetireResource(const std::wstring& resourceName);
    void DeleteUnlisted();
    Resource* FindResource(const std::wstring& resourceName) const;
    int Take(HGROUP group, const StringArray* parameters, int online, const wchar_t* onlineFailure);
    int WriteParameters(const StringArray& parameters);
    int Request(DWORD (*request)(HGROUP), const wchar_t* done, const wchar_t* failure);
};
