#include <ostra/network/address_units.h>

#include <algorithm>
#include <cwchar>
#include <limits>

std::array<std::wstring, 4> UnitsOf(const std::wstring& address) {
    std::array<std::wstring, 4> units;
    std::size_t start = 0;
    for (std::size_t index = 0; index + 1 < units.size(); ++index) {
        const std::size_t dot = address.find(L'.', start);
        if (dot == std::wstring::npos) return units;
        units[index] = address.substr(start, dot - start);
        start = dot + 1;
    }
    units.back() = address.substr(start);
    return units;
}

std::wstring LastUnit(const std::wstring& address) {
    return address.substr(address.rfind(L'.') + 1);  // npos + 1: the whole text
}

int UnitValue(const std::wstring& unit) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<long>(std::wcstol(unit.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}

int UnsignedUnitValue(const std::wstring& unit) {
    const bool beginsWithDigit = !unit.empty() && unit.front() >= L'0' && unit.front() <= L'9';
    return beginsWithDigit ? UnitValue(unit) : 0;
}
