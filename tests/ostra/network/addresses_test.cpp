#include <ostra/network/TCPIPAddress.h>

#include <platform/base/text.h>
#include <platform/framework/CArchive.h>
#include <tests/support/CapturedOutput.h>

#include <gtest/gtest.h>
#include <array>

namespace {

using platform::ToUtf8;

TCPIPAddress Address(const std::wstring& text) {
    return {text, L"255.255.255.0", L"10.0.0.254", L"Public"};
}

TEST(AnAddressText, IsCheckedForItsCharactersItsUnitsAndTheirValues) {
    const std::tuple<int, int, int, StringArray> kinds[] = {
        {1, 1, 1, {L"10.20.30.40", L"255.255.255.255", L"10.1", L"", L"1.2.3.", L"007.08.1.2"}},
        {1, 1, 0, {L"10.20.30.256", L"256.1.1.1", L"1.300.1.1", L"1.1.300.1", L"300", L"1.2.3.4294967296"}},
        {0, 1, 0, {L"10.20.a.1", L"-1.2.3.4", L" 1.2.3.4", L"1.2.3.\u0664"}},
        {1, 0, 0, {L"1..2.3", L".1.2.3", L"1.2..", L".", L"1.2.3.4.5", L"1.2.3.4."}},
    };
    for (const auto& [legal, sequence, valid, texts] : kinds) {
        for (const std::wstring& text : texts) {
            EXPECT_EQ(legal, Address(text).ContainsOnlyLegalCharacters()) << ToUtf8(text);
            EXPECT_EQ(sequence, Address(text).IsValidSequence()) << ToUtf8(text);
            EXPECT_EQ(valid, Address(text).IsValid()) << ToUtf8(text);
        }
    }
    const std::pair<const wchar_t*, std::array<int, 4>> units[] = {
        {L"10.1", {10, 0, 0, 1}},       {L"7", {0, 0, 0, 7}},     {L"1.2.3.4.5", {1, 2, 3, 5}},
        {L"a.2b. 3.-4", {0, 2, 3, -4}}, {L"..9.8", {0, 0, 9, 8}}, {L"4294967297.1.1.1", {2147483647, 1, 1, 1}},
    };
    for (const auto& [text, octets] : units)
        for (int n = 1; n <= 4; ++n)
            EXPECT_EQ(octets.at(static_cast<std::size_t>(n) - 1), Address(text).GetOctetInInt(n)) << ToUtf8(text);
    for (const int n : {-1, 0, 5, 2147483647}) EXPECT_EQ(0, Address(L"1.2.3.4").GetOctetInInt(n)) << n;
}

TEST(AnOctet, IsUsableWithinTheRowOfItsMaskAlone) {
    tests::CapturedOutput output;
    const unsigned int rows[][3] = {{0, 1, 62},      {64, 65, 126},   {128, 129, 191}, {192, 193, 254},
                                    {224, 225, 254}, {240, 241, 254}, {248, 249, 254}, {252, 253, 254},
                                    {1, 1, 0},       {32, 1, 0},      {254, 1, 0},     {0xFFFFFFFF, 1, 0}};
    for (const auto& [mask, first, last] : rows)
        for (unsigned int value = 0; value <= 300; ++value)
            EXPECT_EQ(value >= first && value <= last, TCPIPAddress().IsValidAddress(value, mask)) << value;
    output.Take();
    TCPIPAddress().IsValidAddress(62, 0);
    EXPECT_EQ(L"TCPIPAddress::IsValidAddress( ). address:62, mask:0\nTCPIPAddress::IsValidAddress( ). valid:1\n",
              output.Text());
}

TEST(Addresses, CompareByLengthThenByText) {
    const StringArray ascending{L"", L"9.1.1.1", L"10.0.0.1", L"9.1.1.10", L"10.0.0.01"};
    for (const std::wstring& left : ascending) {
        for (const std::wstring& right : ascending) {
            const TCPIPAddress other(right, L"", L"", L"Private");
            EXPECT_EQ(&left == &right, Address(left) == other && !(Address(left) != other));
            EXPECT_EQ(&left > &right, Address(left) > other) << ToUtf8(left + L" " + right);
            EXPECT_EQ(&left < &right, Address(left) < other) << ToUtf8(left + L" " + right);
        }
    }
}

TEST(AnAddressRecord, TravelsThroughArchives) {
    std::vector<BYTE> bytes;
    CArchive out(bytes, CArchive::Mode::Store);
    CArchive in(bytes, CArchive::Mode::Load);
    out << Address(L"10.0.0.3");
    TCPIPAddress read;
    in >> read;
    tests::CapturedOutput output;
    read.Info();
    EXPECT_EQ(L" _address        : 10.0.0.3\n _adapterAddress : 10.0.0.254\n _adapterName    : Public\n",
              output.Text());
}

}  // namespace
