#include <programs/ostra/Command.h>

#include <CLI/CLI.hpp>

#include <ostra/version.h>
#include <platform/base/output.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/system/message_box.h>
#include <programs/ostra/RunOstra.h>
#include <programs/support/Reading.h>
#include <programs/support/Rehearsal.h>

#include <algorithm>
#include <sstream>

namespace programs {

namespace {

/// The library's own lines: to standard error with --trace, otherwise nowhere.
class TraceSink final : public platform::OutputSink {
public:
    explicit TraceSink(Context& context) : _context(context), _before(platform::SetOutputSink(this)) {}
    TraceSink(const TraceSink&) = delete;
    TraceSink& operator=(const TraceSink&) = delete;
    ~TraceSink() override { platform::SetOutputSink(_before); }
    bool IsRead() const override { return _context.options.isTraced; }
    void Write(std::wstring_view text) override {
        if (!IsRead()) return;
        const std::string lines = platform::ToUtf8(text);
        std::ostream& err = _context.Channels().err;
        for (std::size_t begin = 0; begin < lines.size();) {
            const std::size_t end = std::min(lines.find('\n', begin), lines.size());
            TextWriter(err, false).Write(std::string_view(lines).substr(begin, end - begin));
            if (end < lines.size()) err << '\n';
            begin = end + 1;
        }
    }

private:
    Context& _context;
    platform::OutputSink* _before;
};

/// What a windowing layer would show in a box.
class BoxesAsWarnings final : public platform::MessageBoxHandler {
public:
    explicit BoxesAsWarnings(Context& context) : _context(context), _before(platform::SetMessageBoxHandler(this)) {}
    BoxesAsWarnings(const BoxesAsWarnings&) = delete;
    BoxesAsWarnings& operator=(const BoxesAsWarnings&) = delete;
    ~BoxesAsWarnings() override { platform::SetMessageBoxHandler(_before); }
    int Show(const std::wstring& text, const std::wstring&, UINT) override {
        _context.Warn(platform::ToUtf8(text));
        return 1;
    }

private:
    Context& _context;
    platform::MessageBoxHandler* _before;
};

/// Lets go of the cluster before the sinks above go: objects have lines for their end, too.
class ClusterEnd {
public:
    explicit ClusterEnd(Context& context) : _context(context) {}
    ClusterEnd(const ClusterEnd&) = delete;
    ClusterEnd& operator=(const ClusterEnd&) = delete;
    ~ClusterEnd() { _context.ForgetCluster(); }

private:
    Context& _context;
};

void AddGlobalOptions(CLI::App& app, Context& context) {
    AddOption(app, "--cluster", context.options.cluster,
              "The cluster to work on (default: OSTRA_CLUSTER, or the only one)")
        .Type("NAME");
    AddFlag(app, "--json", context.options.isJson, "Write one JSON document to standard output");
    AddFlag(app, "--trace", context.options.isTraced, "Show the library's own lines on standard error");
    app.set_version_flag("--version", std::string("ostra ") + OSTRA_VERSION);
}

void AddCommands(CLI::App& app, Run& run) {
    AddSetupCommands(app, run);
    AddClusterCommands(app, run);
    AddStatusCommands(app, run);
    AddNodeCommands(app, run);
    AddGroupCommands(app, run);
    AddTemplateCommands(app, run);
    AddResourceCommands(app, run);
    AddTypeCommands(app, run);
    AddDiskCommands(app, run);
    AddNetworkCommands(app, run);
    AddInterfaceCommands(app, run);
    AddAddressCommands(app, run);
    AddPoolCommands(app, run);
    AddRegistryCommands(app, run);
    AddDebugCommands(app, run);
    AddEventCommands(app, run);
    AddChangeCommands(app, run);
    AddScheduleCommands(app, run);
    AddSimulateCommands(app, run);
    AddHelpCommands(app, run);
}

void ReportError(const Streams& streams, bool isJson, const std::string& text, const std::string& hint = {}) {
    if (text.empty()) return;  // there is nobody to tell
    if (isJson) {
        streams.err << Json{{"error", text}}.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
        return;
    }
    TextWriter writer(streams.err, false);
    writer.Line("ostra: " + text);
    if (!hint.empty()) writer.Line(hint);
}

std::wstring Joined(const std::vector<std::string>& arguments) {
    std::string line = "ostra";
    for (const std::string& argument : arguments)
        line += argument.find(' ') == std::string::npos ? " " + argument : " \"" + argument + "\"";
    return platform::FromUtf8(line);
}

// A family without one of its commands, or with a word that is none: then the choice helps more than the rule.
std::string ChoiceOf(const CLI::App& app) {
    const CLI::App* place = &app;
    std::string path = "ostra";
    for (auto chosen = place->get_subcommands(); !chosen.empty(); chosen = place->get_subcommands()) {
        place = chosen.front();
        path += " " + place->get_name();
    }
    std::string choice;
    for (const CLI::App* below : place->get_subcommands({})) choice += (choice.empty() ? "" : ", ") + below->get_name();
    return choice.empty() ? "" : "\"" + path + "\" takes one of these commands: " + choice;
}

std::string Misuse(const CLI::App& app, const CLI::ParseError& problem) {
    const std::string choice = ChoiceOf(app);
    if (choice.empty() || !dynamic_cast<const CLI::RequiredError*>(&problem)) return problem.what();
    const std::vector<std::string> unknown = app.remaining(true);
    return unknown.empty() ? choice : "\"" + unknown.front() + "\" was not expected; " + choice;
}

bool IsJsonWanted(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

// What is no text would be replaced by another one, and might then name another object.
void RequireUtf8(const std::vector<std::string>& arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i)
        if (platform::ToUtf8(platform::FromUtf8(arguments[i])) != arguments[i])
            throw CommandError(ExitCode::Usage, "Argument " + std::to_string(i + 1) + " is no valid UTF-8");
}

// Asked for help or for the version, it writes that, and leaves nothing to run.
void Parse(CLI::App& app, const std::vector<std::string>& arguments, Run& run) {
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        const bool isHelp = app.got_subcommand("help") || app.got_subcommand("completion");
        if (!isHelp) Context::RequireReadableState();
    } catch (const CLI::Success& request) {
        std::ostringstream text;
        app.exit(request, text, text);
        run.action = [&run, answer = text.str()] { run.context.PrintText(answer); };
        run.context.options.isRehearsal = false;
    }
}

// Nothing is written of an answer of which a part could not be read: it would pass for all there is.
void AnswerWhole(Context& context, const std::function<void()>& read) {
    const std::string answer = context.Capture([&] { RequireRead("All that was asked for", read); });
    context.Write(answer);
}

}  // namespace

