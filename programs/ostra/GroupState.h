#pragma once

#include <ostra/cluster/Group.h>
#include <programs/support/Change.h>

namespace programs {

/// A state that a group was asked for.
struct GroupGoal {
    const char* name;
    DWORD state;
};

/// Waits as --wait says until the group is there, and returns its summary. Ends the command when it is not: not settled
/// while the group is on its way, its state cannot be read or `cause` is "pending"; else refused, with the cause.
Json AwaitGroup(Context& context, Group& group, const GroupGoal& goal, const Change& change, DWORD cause);

}  // namespace programs
