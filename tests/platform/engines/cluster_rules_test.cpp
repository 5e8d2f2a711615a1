#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <tests/support/EmbeddedCluster.h>

#include <algorithm>
#include <random>

namespace tests {
namespace {

namespace error = platform::error;
using platform::ClusterKeyId;
using platform::PropertyValue;

class AGroup : public EmbeddedClusterTest {
protected:
    // A share that needs a name, which needs an address, and a disk that the share needs as well.
    void GivenFiles(bool isOnline = true) {
        Given({.nodes = {L"N1", L"N2", L"N3"},
               .groups = {{.name = L"Files",
                           .owner = L"N1",
                           .isOnline = isOnline,
                           .resources = {{.name = L"Address"},
                                         {.name = L"Name", .needs = {L"Address"}},
                                         {.name = L"Disk"},
                                         {.name = L"Share", .needs = {L"Disk", L"Name"}}}}}});
        Forget();
    }

    DWORD Online(const std::wstring& resource) { return service->OnlineResource(Resource(resource)); }
    DWORD Offline(const std::wstring& resource) { return service->OfflineResource(Resource(resource)); }
    DWORD OnlineGroup(const std::wstring& group) { return service->OnlineGroup(Group(group), std::nullopt); }
    DWORD Move(const std::wstring& group) { return service->MoveGroup(Group(group), std::nullopt); }
};

TEST_F(AGroup, ComesUpInDependencyOrderAndGoesDownInReverse) {
    GivenFiles(false);
    EXPECT_EQ(0u, OnlineGroup(L"Files"));
    EXPECT_EQ((StringArray{L"Address", L"Name", L"Disk", L"Share"}), OnlineOrder());
    EXPECT_EQ(ClusterGroupOnline, StateOf(L"Files"));
    EXPECT_EQ(L"offline -> online on N1", Changes().back().detail);

    Forget();
    EXPECT_EQ(0u, Offline(L"Address"));
    EXPECT_EQ((StringArray{L"Share", L"Name", L"Address"}), OfflineOrder());
    EXPECT_EQ(ClusterGroupPartialOnline, StateOf(L"Files"));

    Forget();
    EXPECT_EQ(0u, Online(L"Share"));
    EXPECT_EQ((StringArray{L"Address", L"Name", L"Share"}), OnlineOrder());
    Forget();
    EXPECT_EQ(0u, Online(L"Share"));
    EXPECT_EQ(0u, OnlineGroup(L"Files"));
    EXPECT_TRUE(Changes().empty()) << "a state that is there already is no change";
}

TEST_F(AGroup, FailsWithItsResourceAndTakesDependentsDown) {
    GivenFiles();
    Fail(L"Name");
    EXPECT_EQ(ClusterResourceFailed, StateOf(L"Name"));
    EXPECT_EQ(ClusterResourceOffline, StateOf(L"Share"));
    EXPECT_EQ(ClusterResourceOnline, StateOf(L"Address"));
    EXPECT_EQ(ClusterGroupFailed, StateOf(L"Files"));
    EXPECT_EQ(error::ResourceNotOnline, Administration().FailResource(Resource(L"Name")));
    EXPECT_EQ(0u, Online(L"Share"));
    EXPECT_EQ(ClusterGroupOnline, StateOf(L"Files"));
}

TEST_F(AGroup, WithoutResourcesKeepsTheStateThatWasAskedFor) {
    Given({.groups = {{.name = L"Empty", .isOnline = false}}});
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"Empty"));
    EXPECT_EQ(0u, OnlineGroup(L"Empty"));
    EXPECT_EQ(ClusterGroupOnline, StateOf(L"Empty"));
    EXPECT_EQ(error::InvalidState, Administration().DeleteGroup(Group(L"Empty")));
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"Empty")));
    EXPECT_EQ(0u, Administration().DeleteGroup(Group(L"Empty")));
}

