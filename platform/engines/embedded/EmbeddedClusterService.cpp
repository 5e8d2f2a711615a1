#include <platform/engines/embedded/EmbeddedClusterService.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/transitions.h>

#include <algorithm>

namespace platform::embedded {

namespace {

using Entries = std::vector<ListEnumeration::Entry>;

template <typename Record>
void AppendAll(Entries& entries, DWORD types, DWORD bit, const Table<Record>& table) {
    if (!(types & bit)) return;
    for (const auto& [id, record] : table.All()) entries.push_back({bit, record.name});
}

template <typename Record, typename Ids>
void AppendSome(Entries& entries, DWORD types, DWORD bit, const Table<Record>& table, const Ids& ids) {
    if (!(types & bit)) return;
    for (const RowId id : ids) entries.push_back({bit, table.Find(id)->name});
}

DWORD Finish(Entries entries, std::unique_ptr<ClusterEnumeration>& enumeration) {
    enumeration = std::make_unique<ListEnumeration>(std::move(entries));
    return error::Success;
}

bool IsMask(DWORD types, DWORD known) {
    return types != 0 && (types & ~known) == 0;
}

DWORD GroupMembers(const ClusterModel& model, const GroupRecord& group, DWORD types, Entries& entries) {
    if (!IsMask(types, CLUSTER_GROUP_ENUM_CONTAINS | CLUSTER_GROUP_ENUM_NODES)) return error::InvalidParameter;
    AppendSome(entries, types, CLUSTER_GROUP_ENUM_CONTAINS, model.resources, group.resources);
    AppendSome(entries, types, CLUSTER_GROUP_ENUM_NODES, model.nodes, group.preferredOwners);
    return error::Success;
}

DWORD ResourceMembers(const ClusterModel& model, const ResourceRecord& resource, DWORD types, Entries& entries) {
    constexpr DWORD known =
        CLUSTER_RESOURCE_ENUM_DEPENDS | CLUSTER_RESOURCE_ENUM_PROVIDES | CLUSTER_RESOURCE_ENUM_NODES;
    if (!IsMask(types, known)) return error::InvalidParameter;
    AppendSome(entries, types, CLUSTER_RESOURCE_ENUM_DEPENDS, model.resources, resource.providers);
    AppendSome(entries, types, CLUSTER_RESOURCE_ENUM_PROVIDES, model.resources, resource.dependents);
    AppendSome(entries, types, CLUSTER_RESOURCE_ENUM_NODES, model.nodes, model.PossibleOwnersOf(resource));
    return error::Success;
}

DWORD NetworkMembers(const ClusterModel& model, RowId network, DWORD types, Entries& entries) {
    if (!IsMask(types, CLUSTER_NETWORK_ENUM_NETINTERFACES)) return error::InvalidParameter;
    for (const auto& [id, networkInterface] : model.interfaces.All()) {
        if (networkInterface.network != network) continue;
        entries.push_back({CLUSTER_NETWORK_ENUM_NETINTERFACES, networkInterface.name});
    }
    return error::Success;
}

template <typename Record>
bool FindNumber(const Table<Record>& table, const std::wstring& folded, RowId& number) {
    const Record* const record = table.FindByName(folded);
    if (record) number = record->id;
    return record != nullptr;
}

bool FindNumber(const ClusterModel& model, ObjectKind kind, const std::wstring& folded, RowId& number) {
    switch (kind) {
        case ObjectKind::Resource: return FindNumber(model.resources, folded, number);
        case ObjectKind::ResourceType: return FindNumber(model.types, folded, number);
        case ObjectKind::Group: return FindNumber(model.groups, folded, number);
        case ObjectKind::Node: return FindNumber(model.nodes, folded, number);
        case ObjectKind::Network: return FindNumber(model.networks, folded, number);
        case ObjectKind::NetworkInterface: return FindNumber(model.interfaces, folded, number);
    }
    return false;
}

template <typename Record>
const std::wstring* FindName(const Table<Record>& table, RowId number) {
    const Record* const record = table.Find(number);
    return record ? &record->name : nullptr;
}

const std::wstring* FindName(const ClusterModel& model, ObjectId object) {
    switch (object.kind) {
        case ObjectKind::Resource: return FindName(model.resources, object.number);
        case ObjectKind::ResourceType: return FindName(model.types, object.number);
        case ObjectKind::Group: return FindName(model.groups, object.number);
        case ObjectKind::Node: return FindName(model.nodes, object.number);
        case ObjectKind::Network: return FindName(model.networks, object.number);
        case ObjectKind::NetworkInterface: return FindName(model.interfaces, object.number);
    }
    return nullptr;
}

std::optional<RowId> NumberOf(std::optional<ObjectId> object) {
    return object ? std::optional(object->number) : std::nullopt;
}

}  // namespace

DWORD EmbeddedClusterService::Expect(ObjectId object, ObjectKind kind) const {
    return object.kind == kind && FindName(Model(), object) ? error::Success : NotFoundCode(kind);
}

DWORD EmbeddedClusterService::ExpectNode(std::optional<ObjectId> node) const {
    return node ? Expect(*node, ObjectKind::Node) : error::Success;
}

DWORD EmbeddedClusterService::Information(std::wstring& clusterName) {
    return _store->Read([&] {
        clusterName = _store->Name();
        return error::Success;
    });
}

DWORD EmbeddedClusterService::Find(ObjectKind kind, const std::wstring& name, ObjectId& found) {
    return _store->Read([&] {
        RowId number = 0;
        if (!FindNumber(Model(), kind, FoldCase(name), number)) return NotFoundCode(kind);
        found = {kind, number};
        return error::Success;
    });
}

DWORD EmbeddedClusterService::NameOf(ObjectId object, std::wstring& name) {
    return ReadOf(object, object.kind, [&] {
        name = *FindName(Model(), object);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::Enumerate(DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) {
    constexpr DWORD known = CLUSTER_ENUM_NODE | CLUSTER_ENUM_RESTYPE | CLUSTER_ENUM_RESOURCE | CLUSTER_ENUM_GROUP |
                            CLUSTER_ENUM_NETWORK | CLUSTER_ENUM_NETINTERFACE;
    if (!IsMask(types, known)) return error::InvalidParameter;
    return _store->Read([&] {
        Entries entries;
        AppendAll(entries, types, CLUSTER_ENUM_NODE, Model().nodes);
        AppendAll(entries, types, CLUSTER_ENUM_RESTYPE, Model().types);
        AppendAll(entries, types, CLUSTER_ENUM_RESOURCE, Model().resources);
        AppendAll(entries, types, CLUSTER_ENUM_GROUP, Model().groups);
        AppendAll(entries, types, CLUSTER_ENUM_NETWORK, Model().networks);
        AppendAll(entries, types, CLUSTER_ENUM_NETINTERFACE, Model().interfaces);
        return Finish(std::move(entries), enumeration);
    });
}

DWORD EmbeddedClusterService::EnumerateMembers(ObjectId object, DWORD types,
                                               std::unique_ptr<ClusterEnumeration>& enumeration) {
    return ReadOf(object, object.kind, [&] {
        Entries entries;
        DWORD code = error::InvalidParameter;
        if (object.kind == ObjectKind::Group) {
            code = GroupMembers(Model(), *Model().groups.Find(object.number), types, entries);
        } else if (object.kind == ObjectKind::Resource) {
            code = ResourceMembers(Model(), *Model().resources.Find(object.number), types, entries);
        } else if (object.kind == ObjectKind::Network) {
            code = NetworkMembers(Model(), object.number, types, entries);
        }
        return code == error::Success ? Finish(std::move(entries), enumeration) : code;
    });
}

DWORD EmbeddedClusterService::CreateGroup(const std::wstring& name, ObjectId& created) {
    if (!IsNewName(name)) return error::InvalidName;
    RowId number = 0;
    const DWORD code = _store->Write([&] {
        if (Model().groups.FindByName(FoldCase(name))) return error::ObjectAlreadyExists;
        const auto& nodes = Model().nodes.All();
        const auto owner =
            std::ranges::find_if(nodes, [](const auto& entry) { return entry.second.state == ClusterNodeUp; });
        if (owner == nodes.end()) return error::HostNodeNotAvailable;
        number = _store->InsertGroup(name, owner->first);
        _store->Note(name, CLUSTER_CHANGE_GROUP_ADDED, L"created on " + owner->second.name);
        return error::Success;
    });
    if (code == error::Success) created = {ObjectKind::Group, number};
    return code;
}

DWORD EmbeddedClusterService::CreateResource(ObjectId group, const std::wstring& name, const std::wstring& type,
                                             DWORD flags, ObjectId& created) {
    RowId number = 0;
    const DWORD code = WriteOf(group, ObjectKind::Group, [&] {
        if (flags != 0) return error::InvalidParameter;
        if (!IsNewName(name)) return error::InvalidName;
        if (Model().resources.FindByName(FoldCase(name))) return error::ObjectAlreadyExists;
        const TypeRecord* const typeRecord = Model().types.FindByName(FoldCase(type));
        if (!typeRecord) return error::ResourceTypeNotFound;
        const GroupRecord& record = *Model().groups.Find(group.number);
        const DWORD before = Model().GroupState(record);
        number = _store->InsertResource(group.number, typeRecord->id, name);
        _store->Note(name, CLUSTER_CHANGE_RESOURCE_ADDED, L"created in " + record.name + L" as " + typeRecord->name);
        NoteGroupState(*_store, group.number, before);
        return error::Success;
    });
    if (code == error::Success) created = {ObjectKind::Resource, number};
    return code;
}

DWORD EmbeddedClusterService::NodeState(ObjectId node, DWORD& state) {
    return ReadOf(node, ObjectKind::Node, [&] {
        state = Model().nodes.Find(node.number)->state;
        return error::Success;
    });
}

DWORD EmbeddedClusterService::GroupState(ObjectId group, DWORD& state, std::wstring& ownerNode) {
    return ReadOf(group, ObjectKind::Group, [&] {
        const GroupRecord& record = *Model().groups.Find(group.number);
        state = Model().GroupState(record);
        ownerNode = Model().nodes.Find(record.owner)->name;
        return error::Success;
    });
}

DWORD EmbeddedClusterService::ResourceState(ObjectId resource, DWORD& state, std::wstring& ownerNode,
                                            std::wstring& group) {
    return ReadOf(resource, ObjectKind::Resource, [&] {
        const ResourceRecord& record = *Model().resources.Find(resource.number);
        const GroupRecord& groupRecord = *Model().groups.Find(record.group);
        state = record.state;
        ownerNode = Model().nodes.Find(groupRecord.owner)->name;
        group = groupRecord.name;
        return error::Success;
    });
}

DWORD EmbeddedClusterService::NetworkState(ObjectId network, DWORD& state) {
    return ReadOf(network, ObjectKind::Network, [&] {
        state = Model().networks.Find(network.number)->state;
        return error::Success;
    });
}

DWORD EmbeddedClusterService::NetworkInterfaceState(ObjectId networkInterface, DWORD& state) {
    return ReadOf(networkInterface, ObjectKind::NetworkInterface, [&] {
        state = Model().InterfaceState(*Model().interfaces.Find(networkInterface.number));
        return error::Success;
    });
}

DWORD EmbeddedClusterService::OnlineGroup(ObjectId group, std::optional<ObjectId> node) {
    return WriteOf(group, ObjectKind::Group, [&] {
        const DWORD code = ExpectNode(node);
        return code == error::Success ? embedded::OnlineGroup(*_store, group.number, NumberOf(node)) : code;
    });
}

DWORD EmbeddedClusterService::OfflineGroup(ObjectId group) {
    return WriteOf(group, ObjectKind::Group, [&] { return embedded::OfflineGroup(*_store, group.number); });
}

DWORD EmbeddedClusterService::MoveGroup(ObjectId group, std::optional<ObjectId> node) {
    return WriteOf(group, ObjectKind::Group, [&] {
        const DWORD code = ExpectNode(node);
        return code == error::Success ? embedded::MoveGroup(*_store, group.number, NumberOf(node)) : code;
    });
}

DWORD EmbeddedClusterService::OnlineResource(ObjectId resource) {
    return WriteOf(resource, ObjectKind::Resource, [&] { return embedded::OnlineResource(*_store, resource.number); });
}

DWORD EmbeddedClusterService::OfflineResource(ObjectId resource) {
    return WriteOf(resource, ObjectKind::Resource, [&] { return embedded::OfflineResource(*_store, resource.number); });
}

DWORD EmbeddedClusterService::PauseNode(ObjectId node) {
    return WriteOf(node, ObjectKind::Node, [&] { return embedded::PauseNode(*_store, node.number); });
}

DWORD EmbeddedClusterService::ResumeNode(ObjectId node) {
    return WriteOf(node, ObjectKind::Node, [&] { return embedded::ResumeNode(*_store, node.number); });
}

DWORD EmbeddedClusterService::EvictNode(ObjectId node) {
    return WriteOf(node, ObjectKind::Node, [&] { return embedded::EvictNode(*_store, node.number); });
}

DWORD EmbeddedClusterService::Transact(const std::function<DWORD()>& steps) {
    return _store->Write([&] { return steps(); });
}

}  // namespace platform::embedded
