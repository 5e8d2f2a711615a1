#include <ostra/scheduler/ScheduleTable.h>
#include <ostra/scheduler/TreeNode.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <programs/ostra-scheduler/RunScheduler.h>
#include <programs/ostra/Command.h>
#include <programs/support/Objects.h>
#include <programs/support/ScheduleRequest.h>
#include <programs/support/ScheduleStore.h>
#include <programs/support/ScheduleTime.h>

#include <algorithm>
#include <array>

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

using Verb = ScheduleRequest::Verb;

const std::vector<Column> columns{{"number", "NUMBER"},   {"due", "DUE"},     {"cluster", "CLUSTER"},
                                  {"command", "COMMAND"}, {"group", "GROUP"}, {"state", "STATE"}};

std::string StateOf(const ScheduledJob& job, const Schedule& schedule) {
    const TimeValue now = platform::CurrentTime();
    if (job.isBegun) return "begun";
    if (job.time < schedule.Overdue(now)) return "overdue";
    return job.time <= now ? "due" : "waiting";
}

Json Row(const ScheduledJob& job, const Schedule& schedule, std::size_t number) {
    return {{"name", ToUtf8(job.command)},    {"number", number},
            {"due", JobTimeText(job.time)},   {"cluster", ToUtf8(job.cluster)},
            {"command", ToUtf8(job.Word())},  {"group", ToUtf8(job.Group())},
            {"state", StateOf(job, schedule)}};
}

/// A change or a reading that did not come about, in words.
CommandError Failure(const std::string& what, DWORD code) {
    if (code == error::InvalidData)
        return CommandError(ExitCode::Unreachable, what +
                                                       ": its key holds what is no job table, and is left as it is. "
                                                       "See: ostra registry list \"Ostra\\Scheduler\" "
                                                       "--cluster-database");
    if (code == error::InsufficientBuffer)
        return CommandError(ExitCode::Refused, what +
                                                   ": the table is full, for programs could not read back a longer "
                                                   "one. Remove jobs, or try: ostra schedule purge");
    return Refusal(what, code);
}

ScheduleStore StoreOf(Context& context) {
    std::shared_ptr<platform::ClusterService> service;
    const DWORD code = platform::ClusterDirectory::Resolve(context.ClusterName(), service);
    if (code) throw Refusal("The schedule cannot be read", code);
    return ScheduleStore(service);
}

Schedule ScheduleOf(Context& context) {
    Schedule schedule;
    if (const DWORD code = StoreOf(context).Load(schedule)) throw Failure("The schedule cannot be read", code);
    return schedule;
}

// Where a job stands in the table, from 1; 0 when it does not.
std::size_t NumberOf(const std::vector<ScheduledJob>& jobs, const ScheduledJob& job) {
    const auto found = std::find_if(jobs.begin(), jobs.end(), [&](const ScheduledJob& listed) {
        return listed.line == job.line && listed.time == job.time;
    });
    return found == jobs.end() ? 0 : static_cast<std::size_t>(found - jobs.begin()) + 1;
}

struct Submission {
    ScheduleAnswer answer;
    bool hasScheduler = false;
};

Submission Submit(Context& context, Verb verb, const ScheduledJob& job) {
    const ScheduleRequest request{verb, context.ClusterName(), job};
    ScheduleAnswer answer;
    // A rehearsal works on copies that no other process sees.
    const Asked asked = context.options.isRehearsal ? Asked::Nobody : AskScheduler(request, answer);
    if (asked == Asked::Silent)
        throw CommandError(ExitCode::NotSettled,
                           "The scheduler was told and does not answer: it may have made the change, or may make it "
                           "as soon as it goes on. Look with: ostra schedule list");
    if (asked != Asked::Answered) answer = Perform(request, platform::CurrentTime());
    return {answer, asked != Asked::Nobody};
}

struct Wish {
    std::string at;
    std::string in;
    std::string word;
    std::string group;
};

void CheckWord(const std::string& word) {
    constexpr std::array<std::string_view, 3> words{"Online", "Offline", "Move"};
    if (std::find(words.begin(), words.end(), word) != words.end()) return;
    throw CommandError(ExitCode::Usage, "\"" + word + "\" is no command of a job. Use Online, Offline or Move.");
}

// Before the group is looked for, for there may well be one of such a name.
void CheckName(const std::wstring& name, const char* kind) {
    const bool isFit = name.find_first_of(L",\n\r") == std::wstring::npos;
    if (isFit) return;
    throw CommandError(ExitCode::Usage, std::string("A job cannot name a ") + kind +
                                            " with a comma or a line end in its name: \"" + ToUtf8(name) + "\".");
}

