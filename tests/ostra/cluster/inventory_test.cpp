#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/NetworkInterfaces.h>
#include <ostra/cluster/Networks.h>
#include <ostra/network/NTClusterDisks.h>
#include <ostra/network/NetworkAdapter.h>
#include <ostra/network/NetworkAdapters.h>
#include <ostra/network/TCPIPAddress.h>
#include <ostra/wizard/ExpertGroup.h>
#include <platform/framework/CStatusBar.h>
#include <tests/ostra/cluster/NetworkedCluster.h>

#include <gtest/gtest.h>

namespace {

using OstraDLL::Cluster;
using tests::Operation;

class ListingStatusBar : public CStatusBar {
public:
    BOOL Create(CWnd*, DWORD, UINT) override { return 1; }
    BOOL SetIndicators(const UINT*, int) override { return 1; }
    BOOL SetPaneText(int, const std::wstring& text, BOOL) override {
        texts.push_back(text);
        return 1;
    }
    void UpdateWindow() override {}

    StringArray texts;
};

using AnInventory = tests::NetworkedCluster;

std::wstring DefaultAdapter(const Cluster& model) {
    return model.DefaultNetworkAdapter() ? model.DefaultNetworkAdapter()->Name() : L"none";
}

TEST_F(AnInventory, IsReadInOrderAndOnlyWithFullDiscovery) {
    Cluster plain(L"Test", 0, 2);
    EXPECT_FALSE(plain.NetworksPtr() || plain.NetworkInterfacesPtr() || plain.AvailableNetworkAdapters() ||
                 plain.DefaultNetworkAdapter() || plain.ClusterDisks() || plain.ResourceTypesPtr());

    for (const bool isByName : {true, false}) {
        Cluster full = isByName ? Cluster(L"Test", 1, 2) : Cluster(OpenCluster(L"Test"), 1, 2);
        EXPECT_EQ(8, full.NetworkInterfacesPtr()->GetCount());
        EXPECT_TRUE(full.ResourceTypesPtr()->IsEmpty());

        ListingStatusBar bar;
        full.SetStatusBar(&bar);
        bar.texts.clear();
        const Networks* before = full.NetworksPtr();
        full.Initialize();
        EXPECT_EQ(nullptr, full.CreateGroup(L"Sales", L"No template", {}, nullptr));
        EXPECT_EQ((StringArray{L"Initiating networks...", L"Initiating networkInterface...", L"Initiating disks...",
                               L"Creating Expert Group Sales"}),
                  bar.texts);
        EXPECT_NE(before, full.NetworksPtr());
        EXPECT_EQ(4, before->GetCount());
    }
}

TEST_F(AnInventory, ChoosesItsDefaultsFromTheListsItHas) {
    Cluster model(L"Test", 1, 2);
    const Cluster copy(model);
    Expect(Administration().AddNetwork({L"Alpha", L"10.1.9.0", L"255.255.255.0", 2, L""}), L"Alpha");
    EXPECT_EQ(L"Both", DefaultAdapter(model));
    const NetworkAdapters* anew = model.GetNetworkAdapters();
    EXPECT_EQ(anew, model.AvailableNetworkAdapters());
    EXPECT_EQ(L"Alpha", DefaultAdapter(model));
    EXPECT_EQ(4, model.NetworksPtr()->GetCount());
    EXPECT_EQ(5u, model.GetAllNetworks());
    EXPECT_EQ(10u, model.GetAllNetworkInterfaces());
    Expect(Administration().AddDisk({0x11, 0x10, 3, {{L"D:", L"Data", 0xBEEF}}}), L"D:");
    EXPECT_EQ(nullptr, model.DefaultClusterDisk());
    const NTClusterDisks* disks = model.GetClusterDisks();
    EXPECT_EQ(disks, model.ClusterDisks());
    EXPECT_EQ(L"D:", model.DefaultClusterDisk()->Partition());
    model.Open(0);
    model.GetAllResourceTypes();
    EXPECT_TRUE(model.ResourceTypesPtr()->Find(L"Physical Disk"));

    for (const wchar_t* network : {L"Alpha", L"Outer", L"Both"})
        Expect(Administration().RemoveNetwork(Network(network)), network);
    model.GetNetworkAdapters();
    EXPECT_EQ(L"none", DefaultAdapter(model));
    EXPECT_EQ(copy.DefaultNetworkAdapter(), copy.AvailableNetworkAdapters()->FindAdapterByName(L"Both"));
    EXPECT_EQ(L"Both", DefaultAdapter(copy));
}

TEST_F(AnInventory, BringsAddressesBackThatNoResourceOfTheClusterHolds) {
    GivePool(L"Both");
    Give({.name = L"Other", .isOnline = false, .resources = {{.name = L"Service"}}});
    for (const wchar_t* address : {L"10.9.0.1", L"10.9.0.2", L"10.9.0.3"}) {
        EXPECT_EQ(address, Take(L"Both"));
        Give(Group(L"Other"), {address, L"IP Address", {}, {{L"Address", address}, {L"Network", L"Both"}}});
    }
    Cluster model(L"Test", 0, 2);
    model.Open(1);
    const auto recycled = [&](const StringArray& held) {
        CArray<CObject*> records;
        EXPECT_EQ(0, model.GetAllTCPIPAddresses(&records, L"Network", L"Address", L"IP Address"));
        NetworkAdapters* adapters = model.GetNetworkAdapters();
        adapters->GetIPAddressesToBeRecycled(&records);
        StringArray addresses;
        for (CObject* object : records) {
            const std::unique_ptr<TCPIPAddress> record(dynamic_cast<TCPIPAddress*>(object));
            addresses.push_back(record->AdapterName() + L" " + record->Address());
        }
        EXPECT_EQ(held, addresses);
        return adapters->RecycleIPAddresses();
    };
    EXPECT_EQ(0, recycled({L"Both 10.9.0.1", L"Both 10.9.0.2", L"Both 10.9.0.3"}));
    Expect(Administration().DeleteResource(Resource(L"10.9.0.2")), L"10.9.0.2");
    SetPrivate(L"10.9.0.3", {{L"Address", std::wstring(L"10.9.0.77")}});
    model.Update(L"10.9.0.2", CLUSTER_CHANGE_RESOURCE_DELETED);
    EXPECT_EQ(2, recycled({L"Both 10.9.0.1", L"Both 10.9.0.77"}));
    EXPECT_EQ(L"10.9.0.2", Take(L"Both"));
    EXPECT_EQ(0, model.GetAllTCPIPAddresses(nullptr, L"Network", L"Address", L"IP Address"));
}

}  // namespace
