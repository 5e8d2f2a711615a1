#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/ClusterStore.h>

#include <algorithm>

namespace platform::embedded {

namespace {

const char* SetKeyStatement(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::Resource: return "UPDATE resources SET key_id = ? WHERE id = ?";
        case ObjectKind::ResourceType: return "UPDATE types SET key_id = ? WHERE id = ?";
        case ObjectKind::Group: return "UPDATE resource_groups SET key_id = ? WHERE id = ?";
        case ObjectKind::Node: return "UPDATE nodes SET key_id = ? WHERE id = ?";
        case ObjectKind::Network: return "UPDATE networks SET key_id = ? WHERE id = ?";
        case ObjectKind::NetworkInterface: return "UPDATE interfaces SET key_id = ? WHERE id = ?";
    }
    return "";
}

bool IsOfNode(const InterfaceRecord& networkInterface, RowId node) {
    return networkInterface.node == node;
}

bool IsOfNetwork(const InterfaceRecord& networkInterface, RowId network) {
    return networkInterface.network == network;
}

}  // namespace

// After a failure a number that no object has, so that the rest of the operation finds what it believes to have made.
RowId ClusterStore::InsertedId() {
    return _failure == error::Success ? _database->LastInsertedId() : --_placeholder;
}

KeyId ClusterStore::MakeObjectKey(ObjectKind kind, RowId id, const std::wstring& keyName) {
    KeyId key = 0;
    bool isNew = false;
    Keep(_keys.CreateKey(_rootKey, std::wstring(KeyContainer(kind)) + L"\\" + keyName, false, key, isNew));
    Run(SetKeyStatement(kind), key, id);
    return key;
}

void ClusterStore::DeleteObjectKey(ObjectKind kind, const std::wstring& keyName) {
    const DWORD code = _keys.DeleteTree(_rootKey, std::wstring(KeyContainer(kind)) + L"\\" + keyName);
    if (code != error::FileNotFound) Keep(code);
}

void ClusterStore::WriteText(KeyId key, const wchar_t* name, const std::wstring& text) {
    Keep(_keys.SetValue(key, name, REG_SZ, ToUtf16(text)));
}

void ClusterStore::WriteNumber(KeyId key, const wchar_t* name, DWORD number) {
    const BYTE bytes[] = {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8), static_cast<BYTE>(number >> 16),
                          static_cast<BYTE>(number >> 24)};
    Keep(_keys.SetValue(key, name, REG_DWORD, bytes));
}

RowId ClusterStore::InsertNode(const std::wstring& name) {
    const std::wstring folded = FoldCase(name);
    Run("INSERT INTO nodes (name, folded, key_id, state) VALUES (?, ?, 0, 0)", name, folded);
    const RowId id = InsertedId();
    const KeyId key = MakeObjectKey(ObjectKind::Node, id, std::to_wstring(id));
    WriteText(key, L"NodeName", name);
    _model.nodes.Insert({id, name, key, ClusterNodeUp}, folded);
    Touch(Section::Nodes);
    return id;
}

void ClusterStore::SetNodeState(RowId node, DWORD state) {
    Run("UPDATE nodes SET state = ? WHERE id = ?", state, node);
    _model.nodes.Find(node)->state = state;
    Touch(Section::Nodes);
}

void ClusterStore::EraseNode(RowId node) {
    EraseInterfaces(&IsOfNode, node);
    for (const auto& [id, group] : _model.groups.All()) std::erase(_model.groups.Find(id)->preferredOwners, node);
    Touch(Section::Groups);
    Touch(Section::Resources);
    Run("DELETE FROM nodes WHERE id = ?", node);
    DeleteObjectKey(ObjectKind::Node, std::to_wstring(node));
    _model.nodes.Erase(node, FoldCase(_model.nodes.Find(node)->name));
    Touch(Section::Nodes);
    for (const auto& [id, resource] : _model.resources.All()) {
        std::vector<RowId>& owners = _model.resources.Find(id)->possibleOwners.nodes;
        if (std::erase(owners, node) + owners.size() == 0) continue;
        if (owners.size() == _model.nodes.All().size()) SetForEveryNode(id, true);
    }
}

RowId ClusterStore::InsertNetwork(const NetworkDescription& network, const std::wstring& identifier) {
    const std::wstring folded = FoldCase(network.name);
    Run("INSERT INTO networks (name, folded, key_id, state, identifier, address, mask) VALUES (?, ?, 0, 3, ?, ?, ?)",
        network.name, folded, identifier, network.address, network.mask);
    const RowId id = InsertedId();
    const KeyId key = MakeObjectKey(ObjectKind::Network, id, identifier);
    WriteText(key, L"Name", network.name);
    WriteText(key, L"Address", network.address);
    WriteText(key, L"AddressMask", network.mask);
    WriteText(key, L"Description", network.description);
    WriteNumber(key, L"Role", network.role);
    _model.networks.Insert({id, network.name, key, ClusterNetworkUp, identifier, network.address, network.mask},
                           folded);
    Touch(Section::Networks);
    return id;
}

