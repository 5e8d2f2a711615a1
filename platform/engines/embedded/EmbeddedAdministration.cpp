#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/EmbeddedClusterService.h>
#include <platform/engines/embedded/cluster_schema.h>
#include <platform/engines/embedded/network_addresses.h>
#include <platform/engines/embedded/online_checks.h>
#include <platform/engines/embedded/transitions.h>

#include <algorithm>

namespace platform::embedded {

namespace {

constexpr std::size_t longestPartitionText = 259;  // UTF-16 units, as a partition's record has room for
constexpr std::size_t longestDescription = 16'384;

// The lowest host number of the network that no other interface has; nothing when the network is full.
std::optional<DWORD> FreeAddress(const ClusterModel& model, const NetworkRecord& network) {
    const DWORD base = ParseAddress(network.address).value_or(0);
    const DWORD hosts = ~ParseAddress(network.mask).value_or(0);
    std::set<std::wstring> taken;
    for (const auto& [id, networkInterface] : model.interfaces.All()) {
        if (networkInterface.network == network.id) taken.insert(networkInterface.address);
    }
    for (DWORD host = 1; host < hosts; ++host) {
        if (!taken.contains(FormatAddress(base | host))) return base | host;
    }
    return std::nullopt;
}

DWORD CheckNetwork(const NetworkDescription& network) {
    if (!IsNewName(network.name)) return error::InvalidName;
    const std::optional<DWORD> address = ParseAddress(network.address);
    const std::optional<DWORD> mask = ParseAddress(network.mask);
    const bool isFit = address && mask && IsSubnet(*address, *mask) && network.role <= 3 &&
                       network.description.size() <= longestDescription;
    return isFit ? error::Success : error::InvalidParameter;
}

bool IsPartitionFit(const DiskPartition& partition) {
    return !partition.drive.empty() && Utf16Length(partition.drive) <= longestPartitionText &&
           Utf16Length(partition.label) <= longestPartitionText;
}

}  // namespace

// A node's interface is named after both, so that a name may be too long or taken although its parts are not.
DWORD EmbeddedClusterService::AddInterface(RowId node, RowId network) {
    const NetworkRecord& record = *Model().networks.Find(network);
    const std::wstring name = Model().nodes.Find(node)->name + L" - " + record.name;
    if (!IsNewName(name)) return error::InvalidName;
    if (Model().interfaces.FindByName(FoldCase(name))) return error::ObjectAlreadyExists;
    const std::optional<DWORD> address = FreeAddress(Model(), record);
    if (!address) return error::ClusterInvalidNetwork;
    _store->InsertInterface(node, network, name, FormatAddress(*address));
    _store->Note(name, CLUSTER_CHANGE_NETINTERFACE_ADDED, L"address " + FormatAddress(*address));
    return error::Success;
}

DWORD EmbeddedClusterService::AddNode(const std::wstring& name) {
    if (!IsNewName(name)) return error::InvalidName;
    return _store->Write([&] {
        if (Model().nodes.FindByName(FoldCase(name))) return error::ObjectAlreadyExists;
        const RowId node = _store->InsertNode(name);
        _store->Note(name, CLUSTER_CHANGE_NODE_ADDED, L"up");
        for (const auto& [id, network] : Model().networks.All()) {
            if (const DWORD code = AddInterface(node, id)) return code;
        }
        return error::Success;
    });
}

DWORD EmbeddedClusterService::AddNetwork(const NetworkDescription& network) {
    if (const DWORD code = CheckNetwork(network)) return code;
    return _store->Write([&] {
        if (Model().networks.FindByName(FoldCase(network.name))) return error::ObjectAlreadyExists;
        const RowId id = _store->InsertNetwork(network, NewIdentifier());
        _store->Note(network.name, CLUSTER_CHANGE_NETWORK_ADDED, network.address + L" mask " + network.mask);
        for (const auto& [node, record] : Model().nodes.All()) {
            if (const DWORD code = AddInterface(node, id)) return code;
        }
        return error::Success;
    });
}

DWORD EmbeddedClusterService::RemoveNetwork(ObjectId network) {
    return WriteOf(network, ObjectKind::Network, [&] {
        const std::wstring name = Model().networks.Find(network.number)->name;
        bool isInUse = false;
        if (const DWORD code = HasOnlineAddress(*_store, *Model().networks.Find(network.number), isInUse)) return code;
        if (isInUse) return error::ResourceOnline;
        for (const auto& [id, networkInterface] : Model().interfaces.All()) {
            if (networkInterface.network != network.number) continue;
            _store->Note(networkInterface.name, CLUSTER_CHANGE_NETINTERFACE_DELETED, L"");
        }
        _store->EraseNetwork(network.number);
        _store->Note(name, CLUSTER_CHANGE_NETWORK_DELETED, L"");
        return error::Success;
    });
}

// No notification tells of disks; the entry is for people.
DWORD EmbeddedClusterService::AddDisk(const SharedDisk& disk) {
    if (disk.signature == 0 || !std::ranges::all_of(disk.partitions, IsPartitionFit)) return error::InvalidParameter;
    return _store->Write([&] {
        if (Model().DiskOf(disk.signature)) return error::ObjectAlreadyExists;
        _store->InsertDisk(disk);
        _store->Note(L"Disk " + std::to_wstring(disk.number), 0, L"shared disk added");
        return error::Success;
    });
}

DWORD EmbeddedClusterService::Disks(std::vector<SharedDisk>& disks) {
    return _store->Read([&] {
        disks.clear();
        for (const auto& [id, disk] : Model().disks) disks.push_back(disk);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::TakeNodeDown(ObjectId node) {
    return WriteOf(node, ObjectKind::Node, [&] { return embedded::TakeNodeDown(*_store, node.number); });
}

DWORD EmbeddedClusterService::BringNodeUp(ObjectId node) {
    return WriteOf(node, ObjectKind::Node, [&] { return embedded::BringNodeUp(*_store, node.number); });
}

DWORD EmbeddedClusterService::FailResource(ObjectId resource) {
    return WriteOf(resource, ObjectKind::Resource, [&] { return embedded::FailResource(*_store, resource.number); });
}

DWORD EmbeddedClusterService::SetNetworkState(ObjectId network, DWORD state) {
    return WriteOf(network, ObjectKind::Network, [&] {
        if (state > ClusterNetworkUp) return error::InvalidParameter;
        const NetworkRecord& record = *Model().networks.Find(network.number);
        if (record.state == state) return error::Success;
        _store->SetNetworkState(record.id, state);
        _store->Note(record.name, CLUSTER_CHANGE_NETWORK_STATE, L"state " + std::to_wstring(state));
        return error::Success;
    });
}

DWORD EmbeddedClusterService::SetNetworkInterfaceState(ObjectId networkInterface, DWORD state) {
    return WriteOf(networkInterface, ObjectKind::NetworkInterface, [&] {
        if (state > ClusterNetInterfaceUp) return error::InvalidParameter;
        const InterfaceRecord& record = *Model().interfaces.Find(networkInterface.number);
        if (record.state == state) return error::Success;
        _store->SetInterfaceState(record.id, state);
        _store->Note(record.name, CLUSTER_CHANGE_NETINTERFACE_STATE, L"state " + std::to_wstring(state));
        return error::Success;
    });
}

DWORD EmbeddedClusterService::DeleteGroup(ObjectId group) {
    return WriteOf(group, ObjectKind::Group, [&] {
        const GroupRecord& record = *Model().groups.Find(group.number);
        if (!record.resources.empty()) return error::DirectoryNotEmpty;
        if (record.isAskedOnline) return error::InvalidState;
        const std::wstring name = record.name;
        _store->EraseGroup(group.number);
        _store->Note(name, CLUSTER_CHANGE_GROUP_DELETED, L"");
        return error::Success;
    });
}

DWORD EmbeddedClusterService::DeleteResource(ObjectId resource) {
    return WriteOf(resource, ObjectKind::Resource, [&] {
        const ResourceRecord record = *Model().resources.Find(resource.number);
        if (record.state == ClusterResourceOnline) return error::ResourceOnline;
        if (!record.dependents.empty()) return error::DependentResourceExists;
        const DWORD before = Model().GroupState(*Model().groups.Find(record.group));
        _store->EraseResource(resource.number);
        _store->Note(record.name, CLUSTER_CHANGE_RESOURCE_DELETED, L"");
        NoteGroupState(*_store, record.group, before);
        return error::Success;
    });
}

DWORD EmbeddedClusterService::Changes(std::int64_t number, std::size_t limit, std::vector<ClusterChange>& changes) {
    return _store->Read([&] {
        std::vector<ClusterChange> found;
        const DWORD code = _store->Changes(number, limit, found);
        if (code == error::Success) changes = std::move(found);
        return code;
    });
}

DWORD EmbeddedClusterService::LastChange(std::int64_t& number) {
    return _store->Read([&] {
        number = _store->LastChange();
        return error::Success;
    });
}

DWORD EmbeddedClusterService::CopyIntoMemory(std::shared_ptr<ClusterService>& copy) {
    std::unique_ptr<Database> database;
    std::unique_ptr<ClusterStore> store;
    DWORD code = Database::OpenMemory(ClusterSchema(), database);
    if (code == error::Success) code = _store->CopyTo(*database);
    if (code == error::Success) code = ClusterStore::Open(std::move(database), store);
    if (code == error::Success) copy = std::make_shared<EmbeddedClusterService>(std::move(store));
    return code;
}

}  // namespace platform::embedded
