#include <programs/support/Ipv4.h>

#include <programs/support/Settings.h>

#include <bit>
#include <limits>

namespace programs {

namespace {

constexpr DWORD largestUnit = 255;

bool HasLeadingZero(std::string_view unit) {
    return unit.size() > 1 && unit.front() == '0';
}

}  // namespace

std::optional<Ipv4Units> ParseIpv4Units(std::string_view text) {
    Ipv4Units units{};
    for (std::size_t index = 0; index < units.size(); ++index) {
        const std::size_t dot = text.find('.');
        if ((dot == std::string_view::npos) != (index + 1 == units.size())) return std::nullopt;
        const std::string_view unit = text.substr(0, dot);
        const std::optional<DWORD> number = ParseNumber(unit, std::numeric_limits<DWORD>::max());
        if (!number || HasLeadingZero(unit)) return std::nullopt;
        units[index] = *number;
        text = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
    }
    return units;
}

std::optional<DWORD> ParseIpv4(std::string_view text) {
    const std::optional<Ipv4Units> units = ParseIpv4Units(text);
    if (!units) return std::nullopt;
    DWORD address = 0;
    for (const DWORD unit : *units) {
        if (unit > largestUnit) return std::nullopt;
        address = address << 8 | unit;
    }
    return address;
}

std::string FormatIpv4(DWORD address) {
    const auto unit = [address](int shift) { return std::to_string(address >> shift & largestUnit); };
    return unit(24) + "." + unit(16) + "." + unit(8) + "." + unit(0);
}

std::string SubnetText(const std::string& address, const std::string& mask) {
    const std::optional<DWORD> bits = ParseIpv4(mask);
    const bool isMask = bits && std::countl_one(*bits) == std::popcount(*bits);
    return isMask ? address + "/" + std::to_string(std::popcount(*bits)) : address + " " + mask;
}

}  // namespace programs
