#include <ostra/foundation/ClusterComponent.h>

#include <gtest/gtest.h>
#include <platform/framework/CStatusBar.h>
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
    using ClusterComponent::_clusterPtr, ClusterComponent::_commonAttributes, ClusterComponent::_debug;
    using ClusterComponent::_iD, ClusterComponent::_name, ClusterComponent::_privateAttributes;
    using ClusterComponent::ClusterComponentsPtr, ClusterComponent::Error;

    std::vector<int> asked;
};

struct Collection : ClusterComponents {
    using ClusterComponents::_iD, ClusterComponents::_tag;
    using ClusterComponents::ClusterComponents, ClusterComponents::operator=;
};

class ACollection : public testing::Test {
protected:
    tests::TemporaryHome home;
    tests::CapturedOutput output;
    Collection things{L"Things"};
    Thing a{L"A"}, b{L"B"};
};

TEST_F(ACollection, ListsAndFindsMembersByTheirPresentNamesAndDeletesThemByTheNamesTheyWereAddedUnder) {
    Thing late(L"A");
    things.Add(&b);
    things.Add(&a);
    things.Add(&late);
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
    EXPECT_EQ(1, things.NumberOfComponents());
}

TEST_F(ACollection, SaysOnceThatItChanged) {
    things.Add(static_cast<ClusterComponent*>(nullptr));
    things.Add(static_cast<ClusterComponents*>(nullptr));
    things.Delete(L"");
    EXPECT_EQ(0, things.JustChanged());
    things.Add(&a);
    EXPECT_EQ(1, things.JustChanged());
    EXPECT_EQ(0, things.JustChanged());
    things.Delete(L"A");
    EXPECT_EQ(1, things.JustChanged());
}

TEST_F(ACollection, TakesOverMembersWhenAddedToAnotherAndOnlyTheTitleWhenAssigned) {
    Collection other(L"Others");
    other._iD = 4;
    other.Add(&a);
    output.Take();
    EXPECT_EQ(&things, things = other);
    EXPECT_EQ(
        L"ClusterComponents::operator=( ClusterComponents& ). On entry.\n =-=-=- A\n"
        L"ClusterComponents::operator=( ClusterComponents& ). On exit.\n",
        output.Take());
    things = &other;
    EXPECT_EQ(L"ClusterComponents::operator=( ). On entry.\n", output.Take());
    EXPECT_TRUE(things == other && things == &other && things.Name() == L"Others");
    EXPECT_EQ(0, (things + other + &other).NumberOfComponents());
    other._tag = 1;
    EXPECT_TRUE(things != other && things != &other);

    a._name = L"C";
    things.Add(&other);
    things.Add(&things);
    EXPECT_EQ(1, things.NumberOfComponents());
    things.Delete(L"C");
    EXPECT_EQ(0, things.NumberOfComponents());
}

class AComponent : public testing::Test {
protected:
    tests::TemporaryHome home;
    tests::CapturedOutput output;
    Thing thing{L"Node"};
};

TEST_F(AComponent, CopiesIdentifierAndErrorOnlyAndAssignsItsPlaceInTheCluster) {
    thing._iD = 3;
    thing._clusterPtr = &thing;
    thing.SetClusterHandle(reinterpret_cast<HCLUSTER>(std::uintptr_t{5}));
    thing._commonAttributes[L"Type"] = L"IP Address";
    thing.Error()->GetErrorString(5);
    thing.SetError(5, L"denied");

    Thing copy(thing);
    EXPECT_EQ(3, copy.ID());
    EXPECT_EQ(thing.Error()->ErrorString(), copy.Error()->ErrorString());
    EXPECT_TRUE(copy.Name().empty() && !copy.ClusterHandle() && copy.CommonAttributes()->empty());
    EXPECT_EQ(0, copy.GetErrorCode());
    EXPECT_TRUE(thing.ClusterComponentsPtr() != copy.ClusterComponentsPtr() && thing._debug != copy._debug);

    ClusterComponent& assigned = copy;
    output.Take();
    EXPECT_EQ(&assigned, assigned = &thing);
    EXPECT_EQ(L"ClusterComponent::operator=( ). On entry.\nClusterComponent::operator=( ). On exit.\n", output.Take());
    EXPECT_TRUE(copy.Name() == L"Node" && copy.ClusterHandle() == thing.ClusterHandle() && copy.ClusterPtr() == &thing);
    EXPECT_TRUE(copy.CommonAttributes()->empty());
}

