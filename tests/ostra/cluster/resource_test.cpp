#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/cluster/Resource.h>
#include <platform/base/text.h>
#include <platform/system/registry.h>
#include <tests/ostra/cluster/ObservedCluster.h>

#include <algorithm>
#include <utility>

namespace {

using tests::Operation;
using Write = tests::ObservedService::Write;

constexpr DWORD setCommon = CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES;
constexpr DWORD setPrivate = CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES;

class AResource : public tests::ObservedCluster {
protected:
    /// A resource made in the group "Sales".
    std::unique_ptr<Resource> Made(const std::wstring& name, ResourceType& type, const StringArray& parameters = {}) {
        auto made = std::make_unique<Resource>(name, &type, cluster, L"Payroll", 0);
        EXPECT_EQ(1, made->Create(group, &parameters, 0)) << platform::ToUtf8(name);
        return made;
    }

    /// The names of what a resource depends on, or of its possible owners.
    static StringArray MembersOf(const Resource& resource, DWORD kind) {
        const HRESENUM members = ClusterResourceOpenEnum(resource.Handle(), kind);
        StringArray names;
        wchar_t name[200];
        DWORD type = 0;
        for (DWORD size = 200; ClusterResourceEnum(members, static_cast<DWORD>(names.size()), &type, name, &size) == 0;
             size = 200)
            names.push_back(name);
        ClusterResourceCloseEnum(members);
        return names;
    }

