#include <platform/cluster/PropertyList.h>

#include <platform/base/text.h>
#include <platform/cluster/control_codes.h>

#include <optional>

namespace platform {

namespace {

constexpr std::size_t wordSize = 4;

void AppendWord(std::vector<BYTE>& bytes, DWORD word) {
    for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<BYTE>(word >> shift));
}

DWORD WordAt(std::span<const BYTE> bytes) {
    return bytes[0] | (DWORD{bytes[1]} << 8) | (DWORD{bytes[2]} << 16) | (DWORD{bytes[3]} << 24);
}

struct Entry {
    DWORD syntax = 0;
    std::span<const BYTE> bytes;
};

/// Takes words and entries off the front of a list, and never more than there is.
class Reader {
public:
    explicit Reader(std::span<const BYTE> bytes) : _rest(bytes) {}

    std::optional<DWORD> Word() {
        if (_rest.size() < wordSize) return {};
        const DWORD word = WordAt(_rest);
        _rest = _rest.subspan(wordSize);
        return word;
    }

    std::optional<Entry> Next() {
        const auto syntax = Word();
        const auto length = Word();
        if (!syntax || !length || *length > _rest.size()) return {};
        const Entry entry{*syntax, _rest.first(*length)};
        const std::size_t padding = (wordSize - *length % wordSize) % wordSize;
        if (padding > _rest.size() - *length) return {};
        _rest = _rest.subspan(*length + padding);
        return entry;
    }

private:
    std::span<const BYTE> _rest;
};

std::optional<std::wstring> TextOf(std::span<const BYTE> bytes) {
    const bool isTerminated =
        bytes.size() >= 2 && bytes.size() % 2 == 0 && bytes.back() == 0 && bytes[bytes.size() - 2] == 0;
    if (!isTerminated) return {};
    return FromUtf16(bytes);
}

bool ReadValue(const Entry& entry, PropertyValue& property) {
    if (entry.syntax == CLUSPROP_SYNTAX_LIST_VALUE_DWORD) {
        if (entry.bytes.size() != wordSize) return false;
        property.value = WordAt(entry.bytes);
        return true;
    }
    if (entry.syntax != CLUSPROP_SYNTAX_LIST_VALUE_SZ) return false;
    auto text = TextOf(entry.bytes);
    if (!text) return false;
    property.value = std::move(*text);
    return true;
}

bool ReadProperty(Reader& reader, PropertyValue& property) {
    const auto nameEntry = reader.Next();
    if (!nameEntry || nameEntry->syntax != CLUSPROP_SYNTAX_NAME) return false;
    auto name = TextOf(nameEntry->bytes);
    if (!name) return false;
    property.name = std::move(*name);
    const auto value = reader.Next();
    return value && ReadValue(*value, property) && reader.Word() == CLUSPROP_SYNTAX_ENDMARK;
}

}  // namespace

std::vector<BYTE> EncodePropertyList(const std::vector<PropertyValue>& properties) {
    constexpr std::size_t usualSize = 96;  // of a property: two texts of twenty characters
    std::vector<BYTE> list;
    list.reserve(wordSize + properties.size() * usualSize);
    AppendWord(list, static_cast<DWORD>(properties.size()));
    for (const PropertyValue& property : properties) {
        AppendValueEntry(list, CLUSPROP_SYNTAX_NAME, ToUtf16(property.name));
        if (const auto* number = std::get_if<DWORD>(&property.value))
            AppendValueEntry(list, CLUSPROP_SYNTAX_LIST_VALUE_DWORD, *number);
        else
            AppendValueEntry(list, CLUSPROP_SYNTAX_LIST_VALUE_SZ, ToUtf16(std::get<std::wstring>(property.value)));
        AppendWord(list, CLUSPROP_SYNTAX_ENDMARK);
    }
    return list;
}

bool DecodePropertyList(std::span<const BYTE> bytes, std::vector<PropertyValue>& properties) {
    properties.clear();
    Reader reader(bytes);
    const auto count = reader.Word();
    if (!count) return false;
    for (DWORD index = 0; index < *count; ++index) {  // ends with the bytes, whatever the count says
        if (!ReadProperty(reader, properties.emplace_back())) {
            properties.clear();
            return false;
        }
    }
    return true;
}

void AppendValueEntry(std::vector<BYTE>& list, DWORD syntax, std::span<const BYTE> bytes) {
    AppendWord(list, syntax);
    AppendWord(list, static_cast<DWORD>(bytes.size()));
    list.insert(list.end(), bytes.begin(), bytes.end());
    list.resize((list.size() + wordSize - 1) / wordSize * wordSize);
}

void AppendValueEntry(std::vector<BYTE>& list, DWORD syntax, DWORD value) {
    AppendWord(list, syntax);
    AppendWord(list, wordSize);
    AppendWord(list, value);
}

}  // namespace platform
