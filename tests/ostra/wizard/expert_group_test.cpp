#include <ostra/cluster/Resource.h>
#include <ostra/cluster/ResourceType.h>
#include <ostra/wizard/ExpertGroup.h>
#include <platform/base/last_error.h>
#include <tests/ostra/wizard/TemplateCluster.h>

#include <cstdlib>

using platform::error::AccessDenied;
using tests::Lists;
using tests::Operation;

namespace {

/// A cluster that knows the type "SQL Server".
class ServiceWithSqlServer : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;
    DWORD CreateResource(platform::ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags,
                         platform::ObjectId& created) override {
        const bool isOurs = type == L"SQL Server";
        return ForwardingClusterService::CreateResource(group, name, isOurs ? L"Generic Service" : type, flags,
                                                        created);
    }
};

class AnExpertGroup : public tests::TemplateCluster {
protected:
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
    Lists ForFileShare(const std::wstring& address, const std::wstring& signature) {
        return FilledIn(L"File Share", ControlValues(address, signature, {{L"Share Name:", L"public"}}));
    }
    std::wstring NextIndex(const std::wstring& group) {
        Forget();
        Change(group, L"One", {}, nullptr);
        const StringArray names = NamesMade();
        return names.empty() ? L"none" : names[0].substr(names[0].rfind(L'('));
    }
};

TEST_F(AnExpertGroup, IsMadeFromEachDefaultTemplateResourceByResource) {
    struct {
        std::wstring group, templateName, address, signature;
        StringMap values;
        StringArray made;
    } const rows[] = {
        {L"Sales",
         L"File Share",
         L"10.1.1.20",
         L"39487",
         {{L"Share Name:", L"public"}, {L"Path:", L"E:\\Sales"}},
         {L"Physical Disk* {Signature=39487}",
          L"IP Address* {Address=10.1.1.20, Network=Public, SubnetMask=255.255.255.0}",
          L"Network Name* needs IP Address* {Name=FILES}",
          L"File Share* needs Physical Disk*, Network Name* "
          L"{MaxUsers=4294967295, Path=E:\\Sales, Permissions=127, ShareName=public}"}},
        {L"Web",
         L"IIS Virtual Root",
         L"10.1.1.21",
         L"-268435455",
         {{L"Directory:", L"F:\\Web"}, {L"Alias:", L"/Shop"}},
         {L"Physical Disk* {Signature=4026531841}",
          L"IP Address* {Address=10.1.1.21, Network=Public, SubnetMask=255.255.255.0}",
          L"Network Name* needs IP Address* {Name=FILES}",
          L"File Share* needs Physical Disk*, Network Name* "
          L"{MaxUsers=4294967295, Path=F:\\Web, Permissions=127, ShareName=FileShare1F}",
          L"IIS Virtual Root* needs IP Address*, File Share* "
          L"{AccessMask=1, Alias=/Shop, Directory=F:\\Web, ServiceName=W3SVC}"}},
        {L"Printing",
         L"Print Spooler",
         L"10.1.1.20",
         L"39487",
         {{L"Spool Foler:", L"E:\\Spool"}, {L"Job Completion Timeout:", L"90"}},
         {L"Physical Disk* {Signature=39487}",
          L"IP Address* {Address=10.1.1.20, Network=Public, SubnetMask=255.255.255.0}",
          L"Network Name* needs IP Address* {Name=FILES}",
          L"Print Spooler* needs Physical Disk*, Network Name* "
          L"{DefaultSpoolDirectory=E:\\Spool, JobCompletionTimeout=90}"}},
    };
    for (const auto& row : rows) {
        Forget();
        const StringMap values = ControlValues(row.address, row.signature, row.values);
        EXPECT_EQ(1, Create(row.group, row.templateName, FilledIn(row.templateName, values)));
        EXPECT_EQ(row.made, Made(row.group + L" of " + row.templateName + L"(1)"));
        EXPECT_TRUE(IsOnline(row.group));
        EXPECT_EQ(L"Cluster group " + row.group + L" was brought online!", events.TakeTexts().back());
        Expect(service->OfflineGroup(Group(row.group)), row.group);  // lets go of disk and address
    }

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

    WriteTemplate(L"Database", L"Generic Service,SQL Server,Time Service");
    EXPECT_EQ(1, Create(L"Refused", L"Database"));  // the cluster has no such type
    EXPECT_EQ((StringArray{L"Generic Service* {CommandLine=c:\\bin\\noise.exe, CurrentDiectory=c:\\bin\\}"}),
              Made(L"Refused of Database(1)"));
    EXPECT_EQ(static_cast<DWORD>(ClusterGroupOffline), StateOf(L"Refused"));

    const tests::FailingCluster knowing(L"Test", std::make_shared<ServiceWithSqlServer>(service));
    const platform::SharedHandle<HCLUSTER, CloseCluster> opened(OpenCluster(L"Test"));
    Forget();
    Lists lists;
    lists.strings[1] = {L"Instance=REG_SZ:Main"};
    EXPECT_EQ(1, ExpertGroup(L"Data", L"Database", opened.Get(), L"Test").Create(lists.Pointers(), nullptr, 1));
    EXPECT_EQ((StringArray{L"Generic Service* {CommandLine=c:\\bin\\noise.exe, CurrentDiectory=c:\\bin\\}",
                           L"SQL Server* {Instance=Main}", L"Time Service* {}"}),
              Made(L"Data of Database(1)"));
    EXPECT_TRUE(IsOnline(L"Data"));
}

