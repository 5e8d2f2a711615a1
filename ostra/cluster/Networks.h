#pragma once

#include <ostra/cluster/DiscoveredObjects.h>

/// The networks of a cluster, with their properties.
class OSTRA_API Networks : public DiscoveredObjects {
public:
    Networks(const std::wstring& clusterName, HCLUSTER cluster);

    /// Has every member trace itself.
    void Info() const;
};
