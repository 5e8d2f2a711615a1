#pragma once

#include <platform/base/types.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace programs {

/// The four numbers of a dotted-decimal text, however large they are, written without leading zeros; nothing for any
/// other text. What says why a text is no address works on these.
using Ipv4Units = std::array<DWORD, 4>;
std::optional<Ipv4Units> ParseIpv4Units(std::string_view text);

/// The number of an address in dotted decimal; nothing for any other text.
std::optional<DWORD> ParseIpv4(std::string_view text);
std::string FormatIpv4(DWORD address);

/// "10.0.1.0/24"; both texts as they are when they are no subnet.
std::string SubnetText(const std::string& address, const std::string& mask);

}  // namespace programs
