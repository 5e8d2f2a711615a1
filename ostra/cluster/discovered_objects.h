#pragma once

#include <ostra/cluster/cluster_names.h>
#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <platform/base/SharedHandle.h>
#include <platform/cluster/cluster_api.h>
#include <platform/framework/CMapStringToOb.h>

#include <memory>
#include <string>

/// Stores what `make` makes of the name of each object of one kind, a CLUSTER_ENUM_ bit, in a map that owns it; null is
/// left out. Without a cluster handle the cluster is opened by its name and kept in `opened`. The handle that was used
/// is left in `cluster`; `caller` opens the texts of failures.
template <typename Make>
void DiscoverObjects(CMapStringToOb& map, HCLUSTER& cluster, platform::SharedHandle<HCLUSTER, CloseCluster>& opened,
                     const std::wstring& clusterName, DWORD kind, const OstraError& error, const std::wstring& caller,
                     const Make& make) {
    if (!cluster) {
        opened.Reset(OpenNamedCluster(clusterName));
        cluster = opened.Get();
        if (!cluster) return DisplayFailure(error, caller + L" Failure calling OpenCluster( ).");
    }
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> objects(ClusterOpenEnum(cluster, kind));
    if (!objects) return;
    const auto store = [&](const std::wstring& name) {
        std::unique_ptr<ClusterComponent> object = make(name);
        if (!object) return;
        CObject* former = nullptr;
        if (map.Lookup(name, former)) delete former;
        map.SetAt(name, object.release());
    };
    ForEachName(objects.Get(), &ClusterEnum, store, [&](DWORD code) {
        DisplayFailure(error, caller + L" Failure calling ClusterEnum( )." + error.GetErrorString(code));
    });
}
