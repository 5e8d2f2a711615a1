#include <ostra/scheduler/ScheduleRunner.h>

#include <ostra/cluster/Cluster.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraString.h>
#include <ostra/foundation/display.h>
#include <ostra/scheduler/ScheduleEntry.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/cluster/cluster_api.h>
#include <platform/system/message_box.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

using OpenGroup = platform::SharedHandle<HGROUP, CloseClusterGroup>;

constexpr std::int64_t duePeriod = 300;       // seconds
constexpr DWORD napLength = 120'000;          // milliseconds
constexpr DWORD pauseAfterRun = 1'000;        // milliseconds
constexpr std::size_t clusterNameRoom = 250;  // characters

/// What a command word does to a group: by its name through the object model, and by its handle.
struct CommandWord {
    const wchar_t* word;
    int (OstraDLL::Cluster::*byName)(const std::wstring&);
    DWORD (*byHandle)(HGROUP);
};

constexpr std::array<CommandWord, 3> commandWords{{
    {L"Online", &OstraDLL::Cluster::BringGroupOnLine, [](HGROUP group) { return OnlineClusterGroup(group, nullptr); }},
    {L"Offline", &OstraDLL::Cluster::BringGroupOffLine, [](HGROUP group) { return OfflineClusterGroup(group); }},
    {L"Move", &OstraDLL::Cluster::MoveGroup, [](HGROUP group) { return MoveClusterGroup(group, nullptr); }},
}};

const CommandWord* FindCommandWord(const std::wstring& word) {
    const auto found = std::find_if(commandWords.begin(), commandWords.end(),
                                    [&](const CommandWord& command) { return command.word == word; });
    return found == commandWords.end() ? nullptr : &*found;
}

/// A command taken apart. One without a group has nothing to act on.
struct Job {
    explicit Job(const std::wstring& command) {
        const OstraString words(command, L" ");
        word = words.Word(1);
        group = words.Words(2);
    }
    bool IsComplete() const { return !group.empty(); }

    std::wstring word;
    std::wstring group;
};

void Display(const std::wstring& text) {
    DisplayFailure(OstraError(), text);
}

void RefuseCommand(const std::wstring& text) {
    Display(text);
    SetLastError(platform::error::InvalidParameter);
}

void RefuseShortCommand() {
    RefuseCommand(L"SchedulerRunner::RunClusterJob( ). Insufficient parameters.");
}

/// The writer that all runners share. Made by the first report, so that a library that reports nothing registers
/// nothing, and no order of start-up matters.
NTEventViewer& EventWriter() {
    static NTEventViewer writer(L"ScheduleRunner", NTEventViewer::Information, L"");
    return writer;
}

void ReportError(const std::wstring& text) {
    NTEventViewer& writer = EventWriter();
    writer.ResetEventType(NTEventViewer::Error);
    writer << text;
    writer.ResetEventType(NTEventViewer::Information);
}

void ShowWhenInvalid(HCLUSTER cluster) {
    std::array<wchar_t, clusterNameRoom> name{};
    DWORD size = clusterNameRoom;
    if (GetClusterInformation(cluster, name.data(), &size, nullptr) == platform::error::Success) return;
    MessageBoxW(nullptr, L" Invalid cluster handle", productTitle, MB_DEFAULT_DESKTOP_ONLY);
}

std::wstring CurrentTimeText() {
    return ScheduleEntry::TimeText(platform::CurrentTime());
}

/// How long ago a time was; in 64 bits, for the two may be further apart than a TimeValue holds.
std::int64_t SecondsSince(TimeValue time) {
    return std::int64_t{platform::CurrentTime()} - time;
}

}  // namespace

ScheduleRunner::ScheduleRunner(const std::wstring& clusterName, const std::wstring& command, TimeValue time)
    : _clusterName(clusterName), _scheduledCommand(command) {
    if (command.empty())
        Display(L"ScheduleRunner::ScheduleRunner( ). Failure calling new CString( ).");
    else
        _scheduleTime = time;
}

