#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/EmbeddedClusterService.h>

#include <algorithm>

namespace platform::embedded {

DWORD EmbeddedClusterService::RenameGroup(ObjectId group, const std::wstring& newName) {
    return WriteOf(group, ObjectKind::Group, [&] {
        if (!IsNewName(newName)) return error::InvalidName;
        const GroupRecord* const holder = Model().groups.FindByName(FoldCase(newName));
        if (holder && holder->id != group.number) return error::ObjectAlreadyExists;
        const std::wstring before = Model().groups.Find(group.number)->name;
        if (before == newName) return error::Success;
        _store->RenameGroup(group.number, newName);
        _store->Note(newName, CLUSTER_CHANGE_GROUP_PROPERTY, L"renamed from " + before);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::SetGroupOwners(ObjectId group, std::span<const ObjectId> nodes) {
    return WriteOf(group, ObjectKind::Group, [&] {
        std::vector<RowId> owners;
        std::wstring names;
        for (const ObjectId node : nodes) {
            if (const DWORD code = Expect(node, ObjectKind::Node)) return code;
            if (std::ranges::find(owners, node.number) != owners.end()) return error::InvalidParameter;
            names += (owners.empty() ? L"" : L", ") + Model().nodes.Find(node.number)->name;
            owners.push_back(node.number);
        }
        const GroupRecord& record = *Model().groups.Find(group.number);
        if (record.preferredOwners == owners) return error::Success;
        _store->SetPreferredOwners(group.number, owners);
        _store->Note(record.name, CLUSTER_CHANGE_GROUP_PROPERTY, L"preferred owners: " + names);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::AddResourceOwner(ObjectId resource, ObjectId node) {
    return WriteOf(resource, ObjectKind::Resource, [&] {
        if (const DWORD code = Expect(node, ObjectKind::Node)) return code;
        const ResourceRecord& record = *Model().resources.Find(resource.number);
        if (record.possibleOwners.contains(node.number)) return error::ObjectInList;
        _store->AddPossibleOwner(record.id, node.number);
        _store->Note(record.name, CLUSTER_CHANGE_RESOURCE_PROPERTY,
                     L"possible owner added: " + Model().nodes.Find(node.number)->name);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::RemoveResourceOwner(ObjectId resource, ObjectId node) {
    return WriteOf(resource, ObjectKind::Resource, [&] {
        if (const DWORD code = Expect(node, ObjectKind::Node)) return code;
        const ResourceRecord& record = *Model().resources.Find(resource.number);
        if (!record.possibleOwners.contains(node.number)) return error::NodeCannotHostResource;
        const bool isThere = Model().groups.Find(record.group)->owner == node.number;
        if (isThere && record.state == ClusterResourceOnline) return error::ResourceOnline;
        _store->RemovePossibleOwner(record.id, node.number);
        _store->Note(record.name, CLUSTER_CHANGE_RESOURCE_PROPERTY,
                     L"possible owner removed: " + Model().nodes.Find(node.number)->name);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::AddDependency(ObjectId resource, ObjectId dependsOn) {
    return WriteOf(resource, ObjectKind::Resource, [&] {
        if (const DWORD code = Expect(dependsOn, ObjectKind::Resource)) return code;
        const ResourceRecord& record = *Model().resources.Find(resource.number);
        const ResourceRecord& provider = *Model().resources.Find(dependsOn.number);
        if (record.group != provider.group) return error::InvalidParameter;
        if (record.providers.contains(provider.id)) return error::DependencyAlreadyExists;
        if (Model().DependsOn(provider.id, record.id)) return error::CircularDependency;
        if (record.state == ClusterResourceOnline && provider.state != ClusterResourceOnline) {
            return error::ResourceOnline;
        }
        _store->AddDependency(record.id, provider.id);
        _store->Note(record.name, CLUSTER_CHANGE_RESOURCE_PROPERTY, L"depends on " + provider.name);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::RemoveDependency(ObjectId resource, ObjectId dependsOn) {
    return WriteOf(resource, ObjectKind::Resource, [&] {
        if (const DWORD code = Expect(dependsOn, ObjectKind::Resource)) return code;
        const ResourceRecord& record = *Model().resources.Find(resource.number);
        if (!record.providers.contains(dependsOn.number)) return error::DependencyNotFound;
        _store->RemoveDependency(record.id, dependsOn.number);
        _store->Note(record.name, CLUSTER_CHANGE_RESOURCE_PROPERTY,
                     L"no longer depends on " + Model().resources.Find(dependsOn.number)->name);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::NetworkIdentifier(ObjectId network, std::wstring& id) {
    return ReadOf(network, ObjectKind::Network, [&] {
        id = Model().networks.Find(network.number)->identifier;
        return error::Success;
    });
}

DWORD EmbeddedClusterService::InterfaceOf(const std::wstring& node, const std::wstring& network,
                                          std::wstring& interfaceName) {
    return _store->Read([&] {
        const NodeRecord* const nodeRecord = Model().nodes.FindByName(FoldCase(node));
        if (!nodeRecord) return error::ClusterNodeNotFound;
        const NetworkRecord* const networkRecord = Model().networks.FindByName(FoldCase(network));
        if (!networkRecord) return error::ClusterNetworkNotFound;
        const InterfaceRecord* const found = Model().InterfaceOf(nodeRecord->id, networkRecord->id);
        if (!found) return error::ClusterNetInterfaceNotFound;
        interfaceName = found->name;
        return error::Success;
    });
}

}  // namespace platform::embedded
