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

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

const std::vector<Column> columns{{"name", "NAME"}, {"owner", "OWNER"}, {"state", "STATE"}, {"text", "TEXT"}};

void ListGroups(Context& context) {
    Json rows = Json::array();
    for (Group* group : GroupsOf(context)) rows.push_back(Summary(*group));
    context.PrintList(columns, rows);
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

// The library writes the preferred owners as one text, each name ended by "#".
std::wstring OwnersParameter(Context& context, const std::vector<std::string>& owners) {
    std::wstring parameter = L"PreferredOwners=REG_SZ:";
    for (const Node* owner : FindNodes(context, owners)) parameter += owner->Name() + L"#";
    return parameter;
}

void CreateGroup(Context& context, const std::string& name, const std::vector<std::string>& owners) {
    StringArray parameters;
    if (!owners.empty()) parameters.push_back(OwnersParameter(context, owners));
    OstraDLL::Cluster& cluster = context.Cluster();
    SetLastError(0);
    const Group* made = cluster.CreateGroup(FromUtf8(name), &parameters);
    const DWORD cause = GetLastError();
    // A refused group is handed out too, and is then ours.
    const bool isStored = made && cluster.GroupsPtr()->Find(FromUtf8(name)) == made;
    if (!isStored) {
        delete made;
        throw Refusal("Group " + name + " was not created", cause);
    }
    context.ForgetCluster();
    context.PrintRecord(Summary(FindGroup(context, name)));
}

void ReportGroup(Context& context, Group& group, const GroupGoal& goal, DWORD cause) {
    AwaitGroup(context, group, goal, cause);
    context.PrintRecord(Summary(group));
}

void BringOnline(Context& context, const std::string& name) {
    Group& group = FindGroup(context, name);
    SetLastError(0);
    context.Cluster().BringGroupOnLine(group.Name());
    ReportGroup(context, group, {"online", ClusterGroupOnline}, GetLastError());
}

void TakeOffline(Context& context, const std::string& name) {
    Group& group = FindGroup(context, name);
    SetLastError(0);
    context.Cluster().BringGroupOffLine(group.Name());
    ReportGroup(context, group, {"offline", ClusterGroupOffline}, GetLastError());
}

void MoveGroup(Context& context, const std::string& name) {
    Group& group = FindGroup(context, name);
    group.Status(0);
    const std::wstring before = group.CurrentOwnerName();
    SetLastError(0);
    context.Cluster().MoveGroup(group.Name());
    const DWORD cause = GetLastError();
    const bool hasMoved = context.WaitUntil([&] {
        group.Status(0);
        return group.CurrentOwnerName() != before && StateOf(group) != ClusterGroupPending;
    });
    if (hasMoved) return context.PrintRecord(Summary(group));
    if (!cause || cause == error::IoPending)
        throw CommandError(ExitCode::NotSettled,
                           "Group " + name + " is still on " + ToUtf8(before) + ". Wait longer with --wait SECONDS.");
    throw Refusal("Group " + name + " was not moved and is still on " + ToUtf8(before), cause);
}

void RenameGroup(Context& context, const std::string& name, const std::string& newName) {
    Group& group = FindGroup(context, name);
    SetLastError(0);
    const int isRenamed = context.Cluster().RenameGroup(group.Name(), FromUtf8(newName));
    const DWORD cause = GetLastError();
    if (!isRenamed) throw Refusal("Group " + name + " was not renamed", cause);
    context.ForgetCluster();
    context.PrintRecord(Summary(FindGroup(context, newName)));
}

void SetOwners(Context& context, const std::string& name, const std::vector<std::string>& owners, bool isNone) {
    Group& group = FindGroup(context, name);
    if (!owners.empty() || isNone) {
        std::vector<HNODE> nodes;
        StringArray wanted;
        for (Node* node : FindNodes(context, owners)) {
            if (!node->Open()) throw Refusal("Node " + ToUtf8(node->Name()), GetLastError());
            nodes.push_back(node->Handle());
            wanted.push_back(node->Name());
        }
        SetLastError(0);
        group.SetPreferredOwners(static_cast<int>(nodes.size()), nodes.data());
        const DWORD cause = GetLastError();
        if (MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_NODES) != wanted)
            throw Refusal("The preferred owners of group " + name + " were not set", cause);
    }
    context.PrintRecord({{"name", ToUtf8(group.Name())},
                         {"preferredOwners", ToJson(MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_NODES))}});
}

