#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/types.h>

#include <array>
#include <string>

/// Room that an enumerated name has, its null included.
inline constexpr DWORD enumeratedNameSize = 200;

/// After so many failures in a row an enumeration is broken as a whole, not just at single items.
inline constexpr int maximumEnumerationFailures = 1000;

/// Hands each name of an open enumeration to `onName`, and the code of each item that could not be read to `onFailure`.
/// `readItem` is the enumeration's function of the cluster API, or stands in for it.
template <typename Enumeration, typename ReadItem, typename OnName, typename OnFailure>
void ForEachName(Enumeration enumeration, const ReadItem& readItem, const OnName& onName, const OnFailure& onFailure) {
    int failures = 0;
    for (DWORD index = 0; failures < maximumEnumerationFailures; ++index) {
        std::array<wchar_t, enumeratedNameSize + 1> name{};
        DWORD size = enumeratedNameSize;
        DWORD type = 0;
        const DWORD result = readItem(enumeration, index, &type, name.data(), &size);
        if (result == platform::error::NoMoreItems) return;
        if (result == platform::error::Success) {
            failures = 0;
            onName(std::wstring(name.data()));
        } else {
            ++failures;
            onFailure(result);
        }
    }
}
