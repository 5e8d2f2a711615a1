#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/PredefinedResourceTypes.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <programs/ostra/Command.h>
#include <programs/support/Change.h>
#include <programs/support/Objects.h>
#include <programs/support/Reading.h>
#include <programs/support/Settings.h>

#include <algorithm>

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

const std::vector<Column> columns{
    {"name", "NAME"}, {"group", "GROUP"}, {"type", "TYPE"}, {"state", "STATE"}, {"text", "TEXT"}};

Json Row(Resource& resource) {
    const Json summary = Summary(resource);
    return {{"name", summary["name"]},
            {"group", ToUtf8(resource.ParentName())},
            {"type", summary["type"]},
            {"state", summary["state"]},
            {"text", summary["text"]}};
}

Json Rows(Context& context, const std::string& groupName = {}) {
    Json rows = Json::array();
    const auto add = [&](Resource& resource) { rows.push_back(Row(resource)); };
    const auto addAll = [&](Group& group) { ForEachResourceOf(context, group, add); };
    if (groupName.empty())
        ForEachGroup(context, addAll);
    else
        addAll(FindGroup(context, groupName));
    return rows;
}

void ListResources(Context& context, const std::string& groupName) {
    context.PrintList(columns, Rows(context, groupName));
}

void PrintResource(Context& context, Resource& resource) {
    Json record = Row(resource);
    record["dependsOn"] = ToJson(MembersOf(resource.Handle(), CLUSTER_RESOURCE_ENUM_DEPENDS));
    record["neededBy"] = ToJson(MembersOf(resource.Handle(), CLUSTER_RESOURCE_ENUM_PROVIDES));
    record["possibleOwners"] = ToJson(MembersOf(resource.Handle(), CLUSTER_RESOURCE_ENUM_NODES));
    resource.Discover(1);
    record["properties"] = ToJson(*resource.CommonAttributes());
    record["parameters"] = ToJson(*resource.PrivateAttributes());
    context.PrintRecord(record);
}

Change ChangeOf(Context& context, const std::string& name, const std::string& verb) {
    return {context, "Resource " + name, verb, "ostra resource show \"" + name + "\""};
}

// What a command that changed the resource reports: who it is, and what was there to change.
void PrintOutcome(Context& context, const Change& change, const std::string& name) {
    Json record;
    change.Report([&] {
        Resource& resource = FindResource(context, name);
        record = Row(resource);
        record["dependsOn"] = ToJson(MembersOf(resource.Handle(), CLUSTER_RESOURCE_ENUM_DEPENDS));
        resource.GetPrivateAttributes();
        record["parameters"] = ToJson(*resource.PrivateAttributes());
    });
    context.PrintRecord(record);
}

void ShowResource(Context& context, const std::string& name) {
    PrintResource(context, FindResource(context, name));
}

// Reads back what a write has left behind: the library counts lists that were sent, not values that arrived.
void RequireStored(Resource& resource, const std::vector<Setting>& settings, const Change& change, DWORD cause) {
    change.RequireKnown(cause);
    resource.Discover(1);
    for (const Setting& setting : settings)
        if (!IsStored(setting, *resource.PrivateAttributes()) && !IsStored(setting, *resource.CommonAttributes()))
            change.Refuse(cause ? cause : DWORD{error::InvalidParameter},
                          ": \"" + ToUtf8(setting.text) + "\" was not stored");
}

void SetProperties(Context& context, const std::string& name, const std::vector<std::string>& texts) {
    const std::vector<Setting> settings = ParseSettings(texts);
    Resource& resource = FindResource(context, name);
    RequireRead("The properties of resource " + name, [&] { resource.Discover(1); });
    StringArray common;
    StringArray parameters;
    for (const Setting& setting : settings)
        (FindAttribute(*resource.CommonAttributes(), setting.name) ? common : parameters).push_back(setting.text);
    const Change change = ChangeOf(context, name, "changed");
    change.Make([&] {
        SetLastError(0);
        if (!common.empty()) resource.SetAttributes(&common, CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES);
        if (!parameters.empty()) resource.SetAttributes(&parameters, CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES);
        RequireStored(resource, settings, change, GetLastError());
    });
    PrintOutcome(context, change, name);
}