CLI::App* AddFamily(CLI::App& parent, const std::string& name, const std::string& description) {
    CLI::App* family = parent.add_subcommand(name, description);
    family->require_subcommand(1);
    return family;
}

CLI::App* AddCommand(CLI::App& parent, Run& run, const std::string& name, const std::string& description,
                     const std::vector<std::string>& examples, Effect effect, std::function<void(Context&)> action) {
    CLI::App* command = parent.add_subcommand(name, description);
    std::string footer = "Examples:";
    for (const std::string& example : examples) footer += "\n  ostra " + example;
    footer += "\n\nAlso: --cluster NAME, --json, --trace; see: ostra --help";
    command->footer(footer);
    if (effect == Effect::Changes)
        AddFlag(*command, "--dry-run", run.context.options.isRehearsal, "Show what would change, and change nothing");
    command->callback([&run, effect, action = std::move(action)] {
        run.action = [&run, action] { action(run.context); };
        if (effect == Effect::Reads) run.action = [&run, read = run.action] { AnswerWhole(run.context, read); };
    });
    return command;
}

CLI::App* AddNamedCommand(CLI::App& parent, Run& run, const std::string& name, const std::string& argument,
                          const std::string& description, const std::vector<std::string>& examples, Effect effect,
                          std::function<void(Context&, const std::string&)> action) {
    const auto value = std::make_shared<std::string>();
    CLI::App* command = AddCommand(parent, run, name, description, examples, effect,
                                   [value, action = std::move(action)](Context& context) { action(context, *value); });
    AddOption(*command, argument, *value).Required();
    return command;
}

void AddWait(CLI::App& command, Context& context) {
    AddOption(command, "--wait", context.options.waitSeconds, "Seconds to wait until the state has settled")
        .Type("SECONDS")
        .Within(0, 86'400);
}

int RunOstra(const std::vector<std::string>& arguments, const Streams& streams) {
    Context context(streams);
    const TraceSink trace(context);
    const BoxesAsWarnings boxes(context);
    const ClusterEnd end(context);
    Run run{context, {}};
    const bool& isJson = context.options.isJson;
    context.options.isJson = IsJsonWanted(arguments);  // also where the line cannot be understood

    CLI::App app("Administration of high-availability clusters", "ostra");
    app.fallthrough();
    app.require_subcommand(1);
    app.footer("Exit codes: ostra help exit-codes");
    AddGlobalOptions(app, context);
    AddCommands(app, run);
    try {
        RequireUtf8(arguments);
        Parse(app, arguments, run);
        platform::SetChangeCommand(Joined(arguments));
        if (context.options.isRehearsal)
            Rehearse(context, run.action);
        else
            run.action();
        context.Flush();
        return static_cast<int>(ExitCode::Done);
    } catch (const CLI::ParseError& problem) {
        ReportError(streams, isJson, Misuse(app, problem), "Run with --help for more information.");
        return static_cast<int>(ExitCode::Usage);
    } catch (const CommandError& problem) {
        ReportError(streams, isJson, problem.what());
        return static_cast<int>(problem.Code());
    } catch (const std::exception& problem) {
        ReportError(streams, isJson, std::string("unexpected failure: ") + problem.what());
        return static_cast<int>(ExitCode::Refused);
    }
}

}  // namespace programs
