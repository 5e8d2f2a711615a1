#include <ostra/registry/value_text.h>
#include <platform/base/format.h>
#include <platform/base/text.h>

std::array<BYTE, 4> BytesOfNumber(DWORD number) {
    return {static_cast<BYTE>(number), static_cast<BYTE>(number >> 8), static_cast<BYTE>(number >> 16),
            static_cast<BYTE>(number >> 24)};
}

std::optional<DWORD> NumberOfValue(std::span<const BYTE> data) {
    if (data.size() < sizeof(DWORD)) return std::nullopt;
    return DWORD{data[0]} | DWORD{data[1]} << 8 | DWORD{data[2]} << 16 | DWORD{data[3]} << 24;
}

std::wstring TextOfValue(DWORD type, std::span<const BYTE> data) {
    switch (type) {
        case REG_SZ:
        case REG_EXPAND_SZ:
        case REG_BINARY:
        case REG_MULTI_SZ: return platform::FromUtf16(data);
        case REG_DWORD:
            if (const auto number = NumberOfValue(data)) return platform::Format(L"%d", *number);
            return {};
        default: return {};
    }
}
