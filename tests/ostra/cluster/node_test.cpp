#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <tests/ostra/cluster/ClusterWorld.h>

namespace {

using ANode = tests::ClusterWorld;

TEST_F(ANode, SaysOnStandardOutputWhetherTheClusterAccepted) {
    ::Node open(L"N2", cluster, L"Test", 1), closed(L"N1", cluster, L"Test", 1);
    ASSERT_EQ(1, open.Open());
    printed.Take();
    for (int (::Node::*control)() : {&::Node::Pause, &::Node::Resume, &::Node::Evict}) {
        EXPECT_EQ(1, (open.*control)());
        EXPECT_EQ(0, (closed.*control)());
    }
    EXPECT_EQ(
        L"Node activity paused.\nNode::Pause( void ). Failure calling PauseClusterNode( ).\n"
        L"Node activity assumed.\nNode::Resume( void ). Failure calling ResumeClusterNode( ).\n"
        L"Node evicted permanenetly.\nNode::Evict( void ). Failure calling EvictClusternode( ).\n",
        printed.Take());
}

TEST_F(ANode, DiscoversWhatCanBeReadAndFollowsNotificationsInItsCopies) {
    failing->FailItem(tests::Operation::Enumerate, 1, platform::error::GeneralFailure);
    auto original = std::make_unique<::Node>(L"N1", cluster, L"Test", 1);
    original->Open();
    original->Discover();
    ::Node copy(*original), node(L"N2", cluster, L"Test", 1);
    node = *original;
    original.reset();
    EXPECT_EQ(L"N1", node.Name());
    EXPECT_EQ(0u, GetClusterNodeState(copy.Handle()));
    EXPECT_EQ((StringArray{L"Alpha", L"Gamma"}), KeysOf(node.GroupsPtr()));
    EXPECT_EQ((StringArray{L"Alpha 1", L"Alpha 2", L"Gamma 1", L"Gamma 2"}), KeysOf(node.ResourcesPtr()));
    EXPECT_EQ(0, node.GroupsPtr()->JustChanged());

    const auto* added = node.Update(L"Beta", CLUSTER_CHANGE_GROUP_ADDED);
    EXPECT_EQ(added, copy.GroupsPtr()->Find(L"Beta"));
    EXPECT_EQ(1, node.GroupsPtr()->JustChanged());
    for (const wchar_t* gone : {L"Alpha", L"Omega"})
        EXPECT_EQ(nullptr, copy.Update(gone, CLUSTER_CHANGE_GROUP_DELETED));
    EXPECT_EQ((StringArray{L"Beta", L"Gamma"}), KeysOf(node.GroupsPtr()));
    node.Update(L"Gamma 1", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ((StringArray{L"Gamma 2"}), KeysOf(copy.ResourcesPtr()));
    Expect(Administration().DeleteResource(Resource(L"Gamma 2")), L"Gamma 2");
    node.Discover();  // the object stays with the group that another one replaced
    node.Update(L"Gamma 2", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ(nullptr, node.ResourcesPtr()->Find(L"Gamma 2"));
    ClusterComponent* resource = node.Update(L"New", CLUSTER_CHANGE_RESOURCE_ADDED);
    EXPECT_EQ(resource, dynamic_cast<::Group*>(node.GroupsPtr()->Find(L"Gamma"))->ResourcesPtr()->Find(L"New"));

    ::Node unready(L"N1", cluster, L"Test", 0);
    unready.Discover();
    EXPECT_EQ(nullptr, unready.Update(L"Alpha", CLUSTER_CHANGE_GROUP_ADDED));
}

}  // namespace
