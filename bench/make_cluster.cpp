// make_cluster: puts the cluster of the whole-process comparison, named "bench", into the state directory.
#include <bench/large_cluster.h>
#include <platform/cluster/ClusterDirectory.h>

#include <iostream>

int main() {
    std::shared_ptr<platform::ClusterService> service;
    DWORD code = platform::ClusterDirectory::Create(L"bench", L"embedded", service);
    if (!code) code = bench::FillCluster(*service);
    if (code) std::cerr << "the cluster was not made: code " << code << '\n';
    return code ? 1 : 0;
}