std::vector<Resource*> FindResources(Context& context, const std::vector<std::string>& names) {
    std::vector<Resource*> resources;
    for (const std::string& name : names) resources.push_back(&FindResource(context, name));
    return resources;
}

void MakeDependent(Resource& resource, const std::vector<Resource*>& others, const Change& change) {
    for (Resource* other : others) {
        SetLastError(0);
        if (resource.MakeItDependOn(other)) continue;
        const DWORD cause = GetLastError();
        const bool isOfAnother = Row(*other)["group"] != Row(resource)["group"];
        change.Refuse(cause, ": it cannot depend on " + ToUtf8(other->Name()) +
                                 (isOfAnother ? ", for resources depend on others of their own group only" : ""));
    }
}

void MakeIndependent(Resource& resource, const std::vector<Resource*>& others, const Change& change) {
    for (Resource* other : others)
        if (const DWORD code = RemoveClusterResourceDependency(resource.Handle(), other->Handle()))
            change.Refuse(code, ": it still depends on " + ToUtf8(other->Name()));
}

void Depend(Context& context, const std::string& name, const std::vector<std::string>& otherNames, bool isRemoved) {
    Resource& resource = FindResource(context, name);
    const std::vector<Resource*> others = FindResources(context, otherNames);
    const Change change = ChangeOf(context, name, "changed");
    change.Make([&] {
        if (isRemoved)
            MakeIndependent(resource, others, change);
        else
            MakeDependent(resource, others, change);
    });
    PrintOutcome(context, change, name);
}

void ReplaceOwners(Context& context, Resource& resource, const std::vector<Node*>& owners, const Change& change) {
    StringArray wanted;
    for (const Node* owner : owners) wanted.push_back(owner->Name());
    const StringArray present = MembersOf(resource.Handle(), CLUSTER_RESOURCE_ENUM_NODES);
    StringArray added;
    for (const std::wstring& node : wanted)
        if (std::find(present.begin(), present.end(), node) == present.end()) added.push_back(node);
    SetLastError(0);
    resource.SetPossibleOwners(&added);
    for (const std::wstring& node : present) {
        if (std::find(wanted.begin(), wanted.end(), node) != wanted.end()) continue;
        RemoveClusterResourceNode(resource.Handle(), FindNode(context, ToUtf8(node)).Handle());
    }
    const DWORD cause = GetLastError();
    change.RequireKnown(cause);
    StringArray after = MembersOf(resource.Handle(), CLUSTER_RESOURCE_ENUM_NODES);
    std::sort(after.begin(), after.end());
    std::sort(wanted.begin(), wanted.end());
    if (after != wanted) change.Refuse(cause);
}

void SetOwners(Context& context, const std::string& name, const std::vector<std::string>& owners) {
    Resource& resource = FindResource(context, name);
    Json record{{"name", ToUtf8(resource.Name())}};
    const auto read = [&] {
        record["possibleOwners"] = ToJson(MembersOf(resource.Handle(), CLUSTER_RESOURCE_ENUM_NODES));
    };
    if (owners.empty()) {
        read();
    } else {
        const std::vector<Node*> wanted = FindNodes(context, owners);
        const Change change = ChangeOf(context, name, "given other possible owners");
        change.Make([&] { ReplaceOwners(context, resource, wanted, change); });
        change.Report(read);
    }
    context.PrintRecord(record);
}

struct NewResource {
    std::string name;
    std::string group;
    std::string type;
    std::vector<std::string> settings;
    std::vector<std::string> dependencies;
};

