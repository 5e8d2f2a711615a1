#include <platform/base/registry_types.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/cluster_handles.h>

#include <algorithm>

using namespace platform;

namespace {

HandleTable<HKEY, const KeyReference>& KeyHandles() {
    return TableOf<HKEY, const KeyReference>();
}

/// The rights that an access mask asks for, the generic ones spelt out.
DWORD RightsOf(DWORD access) {
    constexpr DWORD genericRead = 0x80000000;
    constexpr DWORD genericWrite = 0x40000000;
    constexpr DWORD genericAll = 0x10000000;
    constexpr DWORD maximumAllowed = 0x02000000;
    DWORD rights = access;
    if (access & genericRead) rights |= KEY_READ;
    if (access & genericWrite) rights |= KEY_WRITE;
    if (access & (genericAll | maximumAllowed)) rights |= KEY_ALL_ACCESS;
    return rights;
}

HKEY NewHandle(std::shared_ptr<ClusterService> service, ClusterKeyId key, DWORD access) {
    return KeyHandles().Open(
        std::make_shared<const KeyReference>(KeyReference{std::move(service), key, RightsOf(access)}));
}

template <typename Handle>
HKEY OpenKeyOf(Handle handle, DWORD access) {
    const auto object = ObjectHandles<Handle>().Find(handle);
    if (!object) return NoHandle(error::InvalidHandle);
    ClusterKeyId key = 0;
    if (const DWORD code = object->service->ObjectKey(object->id, key)) return NoHandle(code);
    return NewHandle(object->service, key, access);
}

/// Asks the service of an open key that was opened with `right`; `ask` takes the reference.
template <typename Ask>
DWORD AskKey(HKEY handle, DWORD right, Ask&& ask) {
    const auto key = KeyHandles().Find(handle);
    if (!key) return Answer(error::InvalidHandle);
    return Answer((key->access & right) == right ? ask(*key) : error::AccessDenied);
}

/// A value's name as a program gave it; null is the unnamed value.
bool ReadValueName(const wchar_t* name, std::wstring& text) {
    return !name || ReadName(name, text);
}

/// Whether `data` fits a program's buffer of `*size` bytes, which it may have left out.
bool Fits(const std::vector<BYTE>& data, const BYTE* buffer, const DWORD* size) {
    return !buffer || data.size() <= *size;
}

void CopyData(const std::vector<BYTE>& data, BYTE* buffer, DWORD* size) {
    if (buffer && Fits(data, buffer, size)) std::copy(data.begin(), data.end(), buffer);
    if (size) *size = static_cast<DWORD>(data.size());
}

LONG Result(DWORD code) {
    return static_cast<LONG>(code);
}

}  // namespace

HKEY GetClusterKey(HCLUSTER cluster, DWORD access) {
    const auto service = ClusterHandles().Find(cluster);
    if (!service) return NoHandle(error::InvalidHandle);
    ClusterKeyId key = 0;
    if (const DWORD code = service->RootKey(key)) return NoHandle(code);
    return NewHandle(service, key, access);
}

HKEY GetClusterGroupKey(HGROUP group, DWORD access) {
    return OpenKeyOf(group, access);
}

HKEY GetClusterResourceKey(HRESOURCE resource, DWORD access) {
    return OpenKeyOf(resource, access);
}

LONG ClusterRegOpenKey(HKEY key, const wchar_t* path, DWORD access, HKEY* opened) {
    return Result(AskKey(key, 0, [&](const KeyReference& parent) {
        std::wstring text;
        if (!opened || !ReadName(path, text)) return error::InvalidParameter;
        *opened = nullptr;
        ClusterKeyId found = 0;
        const DWORD code = parent.service->OpenKey(parent.id, text, found);
        if (code == error::Success) *opened = NewHandle(parent.service, found, access);
        return code;
    }));
}

