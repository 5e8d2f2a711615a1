#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>

#include <string>

/// One node's attachment to one network of the cluster.
///
/// The cluster's handle stays its owner's and must outlive every operation that asks the cluster. Used by one thread at
/// a time.
class OSTRA_API NetworkInterface : public ClusterComponent {
public:
    /// `initialize` 1 opens the interface.
    NetworkInterface(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize);
    /// Shares the handle with `other`; the rest is what ClusterComponent copies.
    NetworkInterface(const NetworkInterface& other) = default;
    NetworkInterface* operator=(const NetworkInterface& other);

    /// Whether the code is meant for network interfaces: its top byte is 6.
    static int IsValid(DWORD controlCode);

    /// Opens the interface and reads its state. 1: unknown, unavailable, failed, unreachable or up, told by the status
    /// text; `StatusCode` is 0 for all of them. 0: neither was possible, and the former state and text stay.
    int Status(int argument) override;

    /// Opens the interface by its name and lets go of the handle held before. 0: refused. Without a name or a cluster
    /// the handle held before stays; otherwise there is none now.
    int Open();
    /// Has no effect. Always 0.
    int Discover() { return 0; }

    /// Reads the properties that the code names into the caller's map, whose other entries stay. Their number; 0 also
    /// for a code that is not meant for network interfaces.
    DWORD GetAttributes(StringMap* attributes, DWORD controlCode);
    /// Writes texts and numbers in a call each. How many of the two the cluster accepted; 0 also for a code that is not
    /// meant for network interfaces.
    DWORD SetAttributes(const StringArray* parameters, DWORD controlCode);

    /// Traces name and owner. The result is always empty.
    std::wstring Info();

    /// Null until `Open`. Closed with the last copy of this object.
    HNETINTERFACE Handle() const { return _handle.Get(); }

protected:
    platform::SharedHandle<HNETINTERFACE, CloseClusterNetInterface> _handle;
};