    GenericApplication application{L"Payroll", nullptr};
};

TEST_F(AResource, GetsItsKindsDefaultsAndThenTheCallersParameters) {
    Resource quiet(L"Quiet", &application, cluster, L"Payroll", 0);
    const StringArray given{L"RunInBackground=REG_DWORD:4294967295", L"CommandLine=REG_SZ:d:\\quiet.exe",
                            L"Description=REG_SZ:No noise", L"Environment=REG_MULTI_SZ:PATH",
                            L"REG_SZ=REG_SZ:begins with its type"};
    EXPECT_EQ(1, quiet.Create(group, &given, 0));
    EXPECT_EQ((std::vector<Write>{{setPrivate, {L"CommandLine", L"CurrentDirectory"}},
                                  {setCommon, {L"Description"}},
                                  {setPrivate, {L"CommandLine"}},
                                  {setPrivate, {L"RunInBackground"}}}),
              observed->writes);
    EXPECT_EQ(0, service->Calls(Operation::OnlineResource));

    Resource found(L"Quiet", cluster, L"Payroll", 1);
    EXPECT_EQ(L"Generic Application", found.Type());
    EXPECT_EQ(L"No noise", found.GetCommonAttribute(L"Description"));
    EXPECT_EQ(3u, found.GetPrivateAttributes());
    EXPECT_EQ(
        (StringMap{
            {L"CommandLine", L"d:\\quiet.exe"}, {L"CurrentDirectory", L"c:\\bin\\"}, {L"RunInBackground", L"-1"}}),
        *found.PrivateAttributes());

    observed->writes.clear();
    IISVirtualRoot root(L"Payroll", nullptr);
    Made(L"Root", root);
    EXPECT_EQ((std::vector<Write>{{setCommon, {L"SeparateMonitor"}},
                                  {setPrivate, {L"Directory", L"Alias", L"ServiceName"}},
                                  {setPrivate, {L"AccessMask"}}}),
              observed->writes);
}

TEST_F(AResource, IsNotMadeWithoutATypeOrUnderATakenName) {
    Made(L"Quiet", application);
    observed->writes.clear();
    EXPECT_EQ(0, Resource(L"Typeless", cluster, L"Payroll", 0).Create(group, nullptr, 1));
    Resource second(L"quiet", &application, cluster, L"Payroll", 0);
    EXPECT_EQ(0, second.Create(group, nullptr, 1));
    EXPECT_EQ(nullptr, second.Handle());
    EXPECT_TRUE(observed->writes.empty());
    EXPECT_EQ(0, service->Calls(Operation::OnlineResource));
}

TEST_F(AResource, AsksThreeTimesToComeOnlineAndWaitsAfterEachAnswer) {
    const auto quiet = Made(L"Quiet", application);
    const std::wstring failure = L"Resource::BringOnLine( ). Failure executing OnLineClusterResource( ).\n";
    const std::wstring success = L"Resource::BringOnLine( ). Resource brought on line!\n";
    const auto naps = [&](std::size_t count) {
        return std::vector<DWORD>(count, 3000) == std::exchange(clock.naps, {});
    };
    output.Take();
    EXPECT_EQ(1, quiet->BringOnLine());
    EXPECT_EQ(success, output.Take());
    EXPECT_TRUE(naps(1));
    EXPECT_TRUE(quiet->IsOnline());
    EXPECT_EQ(1, quiet->BringOffLine());
    EXPECT_EQ(L"Resource::BringOffLine( ). Resource brought off line!\n", output.Take());
    EXPECT_TRUE(quiet->IsOffline());

    service->FailCall(Operation::OnlineResource, 1, 997);
    EXPECT_EQ(1, quiet->BringOnLine());
    EXPECT_EQ(failure + success, output.Take());
    EXPECT_TRUE(naps(3));

    service->ForgetCalls();
    service->Answer(Operation::OnlineResource, 997);
    service->Answer(Operation::OfflineResource, 997);
    EXPECT_EQ(0, quiet->BringOnLine());
    EXPECT_EQ(3, service->Calls(Operation::OnlineResource));
    EXPECT_EQ(failure + failure + failure, output.Take());
    EXPECT_TRUE(naps(6));
    EXPECT_EQ(0, quiet->BringOffLine());
    EXPECT_EQ(L"Resource::BringOffLine( ). Failure executing OffLineClusterResource( ).\n", output.Take());

    EXPECT_EQ(0, Resource(L"New", &application, cluster, L"Payroll", 0).Create(group, nullptr, 1));
    EXPECT_TRUE(output.Take().ends_with(failure + L"Resoruce::Create( ). Failure calling BringOnLine( ).\n"));
    service->Heal();
    EXPECT_EQ(1, Resource(L"Newer", &application, cluster, L"Payroll", 0).Create(group, nullptr, 1));
}

TEST_F(AResource, TellsItsStateByTextAndKeepsItWhenAnAnswerIsNoState) {
    Made(L"Quiet", application);
    Resource quiet(L"Quiet", cluster, L"Payroll", 0);
    const std::pair<DWORD, const wchar_t*> states[] = {{0, L"Resource is inherited."},
                                                       {1, L"Resource is initializing."},
                                                       {2, L"Resource is online."},
                                                       {3, L"Resource is offline."},
                                                       {4, L"Resource failed."},
                                                       {128, L"Resource is pending."},
                                                       {129, L"Resource is online pending."},
                                                       {130, L"Resource is offline pending."}};
    for (const auto& [state, text] : states) {
        observed->state = state;
        EXPECT_EQ(1, quiet.Status(0)) << state;
        EXPECT_EQ(text, quiet.StatusString(0));
        EXPECT_EQ(state, quiet.StatusCode(0));
        EXPECT_EQ(state == 2, quiet.IsOnline() != 0);
        EXPECT_EQ(state == 3, quiet.IsOffline() != 0);
    }
    EXPECT_EQ(L"Sales", quiet.ParentName());
    for (const DWORD unknown : {5u, 131u}) {
        observed->state = unknown;
        EXPECT_EQ(0, quiet.Status(0)) << unknown;
        EXPECT_EQ(130u, quiet.StatusCode(0));
    }
    service->Fail(Operation::ResourceState, 5007);
    EXPECT_EQ(0, quiet.Status(0));
    for (const std::wstring& report : events.TakeTexts())
        EXPECT_TRUE(
            report.starts_with(L"Resource::Info( int ). Unknown resource state after calling "
                               L"GetClusterResourceState( )."));
    EXPECT_EQ(L"Resource is offline pending.", quiet.StatusString(0));
    EXPECT_EQ(1u, events.Take().size());
    EXPECT_EQ(0, Resource(L"Nobody", cluster, L"Payroll", 0).Status(0));
}

TEST_F(AResource, ReadsAndWritesPropertiesUnderItsOwnCodesOnly) {
    const auto quiet = Made(L"Quiet", application, {L"Description=REG_SZ:outer"});
    const StringArray inner{L"Limit=REG_DWORD:7", L"Description=REG_SZ:inner", L"Key=REG_BINARY:1", L"REG_DWORD:1"};
    EXPECT_EQ(2, quiet->SetAttributes(&inner, setPrivate));
    const std::size_t written = observed->writes.size();
    EXPECT_EQ(0, quiet->SetAttributes(nullptr, setPrivate));
    for (const DWORD code : {CLUSCTL_RESOURCE_GET_PRIVATE_PROPERTIES, DWORD{0x0440005E}})
        EXPECT_EQ(0, quiet->SetAttributes(&inner, code));
    EXPECT_EQ(0, quiet->SetProperties(&inner));
    EXPECT_EQ(written, observed->writes.size());
    EXPECT_TRUE(Resource::IsValid(0x01FFFFFF) && !Resource::IsValid(0x02000059));

    StringMap attributes{{L"Left", L"over"}};
    EXPECT_EQ(4u, quiet->GetAttributes(&attributes, 0));
    EXPECT_EQ(L"Generic Application", attributes[L"Type"]);
    EXPECT_EQ(L"c:\\bin\\noise.exe", attributes[L"CommandLine"]);
    EXPECT_EQ(L"inner", attributes[L"Description"]);
    EXPECT_FALSE(attributes.contains(L"Left") || attributes.contains(L"Key"));

    Resource found(L"Quiet", cluster, L"Payroll", 1);
    EXPECT_EQ(0, found.Discover(0));
    EXPECT_EQ(L"", found.GetResourceType());
    EXPECT_EQ(0, found.Discover(1));
    EXPECT_EQ(L"Generic Application", found.GetResourceType());
    EXPECT_EQ(L"outer", found.GetCommonAttribute(L"Description"));
    EXPECT_EQ(1, found.Close());
    EXPECT_EQ(0u, found.GetCommonAttributes());
    EXPECT_TRUE(found.CommonAttributes()->empty());
}

TEST_F(AResource, DependsOnWhatTheTemplateListsAndItsNameTailHolds) {
    for (const wchar_t* kind : {L"Network Name", L"Physical Disk"}) {
        HKEY key = nullptr;
        const std::wstring path = L"SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\Dependencies\\File Share\\";
        ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, (path + kind).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                     &key, nullptr));
        RegCloseKey(key);
    }
    AddDisk(L"E:", 1);
    NetworkName nameType(L"Payroll", nullptr);
    PhysicalDisk diskType(L"Payroll", nullptr);
    FileShare shareType(L"Payroll", nullptr);
    const auto name = Made(L"Name for Sales", nameType);
    const auto longer = Made(L"Name for Sales2", nameType);
    const auto other = Made(L"Name for Stock", nameType);
    const auto disk = Made(L"Disk E:", diskType, {L"Signature=REG_DWORD:1"});
    const auto unlisted = Made(L"Noise for Sales", application);
    ClusterComponents candidates;
    for (Resource* candidate : {name.get(), longer.get(), other.get(), disk.get(), unlisted.get()})
        candidates.Add(candidate);
    candidates.SetAt(L"nothing", nullptr);

    const auto share = Made(L"Disk for Sales", shareType);  // "for" at 5: the tail is "Sales"
    EXPECT_EQ(1, share->SetDependencies(&candidates, 0));
    EXPECT_EQ((StringArray{L"Name for Sales", L"Name for Sales2"}), MembersOf(*share, CLUSTER_RESOURCE_ENUM_DEPENDS));
    const auto withDisks = Made(L"Host for Stock", shareType);
    service->FailCall(Operation::AddDependency, 2, 5003);
    for (const StringArray& added : {StringArray{L"Disk E:"}, StringArray{L"Name for Stock", L"Disk E:"}}) {
        EXPECT_EQ(1, withDisks->SetDependencies(&candidates, 1));  // goes on after a refusal
        EXPECT_EQ(added, MembersOf(*withDisks, CLUSTER_RESOURCE_ENUM_DEPENDS));
    }
    const auto tailless = Made(L"Share", shareType);
    EXPECT_EQ(1, tailless->SetDependencies(&candidates, 0));
    EXPECT_EQ(4u, MembersOf(*tailless, CLUSTER_RESOURCE_ENUM_DEPENDS).size());
    EXPECT_EQ(1, tailless->SetDependencies(nullptr, 0));
}

