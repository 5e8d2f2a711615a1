#include <tests/contract/ClusterServiceContract.h>

#include <gtest/gtest.h>

#include <thread>

using namespace platform;

TEST_P(ClusterServiceContract, FindsObjectsByNameWithoutRegardToCaseAndKeepsTheCaseGiven) {
    std::wstring name;
    EXPECT_EQ(0U, Service().Information(name));
    EXPECT_EQ(L"Tarn", name);
    const ObjectId group = MakeGroup(L"Große Files Ä");
    EXPECT_EQ(group, Find(ObjectKind::Group, L"große FILES ä"));
    EXPECT_EQ(L"Große Files Ä", NameOf(group));
    const std::wstring longest(199, L'x');
    EXPECT_EQ(longest, NameOf(MakeGroup(longest)));
    for (const auto& [kind, code] : {std::pair{ObjectKind::Resource, 5007U},
                                     {ObjectKind::ResourceType, 5078U},
                                     {ObjectKind::Group, 5013U},
                                     {ObjectKind::Node, 5042U},
                                     {ObjectKind::Network, 5045U},
                                     {ObjectKind::NetworkInterface, 5047U}}) {
        ObjectId found{ObjectKind::Group, 77};
        for (const std::wstring& unknown : {std::wstring(L"Nobody"), std::wstring(), std::wstring(5000, L'x')})
            EXPECT_EQ(code, Service().Find(kind, unknown, found));
        EXPECT_EQ((ObjectId{ObjectKind::Group, 77}), found);
    }
}

TEST_P(ClusterServiceContract, RefusesNamesThatAreNoneOrTaken) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId other = MakeGroup(L"Mail");
    MakeResource(group, L"Disk");
    ObjectId id;
    for (const std::wstring& name : {std::wstring(), std::wstring(200, L'x'), std::wstring(L"a\nb")}) {
        const Numbers answers = {Service().CreateGroup(name, id), Service().RenameGroup(group, name),
                                 Service().CreateResource(group, name, L"Generic Service", 0, id),
                                 Admin().AddNode(name)};
        EXPECT_EQ(Numbers(4, error::InvalidName), answers);
    }
    const Numbers answers = {Service().CreateGroup(L"FILES", id), Service().RenameGroup(other, L"files"),
                             Service().CreateResource(other, L"disk", L"Generic Service", 0, id),
                             Admin().AddNode(L"n1")};
    EXPECT_EQ(Numbers(4, error::ObjectAlreadyExists), answers);
    EXPECT_EQ(error::ResourceTypeNotFound, Service().CreateResource(group, L"Other", L"No Such Type", 0, id));
    EXPECT_EQ(error::InvalidParameter, Service().CreateResource(group, L"Other", L"Generic Service", 1, id));
    EXPECT_EQ((StringArray{L"4 Disk", L"8 Files", L"8 Mail"}), Items(CLUSTER_ENUM_GROUP | CLUSTER_ENUM_RESOURCE));
}

TEST_P(ClusterServiceContract, KeepsAnIdentityThroughRenamesAndGivesItOnce) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId resource = MakeResource(group, L"Disk");
    for (const wchar_t* name : {L"Papers", L"PAPERS", L"PAPERS"}) EXPECT_EQ(0U, Service().RenameGroup(group, name));
    EXPECT_EQ(L"PAPERS", NameOf(group));
    DWORD state = 0;
    std::wstring owner;
    std::wstring groupName;
    EXPECT_EQ(0U, Service().ResourceState(resource, state, owner, groupName));
    EXPECT_EQ(L"PAPERS", groupName);
    EXPECT_NE(group, MakeGroup(L"Files"));
    EXPECT_EQ(0U, Admin().DeleteResource(resource));
    EXPECT_NE(resource, MakeResource(group, L"Disk"));
}

TEST_P(ClusterServiceContract, EnumeratesKindByKindInOrderOfCreation) {
    EXPECT_EQ(0U, Admin().AddNetwork({L"Public", L"192.168.1.0", L"255.255.255.0", 3, L""}));
    const ObjectId zebra = MakeGroup(L"Zebra");
    MakeResource(zebra, L"R2");
    MakeGroup(L"Ant");
    MakeResource(zebra, L"R1");
    EXPECT_EQ((StringArray{L"1 N1", L"1 N2", L"1 N3", L"4 R2", L"4 R1", L"8 Zebra", L"8 Ant", L"16 Public"}),
              Items(CLUSTER_ENUM_NODE | CLUSTER_ENUM_RESOURCE | CLUSTER_ENUM_GROUP | CLUSTER_ENUM_NETWORK));
    EXPECT_EQ(3U, Items(CLUSTER_ENUM_NETINTERFACE).size());

    const StringArray types = Items(CLUSTER_ENUM_RESTYPE);
    for (const wchar_t* name : {L"Physical Disk", L"IP Address", L"Network Name", L"File Share", L"IIS Virtual Root",
                                L"Print Spooler", L"Generic Service", L"Generic Application"})
        EXPECT_EQ(1, std::count(types.begin(), types.end(), L"2 " + std::wstring(name))) << ToUtf8(name);

    std::unique_ptr<ClusterEnumeration> enumeration;
    for (const DWORD mask : {0U, 64U, 0xFFFFFFFFU})
        EXPECT_EQ(error::InvalidParameter, Service().Enumerate(mask, enumeration)) << mask;
    ASSERT_EQ(0U, Service().Enumerate(CLUSTER_ENUM_GROUP, enumeration));
    EXPECT_EQ(0U, Admin().DeleteGroup(Find(ObjectKind::Group, L"Ant")));
    MakeGroup(L"Mail");
    EXPECT_EQ((StringArray{L"8 Zebra", L"8 Ant"}), ItemsOf(*enumeration)) << "as it was when it was opened";
}

