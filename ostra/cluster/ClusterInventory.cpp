#include <ostra/cluster/Cluster.h>

#include <ostra/cluster/NetworkInterfaces.h>
#include <ostra/cluster/Networks.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/ResourceType.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <ostra/network/NTClusterDisks.h>
#include <ostra/network/NetworkAdapters.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>

#include <utility>

namespace OstraDLL {

void Cluster::DiscoverInventory() {
    SetStatusBarText(L"Initiating networks...", 0);
    GetAllNetworks();
    SetStatusBarText(L"Initiating networkInterface...", 0);
    GetAllNetworkInterfaces();
    _past->lists.push_back(_resourceTypes);
    _resourceTypes = MakeSharedOrNull<OwnedComponents>();
    if (!_resourceTypes) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating ResourceType list.");
    SetStatusBarText(L"Initiating disks...", 0);
    _past->lists.push_back(_clusterDisks);
    _clusterDisks = MakeOrNull<NTClusterDisks>(_clusterName);
    ChooseDefaultDisk();
    if (!_defaultClusterDisk) {
        DisplayFailure(_error, L"Cluster::Initialize( ). Failure initializing default disk drive.");
    }
    _past->lists.push_back(_networkAdapters);
    _networkAdapters = MakeOrNull<NetworkAdapters>(_name, _clusterHandle, 0, 0);
    ChooseDefaultAdapter();
    if (!_defaultNetworkAdapter) {
        DisplayFailure(_error, L"Cluster::Initialize( ). Failure newing _defaultNetworkAdapter for " + _name);
    }
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
    _past->lists.push_back(_networks);
    _networks = MakeOrNull<Networks>(_clusterName, _clusterHandle);
    if (_networks) return static_cast<DWORD>(_networks->GetCount());
    DisplayFailure(_error, L"Cluster::GetAllNetworks( int ). Failure newing Networks.");
    return 0;
}

DWORD Cluster::GetAllNetworkInterfaces() {
    _past->lists.push_back(_networkInterfaces);
    _networkInterfaces = MakeOrNull<NetworkInterfaces>(_clusterName, _clusterHandle);
    if (_networkInterfaces) return static_cast<DWORD>(_networkInterfaces->GetCount());
    DisplayFailure(_error, L"Cluster::GetAllNetworkInterfaces( int ). Failure newing NetworkInterfaces.");
    return 0;
}

DWORD Cluster::GetAllResourceTypes() {
    if (!_resourceTypes) {
        SetLastError(platform::error::NotReady);
        return 0;
    }
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> types(
        ClusterOpenEnum(_clusterHandle, CLUSTER_ENUM_RESTYPE));
    if (!types) {
        DisplayFailure(_error, L"Cluster::GetAllResoruceTypes(  ). Failure calling ClusterOpenEnum( ).");
        return 0;
    }
    DWORD stored = 0;
    const auto store = [this, &stored](const std::wstring& name) {
        const auto* known = _resourceTypes->Member<ResourceType>(name);
        if (!known || known->Handle() != _clusterHandle) {
            auto type = MakeOrNull<ResourceType>(name, _clusterHandle, _clusterName);
            if (!type) return;
            _resourceTypes->Store(name, std::move(type));
        }
        ++stored;
    };
    ForEachName(types.Get(), &ClusterEnum, store, [this](DWORD code) {
        DisplayFailure(_error, L"Cluster::GetAllResoruceTypes( int ). Failure calling ClusterEnum( )." +
                                   _error.GetErrorString(code));
    });
    return stored;
}

// The disks and the adapters that stood before are deleted, as callers are told, and not kept: programs ask for these
// lists again and again, each with all of its disks or pools.
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
