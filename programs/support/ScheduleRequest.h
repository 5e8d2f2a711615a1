#pragma once

#include <platform/base/types.h>

#include <string>

namespace programs {

/// A change of one cluster's job table, as `ostra schedule` asks for it. Made by whoever asks, or, while a scheduler
/// runs, by that one, which is told of it through a pipe and so knows at once what is due next.
///
/// On the pipe it is one text of three lines, the verb "add", "remove" or "purge", the cluster's name and the job line
/// (empty for "purge"), which the scheduler answers with one text of two numbers, "CODE COUNT".
struct ScheduleRequest {
    enum class Verb { Add, Remove, Purge };
    Verb verb = Verb::Add;
    std::wstring cluster;
    std::wstring line;
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

/// Makes the change; a purge removes the jobs whose time is before `overdue`.
ScheduleAnswer Perform(const ScheduleRequest& request, TimeValue overdue);

/// What came of asking the scheduler: there is none, one is busy with others, or `answer` has what it said.
enum class Asked { Nobody, Unanswered, Answered };

/// Has the running scheduler make the change. Unless it answered, the change may have been made all the same: it may
/// have ended in between.
Asked AskScheduler(const ScheduleRequest& request, ScheduleAnswer& answer);

}  // namespace programs
