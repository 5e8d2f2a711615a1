#pragma once

#include <ostra/export.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/SharedHandle.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CMapStringToOb.h>

#include <string>

class Network;

/// The networks of a cluster by name, with their properties, as they were when the object was made.
///
/// The collection owns its members and deletes them when it dies; who takes one out before has to delete it.
class OSTRA_API Networks : public CMapStringToOb {
public:
    /// The handle stays the caller's and must outlive the collection. Without one it opens the cluster by its name, for
    /// as long as it lives; when that fails, it is empty.
    Networks(const std::wstring& clusterName, HCLUSTER cluster);
    Networks(const Networks&) = delete;
    Networks& operator=(const Networks&) = delete;
    ~Networks() override;

    /// Has every member trace itself.
    void Info() const;

protected:
    std::wstring _clusterName;
    HCLUSTER _clusterHandle;  // the caller's, or our own _openedCluster
    OstraError _error;

private:
    void Discover();
    void Store(const std::wstring& name);

    platform::SharedHandle<HCLUSTER, CloseCluster> _openedCluster;
};
