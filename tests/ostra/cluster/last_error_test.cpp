#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/Network.h>
#include <ostra/cluster/NetworkInterface.h>
#include <ostra/cluster/Node.h>
#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/wizard/ExpertGroup.h>
#include <platform/base/last_error.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <functional>

using OstraDLL::Cluster;
using tests::Operation;

namespace {

using namespace platform::error;

class AFailure : public tests::ClusterWorld {
protected:
    AFailure() {
        Expect(Administration().AddNetwork({L"Both", L"10.1.4.0", L"255.255.255.0", 3, L""}), L"Both");
        model.Open(1);
        node.Open();
    }

    /// What the thread's last error is after `operation`.
    static DWORD CauseOf(const std::function<void()>& operation) {
        SetLastError(0);
        operation();
        return GetLastError();
    }

    Cluster model{L"Test", 0, 2};
    ::Node node{L"N1", cluster, L"Test", 0}, closedNode{L"N1", cluster, L"Test", 0};
    ::Group group{L"Alpha", cluster, L"Test", 1, 1}, closed{L"Alpha", cluster, L"Test", 1, 0};
    ::Resource resource{L"Alpha 1", cluster, L"Test", 1}, closedResource{L"Alpha 1", cluster, L"Test", 0};
    ::Network network{L"Both", cluster, L"Test", 1};
    NetworkInterface onN1{L"N1 - Both", cluster, L"Test", 1};
    GenericService type{L"Test", cluster};
};

TEST_F(AFailure, LeavesItsCauseWhateverTheResultAndSuccessKeepsIt) {
    failing->Fail(Operation::OnlineGroup, HostNodeNotAvailable);
    failing->Fail(Operation::OnlineResource, IoPending);
    failing->Fail(Operation::MoveGroup, Busy);
    failing->Fail(Operation::PauseNode, AccessDenied);
    failing->Fail(Operation::CreateResource, ResourceTypeNotFound);
    failing->Fail(Operation::AddDependency, CircularDependency);
    failing->Fail(Operation::AddResourceOwner, ObjectInList);
    failing->Fail(Operation::InterfaceOf, ClusterNetInterfaceNotFound);
    const std::vector<StringArray*> lists;
    const StringArray n1{L"N1"}, alpha2{L"Alpha 2"};
    HNODE owner = node.Handle();
    const std::pair<DWORD, std::function<void()>> rows[] = {
        {HostNodeNotAvailable, [&] { EXPECT_EQ(1, group.BringOnLine()); }},
        {Busy, [&] { EXPECT_EQ(1, model.MoveGroup(L"Alpha")); }},
        {GroupNotFound, [&] { EXPECT_EQ(0, model.MoveGroup(L"Omega")); }},
        {GroupNotFound, [&] { EXPECT_EQ(0, model.RenameGroup(L"Omega", L"Psi")); }},
        {GroupNotFound, [&] { EXPECT_EQ(nullptr, model.FindGroup(L"Omega")); }},
        {GroupNotFound, [&] { EXPECT_EQ(nullptr, model.CreateResource(L"Omega", L"New", &type, nullptr)); }},
        {GroupNotFound, [&] { EXPECT_EQ(0, ::Group(L"Omega", cluster, L"Test", 1, 0).Status(0)); }},
        {ClusterNodeNotFound, [&] { EXPECT_EQ(nullptr, model.FindNode(L"N9")); }},
        {ResourceNotFound, [&] { EXPECT_EQ(nullptr, model.GetResource(L"Alpha", L"Omega")); }},
        {ResourceNotFound, [&] { EXPECT_EQ(0, model.BringResourceOnLine(L"Alpha", L"Omega")); }},
        {ResourceNotFound, [&] { EXPECT_EQ(0, model.UpdateResources(L"Omega", CLUSTER_CHANGE_RESOURCE_DELETED)); }},
        {ResourceNotFound, [&] { EXPECT_EQ(nullptr, group.ChangeResource(L"O", &type, nullptr, 0, 0, 0)); }},
        {NotReady, [&] { EXPECT_EQ(0u, model.GetAllResourceTypes()); }},
        {FileNotFound, [&] { EXPECT_EQ(0, Cluster(L"Nowhere", 0, 0).Open(1)); }},
        {FileNotFound, [&] { EXPECT_EQ(nullptr, model.CreateGroup(L"New", L"No template", lists, nullptr)); }},
        {InvalidHandle, [&] { EXPECT_EQ(L"", Cluster(L"Test", 0, 0).GetClusterName()); }},
        {InvalidHandle, [&] { EXPECT_EQ(0, ::Node(L"N1", nullptr, L"Test", 0).Open()); }},
        {InvalidHandle, [&] { EXPECT_EQ(0, closedNode.Resume()); }},
        {AccessDenied, [&] { EXPECT_EQ(0, node.Pause()); }},
        {InvalidHandle, [&] { EXPECT_EQ(0, closed.Discover(0)); }},
        {InvalidParameter, [&] { EXPECT_EQ(0, group.SetPreferredOwners(3, nullptr)); }},
        {InvalidParameter, [&] { EXPECT_EQ(0, group.SetPreferredOwners(-1, &owner)); }},
        {ResourceTypeNotFound, [&] { delete group.CreateResource(L"New", &type, nullptr, 0, 0, 1, 0); }},
        {InvalidParameter, [&] { delete group.CreateResource(L"New", nullptr, nullptr, 0, 0, 1, 0); }},
        {IoPending, [&] { EXPECT_EQ(0, resource.BringOnLine()); }},
        {InvalidHandle, [&] { EXPECT_EQ(0, closedResource.Close()); }},
        {InvalidHandle, [&] { EXPECT_EQ(0u, closedResource.GetCommonAttributes()); }},
        {InvalidParameter, [&] { EXPECT_EQ(0, resource.SetAttributes(&n1, 0x01000059)); }},
        {InvalidHandle, [&] { EXPECT_EQ(0, resource.MakeItDependOn(&closedResource)); }},
        {CircularDependency, [&] { EXPECT_EQ(0, resource.SetDependencies(&alpha2)); }},
        {ObjectInList, [&] { EXPECT_EQ(0, resource.SetPossibleOwners(&n1)); }},
        {InvalidParameter, [&] { EXPECT_EQ(0, ::Network(L"", cluster, L"", 0).Open()); }},
        {InvalidHandle, [&] { EXPECT_EQ(0, ::Network(L"Both", nullptr, L"", 0).Open()); }},
        {InvalidHandle, [&] { EXPECT_EQ(0, ::Network(L"Both", cluster, L"", 0).Discover()); }},
        {InvalidParameter, [&] { EXPECT_EQ(0u, network.GetAttributes(0x06000055)); }},
        {InvalidParameter, [&] { EXPECT_EQ(DWORD{0}, network.SetAttributes(&n1, 0x06000055)); }},
        {ClusterNetInterfaceNotFound, [&] { EXPECT_EQ(L"", network.GetInterfaceName(L"N1")); }},
        {InvalidParameter, [&] { EXPECT_EQ(DWORD{0}, onN1.SetAttributes(&n1, 0x05000055)); }},
        {ClusterNetInterfaceNotFound, [&] { EXPECT_EQ(0, NetworkInterface(L"O", cluster, L"", 0).Open()); }},
    };
    for (const auto& [cause, operation] : rows) EXPECT_EQ(cause, CauseOf(operation)) << &cause - &rows[0].first;

    failing->Heal();
    failing->state = ClusterGroupPending;
    EXPECT_EQ(IoPending, CauseOf([&] { EXPECT_EQ(0, group.Status(0)); }));
    failing->state = 140;
    for (ClusterComponent* object : std::initializer_list<ClusterComponent*>{&node, &group, &resource, &network, &onN1})
        EXPECT_EQ(InvalidData, CauseOf([&] { EXPECT_EQ(0, object->Status(0)); }));
    failing->Heal();
    failing->state.reset();
    SetLastError(77);
    group.MoveGroup();
    model.Discover();
    model.Update(L"Nobody", CLUSTER_CHANGE_GROUP_PROPERTY);
    resource.Status(0);
    EXPECT_EQ(77u, GetLastError());
}

TEST_F(AFailure, IsANameThatHoldsANullNotTheNameBeforeIt) {
    const std::wstring name(L"Alpha\0x", 7), test(L"Test\0x", 6), nodeName(L"N1\0", 3);
    const std::function<void()> refused[] = {
        [&] { EXPECT_EQ(0, Cluster(test, 0, 0).Open(0)); },
        [&] { EXPECT_EQ(nullptr, model.FindGroup(name)); },
        [&] { delete model.CreateGroup(name, nullptr); },
        [&] { delete group.CreateResource(name, &type, nullptr, 0, 0, 1, 0); },
        [&] { EXPECT_EQ(0, group.Rename(name)); },
        [&] { EXPECT_EQ(0, ::Node(nodeName, cluster, L"Test", 0).Open()); },
        [&] { EXPECT_EQ(0, ::Resource(name, cluster, L"Test", 0).Open()); },
        [&] { EXPECT_EQ(L"", network.GetInterfaceName(nodeName)); },
    };
    for (const auto& operation : refused) EXPECT_EQ(InvalidParameter, CauseOf(operation)) << &operation - refused;
    EXPECT_EQ((StringArray{L"Alpha", L"Beta", L"Gamma"}), All(CLUSTER_ENUM_GROUP));
}

TEST_F(AFailure, OfEveryItemEndsAnEnumerationWithAReport) {
    for (DWORD item = 0; item < 2000; ++item) failing->FailItem(Operation::EnumerateMembers, item, GeneralFailure);
    NewReports();
    EXPECT_EQ(GeneralFailure, CauseOf([&] { group.Discover(0); }));
    const StringArray reports = NewReports();
    ASSERT_EQ(1u, reports.size());
    EXPECT_TRUE(reports[0].starts_with(L"1 An enumeration was given up after 1000 failures in a row. "));
    EXPECT_EQ(StringArray(), KeysOf(group.ResourcesPtr()));
}

TEST_F(AFailure, ToBeAListLeavesThePreferredOwnersAlone) {
    HNODE owner = node.Handle();
    group.SetPreferredOwners(1, &owner);
    group.SetPreferredOwners(3, nullptr);
    group.SetPreferredOwners(-1, &owner);
    EXPECT_EQ((StringArray{L"N1"}), Members(Group(L"Alpha"), CLUSTER_GROUP_ENUM_NODES));
    EXPECT_EQ(2u, NewReports().size());
    group.SetPreferredOwners(0, nullptr);
    EXPECT_EQ(StringArray(), Members(Group(L"Alpha"), CLUSTER_GROUP_ENUM_NODES));
}

}  // namespace
