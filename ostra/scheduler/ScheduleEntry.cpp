#include <ostra/scheduler/ScheduleEntry.h>

#include <ostra/foundation/OstraString.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>

#include <algorithm>
#include <array>
#include <istream>
#include <iterator>
#include <new>
#include <ostream>
#include <utility>

namespace {

constexpr std::array<const wchar_t*, 12> monthNames{L"January",   L"February", L"March",    L"April",
                                                    L"May",       L"June",     L"July",     L"August",
                                                    L"September", L"October",  L"November", L"December"};

constexpr wchar_t commandFailure[] = L"ScheduleEntry::ScheduleEntry( ). Failure newing _scheduledCommand";
constexpr wchar_t clusterNameFailure[] = L"ScheduleEntry::ScheduleEntry( ). Failure newing _clusterName";

void Tell(const wchar_t* line) noexcept {
    try {
        platform::WriteOutputLine(line);
    } catch (const std::bad_alloc&) {  // the line is all that is lost
    }
}

void ReportNoMemory(const wchar_t* failure) {
    Tell(failure);
    SetLastError(platform::error::NotEnoughMemory);
}

void Assign(std::wstring& target, const std::wstring& text, const wchar_t* failure) {
    try {
        target = text;
    } catch (const std::bad_alloc&) {
        target.clear();
        ReportNoMemory(failure);
    }
}

}  // namespace

std::atomic<int> ScheduleEntry::_index = 0;

ScheduleEntry::ScheduleEntry() : _iD(++_index) {}

ScheduleEntry::ScheduleEntry(const std::wstring& line) : _iD(++_index) {
    const wchar_t* failure = commandFailure;
    try {
        std::wstring command = GetCommand(line);
        failure = clusterNameFailure;
        std::wstring clusterName = GetClusterName(line);
        const TimeValue time = GetCTime(line);
        _jobTimeString = line;
        _scheduledCommand = std::move(command);
        _clusterName = std::move(clusterName);
        _scheduleTime = time;
    } catch (const std::bad_alloc&) {
        ReportNoMemory(failure);  // and half a job is none: it might be another one
    }
}

ScheduleEntry::ScheduleEntry(const std::wstring& command, TimeValue time) : _iD(++_index) {
    Set(command, time);
}

ScheduleEntry::ScheduleEntry(const std::wstring& clusterName, const std::wstring& command, TimeValue time)
    : _iD(++_index) {
    Set(command, time);
    Assign(_clusterName, clusterName, clusterNameFailure);
}

ScheduleEntry::ScheduleEntry(const ScheduleEntry& other) : CObject(other), _iD(other._iD), _level(other._level) {
    Set(other._scheduledCommand, other._scheduleTime);
    Assign(_clusterName, other._clusterName, clusterNameFailure);
}

ScheduleEntry::~ScheduleEntry() {
    Tell(L"after delete _scheduledCommand");
}

ScheduleEntry ScheduleEntry::operator=(const ScheduleEntry& other) {
    Set(other._scheduledCommand, other._scheduleTime);
    Assign(_clusterName, other._clusterName, clusterNameFailure);
    return *this;
}

void ScheduleEntry::Serialize(CArchive& archive) {
    if (archive.IsStoring()) {
        archive << _scheduleTime << _scheduledCommand;
        return;
    }
    TimeValue time = 0;
    std::wstring command;
    archive >> time >> command;
    if (!archive.Failed()) Set(command, time);
}

const std::wstring* ScheduleEntry::JobTimeString() const {
    if (_jobTimeString) return &*_jobTimeString;
    platform::WriteOutputLine(L"ScheduleEntry::JobTimeString( ). No job line.");
    return nullptr;
}

std::wstring ScheduleEntry::JobLine() const {
    if (_jobTimeString) return *_jobTimeString;
    std::wstring line = _clusterName + L"," + _scheduledCommand + L",";
    line += platform::FormatTime(_scheduleTime, L"%H:%M on %d,%A %B %Y");
    const bool isOneLine = line.find(L'\n') == std::wstring::npos && line.find(L'\0') == std::wstring::npos;
    const bool isRead = GetClusterName(line) == _clusterName && GetCommand(line) == _scheduledCommand;
    return isOneLine && isRead ? line : std::wstring();
}

std::wstring ScheduleEntry::GetClusterName(const std::wstring& line) const {
    return OstraString(line, L",").Word(1);
}

std::wstring ScheduleEntry::GetCommand(const std::wstring& line) const {
    return OstraString(line, L",").Word(2);
}

TimeValue ScheduleEntry::GetCTime(const std::wstring& line) const {
    const OstraString fields(line, L",");
    const OstraString timeField(fields.Word(3), L" ");
    const OstraString dateField(fields.Word(4), L" ");
    const OstraString hourAndMinute(timeField.Word(1), L":");
    return platform::MakeTime(fields.AsInt(dateField.Word(3)), GetMonthAsInt(dateField.Word(2)),
                              fields.AsInt(timeField.Word(3)), fields.AsInt(hourAndMinute.Word(1)),
                              fields.AsInt(hourAndMinute.Word(2)), 0);
}

TimeValue ScheduleEntry::CTimeFormatToCTime(const std::wstring& text) const {
    const OstraString words(text, L" ");
    return platform::MakeTime(words.AsInt(words.Word(1)), GetMonthAsInt(words.Word(2)), words.AsInt(words.Word(3)),
                              words.AsInt(words.Word(5)), words.AsInt(words.Word(6)), 0);
}

int ScheduleEntry::GetMonthAsInt(const std::wstring& name) const {
    const auto found = std::find(monthNames.begin(), monthNames.end(), name);
    return found == monthNames.end() ? 0 : static_cast<int>(std::distance(monthNames.begin(), found)) + 1;
}

std::wstring ScheduleEntry::TimeText(TimeValue time) {
    return platform::FormatTime(time, L"%Y %B %d %A %H %M %S");
}

int ScheduleEntry::Set(const std::wstring& command, TimeValue time) {
    Assign(_scheduledCommand, command, commandFailure);
    _scheduleTime = time;
    return 1;
}

bool ScheduleEntry::operator==(const ScheduleEntry& other) const {
    return _scheduleTime == other._scheduleTime && _scheduledCommand == other._scheduledCommand &&
           _clusterName == other._clusterName;
}

std::wstring ScheduleEntry::Info() const {
    _info = TimeText(_scheduleTime) + L":" + _scheduledCommand + L":" + _clusterName + L":" + std::to_wstring(_level);
    return _info;
}

CArchive& operator<<(CArchive& archive, const ScheduleEntry& entry) {
    return archive << entry._scheduleTime << entry._clusterName << entry._scheduledCommand;
}

CArchive& operator>>(CArchive& archive, ScheduleEntry& entry) {
    TimeValue time = 0;
    std::wstring clusterName;
    std::wstring command;
    archive >> time >> clusterName >> command;
    if (archive.Failed()) return archive;
    entry.Set(command, time);
    Assign(entry._clusterName, clusterName, clusterNameFailure);
    return archive;
}

std::istream& operator>>(std::istream& stream, ScheduleEntry&) {
    platform::WriteOutputLine(L"ooooooo");
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const ScheduleEntry& entry) {
    return stream << platform::ToUtf8(ScheduleEntry::TimeText(entry._scheduleTime) + L" " + entry._clusterName + L" " +
                                      entry._scheduledCommand);
}
