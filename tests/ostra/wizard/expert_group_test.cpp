#include <ostra/wizard/ExpertGroup.h>
#include <tests/ostra/wizard/TemplateCluster.h>

#include <gtest/gtest.h>

using platform::error::AccessDenied;
using tests::Lists;
using tests::Operation;

namespace {

class AnExpertGroup : public tests::TemplateCluster {
protected:
    /// A template without controls; without kinds too when `kinds` is null.
    static void WriteTemplate(const std::wstring& name, const wchar_t* kinds) {
        const std::wstring path = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\Groups\\" + name;
        Registry(path + L"\\GUI\\", L"").Open(nullptr, 0);
        if (!kinds) return;
        Registry components(path + L"\\Components\\", L"");
        components.AddValue(components.Open(nullptr, 0), L"Names", kinds, REG_SZ);
    }
    int Create(const std::wstring& name, const std::wstring& templateName, Lists lists = {}) {
        return ExpertGroup(name, templateName, cluster, L"Test").Create(lists.Pointers(), nullptr, 1);
    }
    /// Of a group as it is discovered, whose object is gone when this returns.
    int Change(const std::wstring& name, const std::wstring& templateName, Lists lists, const StringArray* existing) {
        ::Group discovered(name, cluster, L"Test", 1, 1);
        discovered.Discover(0);
        ExpertGroup group(discovered);
        group.GetWizardGUI(templateName);
        return group.Change(lists.Pointers(), nullptr, existing, 1);
    }
    std::wstring NextIndex(const std::wstring& group) {
        Forget();
        Change(group, L"One", {}, nullptr);
        const std::wstring name = NamesMade().at(0);
        return name.substr(name.rfind(L'('));
    }
};

TEST_F(AnExpertGroup, IsMadeFromItsTemplateResourceByResource) {
    const std::wstring from = L"IIS Virtual Root";
    EXPECT_EQ(1, Create(L"Web", from,
                        FilledIn(from, L"10.1.1.20", L"39487", {{L"Directory:", L"E:\\Web"}, {L"Alias:", L"/Shop"}})));
    EXPECT_EQ((StringArray{L"Physical Disk* {Signature=39487}",
                           L"IP Address* {Address=10.1.1.20, Network=Public, SubnetMask=255.255.255.0}",
                           L"Network Name* needs IP Address* {Name=FILES}",
                           L"File Share* needs Physical Disk*, Network Name* "
                           L"{MaxUsers=4294967295, Path=E:\\Web, Permissions=127, ShareName=FileShare1E}",
                           L"IIS Virtual Root* needs IP Address*, File Share* "
                           L"{AccessMask=1, Alias=/Shop, Directory=E:\\Web, ServiceName=W3SVC}"}),
              Made(L"Web of IIS Virtual Root(1)"));
    EXPECT_TRUE(IsOnline(L"Web"));
}

TEST_F(AnExpertGroup, TakesKindsFromItsTemplateWhateverTheyAre) {
    EXPECT_EQ(1, Create(L"Fish", L"Marlin"));         // comes without kinds, which reads as one without a name
    EXPECT_EQ(1, Create(L"Unknown", L"file share"));  // no such template: no kinds
    WriteTemplate(L"Keyless", nullptr);
    EXPECT_EQ(1, Create(L"Keyless", L"Keyless"));
    EXPECT_EQ(StringArray(), NamesMade());
    EXPECT_TRUE(IsOnline(L"Unknown") && IsOnline(L"Keyless"));
    EXPECT_EQ(static_cast<DWORD>(ClusterGroupOffline), StateOf(L"Fish"));

    // A kind that the library does not know, though the cluster does: it is made without defaults.
    WriteTemplate(L"Database", L"generic service,Time Service");
    Lists lists;
    lists.strings[0] = {L"Instance=REG_SZ:Main"};
    EXPECT_EQ(1, Create(L"Data", L"Database", lists));
    EXPECT_EQ((StringArray{L"generic service* {Instance=Main}", L"Time Service* {}"}), Made(L"Data of Database(1)"));
}

TEST_F(AnExpertGroup, LeavesWhatWasMadeWhenAStepOfItsCreationIsRefused) {
    const std::tuple<Operation, int, std::size_t, bool> rows[] = {
        {Operation::CreateResource, 1, 0, false}, {Operation::CreateResource, 4, 3, false},
        {Operation::AddDependency, 1, 4, true},   {Operation::OnlineGroup, 1, 4, false},
        {Operation::ObjectKey, 1, 4, true},       {Operation::Control, 1, 4, false}};
    const StringArray own = {L"Site=REG_SZ:North"};
    Lists lists = ForFileShare(L"10.1.1.20", L"39487");
    for (const auto& [operation, call, made, isOnline] : rows) {
        const std::wstring name = std::to_wstring(static_cast<int>(operation)) + L"." + std::to_wstring(call);
        SCOPED_TRACE(testing::PrintToString(name));
        Forget();
        ExpertGroup group(name, L"File Share", cluster, L"Test");
        failing->ForgetCalls();
        failing->FailCall(operation, call, AccessDenied);
        EXPECT_EQ(1, group.Create(lists.Pointers(), &own, 1));
        EXPECT_EQ(made, NamesMade().size());
        EXPECT_EQ(static_cast<int>(made), group.ResourcesPtr()->NumberOfComponents());
        EXPECT_EQ(made == 4 ? 1 : 0, failing->Calls(Operation::OnlineGroup));
        EXPECT_EQ(isOnline, IsOnline(name));
        failing->Heal();
        service->OfflineGroup(Group(name));
    }
}

TEST_F(AnExpertGroup, GivesItsShareTheDriveOfTheFirstListAndTheDirectoryOfTheFifth) {
    const std::tuple<StringArray, StringArray, std::wstring> rows[] = {
        {{L"Signature=REG_DWORD:39487", L"Signature=REG_DWORD:-268435455"}, {L"Directory"}, L"FileShare1F "},
        {{L"The Signature=REG_DWORD:39487"}, {L"Alias=REG_SZ:/x"}, L"FileShare1E "},
        {{L"Signatur=REG_DWORD:39487"},  // from its 20th character on
         {L"Alias=REG_SZ:/x", L"Directory=REG_SZ:E:\\Web:2", L"Directory=REG_SZ:E:\\Other"},
         L"FileShare1E E:\\Web:2"},
        {{L"Signature=REG_DWORD:39487", L"Signature="}, {}, L"FileShare1 "},
    };
    int number = 0;
    for (const auto& [disks, roots, expected] : rows) {
        const std::wstring name = L"G" + std::to_wstring(++number);
        EXPECT_EQ(1, Create(name, L"IIS Virtual Root", {.strings = {disks, {}, {}, {}, roots}}));
        auto share = ParametersOf(L"File Share for " + name + L" of IIS Virtual Root(1)");
        EXPECT_EQ(expected, share[L"ShareName"] + L" " + share[L"Path"]);
    }
    for (const std::size_t count : {0U, 1U, 5U})
        EXPECT_EQ(1, ExpertGroup(L"Without " + std::to_wstring(count), L"IIS Virtual Root", cluster, L"Test")
                         .Create(std::vector<StringArray*>(count), nullptr, 1));
}

TEST_F(AnExpertGroup, NumbersNewResourcesAfterTheLargestNumberOfItsOld) {
    WriteTemplate(L"One", L"Generic Service");
    Give(
        {.name = L"X", .resources = {{L"Plain"}, {L"Odd (x)"}, {L"Open (9"}, {L"Minus (-9)"}, {L"X (7)"}, {L"Y (3)"}}});
    EXPECT_EQ(L"(8)", NextIndex(L"X"));
    EXPECT_EQ(L"(9)", NextIndex(L"X"));
    Give(Group(L"X"), {L"Last (2147483647)"});
    EXPECT_EQ(L"(2147483647)", NextIndex(L"X"));
}

TEST_F(AnExpertGroup, IsChangedKeepingItsExistingResources) {
    Give({.name = L"Sales",
          .isOnline = false,
          .resources = {{L"Disk", L"Physical Disk", {}, {{L"Signature", 39487u}}}}});
    Forget();
    StringArray existing = {L"Nothing", L"Disk"};
    Lists lists = ForFileShare(L"10.1.1.20", L"-268435455");
    lists.strings[3].clear();
    EXPECT_EQ(1, Change(L"Sales", L"File Share", lists, &existing));
    EXPECT_EQ((StringArray{L"IP Address* {Address=10.1.1.20, Network=Public, SubnetMask=255.255.255.0}",
                           L"Network Name* needs IP Address* {Name=FILES}",
                           L"File Share* needs Disk, Network Name* "
                           L"{MaxUsers=4294967295, Path=, Permissions=127, ShareName=FileShare1E}"}),
              Made(L"Sales of File Share(1)"));
    EXPECT_EQ(L"39487", ParametersOf(L"Disk")[L"Signature"]);
    EXPECT_TRUE(IsOnline(L"Sales"));

    // A kind that fails does not stop those after it, and keeps the group from being asked to come online.
    Forget();
    failing->FailCall(Operation::CreateResource, 1, AccessDenied);
    failing->ForgetCalls();
    EXPECT_EQ(0, Change(L"Sales", L"File Share", lists, &existing));
    EXPECT_EQ((StringArray{L"Network Name for Sales of File Share(2)", L"File Share for Sales of File Share(2)"}),
              NamesMade());
    EXPECT_EQ(0, failing->Calls(Operation::OnlineGroup));

    Forget();
    existing = Members(Group(L"Sales"), CLUSTER_GROUP_ENUM_CONTAINS);
    EXPECT_EQ(1, Change(L"Sales", L"File Share", lists, &existing));
    EXPECT_EQ(StringArray(), NamesMade());
}

TEST_F(AnExpertGroup, SharesItsResourcesWithTheGroupItWasMadeFromAndMakesAnewWhatIsNotToBeKept) {
    const long users = failing.Service().use_count();
    {
        ExpertGroup created(L"Sales", L"File Share", cluster, L"Test");
        EXPECT_EQ(1, created.Create(ForFileShare(L"10.1.1.20", L"39487").Pointers(), nullptr, 1));
        Expect(service->OfflineGroup(Group(L"Sales")), L"Sales");
        Forget();
        ExpertGroup changed(static_cast<const ::Group&>(created));
        changed.GetWizardGUI(L"File Share");
        EXPECT_EQ(1, changed.Change(ForFileShare(L"10.1.1.21", L"-268435455").Pointers(), nullptr, nullptr, 1));
        EXPECT_EQ(8, created.ResourcesPtr()->NumberOfComponents());
    }
    EXPECT_EQ(users, failing.Service().use_count()) << "handles left open";
    EXPECT_EQ((StringArray{L"Physical Disk* {Signature=4026531841}",
                           L"IP Address* {Address=10.1.1.21, Network=Public, SubnetMask=255.255.255.0}",
                           L"Network Name* needs IP Address* {Name=FILES}",
                           L"File Share* needs Physical Disk for Sales of File Share(1), Physical Disk*, Network Name* "
                           L"{MaxUsers=4294967295, Path=, Permissions=127, ShareName=public}"}),
              Made(L"Sales of File Share(2)"));
    EXPECT_TRUE(IsOnline(L"Sales"));
}

}  // namespace