TEST_F(AResource, DependsOnNamedOthersAndLeavesNoHandleOpen) {
    const auto first = Made(L"First", application);
    const auto second = Made(L"Second", application);
    const auto last = Made(L"Last", application);
    const long users = Users();
    const StringArray names{L"Nobody", L"First", L"Second"};
    service->FailCall(Operation::AddDependency, 1, 5003);
    EXPECT_EQ(1, last->SetDependencies(&names));
    EXPECT_EQ((StringArray{L"Second"}), MembersOf(*last, CLUSTER_RESOURCE_ENUM_DEPENDS));
    const StringArray strangers{L"Nobody"};
    EXPECT_EQ(0, last->SetDependencies(&strangers));
    EXPECT_EQ(0, last->SetDependencies(static_cast<const StringArray*>(nullptr)));

    EXPECT_EQ(1, last->MakeItDependOn(first.get()));
    output.Take();
    for (Resource* refused : {static_cast<Resource*>(nullptr), last.get()}) EXPECT_EQ(0, last->MakeItDependOn(refused));
    const std::wstring line = L"Resoruce::MakeItDependOn( ). Failure calling AddClusterResourceDependency( ).\n";
    EXPECT_EQ(line + line, output.Take());

    const HNODE node = OpenClusterNode(cluster, L"N2");
    EXPECT_EQ(0u, RemoveClusterResourceNode(last->Handle(), node));
    EXPECT_TRUE(CloseClusterNode(node));
    const StringArray owners{L"N9", L"N2"};
    EXPECT_EQ(0, last->SetPossibleOwners(&owners));
    EXPECT_EQ(0, last->SetPossibleOwners(nullptr));
    EXPECT_EQ((StringArray{L"N1", L"N2"}), MembersOf(*last, CLUSTER_RESOURCE_ENUM_NODES));
    EXPECT_EQ(users, Users());
}

