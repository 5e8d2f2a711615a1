#include <platform/base/error_codes.h>
#include <platform/cluster/cluster_api.h>
#include <platform/engines/embedded/EmbeddedClusterService.h>
#include <platform/engines/embedded/object_properties.h>

#include <algorithm>

namespace platform::embedded {

namespace {

template <typename Record>
bool HasKey(const Table<Record>& table, ClusterKeyId key) {
    return std::ranges::any_of(table.All(), [&](const auto& entry) { return entry.second.key == key; });
}

}  // namespace

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
            const DWORD failed = _store->Keys().CreateKey(parent, path, isVolatile, made, isNew);
            if (failed == error::Success && isNew) NoteKey(made, CLUSTER_CHANGE_REGISTRY_NAME, L"key created");
            return failed;
        });
    }
    if (code != error::Success) return code;
    key = made;
    created = isNew;
    return code;
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
        NoteKey(key, CLUSTER_CHANGE_REGISTRY_NAME, L"key deleted");
        return _store->Keys().DeleteKey(parent, path);
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
        const DWORD code = WriteIfDifferent(_store->Keys(), key, name, type, data, isChanged);
        if (code == error::Success && isChanged) NoteKey(key, CLUSTER_CHANGE_REGISTRY_VALUE, L"set: " + name);
        return code;
    });
}

DWORD EmbeddedClusterService::DeleteValue(ClusterKeyId key, const std::wstring& name) {
    return _store->Write([&] {
        if (const DWORD code = ExpectKey(key)) return code;
        if (const DWORD code = _store->Keys().DeleteValue(key, name)) return code;
        NoteKey(key, CLUSTER_CHANGE_REGISTRY_VALUE, L"deleted: " + name);
        return error::Success;
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
