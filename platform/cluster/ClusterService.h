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
/// Codes: 0 done, 997 accepted and not yet settled, error::OutcomeUnknown when the change may be there, whole, or not
/// at all, because nothing confirmed it: look before trying again. Any other refused, and then nothing has changed. An
/// id outlives a rename; once its object is gone, every operation on it answers that its kind was not found (5042 node,
/// 5013 group, 5007 resource, 5045 network, 5047 interface, 5078 resource type), and every operation on a deleted key
/// 1018. Other processes may act between two calls. Out parameters are set when the code is 0 and otherwise left alone.
/// Operations may be called from any thread.
///
/// Names of objects compare without regard to case and keep the case in which they were given. One has 1 to 199
/// characters (what the customary buffer of an enumeration holds) that people see and tell apart (IsNameCharacter); any
/// other is refused with 123, and a name that another object of that kind has with 5010.
///
/// A node may have a group when it is up, not paused, and a possible owner of every resource of the group. Where an
/// operation names a node that may not: 5050 when it is down, 5070 paused, 5071 not a possible owner. Where the choice
/// is the engine's and no node may: 5005.
///
/// A group's state follows from its resources: all online 0, all offline 1, any failed 2, any other mixture 3; without
/// resources it is the one that was last asked for. Asking for a state that is there already answers 0 and changes
/// nothing.
class PLATFORM_API ClusterService {
public:
    virtual ~ClusterService() = default;

    virtual DWORD Information(std::wstring& clusterName) = 0;

    /// The object of that kind and name; the kind's code for "not found" (above) without one, whatever the name.
    virtual DWORD Find(ObjectKind kind, const std::wstring& name, ObjectId& found) = 0;
    /// The present name of an object.
    virtual DWORD NameOf(ObjectId object, std::wstring& name) = 0;

    /// The objects of the kinds in `types` (bits of CLUSTER_ENUM_...), kind by kind in bit order, in order of creation.
    /// 87 for no bit or an unknown one.
    virtual DWORD Enumerate(DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) = 0;
    /// What belongs to an object (bits of CLUSTER_GROUP_ENUM_..., CLUSTER_RESOURCE_ENUM_..., CLUSTER_NETWORK_ENUM_...),
    /// list by list in bit order: preferred owners in their order, all others in order of creation. 87 for no bit, an
    /// unknown one, or an object of a kind that has no members.
    virtual DWORD EnumerateMembers(ObjectId object, DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) = 0;

    /// A new group: offline, without resources and preferred owners, on the first node that is up and not paused
    /// (5005).
    virtual DWORD CreateGroup(const std::wstring& name, ObjectId& created) = 0;
    /// A new resource: offline, in `group`, every node a possible owner. `flags` must be 0 (87); 5078 without such a
    /// type. Names of resources are unique in the cluster.
    virtual DWORD CreateResource(ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags,
                                 ObjectId& created) = 0;

    virtual DWORD NodeState(ObjectId node, DWORD& state) = 0;
    virtual DWORD GroupState(ObjectId group, DWORD& state, std::wstring& ownerNode) = 0;
    virtual DWORD ResourceState(ObjectId resource, DWORD& state, std::wstring& ownerNode, std::wstring& group) = 0;
    virtual DWORD NetworkState(ObjectId network, DWORD& state) = 0;
    virtual DWORD NetworkInterfaceState(ObjectId networkInterface, DWORD& state) = 0;

    /// Brings `group` online on `node`. Without one: a group of which something is online stays where it is; any other
    /// goes to its first preferred owner that may have it, else stays on its node when that may have it, else goes to
    /// the first node that may. A paused node may have here the groups that it has. When one of the resources cannot
    /// come online, its code is the result.
    virtual DWORD OnlineGroup(ObjectId group, std::optional<ObjectId> node) = 0;
    virtual DWORD OfflineGroup(ObjectId group) = 0;
    /// Moves `group` to `node`; without one, to the next node after its own, in order of creation and around, that may
    /// have it. What was online is online afterwards.
    virtual DWORD MoveGroup(ObjectId group, std::optional<ObjectId> node) = 0;
    /// Brings a resource online on its group's node, and before it what it depends on. 5005 when none of its possible
    /// owners is up, 5050 when its group's node is down, 5071 when that node is none of them; and by its private
    /// properties:
    /// - "IP Address": 87 when "Address" is no IPv4 address, "SubnetMask" is given and no mask, or "Network" is given
    ///   and names no network; 5057 when another online one has the address;
    /// - "Physical Disk": 5006 when "Signature" is that of no disk, or of one that another online one has;
    /// - "Network Name": 52 when another online one has that "Name", whatever its case.
    ///
    /// What is online stays so: a change to those properties that would give such a code is refused with it, whether
    /// they are written as properties, as values, or go with their key. Database::LastMessage then names the holder.
    virtual DWORD OnlineResource(ObjectId resource) = 0;
    /// Takes a resource offline, and before it what depends on it.
    virtual DWORD OfflineResource(ObjectId resource) = 0;

