// status CLUSTER: prints each group of a cluster with its owner and state.
#include <ostra/ostra.h>
#include <platform/base/text.h>

#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: status CLUSTER\n";
        return 2;
    }
    OstraDLL::Cluster cluster(platform::FromUtf8(argv[1]), 0, 0);
    if (!cluster.Open(1)) {
        std::cerr << "the cluster cannot be opened\n";
        return 1;
    }
    for (const auto& [name, object] : *cluster.GroupsPtr()) {
        auto* group = static_cast<Group*>(object);
        const std::wstring state = group->StatusString(0);
        std::cout << platform::ToUtf8(name + L" on " + group->CurrentOwnerName() + L": " + state) << '\n';
    }
}
