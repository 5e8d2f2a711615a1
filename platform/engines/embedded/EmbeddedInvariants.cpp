#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/EmbeddedClusterService.h>
#include <platform/engines/embedded/network_addresses.h>
#include <platform/engines/embedded/online_checks.h>

#include <algorithm>

namespace platform::embedded {

namespace {

constexpr std::size_t changesAtOnce = 1'000;

void CheckResources(const ClusterModel& model, std::vector<std::wstring>& breaches) {
    for (const auto& [id, resource] : model.resources.All()) {
        const NodeRecord& owner = *model.nodes.Find(model.groups.Find(resource.group)->owner);
        if (resource.state != ClusterResourceOnline) continue;
        if (!owner.IsRunning()) breaches.push_back(resource.name + L" is online on a node that is down");
        if (!resource.possibleOwners.contains(owner.id)) {
            breaches.push_back(resource.name + L" is online on a node that is no possible owner");
        }
        for (const RowId providerId : resource.providers) {
            const ResourceRecord& provider = *model.resources.Find(providerId);
            if (provider.state == ClusterResourceOnline) continue;
            breaches.push_back(resource.name + L" is online without " + provider.name);
        }
    }
}

// Two online resources cannot have the same thing, nor can one be online whose parameters are none.
DWORD CheckHeldThings(ClusterStore& store, std::vector<std::wstring>& breaches) {
    std::map<std::wstring, std::wstring> holders;
    for (const auto& [id, resource] : store.Model().resources.All()) {
        if (resource.state != ClusterResourceOnline) continue;
        std::wstring thing;
        if (const DWORD code = ReadHeldThing(store, resource, thing)) return code;
        if (const DWORD code = CheckOwnParameters(store, resource))
            breaches.push_back(resource.name + L" is online with parameters that cannot be: code " +
                               std::to_wstring(code));
        const auto [holder, isAlone] = holders.emplace(thing, resource.name);
        if (!thing.empty() && !isAlone)
            breaches.push_back(holder->second + L" and " + resource.name + L" both hold " + thing);
    }
    return error::Success;
}

void CheckInterfaces(const ClusterModel& model, std::vector<std::wstring>& breaches) {
    std::set<std::pair<RowId, std::wstring>> addresses;
    for (const auto& [id, networkInterface] : model.interfaces.All()) {
        const NetworkRecord& network = *model.networks.Find(networkInterface.network);
        const std::wstring name = model.nodes.Find(networkInterface.node)->name + L" - " + network.name;
        if (networkInterface.name != name) breaches.push_back(networkInterface.name + L" should be named " + name);
        const DWORD mask = ParseAddress(network.mask).value_or(0);
        const std::optional<DWORD> address = ParseAddress(networkInterface.address);
        if (!address || (*address & mask) != ParseAddress(network.address)) {
            breaches.push_back(networkInterface.name + L" has an address outside its network");
        }
        if (!addresses.emplace(network.id, networkInterface.address).second) {
            breaches.push_back(networkInterface.name + L" has the address of another interface");
        }
    }
}

bool IsNamedInKey(KeyStore& keys, ObjectKind kind, KeyId key, const std::wstring& name) {
    const auto values = OwnValuesOf(kind);
    DWORD type = 0;
    std::vector<BYTE> data;
    return values.empty() || (keys.QueryValue(key, values.front(), type, data) == error::Success && type == REG_SZ &&
                              FromUtf16(data) == name);
}

template <typename Record>
void CheckKeys(KeyStore& keys, KeyId root, ObjectKind kind, const Table<Record>& table,
               std::vector<std::wstring>& breaches) {
    KeyId container = 0;
    DWORD count = 0;
    if (keys.FindKey(root, KeyContainer(kind), container) != error::Success) {
        breaches.push_back(std::wstring(L"there is no key ") + KeyContainer(kind));
        return;
    }
    for (const auto& [id, record] : table.All()) {
        KeyId parent = 0;
        if (keys.ParentOf(record.key, parent) != error::Success || parent != container)
            breaches.push_back(record.name + L" has no key below " + KeyContainer(kind));
        else if (!IsNamedInKey(keys, kind, record.key, record.name))
            breaches.push_back(record.name + L" has another name in its key below " + KeyContainer(kind));
    }
    if (keys.CountKeys(container, count) != error::Success || count < table.All().size()) {
        breaches.push_back(std::wstring(L"objects share keys below ") + KeyContainer(kind));
    }
}

void CheckAllKeys(KeyStore& keys, KeyId root, const ClusterModel& model, std::vector<std::wstring>& breaches) {
    CheckKeys(keys, root, ObjectKind::Resource, model.resources, breaches);
    CheckKeys(keys, root, ObjectKind::ResourceType, model.types, breaches);
    CheckKeys(keys, root, ObjectKind::Group, model.groups, breaches);
    CheckKeys(keys, root, ObjectKind::Node, model.nodes, breaches);
    CheckKeys(keys, root, ObjectKind::Network, model.networks, breaches);
    CheckKeys(keys, root, ObjectKind::NetworkInterface, model.interfaces, breaches);
}

DWORD CheckChanges(ClusterStore& store, std::vector<std::wstring>& breaches) {
    std::int64_t last = 0;
    std::vector<ClusterChange> changes;
    do {
        if (const DWORD code = store.Changes(last, changesAtOnce, changes)) return code;
        for (const ClusterChange& change : changes) {
            if (last != 0 && change.number != last + 1) {
                breaches.push_back(L"change " + std::to_wstring(last + 1) + L" is missing");
            }
            last = change.number;
        }
    } while (!changes.empty());
    if (last != store.LastChange()) breaches.push_back(L"the newest change is not the last one");
    return error::Success;
}

}  // namespace

// A Write that changes nothing, so that nobody else changes anything meanwhile.
DWORD EmbeddedClusterService::CheckInvariants(std::vector<std::wstring>& breaches) {
    return _store->Write([&] {
        std::vector<std::wstring> found;
        CheckResources(Model(), found);
        if (const DWORD code = CheckHeldThings(*_store, found)) return code;
        CheckInterfaces(Model(), found);
        ClusterModel stored;
        if (const DWORD code = _store->Load(stored)) return code;
        if (!(stored == Model())) found.push_back(L"what is in memory is not what is in the database");
        CheckAllKeys(_store->Keys(), _store->RootKey(), Model(), found);
        const DWORD code = CheckChanges(*_store, found);
        if (code == error::Success) breaches = std::move(found);
        return code;
    });
}

}  // namespace platform::embedded
