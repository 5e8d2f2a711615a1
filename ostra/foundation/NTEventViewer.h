#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

/// Writes reports to the event log, under one event source. It is the library's main failure channel. Every cluster
/// object holds one, so that making one costs next to nothing: a source of this computer is registered once for the
/// process.
///
/// A report is on disk when its operator returns, which may wait ten seconds for other writers of the log. It leaves
/// the thread's last error alone, whose code is that of what is reported. Writers may report from several threads at
/// once; `ResetEventType` and assignment need a writer for themselves.
class OSTRA_API NTEventViewer {
public:
    /// Event types of the event log.
    static constexpr WORD Error = 1;
    static constexpr WORD Information = 4;

    /// Registers `sourceName` on a server; an empty server name means this computer. When that fails, one line on
    /// standard output says so and every report of this writer fails. The numbering of reports starts anew.
    NTEventViewer(std::wstring_view sourceName, WORD eventType, std::wstring_view serverName);
    /// Copies share the registration; that with a server ends with the last of them. The numbering goes on.
    NTEventViewer(const NTEventViewer&) = default;
    NTEventViewer& operator=(const NTEventViewer&) = default;
    ~NTEventViewer() = default;

    /// The event type of later reports.
    void ResetEventType(WORD eventType) { _eventType = eventType; }

    /// Reports the text; what is longer than 1063 characters is cut. A failure leaves one line on standard output.
    const NTEventViewer& operator<<(const std::wstring& text) const;
    /// Reports the number in decimal.
    const NTEventViewer& operator<<(int number) const;

private:
    int Log(const std::wstring& text) const;

    std::shared_ptr<EventSourceHandle> _handle;  // owns a server's only; null when it could not be registered
    WORD _eventType;

    static std::atomic<DWORD> _eventID;  // numbers the reports of all writers since the last construction of one
};
