#include <ostra/cluster/Cluster.h>
#include <ostra/network/IPStack.h>
#include <ostra/network/NetworkAdapter.h>
#include <ostra/network/NetworkAdapters.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <programs/ostra/Command.h>
#include <programs/support/AddressPools.h>
#include <programs/support/Change.h>
#include <programs/support/Ipv4.h>
#include <programs/support/KeyTree.h>
#include <programs/support/Objects.h>

#include <algorithm>

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

const std::vector<Column> columns{{"network", "NETWORK"},     {"start", "START"}, {"end", "END"},
                                  {"available", "AVAILABLE"}, {"used", "USED"},   {"initialized", "INITIALIZED"}};

constexpr DWORD largestUnit = 255;
constexpr DWORD lowestClientRole = 2;

// As it was loaded, everything that was taken may still come back.
std::vector<std::string> UsedIn(const IPStack& loaded) {
    return Names(*loaded.IPAddressesToBeRecycled());
}

// The database has the address below the first one, where the search for a free one begins.
std::string FirstAddress(const IPStack& pool) {
    const std::wstring below = pool.StartingAddress();
    const std::size_t unit = below.rfind(L'.') + 1;
    return ToUtf8(below.substr(0, unit)) +
           std::to_string(static_cast<int>(platform::ParseDecimal(below.substr(unit)) + 1));
}

Json Summary(Context& context, const Network& network) {
    const std::unique_ptr<IPStack> pool = LoadPool(context, network);
    const bool hasRange = !pool->StartingAddress().empty();
    return {{"network", ToUtf8(network.Name())},    {"start", hasRange ? FirstAddress(*pool) : ""},
            {"end", ToUtf8(pool->EndingAddress())}, {"available", AvailableIn(*pool).size()},
            {"used", UsedIn(*pool).size()},         {"initialized", pool->IsInitialized() != 0}};
}

// A pool is several values: only within a transaction do they belong together.
Json Rows(Context& context) {
    Json rows;
    context.Transact("The address pools cannot be listed", [&] {
        rows = Json::array();
        for (const Network* network : NetworksOf(context)) {
            if (!HasPool(context, network->ID())) continue;
            rows.push_back({{"name", ToUtf8(network->Name())}});  // a pool goes by its network's name
            rows.back().update(Summary(context, *network));
        }
    });
    return rows;
}

void PrintPools(Context& context, const Json& rows) {
    if (rows.empty()) context.Say("There is no address pool. Make one with: ostra pool create NETWORK START END");
    if (!rows.empty() || context.options.isJson) context.PrintList(columns, rows);
}

void ListPools(Context& context) {
    PrintPools(context, Rows(context));
}

Change ChangeOf(Context& context, const std::string& name, const std::string& verb) {
    return {context, "The pool of network " + name, verb, "ostra pool show \"" + name + "\""};
}

void ShowPool(Context& context, const std::string& name) {
    Json record;
    context.Transact("The pool of network " + name + " cannot be shown", [&] {
        const Network& network = FindNetwork(context, name);
        const std::unique_ptr<IPStack> pool = ExistingPool(context, network);
        record = Summary(context, network);
        record["available"] = AvailableIn(*pool);
        record["used"] = UsedIn(*pool);
        record["mask"] = ToUtf8(network.SubnetMask());
        record["id"] = ToUtf8(network.ID());
    });
    context.PrintRecord(record);
}

void CheckRole(const Network& network) {
    if (platform::ParseDecimal(network.Role()) >= lowestClientRole) return;
    const std::string name = ToUtf8(network.Name());
    throw CommandError(ExitCode::Refused,
                       "Network " + name +
                           " is not for clients, so groups get no addresses there. Change that with: "
                           "ostra network set \"" +
                           name + "\" Role=REG_DWORD:3");
}

// What is held is read within the transaction too: a resource made meanwhile would be missed otherwise.
void Take(Context& context, const std::string& name) {
    std::string network;
    std::string address;
    const Change change(context, "An address of the pool of network " + name, "taken",
                        "ostra pool show \"" + name + "\"");
    change.Make([&] {
        const Network& found = FindNetwork(context, name);
        CheckRole(found);
        network = ToUtf8(found.Name());
        address = TakeFrom(context, found, HeldAddresses(context));
    });
    if (!context.options.isJson) return context.Say(address);
    context.PrintJson({{"network", network}, {"address", address}});
}

/// The ends of a pool as the command line gave them.
struct Range {
    std::string start;
    std::string end;
};

[[noreturn]] void Misuse(const std::string& text) {
    throw CommandError(ExitCode::Usage, text);
}

