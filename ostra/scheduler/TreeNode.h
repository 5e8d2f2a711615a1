#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <vector>

class ScheduleTable;

/// The schedule as an outline for display: a time axis of years, months, days, hours and minutes, one line each where
/// that unit changes, and the jobs under the minutes at which they are due. Lines are numbered from 0.
///
/// Times are local, names English. An axis that reaches the last time that a TimeValue holds ends there.
///
/// No operation blocks; the longest axis takes some tenths of a second. Threads may read an outline at once that
/// none changes.
class OSTRA_API TreeNode {
public:
    TreeNode() = default;
    /// Initialize, synchronised.
    TreeNode(LONG count, int interval, const std::wstring& text1, const std::wstring& text2);
    virtual ~TreeNode();

    /// Replaces the outline by an axis of a first point and `count` steps, 500,000 at most. Days are shown always,
    /// hours for the intervals 3 and up, minutes for 4 and up. The step is a day for interval 2, an hour for 3, a
    /// minute for 4, and else as many minutes as the interval says; below 1 counts as 1. The first point is the next
    /// minute of the hour that the interval divides. With `synchronize`, intervals other than 2, 3 and 4 spend their
    /// first step there. The texts are not used. Always 1.
    int Initialize(LONG count, int interval, const std::wstring& text1, const std::wstring& text2, int synchronize);

    /// Puts a line for each job of the table under the minute line of exactly its time, behind those that are there, in
    /// the table's order; a job without such a line is left out. Null inserts nothing. Always 0.
    int InsertJobEntries(const ScheduleTable* table);

    /// The text of a line; empty, a line on standard output and InvalidParameter as the last error for an index that is
    /// none.
    std::wstring operator[](LONG index) const;
    /// 0 year, 1 month, 2 day, 3 hour, 4 minute, 5 job; -1 for an index that is none.
    int TreeNodeLevel(int index) const;
    int Size() const { return static_cast<int>(_treeNodeText.size()); }
    /// Leaves no lines. Always 1.
    int RemoveAll();

    /// By the first word of the text: "year" 1, "month" 2, "day" 3, "hour" 4, "minute" 5, anything else 0.
    int TreeLevel(const std::wstring& unit) const;
    std::wstring CTimeString(TimeValue time) const;

    /// A number of the caller's; 0 at first.
    int ID() const { return _iD; }
    void SetID(int iD) { _iD = iD; }

    /// Writes the number of lines to standard output.
    void Info() const;

    /// For callers that number their nodes; the class leaves it at 0.
    static int _count;

private:
    struct Minute;
    struct JobPlace;

    std::wstring GetHourString(int hour) const;
    std::wstring GetDayOfWeekString(TimeValue time) const;
    TimeValue GetSynchronizedIntervalTime(int interval) const;
    // 1 when the times agree in every unit down to that one.
    int SameYear(TimeValue left, TimeValue right) const;
    int SameMonth(TimeValue left, TimeValue right) const;
    int SameDay(TimeValue left, TimeValue right) const;
    int SameHour(TimeValue left, TimeValue right) const;
    int SameMinute(TimeValue left, TimeValue right) const;
    /// The lines of one point of the axis, for the units in which it differs from the point before.
    void AddTreeNode(TimeValue previous, TimeValue time, int first);
    /// Sample lines. Always 1.
    int AddTreeNode();

    /// The same with both times broken down already: the axis breaks each of its points down once.
    void AddPoint(const std::tm& previous, TimeValue time, const std::tm& local, int first);
    void AddLine(int level, const std::wstring& text);
    void AddLine(int level, const std::wstring& text, TimeValue time);
    std::vector<Minute> Minutes() const;
    void InsertLines(const std::vector<JobPlace>& jobs);

    TimeValue _startTime = 0;
    std::vector<std::wstring> _treeNodeText;
    std::vector<TimeValue> _treeNodeTimes;  // of the month, day, hour and minute lines, in their order
    std::vector<int> _treeNodeLevels;       // of each line
    int _numberOfIntervals = 0;
    int _depth = 0;  // the deepest level shown

    int _iD = 0;
};