TEST_F(AGroup, ComesUpOnItsNextNodeAsItWas) {
    GivenFiles();
    EXPECT_EQ(0u, Offline(L"Share"));
    Forget();
    TakeDown(L"N1");
    EXPECT_EQ(L"N2", OwnerOf(L"Files"));
    EXPECT_EQ((StringArray{L"Address", L"Name", L"Disk"}), OnlineOrder());
    EXPECT_EQ(ClusterResourceOffline, StateOf(L"Share"));
    ExpectInvariants();

    EXPECT_EQ(0u, service->EvictNode(Node(L"N2")));
    EXPECT_EQ(L"N3", OwnerOf(L"Files"));
    EXPECT_EQ(ClusterResourceOnline, StateOf(L"Name"));
    EXPECT_EQ(error::HostNodeNotAvailable, service->EvictNode(Node(L"N3"))) << "N1 is down";
    TakeDown(L"N3");
    EXPECT_EQ(L"N3", OwnerOf(L"Files"));
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"Files"));
    EXPECT_EQ(error::HostNodeNotAvailable, OnlineGroup(L"Files"));
    BringUp(L"N1");
    EXPECT_EQ(0u, OnlineGroup(L"Files"));
    EXPECT_EQ(L"N1", OwnerOf(L"Files"));
    EXPECT_EQ(0u, service->EvictNode(Node(L"N3")));
    EXPECT_EQ(error::CannotEvictActiveNode, service->EvictNode(Node(L"N1")));
}

TEST_F(AGroup, LeavesDownWhatCannotComeUpAfterAFailover) {
    Given({.disks = {{.signature = 7, .scsiAddress = 1, .number = 1, .partitions = {{L"E:", L"Data", 5}}}},
           .groups = {{.name = L"Files",
                       .owner = L"N1",
                       .resources = {{.name = L"Disk", .type = L"Physical Disk", .parameters = {{L"Signature", 7u}}},
                                     {.name = L"Share", .needs = {L"Disk"}},
                                     {.name = L"Clock"}}}}});
    SetPrivate(L"Disk", {{L"Signature", 8u}});
    TakeDown(L"N1");
    EXPECT_EQ(ClusterResourceFailed, StateOf(L"Disk"));
    EXPECT_EQ(ClusterResourceOffline, StateOf(L"Share"));
    EXPECT_EQ(ClusterResourceOnline, StateOf(L"Clock"));
    EXPECT_EQ(ClusterGroupFailed, StateOf(L"Files"));
}

TEST_F(AGroup, GoesWhereOwnersAndNodesSay) {
    struct Case {
        const char* title;
        std::wstring owner;
        StringArray preferred;
        StringArray possible;  // owners of its one resource; empty: all
        StringArray down;
        StringArray paused;
        std::wstring afterFailover;  // of its owner; its owner's name when no node may have it
        std::wstring afterMove;      // empty: refused
    };
    const Case cases[] = {
        {"the first node that is up", L"N2", {}, {}, {}, {}, L"N1", L"N3"},
        {"around the end of the list", L"N3", {}, {}, {}, {}, L"N1", L"N1"},
        {"its first preferred owner", L"N1", {L"N3", L"N2"}, {}, {}, {}, L"N3", L"N2"},
        {"a preferred owner that is up", L"N1", {L"N3", L"N2"}, {}, {L"N3"}, {}, L"N2", L"N2"},
        {"not to a paused node", L"N1", {L"N2"}, {}, {}, {L"N2"}, L"N3", L"N3"},
        {"where its resource may be", L"N1", {L"N2"}, {L"N1", L"N3"}, {}, {}, L"N3", L"N3"},
        {"nowhere", L"N1", {}, {L"N1", L"N2"}, {L"N2"}, {}, L"N1", L""},
        {"nowhere with all others paused", L"N2", {}, {}, {L"N1"}, {L"N3"}, L"N2", L""},
    };
    Given({.nodes = {L"N1", L"N2", L"N3"}});
    const auto isRolledBack = [] { return error::Busy; };
    for (const Case& test : cases) {
        const DWORD code = service->Transact([&] {
            Give({.name = L"G",
                  .owner = test.owner,
                  .preferredOwners = test.preferred,
                  .isOnline = true,
                  .resources = {{.name = L"R", .possibleOwners = test.possible}}});
            for (const std::wstring& node : test.down) TakeDown(node);
            for (const std::wstring& node : test.paused) EXPECT_EQ(0u, service->PauseNode(Node(node)));
            EXPECT_EQ(test.owner, OwnerOf(L"G")) << test.title;
            service->Transact([&] {
                TakeDown(test.owner);
                EXPECT_EQ(test.afterFailover, OwnerOf(L"G")) << test.title;
                const bool hasMoved = test.afterFailover != test.owner;
                EXPECT_EQ(hasMoved ? ClusterGroupOnline : ClusterGroupOffline, StateOf(L"G")) << test.title;
                ExpectInvariants();
                return isRolledBack();
            });
            EXPECT_EQ(test.afterMove.empty() ? error::HostNodeNotAvailable : 0u, Move(L"G")) << test.title;
            EXPECT_EQ(test.afterMove.empty() ? test.owner : test.afterMove, OwnerOf(L"G")) << test.title;
            EXPECT_EQ(ClusterGroupOnline, StateOf(L"G")) << test.title;
            return isRolledBack();
        });
        EXPECT_EQ(isRolledBack(), code);
        EXPECT_TRUE(All(CLUSTER_ENUM_GROUP).empty());
    }
}

