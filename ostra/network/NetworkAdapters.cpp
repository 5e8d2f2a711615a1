#include <ostra/network/NetworkAdapters.h>

#include <ostra/cluster/Network.h>
#include <ostra/cluster/Networks.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/display.h>
#include <ostra/network/NetworkAdapter.h>
#include <ostra/network/TCPIPAddress.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/text.h>

namespace {

constexpr wchar_t eventSource[] = L"Ostra::NetworkAdapter";

}  // namespace

NetworkAdapters::NetworkAdapters(const std::wstring& clusterName, HCLUSTER cluster, int initialize,
                                 int recyclingAllowed)
    : _clusterName(clusterName),
      _clusterHandle(cluster),
      _networks(MakeOrNull<Networks>(clusterName, cluster)),
      _eventViewer(eventSource, NTEventViewer::Error, L"") {
    if (_networks)
        Initialize(initialize, recyclingAllowed);
    else
        DisplayFailure(_error,
                       L"NetworkAdapters::NetworkAdapters( CString& ). Failure calling ClusterNetworksKey::Open( ). " +
                           _error.GetErrorString(GetLastError()));
}

NetworkAdapters::NetworkAdapters(const NetworkAdapters& other)
    : CObject(other), _eventViewer(eventSource, NTEventViewer::Error, L"") {
    platform::WriteOutputLine(L"NetworkAdapters::NetworkAdapters( & adapter ). On entry");
}

NetworkAdapters::~NetworkAdapters() = default;

int NetworkAdapters::Initialize(int unused, int recyclingAllowed) {
    if (!_networks) return 0;
    for (const auto& [key, object] : *_networks) {
        const auto* network = dynamic_cast<const Network*>(object);
        const int role = network ? platform::ParseInteger(network->Role()) : 0;
        if (role < NetworkAdapter::lowestClientRole) continue;
        const std::wstring name = network->Name();
        auto adapter =
            MakeOrNull<NetworkAdapter>(_clusterName, _clusterHandle, network->ID(), name, network->IPAddress(),
                                       network->SubnetMask(), role, 0, L"", 0, unused, recyclingAllowed);
        if (!adapter) continue;
        if (NetworkAdapter* listed = FindAdapterByName(name)) {
            *listed = std::move(*adapter);  // in its place, because callers may hold it
            continue;
        }
        _adapters[name] = adapter.get();
        _adapterNames[name] = name;
        _ownedAdapters.push_back(std::move(adapter));
    }
    return 0;
}

NetworkAdapter* NetworkAdapters::FindAdapterByName(const std::wstring& name) const {
    const auto found = _adapters.find(name);
    return found == _adapters.end() ? nullptr : found->second;
}

NetworkAdapter* NetworkAdapters::FindAdapterByID(const std::wstring& iD) const {
    for (const auto& [name, adapter] : _adapters) {
        if (adapter->ID() != iD) continue;
        platform::WriteOutput(platform::Format(L"NetworkAdapters::Find( ). found %ws\n", iD.c_str()));
        return adapter;
    }
    return nullptr;
}

int NetworkAdapters::AllAdaptersAreInitialized() const {
    for (const auto& [name, adapter] : _adapters)
        if (!adapter->IsInitialized()) return 0;
    return 1;
}

int NetworkAdapters::GetIPAddressesToBeRecycled(const CArray<CObject*>* addresses) {
    if (addresses) {
        for (const CObject* object : *addresses) {
            const auto* record = dynamic_cast<const TCPIPAddress*>(object);
            NetworkAdapter* adapter = record ? FindAdapterByName(record->AdapterName()) : nullptr;
            if (adapter && adapter->UsedInCluster()) adapter->AddIPAddressBeingUsed(record->Address());
        }
    }
    for (const auto& [name, adapter] : _adapters) adapter->GetIPAddressesToBeRecycled();
    return 0;
}

int NetworkAdapters::RecycleIPAddresses() {
    int count = 0;
    for (const auto& [name, adapter] : _adapters) count += adapter->RecycleIPAddresses();
    return count;
}

int NetworkAdapters::RecycleIPAddresses(const std::vector<StringMap>* addresses) {
    if (!addresses) return 0;
    int count = 0;
    for (const StringMap& addressByNetwork : *addresses) {
        for (const auto& [name, adapter] : _adapters) {
            const auto found = addressByNetwork.find(adapter->ID());
            if (found == addressByNetwork.end()) continue;
            platform::WriteOutput(platform::Format(
                L"NetworkAdapters::RecycleIPAddresses( ). adding %ws for recycling.\n", found->second.c_str()));
            const StringArray named{found->second};
            count += adapter->RecycleIPAddresses(&named);
        }
    }
    return count;
}

void NetworkAdapters::Info() const {
    platform::WriteOutputLine(L"NetworkAdapters::Info( ). On entry");
    platform::WriteOutput(platform::Format(L"_clusterName:   %ws\n", _clusterName.c_str()));
    for (const auto& [name, adapter] : _adapters) adapter->Info();
}
