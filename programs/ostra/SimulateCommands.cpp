#include <platform/base/text.h>
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

void FailResource(Context& context, const std::string& name) {
    Resource& resource = FindResource(context, name);
    if (const DWORD code = context.Administration().FailResource(IdOf(context, ObjectKind::Resource, resource.Name())))
        throw Refusal("Resource " + name, code);
    context.PrintRecord(Summary(resource));
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
    AddNamedCommand(*family, run, "fail", "RESOURCE", "A resource fails", {"simulate fail Share"}, Effect::Changes,
                    FailResource);
}

}  // namespace programs
