#pragma once

#include <platform/base/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace programs {

/// A NAME=TYPE:VALUE of the command line, taken apart at the first "=" and at the first ":" after it.
struct TypedText {
    std::string name;
    std::string type;
    std::string value;
};

/// Ends the command when the text has no such form; `refusal` says what it should be.
TypedText ParseTypedText(const std::string& text, const std::string& refusal);

/// A whole text as a number; nothing when it is none, has a sign or blanks, or is above `largest`.
std::optional<DWORD> ParseNumber(std::string_view text, DWORD largest, int base = 10);

/// A whole text as a number of 32 bits; ends the command when it is none.
DWORD RequireNumber(const std::string& text);

/// One property as the command line gives it: NAME=TYPE:VALUE. Property lists carry texts (REG_SZ) and numbers
/// (REG_DWORD), and nothing else.
struct Setting {
    std::wstring name;
    std::wstring type;
    std::wstring value;
    std::wstring text;  ///< as given
};

/// Ends the command with what is wrong with the first that is none.
std::vector<Setting> ParseSettings(const std::vector<std::string>& texts);

/// The attribute of that name, in any case as properties are named; null when there is none.
const std::wstring* FindAttribute(const StringMap& attributes, const std::wstring& name);

/// Whether the attributes have the setting's value under its name.
bool IsStored(const Setting& setting, const StringMap& attributes);

}  // namespace programs
