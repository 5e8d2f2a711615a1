#pragma once

#include <ostra/network/IPStack.h>
#include <tests/ostra/cluster/ClusterWorld.h>

namespace tests {

/// It has nodes N1 and N2 and a network of each role: None, Inner, Outer and Both.
class NetworkedCluster : public ObservedCluster {
protected:
    NetworkedCluster() {
        Given({.networks = {{.name = L"None", .role = 0},
                            {.name = L"Inner", .role = 1},
                            {.name = L"Outer", .role = 2, .description = L"Customers"},
                            {.name = L"Both", .role = 3}}});
    }

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
};

}  // namespace tests
