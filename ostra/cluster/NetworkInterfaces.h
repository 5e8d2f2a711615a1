#pragma once

#include <ostra/export.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/SharedHandle.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CMapStringToOb.h>

#include <string>

class NetworkInterface;

/// The network interfaces of a cluster's nodes by name, as they were when the object was made.
///
/// The collection owns its members and deletes them when it dies; who takes one out before has to delete it.
class OSTRA_API NetworkInterfaces : public CMapStringToOb {
public:
    /// The handle stays the caller's and must outlive the collection. Without one it opens the cluster by its name, for
    /// as long as it lives; when that fails, it is empty.
    NetworkInterfaces(const std::wstring& clusterName, HCLUSTER cluster);
    NetworkInterfaces(const NetworkInterfaces&) = delete;
    NetworkInterfaces& operator=(const NetworkInterfaces&) = delete;
    ~NetworkInterfaces() override;

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
