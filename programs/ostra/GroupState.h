#pragma once

#include <ostra/cluster/Group.h>
#include <programs/support/Context.h>

namespace programs {

/// A state that a group was asked for.
struct GroupGoal {
    const char* name;
    DWORD state;
};

/// Waits as --wait says until the group is there. Ends the command when it is not: not settled while the group is on
/// its way or `cause` is "pending", else refused, with the cause.
void AwaitGroup(Context& context, Group& group, const GroupGoal& goal, DWORD cause);

}  // namespace programs
