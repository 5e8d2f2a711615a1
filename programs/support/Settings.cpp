#include <programs/support/Settings.h>

#include <platform/base/text.h>
#include <programs/support/ExitCode.h>

using platform::FromUtf8;

namespace programs {

namespace {

Setting ParseSetting(const std::string& text) {
    const std::size_t equals = text.find('=');
    const std::size_t colon = equals == std::string::npos ? equals : text.find(':', equals);
    if (colon == std::string::npos || equals == 0)
        throw CommandError(ExitCode::Usage,
                           "\"" + text + "\" is no setting: write NAME=TYPE:VALUE, as in Address=REG_SZ:10.0.1.20");
    const std::string type = text.substr(equals + 1, colon - equals - 1);
    const std::string value = text.substr(colon + 1);
    if (type != "REG_SZ" && type != "REG_DWORD")
        throw CommandError(ExitCode::Usage, "\"" + type + "\" is no type of property: use REG_SZ or REG_DWORD");
    const bool isNumber = !value.empty() && value.size() <= 10 &&
                          value.find_first_not_of("0123456789") == std::string::npos &&
                          std::stoull(value) <= 0xFFFFFFFF;
    if (type == "REG_DWORD" && !isNumber)
        throw CommandError(ExitCode::Usage, "\"" + value + "\" is no number from 0 to 4294967295");
    return {FromUtf8(text.substr(0, equals)), FromUtf8(type), FromUtf8(value), FromUtf8(text)};
}

}  // namespace

std::vector<Setting> ParseSettings(const std::vector<std::string>& texts) {
    std::vector<Setting> settings;
    for (const std::string& text : texts) settings.push_back(ParseSetting(text));
    return settings;
}

bool IsStored(const Setting& setting, const StringMap& attributes) {
    const auto found = attributes.find(setting.name);
    if (found == attributes.end()) return false;
    if (setting.type == L"REG_SZ") return found->second == setting.value;
    return platform::ParseDecimal(found->second) == platform::ParseDecimal(setting.value);
}

}  // namespace programs
