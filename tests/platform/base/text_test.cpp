#include <platform/base/text.h>

#include <gtest/gtest.h>

#include <clocale>

using namespace platform;

namespace {

using Bytes = std::vector<BYTE>;

Bytes Units(std::initializer_list<unsigned> units) {
    Bytes bytes;
    for (const unsigned unit : units) {
        bytes.push_back(static_cast<BYTE>(unit & 0xFF));
        bytes.push_back(static_cast<BYTE>(unit >> 8));
    }
    return bytes;
}

TEST(Utf8, KeepsEveryLengthOfCharacterBothWays) {
    const std::wstring text = L"a\x7F\x80\x7FF\x800\xD7FF\xE000\xFFFF\x10000\x10FFFF";
    const std::string bytes =
        "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
    EXPECT_EQ(bytes, ToUtf8(text));
    EXPECT_EQ(text, FromUtf8(bytes));
    EXPECT_EQ(std::wstring(1, L'\0'), FromUtf8(std::string_view("\0", 1)));
}

TEST(Utf8, ReplacesWhatIsNoCharacterAndReadsOn) {
    EXPECT_EQ(
        "\xEF\xBF\xBD|\xEF\xBF\xBD|\xEF\xBF\xBD",
        ToUtf8(std::wstring{static_cast<wchar_t>(0xD800), L'|', static_cast<wchar_t>(0x110000), L'|', wchar_t{-1}}));

    const struct {
        const char* bytes;
        const wchar_t* text;
    } malformed[] = {
        {"\x80z", L"\xFFFDz"},                              // a trailing byte alone
        {"\xC3", L"\xFFFD"},                                // cut after the lead
        {"\xE2\x82", L"\xFFFD"},                            // cut after two of three
        {"\xF0\x9F\x98z", L"\xFFFDz"},                      // broken off by another character
        {"\xC0\xAF", L"\xFFFD\xFFFD"},                      // overlong "/"
        {"\xE0\x80\xAF", L"\xFFFD\xFFFD\xFFFD"},            // overlong in three bytes
        {"\xED\xA0\x80z", L"\xFFFD\xFFFD\xFFFDz"},          // a surrogate
        {"\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},  // above U+10FFFF
        {"\xFFz\xFE", L"\xFFFDz\xFFFD"},
        {"\xE2\x82\xE2\x82\xAC", L"\xFFFD\x20AC"},  // a cut one does not swallow its neighbour
    };
    for (const auto& row : malformed) EXPECT_EQ(row.text, FromUtf8(row.bytes)) << testing::PrintToString(row.bytes);
}

TEST(Utf16, WritesLittleEndianUnitsAndCountsPairsTwice) {
    const std::wstring text = L"A\x20AC\x1F600";
    EXPECT_EQ((Bytes{0x41, 0, 0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE}), ToUtf16(text, false));
    EXPECT_EQ((Bytes{0x41, 0, 0, 0}), ToUtf16(L"A"));
    EXPECT_EQ(4U, Utf16Length(text));
    EXPECT_EQ(text, FromUtf16(ToUtf16(text)));
    EXPECT_EQ(Units({0xFFFD}), ToUtf16(std::wstring(1, static_cast<wchar_t>(0xDC00)), false));
}

TEST(Utf16, ReadsWhateverBytesItIsGiven) {
    const struct {
        Bytes bytes;
        const wchar_t* text;
    } rows[] = {
        {{}, L""},
        {{0x41}, L""},
        {{0x41, 0, 0x42}, L"A"},
        {Units({'A', 0, 'B'}), L"A"},
        {Units({0xD83D}), L"\xFFFD"},
        {Units({0xD83D, '!'}), L"\xFFFD!"},
        {Units({0xDE00, 0xD83D, 0xDE00}), L"\xFFFD\x1F600"},
        {Units({0xD83D, 0xD83D, 0xDE00}), L"\xFFFD\x1F600"},
        {Units({0xD83D, 0}), L"\xFFFD"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.text, FromUtf16(row.bytes)) << testing::PrintToString(row.bytes);
}

TEST(Utf16, ListsEndAtAnEmptyTextOrWithTheBytesAndCutsNeverSplitAPair) {
    EXPECT_EQ((StringArray{L"a", L"bc"}), ListFromUtf16(Units({'a', 0, 'b', 'c', 0, 0, 'x', 0})));
    EXPECT_EQ((StringArray{L"a", L"bc"}), ListFromUtf16(Units({'a', 0, 'b', 'c'})));
    EXPECT_EQ(StringArray{}, ListFromUtf16(Units({0, 'a', 0})));
    EXPECT_EQ(L"a", CutToUnits(L"a\x1F600z", 2));
    EXPECT_EQ(L"a\x1F600", CutToUnits(L"a\x1F600z", 3));
    EXPECT_EQ(L"", CutToUnits(L"abc", 0));
    EXPECT_EQ(L"abc", CutToUnits(L"abc", 100));
}

TEST(FoldedCase, CoversTheAlphabetsOfNamesInAnyLocaleAndDecidesEquality) {
    std::setlocale(LC_ALL, "C");
    for (const auto& [text, folded] : {std::pair{L"Group 1", L"group 1"},
                                       {L"ÄÖÜß\xD7", L"äöüß\xD7"},
                                       {L"ĆĎĖĞŁŇŘŞŠŽŸ", L"ćďėğłňřşšžÿ"},
                                       {L"ǄǅǇ", L"ǆǆǉ"},
                                       {L"ΆΈΉΑΩςΣ", L"άέήαωςσ"},
                                       {L"ЀЏЖЯѠ", L"ѐџжяѡ"},
                                       {L"ԱՖẠ", L"աֆạ"},
                                       {L"@[`{\x1F600", L"@[`{\x1F600"}}) {
        EXPECT_EQ(folded, FoldCase(text));
        EXPECT_TRUE(EqualIgnoringCase(text, folded));
    }
    for (const wchar_t* other : {L"Disk ", L"Dis", L"Dïsk", L""}) EXPECT_FALSE(EqualIgnoringCase(L"Disk", other));
}

struct Number {
    const wchar_t* text;
    DWORD value;
};

TEST(Numbers, AreReadUpToTheFirstForeignCharacter) {
    const Number decimals[] = {{L"", 0},           {L"x1", 0},   {L" \t\n+42kg", 42}, {L"-1", 0xFFFFFFFF},
                               {L"- 1", 0},        {L"--1", 0},  {L"007", 7},         {L"4294967295", 0xFFFFFFFF},
                               {L"4294967301", 5}, {L"0x10", 0}, {L"1.9", 1}};
    const Number hexadecimals[] = {
        {L"", 0}, {L"0x", 0}, {L"0XfFg", 255}, {L" 0x10", 16}, {L"DEADBEEF", 0xDEADBEEF}, {L"123456789", 0x23456789}};
    for (const auto& [text, value] : decimals) EXPECT_EQ(value, ParseDecimal(text)) << ToUtf8(text);
    for (const auto& [text, value] : hexadecimals) EXPECT_EQ(value, ParseHexadecimal(text)) << ToUtf8(text);
    EXPECT_EQ(-2147483647 - 1, ParseInteger(L"2147483648"));
    EXPECT_EQ(-7, ParseInteger(L"-7"));
}

}  // namespace
