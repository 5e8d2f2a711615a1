#pragma once

#include <platform/base/types.h>
#include <programs/support/ScheduleStore.h>

#include <string>

namespace programs {

/// A change of one cluster's job table, as `ostra schedule` asks for it. Made by whoever asks, or, while a scheduler
/// runs, by that one, which is told of it through a pipe and so knows at once what is due next.
///
/// On the pipe it is one text of four lines: the verb "add", "remove" or "purge"; the cluster's name; when the job is
/// due, in seconds since 1 January 1970 UTC (empty: what its line says on the clock of whoever makes the change); and
/// the job line. "purge" has neither. The scheduler answers with one text of two numbers, "CODE COUNT".
struct ScheduleRequest {
    enum class Verb { Add, Remove, Purge };
    Verb verb = Verb::Add;
    std::wstring cluster;
    ScheduledJob job;
};

struct ScheduleAnswer {
    DWORD code = 0;   ///< as ScheduleStore's operation gave it
    DWORD count = 0;  ///< how many jobs were removed
};

/// The name of the pipe on which a scheduler listens.
inline constexpr wchar_t schedulerPipe[] = L"ostra-scheduler";

std::wstring ToText(const ScheduleRequest& request);
/// False, and `request` as it was, for a text that is none.
bool FromText(const std::wstring& text, ScheduleRequest& request);
std::wstring ToText(const ScheduleAnswer& answer);
bool FromText(const std::wstring& text, ScheduleAnswer& answer);

/// Makes the change; a purge removes what is over for a scheduler that serves the cluster since then.
ScheduleAnswer Perform(const ScheduleRequest& request, TimeValue since);

/// What came of asking the scheduler.
enum class Asked {
    Nobody,      ///< there is none
    Unanswered,  ///< it serves others just now, or has ended since: it will not make the change any more
    Silent,      ///< it was told and has not answered in time: it may have made the change, and may make it yet
    Answered,    ///< `answer` has what it said
};

/// Has the running scheduler make the change. Blocks for at most some 17 seconds. Unless it answered, the change may
/// have been made all the same.
Asked AskScheduler(const ScheduleRequest& request, ScheduleAnswer& answer);

}  // namespace programs
