#include <ostra/cluster/Cluster.h>

#include <ostra/cluster/NetworkInterfaces.h>
#include <ostra/cluster/Networks.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/Resource.h>
#include <ostra/cluster/ResourceType.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <ostra/network/NTClusterDisks.h>
#include <ostra/network/NetworkAdapters.h>
#include <ostra/network/TCPIPAddress.h>
#include <platform/base/error_codes.h>

#include <utility>

namespace OstraDLL {

void Cluster::DiscoverInventory() {
    SetStatusBarText(L"Initiating networks...", 0);
    GetAllNetworks();
    SetStatusBarText(L"Initiating networkInterface...", 0);
    GetAllNetworkInterfaces();
    Retire(_resourceTypes);
    _resourceTypes = MakeOrNull<OwnedComponents>();
    if (!_resourceTypes) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating ResourceType list.");
    SetStatusBarText(L"Initiating disks...", 0);
    Retire(_clusterDisks);
    _clusterDisks = MakeOrNull<NTClusterDisks>(_clusterName);
    ChooseDefaultDisk();
    if (!_defaultClusterDisk) {
        DisplayFailure(_error, L"Cluster::Initialize( ). Failure initializing default disk drive.");
    }
    Retire(_networkAdapters);
    _networkAdapters = MakeOrNull<NetworkAdapters>(_name, _clusterHandle, 0, 0);
    ChooseDefaultAdapter();
    if (!_defaultNetworkAdapter) {
        DisplayFailure(_error, L"Cluster::Initialize( ). Failure newing _defaultNetworkAdapter for " + _name);
    }
}

void Cluster::Retire(const std::shared_ptr<void>& object) {
    if (object) _kept->push_back(object);
}

void Cluster::ChooseDefaultDisk() {
    _defaultClusterDisk = nullptr;
    if (!_clusterDisks || _clusterDisks->Availables()->empty()) return;
    _defaultClusterDisk = _clusterDisks->Availables()->begin()->second;
}

void Cluster::ChooseDefaultAdapter() {
    _defaultNetworkAdapter = nullptr;
    if (!_networkAdapters || _networkAdapters->Adapters()->empty()) return;
    _defaultNetworkAdapter = _networkAdapters->Adapters()->begin()->second;
}

DWORD Cluster::GetAllNetworks() {
    Retire(_networks);
    _networks = MakeOrNull<Networks>(_clusterName, _clusterHandle);
    if (_networks) return static_cast<DWORD>(_networks->GetCount());
    DisplayFailure(_error, L"Cluster::GetAllNetworks( int ). Failure newing Networks.");
    return 0;
}

DWORD Cluster::GetAllNetworkInterfaces() {
    Retire(_networkInterfaces);
    _networkInterfaces = MakeOrNull<NetworkInterfaces>(_clusterName, _clusterHandle);
    if (_networkInterfaces) return static_cast<DWORD>(_networkInterfaces->GetCount());
    DisplayFailure(_error, L"Cluster::GetAllNetworkInterfaces( int ). Failure newing NetworkInterfaces.");
    return 0;
}

DWORD Cluster::GetAllResourceTypes() {
    if (!_resourceTypes) return 0;
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> types(
        ClusterOpenEnum(_clusterHandle, CLUSTER_ENUM_RESTYPE));
    if (!types) {
        DisplayFailure(_error, L"Cluster::GetAllResoruceTypes(  ). Failure calling ClusterOpenEnum( ).");
        return 0;
    }
    DWORD stored = 0;
    ForEachName(
        types.Get(), &ClusterEnum,
        [this, &stored](const std::wstring& name) {
            auto type = MakeOrNull<ResourceType>(name, _clusterHandle, _clusterName);
            if (!type) return;
            _resourceTypes->Store(name, std::move(type));
            ++stored;
        },
        [this](DWORD code) {
            DisplayFailure(_error, L"Cluster::GetAllResoruceTypes( int ). Failure calling ClusterEnum( )." +
                                       _error.GetErrorString(code));
        });
    return stored;
}

NTClusterDisks* Cluster::GetClusterDisks() {
    _clusterDisks = nullptr;
    _clusterDisks = MakeOrNull<NTClusterDisks>(_name);
    ChooseDefaultDisk();
    return _clusterDisks.get();
}

NetworkAdapters* Cluster::GetNetworkAdapters() {
    _networkAdapters = nullptr;
    _networkAdapters = MakeOrNull<NetworkAdapters>(_name, HCLUSTER{}, 0, 0);
    ChooseDefaultAdapter();
    return _networkAdapters.get();
}

ClusterComponents* Cluster::ResourceTypesPtr() const {
    return _resourceTypes ? _resourceTypes->Index() : nullptr;
}

int Cluster::GetAllTCPIPAddresses(CArray<CObject*>* addresses, const std::wstring& networkAttribute,
                                  const std::wstring& addressAttribute, const std::wstring& resourceType) {
    printf(L"Cluster::GetAllTCPIPAddresses( CStringArray* ). On entry.\n");
    if (!addresses || !_resources) return 0;
    for (const auto& [key, object] : *_resources) {
        auto* resource = dynamic_cast<Resource*>(object);
        if (!resource) continue;
        resource->Discover(1);
        if (resource->Type() != resourceType) continue;
        auto record = MakeOrNull<TCPIPAddress>(resource->GetPrivateAttribute(addressAttribute), L"255.255.255.0",
                                               L"0.0.0.0", resource->GetPrivateAttribute(networkAttribute));
        if (record) addresses->Add(record.release());
    }
    return 0;
}

int Cluster::AdaptersJustChanged() const {
    return std::exchange(_adaptersJustChanged, 0);
}

int Cluster::UpdateNetworkAdapters(const std::wstring&, DWORD notification) {
    SetStatusBarText(L"Resetting NetworkAdapters in " + _name, 0);
    switch (notification) {
        case CLUSTER_CHANGE_NETWORK_ADDED:
        case CLUSTER_CHANGE_NETWORK_DELETED:
        case CLUSTER_CHANGE_NETWORK_PROPERTY: _adaptersJustChanged = 1; break;
        default: break;
    }
    return 0;
}

}  // namespace OstraDLL
