#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <platform/base/SharedHandle.h>
#include <platform/cluster/cluster_api.h>

#include <memory>
#include <string>

class ResourceType;

/// One resource of the cluster: a disk, an address, a share, a service. Creates it in a group, writes its properties,
/// sets what it depends on and who may own it, brings it online and offline, and reads its state.
///
/// A resource belongs to the object that made it. Copies share the open handle and, when assigned, the collection of
/// sub-resources; the last one closes and frees them. Used by one thread at a time. What asks the cluster waits for
/// changes of other processes to be done, which an engine bounds (the embedded one to ten seconds).
class OSTRA_API Resource : public ClusterComponent {
public:
    /// `initialize` 1 opens the resource by name when there is a cluster handle; what cannot be opened stays usable
    /// and closed. The cluster handle stays the caller's.
    Resource(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize);
    /// As above with a type object, which may be null and must outlive the resource; `initialize` 1 also fills the
    /// type's default parameters.
    Resource(const std::wstring& name, ResourceType* type, HCLUSTER cluster, const std::wstring& clusterName,
             int initialize);
    /// Takes over names and cluster handle and shares the open handle; all else starts empty.
    Resource(const Resource& other);
    /// Shares the open handle and the sub-resources of the other; names follow ClusterComponent's assignment.
    Resource& operator=(const Resource& other);

    /// Opens the resource afresh by name and reads state, state text and the name of its group. 1: read. 0: it could
    /// not be opened or its state is unknown (event log); code and text are then those read before.
    int Status(int) override;
    /// Makes the resource in `group`, with the name of its type object, and writes the type's default parameters and
    /// then the caller's (may be null). 1: made, whatever became of single properties. 0: refused. With `bringOnline`
    /// 1 the result is that of BringOnLine.
    virtual int Create(HGROUP group, const StringArray* parameters, int bringOnline);
    /// Does nothing; always 1.
    virtual int Change(HGROUP, const StringArray*, int) { return 1; }

    /// Null while the resource is not open. The handle stays the resource's.
    HRESOURCE Handle() const { return _handle.Get(); }
    HGROUP GroupHandle() const { return _groupHandle; }
    /// The type object given at construction, or null.
    ResourceType* ResType() const { return _resourceType; }
    /// The type name as far as it is known.
    std::wstring GetResourceType() const { return _type; }
    /// The type name, read from the cluster when it is not known yet.
    std::wstring Type();
    /// Both read the state anew.
    int IsOnline();
    int IsOffline();
    /// Traces name and state.
    void Info();
    /// Non-zero for the control codes of resources.
    static int IsValid(DWORD controlCode);

    /// 1: open, by a new handle; the one before is let go of. 0: no such resource, and none is open.
    int Open();
    /// Closes the handle, for copies too. 0 when none was open (standard output).
    int Close();
    /// Asks up to 3 times; only a result of 0 counts, not one that is pending. 1 on success, which takes 3 seconds;
    /// 0 after three failures, each of which takes 6.
    int BringOnLine();
    /// Asks once. 1: offline. 0: refused or still pending.
    int BringOffLine();
    /// `deep` non-zero reads common and private attributes. Always 0.
    int Discover(int deep);

    /// Replace the object's attributes by those of the cluster. The number of properties read; 0 when the resource is
    /// not open or the read failed, and the attributes are then empty.
    DWORD GetCommonAttributes();
    DWORD GetPrivateAttributes();
    /// Replaces the map by what `controlCode` reads; 0 reads the common and then the private properties, which win.
    /// The number of properties of the last read.
    DWORD GetAttributes(StringMap* map, DWORD controlCode);
    /// Writes first the REG_SZ and then the REG_DWORD strings as common or private properties, as the code says; those
    /// of other types and those that begin with their type are left out. The number of lists that were written; 0
    /// also for any other code.
    int SetAttributes(const StringArray* parameters, DWORD controlCode);
    /// Does nothing; always 0.
    int SetProperties(const StringArray*) { return 0; }

    /// Lets each of the named nodes own the resource; nodes that cannot be opened are skipped. Always 0: the outcome
    /// is traced only.
    int SetPossibleOwners(const StringArray* nodeNames);
    /// Makes the resource depend on each of the named ones; names that cannot be opened are skipped. 1 when at least
    /// one dependency was added.
    int SetDependencies(const StringArray* resourceNames);
    /// Makes the resource depend on those candidates whose type the dependency template of its own type lists and
    /// whose name holds this name's tail: its last n characters, n being the position of "for" in it. With
    /// `includeDisks`, disks are taken whatever their name. Always 1.
    int SetDependencies(const ClusterComponents* resources, int includeDisks);
    /// 1: depends on `other` now. 0: refused (standard output).
    int MakeItDependOn(Resource* other);
    /// Puts the child into the collection of this object, without owning it. The number of children.
    int Adopt(Resource* child);
    /// The drive of a "Physical Disk", asked for once and then kept; empty for other types or when none was reported.
    std::wstring GetDriveLetter();

protected:
    HGROUP _groupHandle = nullptr;
    platform::SharedHandle<HRESOURCE, CloseClusterResource> _handle;
    ResourceType* _resourceType = nullptr;  // the caller's
    std::wstring _type;
    std::wstring _driveLetter;
    std::shared_ptr<ClusterComponents> _resources;  // owns its members too

private:
    void Initialize(int callTypeHook);
    int InitializeRegistry();
    int UpdateRegistry(const StringArray* parameters);
    void WriteTypeParameters();
    bool IsOpen() const;
    DWORD ReadProperties(StringMap& map, DWORD controlCode);
    bool AddDependency(HRESOURCE other, const wchar_t* failure);
};
