#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <programs/ostra/Command.h>
#include <programs/support/Objects.h>

using platform::ObjectKind;

namespace programs {

namespace {

using NodeOperation = DWORD (platform::ClusterAdministration::*)(platform::ObjectId);

void SimulateNode(Context& context, const std::string& name, NodeOperation operation) {
    const std::wstring exact = FindNode(context, name).Name();
    if (const DWORD code = (context.Administration().*operation)(IdOf(context, ObjectKind::Node, exact)))
        throw Refusal("Node " + name, code);
    context.PrintRecord(Summary(FindNode(context, name)));
}

struct Situation {
    DWORD state = 0;
    std::wstring node;
    std::wstring group;
};

Situation SituationOf(Context& context, platform::ObjectId id, const std::string& name) {
    Situation now;
    if (const DWORD code = context.Service().ResourceState(id, now.state, now.node, now.group))
        throw Refusal("Resource " + name, code);
    return now;
}

void FailResource(Context& context, const std::string& name) {
    Resource& resource = FindResource(context, name);
    const platform::ObjectId id = IdOf(context, ObjectKind::Resource, resource.Name());
    const std::wstring before = SituationOf(context, id, name).node;
    if (const DWORD code = context.Administration().FailResource(id)) throw Refusal("Resource " + name, code);
    const Situation now = SituationOf(context, id, name);
    const std::string node = platform::ToUtf8(now.node);
    const char* const outcome = now.node != before                   ? "failed over"
                                : now.state == ClusterResourceOnline ? "restarted"
                                                                     : "stays failed";
    Json record = Summary(resource);
    record["outcome"] = outcome;
    record["node"] = node;
    context.PrintRecord(record);
    if (now.node != before)
        context.Say("Its group " + platform::ToUtf8(now.group) + " failed over to " + node + ".");
    else if (now.state == ClusterResourceOnline)
        context.Say("It was restarted on " + node + ".");
    else
        context.Say(
            "It stays failed. RestartAction, RestartThreshold and FailoverThreshold say how often it would not.");
}

}  // namespace

void AddSimulateCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "simulate", "Failures of an embedded cluster, for tests and rehearsals");
    AddNamedCommand(*family, run, "node-down", "NODE", "A node stops answering; its groups fail over",
                    {"simulate node-down N1"}, Effect::Changes, [](Context& context, const std::string& name) {
                        SimulateNode(context, name, &platform::ClusterAdministration::TakeNodeDown);
                    });
    AddNamedCommand(*family, run, "node-up", "NODE", "A node answers again", {"simulate node-up N1"}, Effect::Changes,
                    [](Context& context, const std::string& name) {
                        SimulateNode(context, name, &platform::ClusterAdministration::BringNodeUp);
                    });
    AddNamedCommand(*family, run, "fail", "RESOURCE", "A resource fails, and is restarted, fails over or stays failed",
                    {"simulate fail Share"}, Effect::Changes, FailResource);
}

}  // namespace programs
