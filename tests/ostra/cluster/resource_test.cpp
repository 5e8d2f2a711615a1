#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/cluster/Resource.h>
#include <ostra/registry/Registry.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <gtest/gtest.h>

#include <utility>

namespace {

using tests::Operation;

constexpr DWORD setPrivate = CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES;

class AResource : public tests::ClusterWorld {
protected:
    StringArray DependenciesOf(const ::Resource& resource) {
        return Members(Resource(resource.Name()), CLUSTER_RESOURCE_ENUM_DEPENDS);
    }

    GenericApplication application{L"Test", nullptr};
};

TEST_F(AResource, GetsItsKindsDefaultsAndThenTheCallersParametersUnderItsOwnCodesOnly) {
    const auto quiet = Made(L"Quiet", application,
                            {L"RunInBackground=REG_DWORD:4294967295", L"CommandLine=REG_SZ:d:\\quiet.exe",
                             L"Description=REG_SZ:outer", L"REG_SZ=REG_SZ:begins with its type"});
    std::wstring sent;
    for (const std::wstring& call : failing->Log())
        if (call.starts_with(L"Control Quiet ")) sent += call.substr(13);
    const std::wstring common = L" " + std::to_wstring(CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES);
    const std::wstring texts = L" " + std::to_wstring(setPrivate), numbers = texts;
    EXPECT_EQ(texts + common + texts + numbers, sent) << "the kind's defaults come first";
    const StringArray inner{L"Description=REG_SZ:inner", L"Key=REG_BINARY:1", L"Limit=REG_DWORD:7", L"REG_DWORD:1"};
    EXPECT_EQ(2, quiet->SetAttributes(&inner, setPrivate));
    failing->ForgetCalls();
    EXPECT_EQ(0, quiet->SetAttributes(nullptr, setPrivate) + quiet->SetProperties(&inner));
    for (const DWORD code : {CLUSCTL_RESOURCE_GET_PRIVATE_PROPERTIES, DWORD{0x0440005E}})
        EXPECT_EQ(0, quiet->SetAttributes(&inner, code));
    EXPECT_EQ(0, failing->Calls(Operation::Control));
    StringMap attributes{{L"Left", L"over"}};
    EXPECT_EQ(5u, quiet->GetAttributes(&attributes, 0));
    EXPECT_EQ(L"Generic Application inner", attributes[L"Type"] + L" " + attributes[L"Description"]);
    EXPECT_FALSE(attributes.contains(L"Left") || attributes.contains(L"Key"));

    ::Resource found(L"Quiet", cluster, L"Test", 1);
    for (const int deep : {0, 1}) {
        found.Discover(deep);
        EXPECT_EQ(deep ? L"Generic Application" : L"", found.GetResourceType());
    }
    EXPECT_EQ(L"outer", found.GetCommonAttribute(L"Description"));
    EXPECT_EQ((StringMap{{L"CommandLine", L"d:\\quiet.exe"},
                         {L"CurrentDirectory", L"c:\\bin\\"},
                         {L"Description", L"inner"},
                         {L"Limit", L"7"},
                         {L"RunInBackground", L"-1"}}),
              *found.PrivateAttributes());
    EXPECT_EQ(1, found.Close());
    EXPECT_EQ(0u, found.GetCommonAttributes() + found.CommonAttributes()->size());

    ::Resource second(L"quiet", &application, cluster, L"Test", 0), typeless(L"Quiet", cluster, L"Test", 1);
    for (::Resource* refused : {&second, &typeless}) {
        EXPECT_EQ(0, refused->Create(alpha, nullptr, 1));
        EXPECT_EQ(nullptr, refused->Handle());
    }
    EXPECT_EQ(0, failing->Calls(Operation::OnlineResource));
}

TEST_F(AResource, AsksThreeTimesToComeOnlineAndWaitsAfterEachAnswer) {
    const auto quiet = Made(L"Quiet", application);
    const std::wstring failure = L"Resource::BringOnLine( ). Failure executing OnLineClusterResource( ).\n";
    const std::wstring success = L"Resource::BringOnLine( ). Resource brought on line!\n";
    const auto bring = [&](int result, const std::wstring& lines, std::size_t naps) {
        printed.Take();
        EXPECT_EQ(result, quiet->BringOnLine());
        EXPECT_EQ(lines, printed.Take());
        EXPECT_EQ(std::vector<DWORD>(naps, 3000), std::exchange(clock.naps, {}));
    };
    bring(1, success, 1);
    failing->FailCall(Operation::OnlineResource, 1, 997);
    bring(1, failure + success, 3);
    EXPECT_TRUE(quiet->IsOnline());
    EXPECT_EQ(1, quiet->BringOffLine());
    EXPECT_TRUE(quiet->IsOffline());
    for (const Operation settling : {Operation::OnlineResource, Operation::OfflineResource}) failing->Answer(settling);
    bring(0, failure + failure + failure, 6);
    EXPECT_EQ(0, quiet->BringOffLine());
    EXPECT_EQ(0, ::Resource(L"New", &application, cluster, L"Test", 0).Create(alpha, nullptr, 1));
    EXPECT_TRUE(printed.Take().ends_with(failure + L"Resoruce::Create( ). Failure calling BringOnLine( ).\n"));
}

TEST_F(AResource, DependsOnWhatTheTemplateListsAndItsNameTailHoldsAndOnDisks) {
    const std::wstring templates = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\Dependencies\\";
    for (const wchar_t* kind : {L"File Share\\Network Name\\", L"File Share\\Physical Disk\\"})
        EXPECT_TRUE(Registry(templates + kind, L"").Open(nullptr, 0));
    AddDisk(L"E:", 1);
    NetworkName nameType(L"Test", nullptr);
    PhysicalDisk diskType(L"Test", nullptr);
    FileShare shareType(L"Test", nullptr);
    std::vector<std::unique_ptr<::Resource>> made;
    ClusterComponents candidates;
    for (const wchar_t* name : {L"Name for Sales", L"Name, Sales2", L"Name for Stock"})
        made.push_back(Made(name, nameType));
    made.push_back(Made(L"Disk E:", diskType, {L"Signature=REG_DWORD:1"}));
    made.push_back(Made(L"Noise for Sales", application));
    for (const auto& candidate : made) candidates.Add(candidate.get());
    failing->ForgetCalls();
    for (const std::size_t drive : {3U, 4U, 3U}) EXPECT_EQ(drive == 3 ? L"E:" : L"", made[drive]->GetDriveLetter());
    EXPECT_EQ(1, failing->Calls(Operation::Control)) << "a disk is asked once, and nothing else";
    candidates.SetAt(L"nothing", nullptr);

    const auto share = Made(L"Disk for Sales", shareType);  // "for" at 5: the tail is "Sales"
    share->SetDependencies(&candidates, 0);
    EXPECT_EQ((StringArray{L"Name for Sales", L"Name, Sales2"}), DependenciesOf(*share));
    const auto withDisks = Made(L"Host for Stock", shareType);
    failing->FailCall(Operation::AddDependency, 1, 5003);
    withDisks->SetDependencies(&candidates, 1);  // goes on after a refusal
    EXPECT_EQ(1u, DependenciesOf(*withDisks).size());
    withDisks->SetDependencies(&candidates, 1);
    EXPECT_EQ((StringArray{L"Name for Stock", L"Disk E:"}), DependenciesOf(*withDisks));
    const auto tailless = Made(L"Share", shareType);
    EXPECT_EQ(1, tailless->SetDependencies(&candidates, 0) * tailless->SetDependencies(nullptr, 0));
    EXPECT_EQ(4u, DependenciesOf(*tailless).size());
}

TEST_F(AResource, DependsOnNamedOthersAndIsOwnedByNamedNodes) {
    ::Resource first(L"Alpha 1", cluster, L"Test", 1);
    const auto last = Made(L"Last", application);
    const StringArray names{L"Nobody", L"Alpha 1", L"Alpha 2"}, strangers{L"Nobody"}, owners{L"N9", L"N2"};
    failing->FailCall(Operation::AddDependency, 1, 5003);
    EXPECT_EQ(1, last->SetDependencies(&names));
    EXPECT_EQ((StringArray{L"Alpha 2"}), DependenciesOf(*last));
    for (const StringArray* none : {&strangers, static_cast<const StringArray*>(nullptr)})
        EXPECT_EQ(0, last->SetDependencies(none));
    EXPECT_EQ(1, last->MakeItDependOn(&first));
    printed.Take();
    for (::Resource* refused : {static_cast<::Resource*>(nullptr), last.get()})
        EXPECT_EQ(0, last->MakeItDependOn(refused));
    const std::wstring line = L"Resoruce::MakeItDependOn( ). Failure calling AddClusterResourceDependency( ).\n";
    EXPECT_EQ(line + line, printed.Take());

    Expect(service->RemoveResourceOwner(Resource(L"Last"), Node(L"N2")), L"an owner");
    EXPECT_EQ(0, last->SetPossibleOwners(&owners) + last->SetPossibleOwners(nullptr));
    EXPECT_EQ((StringArray{L"N1", L"N2"}), Members(Resource(L"Last"), CLUSTER_RESOURCE_ENUM_NODES));
}

TEST_F(AResource, SharesHandleAndSubResourcesWithItsCopies) {
    struct Whole : ::Resource {
        using ::Resource::Resource, ::Resource::_resources;
    };
    auto first = std::make_unique<Whole>(L"Alpha 1", &application, cluster, L"Test", 1);
    first->_resources->Add(new ::Resource(L"Alpha 2", cluster, L"Test", 1));
    const HRESOURCE handle = first->Handle();
    const ::Resource copy(*first);
    ::Resource assigned(L"Other", cluster, L"Test", 0);
    assigned = *first;
    const long users = Users();
    first.reset();
    EXPECT_EQ(users, Users()) << "the sub-resource has a handle of its own";
    EXPECT_EQ(&application, assigned.ResType());
    EXPECT_EQ(3u, GetClusterResourceState(handle, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(1, assigned.Close());  // for the copy, too
    EXPECT_EQ(nullptr, copy.Handle());
    EXPECT_EQ(ClusterStateUnknown, GetClusterResourceState(handle, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(0, assigned.Close());
}

}  // namespace
