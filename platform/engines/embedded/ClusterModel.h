#pragma once

#include <platform/base/types.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterService.h>

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace platform::embedded {

/// Number of an object within its kind; rises with each creation and is never given again.
using RowId = std::int64_t;

inline constexpr std::size_t longestName = 199;

/// 1 to 199 characters, none of them a control character or no character at all.
bool IsObjectName(std::wstring_view name);
/// The same for a name that is given now: of characters that people see and tell apart.
bool IsNewName(std::wstring_view name);

/// Objects of one kind: by number, which is their order of creation, and by name without regard to case.
template <typename Record>
class Table {
public:
    const std::map<RowId, Record>& All() const { return _records; }

    const Record* Find(RowId id) const {
        const auto found = _records.find(id);
        return found == _records.end() ? nullptr : &found->second;
    }
    Record* Find(RowId id) { return const_cast<Record*>(std::as_const(*this).Find(id)); }

    /// `folded` is the name in folded case.
    const Record* FindByName(const std::wstring& folded) const {
        const auto found = _names.find(folded);
        return found == _names.end() ? nullptr : Find(found->second);
    }

    /// False, and nothing changed, when the number or the name is taken.
    bool Insert(Record record, std::wstring folded) {
        if (_names.contains(folded)) return false;
        const RowId id = record.id;
        const std::size_t before = _records.size();
        _records.emplace_hint(_records.end(), id, std::move(record));  // numbers rise as a rule
        if (_records.size() == before) return false;
        _names.emplace(std::move(folded), id);
        return true;
    }

    void Erase(RowId id, const std::wstring& folded) {
        _names.erase(folded);
        _records.erase(id);
    }

    /// The new name must be free, or the object's own.
    void Rename(RowId id, const std::wstring& foldedBefore, std::wstring folded, std::wstring name) {
        _names.erase(foldedBefore);
        _names.emplace(std::move(folded), id);
        _records.at(id).name = std::move(name);
    }

    bool operator==(const Table&) const = default;

private:
    std::map<RowId, Record> _records;
    std::unordered_map<std::wstring, RowId> _names;
};

struct NodeRecord {
    RowId id = 0;
    std::wstring name;
    ClusterKeyId key = 0;
    DWORD state = 0;  // CLUSTER_NODE_STATE
    bool IsRunning() const;
    bool operator==(const NodeRecord&) const = default;
};

struct NetworkRecord {
    RowId id = 0;
    std::wstring name;
    ClusterKeyId key = 0;
    DWORD state = 0;  // CLUSTER_NETWORK_STATE
    std::wstring identifier;
    std::wstring address;
    std::wstring mask;
    bool operator==(const NetworkRecord&) const = default;
};

struct InterfaceRecord {
    RowId id = 0;
    std::wstring name;
    ClusterKeyId key = 0;
    DWORD state = 0;  // CLUSTER_NETINTERFACE_STATE of its cable; a node that is down has no available interface
    RowId node = 0;
    RowId network = 0;
    std::wstring address;
    bool operator==(const InterfaceRecord&) const = default;
};

struct TypeRecord {
    RowId id = 0;
    std::wstring name;
    ClusterKeyId key = 0;
    bool operator==(const TypeRecord&) const = default;
};

struct GroupRecord {
    RowId id = 0;
    std::wstring name;
    ClusterKeyId key = 0;
    RowId owner = 0;
    bool isAskedOnline = false;  // the state of a group without resources
    std::vector<RowId> preferredOwners;
    std::set<RowId> resources;  // follows from the resources
    bool operator==(const GroupRecord&) const = default;
};

/// The nodes that a resource may be on: every one, those to come included, or some.
struct PossibleOwners {
    bool isEveryNode = true;
    std::vector<RowId> nodes;  // ascending, and fewer than there are; none while it is every node
    bool contains(RowId node) const;
    bool operator==(const PossibleOwners&) const = default;
};

struct ResourceRecord {
    RowId id = 0;
    std::wstring name;
    ClusterKeyId key = 0;
    RowId type = 0;
    RowId group = 0;
    DWORD state = 0;  // ClusterResourceOnline, ClusterResourceOffline or ClusterResourceFailed
    PossibleOwners possibleOwners;
    std::set<RowId> providers;   // what it depends on
    std::set<RowId> dependents;  // follows from the others' providers
    bool operator==(const ResourceRecord&) const = default;
};

/// The parts of a model that are read anew together.
enum class Section { Nodes, Networks, Interfaces, Disks, Types, Groups, Resources };
inline constexpr std::size_t sectionCount = 7;

/// A whole cluster in memory, without its keys. What it answers does not change it, and it never refers to an object
/// that it does not have: Link checks that after reading, and whoever changes it keeps it so.
class ClusterModel {
public:
    Table<NodeRecord> nodes;
    Table<NetworkRecord> networks;
    Table<InterfaceRecord> interfaces;
    Table<TypeRecord> types;
    Table<GroupRecord> groups;
    Table<ResourceRecord> resources;
    std::map<RowId, SharedDisk> disks;

    /// Works out what follows from other records, and checks that all references are to objects that exist, that each
    /// node has one interface on each network, and that dependencies stay within a group and form no circle.
    bool Link();

    DWORD GroupState(const GroupRecord& group) const;
    bool HasOnline(const GroupRecord& group) const;
    DWORD InterfaceState(const InterfaceRecord& networkInterface) const;
    const InterfaceRecord* InterfaceOf(RowId node, RowId network) const;
    const std::wstring& TypeOf(const ResourceRecord& resource) const { return types.Find(resource.type)->name; }
    const SharedDisk* DiskOf(DWORD signature) const;
    /// In order of creation.
    std::vector<RowId> PossibleOwnersOf(const ResourceRecord& resource) const;

    /// The resources given and all that they depend on, each after what it depends on.
    std::vector<RowId> ProvidersFirst(const std::set<RowId>& start) const;
    /// The resources given and all that depend on them, each after what depends on it.
    std::vector<RowId> DependentsFirst(const std::set<RowId>& start) const;
    bool DependsOn(RowId resource, RowId provider) const;

    bool operator==(const ClusterModel& other) const;

private:
    bool LinkGroups();
    bool LinkResources();
    bool HasEveryInterface() const;
    bool HasNoCircle() const;
};

/// The words of a state, for change lists.
const wchar_t* GroupStateWord(DWORD state);
const wchar_t* ResourceStateWord(DWORD state);
const wchar_t* NodeStateWord(DWORD state);

/// The code that says that an object of this kind was not found.
DWORD NotFoundCode(ObjectKind kind);

}  // namespace platform::embedded
