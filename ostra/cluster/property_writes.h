#pragma once

#include <platform/base/types.h>

#include <algorithm>
#include <iterator>
#include <string_view>

/// The parameter strings that hold the type's name, but not at their start: nothing would stand before it.
inline StringArray ParametersOfType(const StringArray& parameters, std::wstring_view typeName) {
    StringArray matching;
    std::copy_if(parameters.begin(), parameters.end(), std::back_inserter(matching),
                 [&](const std::wstring& parameter) {
                     const std::size_t position = parameter.find(typeName);
                     return position != std::wstring::npos && position > 0;
                 });
    return matching;
}

/// Writes the texts among the parameters with one call of the object's property set and the numbers with another. The
/// sum of their results, 0 when there is nothing to write.
template <typename PropertySet, typename Handle>
DWORD WriteByType(Handle object, const StringArray* parameters, DWORD controlCode) {
    if (!parameters) return 0;
    DWORD result = 0;
    for (const wchar_t* typeName : {L"REG_SZ", L"REG_DWORD"}) {
        const StringArray matching = ParametersOfType(*parameters, typeName);
        if (!matching.empty()) result += static_cast<DWORD>(PropertySet(object).Set(&matching, controlCode));
    }
    return result;
}
