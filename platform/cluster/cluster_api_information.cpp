#include <platform/cluster/cluster_api.h>
#include <platform/cluster/cluster_handles.h>

using namespace platform;

namespace {

DWORD StateOr(DWORD code, DWORD state) {
    if (code == error::Success) return state;
    SetLastError(code);
    return ClusterStateUnknown;
}

template <typename Handle>
DWORD ReadState(Handle handle, DWORD (ClusterService::*read)(ObjectId, DWORD&)) {
    DWORD state = ClusterStateUnknown;
    const DWORD code =
        AskAbout(handle, [&](ClusterService& service, ObjectId id) { return (service.*read)(id, state); });
    return StateOr(code, state);
}

}  // namespace

DWORD GetClusterNodeState(HNODE node) {
    return ReadState(node, &ClusterService::NodeState);
}

DWORD GetClusterGroupState(HGROUP group, wchar_t* nodeName, DWORD* nodeNameSize) {
    DWORD state = ClusterStateUnknown;
    std::wstring owner;
    DWORD code =
        AskAbout(group, [&](ClusterService& service, ObjectId id) { return service.GroupState(id, state, owner); });
    if (code == error::Success) code = CopyText(owner, nodeName, nodeNameSize);
    return StateOr(code, state);
}

DWORD GetClusterResourceState(HRESOURCE resource, wchar_t* nodeName, DWORD* nodeNameSize, wchar_t* groupName,
                              DWORD* groupNameSize) {
    DWORD state = ClusterStateUnknown;
    std::wstring owner;
    std::wstring group;
    DWORD code = AskAbout(
        resource, [&](ClusterService& service, ObjectId id) { return service.ResourceState(id, state, owner, group); });
    if (code == error::Success) {
        code = CopyText(owner, nodeName, nodeNameSize);
        const DWORD groupCode = CopyText(group, groupName, groupNameSize);
        if (code == error::Success) code = groupCode;
    }
    return StateOr(code, state);
}

DWORD GetClusterNetworkState(HNETWORK network) {
    return ReadState(network, &ClusterService::NetworkState);
}

DWORD GetClusterNetInterfaceState(HNETINTERFACE netInterface) {
    return ReadState(netInterface, &ClusterService::NetworkInterfaceState);
}

DWORD GetClusterInformation(HCLUSTER cluster, wchar_t* clusterName, DWORD* nameSize, void*) {
    return AskCluster(cluster, [&](ClusterService& service) {
        if (!nameSize) return error::InvalidParameter;
        std::wstring name;
        const DWORD code = service.Information(name);
        return code == error::Success ? CopyText(name, clusterName, nameSize) : code;
    });
}

DWORD GetClusterNetworkId(HNETWORK network, wchar_t* id, DWORD* idSize) {
    return AskAbout(network, [&](ClusterService& service, ObjectId object) {
        if (!idSize) return error::InvalidParameter;
        std::wstring text;
        const DWORD code = service.NetworkIdentifier(object, text);
        return code == error::Success ? CopyText(text, id, idSize) : code;
    });
}

DWORD GetClusterNetInterface(HCLUSTER cluster, const wchar_t* nodeName, const wchar_t* networkName,
                             wchar_t* interfaceName, DWORD* nameSize) {
    return AskCluster(cluster, [&](ClusterService& service) {
        std::wstring node;
        std::wstring network;
        if (!nameSize || !ReadName(nodeName, node) || !ReadName(networkName, network)) return error::InvalidParameter;
        std::wstring name;
        const DWORD code = service.InterfaceOf(node, network, name);
        return code == error::Success ? CopyText(name, interfaceName, nameSize) : code;
    });
}
