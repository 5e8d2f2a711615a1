#pragma once

#include <ostra/cluster/Network.h>
#include <ostra/network/IPStack.h>
#include <programs/support/Context.h>
#include <programs/support/KeyTree.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace programs {

/// Where the cluster's database keeps the address pools.
inline constexpr wchar_t poolsKey[] = L"Ostra\\ExpertWizard\\IPStack";

/// A key of the cluster database, closed in the end; null when there is no such key.
class PoolKey {
public:
    PoolKey(Context& context, const std::wstring& path);
    PoolKey(const PoolKey&) = delete;
    PoolKey& operator=(const PoolKey&) = delete;
    ~PoolKey() {
        if (_key) _database->Close(_key);
    }
    bool HasValues() const { return _key && !_database->Values(_key).empty(); }
    DWORD DeleteSubkey(const std::wstring& name) const;

private:
    std::unique_ptr<KeyTree> _database;
    HKEY _key = nullptr;
};

/// Opening a pool makes its key, so that only a key with values is a pool, and only such a pool is to be opened.
bool HasPool(Context& context, const std::wstring& networkID);
/// Ends the command when the pool object is empty where the database has addresses: the library's pool counts what it
/// could not read as empty, and would save it so. For use within a transaction, as LoadPool and what loads one are: who
/// changes the pool meanwhile looks like a failure.
void RequireLoaded(Context& context, const Network& network, const IPStack& pool);
std::unique_ptr<IPStack> LoadPool(Context& context, const Network& network);
// Both end the command when the network has no pool.
void RequirePool(Context& context, const Network& network);
std::unique_ptr<IPStack> ExistingPool(Context& context, const Network& network);

/// "The pool of network NAME".
std::string PoolOf(const Network& network);

// Addresses in the order of their numbers, where the pool itself goes by text.
std::vector<std::string> AvailableIn(IPStack& pool);
std::vector<std::string> Names(const StringMap& addresses);

/// The addresses that the cluster's "IP Address" resources and the interfaces of its nodes hold, all of them, as they
/// are when the object is made: what cannot be read ends the command. For use within a transaction, as what comes or
/// goes meanwhile cannot be told from what cannot be read.
class HeldAddresses {
public:
    explicit HeldAddresses(Context& context);
    /// Those of the resources, with their networks' names; empty where a resource has none.
    struct Record {
        std::wstring address;
        std::wstring network;
    };
    const std::vector<Record>& Records() const { return _records; }
    const std::set<std::wstring>& Addresses() const { return _addresses; }

private:
    std::vector<Record> _records;
    std::set<std::wstring> _addresses;
};

/// Ends the command unless the database has all of these addresses as taken, or all as available: the library's pool
/// does not tell whether its writes succeeded.
void RequireSaved(Context& context, const Network& network, const std::vector<std::string>& addresses, bool areUsed);

// Both end the command when there is none, and only within a transaction is the address nobody else's.
/// The lowest available address that nothing holds; it stays available.
std::string NextAddress(Context& context, const Network& network, const HeldAddresses& held);
/// Takes that address and saves the pool.
std::string TakeFrom(Context& context, const Network& network, const HeldAddresses& held);

/// Takes this address and saves the pool, when the pool has it to give; an address from elsewhere changes nothing.
void TakeNamed(Context& context, const Network& network, const std::string& address);

}  // namespace programs
