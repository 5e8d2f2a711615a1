#include <ostra/network/TCPIPAddress.h>

#include <platform/base/text.h>
#include <platform/framework/CArchive.h>
#include <tests/support/CapturedOutput.h>

#include <gtest/gtest.h>
#include <array>
#include <sstream>

namespace {

using platform::ToUtf8;

TCPIPAddress Address(const std::wstring& text) {
    return {text, L"255.255.255.0", L"10.0.0.254", L"Public"};
}

TEST(AnAddressText, IsCheckedForItsCharactersItsUnitsAndTheirValues) {
    struct Kind {
        int legal, sequence, valid;
        StringArray texts;
    };
    const Kind kinds[] = {
        {1, 1, 1, {L"10.20.30.40", L"255.255.255.255", L"10.1", L"", L"1.2.3.", L"007.08.1.2"}},
        {1, 1, 0, {L"10.20.30.256", L"256.1.1.1", L"1.300.1.1", L"1.1.300.1", L"300", L"1.2.3.4294967296"}},
        {0, 1, 0, {L"10.20.a.1", L"-1.2.3.4", L" 1.2.3.4", L"1.2.3.\u0664"}},
        {1, 0, 0, {L"1..2.3", L".1.2.3", L"1.2..", L".", L"1.2.3.4.5", L"1.2.3.4."}},
    };
    for (const Kind& kind : kinds) {
        for (const std::wstring& text : kind.texts) {
            EXPECT_EQ(kind.legal, Address(text).ContainsOnlyLegalCharacters()) << ToUtf8(text);
            EXPECT_EQ(kind.sequence, Address(text).IsValidSequence()) << ToUtf8(text);
            EXPECT_EQ(kind.valid, Address(text).IsValid()) << ToUtf8(text);
        }
    }
    const std::pair<const wchar_t*, std::array<int, 4>> units[] = {
        {L"1.2.3.4", {1, 2, 3, 4}},   {L"10.1", {10, 0, 0, 1}},
        {L"7", {0, 0, 0, 7}},         {L"1.2.3.", {1, 2, 3, 0}},
        {L"1.2.3.4.5", {1, 2, 3, 5}}, {L"a.2b. 3.-4", {0, 2, 3, -4}},
        {L"..9.8", {0, 0, 9, 8}},     {L"4294967297.1.1.1", {2147483647, 1, 1, 1}},
    };
    for (const auto& [text, octets] : units)
        for (int n = 1; n <= 4; ++n)
            EXPECT_EQ(octets.at(static_cast<std::size_t>(n) - 1), Address(text).GetOctetInInt(n)) << ToUtf8(text);
    for (const int n : {-1, 0, 5, 2147483647}) EXPECT_EQ(0, Address(L"1.2.3.4").GetOctetInInt(n)) << n;
}

TEST(AnOctet, IsUsableWithinTheRowOfItsMaskAlone) {
    tests::CapturedOutput output;
    const TCPIPAddress address;
    const auto usable = [&](unsigned int mask) {
        std::vector<unsigned int> values;
        for (unsigned int value = 0; value <= 300; ++value)
            if (address.IsValidAddress(value, mask)) values.push_back(value);
        return values.empty() ? std::array{0u, 0u, 0u}
                              : std::array{values.front(), values.back(), static_cast<unsigned int>(values.size())};
    };
    EXPECT_EQ((std::array{1u, 62u, 62u}), usable(0));
    EXPECT_EQ((std::array{65u, 126u, 62u}), usable(64));
    EXPECT_EQ((std::array{129u, 191u, 63u}), usable(128));
    EXPECT_EQ((std::array{193u, 254u, 62u}), usable(192));
    for (const unsigned int mask : {224u, 240u, 248u, 252u})
        EXPECT_EQ((std::array{mask + 1, 254u, 254u - mask}), usable(mask));
    for (const unsigned int mask : {1u, 32u, 254u, 255u, 256u, 0xFFFFFFFFu}) EXPECT_EQ(0u, usable(mask)[2]) << mask;
    output.Take();
    address.IsValidAddress(62, 0);
    EXPECT_EQ(L"TCPIPAddress::IsValidAddress( ). address:62, mask:0\nTCPIPAddress::IsValidAddress( ). valid:1\n",
              output.Text());
}

TEST(Addresses, CompareByLengthThenByText) {
    const wchar_t* const ascending[] = {L"", L"9.1.1.1", L"10.0.0.1", L"9.1.1.10", L"10.0.0.01"};
    for (std::size_t left = 0; left < std::size(ascending); ++left) {
        for (std::size_t right = 0; right < std::size(ascending); ++right) {
            const TCPIPAddress a = Address(ascending[left]);
            const TCPIPAddress b = Address(ascending[right]);
            EXPECT_EQ(left == right, a == b && !(a != b));
            EXPECT_EQ(left > right, a > b) << left << ' ' << right;
            EXPECT_EQ(left < right, a < b) << left << ' ' << right;
        }
    }
    EXPECT_TRUE(Address(L"10.0.0.1") == TCPIPAddress(L"10.0.0.1", L"", L"", L"Private"));
}

TEST(AnAddressRecord, TravelsThroughStreamsAndArchives) {
    std::stringstream stream;
    stream << Address(L"10.0.0.2") << " rest";
    TCPIPAddress read = Address(L"");
    stream >> read;
    EXPECT_EQ(L"10.0.0.2 Public", read.Address() + L" " + read.AdapterName());

    std::vector<BYTE> bytes;
    CArchive out(bytes, CArchive::Mode::Store);
    out << Address(L"10.0.0.3");
    CArchive in(bytes, CArchive::Mode::Load);
    TCPIPAddress loaded;
    in >> loaded;
    tests::CapturedOutput output;
    loaded.Info();
    EXPECT_EQ(L" _address        : 10.0.0.3\n _adapterAddress : 10.0.0.254\n _adapterName    : Public\n",
              output.Text());
}

}  // namespace