ScheduledJob JobFor(Context& context, const Wish& wish) {
    CheckWord(wish.word);
    CheckName(FromUtf8(wish.group), "group");
    if (wish.at.empty() == wish.in.empty())
        throw CommandError(ExitCode::Usage, R"(Say when, with either --at "2026-12-24 23:30" or --in 2h)");
    const TimeValue time = wish.at.empty() ? ParseJobDelay(wish.in) : ParseJobTime(wish.at);
    CheckName(context.ClusterName(), "cluster");
    ScheduledJob job;
    if (MakeJob(context.ClusterName(), FromUtf8(wish.word), FindGroup(context, wish.group).Name(), time, job))
        throw CommandError(ExitCode::Usage, "A job cannot name group \"" + wish.group +
                                                "\": it keeps only single blanks inside a name.");
    return job;
}

void AddJob(Context& context, const Wish& wish) {
    const ScheduledJob job = JobFor(context, wish);
    if (const std::size_t number = NumberOf(ScheduleOf(context).jobs, job))
        throw CommandError(ExitCode::AlreadyExists, "That job is there already, as number " + std::to_string(number) +
                                                        ". See: ostra schedule list");
    const Submission submission = Submit(context, Verb::Add, job);
    const Schedule schedule = ScheduleOf(context);
    const std::size_t number = NumberOf(schedule.jobs, job);
    // A scheduler that ended before it answered may still have added it; and one may have run it already.
    if (number == 0 && submission.answer.code) throw Failure("The job was not added", submission.answer.code);
    context.PrintRecord(Row(job, schedule, number));
    if (!submission.hasScheduler && !context.options.isRehearsal)
        context.Warn("No scheduler is running to carry it out. Start one with: ostra schedule run");
}

void ListJobs(Context& context) {
    const Schedule schedule = ScheduleOf(context);
    Json rows = Json::array();
    for (const ScheduledJob& job : schedule.jobs) rows.push_back(Row(job, schedule, rows.size() + 1));
    context.PrintList(columns, rows);
}

void RemoveJob(Context& context, std::size_t number) {
    const Schedule schedule = ScheduleOf(context);
    const std::vector<ScheduledJob>& jobs = schedule.jobs;
    if (number > jobs.size())
        throw CommandError(ExitCode::NoSuchObject, "There is no job " + std::to_string(number) + "; there are " +
                                                       std::to_string(jobs.size()) + ". See: ostra schedule list");
    const ScheduledJob& job = jobs[number - 1];
    const DWORD code = Submit(context, Verb::Remove, job).answer.code;
    if (code == error::Busy)
        throw CommandError(ExitCode::Refused, "Job " + std::to_string(number) +
                                                  " has begun. The scheduler removes it when it is done, or when it "
                                                  "starts anew after it was killed.");
    if (code && NumberOf(ScheduleOf(context).jobs, job)) throw Failure("The job was not removed", code);
    Json removed = Row(job, schedule, number);
    removed["state"] = "removed";
    context.PrintRecord(removed);
}

void PurgeJobs(Context& context) {
    const ScheduleAnswer answer = Submit(context, Verb::Purge, {}).answer;
    if (answer.code) throw Failure("The schedule was not purged", answer.code);
    context.PrintRecord({{"removed", answer.count}, {"left", ScheduleOf(context).jobs.size()}});
}

void SetGrace(Context& context, const std::string& span) {
    if (!span.empty())
        if (const DWORD code = StoreOf(context).SetGrace(ParseSpan(span, longestGrace)))
            throw Failure("The grace was not set", code);
    const DWORD grace = ScheduleOf(context).grace;
    context.PrintRecord({{"grace", SpanText(grace)}, {"seconds", grace}});
}

void ShowTree(Context& context, const std::string& interval, LONG count) {
    // The outline knows its intervals by numbers one below those of the units.
    TreeNode tree;
    tree.Initialize(count, tree.TreeLevel(FromUtf8(interval)) - 1, L"", L"", 1);
    std::vector<std::unique_ptr<ScheduleEntry>> entries;
    ScheduleTable table;
    for (const ScheduledJob& job : ScheduleOf(context).jobs) {
        entries.push_back(std::make_unique<ScheduleEntry>(job.cluster, job.command, job.time));
        table.Add(entries.back().get());
    }
    tree.InsertJobEntries(&table);
    Json lines = Json::array();
    for (int line = 0; line < tree.Size(); ++line)
        lines.push_back({{"level", tree.TreeNodeLevel(line)}, {"text", ToUtf8(tree[line])}});
    if (context.options.isJson) return context.PrintJson(lines);
    TextWriter writer = context.Text();
    constexpr int jobLevel = 5;
    for (const Json& line : lines) {
        const int level = line["level"];
        writer.Write(std::string(static_cast<std::size_t>(2 * level), ' '));
        writer.Line(TextOf(line["text"]), level == jobLevel ? Tone::Strong : Tone::Plain);
    }
}

