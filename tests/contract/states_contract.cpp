#include <platform/base/little_endian.h>
#include <platform/base/registry_types.h>
#include <platform/store/Database.h>
#include <tests/contract/ClusterServiceContract.h>
#include <tests/support/FakeClock.h>

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

/// A type, its property that two online resources cannot have alike, and what that may and may not be.
struct Held {
    using Value = std::variant<DWORD, std::wstring>;
    std::wstring type;
    std::wstring property;
    Value first;
    Value second;
    std::vector<Value> taken;  // as the first one
    DWORD takenCode;
    std::vector<Value> nonsense;
    DWORD nonsenseCode;
};

std::pair<DWORD, std::vector<BYTE>> AsRegistryValue(const Held::Value& value) {
    if (const auto* text = std::get_if<std::wstring>(&value)) return {REG_SZ, ToUtf16(*text)};
    std::vector<BYTE> bytes(4);
    PutNumber(bytes.data(), std::get<DWORD>(value));
    return {REG_DWORD, bytes};
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

TEST_P(ClusterServiceContract, AnAddressADiskAndANameAreOfOneOnlineResourceEach) {
    EXPECT_EQ(0U, Admin().AddDisk({7, 1, 1, {}}));
    EXPECT_EQ(0U, Admin().AddDisk({8, 2, 2, {}}));
    const ObjectId group = MakeGroup(L"Files");
    using Texts = std::vector<Held::Value>;
    const Held table[] = {
        {L"IP Address", L"Address", L"10.0.0.7", L"10.0.0.8", Texts{L"10.0.0.7", L"10.0.0.07"},
         error::ClusterIpAddressInUse, Texts{L"foo", L"300.1.1.1", L"10.0.0", L"", DWORD{7}}, error::InvalidParameter},
        {L"Physical Disk",
         L"Signature",
         DWORD{7},
         DWORD{8},
         {DWORD{7}, L"0x7"},
         error::ResourceNotAvailable,
         {DWORD{9}, DWORD{0}, L"foo"},
         error::ResourceNotAvailable},
        {L"Network Name", L"Name", L"Tärn", L"Lake", Texts{L"TÄRN"}, error::DuplicateName, {}, 0},
    };
    for (const auto& [type, property, firstValue, secondValue, taken, takenCode, nonsense, nonsenseCode] : table) {
        const ObjectId first = MakeResource(group, type + L" 1", {}, type);
        const ObjectId second = MakeResource(group, type + L" 2", {}, type);
        EXPECT_EQ(0U, SetPrivate(first, property, firstValue));
        EXPECT_EQ(0U, Service().OnlineResource(first));
        ClusterKeyId key = 0;
        ClusterKeyId parameters = 0;
        EXPECT_EQ(0U, SetPrivate(second, property, secondValue));
        EXPECT_EQ(0U, Service().ObjectKey(second, key));
        EXPECT_EQ(0U, Service().OpenKey(key, L"Parameters", parameters));
        const auto refusals = [&, &name = property](const Held::Value& value) {
            EXPECT_EQ(0U, Service().OfflineResource(second));
            EXPECT_EQ(0U, SetPrivate(second, name, value)) << "what is offline may have any";
            Numbers codes = {Service().OnlineResource(second)};
            EXPECT_EQ(0U, SetPrivate(second, name, secondValue));
            EXPECT_EQ(0U, Service().OnlineResource(second));
            const std::int64_t mark = LastChange();
            codes.push_back(SetPrivate(second, name, value));
            const auto [kind, bytes] = AsRegistryValue(value);
            codes.push_back(Service().SetValue(parameters, name, kind, bytes));
            EXPECT_EQ(mark, LastChange());
            return codes;
        };
        for (const Held::Value& value : taken) {
            EXPECT_EQ(Numbers(3, takenCode), refusals(value)) << ToUtf8(type);
            EXPECT_NE(std::wstring::npos, Database::LastMessage(takenCode).find(NameOf(first)))
                << "it names the holder";
        }
        for (const Held::Value& value : nonsense) EXPECT_EQ(Numbers(3, nonsenseCode), refusals(value)) << ToUtf8(type);
        EXPECT_EQ(0U, SetPrivate(second, L"Comment", L"any"));
        EXPECT_EQ(nonsenseCode, Service().DeleteKey(key, L"Parameters")) << ToUtf8(type);
        if (nonsenseCode) {
            EXPECT_EQ(nonsenseCode, Service().DeleteValue(parameters, property)) << ToUtf8(type);
        }
    }
}

TEST_P(ClusterServiceContract, AnOnlineAddressHasAMaskAndANetworkThatCanBe) {
    EXPECT_EQ(0U, Admin().AddNetwork({L"Public", L"192.168.1.0", L"255.255.255.0", 3, L""}));
    const ObjectId address = MakeResource(MakeGroup(L"Files"), L"Address", {}, L"IP Address");
    EXPECT_EQ(error::InvalidParameter, Service().OnlineResource(address)) << "it has none";
    EXPECT_EQ(0U, SetPrivate(address, L"Address", L"192.168.1.9"));
    EXPECT_EQ(0U, SetPrivate(address, L"Network", L"public"));
    EXPECT_EQ(0U, Service().OnlineResource(address));
    for (const wchar_t* mask : {L"1.2.3.4", L"0.0.0.0", L"foo"})
        EXPECT_EQ(error::InvalidParameter, SetPrivate(address, L"SubnetMask", mask)) << ToUtf8(mask);
    EXPECT_EQ(0U, SetPrivate(address, L"SubnetMask", L"255.255.255.0"));
    EXPECT_EQ(error::InvalidParameter, SetPrivate(address, L"Network", L"Nowhere"));
    const ObjectId network = Find(ObjectKind::Network, L"Public");
    EXPECT_EQ(error::ResourceOnline, Admin().RemoveNetwork(network));
    EXPECT_EQ(0U, Service().OfflineResource(address));
    EXPECT_EQ(0U, Admin().RemoveNetwork(network));
    EXPECT_EQ(error::InvalidParameter, Service().OnlineResource(address));
}

TEST_P(ClusterServiceContract, AFailedResourceIsRestartedThenFailsOverThenStaysFailed) {
    tests::FakeClock clock;
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    const ObjectId share = MakeResource(group, L"Share", {disk});
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    const auto setRestarts = [&](DWORD action) {
        EXPECT_EQ(0U, Set(disk, CLUSCTL_SET_COMMON_PROPERTIES,
                          {{L"RestartAction", action}, {L"RestartThreshold", 2U}, {L"RestartPeriod", 60'000U}}));
    };
    EXPECT_EQ(0U, Set(group, CLUSCTL_SET_COMMON_PROPERTIES, {{L"FailoverThreshold", 1U}, {L"FailoverPeriod", 1U}}));
    const auto fail = [&](int times, const wchar_t* node, DWORD state, const std::wstring& reason) {
        const std::int64_t mark = LastChange();
        for (int time = 0; time < times; ++time) EXPECT_EQ(0U, Admin().FailResource(disk));
        EXPECT_EQ(node, OwnerOf(group)) << ToUtf8(reason);
        EXPECT_EQ((Numbers{state, state == online ? online : offline}), StatesOf({disk, share})) << ToUtf8(reason);
        std::wstring details;
        for (const ClusterChange& change : ChangesAfter(mark)) details += change.detail + L"\n";
        EXPECT_NE(std::wstring::npos, details.find(reason)) << ToUtf8(reason + L" in " + details);
    };
    setRestarts(2);
    fail(2, L"N1", online, L"restart 2 of 2");
    fail(1, L"N2", online, L"failover 1 of 1");
    fail(2, L"N2", online, L"restart 2 of 2");
    fail(1, L"N2", ClusterResourceFailed, L"used up");
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    fail(1, L"N2", ClusterResourceFailed, L"used up");
    clock.Advance(60);
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    fail(1, L"N2", online, L"restart 1 of 2");
    clock.Advance(3'540);
    fail(2, L"N2", online, L"restart 2 of 2");
    for (const wchar_t* node : {L"N1", L"N3"}) EXPECT_EQ(0U, Service().PauseNode(Node(node)));
    fail(1, L"N2", ClusterResourceFailed, L"no other node");
    EXPECT_EQ(0U, Service().ResumeNode(Node(L"N3")));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    fail(1, L"N3", online, L"failover 1 of 1");
    setRestarts(1);
    fail(3, L"N3", ClusterResourceFailed, L"used up");
    clock.Set(0);
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    fail(1, L"N3", online, L"restart 1 of 2");
    setRestarts(0);
    fail(1, L"N3", ClusterResourceFailed, L"online -> failed on N3");
}
