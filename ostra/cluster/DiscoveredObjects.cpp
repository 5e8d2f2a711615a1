#include <ostra/cluster/DiscoveredObjects.h>

#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>

#include <utility>

DiscoveredObjects::DiscoveredObjects(const std::wstring& clusterName, HCLUSTER cluster)
    : _clusterName(clusterName), _clusterHandle(cluster) {
    if (_clusterHandle) return;
    _openedCluster.Reset(OpenCluster(clusterName.c_str()));
    _clusterHandle = _openedCluster.Get();
}

DiscoveredObjects::~DiscoveredObjects() {
    for (const auto& [name, member] : *this) delete member;
}

void DiscoveredObjects::Discover(DWORD type, const std::wstring& caller, const Make& make) {
    if (!_clusterHandle) {
        DisplayFailure(_error, caller + L" Failure calling OpenCluster( ).");
        return;
    }
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> objects(ClusterOpenEnum(_clusterHandle, type));
    if (!objects) {
        DisplayFailure(_error, caller + L" Failure calling ClusterOpenEnum( ).");
        return;
    }
    ForEachName(
        objects.Get(), &ClusterEnum, [&](const std::wstring& name) { Store(name, make(name)); },
        [&](DWORD code) {
            DisplayFailure(_error, caller + L" Failure calling ClusterEnum( )." + _error.GetErrorString(code));
        });
}

void DiscoveredObjects::Store(const std::wstring& name, std::unique_ptr<ClusterComponent> object) {
    if (!object) return;
    CObject* former = nullptr;
    if (Lookup(name, former)) delete former;
    SetAt(name, object.release());
}
