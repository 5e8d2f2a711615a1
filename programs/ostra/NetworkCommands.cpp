#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/control_codes.h>
#include <programs/ostra/Command.h>
#include <programs/support/Change.h>
#include <programs/support/Objects.h>
#include <programs/support/Settings.h>

#include <array>

namespace error = platform::error;
using platform::ToUtf8;

namespace programs {

namespace {

const std::vector<Column> networkColumns{{"name", "NAME"}, {"address", "ADDRESS"}, {"mask", "MASK"},
                                         {"role", "ROLE"}, {"state", "STATE"},     {"text", "TEXT"}};
const std::vector<Column> interfaceColumns{{"name", "NAME"},       {"node", "NODE"},   {"network", "NETWORK"},
                                           {"address", "ADDRESS"}, {"state", "STATE"}, {"text", "TEXT"}};

std::string UseOf(std::size_t role) {
    static constexpr std::array uses{"nothing", "internal traffic", "clients", "internal traffic and clients"};
    return role < uses.size() ? uses[role] : "unknown";
}

void ListNetworks(Context& context) {
    Json rows = Json::array();
    for (Network* network : NetworksOf(context)) rows.push_back(Summary(*network));
    context.PrintList(networkColumns, rows);
}

Json Describe(Context& context, Network& network) {
    Json record = Summary(network);
    record["use"] = UseOf(record["role"].get<std::size_t>());
    record["description"] = ToUtf8(network.Description());
    record["interfaces"] = Json::array();
    for (NetworkInterface* networkInterface : InterfacesOf(context)) {
        const Json summary = Summary(*networkInterface);
        if (summary["network"] == record["name"]) record["interfaces"].push_back(summary["name"]);
    }
    return record;
}

void ShowNetwork(Context& context, const std::string& name) {
    context.PrintRecord(Describe(context, FindNetwork(context, name)));
}

// Texts and numbers are sent apart: only together do they make the change that was asked for.
void SetNetwork(Context& context, const std::string& name, const std::vector<std::string>& texts) {
    const std::vector<Setting> settings = ParseSettings(texts);
    StringArray parameters;
    for (const Setting& setting : settings) parameters.push_back(setting.text);
    Network& network = FindNetwork(context, name);
    const Change change(context, "Network " + name, "changed", "ostra network show \"" + name + "\"");
    change.Make([&] {
        SetLastError(0);
        network.SetAttributes(&parameters, CLUSCTL_NETWORK_SET_COMMON_PROPERTIES);
        const DWORD cause = GetLastError();
        StringMap attributes;
        network.GetAttributes(&attributes, CLUSCTL_NETWORK_GET_COMMON_PROPERTIES);
        for (const Setting& setting : settings)
            if (!IsStored(setting, attributes))
                change.Refuse(cause ? cause : DWORD{error::InvalidParameter},
                              ": \"" + ToUtf8(setting.text) + "\" was not stored");
    });
    Json record;
    change.Report([&] { record = Describe(context, network); });
    context.PrintRecord(record);
}

void ListInterfaces(Context& context) {
    Json rows = Json::array();
    for (NetworkInterface* networkInterface : InterfacesOf(context)) rows.push_back(Summary(*networkInterface));
    context.PrintList(interfaceColumns, rows);
}

void ShowInterface(Context& context, const std::string& name) {
    NetworkInterface& networkInterface = FindInterface(context, name);
    Json record = Summary(networkInterface);
    StringMap attributes;
    for (const DWORD code : {CLUSCTL_GET_RO_COMMON_PROPERTIES, CLUSCTL_GET_COMMON_PROPERTIES})
        networkInterface.GetAttributes(&attributes, CLUS_OBJECT_NETINTERFACE | code);
    record["properties"] = ToJson(attributes);
    context.PrintRecord(record);
}

}  // namespace

void AddNetworkCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "network", "The subnets that the cluster uses");
    AddCommand(*family, run, "list", "Lists the networks", {"network list", "network list --json"}, Effect::Reads,
               ListNetworks);
    AddNamedCommand(*family, run, "show", "NAME", "Shows a network with its use and its interfaces",
                    {"network show Client"}, Effect::Reads, ShowNetwork);
    const auto name = std::make_shared<std::string>();
    const auto settings = std::make_shared<std::vector<std::string>>();
    CLI::App* command =
        AddCommand(*family, run, "set", "Sets a network's role (0 none, 1 internal, 2 clients, 3 both) or description",
                   {"network set Client Role=REG_DWORD:2 \"Description=REG_SZ:second floor\""}, Effect::Changes,
                   [name, settings](Context& context) { SetNetwork(context, *name, *settings); });
    AddOption(*command, "NAME", *name).Required();
    AddOption(*command, "SETTING", *settings, "NAME=TYPE:VALUE, the type REG_SZ or REG_DWORD").Required();
}

void AddInterfaceCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "interface", "What connects the nodes to the networks");
    AddCommand(*family, run, "list", "Lists the network interfaces", {"interface list", "interface list --json"},
               Effect::Reads, ListInterfaces);
    AddNamedCommand(*family, run, "show", "NAME", "Shows a network interface with its properties",
                    {"interface show \"N1 - Client\""}, Effect::Reads, ShowInterface);
}

}  // namespace programs
