#include <platform/base/text.h>
#include <platform/framework/CArchive.h>
#include <platform/framework/CArray.h>
#include <platform/framework/CCommandLineInfo.h>
#include <platform/framework/CMapStringToOb.h>
#include <platform/framework/CObList.h>

#include <gtest/gtest.h>

#include <tuple>

namespace {

using Bytes = std::vector<BYTE>;

Bytes Stored(const std::wstring& text) {
    Bytes bytes;
    CArchive(bytes, CArchive::Mode::Store) << text;
    return bytes;
}

TEST(AnArchive, StoresATextAsMarkLengthAndUnits) {
    EXPECT_EQ((Bytes{0xFF, 0xFE, 0xFF, 0}), Stored(L""));
    EXPECT_EQ((Bytes{0xFF, 0xFE, 0xFF, 3, 0x41, 0, 0x3D, 0xD8, 0x00, 0xDE}), Stored(L"A\x1F600"));

    const struct {
        std::size_t length;
        Bytes head;
    } rows[] = {
        {254, {0xFF, 0xFE, 0xFF, 0xFE}},
        {255, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0x00}},
        {65534, {0xFF, 0xFE, 0xFF, 0xFF, 0xFE, 0xFF}},
        {65535, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00}},
        {65536, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x01, 0x00}},
    };
    for (const auto& [length, head] : rows) {
        const std::wstring text(length, L'x');
        Bytes bytes = Stored(text);
        ASSERT_EQ(head.size() + 2 * length, bytes.size()) << length;
        EXPECT_TRUE(std::equal(head.begin(), head.end(), bytes.begin())) << length;
        std::wstring read;
        CArchive archive(bytes, CArchive::Mode::Load);
        archive >> read;
        EXPECT_FALSE(archive.Failed()) << length;
        EXPECT_TRUE(text == read) << length;
    }
}

TEST(AnArchive, StoresNumbersLittleEndianAndLoadsWhatWasStoredInItsOrder) {
    const std::wstring withNulls(L"\0a\0\0b\0", 6);
    Bytes bytes = {0xAA};
    CArchive(bytes, CArchive::Mode::Store) << LONG{-2} << DWORD{0x12345678} << WORD{0xABCD} << BYTE{0x7F};
    EXPECT_EQ((Bytes{0xAA, 0xFE, 0xFF, 0xFF, 0xFF, 0x78, 0x56, 0x34, 0x12, 0xCD, 0xAB, 0x7F}), bytes);
    bytes.erase(bytes.begin());
    CArchive(bytes, CArchive::Mode::Store) << L"Größe \x1F600" << withNulls;
    TimeValue time = 0;
    DWORD number = 0;
    std::wstring text, nulls;
    WORD word = 0;
    BYTE byte = 0;
    CArchive archive(bytes, CArchive::Mode::Load);
    archive >> time >> number >> word >> byte >> text >> nulls;
    EXPECT_EQ(std::tuple(-2, 0x12345678, 0xABCD, 0x7F, L"Größe \x1F600", withNulls),
              std::tuple(time, number, word, byte, text, nulls));
    EXPECT_FALSE(archive.Failed());
}

TEST(AnArchive, FailsForGoodWhereverItsBytesAreCut) {
    Bytes whole;
    CArchive(whole, CArchive::Mode::Store) << std::wstring(300, L'x') << DWORD{7} << L"end";
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        std::wstring first = L"old", last = L"old";
        DWORD number = 99;
        BYTE after = 99;
        CArchive archive(cut, CArchive::Mode::Load);
        archive >> first >> number >> last >> after;
        ASSERT_TRUE(archive.Failed()) << size;
        ASSERT_TRUE(first.empty() || first.size() == 300) << size;
        ASSERT_EQ(size >= 610U ? 7U : 0U, number) << size;
        ASSERT_EQ(L"", last) << size;
        ASSERT_EQ(0, after) << size;
    }
}

TEST(AnArchive, BelievesNoLengthAndNoTextWithoutItsMark) {
    for (Bytes bytes : {Bytes{0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x41, 0},
                        Bytes{0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x80, 0x41, 0},
                        Bytes{0xFF, 0xFE, 0xFF, 0xFE, 0x41, 0}, Bytes{0x01, 0x41, 0x41, 0x41, 0x41, 0x41}}) {
        std::wstring text = L"old";
        CArchive archive(bytes, CArchive::Mode::Load);
        archive >> text;
        EXPECT_TRUE(archive.Failed());
        EXPECT_EQ(L"", text);
    }
}

TEST(AnArchive, RefusesToWorkAgainstItsMode) {
    for (const auto mode : {CArchive::Mode::Store, CArchive::Mode::Load}) {
        Bytes bytes = {1, 2, 3, 4};
        DWORD number = 99;
        CArchive archive(bytes, mode);
        if (mode == CArchive::Mode::Load) archive << BYTE{5} << L"text";
        archive >> number;
        archive << BYTE{5} << L"text";
        EXPECT_TRUE(archive.Failed());
        EXPECT_EQ(0U, number);
        EXPECT_EQ((Bytes{1, 2, 3, 4}), bytes);
    }
}

TEST(AMap, FindsByExactNameAndVisitsInNameOrder) {
    CMapStringToOb map;
    CObList one, other;
    for (const auto& [name, object] : {std::pair{L"b", &one}, {L"a", &other}, {L"B", &one}, {L"b", &other}})
        map.SetAt(name, object);
    StringArray names;
    for (const auto& [name, object] : map) names.push_back(name);
    EXPECT_EQ((StringArray{L"B", L"a", L"b"}), names);
    CObject* found = nullptr;
    EXPECT_TRUE(map.Lookup(L"b", found) && found == &other);
    EXPECT_TRUE(!map.Lookup(L"A", found) && !found);
    EXPECT_TRUE(map.RemoveKey(L"b") && !map.RemoveKey(L"b"));
    EXPECT_EQ(2, map.GetCount());
}

TEST(AnArray, AnswersIndexesThatNameNoElement) {
    CArray<int> array;
    for (const int value : {10, 11, 12, 13}) array.Add(value);
    for (const int index : {-1, 4, 2147483647}) {
        EXPECT_EQ(0, array.GetAt(index));
        array.SetAt(index, 99);
        array.RemoveAt(index);
    }
    array.SetAt(1, 21);
    array.RemoveAt(0);
    array.RemoveAt(1, 2147483647);
    EXPECT_EQ(std::vector<int>{21}, std::vector<int>(array.begin(), array.end()));
}

class RecordedArguments : public CCommandLineInfo {
public:
    void ParseParam(const wchar_t* parameter, BOOL isFlag, BOOL isLast) override {
        text += std::wstring(isFlag ? L"flag " : L"") + parameter + (isLast ? L"." : L", ");
    }
    std::wstring text;
};

TEST(ACommandLine, IsHandedOverWithItsFlagsMarked) {
    RecordedArguments fromMain, fromList, fromNothing;
    const char* const argv[] = {"-program", "a", "-t", "/T", "\xC3\xA4", "--", "-", "b-c"};
    ParseCommandLine(8, argv, fromMain);
    EXPECT_EQ(L"a, flag t, flag T, ä, flag -, flag , b-c.", fromMain.text);
    ParseCommandLine(StringArray{L"", L"/x"}, fromList);
    EXPECT_EQ(L", flag x.", fromList.text);
    ParseCommandLine(1, argv, fromNothing);
    ParseCommandLine(0, nullptr, fromNothing);
    EXPECT_EQ(L"", fromNothing.text);
}

}  // namespace
