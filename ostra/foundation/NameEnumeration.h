#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/types.h>

#include <array>
#include <string>

/// Room that an enumerated name has, its null included.
inline constexpr DWORD enumeratedNameSize = 200;

/// After so many failures in a row an enumeration is broken as a whole, not just at single items.
inline constexpr int maximumEnumerationFailures = 1000;

/// Tells the event log that an enumeration was given up, its last failure being `code`.
void ReportGivenUp(DWORD code);

/// Hands each name of an open enumeration to `onName`, and the code of each item that could not be read to `onFailure`.
/// An enumeration that is broken as a whole is given up, which the event log has.
/// `readItem` is the enumeration's function of the cluster API, or stands in for it. The index at which it ended.
template <DWORD NameSize = enumeratedNameSize, typename Enumeration, typename ReadItem, typename OnName,
          typename OnFailure>
DWORD ForEachName(Enumeration enumeration, const ReadItem& readItem, const OnName& onName, const OnFailure& onFailure) {
    std::array<wchar_t, NameSize + 1> buffer{};
    std::wstring name;  // one for all items, which spares each an allocation
    DWORD index = 0;
    for (int failures = 0; failures < maximumEnumerationFailures; ++index) {
        buffer.front() = L'\0';
        DWORD size = NameSize;
        DWORD type = 0;
        const DWORD result = readItem(enumeration, index, &type, buffer.data(), &size);
        if (result == platform::error::NoMoreItems) break;
        if (result == platform::error::Success) {
            failures = 0;
            onName(name = buffer.data());
        } else {
            onFailure(result);
            if (++failures == maximumEnumerationFailures) ReportGivenUp(result);
        }
    }
    return index;
}
