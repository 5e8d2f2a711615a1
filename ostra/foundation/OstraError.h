#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>

#include <string>
#include <string_view>

/// One error record, and the way from a system or cluster error code to its message text. Every cluster object holds
/// one, so making one costs next to nothing: the message table is loaded once, for the process. Nothing here blocks.
///
/// A record belongs to one thread at a time, its look-ups included, which keep the text that they found.
class OSTRA_API OstraError {
public:
    /// Code 0, no text. Loads the message table; when that fails, one line on standard output says so and later
    /// look-ups search the system's own table alone.
    OstraError();
    /// A record without a message table. An empty text becomes "error " and the code in decimal.
    OstraError(LONG errorCode, const std::wstring& errorString);
    /// Takes nothing over: a new record, as the default constructor builds it.
    OstraError(const OstraError& other);
    ~OstraError() = default;

    /// Takes over code, text and the message table, which the two then share.
    OstraError* operator=(const OstraError& other);
    /// The same; null changes nothing.
    OstraError* operator=(const OstraError* other);

    LONG ErrorCode() const { return _errorCode; }
    std::wstring ErrorString() const { return _errorString; }

    /// For a code below 6000 its message text, which the record keeps; for any other the text kept before.
    std::wstring GetErrorString(DWORD errorCode) const;
    /// The message text of a code, as the table ends it (usually with CR LF) and with its insert markers left in;
    /// empty when there is no message. The record keeps it as its text.
    std::wstring GetNTErrorString(DWORD errorCode) const;

    /// Shows nothing and has no effect: a place for callers to name a text, a caption and a message-box style.
    void Display(std::wstring_view, std::wstring_view, UINT) const {}

private:
    HMODULE _module = nullptr;  // the process's; null when not loaded
    LONG _errorCode = 0;
    mutable std::wstring _errorString;
};
