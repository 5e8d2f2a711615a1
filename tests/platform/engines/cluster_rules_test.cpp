#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <tests/support/EmbeddedCluster.h>

#include <gtest/gtest.h>

#include <random>

namespace tests {
namespace {

namespace error = platform::error;
using platform::ClusterKeyId;

class AGroup : public EmbeddedClusterTest {
protected:
    DWORD Online(const std::wstring& resource) { return service->OnlineResource(Resource(resource)); }
};

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

TEST_F(AGroup, RefusesAnAddressOrADiskThatAnotherHolds) {
    const std::wstring address = L"IP Address";
    const std::wstring disk = L"Physical Disk";
    Given({.disks = {{.signature = 0xA1B2C3D4, .scsiAddress = 1, .number = 1, .partitions = {{L"E:", L"Data", 5}}}},
           .groups = {{.name = L"A",
                       .resources = {{L"IP 1", address, {}, {{L"Address", L"10.0.0.7"}}},
                                     {L"Disk 1", disk, {}, {{L"Signature", 0xA1B2C3D4u}}}}},
                      {.name = L"B",
                       .isOnline = false,
                       .resources = {{L"IP 2", address, {}, {{L"Address", L"10.0.0.07"}}},
                                     {L"Disk 2", disk, {}, {{L"Signature", L"a1b2c3d4"}}},
                                     {L"Disk 3", disk, {}, {{L"Signature", 5u}}},
                                     {L"Disk 4", L"physical disk"}}}}});
    EXPECT_EQ(error::ClusterIpAddressInUse, Online(L"IP 2"));
    for (const wchar_t* name : {L"Disk 2", L"Disk 3", L"Disk 4"})
        EXPECT_EQ(error::ResourceNotAvailable, Online(name)) << platform::ToUtf8(name);
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"A")));
    EXPECT_EQ(0u, Online(L"IP 2"));
    EXPECT_EQ(0u, Online(L"Disk 2"));
    EXPECT_EQ(error::ClusterIpAddressInUse, service->OnlineGroup(Group(L"A"), std::nullopt));
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"A")) << "a refused operation leaves nothing behind";
}

using AProperty = AGroup;

TEST_F(AProperty, IsAValueOfItsObjectsKeyWhateverStandsThere) {
    Given({.groups = {{.name = L"G", .resources = {{.name = L"R", .type = L"file share"}}}}});
    ClusterKeyId root = 0;
    ClusterKeyId group = 0;
    ClusterKeyId own = 0;
    ClusterKeyId key = 0;
    DWORD type = 0;
    std::vector<BYTE> data;
    EXPECT_EQ(0u, service->RootKey(root));
    EXPECT_EQ(0u, service->ObjectKey(Group(L"G"), group));
    EXPECT_EQ(0u, service->ObjectKey(Resource(L"R"), own));
    EXPECT_EQ(0u, service->OpenKey(own, L"Parameters", key));
    EXPECT_EQ(0u, service->SetValue(key, L"Odd", REG_DWORD, std::vector<BYTE>{1, 2, 3}));
    EXPECT_EQ(0u, service->SetValue(own, L"Description", REG_SZ, platform::ToUtf16(L"shared")));
    EXPECT_EQ(0u, service->SetValue(own, L"SeparateMonitor", REG_DWORD, std::vector<BYTE>{9, 0, 0, 0}));
    EXPECT_TRUE(Get(Resource(L"R"), CLUSCTL_GET_PRIVATE_PROPERTIES).empty());
    const auto common = Get(Resource(L"R"), CLUSCTL_GET_COMMON_PROPERTIES);
    EXPECT_EQ(L"File Share", common.at(L"Type"));
    EXPECT_EQ(L"shared", common.at(L"Description"));
    EXPECT_EQ(L"0", common.at(L"SeparateMonitor")) << "a value out of range counts as the standard one";
    EXPECT_EQ(error::AccessDenied, service->DeleteKey(root, L"Resources\\1")) << "it goes with its object";
    EXPECT_EQ(error::AccessDenied, service->DeleteKey(root, L"NETWORKS"));

    EXPECT_EQ(0u, service->RenameGroup(Group(L"G"), L"Sales"));
    EXPECT_EQ(0u, service->QueryValue(group, L"Name", type, data));
    EXPECT_EQ(L"Sales", platform::FromUtf16(data));
}

using ANode = AGroup;

TEST_F(ANode, HasOneInterfaceOnEachNetworkWithAnAddressOfItsOwn) {
    Given({.networks = {{.name = L"LAN", .address = L"10.1.2.0"}, {.name = L"Ring"}}});
    EXPECT_EQ(0u, service->EvictNode(Node(L"N1")));
    EXPECT_EQ(0u, Administration().AddNode(L"N3"));
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

// Whatever is asked, in whatever order, and taken back at whatever point.
class AnyOperation : public EmbeddedClusterTest {
protected:
    ObjectId One(ObjectKind kind, DWORD bit) {
        const StringArray names = All(bit);
        ObjectId id{kind, 99};
        if (!names.empty()) service->Find(kind, names[_random() % names.size()], id);
        return id;
    }

    DWORD Step() {
        const std::wstring name = L"X" + std::to_wstring(_random() % 12);
        const ObjectId node = One(ObjectKind::Node, CLUSTER_ENUM_NODE);
        const ObjectId group = One(ObjectKind::Group, CLUSTER_ENUM_GROUP);
        const ObjectId resource = One(ObjectKind::Resource, CLUSTER_ENUM_RESOURCE);
        const std::vector<ObjectId> nodes = {node, One(ObjectKind::Node, CLUSTER_ENUM_NODE)};
        ObjectId created;
        switch (_random() % 24) {
            case 0: return Administration().AddNode(name);
            case 1: return service->EvictNode(node);
            case 2: return Administration().AddNetwork({name, L"10.0.0.0", L"255.0.0.0", 3, name});
            case 3: return Administration().RemoveNetwork(One(ObjectKind::Network, CLUSTER_ENUM_NETWORK));
            case 4: return Administration().TakeNodeDown(node);
            case 5: return service->PauseNode(node);
            case 6: return service->ResumeNode(node);
            case 7: return service->CreateGroup(name, created);
            case 8: return service->RenameGroup(group, name);
            case 9: return service->SetGroupOwners(group, nodes);
            case 10: return service->AddResourceOwner(resource, node);
            case 11: return service->RemoveResourceOwner(resource, node);
            case 12: return service->OnlineGroup(group, std::nullopt);
            case 13: return service->OnlineResource(resource);
            case 14: return service->MoveGroup(group, std::nullopt);
            case 15: return Administration().FailResource(resource);
            case 16: return Administration().DeleteResource(resource);
            case 17: return Administration().DeleteGroup(group);
            case 18:
            case 19: return Administration().BringNodeUp(node);
            case 20:
            case 21: return service->AddDependency(resource, One(ObjectKind::Resource, CLUSTER_ENUM_RESOURCE));
            default: return service->CreateResource(group, name, L"Generic Service", 0, created);
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

}  // namespace
}  // namespace tests
