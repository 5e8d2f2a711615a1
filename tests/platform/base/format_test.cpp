#include <platform/base/format.h>

#include <gtest/gtest.h>

#include <limits>

using namespace platform;

namespace {

constexpr const wchar_t* noWideText = nullptr;
constexpr const char* noNarrowText = nullptr;

TEST(WideFormats, TakeWideTextsUnlessTheFormatSaysNarrow) {
    EXPECT_EQ(L"wä/wä/wä/né/né", Format(L"%s/%ws/%ls/%hs/%S", L"wä", L"wä", L"wä", "n\xC3\xA9", "n\xC3\xA9"));
    EXPECT_EQ(L"ä€x", Format(L"%c%wc%hc", L'ä', L'€', 'x'));
    EXPECT_EQ(L"(null)(null)|    (null)", Format(L"%s%hs|%10ws", noWideText, noNarrowText, noWideText));
    EXPECT_EQ(L"", Format(noWideText));
}

TEST(NarrowFormats, TakeNarrowTextsUnlessTheFormatSaysWide) {
    EXPECT_EQ("n\xC3\xA9/w\xC3\xA4/w\xC3\xA4/w\xC3\xA4", Format("%s/%ws/%ls/%S", "n\xC3\xA9", L"wä", L"wä", L"wä"));
    EXPECT_EQ("x\xE2\x82\xAC", Format("%c%wc", 'x', L'€'));
    EXPECT_EQ("(null)(null)", Format("%s%ws", noNarrowText, noWideText));
    EXPECT_EQ("", Format(noNarrowText));
}

TEST(Formats, PadCutAndSignAsUsual) {
    EXPECT_EQ(L"[   ab][ab   ][a][][ab]", Format(L"[%5s][%-5s][%.1s][%.0s][%.9s]", L"ab", L"ab", L"ab", L"ab", L"ab"));
    EXPECT_EQ(L"[   7][7   ][0007][+7][ 7][007]", Format(L"[%4d][%-4d][%04d][%+d][% d][%.3d]", 7, 7, 7, 7, 7, 7));
    EXPECT_EQ(L"ff FF 0xff 377 4294967295 100%", Format(L"%x %X %#x %o %u %d%%", 255, 255, 255, 255, -1, 100));
    EXPECT_EQ(L"[  7][7  ][ab]", Format(L"[%*d][%*d][%.*s]", 3, 7, -3, 7, 2, L"abc"));
    EXPECT_EQ(L"[7][abc]", Format(L"[%.*d][%.*s]", -1, 7, -1, L"abc"));
    EXPECT_EQ(L"0x10", Format(L"%p", reinterpret_cast<void*>(16)));
}

TEST(Formats, ReadIntegersInTheSizesOfThePublishedInterfaces) {
    EXPECT_EQ(L"-1 4294967295", Format(L"%ld %lu", LONG{-1}, DWORD{0xFFFFFFFF}));
    EXPECT_EQ(L"-1 65535 -1 255", Format(L"%hd %hu %hhd %hhu", 0xFFFF, 0xFFFF, 0xFF, 0xFF));
    EXPECT_EQ(L"1099511627776 -1099511627776", Format(L"%lld %I64d", 1LL << 40, -(1LL << 40)));
    EXPECT_EQ(L"-2147483648 7", Format(L"%I32d %d", std::numeric_limits<int>::min(), 7));
}

TEST(Formats, ReadNoMoreOfATextThanThePrecisionAllows) {
    const wchar_t wide[] = {L'a', L'b', L'c'};
    const char narrow[] = {'a', '\xC3', '\xA9', '\xE2', '\x82', '\xAC'};
    EXPECT_EQ(L"abc", Format(L"%.3s", wide));
    EXPECT_EQ(L"aé€", Format(L"%.6hs", narrow));
    EXPECT_EQ(L"aé", Format(L"%.5hs", narrow));  // the euro sign is cut: left out whole
    EXPECT_EQ(L"aé", Format(L"%.3hs", narrow));
    EXPECT_EQ(L"a", Format(L"%.2hs", narrow));
}

TEST(Formats, CopyUnknownConversionsAndTakeNoArgumentForThem) {
    EXPECT_EQ(L"%y%n%f %wd 7", Format(L"%y%n%f %wd %d", 7));
    EXPECT_EQ(L"%-08.3lq 7", Format(L"%-08.3lq %d", 7));
    for (const wchar_t* cut : {L"a%", L"a%-", L"a%5", L"a%5.", L"a%5.2l", L"a%I64"}) EXPECT_EQ(cut, Format(cut));
    EXPECT_EQ("100%", Format("100%"));
}

TEST(Formats, BoundWhatAHostileWidthAsksFor) {
    EXPECT_EQ(4096U, Format(L"%99999999999999999999d", 7).size());
    EXPECT_EQ(4096U, Format(L"%*s", std::numeric_limits<int>::max(), L"x").size());
    EXPECT_EQ(L'x', Format(L"%*s", std::numeric_limits<int>::min(), L"x").front());
    EXPECT_EQ(4097U, Format(L"%.99999999999999999999d", -7).size());
    EXPECT_EQ(4098U, Format(L"%#9999.9999x", 7).size());
    const std::wstring longText(10000, L'x');
    EXPECT_EQ(longText, Format(L"%.9999999999s", longText.c_str()));
}

}  // namespace
