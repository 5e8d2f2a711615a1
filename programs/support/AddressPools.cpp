#include <programs/support/AddressPools.h>

#include <ostra/registry/TypedClusterKeys.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <programs/support/Ipv4.h>
#include <programs/support/Json.h>
#include <programs/support/Objects.h>
#include <programs/support/Reading.h>

#include <algorithm>
#include <sstream>

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

// By number, where the pool itself goes by text.
std::vector<std::string> Ordered(std::vector<std::string> addresses) {
    std::stable_sort(addresses.begin(), addresses.end(), [](const std::string& one, const std::string& other) {
        return ParseIpv4(one).value_or(0) < ParseIpv4(other).value_or(0);
    });
    return addresses;
}

/// Whether a persistent text names an address.
bool HasAddress(const std::wstring& text) {
    const std::size_t end = text.find(L'\n');
    return end > 0 && end != std::wstring::npos;
}

// What the cluster holds already counts as taken, wherever the address came from.
std::wstring Draw(IPStack& pool, const Network& network, const HeldAddresses& held) {
    if (!pool.IsInitialized())
        throw CommandError(ExitCode::Refused, PoolOf(network) +
                                                  " is not initialised. Make it again with: ostra pool create \"" +
                                                  ToUtf8(network.Name()) + "\" START END --force");
    for (;;) {
        std::wstring address = pool.GetIP(0);
        if (address.empty())
            throw CommandError(
                ExitCode::Refused,
                PoolOf(network) + " is exhausted. See what can come back with: ostra pool recycle --dry-run");
        if (!ParseIpv4(ToUtf8(address)))
            throw CommandError(ExitCode::Refused,
                               PoolOf(network) + " is damaged: \"" + ToUtf8(address) + "\" is no address");
        pool.RemoveUsedIP();
        if (!held.Addresses().contains(address)) return address;
    }
}

}  // namespace

PoolKey::PoolKey(Context& context, const std::wstring& path) : _database(ClusterDatabase(context)) {
    const DWORD code = _database->Open(path, KEY_READ | KEY_WRITE, _key);
    if (code && code != error::FileNotFound) throw Refusal("The address pools cannot be read", code);
}

DWORD PoolKey::DeleteSubkey(const std::wstring& name) const {
    return _key ? _database->DeleteKey(_key, name) : DWORD{error::FileNotFound};
}

bool HasPool(Context& context, const std::wstring& networkID) {
    return PoolKey(context, poolsKey + (L"\\" + networkID)).HasValues();
}

std::unique_ptr<IPStack> LoadPool(Context& context, const Network& network) {
    auto pool = std::make_unique<IPStack>(network.ID(), context.ClusterName(), network.SubnetMask(), 0);
    RequireLoaded(context, network, *pool);
    return pool;
}

void RequireLoaded(Context& context, const Network& network, const IPStack& pool) {
    const ClusterIPStackKey key(context.ClusterName(), network.ID());
    const bool lacksAvailable = pool.PersistentData().empty() && HasAddress(key.GetValue(L"Persistence"));
    const bool lacksUsed = pool.IPAddressesToBeRecycled()->empty() && HasAddress(key.GetValue(L"IP Used"));
    if (lacksAvailable || lacksUsed || !key.Valid()) throw Refusal(PoolOf(network) + " cannot be read", 0);
}

std::string PoolOf(const Network& network) {
    return "The pool of network " + ToUtf8(network.Name());
}

void RequirePool(Context& context, const Network& network) {
    if (HasPool(context, network.ID())) return;
    const std::string name = ToUtf8(network.Name());
    throw CommandError(
        ExitCode::NoSuchObject,
        "Network " + name + " has no address pool. Make one with: ostra pool create \"" + name + "\" START END");
}

std::unique_ptr<IPStack> ExistingPool(Context& context, const Network& network) {
    RequirePool(context, network);
    return LoadPool(context, network);
}

std::vector<std::string> AvailableIn(IPStack& pool) {
    std::istringstream lines(ToUtf8(pool.Persist()));
    std::vector<std::string> addresses;
    for (std::string line; std::getline(lines, line);) addresses.push_back(line);
    return Ordered(std::move(addresses));
}

std::vector<std::string> Names(const StringMap& addresses) {
    std::vector<std::string> names;
    for (const auto& [address, same] : addresses) names.push_back(ToUtf8(address));
    return Ordered(std::move(names));
}

HeldAddresses::HeldAddresses(Context& context) {
    RequireRead("The addresses in use", [&] {
        ForEachResource(context, [this](Resource& resource) {
            if (resource.Type() != L"IP Address") return;
            resource.GetPrivateAttributes();
            _records.push_back({resource.GetPrivateAttribute(L"Address"), resource.GetPrivateAttribute(L"Network")});
            _addresses.insert(_records.back().address);
        });
        for (NetworkInterface* networkInterface : InterfacesOf(context))
            _addresses.insert(FromUtf8(TextOf(Summary(*networkInterface)["address"])));
    });
}

void RequireSaved(Context& context, const Network& network, const std::vector<std::string>& addresses, bool areUsed) {
    const DWORD cause = GetLastError();
    const std::unique_ptr<IPStack> pool = LoadPool(context, network);
    const std::vector<std::string> lines = AvailableIn(*pool);
    const std::set<std::string> available(lines.begin(), lines.end());
    for (const std::string& address : addresses) {
        const bool isAvailable = available.contains(address);
        const bool isUsed = pool->WasUsed(FromUtf8(address)) != 0;
        if (isUsed != areUsed || isAvailable == areUsed) throw Refusal(PoolOf(network) + " was not saved", cause);
    }
}

std::string NextAddress(Context& context, const Network& network, const HeldAddresses& held) {
    return ToUtf8(Draw(*ExistingPool(context, network), network, held));
}

std::string TakeFrom(Context& context, const Network& network, const HeldAddresses& held) {
    const std::unique_ptr<IPStack> pool = ExistingPool(context, network);
    const std::string address = ToUtf8(Draw(*pool, network, held));
    SetLastError(0);
    pool->SaveCurrentState();
    RequireSaved(context, network, {address}, true);
    return address;
}

// The library's pool hands out from below only: what is passed over on the way goes back as if nothing had held it.
void TakeNamed(Context& context, const Network& network, const std::string& address) {
    if (!HasPool(context, network.ID())) return;
    const std::unique_ptr<IPStack> pool = LoadPool(context, network);
    const std::vector<std::string> available = AvailableIn(*pool);
    if (std::find(available.begin(), available.end(), address) == available.end()) return;
    const StringMap usedBefore = *pool->IPAddressesToBeRecycled();
    std::wstring taken;
    std::vector<std::string> passedOver;
    while (taken != FromUtf8(address)) {
        taken = pool->GetIP(0);
        if (taken.empty()) throw CommandError(ExitCode::Refused, PoolOf(network) + " does not hand out " + address);
        pool->RemoveUsedIP();
        if (taken != FromUtf8(address)) passedOver.push_back(ToUtf8(taken));
    }
    SetLastError(0);
    pool->SaveCurrentState();
    const std::unique_ptr<IPStack> saved = LoadPool(context, network);
    for (const auto& [used, same] : usedBefore) saved->AddIPAddressBeingUsed(used);
    saved->AddIPAddressBeingUsed(FromUtf8(address));
    saved->GetIPAddressesToBeRecycled();
    saved->RecycleIPAddresses();
    RequireSaved(context, network, {address}, true);
    RequireSaved(context, network, passedOver, false);
}

}  // namespace programs
