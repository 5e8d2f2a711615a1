#include <ostra/cluster/Cluster.h>
#include <ostra/properties/ObjectProperties.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <programs/ostra/Command.h>
#include <programs/ostra/GroupState.h>
#include <programs/ostra/TemplateGroup.h>
#include <programs/support/Objects.h>
#include <programs/support/Reading.h>

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

const std::vector<Column> columns{{"name", "NAME"}, {"owner", "OWNER"}, {"state", "STATE"}, {"text", "TEXT"}};

Json Rows(Context& context) {
    Json rows = Json::array();
    ForEachGroup(context, [&](Group& group) { rows.push_back(Summary(group)); });
    return rows;
}

void ListGroups(Context& context) {
    context.PrintList(columns, Rows(context));
}

void ShowGroup(Context& context, const std::string& name) {
    Group& group = FindGroup(context, name);
    Json record = Summary(group);
    record["preferredOwners"] = ToJson(MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_NODES));
    record["resources"] = ToJson(MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_CONTAINS));
    StringMap attributes;
    GroupProperties(group.Handle(), nullptr)
        .Get(&attributes, CLUS_OBJECT_GROUP | CLUSCTL_GET_COMMON_PROPERTIES, nullptr);
    record["properties"] = ToJson(attributes);
    context.PrintRecord(record);
}

std::string ShowingGroup(const std::string& name) {
    return "ostra group show \"" + name + "\"";
}

Change ChangeOf(Context& context, const std::string& name, const std::string& verb) {
    return {context, "Group " + name, verb, ShowingGroup(name)};
}

void ReportGroup(Context& context, const Change& change, const std::string& name) {
    Json record;
    change.Report([&] { record = Summary(FindGroup(context, name)); });
    context.PrintRecord(record);
}

// Replaces them, and makes sure of it.
void WriteOwners(Group& group, const std::vector<Node*>& owners, const Change& change) {
    std::vector<HNODE> nodes;
    StringArray wanted;
    for (const Node* owner : owners) {
        nodes.push_back(owner->Handle());
        wanted.push_back(owner->Name());
    }
    SetLastError(0);
    group.SetPreferredOwners(static_cast<int>(nodes.size()), nodes.data());
    const DWORD cause = GetLastError();
    change.RequireKnown(cause);
    if (cause || MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_NODES) != wanted)
        change.Refuse(cause, ": its preferred owners were refused");
}

// The library writes the preferred owners as one text, each name ended by "#", and sets those of them that it has
// discovered, which here are none.
void CreateGroup(Context& context, const std::string& name, const std::vector<std::string>& ownerNames) {
    const std::vector<Node*> owners = FindNodes(context, ownerNames);
    std::wstring parameter = L"PreferredOwners=REG_SZ:";
    for (const Node* owner : owners) parameter += owner->Name() + L"#";
    const StringArray parameters = owners.empty() ? StringArray() : StringArray{parameter};
    const Change change = ChangeOf(context, name, "created");
    change.Make([&] {
        OstraDLL::Cluster& cluster = context.OpenedCluster();
        SetLastError(0);
        Group* made = cluster.CreateGroup(FromUtf8(name), &parameters);
        const DWORD cause = GetLastError();
        // A refused group is handed out too, and is then ours.
        const bool isStored = made && cluster.GroupsPtr()->Find(FromUtf8(name)) == made;
        if (!isStored) delete made;
        if (!isStored) change.Refuse(cause);
        if (!owners.empty()) WriteOwners(*made, owners, change);
    });
    ReportGroup(context, change, name);
}

void BringOnline(Context& context, const std::string& name) {
    Group& group = FindGroup(context, name);
    SetLastError(0);
    group.BringOnLine();
    const DWORD cause = GetLastError();
    const Change change = ChangeOf(context, name, "brought online");
    context.PrintRecord(AwaitGroup(context, group, {"online", ClusterGroupOnline}, change, cause));
}

void TakeOffline(Context& context, const std::string& name) {
    Group& group = FindGroup(context, name);
    SetLastError(0);
    group.BringOffLine();
    const DWORD cause = GetLastError();
    const Change change = ChangeOf(context, name, "taken offline");
    context.PrintRecord(AwaitGroup(context, group, {"offline", ClusterGroupOffline}, change, cause));
}