TEST_F(AGroup, StaysOnItsPausedNodeAndIsSentToNoOther) {
    GivenFiles();
    EXPECT_EQ(0u, service->PauseNode(Node(L"N1")));
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"Files")));
    EXPECT_EQ(0u, OnlineGroup(L"Files"));
    EXPECT_EQ(L"N1", OwnerOf(L"Files"));
    TakeDown(L"N3");
    EXPECT_EQ(0u, service->PauseNode(Node(L"N2")));
    EXPECT_EQ(error::ClusterNodePaused, service->MoveGroup(Group(L"Files"), Node(L"N2")));
    EXPECT_EQ(error::ClusterNodeDown, service->MoveGroup(Group(L"Files"), Node(L"N3")));
    EXPECT_EQ(0u, service->ResumeNode(Node(L"N2")));
    EXPECT_EQ(0u, service->RemoveResourceOwner(Resource(L"Disk"), Node(L"N2")));
    EXPECT_EQ(error::NodeCannotHostResource, service->MoveGroup(Group(L"Files"), Node(L"N2")));
    EXPECT_EQ(ClusterGroupOnline, StateOf(L"Files"));
}

TEST_F(AGroup, RefusesAnAddressOrADiskThatAnotherHolds) {
    Given(
        {.disks = {{.signature = 0xA1B2C3D4, .scsiAddress = 1, .number = 1, .partitions = {{L"E:", L"Data", 5}}}},
         .groups = {
             {.name = L"A",
              .resources =
                  {{.name = L"IP 1", .type = L"IP Address", .parameters = {{L"Address", L"10.0.0.7"}}},
                   {.name = L"Disk 1", .type = L"Physical Disk", .parameters = {{L"Signature", 0xA1B2C3D4u}}}}},
             {.name = L"B",
              .isOnline = false,
              .resources = {{.name = L"IP 2", .type = L"IP Address", .parameters = {{L"Address", L"10.0.0.07"}}},
                            {.name = L"Disk 2", .type = L"Physical Disk", .parameters = {{L"Signature", L"a1b2c3d4"}}},
                            {.name = L"Disk 3", .type = L"Physical Disk", .parameters = {{L"Signature", 5u}}},
                            {.name = L"Disk 4", .type = L"physical disk"}}}}});
    EXPECT_EQ(error::ClusterIpAddressInUse, Online(L"IP 2"));
    for (const wchar_t* disk : {L"Disk 2", L"Disk 3", L"Disk 4"}) {
        EXPECT_EQ(error::ResourceNotAvailable, Online(disk)) << platform::ToUtf8(disk);
    }
    EXPECT_EQ(error::ClusterIpAddressInUse, OnlineGroup(L"B"));
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"B"));
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"A")));
    EXPECT_EQ(0u, Online(L"IP 2"));
    EXPECT_EQ(0u, Online(L"Disk 2"));
    EXPECT_EQ(error::ClusterIpAddressInUse, OnlineGroup(L"A"));
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"A")) << "a refused operation leaves nothing behind";
}

