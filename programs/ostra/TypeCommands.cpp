#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/wizard/ResourceDependency.h>
#include <platform/base/text.h>
#include <programs/ostra/Command.h>
#include <programs/support/Objects.h>

#include <map>

using platform::ToUtf8;

namespace programs {

namespace {

// By their types.
std::map<std::wstring, StringArray> ResourceNames(Context& context) {
    std::map<std::wstring, StringArray> names;
    ForEachResource(context, [&](Resource& resource) { names[resource.Type()].push_back(resource.Name()); });
    return names;
}

void ListTypes(Context& context) {
    std::map<std::wstring, StringArray> resources = ResourceNames(context);
    Json rows = Json::array();
    for (const std::wstring& type : NamesOf(context, CLUSTER_ENUM_RESTYPE))
        rows.push_back({{"name", ToUtf8(type)}, {"resources", resources[type].size()}});
    context.PrintList({{"name", "NAME"}, {"resources", "RESOURCES"}}, rows);
}

void ShowType(Context& context, const std::string& name) {
    for (const std::wstring& type : NamesOf(context, CLUSTER_ENUM_RESTYPE)) {
        if (!platform::EqualIgnoringCase(type, platform::FromUtf8(name))) continue;
        const OstraDLL::Cluster& cluster = context.OpenedCluster();
        const auto object = MakeResourceType(type, cluster.ClusterHandle(), cluster.Name());
        object->InitializeParameters();
        return context.PrintRecord({{"name", ToUtf8(type)},
                                    {"resources", ToJson(ResourceNames(context)[type])},
                                    {"dependsOn", ToJson(ResourceDependency(type).DependentResources())},
                                    {"commonDefaults", ToJson(object->Parameters(ResourceType::commonList))},
                                    {"privateDefaults", ToJson(object->Parameters(ResourceType::privateList))}});
    }
    throw CommandError(ExitCode::NoSuchObject,
                       "There is no resource type named \"" + name + "\". See: ostra type list");
}

}  // namespace

void AddTypeCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "type", "The kinds of resource that the cluster knows");
    AddCommand(*family, run, "list", "Lists the resource types", {"type list"}, Effect::Reads, ListTypes);
    AddNamedCommand(*family, run, "show", "NAME", "Shows a type with its default parameters",
                    {"type show \"File Share\""}, Effect::Reads, ShowType);
}

}  // namespace programs
