#include <platform/engines/embedded/object_properties.h>

#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>

#include <algorithm>

namespace platform::embedded {

namespace {

constexpr DWORD any = 0xFFFFFFFF;
constexpr std::size_t longestText = 16'384;

// A common property that can be written: a number up to `most`, or a text when `most` is 0.
struct CommonProperty {
    const wchar_t* name;
    DWORD most = 0;
    DWORD standard = 0;
    bool IsText() const { return most == 0; }
};

// Times are in milliseconds, but for a group's FailoverPeriod, which is in hours.
constexpr CommonProperty resourceProperties[] = {
    {L"Description"},
    {L"DebugPrefix"},
    {L"SeparateMonitor", 1, 0},
    {L"PersistentState", any, 0},
    {L"LooksAlivePollInterval", any, 5'000},
    {L"IsAlivePollInterval", any, 60'000},
    {L"RestartAction", 2, 0},
    {L"RestartThreshold", any, 3},
    {L"RestartPeriod", any, 900'000},
    {L"PendingTimeout", any, 180'000},
};
constexpr CommonProperty groupProperties[] = {
    {L"Description"},
    {L"PersistentState", any, 0},
    {L"FailoverThreshold", any, 10},
    {L"FailoverPeriod", any, 6},
    {L"AutoFailbackType", 1, 0},
    {L"FailbackWindowStart", any, any},
    {L"FailbackWindowEnd", any, any},
};
constexpr CommonProperty networkProperties[] = {{L"Description"}, {L"Role", 3, 3}};
constexpr CommonProperty typeProperties[] = {
    {L"Description"},
    {L"LooksAlivePollInterval", any, 5'000},
    {L"IsAlivePollInterval", any, 60'000},
};
constexpr CommonProperty otherProperties[] = {{L"Description"}};

std::span<const CommonProperty> CommonPropertiesOf(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::Resource: return resourceProperties;
        case ObjectKind::ResourceType: return typeProperties;
        case ObjectKind::Group: return groupProperties;
        case ObjectKind::Network: return networkProperties;
        case ObjectKind::Node:
        case ObjectKind::NetworkInterface: return otherProperties;
    }
    return {};
}

KeyId KeyOf(const ClusterModel& model, ObjectId object) {
    switch (object.kind) {
        case ObjectKind::Resource: return model.resources.Find(object.number)->key;
        case ObjectKind::ResourceType: return model.types.Find(object.number)->key;
        case ObjectKind::Group: return model.groups.Find(object.number)->key;
        case ObjectKind::Node: return model.nodes.Find(object.number)->key;
        case ObjectKind::Network: return model.networks.Find(object.number)->key;
        case ObjectKind::NetworkInterface: return model.interfaces.Find(object.number)->key;
    }
    return 0;
}

std::vector<PropertyValue> ReadOnlyAmongCommon(const ClusterModel& model, ObjectId object) {
    if (object.kind != ObjectKind::Resource) return {};
    return {{L"Type", model.TypeOf(*model.resources.Find(object.number))}};
}

std::optional<PropertyValue> FromValue(const std::wstring& name, DWORD type, std::span<const BYTE> data) {
    if (type == REG_SZ || type == REG_EXPAND_SZ) return PropertyValue{name, FromUtf16(data)};
    if (type != REG_DWORD || data.size() != 4) return std::nullopt;
    const DWORD number = static_cast<DWORD>(data[0]) | static_cast<DWORD>(data[1]) << 8 |
                         static_cast<DWORD>(data[2]) << 16 | static_cast<DWORD>(data[3]) << 24;
    return PropertyValue{name, number};
}

DWORD WriteProperty(KeyStore& keys, KeyId key, const std::wstring& name, const PropertyValue& property,
                    std::wstring& changed) {
    DWORD type = REG_SZ;
    std::vector<BYTE> data;
    if (const DWORD* const number = std::get_if<DWORD>(&property.value)) {
        type = REG_DWORD;
        for (int shift = 0; shift < 32; shift += 8) data.push_back(static_cast<BYTE>(*number >> shift));
    } else {
        data = ToUtf16(std::get<std::wstring>(property.value));
    }
    bool isChanged = false;
    const DWORD code = WriteIfDifferent(keys, key, name, type, data, isChanged);
    if (isChanged) changed += (changed.empty() ? L"" : L", ") + name;
    return code;
}

bool IsFit(const CommonProperty& rule, const PropertyValue& property) {
    if (rule.IsText()) {
        const std::wstring* const text = std::get_if<std::wstring>(&property.value);
        return text && text->size() <= longestText;
    }
    const DWORD* const number = std::get_if<DWORD>(&property.value);
    return number && *number <= rule.most;
}

PropertyValue Standard(const CommonProperty& rule) {
    if (rule.IsText()) return {rule.name, std::wstring()};
    return {rule.name, rule.standard};
}

DWORD ReadCommon(KeyStore& keys, KeyId key, const CommonProperty& rule, PropertyValue& property) {
    DWORD type = 0;
    std::vector<BYTE> data;
    const DWORD code = keys.QueryValue(key, rule.name, type, data);
    if (code != error::Success && code != error::FileNotFound) return code;
    const auto stored = code == error::Success ? FromValue(rule.name, type, data) : std::nullopt;
    property = stored && IsFit(rule, *stored) ? *stored : Standard(rule);
    return error::Success;
}

const CommonProperty* FindRule(ObjectKind kind, const std::wstring& name) {
    for (const CommonProperty& rule : CommonPropertiesOf(kind)) {
        if (EqualIgnoringCase(rule.name, name)) return &rule;
    }
    return nullptr;
}

bool IsUnchanged(const std::vector<PropertyValue>& readOnly, const PropertyValue& property) {
    return std::ranges::any_of(readOnly, [&](const PropertyValue& known) {
        return EqualIgnoringCase(known.name, property.name) && known.value == property.value;
    });
}

std::vector<PropertyValue> ReadOnlyOfResource(const ClusterModel& model, const ResourceRecord& resource) {
    return {{L"Name", resource.name},
            {L"Type", model.TypeOf(resource)},
            {L"Group", model.groups.Find(resource.group)->name}};
}

std::vector<PropertyValue> ReadOnlyOfInterface(const ClusterModel& model, const InterfaceRecord& networkInterface) {
    return {{L"Name", networkInterface.name},
            {L"Node", model.nodes.Find(networkInterface.node)->name},
            {L"Network", model.networks.Find(networkInterface.network)->name},
            {L"Adapter", L"Adapter " + std::to_wstring(networkInterface.network)},
            {L"Address", networkInterface.address}};
}

std::vector<PropertyValue> ReadOnlyOf(const ClusterModel& model, ObjectId object) {
    switch (object.kind) {
        case ObjectKind::Resource: return ReadOnlyOfResource(model, *model.resources.Find(object.number));
        case ObjectKind::ResourceType: return {{L"Name", model.types.Find(object.number)->name}};
        case ObjectKind::Group: return {{L"Name", model.groups.Find(object.number)->name}};
        case ObjectKind::Node: return {{L"NodeName", model.nodes.Find(object.number)->name}};
        case ObjectKind::Network: {
            const NetworkRecord& network = *model.networks.Find(object.number);
            return {{L"Name", network.name}, {L"Address", network.address}, {L"AddressMask", network.mask}};
        }
        case ObjectKind::NetworkInterface: return ReadOnlyOfInterface(model, *model.interfaces.Find(object.number));
    }
    return {};
}

}  // namespace

DWORD ReadCommonProperties(ClusterStore& store, ObjectId object, std::vector<PropertyValue>& properties) {
    properties = ReadOnlyAmongCommon(store.Model(), object);
    const KeyId key = KeyOf(store.Model(), object);
    for (const CommonProperty& rule : CommonPropertiesOf(object.kind)) {
        PropertyValue property;
        if (const DWORD code = ReadCommon(store.Keys(), key, rule, property)) return code;
        properties.push_back(std::move(property));
    }
    return error::Success;
}

DWORD ReadReadOnlyProperties(ClusterStore& store, ObjectId object, std::vector<PropertyValue>& properties) {
    properties = ReadOnlyOf(store.Model(), object);
    return error::Success;
}

DWORD WriteCommonProperties(ClusterStore& store, ObjectId object, const std::vector<PropertyValue>& properties,
                            std::wstring& changed) {
    const std::vector<PropertyValue> readOnly = ReadOnlyAmongCommon(store.Model(), object);
    const KeyId key = KeyOf(store.Model(), object);
    for (const PropertyValue& property : properties) {
        if (IsUnchanged(readOnly, property)) continue;
        const CommonProperty* const rule = FindRule(object.kind, property.name);
        if (!rule || !IsFit(*rule, property)) return error::InvalidParameter;
        if (const DWORD code = WriteProperty(store.Keys(), key, rule->name, property, changed)) return code;
    }
    return error::Success;
}

DWORD ReadCommonNumber(ClusterStore& store, ObjectId object, const wchar_t* name, DWORD& number) {
    PropertyValue property;
    const DWORD code = ReadCommon(store.Keys(), KeyOf(store.Model(), object), *FindRule(object.kind, name), property);
    if (code == error::Success) number = std::get<DWORD>(property.value);
    return code;
}

DWORD ReadNumber(ClusterStore& store, ObjectId object, const wchar_t* name, DWORD& number) {
    DWORD type = 0;
    std::vector<BYTE> data;
    const DWORD code = store.Keys().QueryValue(KeyOf(store.Model(), object), name, type, data);
    const auto stored = code == error::Success ? FromValue(name, type, data) : std::nullopt;
    const DWORD* const kept = stored ? std::get_if<DWORD>(&stored->value) : nullptr;
    number = kept ? *kept : 0;
    return code == error::FileNotFound ? error::Success : code;
}

DWORD WriteNumber(ClusterStore& store, ObjectId object, const wchar_t* name, DWORD number) {
    std::wstring changed;
    return WriteProperty(store.Keys(), KeyOf(store.Model(), object), name, {name, number}, changed);
}

DWORD ReadPrivateProperties(ClusterStore& store, const ResourceRecord& resource,
                            std::vector<PropertyValue>& properties) {
    properties.clear();
    KeyId key = 0;
    const DWORD found = store.Keys().FindKey(resource.key, L"Parameters", key);
    if (found != error::Success) return found == error::FileNotFound ? error::Success : found;
    for (DWORD index = 0;; ++index) {
        std::wstring name;
        DWORD type = 0;
        std::vector<BYTE> data;
        const DWORD code = store.Keys().EnumValue(key, index, name, type, data);
        if (code == error::NoMoreItems) return error::Success;
        if (code != error::Success) return code;
        if (auto property = FromValue(name, type, data)) properties.push_back(*std::move(property));
    }
}

DWORD WritePrivateProperties(ClusterStore& store, const ResourceRecord& resource,
                             const std::vector<PropertyValue>& properties, std::wstring& changed) {
    KeyId key = 0;
    bool isNew = false;
    if (const DWORD code = store.Keys().CreateKey(resource.key, L"Parameters", false, key, isNew)) return code;
    for (const PropertyValue& property : properties) {
        if (const DWORD code = WriteProperty(store.Keys(), key, property.name, property, changed)) return code;
    }
    return error::Success;
}

DWORD WriteIfDifferent(KeyStore& keys, KeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data,
                       bool& isChanged) {
    DWORD typeBefore = 0;
    std::vector<BYTE> before;
    const DWORD found = keys.QueryValue(key, name, typeBefore, before);
    isChanged = found != error::Success || typeBefore != type || !std::ranges::equal(before, data);
    return isChanged ? keys.SetValue(key, name, type, data) : error::Success;
}

DWORD ReadPrivateProperty(ClusterStore& store, const ResourceRecord& resource, const wchar_t* name,
                          std::optional<PropertyValue>& property) {
    property.reset();
    KeyId key = 0;
    DWORD type = 0;
    std::vector<BYTE> data;
    DWORD code = store.Keys().FindKey(resource.key, L"Parameters", key);
    if (code == error::Success) code = store.Keys().QueryValue(key, name, type, data);
    if (code == error::Success) property = FromValue(name, type, data);
    return code == error::FileNotFound ? error::Success : code;
}

}  // namespace platform::embedded