// The defaults of a type go by its exact name; one that the cluster does not know is for the cluster to refuse.
std::wstring TypeOf(Context& context, const std::string& name) {
    const std::wstring wanted = FromUtf8(name);
    for (const std::wstring& type : NamesOf(context, CLUSTER_ENUM_RESTYPE))
        if (platform::EqualIgnoringCase(type, wanted)) return type;
    return wanted;
}

// Whole or not at all.
void CreateResource(Context& context, const NewResource& wish) {
    const std::vector<Setting> settings = ParseSettings(wish.settings);
    const OstraDLL::Cluster& cluster = context.OpenedCluster();
    Group& group = FindGroup(context, wish.group);
    const std::vector<Resource*> dependencies = FindResources(context, wish.dependencies);
    const std::unique_ptr<ResourceType> type =
        MakeResourceType(TypeOf(context, wish.type), cluster.ClusterHandle(), cluster.Name());
    StringArray parameters;
    for (const Setting& setting : settings) parameters.push_back(setting.text);
    const Change change = ChangeOf(context, wish.name, "created");
    change.Make([&] {
        SetLastError(0);
        const std::unique_ptr<Resource> resource(
            group.CreateResource(FromUtf8(wish.name), type.get(), &parameters, 0, 0, 0, 0));
        const DWORD cause = GetLastError();
        if (!resource || !resource->Handle()) change.Refuse(cause);
        RequireStored(*resource, settings, change, cause);
        MakeDependent(*resource, dependencies, change);
    });
    PrintOutcome(context, change, wish.name);
}

void ReportResource(Context& context, Resource& resource, DWORD wanted, const Change& change, DWORD cause) {
    change.RequireKnown(cause);
    Json row;
    const auto isThere = [&] {
        change.ReportAfter(cause, [&] { row = Row(resource); });
        return row["state"] == wanted;
    };
    if (context.WaitUntil(isThere)) return context.PrintRecord(row);
    const std::string text = TextOf(row["text"]);
    if (cause == error::IoPending || row["state"] >= DWORD{ClusterResourcePending})
        throw CommandError(ExitCode::NotSettled, "Resource " + ToUtf8(resource.Name()) + " has not settled: " + text +
                                                     " Wait longer with --wait SECONDS.");
    change.Refuse(cause, " (" + text + ")");
}

void BringOnline(Context& context, const std::string& name) {
    Resource& resource = FindResource(context, name);
    context.SetProgress("Bringing " + name + " online, which takes some seconds");
    SetLastError(0);
    const DWORD cause = resource.BringOnLine() ? DWORD{error::Success} : GetLastError();
    context.SetProgress("");
    ReportResource(context, resource, ClusterResourceOnline, ChangeOf(context, name, "brought online"), cause);
}

void TakeOffline(Context& context, const std::string& name) {
    Resource& resource = FindResource(context, name);
    SetLastError(0);
    const DWORD cause = resource.BringOffLine() ? DWORD{error::Success} : GetLastError();
    ReportResource(context, resource, ClusterResourceOffline, ChangeOf(context, name, "taken offline"), cause);
}

void DeleteResource(Context& context, const std::string& name) {
    const std::wstring exact = FindResource(context, name).Name();
    const platform::ObjectId id = IdOf(context, platform::ObjectKind::Resource, exact);
    const Change change(context, "Resource " + name, "deleted", "ostra resource list");
    if (const DWORD code = context.Administration().DeleteResource(id)) {
        change.RequireKnown(code);
        throw CommandError(ExitCodeOf(code), "Resource " + name + " was not deleted: " + CauseText(code) +
                                                 " It must be offline, and nothing may depend on it.");
    }
    Json left;
    change.Report([&] { left = Rows(context); });
    context.PrintList(columns, left);
}