TEST_F(AGroup, HasNoDependencyThatWouldBreakItsOrder) {
    GivenFiles();
    Give({.name = L"Other", .resources = {{.name = L"Stranger"}}});
    const auto depend = [&](const wchar_t* one, const wchar_t* other) {
        return service->AddDependency(Resource(one), Resource(other));
    };
    EXPECT_EQ(error::InvalidParameter, depend(L"Share", L"Stranger"));
    EXPECT_EQ(error::DependencyAlreadyExists, depend(L"Share", L"Disk"));
    EXPECT_EQ(error::CircularDependency, depend(L"Address", L"Share"));
    EXPECT_EQ(error::CircularDependency, depend(L"Disk", L"Disk"));
    ObjectId late;
    EXPECT_EQ(0u, service->CreateResource(Group(L"Files"), L"Late", L"Time Service", 0, late));
    EXPECT_EQ(error::ResourceOnline, depend(L"Disk", L"Late")) << "it would be online without what it needs";
    EXPECT_EQ(error::DependencyNotFound, service->RemoveDependency(Resource(L"Disk"), Resource(L"Share")));
    EXPECT_EQ((StringArray{L"Name", L"Disk"}), Members(Resource(L"Share"), CLUSTER_RESOURCE_ENUM_DEPENDS));
    EXPECT_EQ(error::ResourceOnline, Administration().DeleteResource(Resource(L"Disk")));
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"Files")));
    EXPECT_EQ(error::DependentResourceExists, Administration().DeleteResource(Resource(L"Disk")));
    EXPECT_EQ(0u, Administration().DeleteResource(Resource(L"Share")));
    EXPECT_EQ(0u, Administration().DeleteResource(Resource(L"Disk")));
    EXPECT_EQ(error::DirectoryNotEmpty, Administration().DeleteGroup(Group(L"Files")));
}