TEST_F(AComponent, OwnsWhatItAddsAndAnswersItsLastErrorItsStateReadAnewAndItsAttributes) {
    Thing child(L"Group");
    ClusterComponents index;
    EXPECT_EQ(1, thing.Add(&index, &child));
    EXPECT_EQ(&thing, child.CurrentOwner());
    EXPECT_EQ(1, thing.Add(&index, nullptr));
    EXPECT_EQ(0, thing.Add(nullptr, &child));

    EXPECT_EQ(0, thing.GetErrorCode());
    EXPECT_EQ(L"", thing.GetErrorString());
    EXPECT_EQ(1, thing.SetError(5, L"Access is denied."));
    EXPECT_EQ(2, thing.SetError(7, L""));
    EXPECT_EQ(7, thing.GetErrorCode());
    EXPECT_EQ(L"error 7", thing.GetErrorString());

    EXPECT_EQ(7U, thing.StatusCode(5));
    EXPECT_EQ(L"Seven", thing.StatusString(5));
    EXPECT_EQ((std::vector<int>{0, 5}), thing.asked);
    EXPECT_EQ(9U, thing.SetStatus(9, L""));

    thing._commonAttributes[L"Type"] = L"IP Address";
    thing._privateAttributes[L"Type"] = L"private";
    EXPECT_EQ(L"IP Address", thing.GetCommonAttribute(L"Type"));
    EXPECT_EQ(L"private", thing.GetPrivateAttribute(L"Type"));
    EXPECT_EQ(L"", thing.GetCommonAttribute(L"type"));
}

TEST_F(AComponent, ShowsTextsInItsStatusBarOnceItHasOne) {
    struct Bar : CStatusBar {
        BOOL Create(CWnd*, DWORD, UINT) override { return 1; }
        BOOL SetIndicators(const UINT*, int) override { return 1; }
        BOOL SetPaneText(int pane, const std::wstring& text, BOOL redraw) override {
            shown += std::to_wstring(pane) + text + (redraw ? L" drawn " : L" ");
            return 1;
        }
        void UpdateWindow() override { shown += L"updated "; }
        std::wstring shown;
    } bar;
    thing.SetStatusBarText(L"nowhere", 0);
    thing.SetStatusBar(&bar);
    thing.SetStatusBar(nullptr);
    thing.SetStatusBarText(L"Online", 2);
    EXPECT_EQ(L"0ClusterComponent::SetStatusBar( ) drawn updated 2Online drawn ", bar.shown);
}

TEST_F(AComponent, TracesToStandardOutputUnchangedAndCutAtTheTraceBuffer) {
    thing.printf(L"%ws is %d\n", L"Gr\u00fcn", 100);
    thing.printf("%s has %ws\n", "100%", L"%d");
    EXPECT_EQ(L"Gr\u00fcn is 100\n100% has %d\n", output.Take());
    thing.printf(L"%s", std::wstring(600, L'x').c_str());
    EXPECT_EQ(std::wstring(511, L'x'), output.Take());
    std::string twoByteCharacters;
    for (int index = 0; index < 300; ++index) twoByteCharacters += "\u00fc";
    thing.printf("%s", twoByteCharacters.c_str());
    EXPECT_EQ(std::wstring(255, L'\u00fc'), output.Take()) << "511 bytes, and no half of a character";
}

}  // namespace
