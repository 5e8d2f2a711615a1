#pragma once

#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterService.h>

#include <string>

namespace bench {

inline constexpr int nodes = 8;
inline constexpr int groups = 200;
inline constexpr int resourcesPerGroup = 4;

/// Fills an empty cluster: 8 nodes, 200 groups, 4 resources each. A result code.
inline DWORD FillCluster(platform::ClusterService& service) {
    return service.Transact([&]() -> DWORD {
        for (int node = 1; node <= nodes; ++node)
            if (const DWORD code = service.Administration()->AddNode(L"N" + std::to_wstring(node))) return code;
        for (int group = 1; group <= groups; ++group) {
            const std::wstring name = L"Group " + std::to_wstring(group);
            platform::ObjectId id;
            if (const DWORD code = service.CreateGroup(name, id)) return code;
            for (int resource = 1; resource <= resourcesPerGroup; ++resource) {
                platform::ObjectId made;
                const std::wstring resourceName = L"Service " + std::to_wstring(resource) + L" of " + name;
                if (const DWORD code = service.CreateResource(id, resourceName, L"Generic Service", 0, made))
                    return code;
            }
        }
        return 0;
    });
}

}  // namespace bench