void MoveGroup(Context& context, const std::string& name) {
    Group& group = FindGroup(context, name);
    RequireRead("The owner of group " + name, [&] { group.Status(0); });
    const std::wstring before = group.CurrentOwnerName();
    const Change change = ChangeOf(context, name, "moved");
    SetLastError(0);
    group.MoveGroup();
    const DWORD cause = GetLastError();
    change.RequireKnown(cause);
    const std::string place = "still on " + ToUtf8(before);
    if (Change::IsRefusal(cause)) change.Refuse(cause, " and is " + place);
    Json summary;
    const auto hasMoved = [&] {
        change.Report([&] { summary = Summary(group); });
        return group.CurrentOwnerName() != before && summary["state"] != DWORD{ClusterGroupPending};
    };
    if (!context.WaitUntil(hasMoved))
        throw CommandError(ExitCode::NotSettled,
                           "Group " + name + " is " + place + ". Wait longer with --wait SECONDS.");
    context.PrintRecord(summary);
}

void RenameGroup(Context& context, const std::string& name, const std::string& newName) {
    Group& group = FindGroup(context, name);
    const Change change(context, "Group " + name, "renamed", "ostra group list");
    SetLastError(0);
    if (!group.Rename(FromUtf8(newName))) change.Refuse(GetLastError());
    ReportGroup(context, change, newName);
}

void SetOwners(Context& context, const std::string& name, const std::vector<std::string>& owners, bool isNone) {
    Group& group = FindGroup(context, name);
    Json record{{"name", ToUtf8(group.Name())}};
    const auto read = [&] { record["preferredOwners"] = ToJson(MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_NODES)); };
    if (owners.empty() && !isNone) {
        read();
    } else {
        const std::vector<Node*> nodes = FindNodes(context, owners);
        const Change change(context, "Group " + name, "given other preferred owners", ShowingGroup(name));
        change.Make([&] { WriteOwners(group, nodes, change); });
        change.Report(read);
    }
    context.PrintRecord(record);
}

void DeleteGroup(Context& context, const std::string& name) {
    const std::wstring exact = FindGroup(context, name).Name();
    const platform::ObjectId id = IdOf(context, platform::ObjectKind::Group, exact);
    const Change change(context, "Group " + name, "deleted", "ostra group list");
    if (const DWORD code = context.Administration().DeleteGroup(id)) {
        change.RequireKnown(code);
        const std::string hint =
            code == error::DirectoryNotEmpty || code == error::InvalidState || code == error::GroupNotAvailable
                ? " Take it offline and delete its resources first."
                : "";
        throw CommandError(ExitCodeOf(code), "Group " + name + " was not deleted: " + CauseText(code) + hint);
    }
    Json left;
    change.Report([&] { left = Rows(context); });
    context.PrintList(columns, left);
}

void AddTemplateOptions(CLI::App& command, const std::shared_ptr<TemplateGroupWish>& wish,
                        const CommandOption& fromTemplate) {
    const auto add = [&](const char* name, std::string& value, const char* description, const char* type) {
        AddOption(command, name, value, description).Type(type).Needs(fromTemplate);
    };
    AddOption(command, "--set", wish->answers, "What a prompt of the template asks for; see: ostra template show")
        .Type("PROMPT=VALUE")
        .OneValueEach()
        .Needs(fromTemplate);
    add("--disk", wish->disk, "A shared disk (default: the first that is available)", "DRIVE");
    add("--network", wish->network, "The network of the address (default: the first for clients)", "NAME");
    add("--address", wish->address, "The address (default: the next of the network's pool)", "ADDRESS");
}

