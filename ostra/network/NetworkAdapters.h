#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CArray.h>
#include <platform/framework/CObject.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

class NetworkAdapter;
class Networks;

/// One adapter for each network of a cluster that clients reach, as the networks were when the object was made, and the
/// recycling of addresses over all of their pools. A fresh view is a new object.
///
/// The object owns the adapters, which live as long as it does. Making one reads the cluster's networks and their
/// pools, and creates the key of a pool that the cluster database does not have yet: pools are opened so, also to be
/// read. That and the recycling of pools block as long as the cluster does. One thread at a time.
///
/// A full recycling pass on a fresh object is: the records of all addresses that the
/// cluster holds to `GetIPAddressesToBeRecycled`, then `RecycleIPAddresses()`.
class OSTRA_API NetworkAdapters : public CObject {
public:
    /// Adapters by their network's name.
    using AdapterMap = std::map<std::wstring, NetworkAdapter*>;

    /// The handle stays the caller's. Without one the cluster is opened by its name, for as long as the object lives; a
    /// cluster that cannot be opened has no adapters. With `recyclingAllowed` 0 named addresses cannot be given back.
    NetworkAdapters(const std::wstring& clusterName, HCLUSTER cluster, int, int recyclingAllowed);
    /// An empty collection, whatever `other` holds.
    NetworkAdapters(const NetworkAdapters& other);
    NetworkAdapters& operator=(const NetworkAdapters&) = delete;
    ~NetworkAdapters() override;

    /// Makes the adapters of the networks known since construction, with their pools as they are now. An adapter that
    /// there is already stays the same object and is made anew in its place; pointers to its pool end here. Always 0.
    int Initialize(int, int recyclingAllowed);

    // Both maps are this object's.
    const AdapterMap* Adapters() const { return &_adapters; }
    /// Each network name by itself.
    const StringMap* AdapterNames() const { return &_adapterNames; }

    /// What the caller set; a field of this object.
    const std::wstring& ClusterIPAddress() const { return _clusterIPAddress; }
    void SetClusterIPAddress(const std::wstring& address) { _clusterIPAddress = address; }

    // The adapter is this object's; null when there is none.
    NetworkAdapter* FindAdapterByName(const std::wstring& name) const;
    /// By the network's identifier, which has to be the same text.
    NetworkAdapter* FindAdapterByID(const std::wstring& iD) const;

    /// 1 when every adapter's pool is initialised, so also when there is no adapter; else 0.
    int AllAdaptersAreInitialized() const;

    /// Takes what the cluster holds, as TCPIPAddress records (others are skipped), and keeps it from being recycled.
    /// Records of networks without an adapter do not count. Always 0.
    int GetIPAddressesToBeRecycled(const CArray<CObject*>* addresses);
    /// Gives every pool back what it handed out and nothing holds, and saves it. How many addresses.
    int RecycleIPAddresses();
    /// Gives named addresses back: each map has an address by its network's identifier. Saves nothing. Always 0; when
    /// it is not allowed, last error 5.
    int RecycleIPAddresses(const std::vector<StringMap>* addresses);

    /// Writes cluster name and adapters to standard output.
    void Info() const;

private:
    std::wstring _clusterName;
    std::wstring _clusterIPAddress;
    HCLUSTER _clusterHandle = nullptr;  // the caller's
    AdapterMap _adapters;
    StringMap _adapterNames;
    std::unique_ptr<Networks> _networks;  // null in a copy, and when it could not be made
    NTEventViewer _eventViewer;
    OstraError _error;

    std::vector<std::unique_ptr<NetworkAdapter>> _ownedAdapters;  // what _adapters points at
};
