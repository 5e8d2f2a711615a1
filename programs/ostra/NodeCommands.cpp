#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <programs/ostra/Command.h>
#include <programs/support/Objects.h>

namespace programs {

namespace {

const std::vector<Column> columns{{"name", "NAME"}, {"state", "STATE"}, {"text", "TEXT"}};

void ListNodes(Context& context) {
    Json rows = Json::array();
    for (Node* node : NodesOf(context)) rows.push_back(Summary(*node));
    context.PrintList(columns, rows);
}

void ShowNode(Context& context, const std::string& name) {
    Node& node = FindNode(context, name);
    Json record = Summary(node);
    record["groups"] = Json::array();
    for (Group* group : GroupsOf(context)) {
        const Json summary = Summary(*group);
        if (summary["owner"] == record["name"]) record["groups"].push_back(summary["name"]);
    }
    context.PrintRecord(record);
}

// The library's operations act on an open node and answer what the service said; the state afterwards is what counts.
void ChangeNode(Context& context, const std::string& name, int (Node::*change)(), DWORD wanted, const char* what) {
    Node& node = FindNode(context, name);
    if (!node.Open()) throw Refusal("Node " + name, GetLastError());
    SetLastError(0);
    (node.*change)();
    const DWORD cause = GetLastError();
    if (!context.WaitUntil([&] { return StateOf(node) == wanted; })) {
        const std::string state = TextOf(Summary(node)["text"]);
        if (cause) throw Refusal("Node " + name + " was not " + what + " (" + state + ")", cause);
        throw CommandError(ExitCode::NotSettled, "Node " + name + " is not " + what + " yet: " + state +
                                                     " Look again with: ostra node show " + name);
    }
    context.PrintRecord(Summary(node));
}

void EvictNode(Context& context, const std::string& name) {
    Node& node = FindNode(context, name);
    if (!node.Open()) throw Refusal("Node " + name, GetLastError());
    SetLastError(0);
    node.Evict();
    const DWORD cause = GetLastError();
    context.ForgetCluster();
    for (Node* left : NodesOf(context))
        if (platform::EqualIgnoringCase(left->Name(), platform::FromUtf8(name)))
            throw Refusal("Node " + name + " was not evicted", cause);
    ListNodes(context);
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
