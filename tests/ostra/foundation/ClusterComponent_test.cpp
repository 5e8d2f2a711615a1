#include <ostra/foundation/ClusterComponent.h>

#include <gtest/gtest.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

namespace {

struct Thing : ClusterComponent {
    explicit Thing(const std::wstring& name = {}) { _name = name; }
    int Status(int argument) override {
        asked.push_back(argument);
        SetStatus(7, L"Seven");
        return 1;
    }
    using ClusterComponent::_clusterPtr, ClusterComponent::_commonAttributes, ClusterComponent::_iD;
    using ClusterComponent::_name, ClusterComponent::_privateAttributes, ClusterComponent::Error;

    std::vector<int> asked;
};

struct Collection : ClusterComponents {
    using ClusterComponents::_iD, ClusterComponents::_tag;
    using ClusterComponents::ClusterComponents, ClusterComponents::operator=;
};

class AComponent : public testing::Test {
protected:
    tests::TemporaryHome home;
    tests::CapturedOutput output;
    Collection things{L"Things"};
    Thing a{L"A"}, b{L"B"};
};

using ACollection = AComponent;

TEST_F(ACollection, FindsMembersByTheirPresentNamesAndDeletesThemByTheNamesTheyWereAddedUnder) {
    Thing late(L"A");
    things.Add(static_cast<ClusterComponent*>(nullptr));
    things.Add(static_cast<ClusterComponents*>(nullptr));
    things.Delete(L"");
    EXPECT_EQ(0, things.JustChanged());
    for (Thing* thing : {&b, &a, &late}) things.Add(thing);
    EXPECT_EQ(1, things.JustChanged());
    EXPECT_EQ(0, things.JustChanged());
    EXPECT_EQ(&late, things.Find(L"A"));
    tests::CapturedMessageBoxes boxes;
    EXPECT_EQ(2, things.Info(L"All"));
    EXPECT_EQ((tests::CapturedMessageBoxes::Box{L"A\nB\n", L"All", MB_ICONINFORMATION}), boxes.boxes.at(0));

    late._name = L"B";
    EXPECT_EQ(&late, things.Find(L"B")) << "the first in key order, though another has the name as its key";
    EXPECT_EQ(nullptr, things.Find(L"A"));
    EXPECT_EQ(nullptr, things.Find(L"b"));
    late._name.clear();
    EXPECT_EQ(nullptr, things.Find(L""));
    things.Delete(L"A");
    EXPECT_EQ(1, things.JustChanged());
    EXPECT_EQ(1, things.NumberOfComponents());
}

TEST_F(ACollection, TakesOverMembersWhenAddedToAnotherAndOnlyTheTitleWhenAssigned) {
    Collection other(L"Others");
    other._iD = 4;
    other.Add(&a);
    things = other;
    EXPECT_TRUE(things == other && things.Name() == L"Others" && things.NumberOfComponents() == 0);
    other._tag = 1;
    EXPECT_TRUE(things != &other);
    a._name = L"C";
    things.Add(&other);
    things.Add(&things);
    things.Delete(L"C");
    EXPECT_EQ(0, things.NumberOfComponents());
}

TEST_F(AComponent, CopiesIdentifierAndErrorOnlyAndAssignsItsPlaceInTheCluster) {
    a._iD = 3;
    a._clusterPtr = &b;
    a.SetClusterHandle(reinterpret_cast<HCLUSTER>(std::uintptr_t{5}));
    a._commonAttributes[L"Type"] = L"IP Address";
    a.Error()->GetErrorString(5);
    a.SetError(5, L"denied");
    Thing copy(a);
    EXPECT_EQ(3, copy.ID());
    EXPECT_EQ(a.Error()->ErrorString(), copy.Error()->ErrorString());
    EXPECT_TRUE(copy.Name().empty() && !copy.ClusterHandle() && copy.GetErrorCode() == 0);
    static_cast<ClusterComponent&>(copy) = &a;
    EXPECT_TRUE(copy.Name() == L"A" && copy.ClusterHandle() == a.ClusterHandle() && copy.ClusterPtr() == &b);
    EXPECT_TRUE(copy.CommonAttributes()->empty());
}

TEST_F(AComponent, OwnsWhatItAddsAndAnswersItsLastErrorItsStateReadAnewAndItsAttributes) {
    EXPECT_EQ(1, a.Add(&things, &b));
    EXPECT_EQ(&a, b.CurrentOwner());
    EXPECT_EQ(1, a.Add(&things, nullptr));
    EXPECT_EQ(0, a.Add(nullptr, &b));

    EXPECT_EQ(L"0", std::to_wstring(a.GetErrorCode()) + a.GetErrorString());
    EXPECT_EQ(1, a.SetError(5, L"Access is denied."));
    EXPECT_EQ(2, a.SetError(7, L""));
    EXPECT_EQ(L"7error 7", std::to_wstring(a.GetErrorCode()) + a.GetErrorString());
    EXPECT_EQ(7U, a.StatusCode(5));
    EXPECT_EQ(L"Seven", a.StatusString(5));
    EXPECT_EQ((std::vector<int>{0, 5}), a.asked);

    a._commonAttributes[L"Type"] = L"common";
    a._privateAttributes[L"Type"] = L"private";
    EXPECT_EQ(L"common private", a.GetCommonAttribute(L"Type") + L" " + a.GetPrivateAttribute(L"Type"));
    EXPECT_EQ(L"", a.GetCommonAttribute(L"type"));
}

TEST_F(AComponent, TracesToStandardOutputUnchangedAndCutAtTheTraceBuffer) {
    a.printf(L"%ws is %d\n", L"Gr\u00fcn", 100);
    a.printf("%s has %ws\n", "100%", L"%d");
    EXPECT_EQ(L"Gr\u00fcn is 100\n100% has %d\n", output.Take());
    a.printf(L"%s", std::wstring(600, L'x').c_str());
    EXPECT_EQ(std::wstring(511, L'x'), output.Take());
    std::string twoByteCharacters;
    for (int index = 0; index < 300; ++index) twoByteCharacters += "\u00fc";
    a.printf("%s", twoByteCharacters.c_str());
    EXPECT_EQ(std::wstring(255, L'\u00fc'), output.Take()) << "511 bytes, and no half of a character";
    platform::SetOutputSink(&platform::SilentOutput());
    a.printf("%s", reinterpret_cast<const char*>(std::uintptr_t{1}));  // what nobody reads is not put together
    platform::SetOutputSink(&output);
}

}  // namespace
