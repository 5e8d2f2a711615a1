#include <ostra/scheduler/TreeNode.h>

#include <ostra/foundation/OstraString.h>
#include <ostra/scheduler/ScheduleTable.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>

namespace {

enum Level : int { year, month, day, hour, minute, job };

constexpr LONG mostIntervals = 500'000;

constexpr std::array<const wchar_t*, 7> weekdayNames{L"Sunday",   L"Monday", L"Tuesday", L"Wednsday",
                                                     L"Thursday", L"Friday", L"Saturday"};
constexpr std::array<const wchar_t*, 5> unitNames{L"year", L"month", L"day", L"hour", L"minute"};

/// The largest unit in which two local times differ; `job` when they agree down to the minute.
Level FirstDifference(const std::tm& left, const std::tm& right) {
    if (left.tm_year != right.tm_year) return year;
    if (left.tm_mon != right.tm_mon) return month;
    if (left.tm_mday != right.tm_mday) return day;
    if (left.tm_hour != right.tm_hour) return hour;
    return left.tm_min != right.tm_min ? minute : job;
}

int AgreeDownTo(Level unit, TimeValue left, TimeValue right) {
    return FirstDifference(platform::LocalTime(left), platform::LocalTime(right)) > unit ? 1 : 0;
}

std::int64_t StepOf(int interval) {
    switch (interval) {
        case 2: return 86'400;
        case 3: return 3'600;
        case 4: return 60;
        default: return std::int64_t{interval} * 60;
    }
}

TimeValue Later(TimeValue time, std::int64_t seconds) {
    return static_cast<TimeValue>(std::min<std::int64_t>(time + seconds, std::numeric_limits<TimeValue>::max()));
}

}  // namespace

/// A minute line.
struct TreeNode::Minute {
    TimeValue time;
    std::size_t end;  // the line behind it and the jobs under it
};

/// A job line to come.
struct TreeNode::JobPlace {
    std::size_t line;  // of those that are there, the one before which it goes
    std::wstring text;
};

int TreeNode::_count = 0;

TreeNode::TreeNode(LONG count, int interval, const std::wstring& text1, const std::wstring& text2) {
    Initialize(count, interval, text1, text2, 1);
}

TreeNode::~TreeNode() = default;

int TreeNode::Initialize(LONG count, int interval, const std::wstring&, const std::wstring&, int synchronize) {
    interval = std::max(interval, 1);
    _startTime = platform::CurrentTime();
    _numberOfIntervals = std::min(count, mostIntervals);
    _depth = std::min<int>(interval, minute);
    RemoveAll();

    TimeValue time = GetSynchronizedIntervalTime(interval);
    AddTreeNode(platform::MakeTime(1985, 8, 23, 0, 0, 0), time, 1);  // so long ago that every unit differs
    const bool isOwnInterval = interval < 2 || interval > 4;
    std::tm previous = platform::LocalTime(time);
    for (int step = 0; step < _numberOfIntervals; ++step) {
        if (step == 0 && isOwnInterval && synchronize)
            time = GetSynchronizedIntervalTime(interval);
        else
            time = Later(time, StepOf(interval));
        const std::tm local = platform::LocalTime(time);
        AddPoint(previous, time, local, 0);
        previous = local;
    }
    return 1;
}

int TreeNode::InsertJobEntries(const ScheduleTable* table) {
    if (!table) return 0;
    const std::vector<Minute> minutes = Minutes();
    std::vector<JobPlace> jobs;
    for (const ScheduleEntry* entry : *table) {
        const TimeValue time = entry->ScheduleTime();
        const auto found = std::lower_bound(minutes.begin(), minutes.end(), time,
                                            [](const Minute& left, TimeValue right) { return left.time < right; });
        if (found != minutes.end() && found->time == time)
            jobs.push_back({found->end, *entry->ScheduledClusterName() + L"-" + *entry->ScheduledCommand()});
    }
    std::stable_sort(jobs.begin(), jobs.end(),
                     [](const JobPlace& left, const JobPlace& right) { return left.line < right.line; });
    if (!jobs.empty()) InsertLines(jobs);
    return 0;
}

std::wstring TreeNode::operator[](LONG index) const {
    if (index >= 0 && index < Size()) return _treeNodeText[static_cast<std::size_t>(index)];
    platform::WriteOutputLine(platform::Format(L"TreeNode::operator[]. Invalid subscript:%d", index));
    SetLastError(platform::error::InvalidParameter);
    return {};
}

int TreeNode::TreeNodeLevel(int index) const {
    return index >= 0 && index < Size() ? _treeNodeLevels[static_cast<std::size_t>(index)] : -1;
}

int TreeNode::RemoveAll() {
    _treeNodeTimes.clear();
    _treeNodeText.clear();
    _treeNodeLevels.clear();
    return 1;
}

