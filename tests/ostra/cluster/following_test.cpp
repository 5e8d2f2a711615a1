#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <platform/base/last_error.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <random>

using OstraDLL::Cluster;
using tests::Operation;

namespace {

using Change = platform::ClusterChange;

/// A cluster object that was open before the changes.
class AFollowedCluster : public tests::ClusterWorld {
protected:
    AFollowedCluster() {
        model.Open(1);
        Forget();
    }

    /// Everything that the collections of a cluster object list, one line each.
    static StringArray Listed(Cluster& cluster) {
        StringArray lines;
        const auto list = [&lines](const std::wstring& where, const CMapStringToOb* index) {
            for (const auto& [key, object] : *index) {
                lines.push_back(where + key);
                EXPECT_EQ(key, dynamic_cast<ClusterComponent*>(object)->Name());
            }
        };
        list(L"group ", cluster.GroupsPtr());
        list(L"resource ", cluster.ResourcesPtr());
        list(L"node ", cluster.NodesPtr());
        for (const auto& [nodeName, object] : *cluster.NodesPtr()) {
            auto* node = dynamic_cast<::Node*>(object);
            list(nodeName + L" resource ", node->ResourcesPtr());
            for (const auto& [groupName, member] : *node->GroupsPtr())
                list(nodeName + L" " + groupName + L" ", dynamic_cast<::Group*>(member)->ResourcesPtr());
        }
        return lines;
    }

    StringArray Found() {
        Cluster fresh(L"Test", 0, 2);
        fresh.Open(1);
        return Listed(fresh);
    }

    /// Tells the model of the changes since the last call, as a program does that follows them.
    void Feed() {
        for (const Change& change : Changes()) {
            model.UpdateResources(change.object, change.notification);
            model.Update(change.object, change.notification);
        }
        Forget();
    }

    void ChangeSomething(std::minstd_rand& random) {
        const std::wstring group = L"G" + std::to_wstring(random() % 6);
        const std::wstring resource = L"R" + std::to_wstring(random() % 12);
        ObjectId id, holder;
        const bool hasGroup = service->Find(platform::ObjectKind::Group, group, holder) == 0;
        const bool hasResource = service->Find(platform::ObjectKind::Resource, resource, id) == 0;
        const ObjectId node = Node(random() % 2 ? L"N1" : L"N2");
        switch (random() % 8) {
            case 0: service->CreateGroup(group, id); break;
            case 1:
                if (hasGroup) service->RenameGroup(holder, L"G" + std::to_wstring(random() % 6));
                break;
            case 2:
                if (hasGroup) service->MoveGroup(holder, node);
                break;
            case 3:
                if (hasGroup) Administration().DeleteGroup(holder);
                break;
            case 4:
            case 5:
                if (hasResource) Administration().DeleteResource(id);
                break;
            default:
                if (hasGroup) service->CreateResource(holder, resource, L"Generic Service", 0, id);
                break;
        }
    }

