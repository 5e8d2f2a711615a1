#include <ostra/cluster/NetworkInterfaces.h>

#include <ostra/cluster/NetworkInterface.h>
#include <ostra/foundation/MakeOrNull.h>

NetworkInterfaces::NetworkInterfaces(const std::wstring& clusterName, HCLUSTER cluster)
    : DiscoveredObjects(clusterName, cluster) {
    Discover(CLUSTER_ENUM_NETINTERFACE, L"NetworkInterfaces::NetworkInterfaces( ).", [this](const std::wstring& name) {
        return MakeOrNull<NetworkInterface>(name, _clusterHandle, _clusterName, 1);
    });
}

void NetworkInterfaces::Info() const {
    for (const auto& [name, member] : *this)
        if (auto* known = dynamic_cast<NetworkInterface*>(member)) known->Info();
}
