#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

// Nothing here depends on the locale or keeps anything: all of it may be called from any thread.
namespace platform {

/// UTF-8 of a wide text. What is no character (a surrogate, a value above 0x10FFFF) becomes U+FFFD.
PLATFORM_API std::string ToUtf8(std::wstring_view text);

/// Wide text of UTF-8 bytes. Each malformed sequence becomes one U+FFFD; reading never stops.
PLATFORM_API std::wstring FromUtf8(std::string_view bytes);

/// Whether a value is a character that text may hold: no surrogate, and not above 0x10FFFF.
PLATFORM_API bool IsCharacter(wchar_t value);

PLATFORM_API bool IsControl(wchar_t character);

/// Whether a new name may hold a character: none that is invisible, turns the direction of the text around it, or
/// stands for what could not be read (U+FFFD). Joiners may stand, which some scripts need.
PLATFORM_API bool IsNameCharacter(wchar_t character);

/// Number of UTF-16 units of a text, surrogate pairs counting two; no terminating null is counted.
PLATFORM_API std::size_t Utf16Length(std::wstring_view text);

/// Writes the UTF-16LE bytes of a text, without a terminating null, to a place that has room for them: two for each
/// unit. The place behind them.
PLATFORM_API BYTE* PutUtf16(BYTE* place, std::wstring_view text);

/// Appends the UTF-16LE bytes of a text, without a terminating null.
PLATFORM_API void AppendUtf16(std::vector<BYTE>& bytes, std::wstring_view text);

/// UTF-16LE bytes of a text, with its terminating null when `terminated`.
PLATFORM_API std::vector<BYTE> ToUtf16(std::wstring_view text, bool terminated = true);

/// Wide text of UTF-16LE bytes, up to the first null unit or the end of the bytes; an odd last byte is left out, and
/// an unpaired surrogate becomes U+FFFD.
PLATFORM_API std::wstring FromUtf16(std::span<const BYTE> bytes);

/// All strings of a list of null-terminated UTF-16LE strings, which an empty string or the end of the bytes ends.
PLATFORM_API StringArray ListFromUtf16(std::span<const BYTE> bytes);

/// The longest head of `text` of at most `units` UTF-16 units, never ending in half a surrogate pair.
PLATFORM_API std::wstring_view CutToUnits(std::wstring_view text, std::size_t units);

/// A text as it compares when case does not count: each character in its simple lower-case form, whatever the locale.
PLATFORM_API std::wstring FoldCase(std::wstring_view text);

PLATFORM_API bool EqualIgnoringCase(std::wstring_view left, std::wstring_view right);

/// The decimal number at the start of a text: white space skipped, an optional sign, digits accumulated modulo 2^32 up
/// to the first non-digit. 0 when there is none.
PLATFORM_API DWORD ParseDecimal(std::wstring_view text);

/// ParseDecimal as a signed number (two's complement).
PLATFORM_API int ParseInteger(std::wstring_view text);

/// The hexadecimal number at the start of a text, with or without "0x", accumulated modulo 2^32. 0 when there is none.
PLATFORM_API DWORD ParseHexadecimal(std::wstring_view text);

}  // namespace platform