Ipv4Units UnitsOf(const std::string& address) {
    const std::optional<Ipv4Units> units = ParseIpv4Units(address);
    if (!units) Misuse("\"" + address + "\" is no address: write four numbers from 0 to 255, as in 10.0.1.11");
    return *units;
}

// The library makes addresses of any two texts; here both have to be addresses of one run.
void CheckRange(const Range& range) {
    const Ipv4Units first = UnitsOf(range.start);
    const Ipv4Units last = UnitsOf(range.end);
    const std::string both = range.start + " to " + range.end;
    if (!std::equal(first.begin(), first.end() - 1, last.begin()))
        Misuse(both + " is no run of addresses: the ends may differ in their last number only");
    if (last.back() < first.back()) Misuse(both + " runs backwards: the first address comes first");
    if (last.back() - first.back() > largestUnit)
        Misuse(both + " is too large: a pool has " + std::to_string(largestUnit + 1) + " addresses at most");
    for (const std::string& address : {range.start, range.end})
        if (!ParseIpv4(address)) Misuse("\"" + address + "\" is no address: none of its numbers may be above 255");
}

void CheckSubnet(const Range& range, const Network& network) {
    const std::string text = SubnetText(ToUtf8(network.IPAddress()), ToUtf8(network.SubnetMask()));
    const std::optional<DWORD> subnet = ParseIpv4(ToUtf8(network.IPAddress()));
    const std::optional<DWORD> mask = ParseIpv4(ToUtf8(network.SubnetMask()));
    if (!subnet || !mask)
        throw CommandError(ExitCode::Refused, "Network " + ToUtf8(network.Name()) + " has no subnet: " + text);
    for (const std::string& address : {range.start, range.end}) {
        const DWORD number = ParseIpv4(address).value_or(0);
        if ((number & *mask) != (*subnet & *mask))
            throw CommandError(ExitCode::Refused, address + " is not within " + text + ", the subnet of network " +
                                                      ToUtf8(network.Name()));
        if (number == *subnet || number == (*subnet | ~*mask))
            throw CommandError(ExitCode::Refused, address + " cannot be handed out: it is the subnet " + text +
                                                      " itself, or reaches all of it");
    }
}

// The mark goes first and comes last: whoever finds it finds a whole pool.
Json WritePool(Context& context, const Network& network, const Range& range) {
    const std::wstring cluster = context.ClusterName();
    SetLastError(0);
    IPStack(network.ID(), cluster, network.SubnetMask(), 1).CreateRegistryEntries();
    IPStack pool(network.ID(), cluster, network.SubnetMask(), FromUtf8(range.start), FromUtf8(range.end));
    pool.SetRangeAndMask(pool.StartingAddress(), pool.EndingAddress(), network.SubnetMask());
    RequireSaved(context, network, AvailableIn(pool), false);
    pool.SetInitialized(1);
    const Json written = Summary(context, network);
    if (written["start"] != range.start || written["end"] != range.end || written["initialized"] != true)
        throw Refusal(PoolOf(network) + " was not saved", GetLastError());
    return written;
}

void Create(Context& context, const std::string& name, const Range& range, bool isForced) {
    CheckRange(range);
    Json made;
    ChangeOf(context, name, "created").Make([&] {
        const Network& network = FindNetwork(context, name);
        CheckRole(network);
        CheckSubnet(range, network);
        if (!isForced && HasPool(context, network.ID()))
            throw CommandError(ExitCode::AlreadyExists,
                               "Network " + name + " has an address pool. See it with: ostra pool show \"" + name +
                                   "\" or replace it, and what it knows of taken addresses, with --force.");
        made = WritePool(context, network, range);
    });
    context.PrintRecord(made);
}

// A range that was damaged since is refused as one from the command line would be.
void Reset(Context& context, const std::string& name) {
    Json made;
    ChangeOf(context, name, "reset").Make([&] {
        const Network& network = FindNetwork(context, name);
        const std::unique_ptr<IPStack> pool = ExistingPool(context, network);
        const Range range{FirstAddress(*pool), ToUtf8(pool->EndingAddress())};
        try {
            CheckRange(range);
            CheckSubnet(range, network);
        } catch (const CommandError& problem) {
            throw CommandError(ExitCode::Refused, PoolOf(network) + " has no proper range: " + problem.what() +
                                                      " Make it again with: ostra pool create --force");
        }
        made = WritePool(context, network, range);
    });
    context.PrintRecord(made);
}

void Delete(Context& context, const std::string& name) {
    const Change change(context, "The pool of network " + name, "deleted", "ostra pool list");
    change.Make([&] {
        const Network& network = FindNetwork(context, name);
        RequirePool(context, network);
        if (const DWORD code = PoolKey(context, poolsKey).DeleteSubkey(network.ID())) change.Refuse(code);
    });
    Json left;
    change.Report([&] { left = Rows(context); });
    PrintPools(context, left);
}

