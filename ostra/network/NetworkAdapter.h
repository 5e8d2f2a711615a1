#pragma once

#include <ostra/export.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CObject.h>

#include <memory>
#include <string>

class IPStack;

/// One cluster network as a place where the addresses of new groups come from: what the network was when the record was
/// made, and, for a network that clients reach, its pool of addresses.
///
/// A copy shares the pool, which the last of the copies deletes. Without a pool every operation on it does nothing,
/// answers 0 and leaves the last error 50 (not supported). The pool is read when the record is made, which creates its
/// key in the cluster database where there is none; IPStack says what each operation on it reads and writes, and those
/// block as long as the cluster database does. Texts are copies. One thread at a time, also for reading.
class OSTRA_API NetworkAdapter : public CObject {
public:
    /// Clients reach the networks that have this role or one above it, and only these have a pool.
    static constexpr int lowestClientRole = 2;

    /// `iD` is the network's identifier, which names its pool. A role (0 none, 1 internal use only, 2 client access
    /// only, 3 both) from 2 opens the pool. With `recyclingAllowed` 0 named addresses cannot be given back.
    NetworkAdapter(const std::wstring& clusterName, HCLUSTER cluster, const std::wstring& iD, const std::wstring& name,
                   const std::wstring& address, const std::wstring& subnetMask, int role, int connectsClients,
                   const std::wstring& transport, int priority, int, int recyclingAllowed);
    /// Copies what describes the network and shares the pool; the copy gives no named addresses back.
    NetworkAdapter(const NetworkAdapter& other);
    NetworkAdapter& operator=(const NetworkAdapter&) = delete;
    ~NetworkAdapter() override;

    std::wstring ID() const { return _iD; }
    std::wstring Name() const { return _name; }
    std::wstring Address() const { return _address; }
    std::wstring ClusterName() const { return _clusterName; }
    std::wstring Transport() const { return _transport; }
    std::wstring SubnetMask() const { return _subnetMask; }
    DWORD Role() const { return _role; }
    DWORD ConnectsClients() const { return _connectsClients; }
    /// The adapter's own pool, shared with its copies; null when there is none. It lives as long as this record, but
    /// for one of a collection, whose `Initialize` replaces it.
    const IPStack* Stack() const { return _ipStack.get(); }

    /// 1 for the role 1, else 0.
    int IsForInternalUse() const;
    /// 1 for the roles 2 and 3, else 0.
    int UsedInCluster() const;

    // The ends of the pool's range, as the pool has them now; empty without a pool.
    std::wstring StartingAddress() const;
    std::wstring EndingAddress() const;
    /// The first two units of the network's address and a dot; empty without a pool.
    std::wstring DefaultIPRangeMask() const;

    /// Whether the cluster database has the pool as initialised; a pool that once was stays so for this object.
    int IsInitialized() const;
    /// Marks the pool as initialised in the cluster database, where `IsInitialized` then finds it.
    void SetInitialized();

    // Recycling, in this order: addresses that the cluster holds, those that therefore stay out, and the return.
    /// Always 0.
    int AddIPAddressBeingUsed(const std::wstring& address);
    /// Always 0.
    int GetIPAddressesToBeRecycled();
    /// Gives the pool back what it handed out and nothing holds, and saves it. How many addresses.
    int RecycleIPAddresses();
    /// Makes the named addresses available again in the pool object, which saves nothing. Always 0; when that is not
    /// allowed, last error 5.
    int RecycleIPAddresses(const StringArray* addresses);

    /// Writes the record and its pool to standard output.
    void Info() const;

private:
    friend class NetworkAdapters;

    NetworkAdapter& operator=(NetworkAdapter&&) = default;

    std::unique_ptr<IPStack> OpenPool() const;
    IPStack* RequirePool() const;

    std::wstring _clusterName;
    HCLUSTER _clusterHandle = nullptr;  // the caller's
    std::wstring _iD;
    std::wstring _name;
    std::wstring _address;
    mutable std::wstring _startingAddress;
    mutable std::wstring _endingAddress;
    DWORD _role = 0;
    int _priority = 0;
    DWORD _connectsClients = 0;
    std::wstring _transport;
    std::wstring _subnetMask;
    mutable std::wstring _defaultIPRangeMask;
    std::shared_ptr<IPStack> _ipStack;  // null but for networks that clients reach
    int _recyclingAllowed = 0;
    mutable int _isInitialized = 0;
    OstraError _error;
};
