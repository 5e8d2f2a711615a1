#include <ostra/properties/Properties.h>

#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/PropertyList.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/TemporaryHome.h>

#include <algorithm>
#include <cstring>

namespace {

using Bytes = std::vector<BYTE>;

struct List : Properties {
    using Properties::_bufferLength;
    using Properties::_streamSize;

    Bytes Built() const { return {PropertyStreams(), PropertyStreams() + CurrentStreamSize()}; }
    void Build(const StringArray& parameters) { BuildPropertyList(&parameters); }

    /// Parses what a service could have returned, with other bytes behind it in the buffer.
    StringArray Parsed(const Bytes& answer) {
        std::memset(_buffer, 'x', BufferSize);
        std::copy(answer.begin(), answer.end(), _buffer);
        _streamSize = static_cast<DWORD>(answer.size());
        EmptyPropertyList();
        Parse();
        StringArray texts;
        for (const auto& property : _properties) texts.push_back(property->Name() + L"=" + property->Value());
        return texts;
    }
};

class APropertyList : public testing::Test {
protected:
    tests::TemporaryHome home;
    tests::CapturedEvents events;
    List list;
};

TEST_F(APropertyList, HoldsNameValueAndEndMarkOfEachPropertyPaddedToFourBytes) {
    EXPECT_EQ(0U, list.PropertyCount());
    list.Build({L"Port=REG_DWORD:127", L"D=REG_SZ:G:"});
    EXPECT_EQ((Bytes{2,   0, 0,   0,                                              // count
                     3,   0, 4,   0, 10,  0, 0,   0,                              // name entry
                     'P', 0, 'o', 0, 'r', 0, 't', 0, 0,   0, 0,   0,              // padded
                     2,   0, 1,   0, 4,   0, 0,   0, 127, 0, 0,   0,              // number
                     0,   0, 0,   0,                                              // end mark
                     3,   0, 4,   0, 4,   0, 0,   0, 'D', 0, 0,   0,              //
                     3,   0, 1,   0, 6,   0, 0,   0, 'G', 0, ':', 0, 0, 0, 0, 0,  // text
                     0,   0, 0,   0}),                                            //
              list.Built());
    EXPECT_EQ(list.Built().size() + 4, list._bufferLength);
}

TEST_F(APropertyList, TakesItsPropertiesFromParameterStrings) {
    list.Build({L"Low=REG_DWORD:4294967295", L"Skipped=REG_MULTI_SZ:a", L"Nothing", L"Minus=REG_DWORD: -2x",
                L"Text=REG_SZ:a=b:c", L"=REG_SZ:Gr\u00fcn \U0001F600", L"REG_SZ:no mark", L"Type=:none"});
    const std::wstring message = L"Set funciton not implemented for this data type:";
    EXPECT_EQ((StringArray{message + L"REG_MULTI_SZ", message, message}), events.TakeTexts());
    EXPECT_EQ(5U, list.PropertyCount());
    std::vector<platform::PropertyValue> decoded;
    ASSERT_TRUE(platform::DecodePropertyList(list.Built(), decoded));
    EXPECT_EQ(list.Built(), platform::EncodePropertyList(decoded)) << "the other end of the wire";
    EXPECT_EQ((StringArray{L"Low=-1", L"Minus=-2", L"Text=a=b:c", L"=Gr\u00fcn \U0001F600", L"=no mark"}),
              list.Parsed(list.Built()));
    SetLastError(77);
    list.Build({});
    EXPECT_EQ(nullptr, list.PropertyStreams());
    EXPECT_EQ(77U, GetLastError());
    list.Build({L"A=REG_BINARY:1"});
    EXPECT_EQ(platform::error::InvalidParameter, GetLastError());
    EXPECT_EQ(L"", Property().Name() + Property().Value());
}

TEST_F(APropertyList, IsReadAsFarAsItIsWellFormedAndNeverBehindTheBytesThatCameBack) {
    list.Build({L"A=REG_SZ:first", L"B=REG_DWORD:2", L"C=REG_SZ:third"});
    const Bytes whole = list.Built();
    const StringArray all = {L"A=first", L"B=2", L"C=third"};
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const StringArray parsed = list.Parsed({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        ASSERT_LE(parsed.size(), all.size());
        EXPECT_TRUE(std::equal(parsed.begin(), parsed.end(), all.begin())) << size;
    }
    for (const std::size_t at : {0U, 8U, 20U, 32U, 44U}) {  // the count, and lengths
        Bytes longer = whole;
        std::fill_n(longer.begin() + static_cast<std::ptrdiff_t>(at), 4, BYTE{0xFF});
        EXPECT_LE(list.Parsed(longer).size(), 3U) << at;
    }
    EXPECT_EQ((StringArray{L"A=5"}),
              list.Parsed({3, 0, 0, 0, 3, 0, 4, 0, 4,   0, 0, 0, 'A', 0, 0, 0,     // name,
                           1, 0, 1, 0, 3, 0, 0, 0, 7,   7, 7, 0, 0,   0, 0, 0,     // binary, mark
                           3, 0, 4, 0, 4, 0, 0, 0, 'A', 0, 0, 0, 0,   0, 0, 0,     // name, mark
                           3, 0, 4, 0, 4, 0, 0, 0, 'A', 0, 0, 0,                   // name,
                           2, 0, 1, 0, 4, 0, 0, 0, 5,   0, 0, 0, 0,   0, 0, 0}));  // number, mark
    EXPECT_EQ((StringArray{L"AB=C"}),  // texts without a null end with their entry
              list.Parsed({1, 0, 0, 0, 3, 0, 4, 0, 4, 0, 0, 0, 'A', 0, 'B', 0, 3, 0, 1, 0, 2, 0, 0, 0, 'C', 0}));
    EXPECT_EQ((StringArray{}),  // a number of two bytes
              list.Parsed({1, 0, 0, 0, 3, 0, 4, 0, 2, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0, 2, 0, 0, 0, 1, 0, 0, 0}));
}

TEST_F(APropertyList, ThatOutgrowsItsBufferIsDroppedWhole) {
    // Count 4, name entry 12, text entry 8 + text and end mark 4, and 4 bytes kept free behind the list.
    const std::size_t room = (Properties::BufferSize - 4 - 12 - 12 - 4) / 2 - 1;
    list.Build({L"A=REG_SZ:" + std::wstring(room, L'x')});
    EXPECT_EQ(1U, list.PropertyCount());
    EXPECT_EQ(Properties::BufferSize, list._bufferLength);
    EXPECT_EQ(0, list.AddPropertyToStream(Property(L"B", 1, CLUSPROP_FORMAT_DWORD)));
    EXPECT_EQ(1U, list.PropertyCount());
    list.Build({L"A=REG_SZ:" + std::wstring(room + 1, L'x')});
    EXPECT_EQ(nullptr, list.PropertyStreams());
    EXPECT_EQ(platform::error::InsufficientBuffer, GetLastError());
    EXPECT_EQ(1U, events.Take().size());
}

TEST_F(APropertyList, CopiedGoesOnInABufferOfItsOwn) {
    list.Build({L"A=REG_DWORD:1"});
    const Bytes one = list.Built();
    List copy(list);
    EXPECT_EQ(1, copy.AddPropertyToStream(Property(L"B", 2, CLUSPROP_FORMAT_DWORD)));
    EXPECT_EQ(one, list.Built());
    EXPECT_EQ((StringArray{L"A=1", L"B=2"}), list.Parsed(copy.Built()));
}

}  // namespace
