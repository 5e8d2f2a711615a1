#pragma once

#include <ostra/cluster/DiscoveredObjects.h>

/// The network interfaces of a cluster's nodes.
class OSTRA_API NetworkInterfaces : public DiscoveredObjects {
public:
    NetworkInterfaces(const std::wstring& clusterName, HCLUSTER cluster);

    /// Has every member trace itself.
    void Info() const;
};
