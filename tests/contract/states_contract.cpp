#include <tests/contract/ClusterServiceContract.h>

#include <gtest/gtest.h>

using namespace platform;

namespace {

/// The resources that came to `state` in a list of changes, in its order.
StringArray ComingTo(const std::vector<ClusterChange>& changes) {
    StringArray names;
    for (const ClusterChange& change : changes)
        if (change.notification == CLUSTER_CHANGE_RESOURCE_STATE) names.push_back(change.object);
    return names;
}

constexpr DWORD online = ClusterResourceOnline;
constexpr DWORD offline = ClusterResourceOffline;

}  // namespace

TEST_P(ClusterServiceContract, BringsOnlineInDependencyOrderAndOfflineInReverse) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId share = MakeResource(group, L"Share");
    const ObjectId name = MakeResource(group, L"Name");
    const ObjectId disk = MakeResource(group, L"Disk");
    EXPECT_EQ(0U, Service().AddDependency(share, name));
    EXPECT_EQ(0U, Service().AddDependency(name, disk));
    std::int64_t mark = LastChange();
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ((StringArray{L"Disk", L"Name", L"Share"}), ComingTo(ChangesAfter(mark)));
    mark = LastChange();
    EXPECT_EQ(0U, Service().OfflineGroup(group));
    EXPECT_EQ((StringArray{L"Share", L"Name", L"Disk"}), ComingTo(ChangesAfter(mark)));

    EXPECT_EQ(0U, Service().OnlineResource(name));
    EXPECT_EQ((Numbers{online, online, offline}), StatesOf({disk, name, share}));
    EXPECT_EQ(0U, Service().OnlineResource(share));
    EXPECT_EQ(0U, Service().OfflineResource(name));
    EXPECT_EQ((Numbers{online, offline, offline}), StatesOf({disk, name, share}));
}

TEST_P(ClusterServiceContract, DerivesAGroupsStateFromItsResources) {
    const ObjectId group = MakeGroup(L"Files");
    EXPECT_EQ(DWORD{ClusterGroupOffline}, StateOf(group));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(DWORD{ClusterGroupOnline}, StateOf(group));
    const ObjectId disk = MakeResource(group, L"Disk");
    const ObjectId share = MakeResource(group, L"Share", {disk});
    const auto expect = [&](Numbers states) { EXPECT_EQ(states, StatesOf({group, disk, share})); };
    expect({ClusterGroupOffline, offline, offline});
    EXPECT_EQ(0U, Service().OnlineResource(disk));
    expect({ClusterGroupPartialOnline, online, offline});
    EXPECT_EQ(0U, Service().OnlineResource(share));
    expect({ClusterGroupOnline, online, online});
    EXPECT_EQ(0U, Admin().FailResource(disk));
    expect({ClusterGroupFailed, ClusterResourceFailed, offline});
    EXPECT_EQ(error::ResourceNotOnline, Admin().FailResource(share));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    expect({ClusterGroupOnline, online, online});
    EXPECT_EQ(0U, Admin().FailResource(share));
    EXPECT_EQ(0U, Service().OfflineResource(share));
    expect({ClusterGroupPartialOnline, online, offline});
}

TEST_P(ClusterServiceContract, AskingForWhatIsThereChangesNothing) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    EXPECT_EQ(0U, Service().OnlineGroup(group, Node(L"N2")));
    EXPECT_EQ(0U, Service().PauseNode(Node(L"N3")));
    const std::int64_t mark = LastChange();
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(0U, Service().OnlineGroup(group, Node(L"N2")));
    EXPECT_EQ(0U, Service().MoveGroup(group, Node(L"N2")));
    EXPECT_EQ(0U, Service().OnlineResource(disk));
    EXPECT_EQ(0U, Service().PauseNode(Node(L"N3")));
    EXPECT_EQ(mark, LastChange());
}

