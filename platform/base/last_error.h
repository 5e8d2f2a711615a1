#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

/// The calling thread's last error: a code of platform::error, 0 until something failed in this thread.
///
/// The platform's functions and every operation of the library that fails leave the cause here, also where their result
/// is a mere 0 or null or an empty text, or says 1 because the request reached an object that then refused it. Success
/// leaves the last error alone: to learn whether an operation failed whose result does not tell, set it to 0 before. A
/// function that answers 259 (no more items) or 234 (more data than room) has not failed; an operation of the library
/// that gives up over one of them has.
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
