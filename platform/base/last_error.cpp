#include <platform/base/last_error.h>

namespace {
thread_local DWORD lastError = 0;
}

DWORD GetLastError() {
    return lastError;
}

void SetLastError(DWORD code) {
    lastError = code;
}