TEST_F(AGroup, StandsUnderItsNewNameInListsKeysAndChanges) {
    GivenFiles();
    const ObjectId group = Group(L"Files");
    Give({.name = L"Other"});
    EXPECT_EQ(error::ObjectAlreadyExists, service->RenameGroup(group, L"OTHER"));
    EXPECT_EQ(error::InvalidName, service->RenameGroup(group, std::wstring(200, L'x')));
    Forget();
    EXPECT_EQ(0u, service->RenameGroup(group, L"FILES"));
    EXPECT_EQ(0u, service->RenameGroup(group, L"Sales"));
    EXPECT_EQ(group, Group(L"sales"));
    EXPECT_EQ(CLUSTER_CHANGE_GROUP_PROPERTY, Changes().back().notification);
    EXPECT_EQ(L"Sales", Changes().back().object);
    EXPECT_EQ(1'700'000'000, Changes().back().time);
    EXPECT_EQ((StringArray{L"Sales", L"Other"}), All(CLUSTER_ENUM_GROUP));
    ClusterKeyId key = 0;
    DWORD type = 0;
    std::vector<BYTE> data;
    EXPECT_EQ(0u, service->ObjectKey(group, key));
    EXPECT_EQ(0u, service->QueryValue(key, L"Name", type, data));
    EXPECT_EQ(L"Sales", platform::FromUtf16(data));
}

using AProperty = AGroup;

TEST_F(AProperty, IsTheSameValueInListsAndKeys) {
    Given({.groups = {{.name = L"G", .resources = {{.name = L"R", .type = L"file share"}}}}});
    SetPrivate(L"R", {{L"Path", L"E:\\data"}, {L"MaxUsers", 0xFFFFFFFFu}});
    ClusterKeyId own = 0;
    ClusterKeyId key = 0;
    DWORD type = 0;
    std::vector<BYTE> data;
    EXPECT_EQ(0u, service->ObjectKey(Resource(L"R"), own));
    EXPECT_EQ(0u, service->OpenKey(own, L"Parameters", key));
    EXPECT_EQ(0u, service->QueryValue(key, L"maxusers", type, data));
    EXPECT_EQ(REG_DWORD, type);
    EXPECT_EQ((std::vector<BYTE>{0xFF, 0xFF, 0xFF, 0xFF}), data);
    EXPECT_EQ(0u, service->SetValue(key, L"Blob", REG_BINARY, data));
    EXPECT_EQ(0u, service->SetValue(key, L"Odd", REG_DWORD, std::vector<BYTE>{1, 2, 3}));
    EXPECT_EQ(0u, service->SetValue(own, L"Description", REG_SZ, platform::ToUtf16(L"shared")));
    EXPECT_EQ(0u, service->SetValue(own, L"SeparateMonitor", REG_DWORD, std::vector<BYTE>{9, 0, 0, 0}));
    using Texts = std::map<std::wstring, std::wstring>;
    EXPECT_EQ((Texts{{L"MaxUsers", L"4294967295"}, {L"Path", L"E:\\data"}}),
              Get(Resource(L"R"), CLUSCTL_GET_PRIVATE_PROPERTIES));
    const Texts common = Get(Resource(L"R"), CLUSCTL_GET_COMMON_PROPERTIES);
    EXPECT_EQ(L"File Share", common.at(L"Type"));
    EXPECT_EQ(L"shared", common.at(L"Description"));
    EXPECT_EQ(L"0", common.at(L"SeparateMonitor")) << "a value out of range counts as the standard one";
    ClusterKeyId root = 0;
    EXPECT_EQ(0u, service->RootKey(root));
    EXPECT_EQ(error::AccessDenied, service->DeleteKey(root, L"Resources\\1")) << "it goes with its object";
    EXPECT_EQ(error::AccessDenied, service->DeleteKey(root, L"NETWORKS"));
}

TEST_F(AProperty, IsWrittenWithAllOthersOrNotAtAll) {
    Given({.networks = {{.name = L"LAN"}}});
    const auto set = [&](const std::vector<PropertyValue>& properties) {
        return Set(Network(L"LAN"), CLUSCTL_SET_COMMON_PROPERTIES, properties);
    };
    Forget();
    EXPECT_EQ(error::InvalidParameter, set({{L"Description", L"new"}, {L"Role", 4u}}));
    EXPECT_EQ(error::InvalidParameter, set({{L"Description", L"new"}, {L"Role", L"2"}}));
    EXPECT_EQ(error::InvalidParameter, set({{L"Description", L"new"}, {L"Colour", 1u}}));
    EXPECT_EQ(L"", Get(Network(L"LAN"), CLUSCTL_GET_COMMON_PROPERTIES).at(L"Description"));
    EXPECT_TRUE(Changes().empty());
    EXPECT_EQ(0u, set({{L"description", L"new"}, {L"ROLE", 1u}}));
    EXPECT_EQ(L"1", Get(Network(L"LAN"), CLUSCTL_GET_COMMON_PROPERTIES).at(L"Role"));
    EXPECT_EQ(L"set: Description, Role", Changes().back().detail);
    EXPECT_EQ(0u, set({{L"Role", 1u}}));
    EXPECT_EQ(1u, Changes().size());
    const auto readOnly = Get(Network(L"LAN"), CLUSCTL_GET_RO_COMMON_PROPERTIES);
    EXPECT_EQ(L"10.1.1.0", readOnly.at(L"Address"));
    EXPECT_EQ(L"255.255.255.0", readOnly.at(L"AddressMask"));
}

TEST_F(AProperty, OfADiskIsAValueListOfItsPartitions) {
    Given(
        {.disks =
             {{.signature = 0x0A1B2C3D, .scsiAddress = 0x21, .number = 3, .partitions = {{L"E:", L"Data", 0x1234ABCD}}},
              {.signature = 2, .scsiAddress = 0x22, .number = 4, .partitions = {}}},
         .groups = {{.name = L"G",
                     .isOnline = false,
                     .resources = {{.name = L"Disk", .type = L"Physical Disk"}, {.name = L"Other"}}}}});
    std::vector<BYTE> available;
    std::vector<BYTE> held;
    ObjectId type;
    EXPECT_EQ(0u, service->Find(ObjectKind::ResourceType, L"Physical Disk", type));
    const auto ask = [&](ObjectId object, DWORD code, std::vector<BYTE>& answer) {
        return service->Control(object, std::nullopt, code, {}, answer);
    };
    EXPECT_EQ(0u, ask(type, CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS, available));
    constexpr std::size_t numbers = 3 * 12;
    constexpr std::size_t record = 4 + 520 + 520 + 4 + 72;
    ASSERT_EQ(numbers + 8 + record + numbers + 4, available.size());
    EXPECT_EQ((std::vector<BYTE>{2, 0, 5, 0, 4, 0, 0, 0, 0x3D, 0x2C, 0x1B, 0x0A}),
              std::vector<BYTE>(available.begin(), available.begin() + 12));
    const BYTE* const partition = available.data() + numbers + 8;
    EXPECT_EQ(L"E:", platform::FromUtf16({partition + 4, 520}));
    EXPECT_EQ(L"Data", platform::FromUtf16({partition + 524, 520}));
    EXPECT_EQ(0xCD, partition[1044]);
    EXPECT_EQ(error::ResourceNotAvailable, ask(Resource(L"Disk"), CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO, held));
    SetPrivate(L"Disk", {{L"Signature", 0x0A1B2C3Du}});
    EXPECT_EQ(0u, ask(Resource(L"Disk"), CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO, held));
    EXPECT_EQ(numbers + 8 + record + 4, held.size());
    EXPECT_EQ(0u, ask(type, CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS, available));
    EXPECT_EQ(numbers + 4, available.size());
    EXPECT_EQ(error::CallNotImplemented, ask(Resource(L"Other"), CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO, held));
}

using ANode = AGroup;

TEST_F(ANode, HasOneInterfaceOnEachNetworkWithAnAddressOfItsOwn) {
    Given({.networks = {{.name = L"LAN", .address = L"10.1.2.0"}, {.name = L"Ring"}}});
    EXPECT_EQ(0u, service->EvictNode(Node(L"N1")));
    EXPECT_EQ(0u, Administration().AddNode(L"N3"));
    EXPECT_EQ((StringArray{L"N2 - LAN", L"N2 - Ring", L"N3 - LAN", L"N3 - Ring"}), [&] {
        StringArray names = All(CLUSTER_ENUM_NETINTERFACE);
        std::ranges::sort(names);
        return names;
    }());
    const auto address = [&](const wchar_t* name) {
        return Get(Interface(name), CLUSCTL_GET_RO_COMMON_PROPERTIES).at(L"Address");
    };
    EXPECT_EQ(L"10.1.2.2", address(L"N2 - LAN"));
    EXPECT_EQ(L"10.1.2.1", address(L"N3 - LAN"));
    DWORD state = 0;
    TakeDown(L"N3");
    EXPECT_EQ(0u, service->NetworkInterfaceState(Interface(L"N3 - LAN"), state));
    EXPECT_EQ(ClusterNetInterfaceUnavailable, state);
    EXPECT_EQ(error::InvalidName, Administration().AddNode(std::wstring(195, L'n'))) << "its interfaces' names";
    EXPECT_EQ(error::InvalidParameter, Administration().AddNetwork({L"X", L"10.0.0.1", L"255.255.255.0", 3, L""}));
    EXPECT_EQ(error::InvalidParameter, Administration().AddNetwork({L"X", L"10.0.0.0", L"255.0.255.0", 3, L""}));
    EXPECT_EQ(0u, Administration().RemoveNetwork(Network(L"LAN")));
    EXPECT_EQ((StringArray{L"N2 - Ring", L"N3 - Ring"}), All(CLUSTER_ENUM_NETINTERFACE));
}

TEST_F(ANode, ThatIsNewMayOwnWhatEveryNodeCould) {
    Given({.groups = {
               {.name = L"G", .resources = {{.name = L"Anywhere"}, {.name = L"Bound", .possibleOwners = {L"N1"}}}}}});
    EXPECT_EQ(0u, Administration().AddNode(L"N3"));
    EXPECT_EQ((StringArray{L"N1", L"N2", L"N3"}), Members(Resource(L"Anywhere"), CLUSTER_RESOURCE_ENUM_NODES));
    EXPECT_EQ((StringArray{L"N1"}), Members(Resource(L"Bound"), CLUSTER_RESOURCE_ENUM_NODES));
}

using ATransaction = AGroup;

TEST_F(ATransaction, TakesBackAllOfItsStepsAndAnInnerOneItsOwn) {
    GivenFiles();
    const DWORD code = service->Transact([&] {
        EXPECT_EQ(0u, service->OfflineGroup(Group(L"Files")));
        TakeDown(L"N2");
        Give({.name = L"New", .resources = {{.name = L"R", .parameters = {{L"Address", L"x"}}}}});
        EXPECT_EQ(error::Busy, service->Transact([&] {
            EXPECT_EQ(0u, service->RenameGroup(Group(L"New"), L"Newer"));
            return error::Busy;
        }));
        EXPECT_EQ(L"N1", OwnerOf(L"New"));
        ExpectInvariants();
        return error::InvalidState;
    });
    EXPECT_EQ(error::InvalidState, code);
    EXPECT_TRUE(Changes().empty());
    EXPECT_EQ(ClusterGroupOnline, StateOf(L"Files"));
    EXPECT_EQ(ClusterNodeUp, StateOf(L"N2"));
    EXPECT_EQ((StringArray{L"Files"}), All(CLUSTER_ENUM_GROUP));

    EXPECT_EQ(0u, service->Transact([&] {
        EXPECT_EQ(0u, service->OfflineGroup(Group(L"Files")));
        service->Transact([&] {
            TakeDown(L"N1");
            return error::Busy;
        });
        return 0u;
    }));
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"Files"));
    EXPECT_EQ(ClusterNodeUp, StateOf(L"N1"));
}

