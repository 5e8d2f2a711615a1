#include <platform/base/error_codes.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <platform/engines/embedded/EmbeddedClusterService.h>
#include <platform/engines/embedded/object_properties.h>
#include <platform/engines/embedded/online_checks.h>
#include <platform/engines/embedded/shared_disks.h>

#include <algorithm>

namespace platform::embedded {

namespace {

DWORD PropertyNotification(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::Resource: return CLUSTER_CHANGE_RESOURCE_PROPERTY;
        case ObjectKind::ResourceType: return 0;  // no notification tells of resource types
        case ObjectKind::Group: return CLUSTER_CHANGE_GROUP_PROPERTY;
        case ObjectKind::Node: return CLUSTER_CHANGE_NODE_PROPERTY;
        case ObjectKind::Network: return CLUSTER_CHANGE_NETWORK_PROPERTY;
        case ObjectKind::NetworkInterface: return CLUSTER_CHANGE_NETINTERFACE_PROPERTY;
    }
    return 0;
}

bool IsWrite(DWORD function) {
    return function == CLUSCTL_SET_COMMON_PROPERTIES || function == CLUSCTL_SET_PRIVATE_PROPERTIES;
}

bool IsPrivate(DWORD function) {
    return function == CLUSCTL_GET_PRIVATE_PROPERTIES || function == CLUSCTL_SET_PRIVATE_PROPERTIES ||
           function == CLUSCTL_GET_RO_PRIVATE_PROPERTIES;
}

}  // namespace

DWORD EmbeddedClusterService::Control(ObjectId object, std::optional<ObjectId> host, DWORD code,
                                      std::span<const BYTE> input, std::vector<BYTE>& output) {
    const DWORD function = code & 0x00FFFFFF;
    const auto answer = [&] {
        if (const DWORD failed = ExpectNode(host)) return failed;
        if (ControlCodeObject(code) != static_cast<DWORD>(object.kind) << 24) return error::InvalidParameter;
        if (host && !Model().nodes.Find(host->number)->IsRunning()) return error::ClusterNodeDown;
        if (IsPrivate(function) && object.kind != ObjectKind::Resource) return error::CallNotImplemented;
        if (!IsWrite(function)) return ReadProperties(object, function, output);
        const DWORD failed = WriteProperties(object, function, input);
        if (failed == error::Success) output.clear();
        return failed;
    };
    return IsWrite(function) ? WriteOf(object, object.kind, answer) : ReadOf(object, object.kind, answer);
}

DWORD EmbeddedClusterService::ReadProperties(ObjectId object, DWORD function, std::vector<BYTE>& output) {
    ReadTransaction transaction(_store->Keys().Store());  // one for all values, instead of one for each
    const bool isInModel = function == CLUSCTL_GET_RO_COMMON_PROPERTIES;
    if (const DWORD failed = isInModel ? error::Success : transaction.Begin()) return failed;
    std::vector<PropertyValue> properties;
    DWORD code = error::CallNotImplemented;
    switch (function) {
        case CLUSCTL_GET_COMMON_PROPERTIES: code = ReadCommonProperties(*_store, object, properties); break;
        case CLUSCTL_GET_RO_COMMON_PROPERTIES: code = ReadReadOnlyProperties(*_store, object, properties); break;
        case CLUSCTL_GET_PRIVATE_PROPERTIES:
            code = ReadPrivateProperties(*_store, *Model().resources.Find(object.number), properties);
            break;
        case CLUSCTL_GET_RO_PRIVATE_PROPERTIES: code = error::Success; break;
        case CLUSCTL_STORAGE_GET_DISK_INFO: return DiskInformation(object, output);
        case CLUSCTL_STORAGE_GET_AVAILABLE_DISKS: return AvailableDisks(object, output);
        default: break;
    }
    if (code == error::Success) output = EncodePropertyList(properties);
    return code;
}

DWORD EmbeddedClusterService::DiskInformation(ObjectId object, std::vector<BYTE>& output) {
    const ResourceRecord* const resource =
        object.kind == ObjectKind::Resource ? Model().resources.Find(object.number) : nullptr;
    if (!resource || Model().TypeOf(*resource) != physicalDisk) return error::CallNotImplemented;
    return DescribeDiskOf(*_store, *resource, output);
}

DWORD EmbeddedClusterService::AvailableDisks(ObjectId object, std::vector<BYTE>& output) {
    const TypeRecord* const type =
        object.kind == ObjectKind::ResourceType ? Model().types.Find(object.number) : nullptr;
    if (!type || type->name != physicalDisk) return error::CallNotImplemented;
    return DescribeAvailableDisks(*_store, output);
}

DWORD EmbeddedClusterService::WriteParameters(const ResourceRecord& resource,
                                              const std::vector<PropertyValue>& properties, std::wstring& changed) {
    if (const DWORD code = WritePrivateProperties(*_store, resource, properties, changed)) return code;
    const bool isChecked = std::ranges::any_of(
        properties, [&](const PropertyValue& written) { return MustStayFit(resource, written.name); });
    return isChecked ? CheckParameters(*_store, resource) : error::Success;
}

DWORD EmbeddedClusterService::WriteProperties(ObjectId object, DWORD function, std::span<const BYTE> input) {
    std::vector<PropertyValue> properties;
    if (!DecodePropertyList(input, properties)) return error::InvalidData;
    if (properties.empty()) return error::Success;
    std::wstring changed;
    const DWORD code = function == CLUSCTL_SET_COMMON_PROPERTIES
                           ? WriteCommonProperties(*_store, object, properties, changed)
                           : WriteParameters(*Model().resources.Find(object.number), properties, changed);
    if (code != error::Success || changed.empty()) return code;
    std::wstring name;
    NameOf(object, name);
    _store->Note(name, PropertyNotification(object.kind), L"set: " + changed);
    return error::Success;
}

}  // namespace platform::embedded
