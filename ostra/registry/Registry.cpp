#include <ostra/registry/Registry.h>

#include <ostra/foundation/Persistence.h>
#include <ostra/foundation/display.h>
#include <ostra/registry/key_access.h>
#include <ostra/registry/value_text.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace {

constexpr int mostComponents = 50;
constexpr DWORD mostSubKeys = 1000;
constexpr DWORD valueCapacity = 10'000;
constexpr DWORD keyValueCapacity = 40'000;
constexpr DWORD nameCapacity = 255;
constexpr DWORD callerNameCapacity = 1065;

struct RootKey {
    const wchar_t* name;
    std::uintptr_t value;
};

constexpr RootKey rootKeys[] = {
    {L"HKEY_CLASSES_ROOT", 0x80000000}, {L"HKEY_CURRENT_USER", 0x80000001},   {L"HKEY_LOCAL_MACHINE", 0x80000002},
    {L"HKEY_USERS", 0x80000003},        {L"HKEY_CURRENT_CONFIG", 0x80000005},
};

HKEY FindRootKey(std::wstring_view name) {
    for (const RootKey& root : rootKeys)
        if (name == root.name) return reinterpret_cast<HKEY>(root.value);
    return nullptr;
}

DWORD CreateKey(HKEY parent, const std::wstring& name, DWORD access, HKEY& created) {
    return CodeOf(RegCreateKeyExW(parent, name.c_str(), 0, nullptr, 0, access, nullptr, &created, nullptr));
}

}  // namespace

Registry::Registry(const std::wstring& path, const std::wstring& hostName)
    : _keyPath(path), _hostName(hostName), _eventViewer(L"Ostra::Registry", NTEventViewer::Error, L"") {
    if (!path.empty()) Initialize(path);
}

Registry::~Registry() {
    Close(nullptr);
}

int Registry::Initialize(const std::wstring& path) {
    const std::size_t separator = path.find(L'\\');
    _rootName = path.substr(0, separator);
    _rootKey.Reset(separator == std::wstring::npos ? nullptr : FindRootKey(_rootName));
    if (!_rootKey) {
        ReportAndDisplay(L"Registry::Initialize( ). Invalid root key. " + _rootName);
        SetLastError(platform::error::InvalidParameter);
        _rootName.clear();
        _keyPath = path;
        return _valid = 0;
    }
    _keyPath = path.substr(separator + 1);
    return _valid = 1;
}

HKEY Registry::Open(HKEY, int openOnly) {
    HKEY connection = nullptr;
    const HKEY root = _valid ? _rootKey.Get() : HKEY_LOCAL_MACHINE;  // the host is asked all the same
    if (CodeOf(RegConnectRegistryW(_hostName.c_str(), root, &connection)) != platform::error::Success) {
        ReportAndDisplay(L"RegistryKey::Open( ). Failure opening host:" + _hostName);
        return _keyHandle.Get();
    }
    OwnedKey reached(connection);
    if (_valid) reached = Walk(std::move(reached), openOnly == 0);
    if (!_valid || !reached) {
        _keyHandle.Reset();
        Report(L"RegistryKey::Open( ). Invalid key:" + _keyPath);
        if (!_valid) SetLastError(platform::error::InvalidParameter);
        return nullptr;
    }
    _keyHandle = _rootKey = std::move(reached);
    ReadSubKeys();
    return _keyHandle.Get();
}

int Registry::Close(HKEY other) {
    if (_keyHandle) _keyHandle.Close();
    if (other) RegCloseKey(other);
    return 0;
}

HKEY Registry::GetHandle(const std::wstring& subkeyPath) {
    HKEY opened = nullptr;
    const DWORD code = CodeOf(RegOpenKeyExW(_keyHandle.Get(), subkeyPath.c_str(), 0, readWrite, &opened));
    if (code == platform::error::Success) return opened;
    ReportAndDisplay(L"Registry::GetHandle( ). Failure calling RegOpenKeyEx( ). " + subkeyPath + L".\n" +
                     _error.GetErrorString(code));
    return nullptr;
}

std::wstring Registry::GetValue(const std::wstring& name) {
    _value.clear();
    if (!_keyHandle) {
        Display(L"Registry::GetValue( ). Invalid _keyHandle ( NULL ) for " + name);
        SetLastError(platform::error::InvalidHandle);
        return _value;
    }
    if (const DWORD code = ReadValue(_keyHandle.Get(), name, valueCapacity)) {
        ReportAndDisplay(L"Registry::GetValue( ). Failure calling RegQueryValueEx( ) for " + name + L".\n" +
                         _error.GetErrorString(code));
    }
    return _value;
}

