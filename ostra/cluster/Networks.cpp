#include <ostra/cluster/Networks.h>

#include <ostra/cluster/Network.h>
#include <ostra/cluster/deleting.h>
#include <ostra/cluster/discovered_objects.h>
#include <ostra/foundation/MakeOrNull.h>
#include <platform/cluster/control_codes.h>

Networks::Networks(const std::wstring& clusterName, HCLUSTER cluster)
    : _clusterName(clusterName), _clusterHandle(cluster) {
    DiscoverObjects(*this, _clusterHandle, _openedCluster, _clusterName, CLUSTER_ENUM_NETWORK, _error,
                    L"Networks::Networks( ).", [this](const std::wstring& name) {
                        auto network = MakeOrNull<Network>(name, _clusterHandle, _clusterName, 1);
                        if (network) {
                            network->GetAttributes(CLUSCTL_NETWORK_GET_RO_COMMON_PROPERTIES);
                            network->GetAttributes(CLUSCTL_NETWORK_GET_COMMON_PROPERTIES);
                        }
                        return network;
                    });
}

Networks::~Networks() {
    DeleteMembers(*this);
}

void Networks::Info() const {
    for (const auto& [name, member] : *this)
        if (auto* known = dynamic_cast<Network*>(member)) known->Info();
}
