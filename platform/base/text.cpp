#include <platform/base/text.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace platform {

namespace {

constexpr wchar_t replacement = L'\xFFFD';
constexpr std::uint32_t lastCodePoint = 0x10FFFF;

bool IsSurrogate(std::uint32_t code) {
    return code >= 0xD800 && code <= 0xDFFF;
}

std::uint32_t ScalarValue(wchar_t character) {
    const auto code = static_cast<std::uint32_t>(character);
    return IsCharacter(character) ? code : static_cast<std::uint32_t>(replacement);
}

void AppendUtf8(std::string& bytes, std::uint32_t code) {
    const auto trailing = [&](unsigned shift) { bytes += static_cast<char>(0x80U | ((code >> shift) & 0x3FU)); };
    if (code < 0x80) {
        bytes += static_cast<char>(code);
    } else if (code < 0x800) {
        bytes += static_cast<char>(0xC0U | (code >> 6));
        trailing(0);
    } else if (code < 0x10000) {
        bytes += static_cast<char>(0xE0U | (code >> 12));
        trailing(6);
        trailing(0);
    } else {
        bytes += static_cast<char>(0xF0U | (code >> 18));
        trailing(12);
        trailing(6);
        trailing(0);
    }
}

/// What a lead byte demands: how many bytes follow, and the range of the first of them, which is where overlong forms,
/// surrogates and values above U+10FFFF are turned away.
struct LeadByte {
    std::size_t following = 0;
    BYTE low = 0x80;
    BYTE high = 0xBF;
};

LeadByte Classify(BYTE lead) {
    if (lead >= 0xC2 && lead <= 0xDF) return {1};
    if (lead == 0xE0) return {2, 0xA0, 0xBF};
    if (lead == 0xED) return {2, 0x80, 0x9F};
    if (lead >= 0xE1 && lead <= 0xEF) return {2};
    if (lead == 0xF0) return {3, 0x90, 0xBF};
    if (lead >= 0xF1 && lead <= 0xF3) return {3};
    if (lead == 0xF4) return {3, 0x80, 0x8F};
    return {};
}

/// Takes one character, or the longest head of a malformed one, from the front of `bytes`.
wchar_t TakeUtf8(std::string_view& bytes) {
    const auto lead = static_cast<BYTE>(bytes.front());
    bytes.remove_prefix(1);
    if (lead < 0x80) return static_cast<wchar_t>(lead);
    LeadByte expected = Classify(lead);
    if (expected.following == 0) return replacement;
    std::uint32_t code = lead & (0x3FU >> expected.following);
    for (; expected.following > 0; --expected.following) {
        const BYTE next = bytes.empty() ? BYTE{0} : static_cast<BYTE>(bytes.front());
        if (next < expected.low || next > expected.high) return replacement;
        code = (code << 6) | (next & 0x3FU);
        bytes.remove_prefix(1);
        expected.low = 0x80;
        expected.high = 0xBF;
    }
    return static_cast<wchar_t>(code);
}

/// Reads a UTF-16LE text up to its null unit or the end of the bytes, which it takes from the front of `bytes`.
std::wstring TakeUtf16(std::span<const BYTE>& bytes) {
    const BYTE* const first = bytes.data();
    const auto unitAt = [=](std::size_t at) { return static_cast<std::uint32_t>(first[at] | (first[at + 1] << 8)); };
    std::size_t end = 0;
    while (end + 1 < bytes.size() && unitAt(end) != 0) end += 2;
    std::wstring text(end / 2, L'\0');
    std::size_t length = 0;
    for (std::size_t at = 0; at < end;) {
        const std::uint32_t unit = unitAt(at);
        at += 2;
        if (!IsSurrogate(unit)) {
            text[length++] = static_cast<wchar_t>(unit);
            continue;
        }
        const std::uint32_t low = at < end ? unitAt(at) : 0;
        if (unit >= 0xDC00 || low < 0xDC00 || low > 0xDFFF) {
            text[length++] = replacement;
            continue;
        }
        at += 2;
        text[length++] = static_cast<wchar_t>(0x10000U + ((unit - 0xD800U) << 10) + (low - 0xDC00U));
    }
    text.resize(length);
    bytes = bytes.subspan(std::min(bytes.size(), end + 2));
    return text;
}

/// Every `step`-th character from `first` to `last` has its lower-case form `delta` further on.
struct CaseRange {
    std::uint16_t first;
    std::uint16_t last;
    std::int16_t step;
    std::int16_t delta;
};

// Unicode 14's simple mappings, ASCII's apart, for Latin, Greek, Cyrillic, Armenian and the full-width letters; sorted.
constexpr CaseRange caseRanges[] = {
    {0x00C0, 0x00D6, 1, 32},    {0x00D8, 0x00DE, 1, 32},    {0x0100, 0x012E, 2, 1},    {0x0130, 0x0130, 1, -199},
    {0x0132, 0x0136, 2, 1},     {0x0139, 0x0147, 2, 1},     {0x014A, 0x0176, 2, 1},    {0x0178, 0x0178, 1, -121},
    {0x0179, 0x017D, 2, 1},     {0x0181, 0x0181, 1, 210},   {0x0182, 0x0184, 2, 1},    {0x0186, 0x0186, 1, 206},
    {0x0187, 0x0187, 1, 1},     {0x0189, 0x018A, 1, 205},   {0x018B, 0x018B, 1, 1},    {0x018E, 0x018E, 1, 79},
    {0x018F, 0x018F, 1, 202},   {0x0190, 0x0190, 1, 203},   {0x0191, 0x0191, 1, 1},    {0x0193, 0x0193, 1, 205},
    {0x0194, 0x0194, 1, 207},   {0x0196, 0x0196, 1, 211},   {0x0197, 0x0197, 1, 209},  {0x0198, 0x0198, 1, 1},
    {0x019C, 0x019C, 1, 211},   {0x019D, 0x019D, 1, 213},   {0x019F, 0x019F, 1, 214},  {0x01A0, 0x01A4, 2, 1},
    {0x01A6, 0x01A6, 1, 218},   {0x01A7, 0x01A7, 1, 1},     {0x01A9, 0x01A9, 1, 218},  {0x01AC, 0x01AC, 1, 1},
    {0x01AE, 0x01AE, 1, 218},   {0x01AF, 0x01AF, 1, 1},     {0x01B1, 0x01B2, 1, 217},  {0x01B3, 0x01B5, 2, 1},
    {0x01B7, 0x01B7, 1, 219},   {0x01B8, 0x01B8, 1, 1},     {0x01BC, 0x01BC, 1, 1},    {0x01C4, 0x01C4, 1, 2},
    {0x01C5, 0x01C5, 1, 1},     {0x01C7, 0x01C7, 1, 2},     {0x01C8, 0x01C8, 1, 1},    {0x01CA, 0x01CA, 1, 2},
    {0x01CB, 0x01DB, 2, 1},     {0x01DE, 0x01EE, 2, 1},     {0x01F1, 0x01F1, 1, 2},    {0x01F2, 0x01F4, 2, 1},
    {0x01F6, 0x01F6, 1, -97},   {0x01F7, 0x01F7, 1, -56},   {0x01F8, 0x021E, 2, 1},    {0x0220, 0x0220, 1, -130},
    {0x0222, 0x0232, 2, 1},     {0x023A, 0x023A, 1, 10795}, {0x023B, 0x023B, 1, 1},    {0x023D, 0x023D, 1, -163},
    {0x023E, 0x023E, 1, 10792}, {0x0241, 0x0241, 1, 1},     {0x0243, 0x0243, 1, -195}, {0x0244, 0x0244, 1, 69},
    {0x0245, 0x0245, 1, 71},    {0x0246, 0x024E, 2, 1},     {0x0370, 0x0372, 2, 1},    {0x0376, 0x0376, 1, 1},
    {0x037F, 0x037F, 1, 116},   {0x0386, 0x0386, 1, 38},    {0x0388, 0x038A, 1, 37},   {0x038C, 0x038C, 1, 64},
    {0x038E, 0x038F, 1, 63},    {0x0391, 0x03A1, 1, 32},    {0x03A3, 0x03AB, 1, 32},   {0x03CF, 0x03CF, 1, 8},
    {0x03D8, 0x03EE, 2, 1},     {0x03F4, 0x03F4, 1, -60},   {0x03F7, 0x03F7, 1, 1},    {0x03F9, 0x03F9, 1, -7},
    {0x03FA, 0x03FA, 1, 1},     {0x03FD, 0x03FF, 1, -130},  {0x0400, 0x040F, 1, 80},   {0x0410, 0x042F, 1, 32},
    {0x0460, 0x0480, 2, 1},     {0x048A, 0x04BE, 2, 1},     {0x04C0, 0x04C0, 1, 15},   {0x04C1, 0x04CD, 2, 1},
    {0x04D0, 0x052E, 2, 1},     {0x0531, 0x0556, 1, 48},    {0x1E00, 0x1E94, 2, 1},    {0x1E9E, 0x1E9E, 1, -7615},
    {0x1EA0, 0x1EFE, 2, 1},     {0xFF21, 0xFF3A, 1, 32},
};

wchar_t FoldBeyondAscii(wchar_t character) {
    const auto code = static_cast<std::uint32_t>(character);
    const auto* range = std::upper_bound(std::begin(caseRanges), std::end(caseRanges), code,
                                         [](std::uint32_t value, const CaseRange& each) { return value < each.first; });
    if (range == std::begin(caseRanges)) return character;
    --range;
    if (code > range->last || (code - range->first) % static_cast<std::uint32_t>(range->step) != 0) return character;
    return character + range->delta;
}

// Small enough to be compiled into the loops over texts, nearly all of which are ASCII.
wchar_t FoldCharacter(wchar_t character) {
    const auto code = static_cast<std::uint32_t>(character);
    if (code >= 0x80) return FoldBeyondAscii(character);
    return code - L'A' < 26 ? character + 32 : character;
}

bool IsSpace(wchar_t character) {
    return character == L' ' || (character >= L'\t' && character <= L'\r');
}

std::wstring_view SkipSpaces(std::wstring_view text) {
    const auto start = std::find_if_not(text.begin(), text.end(), IsSpace);
    return text.substr(static_cast<std::size_t>(start - text.begin()));
}

/// The value of a digit in bases up to 16; 16 for anything else.
DWORD DigitValue(wchar_t character) {
    if (character >= L'0' && character <= L'9') return static_cast<DWORD>(character - L'0');
    if (character >= L'a' && character <= L'f') return static_cast<DWORD>(character - L'a') + 10;
    if (character >= L'A' && character <= L'F') return static_cast<DWORD>(character - L'A') + 10;
    return 16;
}

DWORD Accumulate(std::wstring_view digits, DWORD base) {
    DWORD value = 0;
    for (const wchar_t character : digits) {
        const DWORD digit = DigitValue(character);
        if (digit >= base) break;
        value = value * base + digit;
    }
    return value;
}

}  // namespace

