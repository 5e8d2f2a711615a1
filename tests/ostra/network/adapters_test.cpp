#include <ostra/network/NetworkAdapter.h>
#include <ostra/network/NetworkAdapters.h>
#include <ostra/network/TCPIPAddress.h>
#include <tests/ostra/cluster/NetworkedCluster.h>

#include <gtest/gtest.h>

namespace {

using tests::Operation;
using TheNetworkAdapters = tests::NetworkedCluster;

class ANetworkAdapter : public TheNetworkAdapters {
protected:
    NetworkAdapter Adapter(int role) {
        return NetworkAdapter(L"Test", cluster, IdentifierOf(L"Both"), L"Both", L"10.20.30.40", L"255.255.255.0", role,
                              1, L"tcp", 7, 0, 1);
    }
};

TEST_F(TheNetworkAdapters, AreThoseOfTheNetworksThatClientsReach) {
    for (const HCLUSTER handle : {cluster, HCLUSTER{}}) {
        const NetworkAdapters adapters(L"Test", handle, 0, 0);
        EXPECT_EQ((StringMap{{L"Both", L"Both"}, {L"Outer", L"Outer"}}), *adapters.AdapterNames());
        NetworkAdapter* outer = adapters.FindAdapterByName(L"Outer");
        ASSERT_TRUE(outer && outer->Stack());
        EXPECT_EQ(outer, adapters.FindAdapterByID(IdentifierOf(L"Outer")));
        EXPECT_FALSE(adapters.FindAdapterByName(L"Inner") || adapters.FindAdapterByID(IdentifierOf(L"Inner")));
        EXPECT_EQ(L"10.1.3.0 255.255.255.0", outer->Address() + L" " + outer->SubnetMask());
        EXPECT_EQ(1, outer->UsedInCluster() - outer->IsForInternalUse());
        outer->SetInitialized();
        EXPECT_EQ(1, outer->IsInitialized() - adapters.AllAdaptersAreInitialized());
        EXPECT_TRUE(NetworkAdapters(adapters).Adapters()->empty());
    }
    failing->Fail(Operation::Enumerate, 5);
    NetworkAdapters none(L"Test", cluster, 0, 0);
    EXPECT_TRUE(none.Adapters()->empty());
    EXPECT_EQ(1, none.AllAdaptersAreInitialized());
    EXPECT_EQ(0, none.GetIPAddressesToBeRecycled(nullptr) + none.RecycleIPAddresses());
    EXPECT_TRUE(NetworkAdapters(L"Elsewhere", nullptr, 0, 0).Adapters()->empty());
}

TEST_F(TheNetworkAdapters, RecycleWhatNoRecordHolds) {
    for (const wchar_t* network : {L"Outer", L"Both"}) {
        GivePool(network);
        for (const wchar_t* address : {L"10.9.0.1", L"10.9.0.2"}) EXPECT_EQ(address, Take(network));
    }
    NetworkAdapters adapters(L"Test", cluster, 0, 0);
    EXPECT_EQ(1, adapters.AllAdaptersAreInitialized());
    TCPIPAddress held(L"10.9.0.1", L"", L"", L"Both");
    TCPIPAddress ofInner(L"10.9.0.2", L"", L"", L"Inner");
    TCPIPAddress ofNone(L"10.9.0.2", L"", L"", L"Nowhere");
    CArray<CObject*> records;
    for (CObject* record : std::initializer_list<CObject*>{&held, &ofInner, nullptr, &records, &ofNone})
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
        adapters.FindAdapterByName(L"Both")->Info();
        const std::wstring output = printed.Take();
        EXPECT_EQ(0u, output.find(L"NetworkAdapters::RecycleIPAddresses( ). adding 10.9.0.1 for recycling.\n"));
        EXPECT_EQ(std::wstring::npos, output.find(L"10.9.0.3"));
        EXPECT_NE(std::wstring::npos, output.find(L"\n_isInitialized         : No\n"));
        EXPECT_NE(std::wstring::npos, output.find(isAllowed ? L":2\n10.9.0.1\n10.9.0.2\n" : L"Addresses:0\n"));
    }
}

TEST_F(ANetworkAdapter, SharesItsPoolWithItsCopies) {
    GivePool(L"Both");
    auto first = std::make_unique<NetworkAdapter>(Adapter(3));
    const NetworkAdapter second(*first);
    EXPECT_EQ(first->Stack(), second.Stack());
    first.reset();
    EXPECT_EQ(L"10.9.0.0 10.9.0.3", second.StartingAddress() + L" " + second.EndingAddress());
    EXPECT_EQ(L"10.20. tcp", second.DefaultIPRangeMask() + L" " + second.Transport());
    EXPECT_EQ(1, second.IsInitialized());
}

TEST_F(ANetworkAdapter, DoesNothingWithoutAPool) {
    const StringArray addresses{L"10.9.0.1"};
    for (const int role : {-1, 0, 1}) {
        NetworkAdapter adapter = Adapter(role);
        failing->ForgetCalls();
        EXPECT_EQ(L"", adapter.DefaultIPRangeMask() + adapter.StartingAddress() + adapter.EndingAddress());
        adapter.SetInitialized();
        EXPECT_EQ(0, adapter.IsInitialized() + adapter.AddIPAddressBeingUsed(L"10.9.0.1") +
                         adapter.GetIPAddressesToBeRecycled() + adapter.RecycleIPAddresses() +
                         adapter.RecycleIPAddresses(&addresses) + adapter.UsedInCluster());
        EXPECT_EQ(role == 1, adapter.IsForInternalUse());
        EXPECT_EQ(StringArray(), failing->Log());
    }
}

}  // namespace
