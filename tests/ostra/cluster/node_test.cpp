#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <tests/ostra/cluster/ClusterWorld.h>

using tests::ClusterWorld;
using tests::Operation;

namespace {

using ANode = ClusterWorld;

TEST_F(ANode, TellsItsStateByTextWithStatusCode0) {
    ::Node node(L"N1", cluster, L"Test", 0);
    const wchar_t* const texts[] = {L"Node is up.", L"Node is down.", L"Node is paused.", L"Node is joining."};
    for (DWORD state = 0; state < 4; ++state) {
        states->nodeState = state;
        EXPECT_EQ(1, node.Status(0));
        EXPECT_EQ(texts[state], node.StatusString(0));
        EXPECT_EQ(0u, node.StatusCode(0));
    }
    for (const DWORD state : {4u, ClusterStateUnknown}) {
        states->nodeState = state;
        EXPECT_EQ(0, node.Status(0));
        const StringArray said = NewReports();
        ASSERT_EQ(1u, said.size());
        EXPECT_EQ(0u, said[0].find(L"1 Node::Info( int ). Unknown node state afater calling GetClusterNodeState( )"));
        EXPECT_EQ(L"Node is joining.", node.StatusString(0));
        NewReports();
    }
    EXPECT_EQ(0, ::Node(L"N9", cluster, L"Test", 0).Status(0));
    EXPECT_EQ(0, ::Node(L"N1", nullptr, L"Test", 0).Status(0));
    EXPECT_EQ((StringArray{L"1 Node::Open( ). Failure opening node.", L"1 Node::Open( ). Invalid cluster handle."}),
              NewReports());
}

TEST_F(ANode, SaysOnStandardOutputWhetherTheClusterAccepted) {
    struct {
        int (Node::*control)();
        const wchar_t* done;
        const wchar_t* refused;
    } const rows[] = {
        {&::Node::Pause, L"Node activity paused.\n", L"Node::Pause( void ). Failure calling PauseClusterNode( ).\n"},
        {&::Node::Resume, L"Node activity assumed.\n",
         L"Node::Resume( void ). Failure calling ResumeClusterNode( ).\n"},
        {&::Node::Evict, L"Node evicted permanenetly.\n",
         L"Node::Evict( void ). Failure calling EvictClusternode( ).\n"},
    };
    ::Node open(L"N2", cluster, L"Test", 1);
    ::Node closed(L"N1", cluster, L"Test", 1);
    ASSERT_EQ(1, open.Open());
    for (const auto& row : rows) {
        printed.Take();
        EXPECT_EQ(1, (open.*row.control)());
        EXPECT_EQ(0, (closed.*row.control)());
        EXPECT_EQ(std::wstring(row.done) + row.refused, printed.Take());
    }
}

TEST_F(ANode, DiscoversEveryGroupOfTheClusterPastAnItemThatCannotBeRead) {
    failing->FailItem(Operation::Enumerate, 1, platform::error::GeneralFailure);
    ::Node node(L"N1", cluster, L"Test", 1);
    node.Discover();
    EXPECT_EQ((StringArray{L"Alpha", L"Gamma"}), KeysOf(node.GroupsPtr()));
    EXPECT_EQ((StringArray{L"Alpha 1", L"Alpha 2", L"Gamma 1", L"Gamma 2"}), KeysOf(node.ResourcesPtr()));
    EXPECT_EQ(0, node.GroupsPtr()->JustChanged());

    ::Node unready(L"N1", cluster, L"Test", 0);
    unready.Discover();
    EXPECT_EQ(nullptr, unready.Update(L"Alpha", CLUSTER_CHANGE_GROUP_ADDED));
    EXPECT_EQ(nullptr, unready.GroupsPtr());
}

TEST_F(ANode, FollowsNotificationsAndStringArrayNoDeletedObject) {
    ::Node node(L"N1", cluster, L"Test", 1);
    node.Discover();
    ClusterComponent* added = node.Update(L"Delta", CLUSTER_CHANGE_GROUP_ADDED);
    EXPECT_EQ(added, node.GroupsPtr()->Find(L"Delta"));
    ClusterComponent* before = node.GroupsPtr()->Find(L"Beta");
    EXPECT_NE(before, node.Update(L"Beta", CLUSTER_CHANGE_GROUP_ADDED));
    EXPECT_EQ(L"Beta", before->Name());

    EXPECT_EQ(nullptr, node.Update(L"Alpha", CLUSTER_CHANGE_GROUP_DELETED));
    EXPECT_EQ((StringArray{L"Beta", L"Delta", L"Gamma"}), KeysOf(node.GroupsPtr()));
    node.Update(L"Gamma 1", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ((StringArray{L"Beta 1", L"Beta 2", L"Gamma 2"}), KeysOf(node.ResourcesPtr()));

    ClusterComponent* resource = node.Update(L"New", CLUSTER_CHANGE_RESOURCE_ADDED);
    EXPECT_EQ(resource, dynamic_cast<::Group*>(node.GroupsPtr()->Find(L"Gamma"))->ResourcesPtr()->Find(L"New"));
    EXPECT_EQ(nullptr, node.Update(L"Omega", CLUSTER_CHANGE_GROUP_DELETED));
    EXPECT_EQ(nullptr, node.Update(L"Beta", CLUSTER_CHANGE_GROUP_STATE));
}

TEST_F(ANode, SharesHandleAndGroupsWithItsCopies) {
    auto original = std::make_unique<::Node>(L"N1", cluster, L"Test", 1);
    original->Open();
    original->Discover();
    ::Node copy(*original);
    ::Node assigned(L"N2", cluster, L"Test", 1);
    assigned = *original;
    EXPECT_EQ(L"N1", assigned.Name());
    original.reset();
    EXPECT_EQ(0u, GetClusterNodeState(copy.Handle()));
    copy.Update(L"Alpha", CLUSTER_CHANGE_GROUP_DELETED);
    EXPECT_EQ((StringArray{L"Beta", L"Gamma"}), KeysOf(assigned.GroupsPtr()));
    EXPECT_EQ((StringArray{L"Beta 1", L"Beta 2", L"Gamma 1", L"Gamma 2"}), KeysOf(assigned.ResourcesPtr()));
}

}  // namespace
