#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

/// The calling thread's last error: the code, one of platform::error, of what failed last on this thread; 0 before
/// anything has. Whatever fails sets it: functions of the registry, the event log and pipes, and operations of the
/// library, also those that answer a code themselves or say 0, null or an empty text only. What succeeds leaves it as
/// it is, so ask right after a failure. A function that answers 259 (no more items) or 234 (more data than room) has not
/// failed; an operation of the library that gives up over one of them has.
PLATFORM_API DWORD GetLastError();
PLATFORM_API void SetLastError(DWORD code);

namespace platform {

/// Keeps the calling thread's last error as it is through what is done while it lives: a report of a failure, or a look
/// at a setting, that fails itself.
class KeptLastError {
public:
    KeptLastError() = default;
    KeptLastError(const KeptLastError&) = delete;
    KeptLastError& operator=(const KeptLastError&) = delete;
    ~KeptLastError() { SetLastError(_code); }

private:
    const DWORD _code = GetLastError();
};

}  // namespace platform
