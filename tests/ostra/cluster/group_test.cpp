#include <ostra/cluster/Group.h>
#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <platform/base/last_error.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <gtest/gtest.h>

using tests::Operation;

namespace {

class AGroup : public tests::ClusterWorld {
protected:
    ::Group group{L"Alpha", cluster, L"Test", 1, 1};
};

TEST_F(AGroup, IsCreatedWithItsOwnAndTheGivenParametersInItsKeyAndStaysOffline) {
    struct GroupWithParameters : ::Group {
        using ::Group::Group, ::Group::_parameters;
    } made(L"Delta", cluster, L"Test", 1, 0);
    made._parameters = {L"Site=REG_SZ:North", L"Limit=REG_DWORD:5"};
    const StringArray given{L"Limit=REG_DWORD:4294967295", L"Path=REG_SZ:c:\\x=y:z"};
    EXPECT_EQ(1, made.Create(&given, 0));
    EXPECT_EQ(L"Group off line.", made.StatusString(0));
    const ClusterGroupKey key(made.Handle(), cluster);
    EXPECT_EQ(L"North -1 c:\\x=y:z",
              key.GetValue(L"Site") + L" " + key.GetValue(L"Limit") + L" " + key.GetValue(L"Path"));

    ::Group again(L"Delta", cluster, L"Test", 1, 1);
    EXPECT_EQ(0, again.Create(nullptr, 1));
    EXPECT_EQ(platform::error::ObjectAlreadyExists, GetLastError());
    EXPECT_FALSE(again.Handle());
    EXPECT_EQ(1, again.Change(nullptr, 1));
    EXPECT_EQ(L"Group on line.", again.StatusString(0));
}

TEST_F(AGroup, ReportsControlThatSucceededAsInformationAndRefusalsAsErrorsWithResult1) {
    const std::tuple<int (::Group::*)(), Operation, const wchar_t*, const wchar_t*> rows[] = {
        {&::Group::BringOnLine, Operation::OnlineGroup, L"4 Cluster group Alpha was brought online!",
         L"1 Group::BringOnLine( ). Failure executing OnLineClusterGroup( ) for Alpha"},
        {&::Group::BringOffLine, Operation::OfflineGroup, L"4 Cluster group Alpha was brought offline!",
         L"1 Group::BringOffLine( ). Failure executing OffLineClusterGroup( ) for Alpha"},
        {&::Group::MoveGroup, Operation::MoveGroup, L"4 Cluster group Alpha was moved!",
         L"1 Group::MoveGroup( ). Failure executing MoveClusterGroup( ) for Alpha"},
    };
    for (const auto& [control, operation, done, refused] : rows) {
        EXPECT_EQ(1, (group.*control)());
        failing->Fail(operation, platform::error::IoPending);
        EXPECT_EQ(1, (group.*control)());
        EXPECT_EQ((StringArray{done, refused}), NewReports());
    }
    EXPECT_EQ(L"N2", OwnerOf(L"Alpha"));
    EXPECT_EQ(1, group.Rename(L"Omega"));
    EXPECT_EQ(L"Alpha", group.Name());
    EXPECT_EQ(0, group.BringOnLine());  // opens by the name that the cluster has no more
    EXPECT_EQ(0, group.Rename(L"Psi"));
}

TEST_F(AGroup, SharesHandleAndResourcesWithItsCopiesWhichKeepWhatTheyKnow) {
    for (DWORD item = 1; item < 2000; ++item)
        failing->FailItem(Operation::EnumerateMembers, item, platform::error::GeneralFailure);
    auto original = std::make_unique<::Group>(L"Alpha", cluster, L"Test", alpha);
    EXPECT_NE(alpha, original->Handle());  // the one that was given stays the caller's
    original->Discover(0);
    original->Status(0);
    ::Group copy(*original), closed(L"Alpha", cluster, L"Test", 1, 0);
    original.reset();
    EXPECT_EQ(L"N1", copy.CurrentOwnerName());
    EXPECT_NE(ClusterStateUnknown, GetClusterGroupState(copy.Handle(), nullptr, nullptr));
    EXPECT_EQ((StringArray{L"Alpha 1"}), KeysOf(copy.ResourcesPtr()));
    ::Resource* known = copy.GetResource(L"Alpha 1");
    failing->Heal();
    for (::Group* object : {&copy, &closed}) object->Discover(0);
    EXPECT_EQ((StringArray{L"Alpha 1", L"Alpha 2"}), KeysOf(copy.ResourcesPtr()));
    EXPECT_EQ(known, copy.GetResource(L"Alpha 1"));
    EXPECT_EQ(StringArray(), KeysOf(closed.ResourcesPtr()));

    EXPECT_EQ(1, copy.BringResourceOnLine(L"Alpha 1"));
    const auto* added = copy.Update(L"Alpha 1", CLUSTER_CHANGE_RESOURCE_ADDED);
    EXPECT_EQ(added, copy.GetResource(L"Alpha 1"));
    EXPECT_EQ(L"Alpha 1", known->Name());
    EXPECT_EQ(nullptr, copy.Update(L"Alpha 1", CLUSTER_CHANGE_RESOURCE_DELETED));
    EXPECT_EQ((StringArray{L"Alpha 2"}), KeysOf(copy.ResourcesPtr()));
    printed.Take();
    EXPECT_EQ(nullptr, copy.GetResource(L"alpha 2"));
    for (const int result : {copy.BringResourceOnLine(L"Omega"), copy.BringResourceOffLine(L"Omega")})
        EXPECT_EQ(0, result);
    EXPECT_EQ(
        L"Group::GetResource( )> Failure finding resource.\n"
        L"Group::BringResourceOnLine( resourceName ). Invalid resource name Omega.\n"
        L"Group::BringResourceOffLine( resourceName ). Invalid resource name Omega\n",
        printed.Take());
}

TEST_F(AGroup, OwnsTheResourcesItStoresAndHandsOutTheOthers) {
    GenericService type(L"Test", cluster);
    ::Resource* stored = group.CreateResource(L"Alpha 3", &type, nullptr, 1, 1, 1, 0);
    EXPECT_TRUE(stored->IsOnline());
    EXPECT_EQ(stored, group.ChangeResource(L"Alpha 3", nullptr, nullptr, 0, 0, 0));
    EXPECT_EQ(nullptr, group.ChangeResource(L"Omega", nullptr, nullptr, 0, 0, 0));
    const std::unique_ptr<::Resource> callers(group.CreateResource(L"Alpha 4", &type, nullptr, 0, 0, 0, 0));
    const std::unique_ptr<::Resource> refused(group.CreateResource(L"Alpha 3", &type, nullptr, 1, 1, 1, 0));
    failing->Fail(Operation::OnlineResource, platform::error::AccessDenied);
    const std::unique_ptr<::Resource> offline(group.CreateResource(L"Alpha 5", &type, nullptr, 0, 1, 1, 0));
    EXPECT_TRUE(callers->Handle() && offline->Handle());
    EXPECT_FALSE(refused->Handle());
    EXPECT_EQ((StringArray{L"Alpha 3"}), KeysOf(group.ResourcesPtr()));
}

}  // namespace
