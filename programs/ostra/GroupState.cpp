#include <programs/ostra/GroupState.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <programs/support/Json.h>
#include <programs/support/Objects.h>

namespace error = platform::error;

namespace programs {

// A group without resources keeps the state it was last asked for; one with a failed resource may stay short of it.
Json AwaitGroup(Context& context, Group& group, const GroupGoal& goal, const Change& change, DWORD cause) {
    change.RequireKnown(cause);
    Json summary;
    const auto isThere = [&] {
        change.ReportAfter(cause, [&] { summary = Summary(group); });
        return summary["state"] == goal.state;
    };
    if (context.WaitUntil(isThere)) return summary;
    const std::string name = platform::ToUtf8(group.Name());
    const std::string state = TextOf(summary["text"]);
    if (summary["state"] == DWORD{ClusterGroupPending} || cause == error::IoPending)
        throw CommandError(ExitCode::NotSettled,
                           "Group " + name + " has not settled: " + state +
                               " Wait longer with --wait SECONDS, or look with: ostra group show \"" + name + "\"");
    std::string text = "Group " + name + " is not " + goal.name + ": " + state;
    if (cause) text += ' ' + CauseText(cause);
    text += " See what its resources say with: ostra status";
    throw CommandError(cause ? ExitCodeOf(cause) : ExitCode::Refused, text);
}

}  // namespace programs
