#pragma once

#include <platform/base/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace platform::embedded {

/// The number of an IPv4 address in dotted decimal; nothing for any other text.
std::optional<DWORD> ParseAddress(std::wstring_view text);
std::wstring FormatAddress(DWORD address);

/// Whether `mask` is ones, then zeros, and at least one of the former.
bool IsMask(DWORD mask);

/// Whether `mask` is the mask of a subnet, which has hosts, and `network` an address below it.
bool IsSubnet(DWORD network, DWORD mask);

/// A new identifier in the form of a GUID, such as "1f0c2b7e-52a1-4d0e-9f63-0a7b6c5d4e3f".
std::wstring NewIdentifier();

}  // namespace platform::embedded
