#include <ostra/cluster/Network.h>
#include <ostra/cluster/NetworkInterface.h>
#include <ostra/cluster/NetworkInterfaces.h>
#include <ostra/cluster/Networks.h>
#include <tests/ostra/cluster/NetworkedCluster.h>

namespace {

using tests::Operation;

constexpr DWORD readNetwork = CLUSCTL_NETWORK_GET_COMMON_PROPERTIES;
constexpr DWORD writeNetwork = CLUSCTL_NETWORK_SET_COMMON_PROPERTIES;
constexpr DWORD readInterface = CLUS_OBJECT_NETINTERFACE | CLUSCTL_GET_COMMON_PROPERTIES;
constexpr DWORD writeInterface = CLUS_OBJECT_NETINTERFACE | CLUSCTL_SET_COMMON_PROPERTIES;

class ANetwork : public tests::NetworkedCluster {
protected:
    static ::Network* Member(const Networks& networks, const wchar_t* name) {
        CObject* object = nullptr;
        networks.Lookup(name, object);
        return dynamic_cast<::Network*>(object);
    }
};
using ANetworkInterface = ANetwork;

TEST_F(ANetwork, IsFoundWithItsIdentifierAndProperties) {
    const Networks networks(L"Test", cluster);
    ASSERT_EQ((StringArray{L"Both", L"Inner", L"None", L"Outer"}), KeysOf(&networks));
    const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*, int> rows[] = {
        {L"None", L"10.1.1.0", L"0", L"", 0},
        {L"Inner", L"10.1.2.0", L"1", L"", 1},
        {L"Outer", L"10.1.3.0", L"2", L"Customers", 0},
        {L"Both", L"10.1.4.0", L"3", L"", 0}};
    for (const auto& [name, address, role, description, isInternal] : rows) {
        ::Network& network = *Member(networks, name);
        EXPECT_EQ(IdentifierOf(name) + L" " + name, network.ID() + L" " + network.Name());
        EXPECT_EQ(address + std::wstring(L"/255.255.255.0"), network.IPAddress() + L"/" + network.SubnetMask());
        EXPECT_EQ(role, network.Role());
        EXPECT_EQ(description, network.Description());
        EXPECT_EQ(L"Test", network.ClusterName());
        EXPECT_EQ(L"", static_cast<ClusterComponent&>(network).ClusterName());

        StringMap attributes{{L"Other", L"stays"}};
        EXPECT_EQ(0, network.IsForInternalUse());
        EXPECT_EQ(2u, network.GetAttributes(&attributes, readNetwork));
        EXPECT_EQ((StringMap{{L"Other", L"stays"}, {L"Role", role}, {L"Description", description}}), attributes);
        EXPECT_EQ(isInternal, network.IsForInternalUse());
    }
    printed.Take();
    StringMap attributes;
    EXPECT_EQ(3u, Member(networks, L"Both")->GetAttributes(&attributes));
    EXPECT_EQ(
        L"property: name:Address value:10.1.4.0\nproperty: name:AddressMask value:255.255.255.0\n"
        L"property: name:Name value:Both\n",
        printed.Take());
}

TEST_F(ANetwork, TellsItsStateAndAnInterfaceItsOwn) {
    const std::tuple<DWORD, const wchar_t*, const wchar_t*> rows[] = {
        {0xFFFFFFFF, L"Network is in a unknown state.", L"NetworkInterface is in a unknown state."},
        {0, L"Network is unavailable.", L"NetworkInterface is unavailable."},
        {1, L"Network is down.", L"NetworkInterface is failed."},
        {2, L"Network is partitioned.", L"NetworkInterface is unreachable."},
        {3, L"Network is up.", L"NetworkInterface is up."},
    };
    ::Network network(L"Both", cluster, L"Test", 0);
    NetworkInterface interface(L"N1 - Both", cluster, L"Test", 0);
    for (const auto& [state, networkText, interfaceText] : rows) {
        observed->state = state;
        EXPECT_EQ(2, network.Status(0) + interface.Status(0));
        EXPECT_EQ(state, network.StatusCode(0));
        EXPECT_EQ(networkText, network.StatusString(0));
        EXPECT_EQ(0u, interface.StatusCode(0));
        EXPECT_EQ(interfaceText, interface.StatusString(0));
    }
    observed->state = 4;
    EXPECT_EQ(0, network.Status(0) + interface.Status(0));
    EXPECT_EQ(L"Network is up.", network.StatusString(0));
    EXPECT_EQ(3u, network.StatusCode(0));
    EXPECT_EQ(L"NetworkInterface is up.", interface.StatusString(0));

    failing->Fail(Operation::NetworkState, 5);
    EXPECT_EQ(L"Network is in a unknown state.", network.StatusString(0));
    Expect(Administration().RemoveNetwork(Network(L"Both")), L"Both");
    failing->Heal();
    EXPECT_EQ(0, network.Status(0) + interface.Status(0));
    EXPECT_EQ(nullptr, network.Handle());
    EXPECT_EQ(nullptr, interface.Handle());
}

TEST_F(ANetwork, IsNotOpenedWithoutItsNameOrItsCluster) {
    const std::pair<const wchar_t*, HCLUSTER> rows[] = {{L"", cluster}, {L"Both", nullptr}, {L"Nowhere", cluster}};
    for (const auto& [name, handle] : rows) {
        ::Network network(name, handle, L"Test", 1);
        NetworkInterface interface(name, handle, L"Test", 1);
        EXPECT_EQ(0, network.Open() + interface.Open() + network.Discover());
        EXPECT_EQ(nullptr, network.Handle());
        EXPECT_EQ(L"", network.ID() + network.GetInterfaceName(L"N1"));
    }
    ::Network network(L"both", cluster, L"Test", 0);
    EXPECT_EQ(nullptr, network.Handle());
    EXPECT_EQ(1, network.Open());
    EXPECT_EQ(L"", network.ID());
}

TEST_F(ANetwork, ReadsNothingWithACodeForOtherObjectsButTakesOverWhatTheMapHolds) {
    ::Network network(L"Both", cluster, L"Test", 1);
    NetworkInterface interface(L"N1 - Both", cluster, L"Test", 1);
    StringMap attributes{{L"Role", L"1"},          {L"Address", L"10.0.0.0"}, {L"AddressMask", L"255.0.0.0"},
                         {L"Description", L"old"}, {L"Name", L"Renamed"},     {L"Color", L"red"}};
    const StringMap before = attributes;
    const StringArray parameters{L"Description=REG_SZ:new"};
    failing->ForgetCalls();
    for (const DWORD code : {0x06000059u, 0x01000059u, 0x00000059u, 0x15000059u}) {
        EXPECT_EQ(0u, network.GetAttributes(&attributes, code) + network.GetAttributes(code));
        EXPECT_EQ(0, network.SetAttributes(&parameters, code) + ::Network::IsValid(code));
    }
    for (const DWORD code : {0x05000059u, 0x16000059u}) {
        EXPECT_EQ(0u, interface.GetAttributes(&attributes, code));
        EXPECT_EQ(0, interface.SetAttributes(&parameters, code) + NetworkInterface::IsValid(code));
    }
    EXPECT_EQ(0, failing->Calls(Operation::Control));
    EXPECT_EQ(before, attributes);
    EXPECT_EQ(L"Renamed 10.0.0.0 255.0.0.0 1 old", network.Name() + L" " + network.IPAddress() + L" " +
                                                       network.SubnetMask() + L" " + network.Role() + L" " +
                                                       network.Description());
    EXPECT_EQ(1, network.IsForInternalUse());
}

TEST_F(ANetwork, IsWrittenWithOneCallForTextsAndOneForNumbers) {
    ::Network network(L"Both", cluster, L"Test", 1);
    NetworkInterface interface(L"N1 - Both", cluster, L"Test", 1);
    const StringArray both{L"Role=REG_DWORD:2", L"Description=REG_SZ:Front"};
    const std::tuple<StringArray, int, int, const wchar_t*, const wchar_t*> rows[] = {
        {both, 2, 2, L"2", L"Front"},
        {{L"Role=REG_DWORD:9", L"Description=REG_SZ:Back"}, 1, 2, L"2", L"Back"},
        {{L"Role=REG_DWORD:1"}, 1, 1, L"1", L"Back"},
        {{L"REG_SZ:no name", L"Description=REG_BINARY:00", L""}, 0, 0, L"1", L"Back"},
        {{}, 0, 0, L"1", L"Back"},
    };
    for (const auto& [parameters, accepted, calls, role, description] : rows) {
        failing->ForgetCalls();
        EXPECT_EQ(accepted, network.SetAttributes(&parameters, writeNetwork));
        EXPECT_EQ(calls, failing->Calls(Operation::Control));
        EXPECT_EQ(2u, network.GetAttributes(readNetwork));
        EXPECT_EQ(role, network.Role());
        EXPECT_EQ(description, network.Description());
    }
    EXPECT_EQ(0, network.SetAttributes(nullptr, writeNetwork));

    StringMap attributes;
    EXPECT_EQ(1, interface.SetAttributes(&both, writeInterface));  // it has no role
    EXPECT_EQ(1u, interface.GetAttributes(&attributes, readInterface));
    EXPECT_EQ((StringMap{{L"Description", L"Front"}}), attributes);
}

TEST_F(ANetwork, KnowsTheInterfacesOfItsNodes) {
    ::Network network(L"Both", cluster, L"Test", 1);
    EXPECT_EQ(L"N2 - Both", network.GetInterfaceName(L"N2"));
    EXPECT_EQ(L"", network.GetInterfaceName(L"N3"));
    failing->FailItem(Operation::EnumerateMembers, 0, 31);
    printed.Take();
    EXPECT_EQ(0, network.Discover());
    EXPECT_EQ(L" =-=-=  \n =-=-= N2 - Both \n =-=-=  \n", printed.Take());
    failing->Fail(Operation::EnumerateMembers, 5);
    EXPECT_EQ(0, network.Discover());
    network.Status(0);
    network.Info();
    EXPECT_EQ(L"Network             :Both\n   _iD              :" + IdentifierOf(L"Both") +
                  L"\n   _status          :Network is up.\n",
              printed.Take());
}

TEST_F(ANetworkInterface, SharesItsHandleWithCopies) {
    auto original = std::make_unique<NetworkInterface>(L"N1 - Both", cluster, L"Test", 1);
    const HNETINTERFACE handle = original->Handle();
    ASSERT_TRUE(handle);
    NetworkInterface copy(*original);
    NetworkInterface assigned(L"N1 - Inner", cluster, L"Test", 1);
    assigned = *original;
    EXPECT_EQ(L"", copy.Name());
    EXPECT_EQ(L"N1 - Both", assigned.Name());
    original.reset();
    EXPECT_EQ(handle, copy.Handle());
    EXPECT_EQ(handle, assigned.Handle());
    EXPECT_EQ(3u, GetClusterNetInterfaceState(handle));
}

TEST_F(ANetwork, IsLeftOutOfACollectionWhenItCannotBeRead) {
    failing->FailItem(Operation::Enumerate, 1, 31);
    EXPECT_EQ((StringArray{L"Both", L"None", L"Outer"}), KeysOf(std::make_unique<Networks>(L"Test", cluster).get()));
    EXPECT_EQ(7, NetworkInterfaces(L"Test", cluster).GetCount());
    failing->Heal();
    failing->FailCall(Operation::Control, 2, 5);
    const Networks partly(L"Test", cluster);
    EXPECT_EQ(4, partly.GetCount());
    EXPECT_EQ(L"10.1.1.0", Member(partly, L"None")->IPAddress());  // the first that is read
    EXPECT_EQ(L"", Member(partly, L"None")->Role());
    EXPECT_EQ(L"1", Member(partly, L"Inner")->Role());
    failing->Fail(Operation::Enumerate, 5);
    EXPECT_EQ(0, Networks(L"Test", cluster).GetCount() + NetworkInterfaces(L"Test", cluster).GetCount());
}

TEST_F(ANetwork, StandsInACollectionThatOpensAndClosesTheClusterByItself) {
    const long users = Users();
    {
        const Networks networks(L"Test", nullptr);
        const NetworkInterfaces interfaces(L"Test", nullptr);
        EXPECT_LT(users, Users());
        EXPECT_EQ(4, networks.GetCount());
        EXPECT_EQ((StringArray{L"N1 - Both", L"N1 - Inner", L"N1 - None", L"N1 - Outer", L"N2 - Both", L"N2 - Inner",
                               L"N2 - None", L"N2 - Outer"}),
                  KeysOf(&interfaces));
        EXPECT_EQ(1, Member(networks, L"Inner")->Status(0));
    }
    EXPECT_EQ(users, Users());
    EXPECT_EQ(0, Networks(L"Elsewhere", nullptr).GetCount() + NetworkInterfaces(L"Elsewhere", nullptr).GetCount());
}

}  // namespace
