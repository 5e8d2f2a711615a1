#include <programs/ostra/GroupState.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <programs/support/Objects.h>

namespace error = platform::error;

namespace programs {

// A group without resources keeps the state it was last asked for; one with a failed resource may stay short of it.
void AwaitGroup(Context& context, Group& group, const GroupGoal& goal, DWORD cause) {
    if (context.WaitUntil([&] { return StateOf(group) == goal.state; })) return;
    const std::string name = platform::ToUtf8(group.Name());
    const std::string state = TextOf(Summary(group)["text"]);
    if (StateOf(group) == ClusterGroupPending || cause == error::IoPending)
        throw CommandError(ExitCode::NotSettled,
                           "Group " + name + " has not settled: " + state +
                               " Wait longer with --wait SECONDS, or look with: ostra group show \"" + name + "\"");
    std::string text = "Group " + name + " is not " + goal.name + ": " + state;
    if (cause) text += " " + CauseText(cause);
    text += " See what its resources say with: ostra status";
    throw CommandError(ExitCode::Refused, text);
}

}  // namespace programs
