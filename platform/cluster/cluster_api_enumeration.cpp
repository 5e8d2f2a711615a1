#include <platform/cluster/cluster_api.h>
#include <platform/cluster/cluster_handles.h>

using namespace platform;

namespace {

template <typename Enumeration>
HandleTable<Enumeration, const EnumerationReference>& EnumerationHandles() {
    return TableOf<Enumeration, const EnumerationReference>();
}

template <typename Enumeration>
Enumeration OpenIfListed(DWORD code, std::shared_ptr<ClusterService> service,
                         std::unique_ptr<ClusterEnumeration> items) {
    if (code != error::Success) return NoHandle(code);
    return EnumerationHandles<Enumeration>().Open(
        std::make_shared<const EnumerationReference>(EnumerationReference{std::move(service), std::move(items)}));
}

template <typename Enumeration, typename Handle>
Enumeration OpenMembers(Handle handle, DWORD types) {
    const auto object = ObjectHandles<Handle>().Find(handle);
    if (!object) return NoHandle(error::InvalidHandle);
    std::unique_ptr<ClusterEnumeration> items;
    const DWORD code = object->service->EnumerateMembers(object->id, types, items);
    return OpenIfListed<Enumeration>(code, object->service, std::move(items));
}

template <typename Enumeration>
DWORD ReadItem(Enumeration enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize) {
    const auto reference = EnumerationHandles<Enumeration>().Find(enumeration);
    if (!reference) return Answer(error::InvalidHandle);
    if (!nameSize) return Answer(error::InvalidParameter);
    DWORD itemType = 0;
    std::wstring itemName;
    DWORD code = reference->items->Item(index, itemType, itemName);
    if (code == error::Success) code = CopyText(itemName, name, nameSize);
    if (code == error::Success && type) *type = itemType;
    return Answer(code);
}

template <typename Enumeration>
DWORD CloseEnumeration(Enumeration enumeration) {
    return Answer(EnumerationHandles<Enumeration>().Close(enumeration) ? error::Success : error::InvalidHandle);
}

}  // namespace

HCLUSENUM ClusterOpenEnum(HCLUSTER cluster, DWORD types) {
    const auto service = ClusterHandles().Find(cluster);
    if (!service) return NoHandle(error::InvalidHandle);
    std::unique_ptr<ClusterEnumeration> items;
    const DWORD code = service->Enumerate(types, items);
    return OpenIfListed<HCLUSENUM>(code, service, std::move(items));
}

DWORD ClusterEnum(HCLUSENUM enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize) {
    return ReadItem(enumeration, index, type, name, nameSize);
}

DWORD ClusterCloseEnum(HCLUSENUM enumeration) {
    return CloseEnumeration(enumeration);
}

HGROUPENUM ClusterGroupOpenEnum(HGROUP group, DWORD types) {
    return OpenMembers<HGROUPENUM>(group, types);
}

DWORD ClusterGroupEnum(HGROUPENUM enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize) {
    return ReadItem(enumeration, index, type, name, nameSize);
}

DWORD ClusterGroupCloseEnum(HGROUPENUM enumeration) {
    return CloseEnumeration(enumeration);
}

HRESENUM ClusterResourceOpenEnum(HRESOURCE resource, DWORD types) {
    return OpenMembers<HRESENUM>(resource, types);
}

DWORD ClusterResourceEnum(HRESENUM enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize) {
    return ReadItem(enumeration, index, type, name, nameSize);
}

DWORD ClusterResourceCloseEnum(HRESENUM enumeration) {
    return CloseEnumeration(enumeration);
}

HNETWORKENUM ClusterNetworkOpenEnum(HNETWORK network, DWORD types) {
    return OpenMembers<HNETWORKENUM>(network, types);
}

DWORD ClusterNetworkEnum(HNETWORKENUM enumeration, DWORD index, DWORD* type, wchar_t* name, DWORD* nameSize) {
    return ReadItem(enumeration, index, type, name, nameSize);
}

DWORD ClusterNetworkCloseEnum(HNETWORKENUM enumeration) {
    return CloseEnumeration(enumeration);
}
