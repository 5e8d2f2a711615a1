#include <platform/engines/embedded/ClusterModel.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>

#include <algorithm>

namespace platform::embedded {

namespace {

/// Everything reached from `start`, each behind all that is reached from it. Without recursion, because a chain of
/// dependencies may be as long as the cluster has resources.
std::vector<RowId> ReachedFirst(const Table<ResourceRecord>& resources, const std::set<RowId>& start,
                                std::set<RowId> ResourceRecord::*next) {
    struct Step {
        RowId id;
        std::set<RowId>::const_iterator at;
    };
    std::vector<RowId> order;
    std::set<RowId> entered;
    std::vector<Step> path;
    const auto enter = [&](RowId id) {
        if (entered.insert(id).second) path.push_back({id, (resources.Find(id)->*next).begin()});
    };
    for (const RowId first : start) {
        enter(first);
        while (!path.empty()) {
            Step& step = path.back();
            if (step.at == (resources.Find(step.id)->*next).end()) {
                order.push_back(step.id);
                path.pop_back();
            } else {
                enter(*step.at++);
            }
        }
    }
    return order;
}

template <typename Record, typename Ids>
bool HasAll(const Table<Record>& table, const Ids& ids) {
    return std::ranges::all_of(ids, [&](RowId id) { return table.Find(id) != nullptr; });
}

}  // namespace

bool IsObjectName(std::wstring_view name) {
    const auto isFit = [](wchar_t character) { return IsCharacter(character) && !IsControl(character); };
    return !name.empty() && name.size() <= longestName && std::ranges::all_of(name, isFit);
}

bool IsNewName(std::wstring_view name) {
    return IsObjectName(name) && std::ranges::all_of(name, IsNameCharacter);
}

bool NodeRecord::IsRunning() const {
    return state == ClusterNodeUp || state == ClusterNodePaused;
}

bool PossibleOwners::contains(RowId node) const {
    return isEveryNode || std::ranges::binary_search(nodes, node);
}

bool ClusterModel::Link() {
    return LinkGroups() && LinkResources() && HasEveryInterface() && HasNoCircle();
}

bool ClusterModel::LinkGroups() {
    for (const auto& [id, record] : groups.All()) {
        groups.Find(id)->resources.clear();
        if (!nodes.Find(record.owner)) return false;
        const std::set<RowId> preferred(record.preferredOwners.begin(), record.preferredOwners.end());
        if (preferred.size() != record.preferredOwners.size() || !HasAll(nodes, preferred)) return false;
    }
    return true;
}

bool ClusterModel::LinkResources() {
    for (const auto& [id, record] : resources.All()) {
        resources.Find(id)->dependents.clear();
        GroupRecord* const group = groups.Find(record.group);
        if (!group || !types.Find(record.type) || !HasAll(nodes, record.possibleOwners.nodes)) return false;
        if (record.possibleOwners.isEveryNode && !record.possibleOwners.nodes.empty()) return false;
        group->resources.insert(id);
    }
    for (const auto& [id, record] : resources.All()) {
        for (const RowId providerId : record.providers) {
            ResourceRecord* const provider = resources.Find(providerId);
            if (!provider || provider->group != record.group) return false;
            provider->dependents.insert(id);
        }
    }
    return true;
}

bool ClusterModel::HasEveryInterface() const {
    std::set<std::pair<RowId, RowId>> places;
    for (const auto& [id, record] : interfaces.All()) {
        if (!nodes.Find(record.node) || !networks.Find(record.network)) return false;
        if (!places.emplace(record.node, record.network).second) return false;
    }
    return places.size() == nodes.All().size() * networks.All().size();
}

bool ClusterModel::HasNoCircle() const {
    std::map<RowId, std::size_t> missing;
    std::vector<RowId> ready;
    for (const auto& [id, record] : resources.All()) {
        if (!record.providers.empty())
            missing.emplace_hint(missing.end(), id, record.providers.size());
        else if (!record.dependents.empty())
            ready.push_back(id);
    }
    const std::size_t roots = ready.size();
    for (std::size_t settled = 0; settled < ready.size(); ++settled) {
        for (const RowId dependent : resources.Find(ready[settled])->dependents) {
            if (--missing[dependent] == 0) ready.push_back(dependent);
        }
    }
    return ready.size() - roots == missing.size();
}

DWORD ClusterModel::GroupState(const GroupRecord& group) const {
    if (group.resources.empty()) return group.isAskedOnline ? ClusterGroupOnline : ClusterGroupOffline;
    bool isAllOnline = true;
    bool isAllOffline = true;
    bool isAnyFailed = false;
    for (const RowId id : group.resources) {
        const DWORD state = resources.Find(id)->state;
        isAllOnline = isAllOnline && state == ClusterResourceOnline;
        isAllOffline = isAllOffline && state == ClusterResourceOffline;
        isAnyFailed = isAnyFailed || state == ClusterResourceFailed;
    }
    if (isAllOnline) return ClusterGroupOnline;
    if (isAllOffline) return ClusterGroupOffline;
    return isAnyFailed ? ClusterGroupFailed : ClusterGroupPartialOnline;
}

bool ClusterModel::HasOnline(const GroupRecord& group) const {
    if (group.resources.empty()) return group.isAskedOnline;
    return std::ranges::any_of(group.resources,
                               [&](RowId id) { return resources.Find(id)->state == ClusterResourceOnline; });
}

DWORD ClusterModel::InterfaceState(const InterfaceRecord& networkInterface) const {
    return nodes.Find(networkInterface.node)->IsRunning() ? networkInterface.state : ClusterNetInterfaceUnavailable;
}

const InterfaceRecord* ClusterModel::InterfaceOf(RowId node, RowId network) const {
    for (const auto& [id, record] : interfaces.All()) {
        if (record.node == node && record.network == network) return &record;
    }
    return nullptr;
}

const SharedDisk* ClusterModel::DiskOf(DWORD signature) const {
    for (const auto& [id, disk] : disks) {
        if (disk.signature == signature) return &disk;
    }
    return nullptr;
}

std::vector<RowId> ClusterModel::PossibleOwnersOf(const ResourceRecord& resource) const {
    if (!resource.possibleOwners.isEveryNode) return resource.possibleOwners.nodes;
    std::vector<RowId> all;
    for (const auto& [id, node] : nodes.All()) all.push_back(id);
    return all;
}

std::vector<RowId> ClusterModel::ProvidersFirst(const std::set<RowId>& start) const {
    return ReachedFirst(resources, start, &ResourceRecord::providers);
}

std::vector<RowId> ClusterModel::DependentsFirst(const std::set<RowId>& start) const {
    return ReachedFirst(resources, start, &ResourceRecord::dependents);
}

bool ClusterModel::DependsOn(RowId resource, RowId provider) const {
    const std::vector<RowId> reached = ProvidersFirst({resource});
    return std::ranges::find(reached, provider) != reached.end();
}

bool ClusterModel::operator==(const ClusterModel& other) const {
    const auto isSamePartition = [](const DiskPartition& left, const DiskPartition& right) {
        return left.drive == right.drive && left.label == right.label && left.serialNumber == right.serialNumber;
    };
    const auto isSameDisk = [&](const auto& left, const auto& right) {
        return left.first == right.first && left.second.signature == right.second.signature &&
               left.second.scsiAddress == right.second.scsiAddress && left.second.number == right.second.number &&
               std::ranges::equal(left.second.partitions, right.second.partitions, isSamePartition);
    };
    return nodes == other.nodes && networks == other.networks && interfaces == other.interfaces &&
           types == other.types && groups == other.groups && resources == other.resources &&
           std::ranges::equal(disks, other.disks, isSameDisk);
}

const wchar_t* GroupStateWord(DWORD state) {
    switch (state) {
        case ClusterGroupOnline: return L"online";
        case ClusterGroupOffline: return L"offline";
        case ClusterGroupFailed: return L"failed";
        default: return L"partially online";
    }
}

const wchar_t* ResourceStateWord(DWORD state) {
    switch (state) {
        case ClusterResourceOnline: return L"online";
        case ClusterResourceOffline: return L"offline";
        default: return L"failed";
    }
}

const wchar_t* NodeStateWord(DWORD state) {
    switch (state) {
        case ClusterNodeUp: return L"up";
        case ClusterNodeDown: return L"down";
        default: return L"paused";
    }
}

DWORD NotFoundCode(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::Resource: return error::ResourceNotFound;
        case ObjectKind::ResourceType: return error::ResourceTypeNotFound;
        case ObjectKind::Group: return error::GroupNotFound;
        case ObjectKind::Node: return error::ClusterNodeNotFound;
        case ObjectKind::Network: return error::ClusterNetworkNotFound;
        case ObjectKind::NetworkInterface: return error::ClusterNetInterfaceNotFound;
    }
    return error::InvalidParameter;
}

}  // namespace platform::embedded
