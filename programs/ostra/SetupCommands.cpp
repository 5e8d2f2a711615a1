#include <ostra/wizard/WizardRegistry.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/system/registry.h>
#include <programs/ostra/Command.h>
#include <programs/support/Objects.h>
#include <programs/support/Rehearsal.h>
#include <programs/support/Templates.h>
#include <programs/support/Transaction.h>

#include <algorithm>
#include <cstdlib>

using platform::ToUtf8;

namespace programs {

namespace {

constexpr const char* firstCluster = "main";

std::size_t CountOfChanges(const Snapshot& before, const Snapshot& after) {
    return static_cast<std::size_t>(std::count_if(after.begin(), after.end(), [&](const auto& entry) {
        const auto former = before.find(entry.first);
        return former == before.end() || former->second != entry.second;
    }));
}

std::size_t WriteTree() {
    std::size_t changes = 0;
    RunTransaction("The templates were not written", platform::TransactRegistry, [&] {
        const Snapshot before = TakeRegistrySnapshot();
        WizardRegistry writer(L"");
        writer.Create();
        if (const int failures = writer.Failures())
            throw CommandError(ExitCode::Refused, "The templates were not written: the registry refused " +
                                                      std::to_string(failures) + " entries. See: ostra events");
        changes = CountOfChanges(before, TakeRegistrySnapshot());
    });
    return changes;
}

bool CreateFirstCluster(Context& context) {
    if (!platform::ClusterDirectory::Names().empty()) return false;
    if (context.options.cluster.empty()) context.options.cluster = firstCluster;
    try {
        CreateDefaultCluster(context);
    } catch (const CommandError& problem) {
        if (problem.Code() != ExitCode::AlreadyExists) throw;
        return false;  // somebody else's setup was faster
    }
    return true;
}

// Of several clusters, none of which is named, none is meant.
bool IsClusterMeant(const Context& context) {
    const StringArray names = platform::ClusterDirectory::Names();
    const char* chosen = std::getenv("OSTRA_CLUSTER");
    std::string name = context.options.cluster;
    if (name.empty() && chosen) name = chosen;
    if (name.empty()) return names.size() == 1;
    return std::any_of(names.begin(), names.end(), [wanted = platform::FromUtf8(name)](const std::wstring& known) {
        return platform::EqualIgnoringCase(known, wanted);
    });
}

void Setup(Context& context) {
    const std::size_t changes = WriteTree();
    const bool isFirst = CreateFirstCluster(context);
    const bool isCompleted = !isFirst && IsClusterMeant(context) && CompleteCluster(context);
    const auto wizard = ReadTemplates();
    StringArray templates;
    for (const auto& page : wizard->Pages()) templates.push_back(page->Name());
    context.PrintRecord({{"registryEntriesWritten", changes},
                         {"templates", ToJson(templates)},
                         {"clusters", ToJson(platform::ClusterDirectory::Names())},
                         {"clusterCreated", isFirst},
                         {"emptyClusterFilled", isCompleted}});
    if (!changes && !isFirst && !isCompleted) return context.Say("Everything was there already; nothing has changed.");
    if (isCompleted) context.Say("The cluster had no nodes; now it has nodes, networks and disks.");
    context.Say("Next, make a pool of addresses and a group:");
    context.Say("  ostra pool create Client 10.0.1.11 10.0.1.50");
    context.Say("  ostra group create Sales --template \"File Share\"");
}

}  // namespace

void AddSetupCommands(CLI::App& app, Run& run) {
    AddCommand(app, run, "setup",
               "Writes the default group templates, over changed ones too, and creates a first cluster when there is "
               "none, or completes one without nodes",
               {"setup", "setup --dry-run", "setup --cluster east"}, Effect::Changes, Setup);
}

}  // namespace programs