TEST_P(ClusterServiceContract, ChoosesAGroupsNodeByPreferenceAndState) {
    const ObjectId group = MakeGroup(L"Files");
    EXPECT_EQ(L"N1", OwnerOf(group));
    const std::vector<ObjectId> preferred = {Node(L"N3"), Node(L"N2")};
    EXPECT_EQ(0U, Service().SetGroupOwners(group, preferred));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(L"N3", OwnerOf(group));
    EXPECT_EQ(0U, Service().OfflineGroup(group));
    EXPECT_EQ(0U, Service().MoveGroup(group, Node(L"N1")));
    EXPECT_EQ(0U, Service().PauseNode(Node(L"N3")));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(L"N2", OwnerOf(group)) << "the first is paused";

    const ObjectId other = MakeGroup(L"Mail");
    EXPECT_EQ(0U, Service().OnlineGroup(other, Node(L"N2")));
    EXPECT_EQ(0U, Service().OfflineGroup(other));
    EXPECT_EQ(0U, Service().OnlineGroup(other, {}));
    EXPECT_EQ(L"N2", OwnerOf(other)) << "no preference: it stays";
    for (const wchar_t* node : {L"N1", L"N2"}) EXPECT_EQ(0U, Service().PauseNode(Node(node)));
    ObjectId id;
    EXPECT_EQ(error::HostNodeNotAvailable, Service().CreateGroup(L"Third", id));
}

TEST_P(ClusterServiceContract, MovesAGroupToTheNextNodeThatMayHaveIt) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId first = MakeResource(group, L"Online");
    const ObjectId second = MakeResource(group, L"Offline");
    EXPECT_EQ(0U, Service().OnlineResource(first));
    EXPECT_EQ(0U, Service().PauseNode(Node(L"N2")));
    for (const wchar_t* next : {L"N3", L"N1"}) {
        EXPECT_EQ(0U, Service().MoveGroup(group, {}));
        EXPECT_EQ(next, OwnerOf(group));
        EXPECT_EQ((Numbers{online, offline}), StatesOf({first, second}));
    }
    EXPECT_EQ(error::ClusterNodePaused, Service().MoveGroup(group, Node(L"N2")));
    EXPECT_EQ(0U, Service().RemoveResourceOwner(second, Node(L"N3")));
    EXPECT_EQ(error::NodeCannotHostResource, Service().MoveGroup(group, Node(L"N3")));
    EXPECT_EQ(error::HostNodeNotAvailable, Service().MoveGroup(group, {}));
    EXPECT_EQ(0U, Service().ResumeNode(Node(L"N2")));
    EXPECT_EQ(0U, Admin().TakeNodeDown(Node(L"N2")));
    EXPECT_EQ(error::ClusterNodeDown, Service().MoveGroup(group, Node(L"N2")));
    EXPECT_EQ(error::ClusterNodeDown, Service().OnlineGroup(group, Node(L"N2")));
    EXPECT_EQ(L"N1", OwnerOf(group));
}

TEST_P(ClusterServiceContract, APausedNodeKeepsItsGroupsAndGetsNoNewOnes) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    const ObjectId node = Node(L"N1");
    const ObjectId other = Node(L"N3");
    EXPECT_EQ(error::ClusterNodeNotPaused, Service().ResumeNode(node));
    EXPECT_EQ(0U, Service().PauseNode(node));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(L"N1", OwnerOf(group));
    EXPECT_EQ((Numbers{ClusterNodePaused, online}), StatesOf({node, disk}));
    EXPECT_EQ(L"N2", OwnerOf(MakeGroup(L"Mail")));
    EXPECT_EQ(0U, Service().ResumeNode(node));
    EXPECT_EQ(DWORD{ClusterNodeUp}, StateOf(node));

    EXPECT_EQ(0U, Admin().TakeNodeDown(other));
    EXPECT_EQ((Numbers(3, error::ClusterNodeDown)),
              (Numbers{Service().PauseNode(other), Service().ResumeNode(other), Admin().TakeNodeDown(other)}));
    EXPECT_EQ(0U, Admin().BringNodeUp(other));
    EXPECT_EQ(error::ClusterNodeUp, Admin().BringNodeUp(other));
}

