#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>
#include <platform/framework/CObject.h>

#include <atomic>
#include <iosfwd>
#include <optional>
#include <string>

class CArchive;

/// One timed cluster job: a command for one cluster, and when it is due.
///
/// Its text form is the job line, four fields parted by ",": the cluster name; the command; hour ":" minute, a word
/// that is not read, and the day of the month; a word that is not read, the English month name and the year:
///
///     Payroll,Online Accounting Group,23:30 on 24,Thursday December 2026
///
/// The time is local and its seconds are 0. Runs of "," count as one, so that an empty field shifts those behind it.
/// What is missing reads as an empty text or as 0, a month name that is none as 0, units out of range carry over into
/// the next larger one, and a date that a TimeValue cannot hold is its nearest end.
///
/// Every destruction writes a line to standard output. A text that memory did not suffice for leaves one there as well,
/// and is empty; an entry whose line could not be read for want of it has no command, no cluster and time 0.
///
/// No operation blocks. Threads may make and use entries of their own at once; one entry is for one thread at a time,
/// reading included, for Info keeps its text.
class OSTRA_API ScheduleEntry : public CObject {
public:
    /// No texts, time 0, no job line. Each of the constructors but the copying one takes the process's next number as
    /// the entry's ID, the first being 1.
    ScheduleEntry();
    explicit ScheduleEntry(const std::wstring& line);
    ScheduleEntry(const std::wstring& command, TimeValue time);
    ScheduleEntry(const std::wstring& clusterName, const std::wstring& command, TimeValue time);
    /// The same job under the same ID and level, without a job line.
    ScheduleEntry(const ScheduleEntry& other);
    ~ScheduleEntry() override;

    /// Takes over time, command and cluster name, and nothing else: a job line stays what the entry was made from. A
    /// copy of this entry.
    ScheduleEntry operator=(const ScheduleEntry& other);

    /// Loads or stores the time and then the command; the cluster name is no part of this form. An archive that fails
    /// leaves the entry as it was.
    void Serialize(CArchive& archive) override;

    int ID() const { return _iD; }
    int Level() const { return _level; }
    /// The new level.
    int SetLevel(int level) { return _level = level; }
    TimeValue ScheduleTime() const { return _scheduleTime; }
    /// These texts live as long as the entry.
    std::wstring* ScheduledCommand() { return &_scheduledCommand; }
    const std::wstring* ScheduledCommand() const { return &_scheduledCommand; }
    std::wstring* ScheduledClusterName() { return &_clusterName; }
    const std::wstring* ScheduledClusterName() const { return &_clusterName; }
    std::wstring GetClusterName() const { return _clusterName; }
    /// The line that the entry was made from; null, and a line on standard output, when it was made otherwise.
    const std::wstring* JobTimeString() const;
    /// A line that tells of this entry, for a text of one line a job: the one it was made from, or else one that reads
    /// as its cluster, command and time to the minute; in the hour that the end of daylight saving repeats, the system
    /// decides which of the two it reads as. Empty for a job that no line can tell of: one without cluster name or
    /// command, or with a comma, a line end or a null in one.
    std::wstring JobLine() const;

    // Reading a job line; they use nothing of the entry.
    std::wstring GetClusterName(const std::wstring& line) const;
    std::wstring GetCommand(const std::wstring& line) const;
    TimeValue GetCTime(const std::wstring& line) const;
    /// The time that a text in the time-text form gives, to the minute.
    TimeValue CTimeFormatToCTime(const std::wstring& text) const;
    /// "January" to "December" exactly, 1 to 12; 0 for any other text.
    int GetMonthAsInt(const std::wstring& name) const;

    /// A time in the time-text form: year, English month name, day, English weekday, hour, minute and second, parted by
    /// single blanks.
    static std::wstring TimeText(TimeValue time);

    /// Always 1.
    int Set(const std::wstring& command, TimeValue time);

    /// Same time, command and cluster name, character for character.
    bool operator==(const ScheduleEntry& other) const;

    /// For a person's eyes: time text, command, cluster name and level, parted by ":".
    std::wstring Info() const;

    /// Time, cluster name and command. A read that fails leaves the entry as it was.
    OSTRA_API friend CArchive& operator<<(CArchive& archive, const ScheduleEntry& entry);
    OSTRA_API friend CArchive& operator>>(CArchive& archive, ScheduleEntry& entry);
    /// Reads nothing.
    OSTRA_API friend std::istream& operator>>(std::istream& stream, ScheduleEntry& entry);
    /// Time text, cluster name and command, for a person's eyes.
    OSTRA_API friend std::ostream& operator<<(std::ostream& stream, const ScheduleEntry& entry);

private:
    int _iD;
    std::wstring _clusterName;
    std::wstring _scheduledCommand;
    TimeValue _scheduleTime = 0;
    int _level = 0;
    std::optional<std::wstring> _jobTimeString;
    mutable std::wstring _info;

    static std::atomic<int> _index;  // the ID given out last
};
