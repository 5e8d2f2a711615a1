#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/cluster_api.h>
#include <programs/ostra/Command.h>
#include <programs/support/Ipv4.h>
#include <programs/support/Settings.h>

#include <optional>
#include <set>

namespace error = platform::error;
using platform::FromUtf8;
using platform::NetworkDescription;
using platform::SharedDisk;
using platform::ToUtf8;

namespace programs {

namespace {

[[noreturn]] void Misuse(const std::string& text) {
    throw CommandError(ExitCode::Usage, text);
}

std::vector<std::string> Pieces(const std::string& text, char separator) {
    std::vector<std::string> pieces;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

// NAME=ADDRESS/PREFIX[,role=0..3]
NetworkDescription ParseNetwork(const std::string& text) {
    const std::string form = " Write NAME=ADDRESS/PREFIX[,role=0..3], as in Client=10.0.1.0/24,role=3";
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0) Misuse("\"" + text + "\" is no network." + form);
    const std::vector<std::string> pieces = Pieces(text.substr(equals + 1), ',');
    const std::size_t slash = pieces[0].find('/');
    const std::optional<DWORD> address = ParseIpv4(pieces[0].substr(0, slash));
    const std::optional<DWORD> prefix =
        slash == std::string::npos ? std::nullopt : ParseNumber(pieces[0].substr(slash + 1), 30);
    if (!address || !prefix || *prefix == 0)
        Misuse("\"" + pieces[0] + "\" is no subnet with a prefix of 1 to 30." + form);
    const DWORD mask = ~DWORD{0} << (32 - *prefix);
    if (*address & ~mask)
        Misuse("\"" + pieces[0] + "\" is an address within a subnet; the subnet is " + FormatIpv4(*address & mask) +
               "/" + std::to_string(*prefix));
    NetworkDescription network{FromUtf8(text.substr(0, equals)), FromUtf8(FormatIpv4(*address)),
                               FromUtf8(FormatIpv4(mask)), 3, L""};
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        const std::optional<DWORD> role =
            pieces[i].starts_with("role=") ? ParseNumber(pieces[i].substr(5), 3) : std::nullopt;
        if (!role) Misuse("\"" + pieces[i] + "\" is no role." + form);
        network.role = *role;
    }
    return network;
}

// DRIVE=SIGNATURE[,label=TEXT][,serial=HEX]
SharedDisk ParseDisk(const std::string& text, DWORD number) {
    const std::string form = " Write DRIVE=SIGNATURE[,label=TEXT][,serial=HEX], as in E:=1A2B3C4D,label=Data";
    const std::size_t equals = text.find('=');
    const char letter = text.empty() ? ' ' : static_cast<char>(text[0] & ~0x20);
    if (equals != 2 || text[1] != ':' || letter < 'A' || letter > 'Z')
        Misuse("\"" + text + "\" does not begin with a drive." + form);
    const std::vector<std::string> pieces = Pieces(text.substr(equals + 1), ',');
    const std::optional<DWORD> signature = ParseNumber(pieces[0], 0xFFFFFFFF, 16);
    if (!signature || *signature == 0) Misuse("\"" + pieces[0] + "\" is no hexadecimal signature." + form);
    platform::DiskPartition partition{FromUtf8(text.substr(0, equals)), L"", 0};
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        const std::optional<DWORD> serial =
            pieces[i].starts_with("serial=") ? ParseNumber(pieces[i].substr(7), 0xFFFFFFFF, 16) : std::nullopt;
        if (serial)
            partition.serialNumber = *serial;
        else if (pieces[i].starts_with("label="))
            partition.label = FromUtf8(pieces[i].substr(6));
        else
            Misuse("\"" + pieces[i] + "\" is no part of a disk." + form);
    }
    return {*signature, 0x10000 | number, number, {partition}};
}

bool DoOverlap(const NetworkDescription& one, const NetworkDescription& other) {
    const auto number = [](const std::wstring& text) { return ParseIpv4(ToUtf8(text)).value_or(0); };
    const DWORD mask = number(one.mask) & number(other.mask);
    return (number(one.address) & mask) == (number(other.address) & mask);
}

void CheckNetworks(const std::vector<NetworkDescription>& networks) {
    for (auto one = networks.begin(); one != networks.end(); ++one)
        for (auto other = networks.begin(); other != one; ++other)
            if (DoOverlap(*one, *other))
                Misuse("The subnets of networks " + ToUtf8(other->name) + " and " + ToUtf8(one->name) + " overlap");
}

void CheckDisks(const std::vector<SharedDisk>& disks) {
    std::set<std::wstring> drives;
    for (const SharedDisk& disk : disks)
        if (!drives.insert(platform::FoldCase(disk.partitions[0].drive)).second)
            Misuse("Drive " + ToUtf8(disk.partitions[0].drive) + " is given twice");
}

struct NewCluster {
    std::vector<std::string> nodes;
    std::vector<std::string> networks;
    std::vector<std::string> disks;
};

