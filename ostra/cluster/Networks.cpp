#include <ostra/cluster/Networks.h>

#include <ostra/cluster/Network.h>
#include <ostra/foundation/MakeOrNull.h>
#include <platform/cluster/control_codes.h>

Networks::Networks(const std::wstring& clusterName, HCLUSTER cluster) : DiscoveredObjects(clusterName, cluster) {
    Discover(CLUSTER_ENUM_NETWORK, L"Networks::Networks( ).", [this](const std::wstring& name) {
        auto network = MakeOrNull<Network>(name, _clusterHandle, _clusterName, 1);
        if (network) {
            network->GetAttributes(CLUSCTL_NETWORK_GET_RO_COMMON_PROPERTIES);
            network->GetAttributes(CLUSCTL_NETWORK_GET_COMMON_PROPERTIES);
        }
        return network;
    });
}

void Networks::Info() const {
    for (const auto& [name, member] : *this)
        if (auto* known = dynamic_cast<Network*>(member)) known->Info();
}
