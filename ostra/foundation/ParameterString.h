#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A parameter string, name "=" type keyword ":" value, taken apart at its first "=" and at the first ":" behind that.
/// What has no "=" has no name, what has no ":" behind it no keyword; the value is all that is left.
struct ParameterString {
    explicit ParameterString(std::wstring_view rest)
        : name(TakeUpTo(rest, L'=')), keyword(TakeUpTo(rest, L':')), value(rest) {}

    std::wstring name;
    std::wstring keyword;
    std::wstring value;

private:
    static std::wstring TakeUpTo(std::wstring_view& rest, wchar_t mark) {
        const std::size_t at = rest.find(mark);
        if (at == std::wstring_view::npos) return {};
        const std::wstring head(rest.substr(0, at));
        rest.remove_prefix(at + 1);
        return head;
    }
};
