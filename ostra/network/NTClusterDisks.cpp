#include <ostra/network/NTClusterDisks.h>

#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <ostra/properties/ObjectProperties.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/control_codes.h>

#include <algorithm>
#include <span>

namespace {

using OpenNode = platform::SharedHandle<HNODE, CloseClusterNode>;
using OpenResource = platform::SharedHandle<HRESOURCE, CloseClusterResource>;
using OpenEnumeration = platform::SharedHandle<HCLUSENUM, ClusterCloseEnum>;

constexpr std::size_t descriptionsOfADisk = 6;
constexpr std::size_t descriptionsKept = 5;  // the serial number, which comes last, is not
constexpr DWORD nameRoom = 255;              // characters

std::wstring ValueOf(const StringMap& attributes, const wchar_t* name) {
    const auto attribute = attributes.find(name);
    return attribute == attributes.end() ? std::wstring() : attribute->second;
}

}  // namespace

NTClusterDisks::NTClusterDisks(const std::wstring& clusterName)
    : _openedCluster(clusterName), _ownCluster(OpenCluster(clusterName.c_str())) {
    _hCluster = _ownCluster.Get();
    if (_hCluster)
        Discover();
    else
        DisplayFailure(_error, L"Failure calling ClusApi::OpenCluster( ). " + _error.GetErrorString(GetLastError()));
}

NTClusterDisks::NTClusterDisks(HCLUSTER cluster) : _hCluster(cluster) {
    if (_hCluster)
        Discover();
    else
        RefuseHandle(L"NTClusterDisk::NTClusterDisk( ). Invalid cluster handle. ");
}

int NTClusterDisks::Status(int) {
    return 0;
}

Disk* NTClusterDisks::Find(const DiskMap* disks, const std::wstring& drive) const {
    if (!disks) return nullptr;
    const auto found = disks->find(drive);
    return found != disks->end() && found->second->Partition() == drive ? found->second : nullptr;
}

Disk* NTClusterDisks::FindBySignature(const DiskMap* disks, const std::wstring& signature) const {
    if (!disks) return nullptr;
    const auto found = disks->find(signature);
    return found != disks->end() && found->second->Signature() == signature ? found->second : nullptr;
}

Disk* NTClusterDisks::FindBySignatureInDWORD(const DiskMap* disks, const std::wstring& decimalSignature) const {
    if (!disks) return nullptr;
    for (const auto& [drive, disk] : *disks) {
        // By its text, because the number of a disk in use does not come from an attribute.
        const auto signature = static_cast<LONG>(platform::ParseHexadecimal(disk->Signature()));
        if (std::to_wstring(signature) == decimalSignature) return disk;
    }
    return nullptr;
}

void NTClusterDisks::RefuseHandle(const std::wstring& failure) const {
    DisplayFailure(_error, failure);
    SetLastError(platform::error::InvalidHandle);
}

void NTClusterDisks::Discover() {
    GetUsedDiskAttributes(_hCluster);
    GetAvailableDiskAttributes(_hCluster);  // after those in use, whose drives it leaves out
    for (const auto& [drive, disk] : _availables) _availableDrives[disk->Partition()] = disk->Signature();
}

DWORD NTClusterDisks::GetUsedDiskAttributes(HCLUSTER cluster) {
    if (!cluster) {
        RefuseHandle(L"NTClusterDisks::GetUsedDisk( ). Failure calling OpenCluster( ).");
        return 0;
    }
    _hCluster = cluster;
    _used.clear();
    _usedDisks.clear();
    GetAllResources();
    DWORD count = 0;
    for (const std::wstring& name : _diskResources) {
        const OpenResource resource(OpenClusterResource(_hCluster, name.c_str()));
        if (!resource) {
            DisplayFailure(_error,
                           L"NTClusterDisks::GetUsedDiskAttributes( HCLUSTER ). Invalid cluster resource." + name);
            continue;
        }
        StringMap attributes;
        count = ResourceProperties(resource.Get()).Get(&attributes, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO);
        if (count > 0) AddUsedDisk(name, attributes);
    }
    return count;
}

