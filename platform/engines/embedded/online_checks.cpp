#include <platform/engines/embedded/online_checks.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/network_addresses.h>
#include <platform/engines/embedded/object_properties.h>

#include <algorithm>

namespace platform::embedded {

namespace {

DWORD CheckOwner(const ClusterModel& model, const ResourceRecord& resource) {
    const bool isAnyUp = std::ranges::any_of(model.PossibleOwnersOf(resource),
                                             [&](RowId node) { return model.nodes.Find(node)->IsRunning(); });
    if (!isAnyUp) return error::HostNodeNotAvailable;
    const NodeRecord& owner = *model.nodes.Find(model.groups.Find(resource.group)->owner);
    if (!owner.IsRunning()) return error::ClusterNodeDown;
    return resource.possibleOwners.contains(owner.id) ? error::Success : error::NodeCannotHostResource;
}

std::wstring AddressOf(ClusterStore& store, const ResourceRecord& resource) {
    const std::optional<PropertyValue> property = ReadPrivateProperty(store, resource, L"Address");
    const std::wstring* const text = property ? std::get_if<std::wstring>(&property->value) : nullptr;
    return text ? *text : std::wstring();
}

bool IsSameAddress(const std::wstring& left, const std::wstring& right) {
    const std::optional<DWORD> leftNumber = ParseAddress(left);
    return leftNumber ? leftNumber == ParseAddress(right) : EqualIgnoringCase(left, right);
}

// Whether another online resource of the same type answers true to `isSame`.
template <typename IsSame>
bool IsHeld(const ClusterModel& model, const ResourceRecord& resource, IsSame isSame) {
    return std::ranges::any_of(model.resources.All(), [&](const auto& entry) {
        const ResourceRecord& other = entry.second;
        return other.id != resource.id && other.type == resource.type && other.state == ClusterResourceOnline &&
               isSame(other);
    });
}

DWORD CheckAddress(ClusterStore& store, const ResourceRecord& resource) {
    const std::wstring address = AddressOf(store, resource);
    if (address.empty()) return error::Success;
    const bool isHeld = IsHeld(store.Model(), resource, [&](const ResourceRecord& other) {
        return IsSameAddress(address, AddressOf(store, other));
    });
    return isHeld ? error::ClusterIpAddressInUse : error::Success;
}

DWORD CheckDisk(ClusterStore& store, const ResourceRecord& resource) {
    const DWORD signature = SignatureOf(store, resource);
    if (!store.Model().DiskOf(signature)) return error::ResourceNotAvailable;
    const bool isHeld = IsHeld(store.Model(), resource,
                               [&](const ResourceRecord& other) { return SignatureOf(store, other) == signature; });
    return isHeld ? error::ResourceNotAvailable : error::Success;
}

}  // namespace

bool IsPhysicalDisk(const ClusterModel& model, const ResourceRecord& resource) {
    return model.TypeOf(resource) == physicalDisk;
}

DWORD SignatureOf(ClusterStore& store, const ResourceRecord& resource) {
    const std::optional<PropertyValue> property = ReadPrivateProperty(store, resource, L"Signature");
    if (!property) return 0;
    const DWORD* const number = std::get_if<DWORD>(&property->value);
    return number ? *number : ParseHexadecimal(std::get<std::wstring>(property->value));
}

DWORD CheckOnline(ClusterStore& store, const ResourceRecord& resource) {
    if (const DWORD code = CheckOwner(store.Model(), resource)) return code;
    if (store.Model().TypeOf(resource) == L"IP Address") return CheckAddress(store, resource);
    if (IsPhysicalDisk(store.Model(), resource)) return CheckDisk(store, resource);
    return error::Success;
}

}  // namespace platform::embedded
