#include <platform/engines/embedded/online_checks.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/network_addresses.h>
#include <platform/engines/embedded/object_properties.h>
#include <platform/store/failures.h>

#include <algorithm>

namespace platform::embedded {

namespace {

constexpr const wchar_t* ipAddress = L"IP Address";

// A type whose resources each have something to themselves while they are online.
struct HoldingType {
    const wchar_t* name;
    DWORD (*read)(ClusterStore& store, const ResourceRecord& resource, std::wstring& thing);  // empty: nothing
    DWORD (*check)(ClusterStore& store, const ResourceRecord& resource);
    DWORD heldCode;
    const wchar_t* heldWords;
    std::vector<const wchar_t*> parameters;
};

DWORD CheckOwner(const ClusterModel& model, const ResourceRecord& resource) {
    const bool isAnyUp = std::ranges::any_of(model.PossibleOwnersOf(resource),
                                             [&](RowId node) { return model.nodes.Find(node)->IsRunning(); });
    if (!isAnyUp) return error::HostNodeNotAvailable;
    const NodeRecord& owner = *model.nodes.Find(model.groups.Find(resource.group)->owner);
    if (!owner.IsRunning()) return error::ClusterNodeDown;
    return resource.possibleOwners.contains(owner.id) ? error::Success : error::NodeCannotHostResource;
}

// A number is read as its digits: no address, mask or name is one.
DWORD ReadText(ClusterStore& store, const ResourceRecord& resource, const wchar_t* name, std::wstring& text) {
    std::optional<PropertyValue> property;
    const DWORD code = ReadPrivateProperty(store, resource, name, property);
    const DWORD* const number = property ? std::get_if<DWORD>(&property->value) : nullptr;
    text = !property ? std::wstring() : number ? std::to_wstring(*number) : std::get<std::wstring>(property->value);
    return code;
}

DWORD Refuse(DWORD code, const wchar_t* words, const std::wstring& what) {
    return Fail(code, words, ToUtf8(what));
}

DWORD ReadAddress(ClusterStore& store, const ResourceRecord& resource, std::wstring& thing) {
    std::wstring text;
    const DWORD code = ReadText(store, resource, L"Address", text);
    const std::optional<DWORD> address = ParseAddress(text);
    thing = address ? FormatAddress(*address) : std::wstring();
    return code;
}

DWORD CheckAddress(ClusterStore& store, const ResourceRecord& resource) {
    std::wstring address;
    std::wstring mask;
    std::wstring network;
    if (const DWORD code = ReadText(store, resource, L"Address", address)) return code;
    if (const DWORD code = ReadText(store, resource, L"SubnetMask", mask)) return code;
    if (const DWORD code = ReadText(store, resource, L"Network", network)) return code;
    if (address.empty()) return Refuse(error::InvalidParameter, L"It has no address.", {});
    if (!ParseAddress(address)) return Refuse(error::InvalidParameter, L"Its address, %1, is none.", address);
    const std::optional<DWORD> number = ParseAddress(mask);
    if (!mask.empty() && !(number && IsMask(*number)))
        return Refuse(error::InvalidParameter, L"Its subnet mask, %1, is none.", mask);
    if (!network.empty() && !store.Model().networks.FindByName(FoldCase(network)))
        return Refuse(error::InvalidParameter, L"The cluster has no network named \"%1\".", network);
    return error::Success;
}

DWORD ReadDisk(ClusterStore& store, const ResourceRecord& resource, std::wstring& thing) {
    DWORD signature = 0;
    const DWORD code = ReadSignature(store, resource, signature);
    thing = signature ? std::to_wstring(signature) : std::wstring();
    return code;
}

DWORD CheckDisk(ClusterStore& store, const ResourceRecord& resource) {
    DWORD signature = 0;
    if (const DWORD code = ReadSignature(store, resource, signature)) return code;
    if (store.Model().DiskOf(signature)) return error::Success;
    const wchar_t* const words = signature ? L"No disk of the cluster has its signature, %1." : L"It names no disk.";
    return Refuse(error::ResourceNotAvailable, words, std::to_wstring(signature));
}

DWORD ReadNetworkName(ClusterStore& store, const ResourceRecord& resource, std::wstring& thing) {
    std::wstring name;
    const DWORD code = ReadText(store, resource, L"Name", name);
    thing = FoldCase(name);
    return code;
}

DWORD AcceptAny(ClusterStore&, const ResourceRecord&) {
    return error::Success;
}

const HoldingType* HoldingTypeOf(const ClusterModel& model, const ResourceRecord& resource) {
    static const HoldingType types[] = {
        {ipAddress,
         ReadAddress,
         CheckAddress,
         error::ClusterIpAddressInUse,
         L"The address is that of resource \"%1\".",
         {L"Address", L"SubnetMask", L"Network"}},
        {physicalDisk,
         ReadDisk,
         CheckDisk,
         error::ResourceNotAvailable,
         L"The disk is that of resource \"%1\".",
         {L"Signature"}},
        {L"Network Name",
         ReadNetworkName,
         AcceptAny,
         error::DuplicateName,
         L"The name is that of resource \"%1\".",
         {L"Name"}},
    };
    const std::wstring& type = model.TypeOf(resource);
    const auto found = std::ranges::find_if(types, [&](const HoldingType& known) { return type == known.name; });
    return found == std::end(types) ? nullptr : found;
}

DWORD CheckOthers(ClusterStore& store, const ResourceRecord& resource, const HoldingType& type) {
    std::wstring thing;
    if (const DWORD code = type.read(store, resource, thing)) return code;
    if (thing.empty()) return error::Success;
    for (const auto& [id, other] : store.Model().resources.All()) {
        if (id == resource.id || other.type != resource.type || other.state != ClusterResourceOnline) continue;
        std::wstring held;
        if (const DWORD code = type.read(store, other, held)) return code;
        if (held == thing) return Refuse(type.heldCode, type.heldWords, other.name);
    }
    return error::Success;
}

}  // namespace

bool IsPhysicalDisk(const ClusterModel& model, const ResourceRecord& resource) {
    return model.TypeOf(resource) == physicalDisk;
}

DWORD ReadSignature(ClusterStore& store, const ResourceRecord& resource, DWORD& signature) {
    std::optional<PropertyValue> property;
    const DWORD code = ReadPrivateProperty(store, resource, L"Signature", property);
    const DWORD* const number = property ? std::get_if<DWORD>(&property->value) : nullptr;
    signature = !property ? 0 : number ? *number : ParseHexadecimal(std::get<std::wstring>(property->value));
    return code;
}

DWORD ReadHeldThing(ClusterStore& store, const ResourceRecord& resource, std::wstring& thing) {
    thing.clear();
    const HoldingType* const type = HoldingTypeOf(store.Model(), resource);
    const DWORD code = type ? type->read(store, resource, thing) : error::Success;
    if (!thing.empty()) thing = type->name + (L" " + thing);
    return code;
}

bool IsCheckedParameter(const ClusterModel& model, const ResourceRecord& resource, const std::wstring& name) {
    const HoldingType* const type = HoldingTypeOf(model, resource);
    return type &&
           std::ranges::any_of(type->parameters, [&](const wchar_t* known) { return EqualIgnoringCase(known, name); });
}

DWORD HasOnlineAddress(ClusterStore& store, const NetworkRecord& network, bool& hasOne) {
    hasOne = false;
    for (const auto& [id, resource] : store.Model().resources.All()) {
        if (resource.state != ClusterResourceOnline || store.Model().TypeOf(resource) != ipAddress) continue;
        std::wstring name;
        if (const DWORD code = ReadText(store, resource, L"Network", name)) return code;
        hasOne = hasOne || EqualIgnoringCase(name, network.name);
    }
    return error::Success;
}

DWORD CheckOwnParameters(ClusterStore& store, const ResourceRecord& resource) {
    const HoldingType* const type = HoldingTypeOf(store.Model(), resource);
    return type ? type->check(store, resource) : error::Success;
}

DWORD CheckParameters(ClusterStore& store, const ResourceRecord& resource) {
    if (const DWORD code = CheckOwnParameters(store, resource)) return code;
    const HoldingType* const type = HoldingTypeOf(store.Model(), resource);
    return type ? CheckOthers(store, resource, *type) : error::Success;
}

DWORD CheckOnline(ClusterStore& store, const ResourceRecord& resource) {
    const DWORD code = CheckOwner(store.Model(), resource);
    return code == error::Success ? CheckParameters(store, resource) : code;
}

}  // namespace platform::embedded
