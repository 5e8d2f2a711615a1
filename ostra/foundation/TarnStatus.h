#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>

#include <string>

/// A status code with its text: the state of an object as it was last read. A plain value: one thread at a time.
class OSTRA_API TarnStatus {
public:
    /// Code 0 and no text.
    TarnStatus() = default;
    /// An empty text becomes "status unknown".
    TarnStatus(DWORD statusCode, const std::wstring& statusString);

    /// Sets both as given; an empty text stays empty.
    void Set(DWORD statusCode, const std::wstring& statusString);

    DWORD StatusCode() const { return _statusCode; }
    std::wstring StatusString() const { return _statusString; }

private:
    DWORD _statusCode = 0;
    std::wstring _statusString;
};
