#pragma once

#include <ostra/export.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/SharedHandle.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CMapStringToOb.h>

#include <functional>
#include <memory>
#include <string>

class ClusterComponent;

/// A cluster's objects of one kind by name, as they were when the collection was made.
///
/// The collection owns its members and deletes them when it dies; who takes one out before has to delete it.
class OSTRA_API DiscoveredObjects : public CMapStringToOb {
public:
    DiscoveredObjects(const DiscoveredObjects&) = delete;
    DiscoveredObjects& operator=(const DiscoveredObjects&) = delete;
    ~DiscoveredObjects() override;

protected:
    using Make = std::function<std::unique_ptr<ClusterComponent>(const std::wstring& name)>;

    /// The handle stays the caller's and must outlive the collection. Without one the cluster is opened by its name,
    /// for as long as the collection lives.
    DiscoveredObjects(const std::wstring& clusterName, HCLUSTER cluster);

    /// Stores what `make` makes of each object's name; null is left out. `type` is a CLUSTER_ENUM_ bit, `caller` opens
    /// the texts of failures.
    void Discover(DWORD type, const std::wstring& caller, const Make& make);

    std::wstring _clusterName;
    HCLUSTER _clusterHandle;  // the caller's, or our own _openedCluster; null when the cluster could not be opened
    OstraError _error;

private:
    void Store(const std::wstring& name, std::unique_ptr<ClusterComponent> object);

    platform::SharedHandle<HCLUSTER, CloseCluster> _openedCluster;
};
