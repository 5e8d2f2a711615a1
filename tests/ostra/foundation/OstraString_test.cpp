#include <ostra/foundation/CommandLineParameters.h>
#include <ostra/foundation/OstraString.h>

#include <gtest/gtest.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

#include <sstream>

namespace {

class AString : public testing::Test {
protected:
    tests::TemporaryHome home;
};

TEST_F(AString, SplitsIntoWordsAtRunsOfAnyOfItsSeparators) {
    const std::pair<const wchar_t*, StringArray> rows[] = {
        {L"a  b,c", {L"a", L"b", L"c"}}, {L" ,a, ", {L"a"}}, {L"", {}}, {L" , ", {}}, {L"abc", {L"abc"}},
    };
    for (const auto& [text, words] : rows) {
        const OstraString string(text, L" ,");
        StringArray split;
        for (int n = 1; n <= string.WordCount(); ++n) split.push_back(string.Word(n));
        EXPECT_EQ(words, split) << text;
        EXPECT_EQ(L"", string.Word(string.WordCount() + 1)) << text;
        EXPECT_EQ(string.Word(1), string.Word(-7)) << text;
    }
    OstraString string(L"a  b,c", L" ,");
    EXPECT_EQ(L"b c", string.Words(2));
    EXPECT_EQ(L"", string.Words(4));
    string.SetSeperator(L"; a separator set longer than the one before");
    EXPECT_EQ(L",c", string.Word(1));
}

TEST_F(AString, GivesThePieceBetweenASeparatorAndTheEndSeparator) {
    const struct {
        const wchar_t *text, *separator, *end;
        int n;
        const wchar_t* piece;
    } rows[] = {
        {L"x:y#z", L":", L"#", 1, L"y"},
        {L"x:y#z", L":", nullptr, 1, L""},
        {L":y#z", L":", L"#", 1, L"y"},
        {L"a:b:c#", L":", L"#", 2, L"c"},
        {L"a:b#c:d#", L":", L"#", 0, L"a:b"},
        {L"a:b#", L":", L"#", 9, L"b"},
        {L"a::b#", L"::", L"#", 1, L":b"},
        {L"a:b", L":", L"#", 1, L""},
        {L"File Share for Sales(2)", L"(", L")", 1, L"2"},
    };
    for (const auto& [text, separator, end, n, piece] : rows)
        EXPECT_EQ(piece, OstraString(text, separator, end).FrankedWord(n)) << text << L" " << n;
}

TEST_F(AString, ReadsNumbersAndPassesThroughStreams) {
    const OstraString original(L" 42 Gr\u00fcn(3)", L"(", L")");
    OstraString copy(original), read(L"", L" ");
    copy.SetSeperator(L" ");
    EXPECT_EQ(L"3", original.FrankedWord(1));
    EXPECT_EQ(54, original.AsLONG() + original.AsInt(L"12abc"));
    EXPECT_EQ(4294967295U, original.AsDWORD(L"4294967295"));
    EXPECT_EQ(0, OstraString(static_cast<const wchar_t*>(nullptr), nullptr).WordCount());
    std::stringstream narrow;
    narrow << original << '\n' << original;
    narrow >> read;
    std::wstringstream wide;
    wide << read;
    EXPECT_EQ(L" 42 Gr\u00fcn(3)", wide.str());
}

TEST(ACommandLine, FallsApartIntoParametersAndKnownFlags) {
    tests::CapturedOutput output;
    CommandLineParameters empty;
    ParseCommandLine(StringArray{}, empty);
    EXPECT_TRUE(empty.ParameterList().empty() && empty.FlagList().empty() && output.Text().empty());

    CommandLineParameters parameters;
    ParseCommandLine(StringArray{L"a", L"-t", L"/T", L"-x", L"b", L"/t"}, parameters);
    EXPECT_EQ((StringArray{L"a", L"b"}), parameters.ParameterList());
    EXPECT_EQ((StringArray{L"t", L"t"}), parameters.FlagList());
    EXPECT_TRUE(output.Text().starts_with(
        L"CommandLineParameters::ParseParam( ). a\nCommandLineParameters::ParseParam( ). t\n"));
}

}  // namespace