struct Hardware {
    std::vector<std::wstring> nodes;
    std::vector<NetworkDescription> networks;
    std::vector<SharedDisk> disks;
};

// What the options leave open is filled in kind by kind.
Hardware HardwareOf(const NewCluster& wish) {
    using Texts = std::vector<std::string>;
    const auto orElse = [](const Texts& given, const Texts& otherwise) { return given.empty() ? otherwise : given; };
    Hardware hardware;
    for (const std::string& node : orElse(wish.nodes, {"N1", "N2"})) hardware.nodes.push_back(FromUtf8(node));
    for (const std::string& network :
         orElse(wish.networks, {"Client=10.0.1.0/24,role=3", "Internal=10.0.2.0/24,role=1"}))
        hardware.networks.push_back(ParseNetwork(network));
    DWORD number = 1;
    for (const std::string& disk :
         orElse(wish.disks, {"E:=1A2B3C01,label=Data,serial=5A0100E1", "F:=1A2B3C02,label=Spool,serial=5A0100F2"}))
        hardware.disks.push_back(ParseDisk(disk, number++));
    CheckNetworks(hardware.networks);
    CheckDisks(hardware.disks);
    return hardware;
}

DWORD NamesOf(platform::ClusterService& service, DWORD types, StringArray& names) {
    names.clear();
    std::unique_ptr<platform::ClusterEnumeration> objects;
    DWORD code = service.Enumerate(types, objects);
    DWORD type = 0;
    std::wstring name;
    for (DWORD index = 0; !code; ++index) {
        code = objects->Item(index, type, name);
        if (!code) names.push_back(name);
    }
    return code == error::NoMoreItems ? DWORD{error::Success} : code;
}

// What has nodes already has them from somebody else, and stays as it is.
DWORD Install(platform::ClusterService& service, const Hardware& hardware) {
    platform::ClusterAdministration& administration = *service.Administration();
    return service.Transact([&]() -> DWORD {
        StringArray present;
        if (const DWORD code = NamesOf(service, CLUSTER_ENUM_NODE, present)) return code;
        if (!present.empty()) return error::Success;
        for (const std::wstring& node : hardware.nodes)
            if (const DWORD code = administration.AddNode(node)) return code;
        for (const NetworkDescription& network : hardware.networks)
            if (const DWORD code = administration.AddNetwork(network)) return code;
        for (const SharedDisk& disk : hardware.disks)
            if (const DWORD code = administration.AddDisk(disk)) return code;
        return error::Success;
    });
}

const std::vector<Column> columns{{"name", "NAME"},           {"nodes", "NODES"},       {"groups", "GROUPS"},
                                  {"resources", "RESOURCES"}, {"networks", "NETWORKS"}, {"text", "TEXT"}};

// A cluster that cannot be read is listed all the same, with the reason.
Json Row(const std::wstring& name) {
    std::shared_ptr<platform::ClusterService> service;
    if (const DWORD code = platform::ClusterDirectory::Resolve(name, service))
        return {{"name", ToUtf8(name)}, {"text", "cannot be reached: " + CauseText(code)}};
    constexpr std::pair<const char*, DWORD> kinds[] = {{"nodes", CLUSTER_ENUM_NODE},
                                                       {"groups", CLUSTER_ENUM_GROUP},
                                                       {"resources", CLUSTER_ENUM_RESOURCE},
                                                       {"networks", CLUSTER_ENUM_NETWORK}};
    Json row{{"name", ToUtf8(name)}};
    for (const auto& [kind, type] : kinds) {
        StringArray names;
        if (const DWORD code = NamesOf(*service, type, names))
            return {{"name", ToUtf8(name)}, {"text", "cannot be read: " + CauseText(code)}};
        row[kind] = names.size();
    }
    row["text"] = "";
    return row;
}

void InstallCluster(Context& context, const NewCluster& wish) {
    const Hardware hardware = HardwareOf(wish);
    const std::string& given = context.options.cluster;
    DWORD installed = error::Success;
    const DWORD code = context.CreateCluster(
        FromUtf8(given), [&](platform::ClusterService& made) { return installed = Install(made, hardware); });
    if (installed)
        throw Refusal("Cluster " + given + " was not created: a node, network or disk was refused", installed);
    if (code == error::OutcomeUnknown)
        throw CommandError(ExitCode::NotSettled, "Cluster " + given + " may have been created: " + CauseText(code) +
                                                     " Look with: ostra cluster list");
    if (code) throw Refusal("Cluster " + given + " was not created", code);
}

void CreateCluster(Context& context, const NewCluster& wish) {
    InstallCluster(context, wish);
    context.PrintRecord(Row(FromUtf8(context.options.cluster)));
}

void ListClusters(Context& context) {
    Json rows = Json::array();
    for (const std::wstring& name : platform::ClusterDirectory::Names()) rows.push_back(Row(name));
    if (rows.empty()) context.Say("There is no cluster yet. Create one with: ostra cluster create NAME");
    if (!rows.empty() || context.options.isJson) context.PrintList(columns, rows);
}

