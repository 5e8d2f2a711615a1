#include <ostra/wizard/ExpertGroup.h>
#include <tests/ostra/wizard/TemplateCluster.h>

#include <cstdlib>

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

TEST_F(AnExpertGroup, IsMadeFromEachDefaultTemplateResourceByResource) {
    const auto makes = [&](const std::wstring& from, const StringMap& values, StringArray made) {
        Forget();
        made.insert(made.begin(), {L"Physical Disk* {Signature=39487}",
                                   L"IP Address* {Address=10.1.1.20, Network=Public, SubnetMask=255.255.255.0}",
                                   L"Network Name* needs IP Address* {Name=FILES}"});
        EXPECT_EQ(1, Create(from, from, FilledIn(from, L"10.1.1.20", L"39487", values)));
        EXPECT_EQ(made, Made(from + L" of " + from + L"(1)"));
        EXPECT_TRUE(IsOnline(from));
        Expect(service->OfflineGroup(Group(from)), from);  // lets go of disk and address
    };
    makes(L"File Share", {{L"Share Name:", L"public"}, {L"Path:", L"E:\\Sales"}},
          {L"File Share* needs Physical Disk*, Network Name* "
           L"{MaxUsers=4294967295, Path=E:\\Sales, Permissions=127, ShareName=public}"});
    makes(L"IIS Virtual Root", {{L"Directory:", L"E:\\Web"}, {L"Alias:", L"/Shop"}},
          {L"File Share* needs Physical Disk*, Network Name* "
           L"{MaxUsers=4294967295, Path=E:\\Web, Permissions=127, ShareName=FileShare1E}",
           L"IIS Virtual Root* needs IP Address*, File Share* "
           L"{AccessMask=1, Alias=/Shop, Directory=E:\\Web, ServiceName=W3SVC}"});
    makes(L"Print Spooler", {{L"Spool Foler:", L"E:\\Spool"}, {L"Job Completion Timeout:", L"90"}},
          {L"Print Spooler* needs Physical Disk*, Network Name* "
           L"{DefaultSpoolDirectory=E:\\Spool, JobCompletionTimeout=90}"});

    // The template "Marlin" comes without kinds, which reads as one kind without a name.
    Forget();
    EXPECT_EQ(1, Create(L"Fish", L"Marlin"));
    EXPECT_EQ(StringArray(), NamesMade());
    EXPECT_EQ(static_cast<DWORD>(ClusterGroupOffline), StateOf(L"Fish"));
}

TEST_F(AnExpertGroup, TakesKindsFromItsTemplateWhateverTheyAre) {
    EXPECT_EQ(1, Create(L"Unknown", L"file share"));  // no such template: no kinds
    WriteTemplate(L"Keyless", nullptr);
    EXPECT_EQ(1, Create(L"Keyless", L"Keyless"));
    EXPECT_EQ(StringArray(), NamesMade());
    EXPECT_TRUE(IsOnline(L"Unknown") && IsOnline(L"Keyless"));

    // A kind that the library does not know, though the cluster does: it is made without defaults.
    WriteTemplate(L"Database", L"generic service,Time Service");
    Lists lists;
    lists.strings[0] = {L"Instance=REG_SZ:Main"};
    EXPECT_EQ(1, Create(L"Data", L"Database", lists));
    EXPECT_EQ((StringArray{L"generic service* {Instance=Main}", L"Time Service* {}"}), Made(L"Data of Database(1)"));
}

TEST_F(AnExpertGroup, LeavesWhatWasMadeWhenAStepOfItsCreationIsRefused) {
    struct {
        Operation operation;
        int call;
        std::size_t made;
        bool isOnline;
    } const rows[] = {{Operation::CreateResource, 1, 0, false}, {Operation::CreateResource, 4, 3, false},
                      {Operation::AddDependency, 1, 4, true},   {Operation::OnlineGroup, 1, 4, false},
                      {Operation::ObjectKey, 1, 4, true},       {Operation::Control, 1, 4, false}};
    const StringArray own = {L"Site=REG_SZ:North"};
    Lists lists = ForFileShare(L"10.1.1.20", L"39487");
    int number = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(number);
        const std::wstring name = L"Group " + std::to_wstring(++number);
        Forget();
        ExpertGroup group(name, L"File Share", cluster, L"Test");
        failing->ForgetCalls();
        failing->FailCall(row.operation, row.call, AccessDenied);
        EXPECT_EQ(1, group.Create(lists.Pointers(), &own, 1));
        EXPECT_EQ(row.made, NamesMade().size());
        EXPECT_EQ(static_cast<int>(row.made), group.ResourcesPtr()->NumberOfComponents());
        EXPECT_EQ(row.made == 4 ? 1 : 0, failing->Calls(Operation::OnlineGroup));
        EXPECT_EQ(row.isOnline, IsOnline(name));
        failing->Heal();
        service->OfflineGroup(Group(name));
    }
}

