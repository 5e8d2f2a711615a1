#pragma once

#include <platform/base/types.h>

#include <string_view>

namespace programs {

/// Tells the service manager that started this process how it stands: "READY=1", "WATCHDOG=1", "STOPPING=1". Nothing
/// when none asked to be told ($NOTIFY_SOCKET).
void NotifyService(std::string_view state);

/// Within how many milliseconds the manager wants a "WATCHDOG=1"; 0 when it does not.
DWORD WatchdogPeriod();

}  // namespace programs
