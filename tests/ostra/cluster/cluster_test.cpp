#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <ostra/cluster/PredefinedResourceTypes.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <gtest/gtest.h>

#include <random>

using OstraDLL::Cluster;
using tests::ClusterWorld;
using tests::Operation;

namespace {

class ACluster : public ClusterWorld {
protected:
    ACluster() { model.Open(1); }

    static ::Group* GroupOf(Cluster& cluster, const std::wstring& node, const std::wstring& group) {
        return dynamic_cast<::Group*>(cluster.FindNode(node)->GroupsPtr()->Find(group));
    }

    Cluster model{L"Test", 0, 2};
};

using ANode = ClusterWorld;

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
    failing->FailItem(Operation::Enumerate, 1, platform::error::GeneralFailure);
    auto original = std::make_unique<::Node>(L"N1", cluster, L"Test", 1);
    original->Open();
    original->Discover();
    ::Node copy(*original), node(L"N2", cluster, L"Test", 1);
    node = *original;
    original.reset();
    EXPECT_EQ(L"N1", node.Name());
    for (const HNODE handle : {copy.Handle(), node.Handle()}) EXPECT_EQ(0u, GetClusterNodeState(handle));
    EXPECT_EQ((StringArray{L"Alpha", L"Gamma"}), KeysOf(node.GroupsPtr()));
    EXPECT_EQ((StringArray{L"Alpha 1", L"Alpha 2", L"Gamma 1", L"Gamma 2"}), KeysOf(node.ResourcesPtr()));

