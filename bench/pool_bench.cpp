#include <bench/World.h>
#include <ostra/cluster/Cluster.h>
#include <ostra/network/IPStack.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

// A pool of 240 addresses. Argument 0 keeps the cluster in memory, where a pool's own work shows; 1 on disk, where
// every write is synced.

namespace {

using bench::World;

constexpr int addresses = 240;

std::string Address(int number) {
    return "10.0.1." + std::to_string(number);
}

/// The pool's values of addresses `first` to `last`.
std::vector<BYTE> Lines(int first, int last) {
    std::string lines;
    for (int number = first; number <= last; ++number) lines += Address(number) + "\n";
    return platform::ToUtf16(platform::FromUtf8(lines));
}

IPStack NewPool() {
    return IPStack(L"net", L"bench", L"255.255.255.0", L"10.0.1.1", L"10.0.1.240");
}

void TakeEveryAddress(benchmark::State& state) {
    const World world(state.range(0) != 0);
    if (!world.isReady) return state.SkipWithError("no cluster");
    for (auto _ : state) {
        state.PauseTiming();
        IPStack pool = NewPool();
        state.ResumeTiming();
        int taken = 0;
        for (; !pool.GetIP(0).empty(); ++taken) {
            pool.RemoveUsedIP();
            pool.SaveCurrentState();
        }
        if (taken != addresses) return state.SkipWithError("not all addresses were taken");
    }
}
BENCHMARK(TakeEveryAddress)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// What reaches the database meanwhile, and nothing around it: both lists, whole, for each address.
void BareWritesOfEveryTake(benchmark::State& state) {
    const World world(state.range(0) != 0);
    if (!world.isReady) return state.SkipWithError("no cluster");
    const HCLUSTER cluster = OpenCluster(L"bench");
    const HKEY root = GetClusterKey(cluster, KEY_ALL_ACCESS);
    HKEY key = nullptr;
    ClusterRegCreateKey(root, L"Ostra\\ExpertWizard\\IPStack\\net", 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    const auto write = [key](const wchar_t* name, const std::vector<BYTE>& data) {
        return ClusterRegSetValue(key, name, REG_BINARY, data.data(), static_cast<DWORD>(data.size()));
    };
    std::vector<std::vector<BYTE>> available;
    std::vector<std::vector<BYTE>> used;
    for (int taken = 1; taken <= addresses; ++taken) {
        available.push_back(Lines(taken + 1, addresses));
        used.push_back(Lines(1, taken));
    }
    for (auto _ : state) {
        for (std::size_t i = 0; i < available.size(); ++i) {
            benchmark::DoNotOptimize(write(L"Persistence", available[i]));
            benchmark::DoNotOptimize(write(L"IP Used", used[i]));
        }
    }
    ClusterRegCloseKey(key);
    ClusterRegCloseKey(root);
    CloseCluster(cluster);
}
BENCHMARK(BareWritesOfEveryTake)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// As the program takes one: load, take and save in one transaction.
void TakeOneAddressSafely(benchmark::State& state) {
    const World world(state.range(0) != 0);
    if (!world.isReady) return state.SkipWithError("no cluster");
    {
        IPStack pool = NewPool();
        pool.SetRangeAndMask(pool.StartingAddress(), pool.EndingAddress(), pool.SubnetMask());
    }
    for (auto _ : state) {
        const DWORD code = world.service->Transact([]() -> DWORD {
            IPStack pool(L"net", L"bench", L"255.255.255.0", 0);
            benchmark::DoNotOptimize(pool.GetIP(0));  // not removed: every iteration takes the same one
            pool.SaveCurrentState();
            return 0;
        });
        if (code) return state.SkipWithError("refused");
    }
}
BENCHMARK(TakeOneAddressSafely)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();

void LoadAPool(benchmark::State& state) {
    const World world(false);
    if (!world.isReady) return state.SkipWithError("no cluster");
    { const IPStack pool = NewPool(); }
    for (auto _ : state) {
        const IPStack pool(L"net", L"bench", L"255.255.255.0", 0);
        benchmark::DoNotOptimize(pool.IPAddressesToBeRecycled());
    }
}
BENCHMARK(LoadAPool)->Unit(benchmark::kMicrosecond);

DWORD AddHardware(platform::ClusterService& service) {
    platform::ClusterAdministration& administration = *service.Administration();
    for (DWORD number = 1; number <= 4; ++number) {
        const std::wstring text = std::to_wstring(number);
        const platform::NetworkDescription network{L"Network " + text, L"10.0." + text + L".0", L"255.255.255.0",
                                                   number % 4, L""};
        if (const DWORD code = administration.AddNetwork(network)) return code;
    }
    for (DWORD number = 1; number <= 16; ++number) {
        const std::wstring drive(1, static_cast<wchar_t>(L'D' + number));
        if (const DWORD code = administration.AddDisk({number, number, number, {{drive + L":", L"", number}}}))
            return code;
    }
    return 0;
}

// Networks, interfaces, disks and adapters with their pools, beside which nothing else is discovered at construction.
void FullDiscovery(benchmark::State& state) {
    const World world(false);
    if (!world.isReady || AddHardware(*world.service)) return state.SkipWithError("no cluster");
    for (auto _ : state) {
        const OstraDLL::Cluster cluster(L"bench", 1, bench::nodes);
        benchmark::DoNotOptimize(cluster.DefaultNetworkAdapter());
    }
}
BENCHMARK(FullDiscovery)->Unit(benchmark::kMillisecond);

}  // namespace
