#include <ostra/cluster/Network.h>
#include <ostra/cluster/NetworkInterface.h>
#include <ostra/cluster/NetworkInterfaces.h>
#include <ostra/cluster/Networks.h>
#include <tests/ostra/cluster/NetworkedCluster.h>

#include <gtest/gtest.h>

namespace {

using tests::Operation;

constexpr DWORD readNetwork = CLUSCTL_NETWORK_GET_COMMON_PROPERTIES;
constexpr DWORD writeNetwork = CLUSCTL_NETWORK_SET_COMMON_PROPERTIES;

class ANetwork : public tests::NetworkedCluster {
protected:
    static ::Network& Member(const Networks& networks, const wchar_t* name) {
        CObject* object = nullptr;
        networks.Lookup(name, object);
        return dynamic_cast<::Network&>(*object);
    }
    static std::wstring Details(const ::Network& network) {
        return network.Name() + L" " + network.IPAddress() + L"/" + network.SubnetMask() + L" " + network.Role() +
               L" " + network.Description();
    }

    ::Network both{L"Both", cluster, L"Test", 1};
    NetworkInterface onN1{L"N1 - Both", cluster, L"Test", 1};
};

TEST_F(ANetwork, IsFoundWithItsIdentifierAndPropertiesThroughAnyConnection) {
    const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*, const wchar_t*> rows[] = {
        {L"None", L"0", L"", L"None 10.1.1.0/255.255.255.0 0 "},
        {L"Inner", L"1", L"", L"Inner 10.1.2.0/255.255.255.0 1 "},
        {L"Outer", L"2", L"Customers", L"Outer 10.1.3.0/255.255.255.0 2 Customers"},
        {L"Both", L"3", L"", L"Both 10.1.4.0/255.255.255.0 3 "}};
    for (const HCLUSTER handle : {cluster, HCLUSTER{}}) {
        const Networks networks(L"Test", handle);
        ASSERT_EQ((StringArray{L"Both", L"Inner", L"None", L"Outer"}), KeysOf(&networks));
        for (const auto& [name, role, description, details] : rows) {
            ::Network& network = Member(networks, name);
            EXPECT_EQ(IdentifierOf(name), network.ID());
            EXPECT_EQ(details, Details(network));
            EXPECT_EQ(1, network.Status(0));

            StringMap attributes{{L"Other", L"stays"}};
            EXPECT_EQ(0, network.IsForInternalUse());
            EXPECT_EQ(2u, network.GetAttributes(&attributes, readNetwork));
            EXPECT_EQ((StringMap{{L"Other", L"stays"}, {L"Role", role}, {L"Description", description}}), attributes);
            EXPECT_EQ(role == std::wstring(L"1"), network.IsForInternalUse());
        }
        EXPECT_EQ(8, NetworkInterfaces(L"Test", handle).GetCount());
    }
}

TEST_F(ANetwork, IsLeftOutOfACollectionWhenItCannotBeRead) {
    failing->FailItem(Operation::Enumerate, 1, 31);
    EXPECT_EQ((StringArray{L"Both", L"None", L"Outer"}), KeysOf(std::make_unique<Networks>(L"Test", cluster).get()));
    EXPECT_EQ(7, NetworkInterfaces(L"Test", cluster).GetCount());
    failing->Heal();
    failing->FailCall(Operation::Control, 2, 5);
    const Networks partly(L"Test", cluster);
    EXPECT_EQ(L"None 10.1.1.0/255.255.255.0  ", Details(Member(partly, L"None")));  // the first that is read
    EXPECT_EQ(L"Inner 10.1.2.0/255.255.255.0 1 ", Details(Member(partly, L"Inner")));
    failing->Fail(Operation::Enumerate, 5);
    for (const auto& [name, handle] : {std::pair(L"Test", cluster), {L"Elsewhere", HCLUSTER{}}})
        EXPECT_EQ(0, Networks(name, handle).GetCount() + NetworkInterfaces(name, handle).GetCount());
}

TEST_F(ANetwork, ReadsNothingWithACodeForOtherObjectsButTakesOverWhatTheMapHolds) {
    StringMap attributes{{L"Role", L"1"},          {L"Address", L"10.0.0.0"}, {L"AddressMask", L"255.0.0.0"},
                         {L"Description", L"old"}, {L"Name", L"Renamed"},     {L"Color", L"red"}};
    const StringArray parameters{L"Description=REG_SZ:new"};
    failing->ForgetCalls();
    for (const DWORD code : {0x01000059u, 0x00000059u, 0x15000059u, 0x16000059u}) {
        EXPECT_EQ(0u, both.GetAttributes(&attributes, code) + both.GetAttributes(code) +
                          onN1.GetAttributes(&attributes, code));
        EXPECT_EQ(0, both.SetAttributes(&parameters, code) + onN1.SetAttributes(&parameters, code));
    }
    EXPECT_EQ(0, failing->Calls(Operation::Control));
    EXPECT_EQ(L"Renamed 10.0.0.0/255.0.0.0 1 old", Details(both));
    EXPECT_EQ(1, both.IsForInternalUse());
}

TEST_F(ANetwork, IsWrittenWithOneCallForTextsAndOneForNumbersAndInterfacesThroughTheirCopies) {
    const StringArray everything{L"Role=REG_DWORD:2", L"Description=REG_SZ:Front"};
    const std::tuple<StringArray, int, int, const wchar_t*> rows[] = {
        {everything, 2, 2, L"2 Front"},
        {{L"Role=REG_DWORD:9", L"Description=REG_SZ:Back"}, 1, 2, L"2 Back"},
        {{L"Role=REG_DWORD:1"}, 1, 1, L"1 Back"},
        {{L"REG_SZ:no name", L"Description=REG_BINARY:00", L""}, 0, 0, L"1 Back"},
        {{}, 0, 0, L"1 Back"},
    };
    for (const auto& [parameters, accepted, calls, details] : rows) {
        failing->ForgetCalls();
        EXPECT_EQ(accepted, both.SetAttributes(&parameters, writeNetwork));
        EXPECT_EQ(calls, failing->Calls(Operation::Control));
        EXPECT_EQ(2u, both.GetAttributes(readNetwork));
        EXPECT_EQ(details, both.Role() + L" " + both.Description());
    }
    EXPECT_EQ(0, both.SetAttributes(nullptr, writeNetwork));

    auto original = std::make_unique<NetworkInterface>(L"N1 - Inner", cluster, L"Test", 1);
    NetworkInterface copy(*original);
    onN1 = *original;
    original.reset();
    EXPECT_EQ(L" N1 - Inner", copy.Name() + L" " + onN1.Name());
    StringMap attributes;
    EXPECT_EQ(1, onN1.SetAttributes(&everything, CLUS_OBJECT_NETINTERFACE | CLUSCTL_SET_COMMON_PROPERTIES));
    EXPECT_EQ(1u, copy.GetAttributes(&attributes, CLUS_OBJECT_NETINTERFACE | CLUSCTL_GET_COMMON_PROPERTIES));
    EXPECT_EQ((StringMap{{L"Description", L"Front"}}), attributes);
}

TEST_F(ANetwork, TellsItsInterfacesAndItsFixedPropertiesOnStandardOutput) {
    EXPECT_EQ(L"N2 - Both", both.GetInterfaceName(L"N2"));
    EXPECT_EQ(L"", both.GetInterfaceName(L"N3"));
    ::Network closed(L"both", cluster, L"Test", 0);
    EXPECT_EQ(0, closed.Discover());
    EXPECT_EQ(1, closed.Open());
    EXPECT_EQ(L"", closed.ID());
    failing->FailItem(Operation::EnumerateMembers, 0, 31);
    printed.Take();
    EXPECT_EQ(0, both.Discover());
    EXPECT_EQ(L" =-=-=  \n =-=-= N2 - Both \n =-=-=  \n", printed.Take());
    failing->Fail(Operation::EnumerateMembers, 5);
    EXPECT_EQ(0, both.Discover());
    StringMap attributes;
    EXPECT_EQ(3u, both.GetAttributes(&attributes));
    EXPECT_EQ(
        L"property: name:Address value:10.1.4.0\nproperty: name:AddressMask value:255.255.255.0\n"
        L"property: name:Name value:Both\n",
        printed.Take());
}

}  // namespace
