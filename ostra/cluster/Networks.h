#pragma once

#include <ostra/export.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/SharedHandle.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CMapStringToOb.h>

#include <string>

/// The networks of a cluster by name, with their properties, as they were when the collection was made. Owns its
/// members and deletes them when it dies; who takes one out before has to delete it.
class OSTRA_API Networks : public CMapStringToOb {
public:
    /// The handle stays the caller's and must outlive the collection. Without one the cluster is opened by its name,
    /// for as long as the collection lives; that it cannot be leaves the collection empty.
    Networks(const std::wstring& clusterName, HCLUSTER cluster);
    Networks(const Networks&) = delete;
    Networks& operator=(const Networks&) = delete;
    ~Networks() override;

    /// Has every member trace itself.
    void Info() const;

protected:
    std::wstring _clusterName;
    HCLUSTER _clusterHandle;  // the caller's, or our own _openedCluster; null when the cluster could not be opened
    OstraError _error;

private:
    platform::SharedHandle<HCLUSTER, CloseCluster> _openedCluster;
};
