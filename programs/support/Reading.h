#pragma once

#include <platform/base/types.h>

#include <functional>
#include <string>

namespace programs {

/// Whether a result code says that something could not be read, rather than that it is not there or at its end.
bool IsReadFailure(DWORD code);

/// Runs `read`, and ends the command with "WHAT cannot be read: cause" when anything that it asked for could not be
/// read: the library shows what it could read, and no failure.
void RequireRead(const std::string& what, const std::function<void()>& read);

}  // namespace programs