int TreeNode::TreeLevel(const std::wstring& unit) const {
    const auto found = std::find(unitNames.begin(), unitNames.end(), OstraString(unit, L" ").Word(1));
    return found == unitNames.end() ? 0 : static_cast<int>(std::distance(unitNames.begin(), found)) + 1;
}

std::wstring TreeNode::CTimeString(TimeValue time) const {
    return platform::FormatTime(time, L"%Y %B %d %A, %H:%M:%S");
}

void TreeNode::Info() const {
    platform::WriteOutput(platform::Format(L"TreeNode::Info( ). _treeNodeText.GetSize( ):%d\n", Size()));
}

std::wstring TreeNode::GetHourString(int hourOfDay) const {
    if (hourOfDay == 12) return L"12:00noon";
    if (hourOfDay < 12) return std::to_wstring(hourOfDay) + L":00am";
    return std::to_wstring(hourOfDay - 12) + L":00pm";
}

std::wstring TreeNode::GetDayOfWeekString(TimeValue time) const {
    return weekdayNames[static_cast<std::size_t>(platform::LocalTime(time).tm_wday)];
}

TimeValue TreeNode::GetSynchronizedIntervalTime(int interval) const {
    const int minuteOfHour = platform::LocalTime(_startTime).tm_min;
    return Later(_startTime, (std::int64_t{interval} - minuteOfHour % interval) * 60);
}

int TreeNode::SameYear(TimeValue left, TimeValue right) const {
    return AgreeDownTo(year, left, right);
}

int TreeNode::SameMonth(TimeValue left, TimeValue right) const {
    return AgreeDownTo(month, left, right);
}

int TreeNode::SameDay(TimeValue left, TimeValue right) const {
    return AgreeDownTo(day, left, right);
}

int TreeNode::SameHour(TimeValue left, TimeValue right) const {
    return AgreeDownTo(hour, left, right);
}

int TreeNode::SameMinute(TimeValue left, TimeValue right) const {
    return AgreeDownTo(minute, left, right);
}

void TreeNode::AddTreeNode(TimeValue previous, TimeValue time, int first) {
    AddPoint(platform::LocalTime(previous), time, platform::LocalTime(time), first);
}

int TreeNode::AddTreeNode() {
    for (const wchar_t* text : {L"Bring Group online", L"Bring Group offline", L"Backup Shared Disk E",
                                L"Start Payroll Processing", L"Shutdown TARN1"})
        AddLine(year, text);
    return 1;
}

void TreeNode::AddPoint(const std::tm& previous, TimeValue time, const std::tm& local, int first) {
    const Level changed = FirstDifference(previous, local);
    const TimeValue point = time - local.tm_sec;
    if (changed <= year) AddLine(year, platform::FormatTime(local, L"%Y"));
    if (changed <= month) AddLine(month, platform::FormatTime(local, L"%B"), point);
    if (changed <= day) AddLine(day, platform::FormatTime(local, L"%d, ") + GetDayOfWeekString(point), point);
    if (changed <= hour && _depth >= hour) AddLine(hour, platform::FormatTime(local, L"%H:00"), point);
    if ((changed <= minute || first) && _depth >= minute) AddLine(minute, platform::FormatTime(local, L"%H:%M"), point);
}

void TreeNode::AddLine(int level, const std::wstring& text) {
    _treeNodeText.push_back(text);
    _treeNodeLevels.push_back(level);
}

void TreeNode::AddLine(int level, const std::wstring& text, TimeValue time) {
    AddLine(level, text);
    _treeNodeTimes.push_back(time);
}

std::vector<TreeNode::Minute> TreeNode::Minutes() const {
    std::vector<Minute> minutes;  // ascending by time, as the axis is
    auto time = _treeNodeTimes.begin();
    for (std::size_t line = 0; line < _treeNodeLevels.size(); ++line) {
        const int level = _treeNodeLevels[line];
        if (level == minute) minutes.push_back({*time, line + 1});
        if (level == job && !minutes.empty()) minutes.back().end = line + 1;
        if (level != year && level != job) ++time;
    }
    return minutes;
}

void TreeNode::InsertLines(const std::vector<JobPlace>& jobs) {
    std::size_t line = _treeNodeText.size();  // from the end, so that each line moves once, straight to its place
    std::size_t free = line + jobs.size();
    _treeNodeText.resize(free);
    _treeNodeLevels.resize(free);
    for (auto place = jobs.rbegin(); place != jobs.rend(); ++place) {
        while (line > place->line) {
            _treeNodeText[--free] = std::move(_treeNodeText[--line]);
            _treeNodeLevels[free] = _treeNodeLevels[line];
        }
        _treeNodeText[--free] = place->text;
        _treeNodeLevels[free] = job;
    }
}