void DeleteGroup(Context& context, const std::string& name) {
    const std::wstring exact = FindGroup(context, name).Name();
    const platform::ObjectId id = IdOf(context, platform::ObjectKind::Group, exact);
    if (const DWORD code = context.Administration().DeleteGroup(id)) {
        const std::string hint =
            code == error::DirectoryNotEmpty || code == error::InvalidState || code == error::GroupNotAvailable
                ? " Take it offline and delete its resources first."
                : "";
        throw CommandError(ExitCodeOf(code), "Group " + name + " was not deleted: " + CauseText(code) + hint);
    }
    context.ForgetCluster();
    ListGroups(context);
}

void AddTemplateOptions(CLI::App& command, const std::shared_ptr<TemplateGroupWish>& wish, CLI::Option* fromTemplate) {
    const auto add = [&](const char* name, std::string& value, const char* description, const char* type) {
        command.add_option(name, value, description)->type_name(type)->needs(fromTemplate);
    };
    command.add_option("--set", wish->answers, "What a prompt of the template asks for; see: ostra template show")
        ->type_name("PROMPT=VALUE")
        ->allow_extra_args(false)
        ->needs(fromTemplate);
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
    command->add_option("NAME", wish->name)->required();
    CLI::Option* owner =
        command->add_option("--owner", *owners, "A preferred owner; the first one that is up gets the group")
            ->type_name("NODE");
    CLI::Option* fromTemplate =
        command->add_option("--template", wish->templateName, "Make all resources that this template describes")
            ->type_name("NAME")
            ->check([](const std::string& name) { return name.empty() ? "Name a template" : ""; })
            ->excludes(owner);
    AddTemplateOptions(*command, wish, fromTemplate);
    command->add_flag("--rollback", wish->isRolledBack, "Keep nothing when the group cannot be made whole and online")
        ->needs(fromTemplate);
    command->add_flag("--yes", run.context.options.isConfirmed, "Ask for nothing that --set leaves out")
        ->needs(fromTemplate);
    AddWait(*command, run.context);
}

void AddChange(CLI::App& family, Run& run) {
    const auto wish = std::make_shared<TemplateGroupWish>();
    CLI::App* command = AddCommand(
        family, run, "change",
        "Changes a group by a template: keeps its resources, makes those that it lacks, and brings it online",
        {"group change Sales --template \"File Share\" --set \"Share Name=orders\" --dry-run"}, Effect::Changes,
        [wish](Context& context) { ChangeGroupFromTemplate(context, *wish); });
    command->add_option("NAME", wish->name)->required();
    CLI::Option* fromTemplate =
        command->add_option("--template", wish->templateName, "The template")->type_name("NAME")->required();
    AddTemplateOptions(*command, wish, fromTemplate);
    AddWait(*command, run.context);
}

void AddRename(CLI::App& family, Run& run) {
    const auto names = std::make_shared<std::pair<std::string, std::string>>();
    CLI::App* command =
        AddCommand(family, run, "rename", "Renames a group", {"group rename Files Archive"}, Effect::Changes,
                   [names](Context& context) { RenameGroup(context, names->first, names->second); });
    command->add_option("NAME", names->first)->required();
    command->add_option("NEW", names->second)->required();
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
    command->add_option("NAME", arguments->name)->required();
    CLI::Option* nodes = command->add_option("NODE", arguments->owners);
    command->add_flag("--none", arguments->isNone, "Leave the group without preferred owners")->excludes(nodes);
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
