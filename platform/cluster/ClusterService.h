#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <compare>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform {

class ClusterAdministration;

/// What an id names. The values are those of the control codes' top byte.
enum class ObjectKind : BYTE { Resource = 1, ResourceType = 2, Group = 3, Node = 4, Network = 5, NetworkInterface = 6 };

/// The identity of one object of a cluster: given once, outlives renames, never given again to another object.
struct ObjectId {
    ObjectKind kind = ObjectKind::Resource;
    std::int64_t number = 0;
    auto operator<=>(const ObjectId&) const = default;
};

/// The identity of one key of a cluster's database. Never given again to another key.
using ClusterKeyId = std::int64_t;

/// The objects that an enumeration found when it was opened. Names may have changed since.
class PLATFORM_API ClusterEnumeration {
public:
    virtual ~ClusterEnumeration() = default;
    /// The item at `index`: 0 and its type bit and name, 259 past the end, any other code when just this one failed.
    virtual DWORD Item(DWORD index, DWORD& type, std::wstring& name) const = 0;
};

/// An enumeration over a list made beforehand.
class PLATFORM_API ListEnumeration final : public ClusterEnumeration {
public:
    struct Entry {
        DWORD type = 0;
        std::wstring name;
    };
    explicit ListEnumeration(std::vector<Entry> entries) : _entries(std::move(entries)) {}
    DWORD Item(DWORD index, DWORD& type, std::wstring& name) const override;

private:
    std::vector<Entry> _entries;
};

/// What one cluster can be asked. The functions of cluster_api.h are the only callers and have checked handles and
/// pointers before; what they hand on of names and bytes is as a program gave it.
///
/// Codes: 0 done, 997 accepted and not yet settled, any other refused, and then nothing has changed. An id outlives a
/// rename; once its object is gone, every operation on it answers that its kind was not found (5042 node, 5013 group,
/// 5007 resource, 5045 network, 5047 interface, 5078 resource type), and every operation on a deleted key 1018. Other
/// processes may act between two calls. Out parameters are set when the code is 0 and otherwise left alone. Names of
/// objects compare without regard to case. Operations may be called from any thread.
class PLATFORM_API ClusterService {
public:
    virtual ~ClusterService() = default;

    virtual DWORD Information(std::wstring& clusterName) = 0;

    /// The object of that kind and name.
    virtual DWORD Find(ObjectKind kind, const std::wstring& name, ObjectId& found) = 0;
    /// The present name of an object.
    virtual DWORD NameOf(ObjectId object, std::wstring& name) = 0;

    /// The objects of the kinds in `types` (bits of CLUSTER_ENUM_...), kind by kind in bit order, in order of creation.
    virtual DWORD Enumerate(DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) = 0;
    /// What belongs to an object (bits of CLUSTER_GROUP_ENUM_..., CLUSTER_RESOURCE_ENUM_..., CLUSTER_NETWORK_ENUM_...).
    virtual DWORD EnumerateMembers(ObjectId object, DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) = 0;

    /// A new group: offline, without resources and preferred owners, on the first node that may have it.
    virtual DWORD CreateGroup(const std::wstring& name, ObjectId& created) = 0;
    /// A new resource: offline, in `group`, every node a possible owner. `flags` must be 0.
    virtual DWORD CreateResource(ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags,
                                 ObjectId& created) = 0;

    virtual DWORD NodeState(ObjectId node, DWORD& state) = 0;
    virtual DWORD GroupState(ObjectId group, DWORD& state, std::wstring& ownerNode) = 0;
    virtual DWORD ResourceState(ObjectId resource, DWORD& state, std::wstring& ownerNode, std::wstring& group) = 0;
    virtual DWORD NetworkState(ObjectId network, DWORD& state) = 0;
    virtual DWORD NetworkInterfaceState(ObjectId networkInterface, DWORD& state) = 0;