void AddAdd(CLI::App& family, Run& run) {
    const auto wish = std::make_shared<Wish>();
    CLI::App* command = AddCommand(
        family, run, "add", "Adds a job: brings a group online or offline, or moves it, at a time",
        {R"(schedule add --at "2026-12-24 23:30" Offline Files)", "schedule add --in 2h --cluster demo Move Files"},
        Effect::Changes, [wish](Context& context) { AddJob(context, *wish); });
    const CommandOption at =
        AddOption(*command, "--at", wish->at, "The local date and time, or one with its offset: 2026-12-24T23:30+01:00")
            .Type("TIME");
    AddOption(*command, "--in", wish->in, "How long from now, in days, hours and minutes: 2h, 90m, 1d12h")
        .Type("SPAN")
        .Excludes(at);
    AddOption(*command, "COMMAND", wish->word, "Online, Offline or Move").Required();
    AddOption(*command, "GROUP", wish->group).Required();
}

void AddRemove(CLI::App& family, Run& run) {
    constexpr std::size_t mostJobs = 1'000'000;
    const auto number = std::make_shared<std::size_t>(0);
    AddOption(*AddCommand(family, run, "remove", "Removes a job", {"schedule remove 2"}, Effect::Changes,
                          [number](Context& context) { RemoveJob(context, *number); }),
              "NUMBER", *number, "Its number in the list")
        .Within(1, mostJobs)
        .Required();
}

void AddGrace(CLI::App& family, Run& run) {
    const auto span = std::make_shared<std::string>();
    AddOption(
        *AddCommand(
            family, run, "grace",
            "Shows or sets how late a job may begin when no scheduler was there at its time (5m unless set); a later "
            "one is missed",
            {"schedule grace", "schedule grace 2h"}, Effect::Changes,
            [span](Context& context) { SetGrace(context, *span); }),
        "SPAN", *span, "Days, hours and minutes: 0m, 90m, 1d12h");
}

void AddTree(CLI::App& family, Run& run) {
    const auto interval = std::make_shared<std::string>("minute");
    const auto count = std::make_shared<LONG>(60);
    CLI::App* command =
        AddCommand(family, run, "tree",
                   "Shows the time to come, from some minutes on, as an outline with the jobs under their minutes",
                   {"schedule tree", "schedule tree --count 1440", "schedule tree --interval day --count 31"},
                   Effect::Reads, [interval, count](Context& context) { ShowTree(context, *interval, *count); });
    AddOption(*command, "--interval", *interval, "The step: minute, hour or day; jobs show at minutes")
        .OneOf({"minute", "hour", "day"});
    AddOption(*command, "--count", *count, "How many steps (default: 60)").Within(1, 500'000);
}

void AddRun(CLI::App& family, Run& run) {
    const auto isOnce = std::make_shared<bool>(false);
    AddFlag(
        *AddCommand(
            family, run, "run",
            "Carries out the jobs of all clusters at their times, until it is interrupted; how late: schedule grace",
            {"schedule run", "schedule run --once"}, Effect::Follows,
            [isOnce](Context& context) {
                if (!context.options.cluster.empty())
                    throw CommandError(ExitCode::Usage, "A scheduler serves all clusters; it takes no --cluster.");
                RunScheduler(*isOnce, [&context](const std::string& line) { context.Warn(line); });
            }),
        "--once", *isOnce, "Carry out what is due now, and end");
}

}  // namespace

void AddScheduleCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "schedule", "Jobs that are carried out at a time");
    AddAdd(*family, run);
    AddCommand(*family, run, "list", "Lists the jobs in the order in which they run",
               {"schedule list", "schedule list --json"}, Effect::Reads, ListJobs);
    AddRemove(*family, run);
    AddCommand(*family, run, "purge", "Removes jobs that are there twice and those whose time and grace have passed",
               {"schedule purge", "schedule purge --dry-run"}, Effect::Changes, PurgeJobs);
    AddGrace(*family, run);
    AddTree(*family, run);
    AddRun(*family, run);
}

}  // namespace programs