bool IsCharacter(wchar_t value) {
    const auto code = static_cast<std::uint32_t>(value);
    return code <= lastCodePoint && !IsSurrogate(code);
}

bool IsControl(wchar_t character) {
    const auto code = static_cast<std::uint32_t>(character);
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

bool IsNameCharacter(wchar_t character) {
    static constexpr std::pair<std::uint32_t, std::uint32_t> refused[] = {
        {0xAD, 0xAD},                                            // soft hyphen
        {0x61C, 0x61C},     {0x180E, 0x180E}, {0x200B, 0x200B},  // marks without a width
        {0x200E, 0x200F},   {0x2028, 0x202E}, {0x2060, 0x206F},  // separators, directions, operators
        {0xFDD0, 0xFDEF},   {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFF},  // no characters, byte order, replacement
        {0xE0000, 0xE0FFF},                                      // tags
    };
    const auto code = static_cast<std::uint32_t>(character);
    return IsCharacter(character) && !IsControl(character) && (code & 0xFFFE) != 0xFFFE &&
           std::ranges::none_of(refused,
                                [&](const auto& range) { return code >= range.first && code <= range.second; });
}

std::string ToUtf8(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (const wchar_t character : text) AppendUtf8(bytes, ScalarValue(character));
    return bytes;
}

std::wstring FromUtf8(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    while (!bytes.empty()) text += TakeUtf8(bytes);
    return text;
}

std::size_t Utf16Length(std::wstring_view text) {
    std::size_t units = text.size();
    for (const wchar_t character : text)
        units += static_cast<std::uint32_t>(character) - 0x10000U <= lastCodePoint - 0x10000U;
    return units;
}

BYTE* PutUtf16(BYTE* place, std::wstring_view text) {
    const auto putUnit = [&](std::uint32_t unit) {
        *place++ = static_cast<BYTE>(unit & 0xFFU);
        *place++ = static_cast<BYTE>(unit >> 8);
    };
    for (const wchar_t character : text) {
        const auto unit = static_cast<std::uint32_t>(character);
        if (unit < 0xD800) {  // nearly all of them
            putUnit(unit);
            continue;
        }
        const std::uint32_t code = ScalarValue(character);
        if (code <= 0xFFFF) {
            putUnit(code);
        } else {
            putUnit(0xD800U + ((code - 0x10000U) >> 10));
            putUnit(0xDC00U + ((code - 0x10000U) & 0x3FFU));
        }
    }
    return place;
}

void AppendUtf16(std::vector<BYTE>& bytes, std::wstring_view text) {
    const std::size_t before = bytes.size();
    bytes.resize(before + 2 * Utf16Length(text));
    PutUtf16(bytes.data() + before, text);
}

std::vector<BYTE> ToUtf16(std::wstring_view text, bool terminated) {
    std::vector<BYTE> bytes;
    bytes.reserve(2 * text.size() + 2);
    AppendUtf16(bytes, text);
    if (terminated) bytes.insert(bytes.end(), 2, BYTE{0});
    return bytes;
}

std::wstring FromUtf16(std::span<const BYTE> bytes) {
    return TakeUtf16(bytes);
}

StringArray ListFromUtf16(std::span<const BYTE> bytes) {
    StringArray texts;
    for (std::wstring text = TakeUtf16(bytes); !text.empty(); text = TakeUtf16(bytes)) texts.push_back(std::move(text));
    return texts;
}

std::wstring_view CutToUnits(std::wstring_view text, std::size_t units) {
    if (text.size() <= units / 2) return text;  // nearly all of them
    std::size_t length = 0;
    while (length < text.size()) {
        const std::size_t width = ScalarValue(text[length]) > 0xFFFF ? 2 : 1;
        if (width > units) break;
        units -= width;
        ++length;
    }
    return text.substr(0, length);
}

std::wstring FoldCase(std::wstring_view text) {
    std::wstring folded(text);
    for (wchar_t& character : folded) character = FoldCharacter(character);
    return folded;
}

bool EqualIgnoringCase(std::wstring_view left, std::wstring_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t one, wchar_t other) { return FoldCharacter(one) == FoldCharacter(other); });
}

DWORD ParseDecimal(std::wstring_view text) {
    text = SkipSpaces(text);
    const bool isNegative = text.starts_with(L'-');
    if (isNegative || text.starts_with(L'+')) text.remove_prefix(1);
    const DWORD value = Accumulate(text, 10);
    return isNegative ? 0U - value : value;
}

int ParseInteger(std::wstring_view text) {
    return static_cast<int>(ParseDecimal(text));
}

DWORD ParseHexadecimal(std::wstring_view text) {
    text = SkipSpaces(text);
    if (text.starts_with(L"0x") || text.starts_with(L"0X")) text.remove_prefix(2);
    return Accumulate(text, 16);
}

}  // namespace platform
