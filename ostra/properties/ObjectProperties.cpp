#include <ostra/properties/ObjectProperties.h>

#include <platform/base/format.h>
#include <platform/base/output.h>
#include <platform/cluster/cluster_api.h>

namespace {

constexpr std::size_t descriptionsOfDisk = 6;

/// The kind's control operation on one object.
template <auto Control, typename Handle>
auto CallOn(Handle handle, DWORD controlCode) {
    return [=](const void* input, DWORD inputSize, void* output, DWORD outputSize, DWORD* returned) {
        return Control(handle, nullptr, controlCode, input, inputSize, output, outputSize, returned);
    };
}

}  // namespace

ClusterProperties::ClusterProperties(HCLUSTER cluster) : _cluster(cluster) {}

const Properties::ObjectKind NodeProperties::kind = {
    .object = CLUS_OBJECT_NODE,
    .invalidGet = L"NodeProperties::Get( ). Invalid control code. ",
    .invalidSet = nullptr,
    .getFailure = L"NodeProperties::Get( ). Failure calling ClusterNodeControl( ). ",
    .setFailure = L"NodeProperties::Set( ). Failure calling ClusterNodeControl( ). ",
    .displaysGetFailure = true,
    .displaysSetFailure = true,
};

NodeProperties::NodeProperties(HNODE node) : _node(node) {}

int NodeProperties::Set(const StringArray* parameters, DWORD controlCode) {
    return Write(kind, parameters, controlCode, CallOn<ClusterNodeControl>(_node, controlCode));
}

DWORD NodeProperties::Get(StringMap* attributes, DWORD controlCode, HNODE) {
    return ReadInto(attributes, kind, controlCode, CallOn<ClusterNodeControl>(_node, controlCode));
}

const Properties::ObjectKind GroupProperties::kind = {
    .object = CLUS_OBJECT_GROUP,
    .invalidGet = L"GroupProperties::Get( ). Invalid control code. ",
    .invalidSet = nullptr,
    .getFailure = L"GroupProperties::Get( ). Failure calling ClusterGroupControl. ",
    .setFailure = L"Properties::Set( ). Failure calling ClusterGroupControl( ). ",
    .displaysGetFailure = true,
    .displaysSetFailure = true,
    .getTrace = L"GroupProperties::Get( ). status:%d %ws\n",
};

GroupProperties::GroupProperties(HGROUP group, HNODE node) : _group(group), _node(node) {}

int GroupProperties::Set(const StringArray* parameters, DWORD controlCode) {
    return Write(kind, parameters, controlCode, CallOn<ClusterGroupControl>(_group, controlCode));
}

DWORD GroupProperties::Get(StringMap* attributes, DWORD controlCode, HNODE) {
    platform::WriteOutput(platform::Format(L"GroupProperties::Get( ). On entry. controlCode:%d valid:%d\n", controlCode,
                                           IsMeantFor(kind, controlCode) ? 1 : 0));
    return ReadInto(attributes, kind, controlCode, CallOn<ClusterGroupControl>(_group, controlCode));
}

const Properties::ObjectKind ResourceProperties::kind = {
    .object = CLUS_OBJECT_RESOURCE,
    .invalidGet = L"ResourceProperties::Get( ). Invalid control code. ",
    .invalidSet = nullptr,
    .getFailure = L"ResourceProperties::Get( ). Failure calling ClusterResourceControl. ",
    .setFailure = L"ResourceProperties::Set( ). Failure calling ClusterResourceControl( ). ",
    .displaysGetFailure = false,
    .displaysSetFailure = false,
    .setTrace = L"ResourceProperties::Set( ) callingClusterResourceControl...status: %d %ws\n",
};

ResourceProperties::ResourceProperties(HRESOURCE resource) : _resource(resource) {}

int ResourceProperties::Set(const StringArray* parameters, DWORD controlCode) {
    return Write(kind, parameters, controlCode, CallOn<ClusterResourceControl>(_resource, controlCode));
}

DWORD ResourceProperties::Get(StringMap* attributes, DWORD controlCode, HNODE) {
    const DWORD count = ReadInto(attributes, kind, controlCode, CallOn<ClusterResourceControl>(_resource, controlCode),
                                 CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO);
    EmptyPropertyList();
    return count;
}