TEST_F(AResource, SharesItsHandleWithCopiesUntilTheLastIsGone) {
    auto quiet = Made(L"Quiet", application);
    const HRESOURCE handle = quiet->Handle();
    Resource assigned(L"Other", cluster, L"Payroll", 0);
    {
        const Resource copy(*quiet);
        EXPECT_EQ(L"Quiet", copy.Name());
        EXPECT_EQ(handle, copy.Handle());
        EXPECT_EQ(nullptr, copy.ResType());
        assigned = *quiet;
        EXPECT_EQ(&application, assigned.ResType());
        EXPECT_EQ(L"Generic Application", assigned.GetResourceType());
        quiet.reset();
    }
    EXPECT_EQ(3u, GetClusterResourceState(handle, nullptr, nullptr, nullptr, nullptr));
    Resource last(assigned);
    EXPECT_EQ(1, last.Close());
    EXPECT_EQ(nullptr, assigned.Handle());
    EXPECT_EQ(ClusterStateUnknown, GetClusterResourceState(handle, nullptr, nullptr, nullptr, nullptr));
    output.Take();
    EXPECT_EQ(0, last.Close());
    EXPECT_EQ(L"Resource::Close( ). Failure closing resource.\n", output.Take());

    EXPECT_EQ(1, assigned.Open());
    const long users = Users();
    EXPECT_EQ(1, assigned.Open());
    EXPECT_EQ(users, Users());
}

TEST_F(AResource, FreesItsSubResourcesOnceHoweverOftenItWasAssigned) {
    struct Parent : Resource {
        using Resource::Resource;
        void Keep(std::unique_ptr<ClusterComponent> part) { _resources->Add(part.release()); }
    };
    struct Part : Resource {
        explicit Part(int& ends) : Resource(L"Part", nullptr, L"", 0), _ends(ends) {}
        ~Part() override { ++_ends; }
        int& _ends;
    };
    int ends = 0;
    {
        Parent second(L"Second", nullptr, L"", 0);
        {
            Parent first(L"First", nullptr, L"", 1);
            first.Keep(std::make_unique<Part>(ends));
            second = first;
            EXPECT_EQ(1, first.Adopt(&second));
            EXPECT_EQ(1, first.Change(nullptr, nullptr, 0));
        }
        EXPECT_EQ(0, ends);
    }
    EXPECT_EQ(1, ends);
}

TEST_F(AResource, AsksForItsDriveOnceAndOnlyWhenItIsADisk) {
    AddDisk(L"E:", 0x9A3F);
    PhysicalDisk diskType(L"Payroll", nullptr);
    const auto disk = Made(L"Disk", diskType, {L"Signature=REG_DWORD:39487"});
    EXPECT_EQ(L"E:", disk->GetDriveLetter());
    EXPECT_EQ(L"E:", disk->GetDriveLetter());
    EXPECT_EQ(L"", Made(L"Quiet", application)->GetDriveLetter());
    const StringArray calls = service->Log();
    EXPECT_EQ(1, std::count(calls.begin(), calls.end(),
                            L"Control Disk " + std::to_wstring(CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO)));
}

}  // namespace