void ClusterStore::SetNetworkState(RowId network, DWORD state) {
    Run("UPDATE networks SET state = ? WHERE id = ?", state, network);
    _model.networks.Find(network)->state = state;
    Touch(Section::Networks);
}

void ClusterStore::EraseNetwork(RowId network) {
    EraseInterfaces(&IsOfNetwork, network);
    Run("DELETE FROM networks WHERE id = ?", network);
    const NetworkRecord record = *_model.networks.Find(network);
    DeleteObjectKey(ObjectKind::Network, record.identifier);
    _model.networks.Erase(network, FoldCase(record.name));
    Touch(Section::Networks);
}

RowId ClusterStore::InsertInterface(RowId node, RowId network, const std::wstring& name, const std::wstring& address) {
    const std::wstring folded = FoldCase(name);
    Run("INSERT INTO interfaces (name, folded, key_id, state, node, network, address) VALUES (?, ?, 0, 3, ?, ?, ?)",
        name, folded, node, network, address);
    const RowId id = InsertedId();
    const KeyId key = MakeObjectKey(ObjectKind::NetworkInterface, id, std::to_wstring(id));
    WriteText(key, L"Name", name);
    WriteText(key, L"Address", address);
    _model.interfaces.Insert({id, name, key, ClusterNetInterfaceUp, node, network, address}, folded);
    Touch(Section::Interfaces);
    return id;
}

void ClusterStore::SetInterfaceState(RowId networkInterface, DWORD state) {
    Run("UPDATE interfaces SET state = ? WHERE id = ?", state, networkInterface);
    _model.interfaces.Find(networkInterface)->state = state;
    Touch(Section::Interfaces);
}

// The rows go with the row of their node or network.
void ClusterStore::EraseInterfaces(bool (*isOf)(const InterfaceRecord&, RowId), RowId id) {
    std::vector<InterfaceRecord> erased;
    for (const auto& [number, record] : _model.interfaces.All()) {
        if (isOf(record, id)) erased.push_back(record);
    }
    for (const InterfaceRecord& record : erased) {
        DeleteObjectKey(ObjectKind::NetworkInterface, std::to_wstring(record.id));
        _model.interfaces.Erase(record.id, FoldCase(record.name));
    }
    Touch(Section::Interfaces);
}

RowId ClusterStore::InsertDisk(const SharedDisk& disk) {
    Run("INSERT INTO disks (signature, scsi_address, number) VALUES (?, ?, ?)", disk.signature, disk.scsiAddress,
        disk.number);
    const RowId id = InsertedId();
    for (std::size_t place = 0; place < disk.partitions.size(); ++place) {
        const DiskPartition& partition = disk.partitions[place];
        Run("INSERT INTO partitions (disk, place, drive, label, serial) VALUES (?, ?, ?, ?, ?)", id, place,
            partition.drive, partition.label, partition.serialNumber);
    }
    _model.disks.emplace(id, disk);
    Touch(Section::Disks);
    return id;
}

RowId ClusterStore::InsertType(const std::wstring& name) {
    const std::wstring folded = FoldCase(name);
    Run("INSERT INTO types (name, folded, key_id) VALUES (?, ?, 0)", name, folded);
    const RowId id = InsertedId();
    const KeyId key = MakeObjectKey(ObjectKind::ResourceType, id, name);
    _model.types.Insert({id, name, key}, folded);
    Touch(Section::Types);
    return id;
}

RowId ClusterStore::InsertGroup(const std::wstring& name, RowId owner) {
    const std::wstring folded = FoldCase(name);
    Run("INSERT INTO resource_groups (name, folded, key_id, owner, asked_online) VALUES (?, ?, 0, ?, 0)", name, folded,
        owner);
    const RowId id = InsertedId();
    const KeyId key = MakeObjectKey(ObjectKind::Group, id, std::to_wstring(id));
    WriteText(key, L"Name", name);
    GroupRecord group;
    group.id = id;
    group.name = name;
    group.key = key;
    group.owner = owner;
    _model.groups.Insert(std::move(group), folded);
    Touch(Section::Groups);
    return id;
}

void ClusterStore::RenameGroup(RowId group, const std::wstring& name) {
    const GroupRecord& record = *_model.groups.Find(group);
    const std::wstring folded = FoldCase(name);
    Run("UPDATE resource_groups SET name = ?, folded = ? WHERE id = ?", name, folded, group);
    WriteText(record.key, L"Name", name);
    _model.groups.Rename(group, FoldCase(record.name), folded, name);
    Touch(Section::Groups);
}

void ClusterStore::SetGroupOwner(RowId group, RowId node) {
    Run("UPDATE resource_groups SET owner = ? WHERE id = ?", node, group);
    _model.groups.Find(group)->owner = node;
    Touch(Section::Groups);
}

void ClusterStore::SetAskedOnline(RowId group, bool isOnline) {
    GroupRecord& record = *_model.groups.Find(group);
    if (record.isAskedOnline == isOnline) return;
    Run("UPDATE resource_groups SET asked_online = ? WHERE id = ?", isOnline, group);
    record.isAskedOnline = isOnline;
    Touch(Section::Groups);
}

