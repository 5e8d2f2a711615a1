#include <programs/ostra/Command.h>

#include <CLI/CLI.hpp>

#include <map>

namespace programs {

namespace {

constexpr const char* exitCodes =
    "0  done\n"
    "1  refused or failed\n"
    "2  wrong usage\n"
    "3  no such object\n"
    "4  exists already\n"
    "5  not settled in the time given, or not known what is now: what was changed, or may have\n"
    "   been, cannot be read; the message says which, and the command that shows it\n"
    "6  the cluster or this machine's registry cannot be reached or read\n";

constexpr const char* environment =
    "OSTRA_HOME     the state directory (default: /var/lib/ostra for root, otherwise\n"
    "               ${XDG_STATE_HOME:-$HOME/.local/state}/ostra)\n"
    "OSTRA_CLUSTER  the cluster to work on when --cluster is not given\n"
    "NO_COLOR       no colours, also on a terminal\n";

void ShowTopic(Context& context, const std::string& topic) {
    static const std::map<std::string, const char*> topics{{"exit-codes", exitCodes}, {"environment", environment}};
    const auto found = topics.find(topic);
    if (found == topics.end())
        throw CommandError(ExitCode::Usage, "There is no help on \"" + topic +
                                                "\". Topics: exit-codes, environment. Commands: ostra COMMAND --help");
    context.PrintText(found->second);
}

// What stands after a family or a command, for every place in the tree of commands.
std::string Completions(const CLI::App& app, const std::string& place) {
    std::string words;
    for (const CLI::App* below : app.get_subcommands({})) words += below->get_name() + " ";
    for (const CLI::Option* option : app.get_options())
        if (!option->get_positional() && !option->get_lnames().empty())
            words += "--" + option->get_lnames().front() + " ";
    if (app.get_parent()) words += "--cluster --json --trace";
    std::string cases = "        \"" + place + "\") echo " + words + " ;;\n";
    for (const CLI::App* below : app.get_subcommands({})) cases += Completions(*below, place + " " + below->get_name());
    return cases;
}

// Words that lead to no further place are names and values.
std::string BashCompletion(const CLI::App& app) {
    return "_ostra_words() {\n"
           "    case $1 in\n" +
           Completions(app, "ostra") +
           "        *) return 1 ;;\n"
           "    esac\n"
           "}\n"
           "_ostra() {\n"
           "    local place=ostra i\n"
           "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "        _ostra_words \"$place ${COMP_WORDS[i]}\" >/dev/null && place+=\" ${COMP_WORDS[i]}\"\n"
           "    done\n"
           "    COMPREPLY=($(compgen -W \"$(_ostra_words \"$place\")\" -- \"${COMP_WORDS[COMP_CWORD]}\"))\n"
           "}\n"
           "complete -F _ostra ostra\n";
}

}  // namespace

void AddHelpCommands(CLI::App& app, Run& run) {
    const CLI::App* all = &app;
    const auto topic = std::make_shared<std::string>();
    AddOption(*AddCommand(app, run, "help", "Explains a topic: exit-codes, environment",
                          {"help exit-codes", "group create --help"}, Effect::Reads,
                          [all, topic](Context& context) {
                              if (topic->empty()) {
                                  return context.PrintText(
                                      all->get_formatter()->make_help(all, "ostra", CLI::AppFormatMode::Normal));
                              }
                              ShowTopic(context, *topic);
                          }),
              "TOPIC", *topic);
    const auto shell = std::make_shared<std::string>();
    AddOption(*AddCommand(app, run, "completion", "Writes the completion script of a shell",
                          {"completion bash > /etc/bash_completion.d/ostra"}, Effect::Reads,
                          [all, shell](Context& context) { context.PrintText(BashCompletion(*all)); }),
              "SHELL", *shell, "The shell: bash")
        .Required()
        .OneOf({"bash"});
}

}  // namespace programs