TEST_P(ClusterServiceContract, GroupsOfANodeThatGoesDownFailOverAsTheyWere) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId first = MakeResource(group, L"Online");
    const ObjectId second = MakeResource(group, L"Offline");
    const ObjectId bound = MakeGroup(L"Bound");
    const ObjectId boundResource = MakeResource(bound, L"Bound resource");
    for (const wchar_t* node : {L"N2", L"N3"}) EXPECT_EQ(0U, Service().RemoveResourceOwner(boundResource, Node(node)));
    const std::vector<ObjectId> preferred = {Node(L"N1"), Node(L"N3")};
    EXPECT_EQ(0U, Service().SetGroupOwners(group, preferred));
    EXPECT_EQ(0U, Service().OnlineResource(first));
    EXPECT_EQ(0U, Service().OnlineGroup(bound, {}));

    EXPECT_EQ(0U, Admin().TakeNodeDown(Node(L"N1")));
    EXPECT_EQ(L"N3 N1", OwnerOf(group) + L" " + OwnerOf(bound));
    EXPECT_EQ((Numbers{ClusterNodeDown, online, offline, ClusterGroupOffline}),
              StatesOf({Node(L"N1"), first, second, bound}));
    EXPECT_EQ(error::HostNodeNotAvailable, Service().OnlineResource(boundResource));
    EXPECT_EQ(error::HostNodeNotAvailable, Service().OnlineGroup(bound, {}));

    EXPECT_EQ(0U, Admin().BringNodeUp(Node(L"N1")));
    EXPECT_EQ(L"N3", OwnerOf(group)) << "no failback";
    EXPECT_EQ(DWORD{ClusterGroupOffline}, StateOf(bound));
    EXPECT_EQ(0U, Service().OnlineGroup(bound, {}));
}

TEST_P(ClusterServiceContract, EvictsANodeForGood) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    const std::vector<ObjectId> preferred = {Node(L"N1"), Node(L"N2")};
    EXPECT_EQ(0U, Service().SetGroupOwners(group, preferred));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(0U, Service().EvictNode(Node(L"N1")));
    EXPECT_EQ(L"N2", OwnerOf(group));
    EXPECT_EQ(DWORD{ClusterResourceOnline}, StateOf(disk));
    EXPECT_EQ((StringArray{L"2 N2"}), Members(group, CLUSTER_GROUP_ENUM_NODES));
    EXPECT_EQ((StringArray{L"4 N2", L"4 N3"}), Members(disk, CLUSTER_RESOURCE_ENUM_NODES));
    EXPECT_EQ((StringArray{L"1 N2", L"1 N3"}), Items(CLUSTER_ENUM_NODE));

    EXPECT_EQ(0U, Service().PauseNode(Node(L"N3")));
    EXPECT_EQ(error::HostNodeNotAvailable, Service().EvictNode(Node(L"N2")));
    EXPECT_EQ(0U, Service().EvictNode(Node(L"N3")));
    EXPECT_EQ(error::CannotEvictActiveNode, Service().EvictNode(Node(L"N2")));
    EXPECT_EQ(DWORD{ClusterGroupOnline}, StateOf(group));
}

TEST_P(ClusterServiceContract, AResourceThatCannotComeOnlineLeavesItsGroupAsItWas) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId first = MakeResource(group, L"First");
    const ObjectId second = MakeResource(group, L"Second", {first});
    EXPECT_EQ(0U, Service().RemoveResourceOwner(second, Node(L"N1")));
    EXPECT_EQ(error::NodeCannotHostResource, Service().OnlineResource(second));
    EXPECT_EQ(DWORD{ClusterResourceOffline}, StateOf(first));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(L"N2", OwnerOf(group)) << "the first node that may have all of it";
    EXPECT_EQ(0U, Service().OfflineGroup(group));

    for (const wchar_t* node : {L"N2", L"N3"}) EXPECT_EQ(0U, Service().RemoveResourceOwner(second, Node(node)));
    const std::int64_t mark = LastChange();
    EXPECT_EQ(error::HostNodeNotAvailable, Service().OnlineResource(second));
    EXPECT_EQ(error::HostNodeNotAvailable, Service().OnlineGroup(group, {}));
    EXPECT_EQ(DWORD{ClusterResourceOffline}, StateOf(first));
    EXPECT_EQ(mark, LastChange());
}