TEST_F(AnExpertGroup, LeavesWhatWasMadeWhenAStepOfItsCreationIsRefused) {
    struct {
        Operation operation;
        int call;
        std::size_t made;
        bool isOnline;
        StringArray reports;
    } const rows[] = {
        {Operation::CreateResource, 1, 0, false, {}},
        {Operation::CreateResource, 2, 1, false, {}},
        {Operation::CreateResource, 3, 2, false, {}},
        {Operation::CreateResource, 4, 3, false, {}},
        {Operation::AddDependency, 1, 4, true, {L"Cluster group Group 5 was brought online!"}},
        {Operation::OnlineGroup,
         1,
         4,
         false,
         {L"Group::BringOnLine( ). Failure executing OnLineClusterGroup( ) for Group 6"}},
        {Operation::ObjectKey,
         1,
         4,
         true,
         {L"Group::SetParameters( ). Failure calling Group::SetParameters( ).",
          L"Cluster group Group 7 was brought online!"}},
        {Operation::Control,
         1,
         4,
         false,  // the disk's signature, without which it is no disk
         {L"ResourceProperties::Set( ). Failure calling ClusterResourceControl( ). Access is denied.\r\n",
          L"ResourceProperties::Get( ). Failure calling ClusterResourceControl. The cluster resource is not "
          L"available.\r\n",
          L"Group::BringOnLine( ). Failure executing OnLineClusterGroup( ) for Group 8"}},
    };
    int number = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(number);
        const std::wstring name = L"Group " + std::to_wstring(++number);
        Forget();
        Lists lists = ForFileShare(L"10.1.1.20", L"39487");
        const StringArray own = {L"Site=REG_SZ:North"};
        ExpertGroup group(name, L"File Share", cluster, L"Test");
        failing->ForgetCalls();
        events.Take();
        failing->FailCall(row.operation, row.call, AccessDenied);
        EXPECT_EQ(1, group.Create(lists.Pointers(), &own, 1));
        EXPECT_EQ(row.made, NamesMade().size());
        EXPECT_EQ(static_cast<int>(row.made), group.ResourcesPtr()->NumberOfComponents());
        EXPECT_EQ(row.made == 4 ? 1 : 0, failing->Calls(Operation::OnlineGroup));
        EXPECT_EQ(row.isOnline, IsOnline(name));
        EXPECT_EQ(row.reports, events.TakeTexts());
        failing->Heal();
        service->OfflineGroup(Group(name));
    }

    failing->Fail(Operation::CreateGroup, AccessDenied);
    ExpertGroup refused(L"Refused", L"File Share", cluster, L"Test");
    EXPECT_EQ(0, refused.Create({}, nullptr, 1));
    EXPECT_EQ(nullptr, refused.Handle());
    EXPECT_EQ(0, refused.ResourcesPtr()->NumberOfComponents());
}

TEST_F(AnExpertGroup, NamesItsSharesAfterTheDiskOfItsFirstListsLastString) {
    WriteTemplate(L"Disk and Share", L"Physical Disk,File Share");
    const std::wstring unknown = L"FileShare::SetDefault( ). Selected disk drive not found. Signature in DWORD:";
    struct {
        StringArray disks;
        std::wstring share, report;
    } const rows[] = {
        {{}, L"FileShare1", L""},
        {{L"Signature=REG_DWORD:39487"}, L"FileShare1E", L""},
        {{L"Signature=REG_DWORD:39487", L"Signature=REG_DWORD:-268435455"}, L"FileShare1F", L""},
        {{L"The Signature=REG_DWORD:39487"}, L"FileShare1E", L""},
        {{L"Signatur=REG_DWORD:39487"}, L"FileShare1E", L""},  // from its 20th character on
        {{L"Signature=REG_DWORD:4026531841"}, L"FileShare1", unknown + L"4026531841"},
        {{L"Signature=REG_DWORD:39487", L"Signature="}, L"FileShare1", L""},
        {{L"Signature=REG_DWORD:39487", L""}, L"FileShare1", L""},
    };
    int number = 0;
    for (const auto& row : rows) {
        const std::wstring name = L"G" + std::to_wstring(++number);
        Lists lists;
        lists.strings[0] = row.disks;
        events.Take();
        EXPECT_EQ(1, Create(name, L"Disk and Share", lists));
        EXPECT_EQ(row.share, ParametersOf(L"File Share for " + name + L" of Disk and Share(1)")[L"ShareName"])
            << number;
        const StringArray reports = events.TakeTexts();
        EXPECT_EQ(row.report.empty() ? 0 : 1, std::ranges::count(reports, row.report)) << number;
    }
}

