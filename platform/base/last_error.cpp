#include <platform/base/last_error.h>

namespace {
thread_local DWORD lastError = 0;
thread_local platform::FailureWatch* innermost = nullptr;
}  // namespace

DWORD GetLastError() {
    return lastError;
}

void SetLastError(DWORD code) {
    lastError = code;
    if (code == 0) return;
    for (platform::FailureWatch* watch = innermost; watch; watch = watch->_outer)
        if (watch->_first == 0 && watch->_isFailure(code)) watch->_first = code;
}

namespace platform {

FailureWatch::FailureWatch(bool (*isFailure)(DWORD)) : _isFailure(isFailure), _outer(innermost) {
    SetLastError(0);  // who restores an older error later does not fail now
    innermost = this;
}

FailureWatch::~FailureWatch() {
    innermost = _outer;
}

KeptLastError::KeptLastError() : _code(lastError), _watch(innermost) {
    innermost = nullptr;
}

KeptLastError::~KeptLastError() {
    lastError = _code;
    innermost = _watch;
}

}  // namespace platform
