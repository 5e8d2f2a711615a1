#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/EmbeddedClusterService.h>
#include <platform/engines/embedded/object_properties.h>
#include <platform/engines/embedded/online_checks.h>
#include <platform/store/failures.h>

#include <algorithm>

namespace platform::embedded {

namespace {

template <typename Record>
bool HasKey(const Table<Record>& table, ClusterKeyId key) {
    return std::ranges::any_of(table.All(), [&](const auto& entry) { return entry.second.key == key; });
}

constexpr ObjectKind allKinds[] = {ObjectKind::Resource, ObjectKind::ResourceType, ObjectKind::Group,
                                   ObjectKind::Node,     ObjectKind::Network,      ObjectKind::NetworkInterface};

// The kind of object that has its keys in `container`.
DWORD KindOfContainer(ClusterStore& store, KeyId container, std::optional<ObjectKind>& kind) {
    kind.reset();
    KeyId above = KeyStore::top;
    std::wstring name;
    if (container == KeyStore::top) return error::Success;
    if (const DWORD code = store.Keys().ParentOf(container, above)) return code;
    if (above != store.RootKey()) return error::Success;
    if (const DWORD code = store.Keys().KeyName(container, name)) return code;
    for (const ObjectKind known : allKinds) {
        if (EqualIgnoringCase(name, KeyContainer(known))) kind = known;
    }
    return error::Success;
}

bool IsOwnValue(ObjectKind kind, const std::wstring& name) {
    return std::ranges::any_of(OwnValuesOf(kind), [&](const wchar_t* own) { return EqualIgnoringCase(own, name); });
}

DWORD Refuse(const std::wstring& name) {
    return Fail(error::AccessDenied, L"\"%1\" is kept by the cluster itself.", ToUtf8(name));
}

}  // namespace

std::span<const wchar_t* const> OwnValuesOf(ObjectKind kind) {
    static constexpr const wchar_t* ofResources[] = {L"Name", L"Type", L"Restarts", L"RestartsSince"};
    static constexpr const wchar_t* ofGroups[] = {L"Name", L"Failovers", L"FailoversSince"};
    static constexpr const wchar_t* ofNodes[] = {L"NodeName"};
    static constexpr const wchar_t* ofNetworks[] = {L"Name", L"Address", L"AddressMask"};
    static constexpr const wchar_t* ofInterfaces[] = {L"Name", L"Address"};
    switch (kind) {
        case ObjectKind::Resource: return ofResources;
        case ObjectKind::ResourceType: return {};
        case ObjectKind::Group: return ofGroups;
        case ObjectKind::Node: return ofNodes;
        case ObjectKind::Network: return ofNetworks;
        case ObjectKind::NetworkInterface: return ofInterfaces;
    }
    return {};
}

// The parent of all roots is no key of the cluster's.
DWORD EmbeddedClusterService::ExpectKey(ClusterKeyId key) const {
    return key == KeyStore::top ? error::KeyDeleted : error::Success;
}

DWORD EmbeddedClusterService::RootKey(ClusterKeyId& key) {
    return _store->Read([&] {
        key = _store->RootKey();
        return error::Success;
    });
}

DWORD EmbeddedClusterService::ObjectKey(ObjectId object, ClusterKeyId& key) {
    return ReadOf(object, object.kind, [&] {
        if (object.kind == ObjectKind::Group) {
            key = Model().groups.Find(object.number)->key;
        } else if (object.kind == ObjectKind::Resource) {
            key = Model().resources.Find(object.number)->key;
        } else {
            return error::InvalidParameter;
        }
        return error::Success;
    });
}

DWORD EmbeddedClusterService::OpenKey(ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key) {
    return _store->Read([&] {
        if (const DWORD code = ExpectKey(parent)) return code;
        KeyId found = 0;
        const DWORD code = _store->Keys().FindKey(parent, path, found);
        if (code == error::Success) key = found;
        return code;
    });
}

DWORD EmbeddedClusterService::CreateKey(ClusterKeyId parent, const std::wstring& path, bool isVolatile,
                                        ClusterKeyId& key, bool& created) {
    KeyId made = 0;
    bool isNew = false;
    const auto find = [&] {
        const DWORD code = ExpectKey(parent);
        return code == error::Success ? _store->Keys().FindKey(parent, path, made) : code;
    };
    DWORD code = _store->Read(find);
    if (code == error::FileNotFound) {
        code = _store->Write([&] {
            if (const DWORD failed = _store->Keys().CreateKey(parent, path, isVolatile, made, isNew)) return failed;
            if (!isNew) return error::Success;
            NoteKey(made, CLUSTER_CHANGE_REGISTRY_NAME, L"key created");
            return CheckNewKey(made, isVolatile);
        });
    }
    if (code != error::Success) return code;
    key = made;
    created = isNew;
    return code;
}

// Only an object has a key below a container, made with it; and nothing of a resource's "Parameters" may go before
// the resource does.
DWORD EmbeddedClusterService::CheckNewKey(KeyId key, bool isVolatile) {
    std::optional<ObjectKind> kind;
    for (KeyId at = key; at != KeyStore::top && at != _store->RootKey();) {
        KeyId above = 0;
        std::wstring name;
        if (const DWORD code = _store->Keys().KeyName(at, name)) return code;
        if (const DWORD code = _store->Keys().ParentOf(at, above)) return code;
        if (const DWORD code = KindOfContainer(*_store, above, kind)) return code;
        if (kind && !IsObjectKey(at)) return Refuse(name);
        if (isVolatile && EqualIgnoringCase(name, L"Parameters") && ResourceWithParameters(at)) return Refuse(name);
        at = above;
    }
    return error::Success;
}

// The name of a resource's key is its number.
const ResourceRecord* EmbeddedClusterService::ResourceWithParameters(KeyId key) const {
    KeyId above = 0;
    std::wstring name;
    if (_store->Keys().KeyName(key, name) || !EqualIgnoringCase(name, L"Parameters")) return nullptr;
    if (_store->Keys().ParentOf(key, above) || _store->Keys().KeyName(above, name)) return nullptr;
    const ResourceRecord* const resource = Model().resources.Find(ParseDecimal(name));
    return resource && resource->key == above ? resource : nullptr;
}

bool EmbeddedClusterService::MustStayFit(const ResourceRecord& resource, const std::wstring& parameter) const {
    return resource.state == ClusterResourceOnline && IsCheckedParameter(Model(), resource, parameter);
}

DWORD EmbeddedClusterService::CheckParameterValue(KeyId key, const std::wstring& name) {
    const ResourceRecord* const resource = ResourceWithParameters(key);
    return resource && MustStayFit(*resource, name) ? CheckParameters(*_store, *resource) : error::Success;
}

DWORD EmbeddedClusterService::CheckOwnValue(KeyId key, const std::wstring& name) {
    KeyId container = 0;
    std::optional<ObjectKind> kind;
    if (const DWORD code = _store->Keys().ParentOf(key, container)) return code;
    if (const DWORD code = KindOfContainer(*_store, container, kind)) return code;
    return kind && IsOwnValue(*kind, name) ? Refuse(name) : error::Success;
}

bool EmbeddedClusterService::IsObjectKey(ClusterKeyId key) const {
    const ClusterModel& model = Model();
    return HasKey(model.groups, key) || HasKey(model.resources, key) || HasKey(model.networks, key) ||
           HasKey(model.nodes, key) || HasKey(model.interfaces, key) || HasKey(model.types, key);
}

// An object's key goes with its object only, and the key above it never.
DWORD EmbeddedClusterService::DeleteKey(ClusterKeyId parent, const std::wstring& path) {
    return _store->Write([&] {
        if (const DWORD code = ExpectKey(parent)) return code;
        if (path.empty()) return error::InvalidParameter;
        KeyId key = 0;
        KeyId above = 0;
        std::wstring name;
        if (const DWORD code = _store->Keys().FindKey(parent, path, key)) return code;
        if (const DWORD code = _store->Keys().KeyName(key, name)) return code;
        if (const DWORD code = _store->Keys().ParentOf(key, above)) return code;
        if (IsObjectKey(key) || (above == _store->RootKey() && IsKeyContainer(name))) return error::AccessDenied;
        const ResourceRecord* const resource = ResourceWithParameters(key);
        NoteKey(key, CLUSTER_CHANGE_REGISTRY_NAME, L"key deleted");
        if (const DWORD code = _store->Keys().DeleteKey(parent, path)) return code;
        const bool isOnline = resource && resource->state == ClusterResourceOnline;
        return isOnline ? CheckOwnParameters(*_store, *resource) : error::Success;
    });
}

DWORD EmbeddedClusterService::SubkeyAt(ClusterKeyId key, DWORD index, std::wstring& name) {
    return _store->Read([&] {
        if (const DWORD code = ExpectKey(key)) return code;
        std::wstring found;
        const DWORD code = _store->Keys().EnumKey(key, index, found);
        if (code == error::Success) name = std::move(found);
        return code;
    });
}

DWORD EmbeddedClusterService::SetValue(ClusterKeyId key, const std::wstring& name, DWORD type,
                                       std::span<const BYTE> data) {
    return _store->Write([&] {
        if (const DWORD code = ExpectKey(key)) return code;
        bool isChanged = false;
        if (const DWORD code = WriteIfDifferent(_store->Keys(), key, name, type, data, isChanged)) return code;
        if (!isChanged) return error::Success;
        NoteKey(key, CLUSTER_CHANGE_REGISTRY_VALUE, L"set: " + name);
        const DWORD code = CheckOwnValue(key, name);
        return code == error::Success ? CheckParameterValue(key, name) : code;
    });
}

DWORD EmbeddedClusterService::DeleteValue(ClusterKeyId key, const std::wstring& name) {
    return _store->Write([&] {
        if (const DWORD code = ExpectKey(key)) return code;
        if (const DWORD code = _store->Keys().DeleteValue(key, name)) return code;
        NoteKey(key, CLUSTER_CHANGE_REGISTRY_VALUE, L"deleted: " + name);
        const DWORD code = CheckOwnValue(key, name);
        return code == error::Success ? CheckParameterValue(key, name) : code;
    });
}

DWORD EmbeddedClusterService::QueryValue(ClusterKeyId key, const std::wstring& name, DWORD& type,
                                         std::vector<BYTE>& data) {
    return _store->Read([&] {
        if (const DWORD code = ExpectKey(key)) return code;
        DWORD foundType = 0;
        std::vector<BYTE> found;
        const DWORD code = _store->Keys().QueryValue(key, name, foundType, found);
        if (code != error::Success) return code;
        type = foundType;
        data = std::move(found);
        return code;
    });
}

DWORD EmbeddedClusterService::ValueAt(ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type,
                                      std::vector<BYTE>& data) {
    return _store->Read([&] {
        if (const DWORD code = ExpectKey(key)) return code;
        std::wstring foundName;
        DWORD foundType = 0;
        std::vector<BYTE> found;
        const DWORD code = _store->Keys().EnumValue(key, index, foundName, foundType, found);
        if (code != error::Success) return code;
        name = std::move(foundName);
        type = foundType;
        data = std::move(found);
        return code;
    });
}

// The change list names keys by their path below the cluster's root.
void EmbeddedClusterService::NoteKey(ClusterKeyId key, DWORD notification, const std::wstring& detail) {
    std::wstring path;
    for (KeyId at = key; at != _store->RootKey() && at != KeyStore::top;) {
        std::wstring name;
        if (_store->Keys().KeyName(at, name) != error::Success) break;
        path = path.empty() ? name : name + L"\\" + path;
        if (_store->Keys().ParentOf(at, at) != error::Success) break;
    }
    _store->Note(path, notification, detail);
}

}  // namespace platform::embedded
