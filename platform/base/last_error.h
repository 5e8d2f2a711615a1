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

/// Remembers the first failure that the calling thread notes as its last error for as long as the object lives: the
/// last error alone keeps only the newest, which a failure that was expected may have covered. Begins with no error.
/// Watches of one thread end in the reverse order of their beginning; each sees what comes after it began.
class PLATFORM_API FailureWatch {
public:
    /// What `isFailure` denies is passed over; it is never asked about 0.
    explicit FailureWatch(bool (*isFailure)(DWORD code));
    FailureWatch(const FailureWatch&) = delete;
    FailureWatch& operator=(const FailureWatch&) = delete;
    ~FailureWatch();

    /// The code of the first failure; 0 when there was none.
    DWORD First() const { return _first; }

private:
    friend void ::SetLastError(DWORD code);

    bool (*_isFailure)(DWORD);
    FailureWatch* _outer;
    DWORD _first = 0;
};

/// Keeps the calling thread's last error as it is through what is done while it lives: a report of a failure, or a look
/// at a setting, that fails itself. No watch that began before sees such a failure.
class PLATFORM_API KeptLastError {
public:
    KeptLastError();
    KeptLastError(const KeptLastError&) = delete;
    KeptLastError& operator=(const KeptLastError&) = delete;
    ~KeptLastError();

private:
    const DWORD _code;
    FailureWatch* const _watch;
};

}  // namespace platform
