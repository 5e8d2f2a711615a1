#include <ostra/cluster/NetworkInterfaces.h>

#include <ostra/cluster/NetworkInterface.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>

NetworkInterfaces::NetworkInterfaces(const std::wstring& clusterName, HCLUSTER cluster)
    : _clusterName(clusterName), _clusterHandle(cluster) {
    if (!_clusterHandle) {
        _openedCluster.Reset(OpenCluster(clusterName.c_str()));
        _clusterHandle = _openedCluster.Get();
    }
    if (_clusterHandle)
        Discover();
    else
        DisplayFailure(_error, L"NetworkInterfaces::NetworkInterfaces( ). Failure calling OpenCluster( ).");
}

NetworkInterfaces::~NetworkInterfaces() {
    for (const auto& [name, member] : *this) delete member;
}

void NetworkInterfaces::Discover() {
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> interfaces(
        ClusterOpenEnum(_clusterHandle, CLUSTER_ENUM_NETINTERFACE));
    if (!interfaces) {
        DisplayFailure(_error, L"NetworkInterfaces::NetworkInterfaces( ). Failure calling ClusterOpenEnum( ).");
        return;
    }
    ForEachName(
        interfaces.Get(), &ClusterEnum, [this](const std::wstring& name) { Store(name); },
        [this](DWORD code) {
            DisplayFailure(_error, L"NetworkInterfaces::NetworkInterfaces( ). Failure calling ClusterEnum( )." +
                                       _error.GetErrorString(code));
        });
}

void NetworkInterfaces::Store(const std::wstring& name) {
    auto made = MakeOrNull<NetworkInterface>(name, _clusterHandle, _clusterName, 1);
    if (!made) return;
    CObject* former = nullptr;
    if (Lookup(name, former)) delete former;
    SetAt(name, made.release());
}

void NetworkInterfaces::Info() const {
    for (const auto& [name, member] : *this)
        if (auto* known = dynamic_cast<NetworkInterface*>(member)) known->Info();
}
