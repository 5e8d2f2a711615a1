#include <programs/support/Settings.h>

#include <platform/base/text.h>
#include <programs/support/ExitCode.h>

#include <charconv>
#include <limits>

using platform::FromUtf8;

namespace programs {

namespace {

Setting ParseSetting(const std::string& text) {
    const TypedText parts =
        ParseTypedText(text, "is no setting: write NAME=TYPE:VALUE, as in Address=REG_SZ:10.0.1.20");
    if (parts.type != "REG_SZ" && parts.type != "REG_DWORD")
        throw CommandError(ExitCode::Usage, "\"" + parts.type + "\" is no type of property: use REG_SZ or REG_DWORD");
    if (parts.name.empty()) throw CommandError(ExitCode::Usage, "\"" + text + "\" has no name before its \"=\"");
    if (parts.type == "REG_DWORD") RequireNumber(parts.value);
    return {FromUtf8(parts.name), FromUtf8(parts.type), FromUtf8(parts.value), FromUtf8(text)};
}

}  // namespace

TypedText ParseTypedText(const std::string& text, const std::string& refusal) {
    const std::size_t equals = text.find('=');
    const std::size_t colon = equals == std::string::npos ? equals : text.find(':', equals);
    if (colon == std::string::npos) throw CommandError(ExitCode::Usage, "\"" + text + "\" " + refusal);
    return {text.substr(0, equals), text.substr(equals + 1, colon - equals - 1), text.substr(colon + 1)};
}

std::optional<DWORD> ParseNumber(std::string_view text, DWORD largest, int base) {
    DWORD number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, number, base);
    if (text.empty() || problem != std::errc() || stop != end || number > largest) return std::nullopt;
    return number;
}

DWORD RequireNumber(const std::string& text) {
    if (const std::optional<DWORD> number = ParseNumber(text, std::numeric_limits<DWORD>::max())) return *number;
    throw CommandError(ExitCode::Usage, "\"" + text + "\" is no number from 0 to 4294967295");
}

std::vector<Setting> ParseSettings(const std::vector<std::string>& texts) {
    std::vector<Setting> settings;
    for (const std::string& text : texts) settings.push_back(ParseSetting(text));
    return settings;
}

const std::wstring* FindAttribute(const StringMap& attributes, const std::wstring& name) {
    for (const auto& [known, value] : attributes)
        if (platform::EqualIgnoringCase(known, name)) return &value;
    return nullptr;
}

bool IsStored(const Setting& setting, const StringMap& attributes) {
    const std::wstring* found = FindAttribute(attributes, setting.name);
    if (!found) return false;
    if (setting.type == L"REG_SZ") return *found == setting.value;
    return platform::ParseDecimal(*found) == platform::ParseDecimal(setting.value);
}

}  // namespace programs