    const auto* added = node.Update(L"Beta", CLUSTER_CHANGE_GROUP_ADDED);
    EXPECT_EQ(added, copy.GroupsPtr()->Find(L"Beta"));
    for (const wchar_t* gone : {L"Alpha", L"Omega"})
        EXPECT_EQ(nullptr, copy.Update(gone, CLUSTER_CHANGE_GROUP_DELETED));
    EXPECT_EQ((StringArray{L"Beta", L"Gamma"}), KeysOf(node.GroupsPtr()));
    Expect(Administration().DeleteResource(Resource(L"Gamma 2")), L"Gamma 2");
    node.Discover();  // the object stays with the group that another one replaced
    node.Update(L"Gamma 2", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ(nullptr, node.ResourcesPtr()->Find(L"Gamma 2"));
    ::Node unready(L"N1", cluster, L"Test", 0);
    unready.Discover();
    EXPECT_EQ(nullptr, unready.Update(L"Alpha", CLUSTER_CHANGE_GROUP_ADDED));
}

TEST_F(ACluster, ConnectsWithoutDiscoveringAndDiscoversEachNodesView) {
    Cluster other(L"Test", 0, 2), nowhere(L"Nowhere", 0, 0);
    EXPECT_EQ(nullptr, other.Update(L"Delta", CLUSTER_CHANGE_GROUP_ADDED));
    EXPECT_EQ(L"", other.GetClusterName());
    EXPECT_EQ(1, other.Open(0));
    EXPECT_EQ(L"Test", other.GetClusterName());
    EXPECT_EQ(StringArray(), KeysOf(other.NodesPtr()));
    EXPECT_EQ(3u, other.Discover());
    EXPECT_EQ((StringArray{L"Alpha", L"Beta", L"Gamma"}), KeysOf(other.GroupsPtr()));
    EXPECT_NE(GroupOf(other, L"N1", L"Beta"), other.GroupsPtr()->Find(L"Beta"));
    EXPECT_EQ(GroupOf(other, L"N2", L"Beta"), other.GroupsPtr()->Find(L"Beta"));
    EXPECT_EQ(0, nowhere.Open(1));
    EXPECT_EQ((StringArray{L"1 Cluster::Open( ). Failure opening cluster:Nowhere"}), NewReports());
    EXPECT_EQ(0u, nowhere.GetAllNodes());
}

TEST_F(ACluster, FollowsNotificationsInEveryCollection) {
    EXPECT_EQ(model.FindNode(L"N2"), model.Update(L"Alpha 1", CLUSTER_CHANGE_RESOURCE_DELETED));
    EXPECT_EQ((StringArray{L"Alpha 2"}), KeysOf(GroupOf(model, L"N1", L"Alpha")->ResourcesPtr()));
    EXPECT_EQ(1, model.DisksJustChanged());
    model.Update(L"Alpha", CLUSTER_CHANGE_GROUP_DELETED);  // with a resource of which no notification came
    EXPECT_EQ((StringArray{L"Beta", L"Gamma"}), KeysOf(model.GroupsPtr()));
    const StringArray left{L"Beta 1", L"Beta 2", L"Gamma 1", L"Gamma 2"};
    EXPECT_EQ(left, KeysOf(model.ResourcesPtr()));
    EXPECT_EQ(left, KeysOf(model.FindNode(L"N1")->ResourcesPtr()));

    model.Update(L"Delta", CLUSTER_CHANGE_GROUP_ADDED);
    EXPECT_EQ(GroupOf(model, L"N2", L"Delta"), model.GroupsPtr()->Find(L"Delta"));
    model.Update(L"Gamma 1", CLUSTER_CHANGE_RESOURCE_ADDED);
    EXPECT_EQ(GroupOf(model, L"N2", L"Gamma")->GetResource(L"Gamma 1"), model.ResourcesPtr()->Find(L"Gamma 1"));
    EXPECT_EQ(1, model.DisksJustChanged());

    for (const DWORD change : {0x100000u, 0x200000u, 0x400000u, 0x800000u}) {
        EXPECT_EQ(change == 0x100000u, model.Update(L"Both", change) != nullptr);
        EXPECT_EQ(change != 0x100000u, model.AdaptersJustChanged());
        EXPECT_EQ(0, model.AdaptersJustChanged());
    }
}

TEST_F(ACluster, NamesNoDeadObjectWhateverItIsTold) {
    std::minstd_rand random(7);
    const auto pick = [&random](const auto& choices) { return choices[random() % std::size(choices)]; };
    const wchar_t* const names[] = {L"Alpha", L"Beta", L"Gamma", L"Delta", L"Alpha 1", L"Beta 2", L"Gamma 2"};
    const DWORD changes[] = {CLUSTER_CHANGE_GROUP_ADDED, CLUSTER_CHANGE_GROUP_DELETED, CLUSTER_CHANGE_RESOURCE_ADDED,
                             CLUSTER_CHANGE_RESOURCE_DELETED};
    std::unique_ptr<::Group> copy;
    for (int i = 0; i < 400; ++i) {
        if (model.NodesPtr()->NumberOfComponents() == 0) model.Discover();
        const std::wstring name = pick(names);
        const DWORD change = pick(changes);
        ::Node* node = model.FindNode(pick(std::array{L"N1", L"N2"}));
        auto* group = dynamic_cast<::Group*>(node->GroupsPtr()->Find(name));
        switch (random() % 12) {
            case 0: model.Discover(); break;
            case 1: node->Discover(); break;
            case 2: node->Initialize(); break;
            case 3: node->Update(name, change); break;
            case 4: copy = group ? std::make_unique<::Group>(*group) : nullptr; break;
            case 5: group ? group->Initialize(1) : model.Initialize(); break;
            case 6: group ? group->Discover(0) : 0; break;
            case 7: model.UpdateResources(name, change); break;
            default: model.Update(name, change); break;
        }
        std::vector<ClusterComponents*> indexes{model.GroupsPtr(), model.ResourcesPtr(), model.NodesPtr()};
        for (std::size_t at = 0; at < indexes.size(); ++at) {
            for (const auto& [key, member] : *indexes[at]) {
                EXPECT_EQ(key, dynamic_cast<ClusterComponent*>(member)->Name());
                if (auto* below = dynamic_cast<::Node*>(member))
                    indexes.insert(indexes.end(), {below->GroupsPtr(), below->ResourcesPtr()});
                if (auto* below = dynamic_cast<::Group*>(member)) indexes.push_back(below->ResourcesPtr());
            }
        }
    }
}

TEST_F(ACluster, FollowsResourcesWithoutTheirGroups) {
    const ClusterComponent* before = model.ResourcesPtr()->Find(L"Alpha 1");
    model.UpdateResources(L"Alpha 1", CLUSTER_CHANGE_RESOURCE_ADDED);
    const ClusterComponent* held = model.ResourcesPtr()->Find(L"Alpha 1");
    EXPECT_NE(before, held);
    model.UpdateResources(L"Alpha 1", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ(L"Alpha 1", held->Name());
    EXPECT_EQ(0, model.DisksJustChanged());
    for (const DWORD change : {CLUSTER_CHANGE_RESOURCE_ADDED, CLUSTER_CHANGE_RESOURCE_DELETED}) {
        model.UpdateResources(L"Gamma 2", change);  // a disk
        EXPECT_EQ(1, model.DisksJustChanged());
    }
    model.UpdateResources(L"Gamma 2", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ(0, model.DisksJustChanged());
    EXPECT_EQ((StringArray{L"1 Cluster::UpdateResource( ). Failure searching for Resource.Gamma 2"}), NewReports());
}

TEST_F(ACluster, SharesWhatItHasWithItsCopiesAndKeepsWhatARediscoveryReplaced) {
    auto original = std::make_unique<Cluster>(OpenCluster(L"Test"), 0, 2);
    original->Discover();
    Cluster copy(*original);
    const std::unique_ptr<::Group> found(original->FindGroup(L"Beta"));
    model = *original;
    original.reset();
    EXPECT_EQ(L"TestTest", copy.GetClusterName() + model.GetClusterName());
    copy.Update(L"Alpha", CLUSTER_CHANGE_GROUP_DELETED);
    EXPECT_EQ((StringArray{L"Beta", L"Gamma"}), KeysOf(copy.GroupsPtr()));
    EXPECT_EQ(1, found->BringOffLine());

    ::Group* group = GroupOf(model, L"N1", L"Alpha");
    ::Resource* resource = model.GetResource(L"Alpha", L"Alpha 1");
    EXPECT_EQ(1, model.RemoveAllOwners(resource));
    EXPECT_EQ(StringArray(), Members(Resource(L"Alpha 1"), CLUSTER_RESOURCE_ENUM_NODES));
    model.Update(L"Alpha", CLUSTER_CHANGE_GROUP_DELETED);
    const long users = Users();
    model.Initialize();
    EXPECT_EQ(users, Users()) << "the groups that were found have handles of their own";
    EXPECT_EQ(1, group->BringOffLine());
    EXPECT_EQ(1, resource->Status(0));
}

TEST_F(ACluster, WatchesOneGroupForTheWholeProcess) {
    printed.Take();
    EXPECT_EQ(0, model.Monitor(L"Omega", 0));
    for (const wchar_t* group : {L"Alpha", L"Beta"}) EXPECT_EQ(1, model.Monitor(group, 0));
    EXPECT_EQ(L"Cluster::Monitor( ). Group Alpha created.\n", printed.Take());
    keptForGood = 1;
}

TEST_F(ACluster, CreatesGroupsWithTheirPreferredOwnersInOrder) {
    const StringArray both{L"Site=REG_SZ:North", L"PreferredOwners=REG_SZ:N2#N9#N1"}, none{L"Site=REG_SZ:N1#"};
    ::Group* created = model.CreateGroup(L"Delta", &both);
    EXPECT_EQ(created, model.GroupsPtr()->Find(L"Delta"));
    EXPECT_EQ(0, model.SetPreferredOwners(created, &none));
    EXPECT_EQ((StringArray{L"N2", L"N1"}), Members(Group(L"Delta"), CLUSTER_GROUP_ENUM_NODES));
    GenericService type(L"Test", created->ClusterHandle());
    const ::Resource* resource = model.CreateResource(L"Delta", L"Delta 1", &type, nullptr);
    EXPECT_EQ(resource, model.ResourcesPtr()->Find(L"Delta 1"));
    model.Update(L"Delta", CLUSTER_CHANGE_GROUP_DELETED);
    EXPECT_EQ(nullptr, model.GroupsPtr()->Find(created->Name()));

    NewReports();
    failing->Fail(Operation::SetGroupOwners, platform::error::AccessDenied);
    EXPECT_EQ(0, model.SetPreferredOwners(created, &both));
    EXPECT_EQ((StringArray{L"1 Group::SetPreferredOwners( ). Failure calling wolfpack API::SetClusterNodeList( )."}),
              NewReports());
    failing->Fail(Operation::CreateGroup, platform::error::AccessDenied);
    EXPECT_TRUE(std::unique_ptr<::Group>(model.CreateGroup(L"Epsilon", nullptr)));
    EXPECT_EQ(nullptr, model.GroupsPtr()->Find(L"Epsilon"));
}

TEST_F(ACluster, ActsOnTheGroupsItKnowsByTheirExactNames) {
    EXPECT_EQ(1, model.BringGroupOffLine(L"Alpha"));
    EXPECT_EQ(1, model.BringResourceOnLine(L"Alpha", L"Alpha 1"));
    EXPECT_EQ(1, model.BringResourceOffLine(L"Alpha", L"Alpha 1"));
    EXPECT_EQ(1, model.MoveGroup(L"Alpha"));
    EXPECT_EQ(L"N2", OwnerOf(L"Alpha"));
    EXPECT_EQ(1, model.RenameGroup(L"Beta", L"Delta"));
    EXPECT_EQ(0, model.BringGroupOnLine(L"Beta"));  // known by that name, which the cluster has no more

    NewReports();
    printed.Take();
    for (const int result : {model.BringGroupOnLine(L"alpha"), model.BringGroupOffLine(L"alpha"),
                             model.BringResourceOnLine(L"alpha", L"x"), model.BringResourceOffLine(L"alpha", L"x"),
                             model.MoveGroup(L"alpha"), model.RenameGroup(L"alpha", L"Psi")})
        EXPECT_EQ(0, result);
    EXPECT_FALSE(model.GetResource(L"alpha", L"x") || model.FindNode(L"N9") || model.FindGroup(L"Omega"));
    EXPECT_EQ((StringArray{L"1 Cluster::BringGroupOnLine( groupName ). Invalid group name alpha",
                           L"1 Cluster::BringGroupOffLine( groupName ). Invalid group name alpha",
                           L"1 Cluster::BringResourceOnLine( groupName ). Invalid group name alpha",
                           L"1 Cluster::BringResourceOffLine( groupName ). Invalid group name alpha"}),
              NewReports());
    EXPECT_EQ(
        L"Cluster::MoveGroup( groupName ). Invalid group name alpha\n"
        L"Cluster::RenameGroup( oldName ). Invalid group name \n"
        L"Cluster::GetResource( groupName ). Invalid group name alpha\n"
        L"Cluster::FindNode( ). Failure finding node N9\n",
        printed.Take());
}

}  // namespace