    using ObjectId = platform::ObjectId;
    Cluster model{L"Test", 0, 2};
};

TEST_F(AFollowedCluster, HasWhatADiscoveryWouldFindHoweverLateItIsTold) {
    std::minstd_rand random(11);
    for (int i = 0; i < 600; ++i) {
        ChangeSomething(random);
        if (i == 200) Expect(Administration().AddNode(L"N3"), L"N3");
        if (i == 300) Listed(model);  // every node reads its groups
        if (i == 400) Expect(service->EvictNode(Node(L"N3")), L"N3");
        if (random() % 25 != 0 && i != 599) continue;
        Feed();
        ASSERT_EQ(Found(), Listed(model)) << "after change " << i;
    }
    const StringArray reports = NewReports();
    for (const std::wstring& report : reports)
        EXPECT_TRUE(report.starts_with(L"1 Group::Open( ). Failure opening group.G") ||
                    report.starts_with(L"1 Cluster::UpdateResource( ). Failure searching for Resource.R"))
            << platform::ToUtf8(report);
}

TEST_F(AFollowedCluster, IsPutInStepByADiscoveryAloneAndKeepsWhatIsGoneForThoseWhoHoldIt) {
    ::Group* beta = dynamic_cast<::Group*>(model.GroupsPtr()->Find(L"Beta"));
    const ::Resource* kept = model.GetResource(L"Beta", L"Beta 1");
    Expect(service->RenameGroup(Group(L"Alpha"), L"Omega"), L"Alpha");
    for (const wchar_t* name : {L"Gamma 1", L"Gamma 2"}) Expect(Administration().DeleteResource(Resource(name)), name);
    Expect(Administration().DeleteGroup(Group(L"Gamma")), L"Gamma");
    Expect(Administration().DeleteResource(Resource(L"Beta 2")), L"Beta 2");
    Give(Group(L"Beta"), {L"Beta 2", L"Physical Disk"});  // another one of that name
    ::Resource* gone = beta->GetResource(L"Beta 2");
    ::Group* former = dynamic_cast<::Group*>(model.GroupsPtr()->Find(L"Alpha"));
    EXPECT_EQ(2u, model.Discover());
    EXPECT_EQ(Found(), Listed(model));
    EXPECT_TRUE(model.GroupsPtr()->Find(L"Beta") == beta && model.GetResource(L"Beta", L"Beta 1") == kept);
    EXPECT_NE(gone, beta->GetResource(L"Beta 2"));
    EXPECT_EQ(L"Beta 2 Alpha", gone->Name() + L" " + former->Name());
    EXPECT_EQ(L"Physical Disk", beta->GetResource(L"Beta 2")->Type());

    const StringArray listed = Listed(model);
    const long users = Users();
    model.DeleteReplaced();
    EXPECT_GT(users, Users());
    EXPECT_EQ(listed, Listed(model));
}

TEST_F(AFollowedCluster, NeitherGrowsNorMovesWhileNothingChanges) {
    const auto objects = [this] {
        std::vector<const CObject*> found;
        for (const CMapStringToOb* index : {model.NodesPtr(), model.GroupsPtr(), model.ResourcesPtr()})
            for (const auto& [key, object] : *index) found.push_back(object);
        return found;
    };
    model.FindNode(L"N1")->GroupsPtr();
    model.Discover();
    const auto before = objects();
    const long users = Users();
    failing->ForgetCalls();
    for (int i = 0; i < 1000; ++i) model.Discover();
    EXPECT_TRUE(before == objects() && users == Users());
    EXPECT_EQ(0, failing->Calls(Operation::Find)) << "nothing is opened again";
}

TEST_F(AFollowedCluster, MakesTheObjectsOfANodeWhenTheyAreAskedFor) {
    Cluster other(L"Test", 0, 2);
    failing->ForgetCalls();
    other.Open(1);
    EXPECT_EQ(9, failing->Calls(Operation::Find)) << "three groups of two resources, once";
    EXPECT_EQ(3, failing->Calls(Operation::Enumerate)) << "the nodes, and for each of them the groups";
    const ::Node copy(*other.FindNode(L"N1"));
    EXPECT_EQ(18, failing->Calls(Operation::Find));
    EXPECT_EQ(3, copy.GroupsPtr()->GetCount());
}

TEST_F(AFollowedCluster, TellsOfADeletedDiskAndReportsNothing) {
    for (const wchar_t* name : {L"Gamma 2", L"Alpha 1"}) {
        Expect(Administration().DeleteResource(Resource(name)), name);
        model.UpdateResources(name, CLUSTER_CHANGE_RESOURCE_DELETED);
        EXPECT_EQ(1, model.DisksJustChanged()) << "its type was not known";
    }
    ObjectId id;
    for (const wchar_t* name : {L"Beta 1", L"Beta 2"}) model.GetResource(L"Beta", name)->Type();
    Expect(Administration().DeleteResource(Resource(L"Beta 1")), L"Beta 1");
    const std::wstring& key = model.ResourcesPtr()->begin()->first;
    EXPECT_EQ(L"Alpha 2", key);
    model.UpdateResources(L"Beta 1", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ(0, model.DisksJustChanged());
    EXPECT_EQ(StringArray(), NewReports());
}

TEST_F(AFollowedCluster, MayBeToldByReferenceToAnyNameThatItHolds) {
    model.Update(model.ResourcesPtr()->begin()->first, CLUSTER_CHANGE_RESOURCE_DELETED);
    model.UpdateResources(model.ResourcesPtr()->begin()->first, CLUSTER_CHANGE_RESOURCE_DELETED);
    model.Update(model.GroupsPtr()->begin()->first, CLUSTER_CHANGE_GROUP_DELETED);
    ::Node* node = model.FindNode(L"N1");
    node->Update(node->GroupsPtr()->begin()->first, CLUSTER_CHANGE_GROUP_DELETED);
    node->Update(node->ResourcesPtr()->begin()->first, CLUSTER_CHANGE_RESOURCE_DELETED);
    auto* group = dynamic_cast<::Group*>(node->GroupsPtr()->begin()->second);
    group->Update(group->ResourcesPtr()->begin()->first, CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ((StringArray{L"Gamma"}), KeysOf(node->GroupsPtr()));
    EXPECT_EQ(StringArray(), KeysOf(group->ResourcesPtr()));
}

}  // namespace