ScheduleRunner::~ScheduleRunner() = default;

int ScheduleRunner::IsObsolete() const {
    return SecondsSince(_scheduleTime) > 0 ? 1 : 0;
}

int ScheduleRunner::IsTimeToRun() const {
    const std::int64_t late = SecondsSince(_scheduleTime);
    return late >= 0 && late <= duePeriod ? 1 : 0;
}

int ScheduleRunner::IsSameHour() const {
    const std::tm due = platform::LocalTime(_scheduleTime);
    const std::tm now = platform::LocalTime(platform::CurrentTime());
    return due.tm_year == now.tm_year && due.tm_yday == now.tm_yday && due.tm_hour == now.tm_hour ? 1 : 0;
}

int ScheduleRunner::TakeNap() const {
    while (!IsMissed()) {
        platform::WriteOutputLine(L"ScheduleRunner::Sleep( ). Went to sleep at " + CurrentTimeText());
        platform::Sleep(napLength);
        if (!IsTimeToRun()) continue;
        platform::WriteOutputLine(L"ScheduleRunner::Sleep( ). Woke up at " + CurrentTimeText());
        return 1;
    }
    return 0;
}

int ScheduleRunner::Run(int beep) {
    platform::WriteOutput(platform::Format(L"Next in queue: %ws at %ws\n", _scheduledCommand.c_str(),
                                           platform::FormatTime(_scheduleTime, L"%H:%M").c_str()));
    if (beep) platform::Beep(100, 100);
    platform::WriteOutputLine(L"Executing " + _scheduledCommand + L" at " +
                              platform::FormatTime(platform::CurrentTime(), L"%Y %B %d %H %M"));
    const int result = RunClusterJob();
    platform::Sleep(pauseAfterRun);
    platform::WriteOutput(L"ScheduleRunner::Run( data ). On exit.\n");
    return result;
}

int ScheduleRunner::Run(const HCLUSTER& cluster, int beep) {
    if (beep) platform::Beep(100, 100);
    const int result = RunClusterJob(cluster);
    platform::WriteOutput(L"ScheduleRunner::Run( data ). On exit.\n");
    return result;
}

int ScheduleRunner::RunClusterJob() {
    const Job job(_scheduledCommand);
    if (job.IsComplete()) {
        platform::WriteOutput(platform::Format(L" the group:%ws\n", job.group.c_str()));
        OstraDLL::Cluster cluster(_clusterName, 0, 2);
        const CommandWord* command = FindCommandWord(job.word);
        if (!cluster.Open(1))
            Display(L"SchedulerRunner::RunClusterJob( ). Failure opening host." + _clusterName);
        else if (command)
            (cluster.*command->byName)(job.group);
        else
            SetLastError(platform::error::InvalidParameter);
    } else {
        RefuseShortCommand();
    }
    platform::WriteOutput(L"Scheduler::RunClusterJob( ). On exit.\n");
    return 1;
}

int ScheduleRunner::RunClusterJob(const HCLUSTER& cluster) {
    const Job job(_scheduledCommand);
    if (!job.IsComplete() || !cluster) {
        RefuseShortCommand();
        return 1;
    }
    ShowWhenInvalid(cluster);
    const OpenGroup group(OpenClusterGroup(cluster, job.group.c_str()));
    if (!group) {
        ReportError(L"ScheduleRunner::RunClusterJob( ). Failure opening group " + job.group);
        return 1;
    }
    if (const CommandWord* command = FindCommandWord(job.word))
        command->byHandle(group.Get());
    else
        RefuseCommand(L"SchedulerRunner::RunClusterJob( ). Wrong command " + job.word);
    return 1;
}

bool ScheduleRunner::IsMissed() const {
    return SecondsSince(_scheduleTime) > duePeriod;
}