void ClusterStore::SetPreferredOwners(RowId group, const std::vector<RowId>& nodes) {
    Run("DELETE FROM preferred_owners WHERE resource_group = ?", group);
    for (std::size_t place = 0; place < nodes.size(); ++place) {
        Run("INSERT INTO preferred_owners (resource_group, place, node) VALUES (?, ?, ?)", group, place, nodes[place]);
    }
    _model.groups.Find(group)->preferredOwners = nodes;
    Touch(Section::Groups);
}

void ClusterStore::EraseGroup(RowId group) {
    Run("DELETE FROM resource_groups WHERE id = ?", group);
    DeleteObjectKey(ObjectKind::Group, std::to_wstring(group));
    _model.groups.Erase(group, FoldCase(_model.groups.Find(group)->name));
    Touch(Section::Groups);
}

RowId ClusterStore::InsertResource(RowId group, RowId type, const std::wstring& name) {
    const std::wstring folded = FoldCase(name);
    Run("INSERT INTO resources (name, folded, key_id, type, resource_group, state) VALUES (?, ?, 0, ?, ?, ?)", name,
        folded, type, group, static_cast<DWORD>(ClusterResourceOffline));
    const RowId id = InsertedId();
    const KeyId key = MakeObjectKey(ObjectKind::Resource, id, std::to_wstring(id));
    WriteText(key, L"Name", name);
    WriteText(key, L"Type", _model.types.Find(type)->name);
    KeyId parameters = 0;
    bool isNew = false;
    Keep(_keys.CreateKey(key, L"Parameters", false, parameters, isNew));
    ResourceRecord resource;
    resource.id = id;
    resource.name = name;
    resource.key = key;
    resource.type = type;
    resource.group = group;
    resource.state = ClusterResourceOffline;
    _model.resources.Insert(std::move(resource), folded);
    _model.groups.Find(group)->resources.insert(id);
    Touch(Section::Resources);
    return id;
}

void ClusterStore::SetResourceState(RowId resource, DWORD state) {
    Run("UPDATE resources SET state = ? WHERE id = ?", state, resource);
    _model.resources.Find(resource)->state = state;
    Touch(Section::Resources);
}

void ClusterStore::AddPossibleOwner(RowId resource, RowId node) {
    std::vector<RowId>& owners = _model.resources.Find(resource)->possibleOwners.nodes;
    owners.insert(std::ranges::lower_bound(owners, node), node);
    Run("INSERT INTO possible_owners (resource, node) VALUES (?, ?)", resource, node);
    if (owners.size() == _model.nodes.All().size()) SetForEveryNode(resource, true);
    Touch(Section::Resources);
}

void ClusterStore::RemovePossibleOwner(RowId resource, RowId node) {
    PossibleOwners& owners = _model.resources.Find(resource)->possibleOwners;
    if (owners.isEveryNode) {
        SetForEveryNode(resource, false);
        for (const auto& [id, record] : _model.nodes.All()) owners.nodes.push_back(id);
        Run("INSERT INTO possible_owners (resource, node) SELECT ?, id FROM nodes", resource);
    }
    std::erase(owners.nodes, node);
    Run("DELETE FROM possible_owners WHERE resource = ? AND node = ?", resource, node);
    Touch(Section::Resources);
}

void ClusterStore::SetForEveryNode(RowId resource, bool isForEvery) {
    Run("UPDATE resources SET every_node = ? WHERE id = ?", isForEvery, resource);
    Run("DELETE FROM possible_owners WHERE resource = ?", resource);
    _model.resources.Find(resource)->possibleOwners = {isForEvery, {}};
    Touch(Section::Resources);
}

void ClusterStore::AddDependency(RowId resource, RowId provider) {
    Run("INSERT INTO dependencies (resource, provider) VALUES (?, ?)", resource, provider);
    _model.resources.Find(resource)->providers.insert(provider);
    _model.resources.Find(provider)->dependents.insert(resource);
    Touch(Section::Resources);
}

void ClusterStore::RemoveDependency(RowId resource, RowId provider) {
    Run("DELETE FROM dependencies WHERE resource = ? AND provider = ?", resource, provider);
    _model.resources.Find(resource)->providers.erase(provider);
    _model.resources.Find(provider)->dependents.erase(resource);
    Touch(Section::Resources);
}

void ClusterStore::EraseResource(RowId resource) {
    const ResourceRecord record = *_model.resources.Find(resource);
    Run("DELETE FROM resources WHERE id = ?", resource);
    DeleteObjectKey(ObjectKind::Resource, std::to_wstring(resource));
    for (const RowId provider : record.providers) _model.resources.Find(provider)->dependents.erase(resource);
    _model.groups.Find(record.group)->resources.erase(resource);
    _model.resources.Erase(resource, FoldCase(record.name));
    Touch(Section::Resources);
}

}  // namespace platform::embedded