std::wstring Registry::GetValue(const std::wstring& name, HKEY key) {
    _value.clear();
    if (!key) {
        Display(L"Registry::GetValue( ). Invalid registry key handle.");
        SetLastError(platform::error::InvalidHandle);
        return _value;
    }
    if (const DWORD code = ReadValue(key, name, keyValueCapacity)) {
        Display(L"Registry::GetValue( ). Failure calling RegQueryValueEx( ) for " + name + L".\n" +
                _error.GetErrorString(code));
    }
    return _value;
}

std::wstring Registry::FormatData(const wchar_t* data, DWORD type, DWORD size) {
    const std::span bytes(reinterpret_cast<const BYTE*>(data), data ? size : 0);
    _value.clear();
    switch (type) {
        case REG_NONE:
        case REG_RESOURCE_LIST: break;
        case REG_SZ: _value = platform::FromUtf16(bytes); break;
        case REG_EXPAND_SZ:
        case REG_DWORD_BIG_ENDIAN:
        case REG_LINK:
        case REG_MULTI_SZ:
            _value = platform::FromUtf16(bytes);
            platform::WriteOutput(L"Multiple strings:\n" + platform::Format(L"String %d: %ws\n", 0, _value.c_str()));
            break;
        case REG_BINARY:
            _value = platform::FromUtf16(bytes);
            platform::WriteOutput(platform::Format(L"Binary data: size:%d", size));
            break;
        case REG_DWORD:
            if (const auto number = NumberOfValue(bytes)) _value = platform::Format(L"%u", *number);
            break;
        default: Display(L"Registry::FormatData( ). Invalid data type."); SetLastError(platform::error::InvalidData);
    }
    return _value;
}

std::wstring Registry::FormatData(DWORD type, const std::wstring&, BYTE* data) {
    if (!data) return {};
    std::size_t size = 0;
    if (type == REG_DWORD)
        size = sizeof(DWORD);
    else if (IsTextType(type))
        while (data[size] != 0 || data[size + 1] != 0) size += 2;
    return TextOfValue(type, {data, size});
}

int Registry::GetChildren(StringArray*) {
    ReadSubKeys();
    return static_cast<int>(_subKeys.size());
}

int Registry::GetChildren(StringArray* array, HKEY) const {
    if (array) return EnumerateSubKeys(*array, callerNameCapacity);
    SetLastError(platform::error::InvalidParameter);
    return 0;
}

const StringArray& Registry::SubKeys() {
    ReadSubKeys();
    return _subKeys;
}

HKEY Registry::AddKey(const std::wstring& subkey) {
    if (!_keyHandle) {
        Display(L"Registry::AddKey( ). Invalid registry key handle.");
        SetLastError(platform::error::InvalidHandle);
        return nullptr;
    }
    HKEY created = nullptr;
    if (CreateKey(_keyHandle.Get(), subkey, readWrite, created) == platform::error::Success) return created;
    Report(L"RegsitryKey::AddKey( ). Failure calling RegCreateKeyEx( ). for " + subkey);
    return nullptr;
}

HKEY Registry::AddKey(const std::wstring& parentPath, const std::wstring& subkey, const std::wstring& valueName,
                      const std::wstring& value, DWORD type) {
    const OwnedKey parent(GetHandle(parentPath));
    if (!parent) return nullptr;
    HKEY created = nullptr;
    if (const DWORD code = CreateKey(parent.Get(), subkey, readWrite, created)) {
        Display(L"Registry::AddKey( path... ). Failure calling RegCreateKeyEx( )." + _error.GetErrorString(code));
        return nullptr;
    }
    if (!valueName.empty() && !AddValue(created, valueName, value, type)) {
        Report(L"Registry::AddKey( path... ). Failure calling AddValue( )." + _error.GetErrorString(GetLastError()));
    }
    return created;
}

HKEY Registry::AddKey(HKEY parent, const std::wstring& subkey, const std::wstring& valueName, const std::wstring& value,
                      DWORD type) {
    HKEY created = nullptr;
    if (const DWORD code = CreateKey(parent, subkey, readWrite, created)) {
        Display(L"Registry::AddKey( handle... ). Failure calling ClusterRegCreateKey( )." +
                _error.GetErrorString(code));
        return nullptr;
    }
    if (!valueName.empty() && !AddValue(created, valueName, value, type))
        Display(L"Registry::AddKey( handle... ). Failure calling AddValue( ).");
    return created;
}

int Registry::AddValue(HKEY key, const std::wstring& name, const std::wstring& value, DWORD type) {
    const std::vector<BYTE> bytes = value.empty() ? std::vector<BYTE>() : platform::ToUtf16(value);
    const auto size = static_cast<DWORD>(bytes.size());
    const DWORD code = CodeOf(RegSetValueExW(key, name.c_str(), 0, type, bytes.data(), size));
    if (code == platform::error::Success) return 1;
    Report(L"Registry::AddValue( ). Failure calling RegSetValue( ). " + _error.GetErrorString(code));
    return 0;
}

