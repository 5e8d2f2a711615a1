#include <platform/base/last_error.h>
#include <platform/cluster/cluster_api.h>
#include <programs/ostra/Command.h>
#include <programs/support/Change.h>
#include <programs/support/Objects.h>

namespace programs {

namespace {

const std::vector<Column> columns{{"name", "NAME"}, {"state", "STATE"}, {"text", "TEXT"}};

Json Rows(Context& context) {
    Json rows = Json::array();
    ForEachNode(context, [&](Node& node) { rows.push_back(Summary(node)); });
    return rows;
}

void ListNodes(Context& context) {
    context.PrintList(columns, Rows(context));
}

void ShowNode(Context& context, const std::string& name) {
    Node& node = FindNode(context, name);
    Json record = Summary(node);
    Json groups = Json::array();
    ForEachGroup(context, [&](Group& group) {
        const Json summary = Summary(group);
        if (summary["owner"] == record["name"]) groups.push_back(summary["name"]);
    });
    record["groups"] = groups;
    context.PrintRecord(record);
}

// The library's operations answer what the service said; the state afterwards is what counts.
void ChangeNode(Context& context, const std::string& name, int (Node::*operation)(), DWORD wanted, const char* verb) {
    Node& node = FindNode(context, name);
    const Change change(context, "Node " + name, verb, "ostra node show \"" + name + "\"");
    SetLastError(0);
    (node.*operation)();
    const DWORD cause = GetLastError();
    change.RequireKnown(cause);
    Json summary;
    const auto isThere = [&] {
        change.ReportAfter(cause, [&] { summary = Summary(node); });
        return summary["state"] == wanted;
    };
    if (!context.WaitUntil(isThere)) {
        const std::string state = TextOf(summary["text"]);
        if (Change::IsRefusal(cause)) change.Refuse(cause, " (" + state + ")");
        throw CommandError(ExitCode::NotSettled, "Node " + name + " is not " + verb + " yet: " + state +
                                                     " Look again with: ostra node show " + name);
    }
    context.PrintRecord(summary);
}

void EvictNode(Context& context, const std::string& name) {
    Node& node = FindNode(context, name);
    const Change change(context, "Node " + name, "evicted", "ostra node list");
    SetLastError(0);
    if (!node.Evict()) change.Refuse(GetLastError());
    Json left;
    change.Report([&] { left = Rows(context); });
    context.PrintList(columns, left);
}

}  // namespace

void AddNodeCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "node", "The servers of the cluster");
    AddCommand(*family, run, "list", "Lists the nodes", {"node list", "node list --json"}, Effect::Reads, ListNodes);
    AddNamedCommand(*family, run, "show", "NAME", "Shows a node and the groups it has", {"node show N1"}, Effect::Reads,
                    ShowNode);
    CLI::App* pause =
        AddNamedCommand(*family, run, "pause", "NAME", "Keeps new groups away from a node; those that it has stay",
                        {"node pause N1"}, Effect::Changes, [](Context& context, const std::string& name) {
                            ChangeNode(context, name, &Node::Pause, ClusterNodePaused, "paused");
                        });
    AddWait(*pause, run.context);
    CLI::App* resume =
        AddNamedCommand(*family, run, "resume", "NAME", "Lets a paused node take groups again", {"node resume N1"},
                        Effect::Changes, [](Context& context, const std::string& name) {
                            ChangeNode(context, name, &Node::Resume, ClusterNodeUp, "resumed");
                        });
    AddWait(*resume, run.context);
    AddNamedCommand(*family, run, "evict", "NAME", "Takes a node out of the cluster for good; its groups fail over",
                    {"node evict N2", "node evict N2 --dry-run"}, Effect::Changes, EvictNode);
}

}  // namespace programs
