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

void Setup(Context& context) {
    const std::size_t changes = WriteTree();
    const bool isFirst = CreateFirstCluster(context);
    const ExpertWizard wizard;
    StringArray templates;
    for (const auto& page : wizard.Pages()) templates.push_back(page->Name());
    context.PrintRecord({{"registryEntriesWritten", changes},
                         {"templates", ToJson(templates)},
                         {"clusters", ToJson(platform::ClusterDirectory::Names())},
                         {"clusterCreated", isFirst}});
    if (!changes && !isFirst) return context.Say("Everything was there already; nothing has changed.");
    context.Say("Next, make a pool of addresses and a group:");
    context.Say("  ostra pool create Client 10.0.1.11 10.0.1.50");
    context.Say("  ostra group create Sales --template \"File Share\"");
}

}  // namespace

void AddSetupCommands(CLI::App& app, Run& run) {
    AddCommand(app, run, "setup",
               "Writes the default group templates, over changed ones too, and creates a first cluster when there is "
               "none",
               {"setup", "setup --dry-run", "setup --cluster east"}, Effect::Changes, Setup);
}

}  // namespace programs
