#pragma once

#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/cluster_names.h>
#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/NameEnumeration.h>

#include <algorithm>

/// The names that an enumeration gave.
struct EnumeratedNames {
    StringArray names;
    bool isComplete = false;  // it could be read to its end, every item of it
};

/// Reads an open enumeration; `onFailure` is told the code of each item that could not be read.
template <typename Enumeration, typename ReadItem, typename OnFailure>
EnumeratedNames ReadNames(Enumeration enumeration, const ReadItem& readItem, const OnFailure& onFailure) {
    EnumeratedNames read{{}, true};
    ForEachName(
        enumeration, readItem, [&](const std::wstring& name) { read.names.push_back(name); },
        [&](DWORD code) {
            read.isComplete = false;
            onFailure(code);
        });
    return read;
}

/// What a cluster told of, and what it says when it is asked about that.
struct ToldChange {
    std::wstring name;
    DWORD notification = 0;
    std::wstring holder;          // the group of a resource that was added; empty when the cluster does not have it
    bool isContradicted = false;  // the cluster still has what was deleted, or does not have what was added
};

/// Whether an object found over the connection `cluster` still is what its cluster has under that name.
template <typename Object>
bool IsCurrent(const Object& object, const std::wstring& name, HCLUSTER cluster) {
    return object.ClusterHandle() == cluster && PresentName(object.Handle()) == name;
}

/// The keys of those members that the cluster no longer has under their name, or that were found over another
/// connection. Of what cannot be asked, those that a complete enumeration did not give.
template <typename Object>
StringArray StaleKeys(OwnedComponents& owned, HCLUSTER cluster, const EnumeratedNames& found = {}) {
    StringArray stale;
    for (const auto& [key, listed] : *owned.Index()) {
        const auto* object = owned.Owns(listed) ? dynamic_cast<Object*>(listed) : nullptr;
        if (!object) continue;
        const auto present = PresentName(object->Handle());
        const auto isMissing = [&, &name = key] {
            return found.isComplete && std::find(found.names.begin(), found.names.end(), name) == found.names.end();
        };
        const bool isForeign = cluster && object->ClusterHandle() != cluster;
        if (isForeign || (present ? *present != key : isMissing())) stale.push_back(key);
    }
    return stale;
}