TEST_F(AnExpertGroup, SharesTheDirectoryOfAnIISVirtualRootAndDoesWithoutMissingLists) {
    StringArray roots = {L"Alias=REG_SZ:/x", L"Directory=REG_SZ:E:\\Web:2", L"Directory=REG_SZ:E:\\Other"};
    struct {
        std::vector<StringArray*> lists;
        std::wstring path;
    } const rows[] = {{{nullptr, nullptr, nullptr, nullptr, &roots}, L"E:\\Web:2"},
                      {{nullptr, nullptr, nullptr, nullptr, nullptr}, L""},
                      {{nullptr}, L""},
                      {{}, L""}};
    int number = 0;
    for (const auto& row : rows) {
        const std::wstring name = L"G" + std::to_wstring(++number);
        EXPECT_EQ(1, ExpertGroup(name, L"IIS Virtual Root", cluster, L"Test").Create(row.lists, nullptr, 1));
        auto share = ParametersOf(L"File Share for " + name + L" of IIS Virtual Root(1)");
        EXPECT_EQ(row.path, share[L"Path"]);
        EXPECT_EQ(L"FileShare1", share[L"ShareName"]);
    }
    StringArray alone = {L"Alias=REG_SZ:/x"};
    ExpertGroup(L"G9", L"IIS Virtual Root", cluster, L"Test")
        .Create({nullptr, nullptr, nullptr, nullptr, &alone}, nullptr, 1);
    EXPECT_EQ(L"", ParametersOf(L"File Share for G9 of IIS Virtual Root(1)")[L"Path"]);
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
    const StringArray disk = {L"Nothing", L"Disk"};
    Lists lists = ForFileShare(L"10.1.1.20", L"-268435455");
    lists.strings[3].clear();
    EXPECT_EQ(1, Change(L"Sales", L"File Share", lists, &disk));
    EXPECT_EQ((StringArray{L"IP Address* {Address=10.1.1.20, Network=Public, SubnetMask=255.255.255.0}",
                           L"Network Name* needs IP Address* {Name=FILES}",
                           L"File Share* needs Disk, Network Name* "
                           L"{MaxUsers=4294967295, Path=, Permissions=127, ShareName=FileShare1E}"}),
              Made(L"Sales of File Share(1)"));
    EXPECT_EQ(L"39487", ParametersOf(L"Disk")[L"Signature"]);
    EXPECT_TRUE(IsOnline(L"Sales"));

    StringArray all = Members(Group(L"Sales"), CLUSTER_GROUP_ENUM_CONTAINS);
    Forget();
    EXPECT_EQ(1, Change(L"Sales", L"File Share", lists, &all));
    EXPECT_EQ(StringArray(), NamesMade());

    // A kind that fails does not stop those after it, and keeps the group from being asked to come online.
    all = {L"Disk"};
    failing->FailCall(Operation::CreateResource, 1, AccessDenied);
    failing->ForgetCalls();
    EXPECT_EQ(0, Change(L"Sales", L"File Share", lists, &all));
    EXPECT_EQ((StringArray{L"Network Name for Sales of File Share(2)", L"File Share for Sales of File Share(2)"}),
              NamesMade());
    EXPECT_EQ(0, failing->Calls(Operation::OnlineGroup));
}

TEST_F(AnExpertGroup, SharesResourcesAndTheirTypesWithTheGroupItWasMadeFrom) {
    const long users = failing.Service().use_count();
    auto created = std::make_unique<ExpertGroup>(L"Sales", L"File Share", cluster, L"Test");
    EXPECT_EQ(1, created->Create(ForFileShare(L"10.1.1.20", L"39487").Pointers(), nullptr, 1));
    auto changed = std::make_unique<ExpertGroup>(*created);
    EXPECT_EQ(created->ResourcesPtr(), changed->ResourcesPtr());
    EXPECT_EQ(created->Handle(), changed->Handle());
    EXPECT_EQ(L"", changed->Type());
    changed->GetWizardGUI(L"Print Spooler");
    EXPECT_EQ(L"Print Spooler", changed->Type());
    EXPECT_EQ(1, changed->Change({}, nullptr, nullptr, 1));
    printed.Take();
    changed.reset();
    EXPECT_EQ(L"ExpertGroup::~ExpertGroup( void ). On entry.\n", printed.Take());
    ::Resource* spooler = created->GetResource(L"Print Spooler for Sales of Print Spooler(2)");
    ASSERT_NE(nullptr, spooler);
    EXPECT_EQ(L"Print Spooler", spooler->ResType()->Name());
    created.reset();
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
