#include <ostra/cluster/NetworkInterfaces.h>

#include <ostra/cluster/NetworkInterface.h>
#include <ostra/cluster/deleting.h>
#include <ostra/cluster/discovered_objects.h>
#include <ostra/foundation/MakeOrNull.h>

NetworkInterfaces::NetworkInterfaces(const std::wstring& clusterName, HCLUSTER cluster)
    : _clusterName(clusterName), _clusterHandle(cluster) {
    DiscoverObjects(*this, _clusterHandle, _openedCluster, _clusterName, CLUSTER_ENUM_NETINTERFACE, _error,
                    L"NetworkInterfaces::NetworkInterfaces( ).", [this](const std::wstring& name) {
                        return MakeOrNull<NetworkInterface>(name, _clusterHandle, _clusterName, 1);
                    });
}

NetworkInterfaces::~NetworkInterfaces() {
    DeleteMembers(*this);
}

void NetworkInterfaces::Info() const {
    for (const auto& [name, member] : *this)
        if (auto* known = dynamic_cast<NetworkInterface*>(member)) known->Info();
}