void NTClusterDisks::AddUsedDisk(const std::wstring& resourceName, const StringMap& attributes) {
    const std::wstring partition = ValueOf(attributes, L"Partition");
    if (Find(&_used, partition)) return;
    auto disk = std::make_unique<Disk>();
    disk->Set(resourceName, ValueOf(attributes, L"Disk Number"), partition, ValueOf(attributes, L"Signature"),
              ValueOf(attributes, L"Volumne Lable"), ValueOf(attributes, L"Serial Number"),
              ValueOf(attributes, L"SCSI Address"));
    _used[partition] = disk.get();
    _usedDisks.push_back(std::move(disk));
}

DWORD NTClusterDisks::GetAvailableDiskAttributes(HCLUSTER cluster) {
    if (!cluster) {
        RefuseHandle(L"NTClusterDisks::GetAvailableDisk( ). Failure calling OpenCluster( ).");
        return 0;
    }
    _hCluster = cluster;
    _availables.clear();
    _availableDisks.clear();
    GetAllNodes();
    DWORD count = 0;
    for (const std::wstring& name : _nodes) {
        const OpenNode node(OpenClusterNode(_hCluster, name.c_str()));
        if (!node) {
            DisplayFailure(_error,
                           L"NTClusterDisks::GetAvailableDiskAttributes( HCLUSTER ). Invalid cluster node." + name);
            continue;
        }
        StringArray descriptions;
        count = ResourceTypeProperties(_hCluster).Get(physicalDiskType, &descriptions,
                                                      CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS, node.Get());
        const std::span<const std::wstring> all(descriptions);
        for (std::size_t start = 0; start + descriptionsOfADisk <= all.size(); start += descriptionsOfADisk)
            AddAvailableDisk(all.subspan(start, descriptionsKept));
    }
    return count;
}

void NTClusterDisks::AddAvailableDisk(std::span<const std::wstring> descriptions) {
    auto disk = std::make_unique<Disk>();
    for (const std::wstring& description : descriptions) {
        const std::size_t end = std::min(description.find(L'='), description.size());
        disk->Set(description.substr(0, end), description.substr(std::min(end + 1, description.size())));
    }
    const std::wstring partition = disk->Partition();
    if (Find(&_availables, partition) || Find(&_used, partition)) return;
    _availables[partition] = disk.get();
    _availableDisks.push_back(std::move(disk));
}

int NTClusterDisks::GetAllNodes() {
    const auto add = [this](const std::wstring& name) { _nodes.push_back(name); };
    return Walk(CLUSTER_ENUM_NODE, add, L"NTClusterDisks::GetAllNodes(  ). Failure calling ClusterOpenEnum( ).",
                L"NTClusterDisks::GetAllNodes( int ). Failure calling ClusterEnum( ).");
}

int NTClusterDisks::GetAllResources() {
    const auto add = [this](const std::wstring& name) { GetPhysicalDiskResources(name); };
    return Walk(CLUSTER_ENUM_RESOURCE, add, L"NTClusterDisks::GetAllResources(  ). Failure calling ClusterOpenEnum( ).",
                L"NTClusterDisks::GetAllResources( int ). Failure calling ClusterEnum( ).");
}

int NTClusterDisks::Walk(DWORD types, const std::function<void(const std::wstring&)>& visit,
                         const std::wstring& openFailure, const std::wstring& itemFailure) {
    const OpenEnumeration enumeration(ClusterOpenEnum(_hCluster, types));
    if (!enumeration) {
        DisplayFailure(_error, openFailure);
        return -1;
    }
    const auto report = [&](DWORD code) { DisplayFailure(_error, itemFailure + _error.GetErrorString(code)); };
    return static_cast<int>(ForEachName<nameRoom>(enumeration.Get(), &ClusterEnum, visit, report));
}

DWORD NTClusterDisks::GetPhysicalDiskResources(const std::wstring& resourceName) {
    const OpenResource resource(OpenClusterResource(_hCluster, resourceName.c_str()));
    if (!resource) return 0;
    StringMap attributes;
    const DWORD count = ResourceProperties(resource.Get()).Get(&attributes, CLUSCTL_RESOURCE_GET_COMMON_PROPERTIES);
    if (ValueOf(attributes, L"Type") == physicalDiskType) _diskResources.push_back(resourceName);
    return count;
}
