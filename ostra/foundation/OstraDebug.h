#pragma once

#include <ostra/export.h>

#include <cstdio>
#include <memory>
#include <string_view>

/// Time-stamped trace lines of one component, in one log file below the state directory ("log/NAME.log"). A bit of the
/// registry value "DebugMask" under "Software\Norvane\Ostra\OstraDebug" says whether a component traces at all: bit 1
/// is the library ("Ostra"). Every failure turns tracing off and is reported nowhere.
///
/// A component that does not trace opens no file and allocates nothing. Those that do share one open file for each
/// log, whatever their number; one that was removed or renamed is made anew for objects that come after. A component
/// has one log, whatever the case of its name: a new one gets its first object's spelling.
///
/// Lines may be written from several threads and processes at once, each whole; assignment needs an object for itself.
/// A line is in the file when it was written, which is all that blocks.
class OSTRA_API OstraDebug {
public:
    /// The component's name is the file name of `path` without directory and extension, at most 259 characters.
    /// Whether it traces is decided here, for the object's lifetime.
    explicit OstraDebug(std::wstring_view path);
    /// Copies write to the same open file, which the last of them closes.
    OstraDebug(const OstraDebug&) = default;
    OstraDebug& operator=(const OstraDebug&) = default;
    ~OstraDebug() = default;

    /// Whether the registry's mask enables the component now. Names compare without regard to case; one that is not
    /// in the table of components is never enabled. Asking again costs a look at the registry's change counter.
    static bool IsDebugEnabled(std::wstring_view componentName);

    void DbgEnter(const wchar_t* functionName) const;
    /// The line is followed by an empty one.
    void DbgExit(const wchar_t* functionName) const;
    /// Writes one line of any length and has it on disk when it returns. The format follows platform::Format.
    void DbgLog(const wchar_t* format, ...) const;

private:
    std::shared_ptr<std::FILE> _fp;  // null when tracing is off or the file could not be opened
    bool _enabled = false;
};