int Registry::AddValue(HKEY key, const std::wstring& name, DWORD value) {
    const std::array<BYTE, 4> bytes = BytesOfNumber(value);
    const DWORD code = CodeOf(RegSetValueExW(key, name.c_str(), 0, REG_DWORD, bytes.data(), 4));
    if (code == platform::error::Success) return 1;
    Report(L"Registry::AddValue( ). Failure calling RegSetValue( ).");
    return 0;
}

Registry& Registry::operator<<(std::wstring& text) {
    AddValue(_keyHandle.Get(), persistenceValueName, text, REG_BINARY);
    return *this;
}

Registry& Registry::operator>>(std::wstring& text) {
    text = GetValue(persistenceValueName);
    return *this;
}

Registry& Registry::operator<<(Persistence& object) {
    std::wstring text = object.PersistentData();
    return *this << text;
}

Registry& Registry::operator>>(Persistence& object) {
    object.SetPersistence(GetValue(persistenceValueName));
    return *this;
}

// Every component is tried, also behind one that failed: each leaves its own line in the event log. The last error
// stays the first one's.
Registry::OwnedKey Registry::Walk(OwnedKey key, bool isCreating) const {
    std::size_t begin = 0;
    std::optional<platform::KeptLastError> cause;
    for (int component = 0; component < mostComponents; ++component) {
        const std::size_t end = _keyPath.find(L'\\', begin);
        if (end == std::wstring::npos) break;
        if (!key && !cause) cause.emplace();
        key = OpenComponent(key.Get(), _keyPath.substr(begin, end - begin), isCreating);
        begin = end + 1;
    }
    return key;
}

Registry::OwnedKey Registry::OpenComponent(HKEY parent, const std::wstring& component, bool isCreating) const {
    HKEY opened = nullptr;
    const DWORD code = isCreating ? CreateKey(parent, component, KEY_ALL_ACCESS, opened)
                                  : CodeOf(RegOpenKeyExW(parent, component.c_str(), 0, readWrite, &opened));
    if (code == platform::error::Success) return OwnedKey(opened);
    Report(L"Registry::Open. Failure opening " + component + L" " + _error.GetErrorString(code));
    return OwnedKey();
}

// Sets _value; data that outgrows the capacity counts as read, and as an empty text.
DWORD Registry::ReadValue(HKEY key, const std::wstring& name, DWORD capacity) {
    const auto buffer = std::make_unique_for_overwrite<BYTE[]>(capacity);
    DWORD type = REG_NONE;
    DWORD size = capacity;
    const DWORD code = CodeOf(RegQueryValueExW(key, name.c_str(), nullptr, &type, buffer.get(), &size));
    if (code == platform::error::MoreData) {
        SetLastError(code);
        return platform::error::Success;
    }
    if (code == platform::error::Success) _value = TextOfValue(type, {buffer.get(), std::min(size, capacity)});
    return code;
}

void Registry::ReadSubKeys() {
    _subKeys.clear();
    EnumerateSubKeys(_subKeys, nameCapacity);
}

int Registry::EnumerateSubKeys(StringArray& names, DWORD capacity) const {
    if (!_keyHandle) {
        Display(L"Registry::GetChildren( ). Invalid registry key handle.");
        SetLastError(platform::error::InvalidHandle);
        return 0;
    }
    int count = 0;
    std::vector<wchar_t> name(capacity + 1);
    for (DWORD index = 0; index < mostSubKeys; ++index) {
        name[0] = L'\0';
        DWORD size = capacity + 1;
        const DWORD code =
            CodeOf(RegEnumKeyExW(_keyHandle.Get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr));
        if (code == platform::error::NoMoreItems) break;
        if (code != platform::error::Success && code != platform::error::MoreData) {
            Display(L"Failure calling RegEnumKeyEx( ). " + _error.GetErrorString(code));
            continue;
        }
        names.emplace_back(name.data());
        ++count;
    }
    return count;
}

void Registry::Report(const std::wstring& text) const {
    _eventViewer << text;
}

void Registry::Display(const std::wstring& text) const {
    DisplayFailure(_error, text);
}

void Registry::ReportAndDisplay(const std::wstring& text) const {
    Report(text);
    Display(text);
}

CArchive& operator>>(CArchive& archive, Registry&) {
    platform::WriteOutput(L"operator >> CArchive");
    return archive;
}

CArchive& operator<<(CArchive& archive, Registry&) {
    platform::WriteOutput(L"operator << CArchive& ");
    return archive;
}

std::istream& operator>>(std::istream& stream, Registry&) {
    return stream;
}

std::wistream& operator>>(std::wistream& stream, Registry&) {
    return stream;
}

std::ostream& operator<<(std::ostream& stream, Registry&) {
    return stream;
}

std::wostream& operator<<(std::wostream& stream, Registry&) {
    return stream;
}