TEST_F(AnExpertGroup, GivesItsShareTheDriveOfTheFirstListAndTheDirectoryOfTheFifth) {
    const struct {
        StringArray disks, roots;
        std::wstring share, path;
    } rows[] = {
        {{}, {}, L"FileShare1", L""},
        {{L"Signature=REG_DWORD:39487", L"Signature=REG_DWORD:-268435455"}, {L"Directory"}, L"FileShare1F", L""},
        {{L"The Signature=REG_DWORD:39487"}, {L"Alias=REG_SZ:/x"}, L"FileShare1E", L""},
        {{L"Signatur=REG_DWORD:39487"},  // from its 20th character on
         {L"Alias=REG_SZ:/x", L"Directory=REG_SZ:E:\\Web:2", L"Directory=REG_SZ:E:\\Other"},
         L"FileShare1E",
         L"E:\\Web:2"},
        {{L"Signature=REG_DWORD:39487", L"Signature="}, {}, L"FileShare1", L""},
    };
    int number = 0;
    for (const auto& row : rows) {
        const std::wstring name = L"G" + std::to_wstring(++number);
        Lists lists;
        lists.strings[0] = row.disks;
        lists.strings[4] = row.roots;
        EXPECT_EQ(1, Create(name, L"IIS Virtual Root", lists));
        auto share = ParametersOf(L"File Share for " + name + L" of IIS Virtual Root(1)");
        EXPECT_EQ(row.share, share[L"ShareName"]) << number;
        EXPECT_EQ(row.path, share[L"Path"]) << number;
    }
    for (const std::size_t count : {0, 1, 5})
        EXPECT_EQ(1, ExpertGroup(L"Without " + std::to_wstring(count), L"IIS Virtual Root", cluster, L"Test")
                         .Create(std::vector<StringArray*>(count), nullptr, 1));
}

TEST_F(AnExpertGroup, NumbersNewResourcesAfterTheLargestNumberOfItsOld) {
    WriteTemplate(L"One", L"Generic Service");
    Give({.name = L"X", .resources = {{L"Plain"}, {L"Odd (x)"}, {L"Open (9"}, {L"Minus (-9)"}}});
    EXPECT_EQ(L"(1)", NextIndex(L"X"));
    Give(Group(L"X"), {L"Disk for X of File Share(3)"});
    Give(Group(L"X"), {L"IP Address for X of File Share(7)"});
    EXPECT_EQ(L"(8)", NextIndex(L"X"));
    EXPECT_EQ(L"(9)", NextIndex(L"X"));
    Give(Group(L"X"), {L"Last (2147483647)"});
    EXPECT_EQ(L"(2147483647)", NextIndex(L"X"));
}

TEST_F(AnExpertGroup, IsChangedByMakingAnewWhatIsNotAmongTheExistingNames) {
    Create(L"Sales", L"File Share", ForFileShare(L"10.1.1.20", L"39487"));
    Expect(service->OfflineGroup(Group(L"Sales")), L"Sales");
    Forget();
    EXPECT_EQ(1, Change(L"Sales", L"File Share", ForFileShare(L"10.1.1.21", L"-268435455"), nullptr));
    EXPECT_EQ((StringArray{L"Physical Disk* {Signature=4026531841}",
                           L"IP Address* {Address=10.1.1.21, Network=Public, SubnetMask=255.255.255.0}",
                           L"Network Name* needs IP Address* {Name=FILES}",
                           L"File Share* needs Physical Disk for Sales of File Share(1), Physical Disk*, Network Name* "
                           L"{MaxUsers=4294967295, Path=, Permissions=127, ShareName=public}"}),
              Made(L"Sales of File Share(2)"));
    EXPECT_TRUE(IsOnline(L"Sales"));
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

TEST_F(AnExpertGroup, SharesItsResourcesWithTheGroupItWasMadeFrom) {
    const long users = failing.Service().use_count();
    {
        ExpertGroup created(L"Sales", L"File Share", cluster, L"Test");
        EXPECT_EQ(1, created.Create(ForFileShare(L"10.1.1.20", L"39487").Pointers(), nullptr, 1));
        ExpertGroup changed(created);
        changed.GetWizardGUI(L"Print Spooler");
        EXPECT_EQ(1, changed.Change({}, nullptr, nullptr, 1));
        EXPECT_EQ(8, created.ResourcesPtr()->NumberOfComponents());
        printed.Take();
    }
    const std::wstring line = L"ExpertGroup::~ExpertGroup( void ). On entry.\n";
    EXPECT_EQ(line + line, printed.Take());
    EXPECT_EQ(users, failing.Service().use_count()) << "handles left open";
}

TEST_F(AnExpertGroup, CountsItsWatchesForTheWholeProcess) {
    const auto watchThrice = [] {
        ExpertGroup one(L"One", L"", nullptr, L"");
        ExpertGroup other(L"Other", L"", nullptr, L"");
        const int first = one.Monitor(L"", 0);
        const int second = other.Monitor(L"", 0);
        std::_Exit(first * 100 + second * 10 + one.Monitor(L"", 0));
    };
    EXPECT_EXIT(watchThrice(), testing::ExitedWithCode(122), "");  // in a process whose count is not used up
}

}  // namespace
