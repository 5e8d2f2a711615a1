#pragma once

#include <programs/ostra/CommandOption.h>
#include <programs/support/Context.h>
#include <programs/support/Json.h>

#include <functional>
#include <memory>
#include <string>

namespace programs {

/// The command that the command line chose, to be run when all of it has been read.
struct Run {
    Context& context;
    std::function<void()> action;
};

/// What a command does. One that reads answers whole or not at all; one that follows writes as things come; one that
/// changes something can be rehearsed with --dry-run.
enum class Effect { Reads, Follows, Changes };

/// A family of commands, such as "node".
CLI::App* AddFamily(CLI::App& parent, const std::string& name, const std::string& description);

/// A command with its examples (one a line, without "ostra").
CLI::App* AddCommand(CLI::App& parent, Run& run, const std::string& name, const std::string& description,
                     const std::vector<std::string>& examples, Effect effect, std::function<void(Context&)> action);

/// A command whose only argument is a name.
CLI::App* AddNamedCommand(CLI::App& parent, Run& run, const std::string& name, const std::string& argument,
                          const std::string& description, const std::vector<std::string>& examples, Effect effect,
                          std::function<void(Context&, const std::string&)> action);

/// --wait, for actions whose effect can lag.
void AddWait(CLI::App& command, Context& context);

// The families, each in a source of its own.
void AddClusterCommands(CLI::App& app, Run& run);
void AddStatusCommands(CLI::App& app, Run& run);
void AddSetupCommands(CLI::App& app, Run& run);
void AddTemplateCommands(CLI::App& app, Run& run);
void AddNodeCommands(CLI::App& app, Run& run);
void AddGroupCommands(CLI::App& app, Run& run);
void AddResourceCommands(CLI::App& app, Run& run);
void AddTypeCommands(CLI::App& app, Run& run);
void AddDiskCommands(CLI::App& app, Run& run);
void AddNetworkCommands(CLI::App& app, Run& run);
void AddInterfaceCommands(CLI::App& app, Run& run);
void AddAddressCommands(CLI::App& app, Run& run);
void AddPoolCommands(CLI::App& app, Run& run);
void AddRegistryCommands(CLI::App& app, Run& run);
void AddDebugCommands(CLI::App& app, Run& run);
void AddEventCommands(CLI::App& app, Run& run);
void AddChangeCommands(CLI::App& app, Run& run);
void AddScheduleCommands(CLI::App& app, Run& run);
void AddSimulateCommands(CLI::App& app, Run& run);
void AddHelpCommands(CLI::App& app, Run& run);

/// Makes the cluster that the context names, as `ostra cluster create` does when it is told no more than the name.
void CreateDefaultCluster(Context& context);
/// Gives the cluster that the context means, when it has no nodes, what CreateDefaultCluster would have made. Whether
/// it had none.
bool CompleteCluster(Context& context);

}  // namespace programs
