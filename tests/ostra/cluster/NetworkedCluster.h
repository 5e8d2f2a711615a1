#pragma once

#include <ostra/network/IPStack.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <platform/framework/CMapStringToOb.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

#include <memory>
#include <optional>

namespace tests {

/// A cluster whose networks and interfaces can be said to be in any state.
class ServiceOfAnyNetworkState : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;

    std::optional<DWORD> state;

    DWORD NetworkState(platform::ObjectId, DWORD& answer) override { return Answer(answer); }
    DWORD NetworkInterfaceState(platform::ObjectId, DWORD& answer) override { return Answer(answer); }

private:
    DWORD Answer(DWORD& answer) const {
        answer = state.value_or(3);
        return 0;
    }
};

/// The cluster Test with nodes N1 and N2 and a network of each role: None, Inner, Outer and Both. Every test leaves no
/// handle open.
class NetworkedCluster : public EmbeddedClusterTest {
protected:
    NetworkedCluster() {
        Given({.networks = {{.name = L"None", .role = 0},
                            {.name = L"Inner", .role = 1},
                            {.name = L"Outer", .role = 2, .description = L"Customers"},
                            {.name = L"Both", .role = 3}}});
        _users = Users();
        cluster = OpenCluster(L"Test");
    }
    ~NetworkedCluster() override {
        EXPECT_TRUE(CloseCluster(cluster));
        EXPECT_EQ(_users, Users()) << "handles left open";
    }

    /// Each open handle of the cluster counts as one.
    long Users() const { return failing.Service().use_count(); }

    std::wstring IdentifierOf(const std::wstring& network) {
        std::wstring id;
        Expect(service->NetworkIdentifier(Network(network), id), network);
        return id;
    }
    /// The initialised pool of a network, with the addresses 10.9.0.1 to 10.9.0.3.
    void GivePool(const std::wstring& network) {
        IPStack pool(IdentifierOf(network), L"Test", L"255.255.255.0", L"10.9.0.1", L"10.9.0.3");
        pool.SetRangeAndMask(L"10.9.0.0", L"10.9.0.3", L"255.255.255.0");
        pool.SetInitialized(1);
    }
    /// The next address of a network's pool; empty when there is none.
    std::wstring Take(const std::wstring& network) {
        IPStack pool(IdentifierOf(network), L"Test", L"255.255.255.0", 0);
        const std::wstring address = pool.GetIP(0);
        pool.RemoveUsedIP();
        pool.SaveCurrentState();
        return address;
    }
    static StringArray KeysOf(const CMapStringToOb& collection) {
        StringArray keys;
        for (const auto& [key, object] : collection) keys.push_back(key);
        return keys;
    }

    CapturedEvents events;
    std::shared_ptr<ServiceOfAnyNetworkState> states = std::make_shared<ServiceOfAnyNetworkState>(service);
    FailingCluster failing{L"Test", states};
    HCLUSTER cluster = nullptr;

private:
    long _users = 0;
};

}  // namespace tests