DWORD OnlineGroups(platform::ClusterService& service, std::vector<std::string>& online) {
    StringArray groups;
    if (const DWORD code = NamesOf(service, CLUSTER_ENUM_GROUP, groups)) return code;
    for (const std::wstring& name : groups) {
        platform::ObjectId id;
        DWORD state = 0;
        std::wstring owner;
        DWORD code = service.Find(platform::ObjectKind::Group, name, id);
        if (!code) code = service.GroupState(id, state, owner);
        if (code == error::GroupNotFound) continue;
        if (code) return code;
        if (state == ClusterGroupOnline || state == ClusterGroupPartialOnline) online.push_back(ToUtf8(name));
    }
    return error::Success;
}

// What is online must not go by an oversight, nor what cannot be seen.
void RequireNothingOnline(platform::ClusterService& service, const std::string& name) {
    std::vector<std::string> online;
    if (const DWORD code = OnlineGroups(service, online))
        throw CommandError(ExitCodeOf(code), "Whether cluster " + name + " has groups online cannot be read: " +
                                                 CauseText(code) + " To delete it all the same, use --force.");
    if (!online.empty())
        throw CommandError(ExitCode::Refused, "Cluster " + name + " has groups online (" + TextOf(Json(online)) +
                                                  "). Take them offline first, or use --force.");
}

// A cluster that cannot be opened can still be deleted: its name is known.
void DeleteCluster(Context& context, bool isForced) {
    const std::string& name = context.options.cluster;
    const std::wstring wide = FromUtf8(name);
    bool isKnown = false;
    for (const std::wstring& known : platform::ClusterDirectory::Names())
        isKnown |= platform::EqualIgnoringCase(known, wide);
    if (!isKnown)
        throw CommandError(ExitCode::NoSuchObject,
                           "There is no cluster named \"" + name + "\". See: ostra cluster list");
    std::shared_ptr<platform::ClusterService> service;
    if (!isForced && !platform::ClusterDirectory::Resolve(wide, service)) RequireNothingOnline(*service, name);
    service.reset();
    if (!context.Confirm("Delete cluster " + name + " with all it holds?"))
        throw CommandError(ExitCode::Refused, "Cluster " + name + " was not deleted. Confirm with --yes.");
    if (const DWORD code = context.DeleteCluster(wide)) throw Refusal("Cluster " + name + " was not deleted", code);
    if (!context.options.isRehearsal) ListClusters(context);
}

void AddCreate(CLI::App& family, Run& run) {
    const auto wish = std::make_shared<NewCluster>();
    CLI::App* command =
        AddCommand(family, run, "create", "Creates a cluster of the embedded engine",
                   {"cluster create east",
                    "cluster create lab --node A --node B --network \"LAN=192.168.7.0/24,role=3\" --disk E:=1A2B3C4D"},
                   Effect::Changes, [wish](Context& context) { CreateCluster(context, *wish); });
    // The cluster that is made is the one that this run is about, also for a rehearsal.
    AddOption(*command, "NAME", run.context.options.cluster).Required();
    AddOption(*command, "--node", wish->nodes, "A node (default: N1 and N2)").Type("NAME").OneValueEach();
    AddOption(*command, "--network", wish->networks, "A network (default: a client and an internal one)")
        .Type("NAME=ADDRESS/PREFIX[,role=0..3]")
        .OneValueEach();
    AddOption(*command, "--disk", wish->disks, "A shared disk (default: E: and F:)")
        .Type("DRIVE=SIGNATURE[,label=TEXT][,serial=HEX]")
        .OneValueEach();
}

void AddDelete(CLI::App& family, Run& run) {
    const auto isForced = std::make_shared<bool>(false);
    CLI::App* command = AddCommand(family, run, "delete", "Deletes a cluster with all it holds",
                                   {"cluster delete lab", "cluster delete lab --yes --force"}, Effect::Changes,
                                   [isForced](Context& context) { DeleteCluster(context, *isForced); });
    AddOption(*command, "NAME", run.context.options.cluster).Required();
    AddFlag(*command, "--yes", run.context.options.isConfirmed, "Do not ask");
    AddFlag(*command, "--force", *isForced, "Also while groups are online");
}

}  // namespace

void CreateDefaultCluster(Context& context) {
    InstallCluster(context, {});
}

bool CompleteCluster(Context& context) {
    platform::ClusterService& service = context.Service();
    if (!service.Administration()) return false;
    StringArray nodes;
    if (const DWORD code = NamesOf(service, CLUSTER_ENUM_NODE, nodes))
        throw Refusal("The nodes of the cluster cannot be read", code);
    if (!nodes.empty()) return false;
    if (const DWORD code = Install(service, HardwareOf({})))
        throw Refusal("The cluster has no nodes, and got none", code);
    return true;
}

void AddClusterCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "cluster", "The clusters that this machine knows");
    AddCreate(*family, run);
    AddCommand(*family, run, "list", "Lists the clusters", {"cluster list", "cluster list --json"}, Effect::Reads,
               ListClusters);
    AddDelete(*family, run);
}

}  // namespace programs
