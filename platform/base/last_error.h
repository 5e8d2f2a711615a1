#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

/// The calling thread's last error: a code of platform/base/error_codes.h, 0 until something failed in this thread.
///
/// The platform's functions and every operation of the library that fails leave the cause here, also where their result
/// is a mere 0 or null, or says 1 because the request reached an object that then refused it. Success leaves the last
/// error alone: to learn whether an operation failed whose result does not tell, set it to 0 before.
PLATFORM_API DWORD GetLastError();
PLATFORM_API void SetLastError(DWORD code);
