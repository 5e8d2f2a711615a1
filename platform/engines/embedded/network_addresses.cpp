#include <platform/engines/embedded/network_addresses.h>

#include <random>

namespace platform::embedded {

std::optional<DWORD> ParseAddress(std::wstring_view text) {
    DWORD address = 0;
    for (int part = 0; part < 4; ++part) {
        const std::size_t dot = text.find(L'.');
        const std::wstring_view digits = text.substr(0, dot);
        if (digits.empty() || digits.size() > 3 || (dot == std::wstring_view::npos) != (part == 3)) return std::nullopt;
        DWORD number = 0;
        for (const wchar_t digit : digits) {
            if (digit < L'0' || digit > L'9') return std::nullopt;
            number = number * 10 + static_cast<DWORD>(digit - L'0');
        }
        if (number > 255) return std::nullopt;
        address = address << 8 | number;
        text.remove_prefix(part == 3 ? text.size() : dot + 1);
    }
    return address;
}

std::wstring FormatAddress(DWORD address) {
    return std::to_wstring(address >> 24) + L'.' + std::to_wstring(address >> 16 & 0xFF) + L'.' +
           std::to_wstring(address >> 8 & 0xFF) + L'.' + std::to_wstring(address & 0xFF);
}

bool IsMask(DWORD mask) {
    const DWORD hosts = ~mask;
    return mask != 0 && (hosts & (hosts + 1)) == 0;
}

bool IsSubnet(DWORD network, DWORD mask) {
    return IsMask(mask) && ~mask != 0 && (network & ~mask) == 0;
}

std::wstring NewIdentifier() {
    static constexpr wchar_t hexadecimal[] = L"0123456789abcdef";
    std::random_device random;
    std::wstring identifier;
    for (int digit = 0; digit < 32; ++digit) {
        if (digit == 8 || digit == 12 || digit == 16 || digit == 20) identifier += L'-';
        DWORD value = random() & 0xF;
        if (digit == 12) value = 4;
        if (digit == 16) value = 8 | (value & 3);
        identifier += hexadecimal[value];
    }
    return identifier;
}

}  // namespace platform::embedded