const Properties::ObjectKind ResourceTypeProperties::kind = {
    .object = CLUS_OBJECT_RESOURCE_TYPE,
    .invalidGet = L"ResourceTypeProperties::Get( ). Invalid control code.",
    .invalidSet = nullptr,
    .getFailure = L"ResouceProperties::Get( ). Failure calling ClusterResourceTypeControl( ). ",
    .setFailure = L"ResourceTypeProperties::Set( ). Failure calling ClusterResourceTypeControl( ). ",
    .displaysGetFailure = false,
    .displaysSetFailure = true,
};

ResourceTypeProperties::ResourceTypeProperties(HCLUSTER cluster) : _cluster(cluster) {}

int ResourceTypeProperties::Set(const std::wstring& typeName, const StringArray* parameters, DWORD controlCode) {
    return Write(kind, parameters, controlCode, CallOnType(typeName), ListLength::WithTrailingZero);
}

DWORD ResourceTypeProperties::Get(const std::wstring& typeName, StringMap* attributes, DWORD controlCode, HNODE) {
    CopyTo(attributes, ReadDisks(typeName, controlCode));
    return ParsedCount();
}

DWORD ResourceTypeProperties::Get(const std::wstring& typeName, StringArray* descriptions, DWORD controlCode, HNODE) {
    const std::size_t count = ReadDisks(typeName, controlCode);
    for (std::size_t index = 0; descriptions && index < count; ++index) {
        _lastName = _properties[index]->Name();
        _lastValue = _properties[index]->Value();
        descriptions->push_back(_lastName + L"=" + _lastValue);
    }
    return ParsedCount();
}

std::size_t ResourceTypeProperties::ReadDisks(const std::wstring& typeName, DWORD controlCode) {
    if (!Read(kind, controlCode, CallOnType(typeName), CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS)) Initialize();
    return _properties.size() / descriptionsOfDisk * descriptionsOfDisk;
}

Properties::ControlCall ResourceTypeProperties::CallOnType(const std::wstring& typeName) const {
    return [this, &typeName](const void* input, DWORD inputSize, void* output, DWORD outputSize, DWORD* returned) {
        return ClusterResourceTypeControl(_cluster, typeName.c_str(), nullptr, _controlCode, input, inputSize, output,
                                          outputSize, returned);
    };
}

const Properties::ObjectKind NetworkProperties::kind = {
    .object = CLUS_OBJECT_NETWORK,
    .invalidGet = L"NetworkProperties::Get( ). Invalid control code. ",
    .invalidSet = L"NetworkProperties::Set( ). Invalid control code. ",
    .getFailure = L"NetworkProperties::Get( ). Failure calling ClusterNetworkControl( ). ",
    .setFailure = L"NetworkProperties::Set( ). Failure calling ClusterNetworkControl( ). ",
    .displaysGetFailure = true,
    .displaysSetFailure = true,
};

NetworkProperties::NetworkProperties(HNETWORK network) : _network(network) {}

int NetworkProperties::Set(const StringArray* parameters, DWORD controlCode) {
    return Write(kind, parameters, controlCode, CallOn<ClusterNetworkControl>(_network, controlCode));
}

DWORD NetworkProperties::Get(StringMap* attributes, DWORD controlCode, HNODE) {
    return ReadInto(attributes, kind, controlCode, CallOn<ClusterNetworkControl>(_network, controlCode));
}

const Properties::ObjectKind NetworkInterfaceProperties::kind = {
    .object = CLUS_OBJECT_NETINTERFACE,
    .invalidGet = L"NetworkInterfaceProperties::Get( ). Invalid control code. ",
    .invalidSet = L"NetworkInterfaceProperties::Set( ). Invalid control code. ",
    .getFailure = L"NetworkInterfaceProperties::Get( ). Failure calling ClusterNetInterfaceControl( ). ",
    .setFailure = L"NetworkInterfaceProperties::Set( ). Failure calling ClusterNetInterfaceControl( ). ",
    .displaysGetFailure = true,
    .displaysSetFailure = true,
};

NetworkInterfaceProperties::NetworkInterfaceProperties(HNETINTERFACE netInterface) : _netInterface(netInterface) {}

int NetworkInterfaceProperties::Set(const StringArray* parameters, DWORD controlCode) {
    return Write(kind, parameters, controlCode, CallOn<ClusterNetInterfaceControl>(_netInterface, controlCode));
}

DWORD NetworkInterfaceProperties::Get(StringMap* attributes, DWORD controlCode, HNODE) {
    return ReadInto(attributes, kind, controlCode, CallOn<ClusterNetInterfaceControl>(_netInterface, controlCode));
}
