#include <ostra/registry/value_text.h>
#include <platform/base/format.h>
#include <platform/base/little_endian.h>
#include <platform/base/text.h>

std::array<BYTE, 4> BytesOfNumber(DWORD number) {
    std::array<BYTE, 4> bytes{};
    platform::PutNumber(bytes.data(), number);
    return bytes;
}

std::optional<DWORD> NumberOfValue(std::span<const BYTE> data) {
    if (data.size() < sizeof(DWORD)) return std::nullopt;
    return platform::NumberAt(data.data());
}

bool IsTextType(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_BINARY || type == REG_MULTI_SZ;
}

std::wstring TextOfValue(DWORD type, std::span<const BYTE> data) {
    if (IsTextType(type)) return platform::FromUtf16(data);
    const auto number = type == REG_DWORD ? NumberOfValue(data) : std::nullopt;
    return number ? platform::Format(L"%d", *number) : std::wstring();
}