// The adapters' collection opens a pool for every network that clients reach, which leaves keys without values.
void DropEmptyKeys(Context& context, const NetworkAdapters& adapters) {
    for (const auto& [name, adapter] : *adapters.Adapters())
        if (!HasPool(context, adapter->ID())) PoolKey(context, poolsKey).DeleteSubkey(adapter->ID());
}

void Recycle(Context& context, NetworkAdapter& adapter, const Network& network, const HeldAddresses& held, Json& rows) {
    RequireLoaded(context, network, *adapter.Stack());
    for (const std::wstring& address : held.Addresses()) adapter.AddIPAddressBeingUsed(address);
    adapter.GetIPAddressesToBeRecycled();
    const std::vector<std::string> addresses = Names(*adapter.Stack()->IPAddressesToBeRecycled());
    SetLastError(0);
    adapter.RecycleIPAddresses();
    RequireSaved(context, network, addresses, false);
    for (const std::string& address : addresses)
        rows.push_back({{"network", ToUtf8(network.Name())}, {"address", address}});
}

Json RecycleUnheld(Context& context, const std::string& name) {
    const Network* only = name.empty() ? nullptr : &FindNetwork(context, name);
    if (only) RequirePool(context, *only);
    if (only) CheckRole(*only);
    const HeldAddresses held(context);
    const NetworkAdapters adapters(context.ClusterName(), context.OpenedCluster().ClusterHandle(), 0, 0);
    Json rows = Json::array();
    for (const Network* network : NetworksOf(context)) {
        NetworkAdapter* adapter = adapters.FindAdapterByName(network->Name());
        const bool isMeant = only ? only == network : HasPool(context, network->ID());
        if (isMeant && adapter && adapter->Stack()) Recycle(context, *adapter, *network, held, rows);
    }
    DropEmptyKeys(context, adapters);
    return rows;
}

// Cluster and resources are read within the transaction: nobody takes an address or makes a resource meanwhile.
void RecycleAddresses(Context& context, const std::string& name) {
    Json rows;
    const Change change(context, "What nothing holds", "recycled", "ostra pool list");
    change.Make([&] { rows = RecycleUnheld(context, name); });
    if (rows.empty()) context.Say("Nothing to recycle.");
    if (!rows.empty() || context.options.isJson)
        context.PrintList({{"network", "NETWORK"}, {"address", "ADDRESS"}}, rows);
}

void AddCreate(CLI::App& family, Run& run) {
    struct Arguments {
        std::string name;
        Range range;
        bool isForced = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddCommand(
        family, run, "create", "Makes the pool of a network: the addresses START to END",
        {"pool create Client 10.0.1.11 10.0.1.50"}, Effect::Changes,
        [arguments](Context& context) { Create(context, arguments->name, arguments->range, arguments->isForced); });
    AddOption(*command, "NETWORK", arguments->name).Required();
    AddOption(*command, "START", arguments->range.start, "The first address").Required();
    AddOption(*command, "END", arguments->range.end, "The last address; only its last number may differ").Required();
    AddFlag(*command, "--force", arguments->isForced, "Replace the pool that there is");
}

}  // namespace

void AddPoolCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "pool", "The addresses that new groups draw from");
    AddCommand(*family, run, "list", "Lists the address pools", {"pool list", "pool list --json"}, Effect::Reads,
               ListPools);
    AddNamedCommand(*family, run, "show", "NETWORK", "Shows a pool with its available and used addresses",
                    {"pool show Client"}, Effect::Reads, ShowPool);
    AddCreate(*family, run);
    AddNamedCommand(*family, run, "take", "NETWORK",
                    "Takes the lowest available address that no resource and no node holds",
                    {"pool take Client", "pool take Client --json"}, Effect::Changes, Take);
    const auto network = std::make_shared<std::string>();
    AddOption(*AddCommand(*family, run, "recycle", "Makes taken addresses available again that no resource holds",
                          {"pool recycle", "pool recycle Client --dry-run"}, Effect::Changes,
                          [network](Context& context) { RecycleAddresses(context, *network); }),
              "NETWORK", *network, "Only the pool of this network");
    AddNamedCommand(*family, run, "reset", "NETWORK",
                    "Makes the whole range of a pool available again, whatever was taken", {"pool reset Client"},
                    Effect::Changes, Reset);
    AddNamedCommand(*family, run, "delete", "NETWORK", "Deletes the pool of a network", {"pool delete Client"},
                    Effect::Changes, Delete);
}

}  // namespace programs
