#pragma once

#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterService.h>

#include <string>

namespace bench {

inline constexpr int nodes = 8;
inline constexpr int groups = 200;
inline constexpr int resourcesPerGroup = 4;

/// Fills an empty cluster. A result code.
inline DWORD FillClusterOf(platform::ClusterService& service, int nodeCount, int groupCount, int resourcesOfEach) {
    return service.Transact([&]() -> DWORD {
        for (int node = 1; node <= nodeCount; ++node)
            if (const DWORD code = service.Administration()->AddNode(L"N" + std::to_wstring(node))) return code;
        for (int group = 1; group <= groupCount; ++group) {
            const std::wstring name = L"Group " + std::to_wstring(group);
            platform::ObjectId id;
            if (const DWORD code = service.CreateGroup(name, id)) return code;
            for (int resource = 1; resource <= resourcesOfEach; ++resource) {
                platform::ObjectId made;
                const std::wstring resourceName = L"Service " + std::to_wstring(resource) + L" of " + name;
                if (const DWORD code = service.CreateResource(id, resourceName, L"Generic Service", 0, made))
                    return code;
            }
        }
        return 0;
    });
}

/// The same with 8 nodes, 200 groups, 4 resources each.
inline DWORD FillCluster(platform::ClusterService& service) {
    return FillClusterOf(service, nodes, groups, resourcesPerGroup);
}

}  // namespace bench
