#include <platform/cluster/PropertyList.h>

#include <platform/base/text.h>
#include <platform/cluster/control_codes.h>

#include <gtest/gtest.h>

using namespace platform;

namespace {

using Bytes = std::vector<BYTE>;

const Bytes handWritten = {
    2, 0, 0, 0,                                                  // count
    3, 0, 4, 0, 6, 0, 0, 0, 'A',  0,    'b',  0,    0, 0, 0, 0,  // name "Ab", padded by two
    2, 0, 1, 0, 4, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF,              // number
    0, 0, 0, 0,                                                  // end mark
    3, 0, 4, 0, 4, 0, 0, 0, 'T',  0,    0,    0,                 // name "T"
    3, 0, 1, 0, 6, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0, 0, 0,  // text of one character above U+FFFF
    0, 0, 0, 0};

bool Reads(const Bytes& bytes) {
    std::vector<PropertyValue> properties = {{L"left over", L""}};
    const bool isRead = DecodePropertyList(bytes, properties);
    EXPECT_TRUE(isRead || properties.empty());
    return isRead;
}

Bytes With(std::size_t at, const Bytes& bytes) {
    Bytes changed = handWritten;
    std::copy(bytes.begin(), bytes.end(), changed.begin() + static_cast<std::ptrdiff_t>(at));
    return changed;
}

}  // namespace

TEST(APropertyList, HasTheBytesOfTheWireFormatAndIsRefusedWhenTheyAreCut) {
    EXPECT_EQ(handWritten, EncodePropertyList({{L"Ab", DWORD{0xFFFFFFFE}}, {L"T", L"\x1F600"}}));
    EXPECT_EQ((Bytes{0, 0, 0, 0}), EncodePropertyList({}));
    EXPECT_EQ(52U, EncodePropertyList({{L"Permissions", DWORD{127}}}).size());

    Bytes longer = handWritten;
    longer.insert(longer.end(), {0, 0, 0, 0, 9});
    std::vector<PropertyValue> properties;
    EXPECT_TRUE(DecodePropertyList(longer, properties)) << "other bytes may follow";
    ASSERT_EQ(2U, properties.size());
    EXPECT_EQ(L"Ab", properties[0].name);
    EXPECT_EQ(0xFFFFFFFE, std::get<DWORD>(properties[0].value));
    EXPECT_EQ(L"\x1F600", std::get<std::wstring>(properties[1].value));
    EXPECT_TRUE(Reads({0, 0, 0, 0, 1}));
    for (std::size_t length = 0; length < handWritten.size(); ++length) {
        // A copy of just that size, so that a sanitizer sees a read beyond it.
        const Bytes cut(handWritten.begin(), handWritten.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(Reads(cut)) << length;
    }
}

TEST(APropertyList, IsRefusedWhenItsWordsAreWrong) {
    const struct {
        const char* what;
        std::size_t at;
        Bytes bytes;
    } rows[] = {
        {"a count beyond the bytes", 0, {0xFF, 0xFF, 0xFF, 0xFF}},
        {"no name entry", 4, {3, 0, 1, 0}},
        {"a name longer than the list", 8, {0xFF, 0xFF, 0xFF, 0xFF}},
        {"a name whose padding wraps around", 8, {0xFD, 0xFF, 0xFF, 0xFF}},
        {"an odd length of a name", 8, {5, 0, 0, 0}},
        {"a name without its null", 8, {4, 0, 0, 0}},
        {"an empty name entry", 8, {0, 0, 0, 0}},
        {"a binary value", 20, {1, 0, 1, 0}},
        {"a value of another type", 20, {2, 0, 5, 0}},
        {"a number of two bytes", 24, {2, 0, 0, 0}},
        {"a value where the end mark is due", 32, {2, 0, 1, 0}},
        {"a text without its null", 52, {4, 0, 0, 0}},
        {"a text longer than the list", 52, {0, 0, 0, 0x80}},
    };
    for (const auto& row : rows) EXPECT_FALSE(Reads(With(row.at, row.bytes))) << row.what;
}

TEST(AValueList, GrowsByPaddedEntries) {
    Bytes list;
    AppendValueEntry(list, CLUSPROP_SYNTAX_DISK_SIGNATURE, DWORD{0x0A1B2C3D});
    AppendValueEntry(list, CLUSPROP_SYNTAX_PARTITION_INFO, Bytes{7, 8, 9, 10, 11});
    EXPECT_EQ((Bytes{2, 0, 5, 0, 4, 0, 0, 0, 0x3D, 0x2C, 0x1B, 0x0A,  //
                     1, 0, 8, 0, 5, 0, 0, 0, 7,    8,    9,    10,   11, 0, 0, 0}),
              list);
}
