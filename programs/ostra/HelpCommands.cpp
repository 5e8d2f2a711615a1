#include <programs/ostra/Command.h>

#include <map>
#include <sstream>

namespace programs {

namespace {

constexpr const char* exitCodes =
    "0  done\n"
    "1  refused or failed\n"
    "2  wrong usage\n"
    "3  no such object\n"
    "4  exists already\n"
    "5  not settled in the time given\n"
    "6  the cluster cannot be reached";

constexpr const char* environment =
    "OSTRA_HOME     the state directory (default: /var/lib/ostra for root, otherwise\n"
    "               ${XDG_STATE_HOME:-$HOME/.local/state}/ostra)\n"
    "OSTRA_CLUSTER  the cluster to work on when --cluster is not given\n"
    "NO_COLOR       no colours, also on a terminal";

void WriteLines(Context& context, const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) context.Text().Line(line);
}

void ShowTopic(Context& context, const std::string& topic) {
    static const std::map<std::string, const char*> topics{{"exit-codes", exitCodes}, {"environment", environment}};
    const auto found = topics.find(topic);
    if (found == topics.end())
        throw CommandError(ExitCode::Usage, "There is no help on \"" + topic +
                                                "\". Topics: exit-codes, environment. Commands: ostra COMMAND --help");
    WriteLines(context, found->second);
}

// What stands after a family or a command, for every place in the tree of commands.
void WriteCompletions(TextWriter& writer, const CLI::App& app, const std::string& place) {
    std::string words;
    for (const CLI::App* below : app.get_subcommands({})) words += below->get_name() + " ";
    for (const CLI::Option* option : app.get_options())
        if (!option->get_positional() && !option->get_lnames().empty())
            words += "--" + option->get_lnames().front() + " ";
    writer.Line("        \"" + place + "\") words=\"" + words + "--cluster --json --trace\" ;;");
    for (const CLI::App* below : app.get_subcommands({}))
        WriteCompletions(writer, *below, place + " " + below->get_name());
}

void WriteBashCompletion(Context& context, const CLI::App& app) {
    TextWriter writer = context.Text();
    writer.Line("_ostra() {");
    writer.Line("    local words= place=ostra i");
    writer.Line("    for ((i = 1; i < COMP_CWORD; i++)); do");
    writer.Line("        [[ ${COMP_WORDS[i]} == -* ]] || place+=\" ${COMP_WORDS[i]}\"");
    writer.Line("    done");
    writer.Line("    case $place in");
    WriteCompletions(writer, app, "ostra");
    writer.Line("    esac");
    writer.Line("    COMPREPLY=($(compgen -W \"$words\" -- \"${COMP_WORDS[COMP_CWORD]}\"))");
    writer.Line("}");
    writer.Line("complete -F _ostra ostra");
}

}  // namespace

void AddHelpCommands(CLI::App& app, Run& run) {
    const CLI::App* all = &app;
    const auto topic = std::make_shared<std::string>();
    AddCommand(app, run, "help", "Explains a topic: exit-codes, environment",
               {"help exit-codes", "group create --help"}, Effect::Reads,
               [all, topic](Context& context) {
                   if (topic->empty()) {
                       WriteLines(context, all->get_formatter()->make_help(all, "ostra", CLI::AppFormatMode::Normal));
                       return;
                   }
                   ShowTopic(context, *topic);
               })
        ->add_option("TOPIC", *topic);
    const auto shell = std::make_shared<std::string>();
    AddCommand(app, run, "completion", "Writes the completion script of a shell",
               {"completion bash > /etc/bash_completion.d/ostra"}, Effect::Reads,
               [all, shell](Context& context) { WriteBashCompletion(context, *all); })
        ->add_option("SHELL", *shell, "The shell: bash")
        ->required()
        ->check(CLI::IsMember({"bash"}));
}

}  // namespace programs
