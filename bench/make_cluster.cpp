// make_cluster [NODES GROUPS RESOURCES]: puts the cluster of the whole-process comparison, named "bench", into the
// state directory; RESOURCES is the number of each group's.
#include <bench/large_cluster.h>
#include <platform/cluster/ClusterDirectory.h>

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    const auto number = [&](int at, int otherwise) { return argc == 4 ? std::atoi(argv[at]) : otherwise; };
    std::shared_ptr<platform::ClusterService> service;
    DWORD code = platform::ClusterDirectory::Create(L"bench", L"embedded", service);
    if (!code)
        code = bench::FillClusterOf(*service, number(1, bench::nodes), number(2, bench::groups),
                                    number(3, bench::resourcesPerGroup));
    if (code) std::cerr << "the cluster was not made: code " << code << '\n';
    return code ? 1 : 0;
}
