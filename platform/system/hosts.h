#pragma once

#include <platform/base/types.h>

#include <string>

namespace platform {

/// Where a host's state is: this machine's own, or the folder of another one.
struct HostPlace {
    bool isLocal = true;
    std::string directory;  ///< empty for this machine, whose state directory may change
};

/// Null or empty is this machine; a name may begin with two backslashes, and its case does not count. InvalidParameter
/// for what is no name, BadNetworkPath for a host without a folder.
DWORD FindHost(const wchar_t* name, HostPlace& place);

/// The name of this machine.
const std::wstring& LocalHostName();

/// The name of the user that this process runs as, or the number of one without a name.
const std::wstring& LocalUserName();

}  // namespace platform