TEST_P(ClusterServiceContract, ListsTheMembersOfObjects) {
    EXPECT_EQ(0U, Admin().AddNetwork({L"Public", L"192.168.1.0", L"255.255.255.0", 3, L""}));
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    const ObjectId name = MakeResource(group, L"Name");
    const ObjectId share = MakeResource(group, L"Share", {name, disk});
    const std::vector<ObjectId> preferred = {Node(L"N3"), Node(L"N1")};
    EXPECT_EQ(0U, Service().SetGroupOwners(group, preferred));

    EXPECT_EQ((StringArray{L"1 Disk", L"1 Name", L"1 Share", L"2 N3", L"2 N1"}), Members(group, 3));
    EXPECT_EQ((StringArray{L"1 Disk", L"1 Name"}), Members(share, CLUSTER_RESOURCE_ENUM_DEPENDS));
    EXPECT_EQ((StringArray{L"2 Share"}), Members(disk, CLUSTER_RESOURCE_ENUM_PROVIDES));
    EXPECT_EQ((StringArray{L"4 N1", L"4 N2", L"4 N3"}), Members(disk, CLUSTER_RESOURCE_ENUM_NODES));
    EXPECT_EQ(3U, Members(Find(ObjectKind::Network, L"Public"), CLUSTER_NETWORK_ENUM_NETINTERFACES).size());

    std::unique_ptr<ClusterEnumeration> enumeration;
    for (const DWORD mask : {0U, 4U, 16U})
        EXPECT_EQ(error::InvalidParameter, Service().EnumerateMembers(group, mask, enumeration));
    EXPECT_EQ(error::InvalidParameter, Service().EnumerateMembers(disk, 8, enumeration));
}

TEST_P(ClusterServiceContract, RefusesDependenciesThatCannotBe) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    const ObjectId name = MakeResource(group, L"Name", {disk});
    const ObjectId share = MakeResource(group, L"Share", {name});
    const ObjectId stranger = MakeResource(MakeGroup(L"Mail"), L"Store");
    const ObjectId running = MakeResource(group, L"Online");
    EXPECT_EQ(0U, Service().OnlineResource(running));
    for (const auto& [resource, provider, code] : {std::tuple{name, disk, error::DependencyAlreadyExists},
                                                   {disk, share, error::CircularDependency},
                                                   {disk, disk, error::CircularDependency},
                                                   {share, stranger, error::InvalidParameter},
                                                   {running, disk, error::ResourceOnline}})
        EXPECT_EQ(code, Service().AddDependency(resource, provider));
    EXPECT_EQ(error::DependencyNotFound, Service().RemoveDependency(share, disk));
    EXPECT_EQ((StringArray{L"1 Name"}), Members(share, CLUSTER_RESOURCE_ENUM_DEPENDS));
    EXPECT_EQ(0U, Service().OnlineResource(disk));
    EXPECT_EQ(0U, Service().AddDependency(running, disk)) << "now that what it needs is online as well";
    EXPECT_EQ(0U, Service().RemoveDependency(name, disk));
    EXPECT_EQ((StringArray{L"2 Online"}), Members(disk, CLUSTER_RESOURCE_ENUM_PROVIDES));
}