// Whatever is asked, in whatever order, and taken back at whatever point.
class AnyOperation : public EmbeddedClusterTest {
protected:
    ObjectId One(ObjectKind kind, DWORD bit) {
        const StringArray names = All(bit);
        ObjectId id{kind, 99};
        if (!names.empty()) service->Find(kind, names[Number() % names.size()], id);
        return id;
    }
    ObjectId OneNode() { return One(ObjectKind::Node, CLUSTER_ENUM_NODE); }
    ObjectId OneGroup() { return One(ObjectKind::Group, CLUSTER_ENUM_GROUP); }
    ObjectId OneResource() { return One(ObjectKind::Resource, CLUSTER_ENUM_RESOURCE); }
    std::size_t Number() { return _random(); }

    DWORD Step() {
        const std::wstring name = L"X" + std::to_wstring(Number() % 12);
        ObjectId created;
        const std::vector<ObjectId> nodes = {OneNode(), OneNode()};
        switch (Number() % 24) {
            case 0: return Administration().AddNode(name);
            case 1: return service->EvictNode(OneNode());
            case 2: return Administration().AddNetwork({name, L"10.0.0.0", L"255.0.0.0", 3, name});
            case 3: return Administration().RemoveNetwork(One(ObjectKind::Network, CLUSTER_ENUM_NETWORK));
            case 4: return Administration().TakeNodeDown(OneNode());
            case 5:
            case 6: return Administration().BringNodeUp(OneNode());
            case 7: return service->PauseNode(OneNode());
            case 8: return service->ResumeNode(OneNode());
            case 9: return service->CreateGroup(name, created);
            case 10:
            case 11: return service->CreateResource(OneGroup(), name, L"Generic Service", 0, created);
            case 12: return service->RenameGroup(OneGroup(), name);
            case 13: return service->SetGroupOwners(OneGroup(), nodes);
            case 14: return service->AddResourceOwner(OneResource(), OneNode());
            case 15: return service->RemoveResourceOwner(OneResource(), OneNode());
            case 16:
            case 17: return service->AddDependency(OneResource(), OneResource());
            case 18: return service->OnlineGroup(OneGroup(), std::nullopt);
            case 19: return service->OnlineResource(OneResource());
            case 20: return service->MoveGroup(OneGroup(), std::nullopt);
            case 21: return Administration().FailResource(OneResource());
            case 22: return Administration().DeleteResource(OneResource());
            default: return Administration().DeleteGroup(OneGroup());
        }
    }

private:
    std::mt19937 _random{20'231'114};
};

