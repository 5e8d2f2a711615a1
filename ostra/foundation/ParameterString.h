#pragma once

#include <cstddef>
#include <string_view>

/// A parameter string, name "=" type keyword ":" value, taken apart at its first "=" and at the first ":" behind that.
/// What has no "=" has no name, what has no ":" behind it no keyword; the value is all that is left. The parts are
/// places in the string given, which outlives them.
struct ParameterString {
    explicit ParameterString(std::wstring_view rest)
        : name(TakeUpTo(rest, L'=')), keyword(TakeUpTo(rest, L':')), value(rest) {}

    std::wstring_view name;
    std::wstring_view keyword;
    std::wstring_view value;

private:
    static std::wstring_view TakeUpTo(std::wstring_view& rest, wchar_t mark) {
        const std::size_t at = rest.find(mark);
        if (at == std::wstring_view::npos) return {};
        const std::wstring_view head = rest.substr(0, at);
        rest.remove_prefix(at + 1);
        return head;
    }
};
