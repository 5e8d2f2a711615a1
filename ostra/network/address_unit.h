#pragma once

#include <algorithm>
#include <cwchar>
#include <limits>
#include <string>

/// A unit, the text between two dots of an address, as a signed decimal number: white space skipped, 0 when there is no
/// number, the nearest end of the range for one that no int holds (so that a huge unit never passes for a small one).
inline int UnitValue(const std::wstring& unit) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<long>(std::wcstol(unit.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}
