#include <platform/base/clock.h>
#include <platform/base/text.h>
#include <platform/system/event_log.h>
#include <programs/ostra/Command.h>
#include <programs/support/Interruption.h>

using platform::ToUtf8;

namespace programs {

namespace {

const std::vector<Column> columns{{"number", "NUMBER"}, {"time", "TIME"}, {"source", "SOURCE"}, {"type", "TYPE"},
                                  {"identifier", "ID"}, {"host", "HOST"}, {"name", "TEXT"}};

std::string TypeOf(WORD type) {
    switch (type) {
        case 1: return "error";
        case 2: return "warning";
        case 4: return "information";
        default: return std::to_string(type);
    }
}

Json Row(const platform::EventRecord& event) {
    return {{"number", event.number},
            {"time", TimeText(event.time)},
            {"source", ToUtf8(event.source)},
            {"type", TypeOf(event.type)},
            {"identifier", event.identifier},
            {"host", ToUtf8(event.host)},
            {"name", OneLine(ToUtf8(event.text))}};
}

void Follow(Context& context, std::int64_t after) {
    constexpr DWORD stepMilliseconds = 500;
    constexpr std::size_t most = 1000;
    const Interruption interruption;
    while (!interruption.HasCome()) {
        std::vector<platform::EventRecord> events;
        if (const DWORD code = platform::ReadEvents(after, most, events))
            throw CommandError(ExitCode::Unreachable, "The event log cannot be read: " + CauseText(code));
        for (const platform::EventRecord& event : events) {
            const Json row = Row(event);
            if (context.options.isJson)
                context.PrintJsonLine(row);
            else
                context.Say(TextOf(row["time"]) + "  " + TextOf(row["type"]) + "  " + TextOf(row["source"]) + "  " +
                            TextOf(row["name"]));
            after = event.number;
        }
        platform::Sleep(stepMilliseconds);
    }
}

void ShowEvents(Context& context, std::size_t last, bool isFollowed) {
    std::vector<platform::EventRecord> events;
    if (const DWORD code = platform::ReadLastEvents(last, events))
        throw CommandError(ExitCode::Unreachable, "The event log cannot be read: " + CauseText(code));
    if (isFollowed) return Follow(context, events.empty() ? 0 : events.front().number - 1);
    Json rows = Json::array();
    for (const platform::EventRecord& event : events) rows.push_back(Row(event));
    context.PrintList(columns, rows);
}

}  // namespace

void AddEventCommands(CLI::App& app, Run& run) {
    const auto last = std::make_shared<std::size_t>(20);
    const auto isFollowed = std::make_shared<bool>(false);
    CLI::App* command = AddCommand(app, run, "events", "Shows what the library and the programs reported",
                                   {"events", "events --last 5 --json", "events --follow"}, Effect::Follows,
                                   [last, isFollowed](Context& context) { ShowEvents(context, *last, *isFollowed); });
    AddOption(*command, "--last", *last, "How many of the newest reports (default: 20)").Within(0, 100'000);
    AddFlag(*command, "--follow", *isFollowed, "Go on with new reports as they come; with --json one object a line");
}

}  // namespace programs