TEST_P(ClusterServiceContract, KeepsThePossibleAndPreferredOwners) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    EXPECT_EQ(error::ObjectInList, Service().AddResourceOwner(disk, Node(L"N2")));
    EXPECT_EQ(0U, Service().RemoveResourceOwner(disk, Node(L"N2")));
    EXPECT_EQ(error::NodeCannotHostResource, Service().RemoveResourceOwner(disk, Node(L"N2")));
    EXPECT_EQ(0U, Service().AddResourceOwner(disk, Node(L"N2")));
    EXPECT_EQ(0U, Service().OnlineGroup(group, Node(L"N2")));
    EXPECT_EQ(error::ResourceOnline, Service().RemoveResourceOwner(disk, Node(L"N2")));
    EXPECT_EQ(0U, Service().RemoveResourceOwner(disk, Node(L"N1")));
    const ObjectId unlimited = MakeResource(group, L"Unlimited");
    EXPECT_EQ(0U, Admin().AddNode(L"N4"));
    EXPECT_EQ((StringArray{L"4 N2", L"4 N3"}), Members(disk, CLUSTER_RESOURCE_ENUM_NODES));
    EXPECT_EQ((StringArray{L"4 N1", L"4 N2", L"4 N3", L"4 N4"}), Members(unlimited, CLUSTER_RESOURCE_ENUM_NODES));

    const std::vector<ObjectId> twice = {Node(L"N1"), Node(L"N2"), Node(L"N1")};
    const std::vector<ObjectId> unknown = {{ObjectKind::Node, 4711}};
    EXPECT_EQ(error::InvalidParameter, Service().SetGroupOwners(group, twice));
    EXPECT_EQ(error::ClusterNodeNotFound, Service().SetGroupOwners(group, unknown));
    EXPECT_EQ(0U, Service().SetGroupOwners(group, std::span(twice).first(2)));
    EXPECT_EQ((StringArray{L"2 N1", L"2 N2"}), Members(group, CLUSTER_GROUP_ENUM_NODES));
    EXPECT_EQ(L"N2", OwnerOf(group));
    EXPECT_EQ(0U, Service().SetGroupOwners(group, {}));
    EXPECT_EQ(StringArray(), Members(group, CLUSTER_GROUP_ENUM_NODES));
}

TEST_P(ClusterServiceContract, DeletesOnlyWhatIsAtRest) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    const ObjectId share = MakeResource(group, L"Share", {disk});
    EXPECT_EQ(error::DependentResourceExists, Admin().DeleteResource(disk));
    EXPECT_EQ(error::DirectoryNotEmpty, Admin().DeleteGroup(group));
    EXPECT_EQ(0U, Service().OnlineResource(share));
    EXPECT_EQ(error::ResourceOnline, Admin().DeleteResource(share));
    EXPECT_EQ(0U, Service().OfflineGroup(group));
    for (const ObjectId resource : {share, disk}) EXPECT_EQ(0U, Admin().DeleteResource(resource));
    EXPECT_EQ(0U, Service().OnlineGroup(group, {}));
    EXPECT_EQ(error::InvalidState, Admin().DeleteGroup(group));
    EXPECT_EQ(0U, Service().OfflineGroup(group));
    EXPECT_EQ(0U, Admin().DeleteGroup(group));
    EXPECT_EQ(StringArray(), Items(CLUSTER_ENUM_GROUP | CLUSTER_ENUM_RESOURCE));
}

TEST_P(ClusterServiceContract, AnswersForVanishedObjectsThatTheyWereNotFound) {
    const ObjectId kept = MakeGroup(L"Kept");
    const ObjectId keptResource = MakeResource(kept, L"Kept resource");
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId resource = MakeResource(kept, L"Disk");
    const ObjectId node = Node(L"N3");
    EXPECT_EQ(0U, Admin().AddNetwork({L"Public", L"192.168.1.0", L"255.255.255.0", 3, L""}));
    const ObjectId network = Find(ObjectKind::Network, L"Public");
    std::wstring interfaceName;
    EXPECT_EQ(0U, Service().InterfaceOf(L"N1", L"Public", interfaceName));
    const ObjectId networkInterface = Find(ObjectKind::NetworkInterface, interfaceName);
    EXPECT_EQ(0U, Admin().DeleteGroup(group));
    EXPECT_EQ(0U, Admin().DeleteResource(resource));
    EXPECT_EQ(0U, Service().EvictNode(node));
    EXPECT_EQ(0U, Admin().RemoveNetwork(network));

    DWORD state = 0;
    std::wstring text;
    std::wstring other;
    ObjectId id;
    ClusterKeyId key = 0;
    std::vector<BYTE> bytes;
    std::unique_ptr<ClusterEnumeration> list;
    ClusterService& service = Service();
    const auto expect = [](DWORD code, const std::vector<DWORD>& answers) {
        EXPECT_EQ(std::vector<DWORD>(answers.size(), code), answers);
    };
    expect(5013, {service.NameOf(group, text), service.GroupState(group, state, text), service.OnlineGroup(group, {}),
                  service.OfflineGroup(group), service.MoveGroup(group, {}), service.RenameGroup(group, L"New"),
                  service.SetGroupOwners(group, {}), service.ObjectKey(group, key), Admin().DeleteGroup(group),
                  service.EnumerateMembers(group, 1, list), service.Control(group, {}, 0x03000059, {}, bytes),
                  service.CreateResource(group, L"New", L"Generic Service", 0, id)});
    expect(5007, {service.NameOf(resource, text), service.ResourceState(resource, state, text, other),
                  service.OnlineResource(resource), service.OfflineResource(resource), service.ObjectKey(resource, key),
                  service.AddResourceOwner(resource, Node(L"N1")), service.RemoveResourceOwner(resource, Node(L"N1")),
                  service.AddDependency(resource, keptResource), service.AddDependency(keptResource, resource),
                  service.RemoveDependency(resource, keptResource), service.EnumerateMembers(resource, 1, list),
                  service.Control(resource, {}, 0x01000059, {}, bytes), Admin().FailResource(resource),
                  Admin().DeleteResource(resource)});
    expect(5042,
           {service.NameOf(node, text), service.NodeState(node, state), service.PauseNode(node),
            service.ResumeNode(node), service.EvictNode(node), service.OnlineGroup(kept, node),
            service.MoveGroup(kept, node), service.AddResourceOwner(keptResource, node),
            service.RemoveResourceOwner(keptResource, node), service.SetGroupOwners(kept, std::span(&node, 1)),
            service.Control(node, {}, 0x04000059, {}, bytes), Admin().TakeNodeDown(node), Admin().BringNodeUp(node)});
    expect(5045, {service.NetworkState(network, state), service.NetworkIdentifier(network, text),
                  service.Control(network, {}, 0x05000059, {}, bytes)});
    expect(5047, {service.NetworkInterfaceState(networkInterface, state)});
}