void AddCreate(CLI::App& family, Run& run) {
    const auto owners = std::make_shared<std::vector<std::string>>();
    const auto wish = std::make_shared<TemplateGroupWish>();
    CLI::App* command = AddCommand(
        family, run, "create", "Creates a group: without resources, offline; or whole, from a template, online",
        {"group create Files", "group create Files --owner N1 --owner N2 --dry-run",
         "group create Sales --template \"File Share\" --set \"Share Name=sales\" --set \"Network Name=SALES\"",
         "group create Queue --template \"Print Spooler\" --disk F: --address 10.0.1.30 --rollback"},
        Effect::Changes, [wish, owners](Context& context) {
            if (wish->templateName.empty()) return CreateGroup(context, wish->name, *owners);
            CreateGroupFromTemplate(context, *wish);
        });
    AddOption(*command, "NAME", wish->name).Required();
    const CommandOption owner =
        AddOption(*command, "--owner", *owners, "A preferred owner; the first one that is up gets the group")
            .Type("NODE");
    const CommandOption fromTemplate =
        AddOption(*command, "--template", wish->templateName, "Make all resources that this template describes")
            .Type("NAME")
            .NotEmpty("Name a template")
            .Excludes(owner);
    AddTemplateOptions(*command, wish, fromTemplate);
    AddFlag(*command, "--rollback", wish->isRolledBack, "Keep nothing when the group cannot be made whole and online")
        .Needs(fromTemplate);
    AddFlag(*command, "--yes", run.context.options.isConfirmed, "Ask for nothing that --set leaves out")
        .Needs(fromTemplate);
    AddWait(*command, run.context);
}

void AddChange(CLI::App& family, Run& run) {
    const auto wish = std::make_shared<TemplateGroupWish>();
    CLI::App* command = AddCommand(
        family, run, "change",
        "Changes a group by a template: keeps its resources, makes those that it lacks, and brings it online",
        {"group change Sales --template \"File Share\" --set \"Share Name=orders\" --dry-run"}, Effect::Changes,
        [wish](Context& context) { ChangeGroupFromTemplate(context, *wish); });
    AddOption(*command, "NAME", wish->name).Required();
    const CommandOption fromTemplate =
        AddOption(*command, "--template", wish->templateName, "The template").Type("NAME").Required();
    AddTemplateOptions(*command, wish, fromTemplate);
    AddWait(*command, run.context);
}

void AddRename(CLI::App& family, Run& run) {
    const auto names = std::make_shared<std::pair<std::string, std::string>>();
    CLI::App* command =
        AddCommand(family, run, "rename", "Renames a group", {"group rename Files Archive"}, Effect::Changes,
                   [names](Context& context) { RenameGroup(context, names->first, names->second); });
    AddOption(*command, "NAME", names->first).Required();
    AddOption(*command, "NEW", names->second).Required();
}

void AddOwners(CLI::App& family, Run& run) {
    struct Arguments {
        std::string name;
        std::vector<std::string> owners;
        bool isNone = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddCommand(
        family, run, "owners", "Shows or replaces the preferred owners, in order",
        {"group owners Files", "group owners Files N2 N1", "group owners Files --none"}, Effect::Changes,
        [arguments](Context& context) { SetOwners(context, arguments->name, arguments->owners, arguments->isNone); });
    AddOption(*command, "NAME", arguments->name).Required();
    const CommandOption nodes = AddOption(*command, "NODE", arguments->owners);
    AddFlag(*command, "--none", arguments->isNone, "Leave the group without preferred owners").Excludes(nodes);
}

}  // namespace

void AddGroupCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "group", "The units of failover");
    AddCommand(*family, run, "list", "Lists the groups", {"group list", "group list --json"}, Effect::Reads,
               ListGroups);
    AddNamedCommand(*family, run, "show", "NAME", "Shows a group with its owners, resources and properties",
                    {"group show Files"}, Effect::Reads, ShowGroup);
    AddCreate(*family, run);
    AddChange(*family, run);
    AddWait(*AddNamedCommand(*family, run, "online", "NAME", "Brings a group online", {"group online Files --wait 30"},
                             Effect::Changes, BringOnline),
            run.context);
    AddWait(*AddNamedCommand(*family, run, "offline", "NAME", "Takes a group offline", {"group offline Files"},
                             Effect::Changes, TakeOffline),
            run.context);
    AddWait(*AddNamedCommand(*family, run, "move", "NAME", "Moves a group to the next node that may have it",
                             {"group move Files", "group move Files --dry-run"}, Effect::Changes, MoveGroup),
            run.context);
    AddRename(*family, run);
    AddOwners(*family, run);
    AddNamedCommand(*family, run, "delete", "NAME", "Deletes a group that has no resources and is not online",
                    {"group delete Files"}, Effect::Changes, DeleteGroup);
}

}  // namespace programs
