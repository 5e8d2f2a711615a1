#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/cluster_handles.h>

using namespace platform;

namespace {

template <typename Handle>
Handle OpenNamed(HCLUSTER cluster, ObjectKind kind, const wchar_t* name) {
    const auto service = ClusterHandles().Find(cluster);
    if (!service) return NoHandle(error::InvalidHandle);
    std::wstring text;
    if (!ReadName(name, text)) return NoHandle(error::InvalidParameter);
    ObjectId id;
    const DWORD code = service->Find(kind, text, id);
    return OpenIfDone<Handle>(code, service, id);
}

BOOL Closed(bool wasOpen) {
    if (!wasOpen) SetLastError(error::InvalidHandle);
    return wasOpen ? 1 : 0;
}

template <typename Handle>
BOOL CloseObject(Handle handle) {
    return Closed(ObjectHandles<Handle>().Close(handle));
}

}  // namespace

HCLUSTER OpenCluster(const wchar_t* clusterName) {
    std::wstring name;
    if (clusterName && !ReadName(clusterName, name)) return NoHandle(error::InvalidParameter);
    std::shared_ptr<ClusterService> service;
    if (const DWORD code = ClusterDirectory::Resolve(name, service)) return NoHandle(code);
    return ClusterHandles().Open(std::move(service));
}

HNODE OpenClusterNode(HCLUSTER cluster, const wchar_t* nodeName) {
    return OpenNamed<HNODE>(cluster, ObjectKind::Node, nodeName);
}

HGROUP OpenClusterGroup(HCLUSTER cluster, const wchar_t* groupName) {
    return OpenNamed<HGROUP>(cluster, ObjectKind::Group, groupName);
}

HRESOURCE OpenClusterResource(HCLUSTER cluster, const wchar_t* resourceName) {
    return OpenNamed<HRESOURCE>(cluster, ObjectKind::Resource, resourceName);
}

HNETWORK OpenClusterNetwork(HCLUSTER cluster, const wchar_t* networkName) {
    return OpenNamed<HNETWORK>(cluster, ObjectKind::Network, networkName);
}

HNETINTERFACE OpenClusterNetInterface(HCLUSTER cluster, const wchar_t* interfaceName) {
    return OpenNamed<HNETINTERFACE>(cluster, ObjectKind::NetworkInterface, interfaceName);
}

BOOL CloseCluster(HCLUSTER cluster) {
    return Closed(ClusterHandles().Close(cluster));
}

BOOL CloseClusterNode(HNODE node) {
    return CloseObject(node);
}

BOOL CloseClusterGroup(HGROUP group) {
    return CloseObject(group);
}

BOOL CloseClusterResource(HRESOURCE resource) {
    return CloseObject(resource);
}

BOOL CloseClusterNetwork(HNETWORK network) {
    return CloseObject(network);
}

BOOL CloseClusterNetInterface(HNETINTERFACE netInterface) {
    return CloseObject(netInterface);
}

HGROUP CreateClusterGroup(HCLUSTER cluster, const wchar_t* groupName) {
    const auto service = ClusterHandles().Find(cluster);
    if (!service) return NoHandle(error::InvalidHandle);
    std::wstring name;
    if (!ReadName(groupName, name)) return NoHandle(error::InvalidParameter);
    ObjectId id;
    const DWORD code = service->CreateGroup(name, id);
    return OpenIfDone<HGROUP>(code, service, id);
}

HRESOURCE CreateClusterResource(HGROUP group, const wchar_t* resourceName, const wchar_t* typeName, DWORD flags) {
    const auto holder = ObjectHandles<HGROUP>().Find(group);
    if (!holder) return NoHandle(error::InvalidHandle);
    std::wstring name;
    std::wstring type;
    if (!ReadName(resourceName, name) || !ReadName(typeName, type)) return NoHandle(error::InvalidParameter);
    ObjectId id;
    const DWORD code = holder->service->CreateResource(holder->id, name, type, flags, id);
    return OpenIfDone<HRESOURCE>(code, holder->service, id);
}
