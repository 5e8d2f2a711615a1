#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <span>
#include <string>
#include <variant>
#include <vector>

namespace platform {

/// One property as the engines see it: a number or a text.
struct PropertyValue {
    std::wstring name;
    std::variant<DWORD, std::wstring> value;
};

/// The engines' end of the wire format that control operations carry: a count, then for each property a name entry, a
/// value entry and an end mark, each entry a syntax word, a byte length and the bytes, padded to four; little-endian
/// numbers, UTF-16LE texts with their null.
PLATFORM_API std::vector<BYTE> EncodePropertyList(const std::vector<PropertyValue>& properties);

/// Reads a list that a program sent. False when it is malformed: a length beyond the bytes, a name that is no name
/// entry, a missing end mark, a format other than DWORD or string, a string without its null; bytes after the list are
/// allowed. `properties` is then empty.
PLATFORM_API bool DecodePropertyList(std::span<const BYTE> bytes, std::vector<PropertyValue>& properties);

/// Appends one entry of a value list (the answers to disk questions): syntax word, length, bytes, padding.
PLATFORM_API void AppendValueEntry(std::vector<BYTE>& list, DWORD syntax, std::span<const BYTE> bytes);
PLATFORM_API void AppendValueEntry(std::vector<BYTE>& list, DWORD syntax, DWORD value);

}  // namespace platform
