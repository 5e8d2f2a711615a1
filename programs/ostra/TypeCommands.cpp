#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/wizard/ResourceDependency.h>
#include <platform/base/text.h>
#include <programs/ostra/Command.h>
#include <programs/support/Objects.h>

using platform::ToUtf8;

namespace programs {

namespace {

Json ResourcesOfType(Context& context, const std::wstring& type) {
    Json names = Json::array();
    for (Group* group : GroupsOf(context))
        for (Resource* resource : ResourcesOf(*group))
            if (resource->Type() == type) names.push_back(ToUtf8(resource->Name()));
    return names;
}

void ListTypes(Context& context) {
    Json rows = Json::array();
    for (const std::wstring& type : ResourceTypesOf(context))
        rows.push_back({{"name", ToUtf8(type)}, {"resources", ResourcesOfType(context, type).size()}});
    context.PrintList({{"name", "NAME"}, {"resources", "RESOURCES"}}, rows);
}

void ShowType(Context& context, const std::string& name) {
    for (const std::wstring& type : ResourceTypesOf(context)) {
        if (!platform::EqualIgnoringCase(type, platform::FromUtf8(name))) continue;
        const auto object = MakeResourceType(type, context.Cluster().ClusterHandle(), context.Cluster().Name());
        object->InitializeParameters();
        return context.PrintRecord({{"name", ToUtf8(type)},
                                    {"resources", ResourcesOfType(context, type)},
                                    {"dependsOn", ToJson(ResourceDependency(type).DependentResources())},
                                    {"commonDefaults", ToJson(object->Parameters(0))},
                                    {"privateDefaults", ToJson(object->Parameters(1))}});
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
