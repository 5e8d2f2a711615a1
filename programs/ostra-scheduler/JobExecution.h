#pragma once

#include <programs/support/ScheduleStore.h>

#include <string>

namespace programs {

/// What became of a job, as the cluster shows it.
struct Outcome {
    enum class Kind { Reached, Pending, Missed };
    Kind kind = Kind::Missed;
    std::wstring text;  ///< where the group is and how it stands, or why that is not known
};

/// Carries a job out on its cluster and reads back what became of its group. Blocks for as long as the cluster takes.
Outcome CarryOut(const ScheduledJob& job);

/// How the job's group stands now, in words.
std::wstring StandingOf(const ScheduledJob& job);

}  // namespace programs