TEST_P(ClusterServiceContract, DescribesItsNetworks) {
    EXPECT_EQ(0U, Admin().AddNetwork({L"Public", L"192.168.1.0", L"255.255.255.0", 3, L"For clients"}));
    EXPECT_EQ(0U, Admin().AddNetwork({L"Private", L"10.0.0.0", L"255.0.0.0", 1, L""}));
    EXPECT_EQ(error::ObjectAlreadyExists, Admin().AddNetwork({L"PUBLIC", L"10.0.0.0", L"255.0.0.0", 1, L""}));
    EXPECT_EQ(error::InvalidParameter, Admin().AddNetwork({L"Bad", L"192.168.1", L"255.255.255.0", 3, L""}));
    EXPECT_EQ(error::InvalidParameter, Admin().AddNetwork({L"Bad", L"192.168.1.0", L"mask", 3, L""}));
    EXPECT_EQ(error::InvalidParameter, Admin().AddNetwork({L"Bad", L"192.168.1.0", L"255.255.255.0", 4, L""}));
    const ObjectId network = Find(ObjectKind::Network, L"Public");
    std::wstring id;
    std::wstring otherId;
    EXPECT_EQ(0U, Service().NetworkIdentifier(network, id));
    EXPECT_EQ(0U, Service().NetworkIdentifier(Find(ObjectKind::Network, L"Private"), otherId));
    EXPECT_TRUE(!id.empty() && id != otherId);

    std::wstring name;
    EXPECT_EQ(error::ClusterNodeNotFound, Service().InterfaceOf(L"Nobody", L"Public", name));
    EXPECT_EQ(error::ClusterNetworkNotFound, Service().InterfaceOf(L"N1", L"Nothing", name));
    EXPECT_EQ(0U, Admin().AddNode(L"N4"));
    EXPECT_EQ(8U, Items(CLUSTER_ENUM_NETINTERFACE).size());
    EXPECT_EQ(0U, Service().InterfaceOf(L"n4", L"public", name));
    const ObjectId networkInterface = Find(ObjectKind::NetworkInterface, name);
    const auto states = [&] {
        Numbers both(2);
        EXPECT_EQ(0U, Service().NetworkState(network, both[0]));
        EXPECT_EQ(0U, Service().NetworkInterfaceState(networkInterface, both[1]));
        return both;
    };
    EXPECT_EQ((Numbers{ClusterNetworkUp, ClusterNetInterfaceUp}), states());
    EXPECT_EQ(0U, Admin().SetNetworkState(network, ClusterNetworkPartitioned));
    EXPECT_EQ(0U, Admin().SetNetworkInterfaceState(networkInterface, ClusterNetInterfaceUnreachable));
    EXPECT_EQ((Numbers{ClusterNetworkPartitioned, ClusterNetInterfaceUnreachable}), states());
}

TEST_P(ClusterServiceContract, ServesSeveralThreadsAtOnce) {
    const auto makeGroups = [&](const std::wstring& prefix) {
        for (int index = 0; index < 10; ++index) {
            ObjectId id;
            EXPECT_EQ(0U, Service().CreateGroup(prefix + std::to_wstring(index), id));
        }
    };
    std::thread other(makeGroups, L"A");
    makeGroups(L"B");
    other.join();
    EXPECT_EQ(20U, Items(CLUSTER_ENUM_GROUP).size());
}
