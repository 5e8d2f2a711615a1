#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>

#include <string>

/// One network of the cluster: a subnet that it uses for clients, for its own traffic, or for both.
///
/// Fields have what was last read; what could not be read stays as it was. The cluster's handle stays its owner's and
/// must outlive every operation that asks the cluster. Property results are the numbers of properties read, or 0. Used
/// by one thread at a time.
class OSTRA_API Network : public ClusterComponent {
public:
    /// `initialize` 1 opens the network and reads its identifier.
    Network(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize);
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// Whether the code is meant for networks: its top byte is 5.
    static int IsValid(DWORD controlCode);

    /// Opens the network and reads its state. 1: unknown, unavailable, down, partitioned or up, told by the status
    /// text; `StatusCode` is the cluster's number for it. 0: neither was possible, and the former state and text stay.
    int Status(int argument) override;

    /// Opens the network by its name and lets go of the handle held before. 0: refused. Without a name or a cluster the
    /// handle held before stays; otherwise there is none now.
    int Open();
    /// Traces the members of the network and keeps none of them. Always 0.
    int Discover();
    /// The name of a node's interface on this network; empty when it has none.
    std::wstring GetInterfaceName(const std::wstring& nodeName);

    /// Reads the properties that the code names into this object, and takes over name, address, mask, role and
    /// description from what it now knows. A code that is not meant for networks reads nothing and answers 0.
    DWORD GetAttributes(DWORD controlCode);
    /// The same with the caller's map, which may hold more. Also finds out about `IsForInternalUse`.
    DWORD GetAttributes(StringMap* attributes, DWORD controlCode);
    /// Reads the read-only properties into the caller's map and traces all that it holds.
    DWORD GetAttributes(StringMap* attributes);
    /// Writes texts and numbers in a call each. How many of the two the cluster accepted; 0 also for a code that is not
    /// meant for networks.
    DWORD SetAttributes(const StringArray* parameters, DWORD controlCode);

    /// Traces name, identifier and state.
    void Info();

    /// The identifier that the cluster gave the network and never changes. A field, which lives as long as the object.
    const std::wstring& ID() const { return _iD; }
    /// As given to the constructor.
    std::wstring ClusterName() const { return _networkClusterName; }
    std::wstring Description() const { return _description; }
    /// In decimal: 0 none, 1 internal use only, 2 client access only, 3 both.
    std::wstring Role() const { return _role; }
    std::wstring IPAddress() const { return _address; }
    std::wstring SubnetMask() const { return _subnetMask; }
    /// Null until `Open`. Closed with this object.
    HNETWORK Handle() const { return _handle.Get(); }
    /// 1 when a read into a caller's map has met the role "internal use only", else 0.
    int IsForInternalUse() const { return _isForInternalUse; }

protected:
    platform::SharedHandle<HNETWORK, CloseClusterNetwork> _handle;
    std::wstring _iD;
    std::wstring _interfaceName;  // what GetInterfaceName last found
    LONG _isForInternalUse = 0;
    std::wstring _role;
    std::wstring _description;
    std::wstring _networkClusterName;  // the base's stays empty
    std::wstring _address;
    std::wstring _subnetMask;
    StringMap _attributes;

private:
    void Initialize();
    const std::wstring& GetNetworkID();
    DWORD Read(StringMap* attributes, DWORD controlCode, const wchar_t* invalidCode);
    void TakeOver(const StringMap& attributes);
    void AssignAttributes(const StringMap& attributes) const;
};
