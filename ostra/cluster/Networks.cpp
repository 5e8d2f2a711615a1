#include <ostra/cluster/Networks.h>

#include <ostra/cluster/Network.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <platform/cluster/control_codes.h>

Networks::Networks(const std::wstring& clusterName, HCLUSTER cluster)
    : _clusterName(clusterName), _clusterHandle(cluster) {
    if (!_clusterHandle) {
        _openedCluster.Reset(OpenCluster(clusterName.c_str()));
        _clusterHandle = _openedCluster.Get();
    }
    if (_clusterHandle)
        Discover();
    else
        DisplayFailure(_error, L"Networks::Networks( ). Failure calling OpenCluster( ).");
}

Networks::~Networks() {
    for (const auto& [name, member] : *this) delete member;
}

void Networks::Discover() {
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> networks(
        ClusterOpenEnum(_clusterHandle, CLUSTER_ENUM_NETWORK));
    if (!networks) {
        DisplayFailure(_error, L"Networks::Networks( ). Failure calling ClusterOpenEnum( ).");
        return;
    }
    ForEachName(
        networks.Get(), &ClusterEnum, [this](const std::wstring& name) { Store(name); },
        [this](DWORD code) {
            DisplayFailure(_error,
                           L"Networks::Networks( ). Failure calling ClusterEnum( )." + _error.GetErrorString(code));
        });
}

void Networks::Store(const std::wstring& name) {
    auto made = MakeOrNull<Network>(name, _clusterHandle, _clusterName, 1);
    if (!made) return;
    made->GetAttributes(CLUSCTL_NETWORK_GET_RO_COMMON_PROPERTIES);
    made->GetAttributes(CLUSCTL_NETWORK_GET_COMMON_PROPERTIES);
    CObject* former = nullptr;
    if (Lookup(name, former)) delete former;
    SetAt(name, made.release());
}

void Networks::Info() const {
    for (const auto& [name, member] : *this)
        if (auto* known = dynamic_cast<Network*>(member)) known->Info();
}