    /// Keeps new groups away from a node; those that it has stay. 5050 when it is down.
    virtual DWORD PauseNode(ObjectId node) = 0;
    /// 5058 when the node is not paused, 5050 when it is down.
    virtual DWORD ResumeNode(ObjectId node) = 0;
    /// Takes a node out of the cluster for good, and out of every list of owners; its groups fail over. 5009 for the
    /// last node, 5005 while no other node may have one of its groups.
    virtual DWORD EvictNode(ObjectId node) = 0;

    virtual DWORD RenameGroup(ObjectId group, const std::wstring& newName) = 0;
    /// Replaces the preferred owners. A node named twice is refused (87). Moves nothing.
    virtual DWORD SetGroupOwners(ObjectId group, std::span<const ObjectId> nodes) = 0;
    /// 5011 when the node is a possible owner already.
    virtual DWORD AddResourceOwner(ObjectId resource, ObjectId node) = 0;
    /// 5071 when the node is no possible owner, 5019 while the resource is online there.
    virtual DWORD RemoveResourceOwner(ObjectId resource, ObjectId node) = 0;
    /// 87 across groups, 5003 when it is there already, 1059 when it would close a circle (itself included), 5019 when
    /// `resource` is online and `dependsOn` is not.
    virtual DWORD AddDependency(ObjectId resource, ObjectId dependsOn) = 0;
    /// 5002 when there is none.
    virtual DWORD RemoveDependency(ObjectId resource, ObjectId dependsOn) = 0;

    /// The identifier of a network, a text that never changes.
    virtual DWORD NetworkIdentifier(ObjectId network, std::wstring& id) = 0;
    /// The name of a node's interface on a network, both by name: 5042, 5045, or 5047 when the node has none there.
    virtual DWORD InterfaceOf(const std::wstring& node, const std::wstring& network, std::wstring& interfaceName) = 0;

    /// A control operation on an object of any kind; `host` as the program gave it. `input` may hold anything. Answers
    /// are property lists or value lists; `output` is replaced. 87 for a code of another kind of object, 120 for one
    /// that the engine does not know.
    ///
    /// A property list is written as a whole or not at all: 13 when it is malformed, 87 for a common property that is
    /// unknown, of another format, or read-only (unless it is given the value that it has). Common properties, each
    /// readable with ..._GET_COMMON_... unless said otherwise: every kind "Description" (text); a resource "Type"
    /// (text, read-only) as well; a network "Role" (number 0 to 3), and with ..._GET_RO_COMMON_... "Name", "Address"
    /// and "AddressMask" (texts). Private properties are those of resources, of any name: what cannot be a value's name
    /// is refused with 87.
    ///
    /// The information on the disk of a "Physical Disk" resource: signature, SCSI address, number, then each partition,
    /// then the end mark; 5006 while its private property "Signature" (a number) is missing or names no disk. The
    /// available disks of the resource type "Physical Disk" are the same for each disk that no resource has, one after
    /// the other, with one end mark behind the last; other types answer 120.
    virtual DWORD Control(ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input,
                          std::vector<BYTE>& output) = 0;

    virtual DWORD RootKey(ClusterKeyId& key) = 0;
    /// The key of a group or a resource (87 for other kinds). It stays the same key through a rename and is deleted
    /// with its object. 5 for changing or deleting a value that the engine itself keeps there, such as "Name", and for
    /// making keys beside those of objects. A resource's private properties are the values of its subkey "Parameters":
    /// texts (types 1 and 2) and numbers (type 4); values of other types are no properties.
    virtual DWORD ObjectKey(ObjectId object, ClusterKeyId& key) = 0;
    /// `path` is one name or several joined by backslashes; an empty one is the parent itself. 2 without such a key, 87
    /// for a name that cannot be one.
    virtual DWORD OpenKey(ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key) = 0;
    /// Opens the key, or creates it and every missing one above it; `created` tells which. A volatile key does not
    /// outlive the cluster's restart, and nothing lasting can be made below it (1021). An existing key stays as it is.
    virtual DWORD CreateKey(ClusterKeyId parent, const std::wstring& path, bool isVolatile, ClusterKeyId& key,
                            bool& created) = 0;
    /// 1020 while the key has subkeys, 87 for an empty path.
    virtual DWORD DeleteKey(ClusterKeyId parent, const std::wstring& path) = 0;
    /// The subkey at `index` in name order; 259 past the end.
    virtual DWORD SubkeyAt(ClusterKeyId key, DWORD index, std::wstring& name) = 0;
    virtual DWORD SetValue(ClusterKeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data) = 0;
    /// 2 without such a value, here and in QueryValue. An empty name is the key's unnamed value.
    virtual DWORD DeleteValue(ClusterKeyId key, const std::wstring& name) = 0;
    virtual DWORD QueryValue(ClusterKeyId key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) = 0;
    /// The value at `index` in name order; 259 past the end.
    virtual DWORD ValueAt(ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data) = 0;

    /// The engine's own side, for programs and tests: null when this engine has none. Lives as long as the service.
    virtual ClusterAdministration* Administration() = 0;

    /// Runs `steps` as one transaction of the cluster: no other process or handle sees or makes a change in between,
    /// and a code other than 0 from `steps` undoes all of it, its entries in the change list included, and is the
    /// result. `steps` may call this service, Transact as well, of which an inner one undoes only its own; it must not
    /// block on anything else.
    virtual DWORD Transact(const std::function<DWORD()>& steps) = 0;
};

}  // namespace platform