    /// Brings `group` online on `node`; without one, where its preferred owners and the nodes' states say.
    virtual DWORD OnlineGroup(ObjectId group, std::optional<ObjectId> node) = 0;
    virtual DWORD OfflineGroup(ObjectId group) = 0;
    /// Moves `group` to `node`; without one, to the next node that may have it. What was online is online afterwards.
    virtual DWORD MoveGroup(ObjectId group, std::optional<ObjectId> node) = 0;
    /// Brings a resource online, and before it what it depends on.
    virtual DWORD OnlineResource(ObjectId resource) = 0;
    /// Takes a resource offline, and before it what depends on it.
    virtual DWORD OfflineResource(ObjectId resource) = 0;

    /// Keeps new groups away from a node; those that it has stay.
    virtual DWORD PauseNode(ObjectId node) = 0;
    virtual DWORD ResumeNode(ObjectId node) = 0;
    /// Takes a node out of the cluster for good; its groups fail over. The last node cannot be evicted.
    virtual DWORD EvictNode(ObjectId node) = 0;

    virtual DWORD RenameGroup(ObjectId group, const std::wstring& newName) = 0;
    /// Replaces the preferred owners. A node named twice is refused.
    virtual DWORD SetGroupOwners(ObjectId group, std::span<const ObjectId> nodes) = 0;
    virtual DWORD AddResourceOwner(ObjectId resource, ObjectId node) = 0;
    virtual DWORD RemoveResourceOwner(ObjectId resource, ObjectId node) = 0;
    virtual DWORD AddDependency(ObjectId resource, ObjectId dependsOn) = 0;
    virtual DWORD RemoveDependency(ObjectId resource, ObjectId dependsOn) = 0;

    /// The identifier of a network, a text that never changes.
    virtual DWORD NetworkIdentifier(ObjectId network, std::wstring& id) = 0;
    /// The name of a node's interface on a network, both by name.
    virtual DWORD InterfaceOf(const std::wstring& node, const std::wstring& network, std::wstring& interfaceName) = 0;

    /// A control operation on an object of any kind; `host` as the program gave it. `input` may hold anything. Answers
    /// are property lists or value lists; `output` is replaced.
    virtual DWORD Control(ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input,
                          std::vector<BYTE>& output) = 0;

    virtual DWORD RootKey(ClusterKeyId& key) = 0;
    /// The key of a group or a resource. A resource's private properties are the values of its subkey "Parameters".
    virtual DWORD ObjectKey(ObjectId object, ClusterKeyId& key) = 0;
    /// `path` is one name or several joined by backslashes.
    virtual DWORD OpenKey(ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key) = 0;
    /// Opens the key, or creates it and every missing one above it; `created` tells which. A volatile key does not
    /// outlive the cluster's restart, and nothing lasting can be made below it (1021).
    virtual DWORD CreateKey(ClusterKeyId parent, const std::wstring& path, bool isVolatile, ClusterKeyId& key,
                            bool& created) = 0;
    /// Refused while the key has subkeys.
    virtual DWORD DeleteKey(ClusterKeyId parent, const std::wstring& path) = 0;
    /// The subkey at `index` in name order; 259 past the end.
    virtual DWORD SubkeyAt(ClusterKeyId key, DWORD index, std::wstring& name) = 0;
    virtual DWORD SetValue(ClusterKeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data) = 0;
    virtual DWORD DeleteValue(ClusterKeyId key, const std::wstring& name) = 0;
    virtual DWORD QueryValue(ClusterKeyId key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) = 0;
    /// The value at `index` in name order; 259 past the end.
    virtual DWORD ValueAt(ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data) = 0;

    /// The engine's own side, for programs and tests: null when this engine has none. Lives as long as the service.
    virtual ClusterAdministration* Administration() = 0;

    /// Runs `steps` as one transaction of the cluster: no other process or handle sees or makes a change in between,
    /// and a code other than 0 from `steps` undoes all of it and is the result. `steps` may call this service; it must
    /// not block on anything else.
    virtual DWORD Transact(const std::function<DWORD()>& steps) = 0;
};

}  // namespace platform
