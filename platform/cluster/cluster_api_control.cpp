#include <platform/cluster/cluster_api.h>
#include <platform/cluster/cluster_handles.h>

#include <algorithm>

using namespace platform;

namespace {

using Operation = DWORD (ClusterService::*)(ObjectId);

template <typename Handle>
DWORD Run(Handle handle, Operation operation) {
    return AskAbout(handle, [&](ClusterService& service, ObjectId id) { return (service.*operation)(id); });
}

DWORD RunAt(HGROUP group, HNODE destination, DWORD (ClusterService::*operation)(ObjectId, std::optional<ObjectId>)) {
    return AskAbout(group, [&](ClusterService& service, ObjectId id) {
        std::optional<ObjectId> node;
        if (const DWORD code = OptionalNodeOf(destination, service, node)) return code;
        return (service.*operation)(id, node);
    });
}

template <typename Other>
DWORD RunWith(HRESOURCE resource, Other other, DWORD (ClusterService::*operation)(ObjectId, ObjectId)) {
    return AskAbout(resource, [&](ClusterService& service, ObjectId id) {
        const auto second = ObjectHandles<Other>().Find(other);
        if (!second) return error::InvalidHandle;
        if (second->service.get() != &service) return error::InvalidParameter;
        return (service.*operation)(id, second->id);
    });
}

/// A program's buffers of one control operation.
struct Exchange {
    DWORD code;
    const void* input;
    DWORD inputSize;
    void* output;
    DWORD outputSize;
    DWORD* returned;
};

DWORD HandOut(const std::vector<BYTE>& answer, const Exchange& exchange) {
    if (exchange.returned) *exchange.returned = static_cast<DWORD>(answer.size());
    if (answer.size() > exchange.outputSize) return error::MoreData;
    std::copy(answer.begin(), answer.end(), static_cast<BYTE*>(exchange.output));
    return error::Success;
}

DWORD Control(ClusterService& service, ObjectId object, HNODE host, const Exchange& exchange) {
    if ((exchange.inputSize && !exchange.input) || (exchange.outputSize && !exchange.output))
        return error::InvalidParameter;
    std::optional<ObjectId> node;
    if (const DWORD code = OptionalNodeOf(host, service, node)) return code;
    std::vector<BYTE> answer;
    const std::span<const BYTE> input(static_cast<const BYTE*>(exchange.input), exchange.inputSize);
    if (const DWORD code = service.Control(object, node, exchange.code, input, answer)) return code;
    return HandOut(answer, exchange);
}

template <typename Handle>
DWORD ControlObject(Handle handle, HNODE host, const Exchange& exchange) {
    if (exchange.returned) *exchange.returned = 0;
    return AskAbout(handle, [&](ClusterService& service, ObjectId id) { return Control(service, id, host, exchange); });
}

}  // namespace

DWORD OnlineClusterGroup(HGROUP group, HNODE destination) {
    return RunAt(group, destination, &ClusterService::OnlineGroup);
}

DWORD OfflineClusterGroup(HGROUP group) {
    return Run(group, &ClusterService::OfflineGroup);
}

DWORD MoveClusterGroup(HGROUP group, HNODE destination) {
    return RunAt(group, destination, &ClusterService::MoveGroup);
}

DWORD OnlineClusterResource(HRESOURCE resource) {
    return Run(resource, &ClusterService::OnlineResource);
}

DWORD OfflineClusterResource(HRESOURCE resource) {
    return Run(resource, &ClusterService::OfflineResource);
}

DWORD PauseClusterNode(HNODE node) {
    return Run(node, &ClusterService::PauseNode);
}

DWORD ResumeClusterNode(HNODE node) {
    return Run(node, &ClusterService::ResumeNode);
}

DWORD EvictClusterNode(HNODE node) {
    return Run(node, &ClusterService::EvictNode);
}

DWORD SetClusterGroupName(HGROUP group, const wchar_t* newName) {
    return AskAbout(group, [&](ClusterService& service, ObjectId id) {
        std::wstring name;
        return ReadName(newName, name) ? service.RenameGroup(id, name) : error::InvalidParameter;
    });
}

DWORD SetClusterGroupNodeList(HGROUP group, DWORD count, HNODE* nodes) {
    return AskAbout(group, [&](ClusterService& service, ObjectId id) {
        if (count && !nodes) return error::InvalidParameter;
        std::vector<ObjectId> owners;
        for (HNODE node : std::span(nodes, count))
            if (const DWORD code = NodeOf(node, service, owners.emplace_back())) return code;
        return service.SetGroupOwners(id, owners);
    });
}

DWORD AddClusterResourceNode(HRESOURCE resource, HNODE node) {
    return RunWith(resource, node, &ClusterService::AddResourceOwner);
}

DWORD RemoveClusterResourceNode(HRESOURCE resource, HNODE node) {
    return RunWith(resource, node, &ClusterService::RemoveResourceOwner);
}

DWORD AddClusterResourceDependency(HRESOURCE resource, HRESOURCE dependsOn) {
    return RunWith(resource, dependsOn, &ClusterService::AddDependency);
}

DWORD RemoveClusterResourceDependency(HRESOURCE resource, HRESOURCE dependsOn) {
    return RunWith(resource, dependsOn, &ClusterService::RemoveDependency);
}

DWORD ClusterNodeControl(HNODE node, HNODE host, DWORD code, const void* input, DWORD inputSize, void* output,
                         DWORD outputSize, DWORD* returned) {
    return ControlObject(node, host, {code, input, inputSize, output, outputSize, returned});
}

DWORD ClusterGroupControl(HGROUP group, HNODE host, DWORD code, const void* input, DWORD inputSize, void* output,
                          DWORD outputSize, DWORD* returned) {
    return ControlObject(group, host, {code, input, inputSize, output, outputSize, returned});
}

DWORD ClusterResourceControl(HRESOURCE resource, HNODE host, DWORD code, const void* input, DWORD inputSize,
                             void* output, DWORD outputSize, DWORD* returned) {
    return ControlObject(resource, host, {code, input, inputSize, output, outputSize, returned});
}

DWORD ClusterResourceTypeControl(HCLUSTER cluster, const wchar_t* typeName, HNODE host, DWORD code, const void* input,
                                 DWORD inputSize, void* output, DWORD outputSize, DWORD* returned) {
    if (returned) *returned = 0;
    return AskCluster(cluster, [&](ClusterService& service) {
        std::wstring name;
        if (!ReadName(typeName, name)) return error::InvalidParameter;
        ObjectId type;
        if (const DWORD failure = service.Find(ObjectKind::ResourceType, name, type)) return failure;
        return Control(service, type, host, {code, input, inputSize, output, outputSize, returned});
    });
}

DWORD ClusterNetworkControl(HNETWORK network, HNODE host, DWORD code, const void* input, DWORD inputSize, void* output,
                            DWORD outputSize, DWORD* returned) {
    return ControlObject(network, host, {code, input, inputSize, output, outputSize, returned});
}

DWORD ClusterNetInterfaceControl(HNETINTERFACE netInterface, HNODE host, DWORD code, const void* input, DWORD inputSize,
                                 void* output, DWORD outputSize, DWORD* returned) {
    return ControlObject(netInterface, host, {code, input, inputSize, output, outputSize, returned});
}
