#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

/// The calling thread's last error code, as the function that failed last has set it.
PLATFORM_API DWORD GetLastError();
PLATFORM_API void SetLastError(DWORD code);