void AddCreate(CLI::App& family, Run& run) {
    const auto wish = std::make_shared<NewResource>();
    CLI::App* command = AddCommand(
        family, run, "create", "Creates a resource, offline, with its type's default parameters and the given ones",
        {"resource create \"Disk E:\" --group Files --type \"Physical Disk\" --set \"Signature=REG_DWORD:439041025\"",
         "resource create Share --group Files --type \"File Share\" --set \"ShareName=REG_SZ:public\" --depends \"Disk "
         "E:\""},
        Effect::Changes, [wish](Context& context) { CreateResource(context, *wish); });
    AddOption(*command, "NAME", wish->name).Required();
    AddOption(*command, "--group", wish->group, "The group that gets it").Required().Type("GROUP");
    AddOption(*command, "--type", wish->type, "Its type, as in ostra type list").Required().Type("TYPE");
    AddOption(*command, "--set", wish->settings, "A parameter").Type("NAME=TYPE:VALUE").OneValueEach();
    AddOption(*command, "--depends", wish->dependencies, "A resource of the group that it needs")
        .Type("RESOURCE")
        .OneValueEach();
}

void AddSet(CLI::App& family, Run& run) {
    const auto name = std::make_shared<std::string>();
    const auto settings = std::make_shared<std::vector<std::string>>();
    CLI::App* command =
        AddCommand(family, run, "set", "Sets properties and parameters",
                   {"resource set Share \"MaxUsers=REG_DWORD:20\" \"Description=REG_SZ:public files\""},
                   Effect::Changes, [name, settings](Context& context) { SetProperties(context, *name, *settings); });
    AddOption(*command, "NAME", *name).Required();
    AddOption(*command, "SETTING", *settings, "NAME=TYPE:VALUE, the type REG_SZ or REG_DWORD").Required();
}

void AddDepend(CLI::App& family, Run& run) {
    struct Arguments {
        std::string name;
        std::vector<std::string> others;
        bool isRemoved = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddCommand(
        family, run, "depend", "Makes a resource depend on others of its group",
        {"resource depend Share \"Disk E:\"", "resource depend Share \"Disk E:\" --remove"}, Effect::Changes,
        [arguments](Context& context) { Depend(context, arguments->name, arguments->others, arguments->isRemoved); });
    AddOption(*command, "NAME", arguments->name).Required();
    AddOption(*command, "ON", arguments->others).Required();
    AddFlag(*command, "--remove", arguments->isRemoved, "End the dependency instead");
}

void AddOwners(CLI::App& family, Run& run) {
    const auto name = std::make_shared<std::string>();
    const auto owners = std::make_shared<std::vector<std::string>>();
    CLI::App* command = AddCommand(family, run, "owners", "Shows or replaces the possible owners",
                                   {"resource owners Share", "resource owners Share N1 N2"}, Effect::Changes,
                                   [name, owners](Context& context) { SetOwners(context, *name, *owners); });
    AddOption(*command, "NAME", *name).Required();
    AddOption(*command, "NODE", *owners);
}

}  // namespace

void AddResourceCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "resource", "Disks, addresses, names, shares and services");
    const auto group = std::make_shared<std::string>();
    AddOption(*AddCommand(*family, run, "list", "Lists the resources",
                          {"resource list", "resource list --group Files --json"}, Effect::Reads,
                          [group](Context& context) { ListResources(context, *group); }),
              "--group", *group, "Only those of one group")
        .Type("GROUP");
    AddNamedCommand(*family, run, "show", "NAME", "Shows a resource with all that is known of it",
                    {"resource show Share"}, Effect::Reads, ShowResource);
    AddCreate(*family, run);
    AddWait(*AddNamedCommand(*family, run, "online", "NAME", "Brings a resource online, and what it needs",
                             {"resource online Share"}, Effect::Changes, BringOnline),
            run.context);
    AddWait(*AddNamedCommand(*family, run, "offline", "NAME", "Takes a resource offline, and what needs it",
                             {"resource offline Share"}, Effect::Changes, TakeOffline),
            run.context);
    AddSet(*family, run);
    AddDepend(*family, run);
    AddOwners(*family, run);
    AddNamedCommand(*family, run, "delete", "NAME", "Deletes a resource that is offline and that nothing needs",
                    {"resource delete Share"}, Effect::Changes, DeleteResource);
}

}  // namespace programs
