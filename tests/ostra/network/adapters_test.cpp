#include <ostra/network/NetworkAdapter.h>
#include <ostra/network/NetworkAdapters.h>
#include <ostra/network/TCPIPAddress.h>
#include <tests/ostra/cluster/NetworkedCluster.h>

namespace {

using tests::Operation;
using TheNetworkAdapters = tests::NetworkedCluster;

class ANetworkAdapter : public TheNetworkAdapters {
protected:
    NetworkAdapter Adapter(int role, int recyclingAllowed = 0) {
        return NetworkAdapter(L"Test", cluster, IdentifierOf(L"Both"), L"Both", L"10.20.30.40", L"255.255.255.0", role,
                              1, L"tcp", 7, 0, recyclingAllowed);
    }
};

TEST_F(TheNetworkAdapters, AreThoseOfTheNetworksThatClientsReach) {
    for (const HCLUSTER handle : {cluster, HCLUSTER{}}) {
        const NetworkAdapters adapters(L"Test", handle, 0, 0);
        EXPECT_EQ((StringMap{{L"Both", L"Both"}, {L"Outer", L"Outer"}}), *adapters.AdapterNames());
        const NetworkAdapter* outer = adapters.FindAdapterByName(L"Outer");
        ASSERT_TRUE(outer);
        EXPECT_EQ(adapters.Adapters()->at(L"Outer"), outer);
        EXPECT_EQ(outer, adapters.FindAdapterByID(IdentifierOf(L"Outer")));
        EXPECT_EQ(nullptr, adapters.FindAdapterByName(L"Inner"));
        EXPECT_EQ(nullptr, adapters.FindAdapterByID(IdentifierOf(L"Inner")));
        EXPECT_EQ(L"10.1.3.0 255.255.255.0 Test",
                  outer->Address() + L" " + outer->SubnetMask() + L" " + outer->ClusterName());
        EXPECT_EQ(2u, outer->Role());
        EXPECT_TRUE(outer->Stack());
        EXPECT_EQ(0, outer->IsForInternalUse());
        EXPECT_EQ(1, outer->UsedInCluster());
        printed.Take();
        const NetworkAdapters copy(adapters);
        EXPECT_EQ(L"NetworkAdapters::NetworkAdapters( & adapter ). On entry\n", printed.Take());
        EXPECT_TRUE(copy.Adapters()->empty());
    }
    failing->Fail(Operation::Enumerate, 5);
    NetworkAdapters none(L"Test", cluster, 0, 0);
    EXPECT_TRUE(none.Adapters()->empty());
    EXPECT_EQ(1, none.AllAdaptersAreInitialized());
    EXPECT_EQ(0, none.GetIPAddressesToBeRecycled(nullptr) + none.RecycleIPAddresses());
    EXPECT_TRUE(NetworkAdapters(L"Elsewhere", nullptr, 0, 0).Adapters()->empty());
}

TEST_F(TheNetworkAdapters, AreInitializedWhenEachPoolIs) {
    const NetworkAdapters adapters(L"Test", cluster, 0, 0);
    EXPECT_EQ(0, adapters.AllAdaptersAreInitialized());
    adapters.FindAdapterByName(L"Both")->SetInitialized();
    EXPECT_EQ(1, adapters.FindAdapterByName(L"Both")->IsInitialized());
    EXPECT_EQ(0, adapters.AllAdaptersAreInitialized());
    adapters.FindAdapterByName(L"Outer")->SetInitialized();
    EXPECT_EQ(1, adapters.AllAdaptersAreInitialized());
    EXPECT_EQ(1, NetworkAdapters(L"Test", cluster, 0, 0).AllAdaptersAreInitialized());
}

TEST_F(TheNetworkAdapters, RecycleWhatNoRecordHolds) {
    for (const wchar_t* network : {L"Outer", L"Both"}) {
        GivePool(network);
        EXPECT_EQ(L"10.9.0.1", Take(network));
        EXPECT_EQ(L"10.9.0.2", Take(network));
    }
    NetworkAdapters adapters(L"Test", cluster, 0, 0);
    TCPIPAddress held(L"10.9.0.1", L"", L"", L"Both");
    TCPIPAddress ofInner(L"10.9.0.2", L"", L"", L"Inner");
    TCPIPAddress ofNone(L"10.9.0.2", L"", L"", L"Nowhere");
    CArray<CObject*> records;
    for (CObject* record :
         {static_cast<CObject*>(&held), static_cast<CObject*>(&ofInner), static_cast<CObject*>(nullptr),
          static_cast<CObject*>(&records), static_cast<CObject*>(&ofNone)})
        records.Add(record);
    EXPECT_EQ(0, adapters.GetIPAddressesToBeRecycled(&records));
    EXPECT_EQ(3, adapters.RecycleIPAddresses());
    EXPECT_EQ(L"10.9.0.1", Take(L"Outer"));
    EXPECT_EQ(L"10.9.0.2", Take(L"Both"));
}

TEST_F(TheNetworkAdapters, TakeNamedAddressesBackOnlyWhenThatIsAllowed) {
    const std::vector<StringMap> addresses{
        {{IdentifierOf(L"Both"), L"10.9.0.1"}, {L"unknown", L"10.9.0.2"}},
        {{IdentifierOf(L"Both"), L"10.9.0.2"}, {IdentifierOf(L"Inner"), L"10.9.0.3"}}};
    for (const int isAllowed : {0, 1}) {
        NetworkAdapters adapters(L"Test", cluster, 0, isAllowed);
        printed.Take();
        EXPECT_EQ(0, adapters.RecycleIPAddresses(&addresses) + adapters.RecycleIPAddresses(nullptr));
        const std::wstring output = printed.Take();
        EXPECT_NE(std::wstring::npos,
                  output.find(L"NetworkAdapters::RecycleIPAddresses( ). adding 10.9.0.2 for recycling.\n"));
        EXPECT_EQ(std::wstring::npos, output.find(L"10.9.0.3"));
        adapters.FindAdapterByName(L"Both")->Info();
        EXPECT_NE(std::wstring::npos,
                  printed.Take().find(isAllowed ? L"Addresses:2\n10.9.0.1\n10.9.0.2\n" : L"Addresses:0\n"));
    }
}

TEST_F(ANetworkAdapter, SharesItsPoolWithItsCopies) {
    GivePool(L"Both");
    auto first = std::make_unique<NetworkAdapter>(Adapter(3, 1));
    auto second = std::make_unique<NetworkAdapter>(*first);
    EXPECT_EQ(first->Stack(), second->Stack());
    EXPECT_EQ(L"Both tcp", second->Name() + L" " + second->Transport());
    EXPECT_EQ(1u, second->ConnectsClients());
    first.reset();
    const NetworkAdapter third(*second);
    second.reset();
    EXPECT_EQ(L"10.9.0.0", third.StartingAddress());
    EXPECT_EQ(L"10.9.0.3", third.EndingAddress());
    EXPECT_EQ(L"10.20.", third.DefaultIPRangeMask());
    EXPECT_EQ(1, third.IsInitialized());
}

TEST_F(ANetworkAdapter, DoesNothingWithoutAPool) {
    const StringArray addresses{L"10.9.0.1"};
    for (const int role : {-1, 0, 1}) {
        NetworkAdapter adapter = Adapter(role, 1);
        failing->ForgetCalls();
        EXPECT_EQ(nullptr, adapter.Stack());
        EXPECT_EQ(L"", adapter.DefaultIPRangeMask() + adapter.StartingAddress() + adapter.EndingAddress());
        adapter.SetInitialized();
        EXPECT_EQ(0, adapter.IsInitialized() + adapter.AddIPAddressBeingUsed(L"10.9.0.1") +
                         adapter.GetIPAddressesToBeRecycled() + adapter.RecycleIPAddresses() +
                         adapter.RecycleIPAddresses(&addresses) + adapter.UsedInCluster());
        EXPECT_EQ(role == 1, adapter.IsForInternalUse());
        EXPECT_EQ(StringArray(), failing->Log());
    }
    printed.Take();
    Adapter(1).Info();
    const std::wstring output = printed.Take();
    EXPECT_EQ(0u, output.find(L"NetworkAdapter::Info( ). On entry\n_clusterName           : Test\n"));
    EXPECT_NE(std::wstring::npos, output.find(L"\n_subnetMask            : 255.255.255.0\n"));
    EXPECT_NE(std::wstring::npos, output.find(L"\n_isInitialized         : No\n"));
}

}  // namespace