LONG ClusterRegCreateKey(HKEY key, const wchar_t* path, DWORD options, DWORD access, void*, HKEY* created,
                         DWORD* disposition) {
    return Result(AskKey(key, KEY_CREATE_SUB_KEY, [&](const KeyReference& parent) {
        std::wstring text;
        if (!created || !ReadName(path, text) || (options & ~REG_OPTION_VOLATILE) != 0) return error::InvalidParameter;
        *created = nullptr;
        ClusterKeyId found = 0;
        bool isNew = false;
        const DWORD code = parent.service->CreateKey(parent.id, text, options == REG_OPTION_VOLATILE, found, isNew);
        if (code != error::Success) return code;
        *created = NewHandle(parent.service, found, access);
        if (disposition) *disposition = isNew ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        return error::Success;
    }));
}

LONG ClusterRegCloseKey(HKEY key) {
    return Result(Answer(KeyHandles().Close(key) ? error::Success : error::InvalidHandle));
}

LONG ClusterRegDeleteKey(HKEY key, const wchar_t* path) {
    return Result(AskKey(key, KEY_CREATE_SUB_KEY, [&](const KeyReference& parent) {
        std::wstring text;
        return ReadName(path, text) ? parent.service->DeleteKey(parent.id, text) : error::InvalidParameter;
    }));
}

LONG ClusterRegEnumKey(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, void*) {
    return Result(AskKey(key, KEY_ENUMERATE_SUB_KEYS, [&](const KeyReference& parent) {
        if (!nameSize) return error::InvalidParameter;
        std::wstring subkey;
        const DWORD code = parent.service->SubkeyAt(parent.id, index, subkey);
        return code == error::Success ? CopyText(subkey, name, nameSize) : code;
    }));
}

DWORD ClusterRegSetValue(HKEY key, const wchar_t* name, DWORD type, const BYTE* data, DWORD size) {
    return AskKey(key, KEY_SET_VALUE, [&](const KeyReference& holder) {
        std::wstring text;
        if ((size && !data) || !ReadValueName(name, text)) return error::InvalidParameter;
        return holder.service->SetValue(holder.id, text, type, {data, size});
    });
}

DWORD ClusterRegDeleteValue(HKEY key, const wchar_t* name) {
    return AskKey(key, KEY_SET_VALUE, [&](const KeyReference& holder) {
        std::wstring text;
        return ReadValueName(name, text) ? holder.service->DeleteValue(holder.id, text) : error::InvalidParameter;
    });
}

LONG ClusterRegQueryValue(HKEY key, const wchar_t* name, DWORD* type, BYTE* data, DWORD* size) {
    return Result(AskKey(key, KEY_QUERY_VALUE, [&](const KeyReference& holder) {
        std::wstring text;
        if ((data && !size) || !ReadValueName(name, text)) return error::InvalidParameter;
        DWORD valueType = 0;
        std::vector<BYTE> value;
        if (const DWORD code = holder.service->QueryValue(holder.id, text, valueType, value)) return code;
        const bool fits = Fits(value, data, size);
        CopyData(value, data, size);
        if (type) *type = valueType;
        return fits ? error::Success : error::MoreData;
    }));
}

DWORD ClusterRegEnumValue(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, DWORD* type, BYTE* data, DWORD* size) {
    return AskKey(key, KEY_QUERY_VALUE, [&](const KeyReference& holder) {
        if (!nameSize || (data && !size)) return error::InvalidParameter;
        std::wstring valueName;
        DWORD valueType = 0;
        std::vector<BYTE> value;
        if (const DWORD code = holder.service->ValueAt(holder.id, index, valueName, valueType, value)) return code;
        const bool fits = Fits(value, data, size) && (!name || valueName.size() < *nameSize);
        const DWORD code = CopyText(valueName, fits ? name : nullptr, nameSize);
        CopyData(value, fits ? data : nullptr, size);
        if (type) *type = valueType;
        return fits ? code : error::MoreData;
    });
}