TEST_F(AnyOperation, KeepsTheInvariants) {
    Given({});
    int done = 0;
    for (int round = 0; round < 120 && !HasFailure(); ++round) {
        service->Transact([&] {
            for (int step = 0; step < 12; ++step) done += Step() == 0;
            return round % 3 == 0 ? error::Busy : error::Success;
        });
        ExpectInvariants();
    }
    EXPECT_GT(done, 300);
}

TEST_F(ATransaction, OnACopyInMemoryLeavesTheOriginalAlone) {
    GivenFiles();
    std::shared_ptr<platform::ClusterService> copy;
    EXPECT_EQ(0u, Administration().CopyIntoMemory(copy));
    ASSERT_TRUE(copy);
    ObjectId node;
    std::wstring owner;
    DWORD state = 0;
    EXPECT_EQ(0u, copy->Find(ObjectKind::Node, L"N1", node));
    EXPECT_EQ(0u, copy->Administration()->TakeNodeDown(node));
    EXPECT_EQ(0u, copy->GroupState(Group(L"Files"), state, owner));
    EXPECT_EQ(L"N2", owner);
    EXPECT_EQ(L"N1", OwnerOf(L"Files"));
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"Files")));
    EXPECT_EQ(0u, copy->GroupState(Group(L"Files"), state, owner));
    EXPECT_EQ(ClusterGroupOnline, state);
    std::vector<std::wstring> breaches;
    EXPECT_EQ(0u, copy->Administration()->CheckInvariants(breaches));
    EXPECT_TRUE(breaches.empty());
}

}  // namespace
}  // namespace tests
