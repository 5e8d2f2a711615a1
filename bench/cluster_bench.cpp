#include <bench/World.h>
#include <ostra/cluster/Cluster.h>
#include <platform/cluster/cluster_api.h>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <string>

namespace {

using bench::World;

void DiscoverThroughTheLibrary(benchmark::State& state) {
    const World world(false);
    if (!world.isReady) return state.SkipWithError("no cluster");
    for (auto _ : state) {
        OstraDLL::Cluster cluster(L"bench", 0, bench::nodes);
        benchmark::DoNotOptimize(cluster.Open(1));
    }
}
BENCHMARK(DiscoverThroughTheLibrary)->Unit(benchmark::kMillisecond);

// What a program that polls does: the objects stand, each is asked whether it still is what it was.
void DiscoverAgainThroughTheLibrary(benchmark::State& state) {
    const World world(false);
    if (!world.isReady) return state.SkipWithError("no cluster");
    OstraDLL::Cluster cluster(L"bench", 0, bench::nodes);
    cluster.Open(1);
    for (auto _ : state) benchmark::DoNotOptimize(cluster.Discover());
}
BENCHMARK(DiscoverAgainThroughTheLibrary)->Unit(benchmark::kMillisecond);

// The calls that the discovery of every node's objects makes, and nothing around them.
void BareCallsOfADiscovery(benchmark::State& state) {
    const World world(false);
    if (!world.isReady) return state.SkipWithError("no cluster");
    wchar_t name[201];
    const auto forEach = [&](auto enumeration, auto item, const auto& visit) {
        for (DWORD index = 0;; ++index) {
            DWORD size = 200;
            DWORD type = 0;
            if (item(enumeration, index, &type, name, &size)) return;
            visit();
        }
    };
    for (auto _ : state) {
        const HCLUSTER cluster = OpenCluster(L"bench");
        const HCLUSENUM nodes = ClusterOpenEnum(cluster, CLUSTER_ENUM_NODE);
        forEach(nodes, ClusterEnum, [&] {
            const HCLUSENUM groups = ClusterOpenEnum(cluster, CLUSTER_ENUM_GROUP);
            forEach(groups, ClusterEnum, [&] {
                const HGROUP group = OpenClusterGroup(cluster, name);
                const HGROUPENUM resources = ClusterGroupOpenEnum(group, CLUSTER_GROUP_ENUM_CONTAINS);
                forEach(resources, ClusterGroupEnum, [&] { CloseClusterResource(OpenClusterResource(cluster, name)); });
                ClusterGroupCloseEnum(resources);
                CloseClusterGroup(group);
            });
            ClusterCloseEnum(groups);
        });
        ClusterCloseEnum(nodes);
        CloseCluster(cluster);
    }
}
BENCHMARK(BareCallsOfADiscovery)->Unit(benchmark::kMillisecond);

void RefreshAnUnchangedCluster(benchmark::State& state) {
    const World world(true);
    if (!world.isReady) return state.SkipWithError("no cluster");
    const HCLUSTER cluster = OpenCluster(L"bench");
    const HGROUP group = OpenClusterGroup(cluster, L"Group 1");
    for (auto _ : state) benchmark::DoNotOptimize(GetClusterGroupState(group, nullptr, nullptr));
    CloseClusterGroup(group);
    CloseCluster(cluster);
}
BENCHMARK(RefreshAnUnchangedCluster);

void ChangeAGroupsState(benchmark::State& state) {
    const World world(true);
    if (!world.isReady) return state.SkipWithError("no cluster");
    const HCLUSTER cluster = OpenCluster(L"bench");
    const HGROUP group = OpenClusterGroup(cluster, L"Group 1");
    bool isOnline = false;
    for (auto _ : state) {
        benchmark::DoNotOptimize(isOnline ? OfflineClusterGroup(group) : OnlineClusterGroup(group, nullptr));
        isOnline = !isOnline;
    }
    CloseClusterGroup(group);
    CloseCluster(cluster);
}
BENCHMARK(ChangeAGroupsState)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The same durability bare: the rows that a change of a group with four resources touches.
void OneSyncedTransaction(benchmark::State& state) {
    const World world(true);
    sqlite3* database = nullptr;
    sqlite3_open((world.Home() + "/bare.db").c_str(), &database);
    sqlite3_exec(
        database,
        "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; CREATE TABLE t (id INTEGER PRIMARY KEY, v INTEGER);"
        "INSERT INTO t VALUES (1,0),(2,0),(3,0),(4,0),(5,0); CREATE TABLE log (id INTEGER PRIMARY KEY, v TEXT)",
        nullptr, nullptr, nullptr);
    sqlite3_stmt* update = nullptr;
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(database, "UPDATE t SET v = v + 1", -1, &update, nullptr);
    sqlite3_prepare_v2(database, "INSERT INTO log (v) VALUES ('offline -> online on N1')", -1, &insert, nullptr);
    for (auto _ : state) {
        sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
        sqlite3_step(update);
        sqlite3_reset(update);
        for (int i = 0; i < 5; ++i) {
            sqlite3_step(insert);
            sqlite3_reset(insert);
        }
        sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
    }
    sqlite3_finalize(update);
    sqlite3_finalize(insert);
    sqlite3_close(database);
}
BENCHMARK(OneSyncedTransaction)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
