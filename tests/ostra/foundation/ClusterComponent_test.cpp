#include <ostra/foundation/ClusterComponent.h>

#include <gtest/gtest.h>
#include <platform/framework/CComboBox.h>
#include <platform/framework/CStatusBar.h>
#include <tests/support/CapturedMessageBoxes.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

namespace {

class Thing : public ClusterComponent {
public:
    explicit Thing(const std::wstring& name = {}) { _name = name; }
    int Status(int argument) override {
        asked.push_back(argument);
        SetStatus(7, L"Seven");
        return 1;
    }
    using ClusterComponent::_clusterHandle;
    using ClusterComponent::_clusterPtr;
    using ClusterComponent::_commonAttributes;
    using ClusterComponent::_debug;
    using ClusterComponent::_iD;
    using ClusterComponent::_name;
    using ClusterComponent::_privateAttributes;
    using ClusterComponent::ClusterComponentsPtr;
    using ClusterComponent::Error;

    std::vector<int> asked;
};

struct Collection : ClusterComponents {
    using ClusterComponents::ClusterComponents;
    using ClusterComponents::operator=;
    using ClusterComponents::_iD;
    using ClusterComponents::_tag;
};

class ACollection : public testing::Test {
protected:
    tests::TemporaryHome home;
    tests::CapturedOutput output;
    Collection things{L"Things"};
};

TEST_F(ACollection, KeepsTheLaterOfTwoMembersAddedUnderOneNameAndOwnsNeither) {
    Thing first(L"A"), second(L"A");
    EXPECT_EQ(0, things.Add(&first));
    EXPECT_EQ(0, things.Add(&second));
    EXPECT_EQ(1, things.NumberOfComponents());
    EXPECT_EQ(&second, things.Find(L"A"));
    things.Delete(L"A");
    EXPECT_EQ(L"A", second.Name());
    EXPECT_EQ(0, things.NumberOfComponents());
}

TEST_F(ACollection, FindsByThePresentNameAndDeletesByTheNameThatAMemberWasAddedUnder) {
    Thing early(L"A"), late(L"B");
    things.Add(&early);
    things.Add(&late);
    early._name = L"B";
    EXPECT_EQ(&early, things.Find(L"B")) << "the first in key order, though another has the name as its key";
    EXPECT_EQ(nullptr, things.Find(L"A"));
    EXPECT_EQ(nullptr, things.Find(L"b"));
    early._name.clear();
    EXPECT_EQ(nullptr, things.Find(L""));
    things.Delete(L"A");
    EXPECT_EQ(1, things.NumberOfComponents());
}

TEST_F(ACollection, SaysOnceThatItChanged) {
    EXPECT_EQ(0, things.JustChanged());
    things.Add(static_cast<ClusterComponent*>(nullptr));
    things.Add(static_cast<ClusterComponents*>(nullptr));
    things.Delete(L"");
    EXPECT_EQ(0, things.JustChanged());
    Thing thing(L"A");
    things.Add(&thing);
    EXPECT_EQ(1, things.JustChanged());
    EXPECT_EQ(0, things.JustChanged());
    things.Delete(L"A");
    EXPECT_EQ(1, things.JustChanged());
}

TEST_F(ACollection, TakesOverTheMembersOfAnotherUnderTheirPresentNames) {
    Thing a(L"A"), b(L"B");
    ClusterComponents others;
    others.Add(&a);
    others.Add(&b);
    a._name = L"C";
    things.Add(&others);
    things.Add(&things);
    EXPECT_TRUE(things.Find(L"B") && things.Find(L"C"));
    EXPECT_EQ(2, things.NumberOfComponents());
}

TEST_F(ACollection, CopiesAndComparesItsTitleButNeverItsMembers) {
    Thing a(L"A");
    Collection other(L"Others");
    other._iD = 4;
    other.Add(&a);
    EXPECT_FALSE(things == other);
    output.Take();
    EXPECT_EQ(&things, things = other);
    EXPECT_EQ(
        L"ClusterComponents::operator=( ClusterComponents& ). On entry.\n =-=-=- A\n"
        L"ClusterComponents::operator=( ClusterComponents& ). On exit.\n",
        output.Take());
    EXPECT_TRUE(things == other && things == &other);
    EXPECT_EQ(L"Others", things.Name());
    EXPECT_EQ(0, things.NumberOfComponents());
    other._tag = 1;
    EXPECT_TRUE(things != other && things != &other);
    things = &other;
    EXPECT_EQ(L"ClusterComponents::operator=( ). On entry.\n", output.Take());
    EXPECT_EQ(&things, &((things + other) + &other));
}

TEST_F(ACollection, ListsItsMembersInAMessageBoxAndAComboBox) {
    struct ComboBox : CComboBox {
        int AddString(const std::wstring& text) override {
            items.push_back(text);
            return 0;
        }
        int SetCurSel(int index) override { return selected = index; }
        StringArray items;
        int selected = -1;
    } box;
    tests::CapturedMessageBoxes boxes;
    Thing b(L"B"), a(L"A");
    things.Add(&b);
    things.Add(&a);
    EXPECT_EQ(2, things.Info(L"All"));
    EXPECT_EQ((tests::CapturedMessageBoxes::Box{L"A\nB\n", L"All", MB_ICONINFORMATION}), boxes.boxes.at(0));
    things >> &box >> nullptr;
    EXPECT_EQ((StringArray{L"A", L"B"}), box.items);
    EXPECT_EQ(0, box.selected);
}

class AComponent : public testing::Test {
protected:
    tests::TemporaryHome home;
    tests::CapturedOutput output;
    Thing thing{L"Node"};
};

TEST_F(AComponent, OwnsWhatItAddsAndAnswersTheCollectionsSize) {
    Thing child(L"Group");
    ClusterComponents index;
    EXPECT_EQ(1, thing.Add(&index, &child));
    EXPECT_EQ(&thing, child.CurrentOwner());
    EXPECT_EQ(1, thing.Add(&index, nullptr));
    EXPECT_EQ(0, thing.Add(nullptr, &child));
}

TEST_F(AComponent, CopiesIdentifierAndErrorOnlyAndAssignsItsPlaceInTheCluster) {
    thing._iD = 3;
    thing._clusterPtr = &thing;
    thing._clusterHandle = reinterpret_cast<HCLUSTER>(std::uintptr_t{5});
    thing._commonAttributes[L"Type"] = L"IP Address";
    thing.Error()->GetErrorString(5);
    thing.SetError(5, L"denied");

    const Thing copy(thing);
    EXPECT_EQ(3, copy.ID());
    EXPECT_EQ(thing.Error()->ErrorString(), Thing(copy).Error()->ErrorString());
    EXPECT_EQ(L"", copy.ClusterComponent::Name());
    EXPECT_EQ(nullptr, copy.ClusterHandle());
    EXPECT_TRUE(copy.CommonAttributes()->empty());
    EXPECT_EQ(0, copy.GetErrorCode());
    EXPECT_NE(thing.ClusterComponentsPtr(), copy.ClusterComponentsPtr());
    EXPECT_NE(thing._debug, copy._debug);

    Thing assigned;
    ClusterComponent& base = assigned;
    output.Take();
    EXPECT_EQ(&base, base = &thing);
    EXPECT_EQ(L"ClusterComponent::operator=( ). On entry.\nClusterComponent::operator=( ). On exit.\n", output.Take());
    EXPECT_EQ(L"Node", assigned.Name());
    EXPECT_EQ(thing.ClusterHandle(), assigned.ClusterHandle());
    EXPECT_EQ(&thing, assigned.ClusterPtr());
    EXPECT_TRUE(assigned.CommonAttributes()->empty());
}

TEST_F(AComponent, GivesItsLastErrorAndNumbersThem) {
    EXPECT_EQ(0, thing.GetErrorCode());
    EXPECT_EQ(L"", thing.GetErrorString());
    EXPECT_EQ(1, thing.SetError(5, L"Access is denied."));
    EXPECT_EQ(2, thing.SetError(7, L""));
    EXPECT_EQ(7, thing.GetErrorCode());
    EXPECT_EQ(L"error 7", thing.GetErrorString());
}

TEST_F(AComponent, ReadsItsStateAnewForEachQuestion) {
    EXPECT_EQ(7U, thing.StatusCode(5));
    EXPECT_EQ(L"Seven", thing.StatusString(5));
    EXPECT_EQ((std::vector<int>{0, 5}), thing.asked);
    EXPECT_EQ(9U, thing.SetStatus(9, L""));
}

TEST_F(AComponent, LooksAttributesUpByTheirExactNames) {
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
            shown += std::to_wstring(pane) + L":" + text + (redraw ? L"\n" : L"");
            return 1;
        }
        void UpdateWindow() override { shown += L"updated\n"; }
        std::wstring shown;
    } bar;
    thing.SetStatusBarText(L"nowhere", 0);
    thing.SetStatusBar(&bar);
    thing.SetStatusBar(nullptr);
    thing.SetStatusBarText(L"Online", 2);
    EXPECT_EQ(L"0:ClusterComponent::SetStatusBar( )\nupdated\n2:Online\n", bar.shown);
}

TEST_F(AComponent, TracesToStandardOutputUnchangedAndCutAtTheTraceBuffer) {
    thing.printf(L"%ws is %d\n", L"Gr\u00fcn", 100);
    thing.printf("%s has %ws\n", "100%", L"%d");
    EXPECT_EQ(L"Gr\u00fcn is 100\n100% has %d\n", output.Take());

    thing.printf(L"%s", std::wstring(600, L'x').c_str());
    EXPECT_EQ(std::wstring(511, L'x'), output.Take());
    thing.printf("%s", ("x" + std::string(600, 'y')).c_str());
    EXPECT_EQ(511U, output.Take().size());
    std::string twoByteCharacters;
    for (int index = 0; index < 300; ++index) twoByteCharacters += "\u00fc";
    thing.printf("%s", twoByteCharacters.c_str());
    EXPECT_EQ(std::wstring(255, L'\u00fc'), output.Take()) << "511 bytes, and no half of a character";
}

}  // namespace
