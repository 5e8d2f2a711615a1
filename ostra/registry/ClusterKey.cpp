#include <ostra/registry/ClusterKey.h>

#include <ostra/foundation/ParameterString.h>
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
#include <platform/system/message_box.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace {

constexpr DWORD valueCapacity = 65'001;
constexpr DWORD nameCapacity = 65'001;
constexpr DWORD discoveredCapacity = 200;  // characters of a name, bytes of data
constexpr DWORD mostSubKeys = 200;
constexpr DWORD mostDiscoveredValues = 20;
constexpr wchar_t rootName[] = L"Root";

struct ValueType {
    const wchar_t* keyword;
    DWORD type;
};

constexpr ValueType valueTypes[] = {
    {L"REG_DWORD", REG_DWORD},       {L"REG_SZ", REG_SZ},         {L"REG_EXPAND_SZ", REG_EXPAND_SZ},
    {L"REG_MULTI_SZ", REG_MULTI_SZ}, {L"REG_BINARY", REG_BINARY},
};

}  // namespace

ClusterKey::ClusterKey(HCLUSTER cluster)
    : _eventViewer(L"Ostra::ClusterKey", NTEventViewer::Error, L""), _cluster(cluster) {
    Initialize();
}

ClusterKey::ClusterKey(const std::wstring& clusterName)
    : _eventViewer(L"Ostra::ClusterKey", NTEventViewer::Error, L""),
      _clusterName(clusterName),
      _cluster(OpenCluster(clusterName.c_str())) {
    if (!_cluster) {
        Show(L"ClusterKey::ClusterKey( ). Failure opening cluster:" + clusterName);
        return;
    }
    _ownsCluster = 1;
    Initialize();
}

ClusterKey::~ClusterKey() {
    if (_ownsCluster) CloseCluster(_cluster);
}

ClusterKey& ClusterKey::operator=(const ClusterKey&) {
    return *this;
}

ClusterKey& ClusterKey::operator=(const ClusterKey*) {
    return *this;
}

int ClusterKey::Open(HKEY) {
    return 0;
}

int ClusterKey::Close() {
    return 1;
}

HKEY ClusterKey::GetHandle(const std::wstring& path) {
    if (path == rootName) {
        if (!_root) SetLastError(platform::error::InvalidHandle);
        return _root.Get();
    }
    HKEY opened = nullptr;
    const DWORD status = CodeOf(ClusterRegOpenKey(_root.Get(), path.c_str(), readWrite, &opened));
    if (status == platform::error::Success) return opened;
    Report(L"ClusterKey::GetHandle( ). Failure calling ClusterRegOpenKey( ). for " + path + L" " +
           _error.GetErrorString(status));
    return nullptr;
}

HKEY ClusterKey::GetHandle(const std::wstring& name, HKEY parentKey) {
    if (!parentKey) {
        SetLastError(platform::error::InvalidHandle);
        return nullptr;
    }
    HKEY created = nullptr;
    const DWORD status = CodeOf(
        ClusterRegCreateKey(parentKey, name.c_str(), REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &created, nullptr));
    if (status == platform::error::Success) return created;
    ReportAndShow(L"ClusterKey::GetHandle( ). Failure calling ClusterRegCreateOpenKey( ). for " + name + L" " +
                  _error.GetErrorString(status));
    return nullptr;
}

HKEY ClusterKey::AddKey(const std::wstring& parentPath, const std::wstring& name, const std::wstring& valueName,
                        const std::wstring& value, DWORD type) {
    const OwnedKey parent = KeyAt(parentPath);
    const HKEY created = CreateKey(parent.Get(), name, KEY_WRITE);
    if (created && !valueName.empty() && !AddValue(created, valueName, value, type))
        ReportAndShow(L"ClusterKey::AddKey( ). Failure calling ClusterRegSetValue( ).");
    return created;
}

HKEY ClusterKey::AddKey(HKEY parentKey, const std::wstring& name, const std::wstring& valueName,
                        const std::wstring& value, DWORD type) {
    const HKEY created = CreateKey(parentKey, name, readWrite);
    if (created && !valueName.empty() && !AddValue(created, valueName, value, type))
        ReportAndShow(L"Failure calling ClusterRegSetValue( ).");
    return created;
}

int ClusterKey::AddValue(HKEY key, const std::wstring& name, const std::wstring& value, DWORD type) {
    const std::vector<BYTE> bytes = platform::ToUtf16(value);
    const auto size = static_cast<DWORD>(bytes.size());
    if (ClusterRegSetValue(key, name.c_str(), type, bytes.data(), size) == platform::error::Success) return 1;
    Show(L"Failure calling ClusterRegSetValue( CString ).");
    return 0;
}

int ClusterKey::AddValue(HKEY key, const std::wstring& name, DWORD value) {
    const std::array<BYTE, 4> bytes = BytesOfNumber(value);
    if (ClusterRegSetValue(key, name.c_str(), REG_DWORD, bytes.data(), 4) == platform::error::Success) return 1;
    Show(L"Failure calling ClusterRegSetValue( DWORD ).");
    return 0;
}

int ClusterKey::SetParameters(const StringArray* parameters, HKEY key) {
    if (!parameters || parameters->empty()) {
        SetLastError(platform::error::InvalidParameter);
        return 0;
    }
    int result = 0;
    for (const std::wstring& parameter : *parameters) result = WriteParameter(parameter, key);
    return result;
}

int ClusterKey::SetParameters(const StringArray* parameters, const std::wstring& keyName) {
    platform::WriteOutput(
        platform::Format(L"ClusterKey::SetParameters( CStringArray*, CString ). On entry. keyName:%ws _handle:%p\n",
                         keyName.c_str(), static_cast<void*>(_handle.Get())));
    const OwnedKey target = keyName == L"Printers" ? OwnedKey(GetHandle(keyName, _handle.Get())) : KeyAt(keyName);
    if (!target || !parameters) {
        if (target) SetLastError(platform::error::InvalidParameter);
        Show(L"ClusterKey::SetParamters( CString ). Invalid key name:" + keyName);
        return 0;
    }
    if (parameters->empty()) {
        SetLastError(platform::error::InvalidParameter);
        return 0;
    }
    int result = 0;
    for (const std::wstring& parameter : *parameters) {
        platform::WriteOutput(platform::Format(L"Add Value:%ws to %ws\n", parameter.c_str(), keyName.c_str()));
        result = WriteParameter(parameter, target.Get());
    }
    platform::WriteOutput(
        platform::Format(L"ClusterKey::SetParamters( CString ). On exit key name:%ws\n", keyName.c_str()));
    return result;
}

int ClusterKey::Delete(HKEY key, const std::wstring& name) {
    platform::WriteOutput(platform::Format(L"ClusterKey::Delete( HKEY, CString ). On entry. name:%ws\n", name.c_str()));
    if (!key) {
        platform::WriteOutput(L"ClusterKey::Delete( ). Invalid key handle");
        SetLastError(platform::error::InvalidHandle);
        return 0;
    }
    const DWORD status = CodeOf(ClusterRegDeleteKey(key, name.c_str()));
    if (status != platform::error::Success) {
        DisplayFailure(_error, L"ClusterKey::Delete( ). Failure deleting key " + name + _error.GetErrorString(status));
    }
    platform::WriteOutput(L"ClusterKey::Delete( HKEY, CString ). On exit.");
    return status == platform::error::Success ? 1 : 0;
}

std::wstring ClusterKey::GetValue(const std::wstring& name, HKEY key) const {
    const auto data = std::make_unique_for_overwrite<BYTE[]>(valueCapacity);
    DWORD type = REG_NONE;
    DWORD size = valueCapacity;
    const DWORD status = CodeOf(ClusterRegQueryValue(key, name.c_str(), &type, data.get(), &size));
    if (status == platform::error::MoreData) {
        SetLastError(status);
        return {};
    }
    if (status != platform::error::Success) {
        Report(L"ClusterKey::GetValue( ). Failure calling ClusterRegQueryValue( )." + name +
               _error.GetErrorString(status));
        return {};
    }
    return FormatDataValue(type, name, {data.get(), std::min(size, valueCapacity)});
}

std::wstring ClusterKey::GetValue(const std::wstring& name) const {
    return GetValue(name, _handle.Get());
}

int ClusterKey::GetValueAsInt(const std::wstring& name, HKEY key) const {
    return platform::ParseInteger(GetValue(name, key));
}

int ClusterKey::GetChildren(StringArray* array, HKEY key) const {
    if (!key || !array) {
        SetLastError(key ? platform::error::InvalidParameter : platform::error::InvalidHandle);
        return 0;
    }
    int count = 0;
    const auto name = std::make_unique_for_overwrite<wchar_t[]>(nameCapacity);
    for (DWORD index = 0; index < mostSubKeys; ++index) {
        name[0] = L'\0';
        DWORD size = nameCapacity;
        const DWORD status = CodeOf(ClusterRegEnumKey(key, index, name.get(), &size, nullptr));
        if (status == platform::error::NoMoreItems) break;
        if (status != platform::error::Success && status != platform::error::MoreData) {
            Report(L"ClusterKey::GetChildren( ). Failure calling ClusterRegEnumKey( ).");
            continue;
        }
        array->emplace_back(name.get());
        ++count;
    }
    return count;
}

int ClusterKey::GetChildKey(HKEY key, int depth) {
    wchar_t name[discoveredCapacity];
    DWORD status = platform::error::Success;
    for (DWORD index = 0; status == platform::error::Success; ++index) {
        DWORD size = discoveredCapacity;
        status = CodeOf(ClusterRegEnumKey(key, index, name, &size, nullptr));
        if (status != platform::error::Success) break;
        LONG opening = 0;
        const OwnedKey subkey = OpenKey(key, name, KEY_READ, opening);
        status = CodeOf(opening);
        if (subkey) Discover(subkey.Get(), depth + 1);
    }
    if (status != platform::error::NoMoreItems) {
        platform::WriteOutput(platform::Format(L"ClusterKey::GetChildKey( ). Error enumerating key. %ws\n",
                                               _error.GetErrorString(status).c_str()));
    }
    return 0;
}

int ClusterKey::Info() {
    WriteTree(_root.Get(), L"=");
    return 0;
}

ClusterKey& ClusterKey::operator<<(Persistence& object) {
    const std::wstring text = object.PersistentData();
    const bool isReadable = 2 * (platform::Utf16Length(text) + 1) <= valueCapacity;
    if (isReadable && !_isPersistenceUnread) {
        AddValue(_handle.Get(), persistenceValueName, text, REG_BINARY);
    } else {
        SetLastError(platform::error::MoreData);
        Show(L"Failure calling ClusterRegSetValue( CString ).");
    }
    return *this;
}

ClusterKey& ClusterKey::operator>>(Persistence& object) {
    const std::wstring text = GetValue(persistenceValueName);
    DWORD size = 0;
    if (text.empty() && _handle) ClusterRegQueryValue(_handle.Get(), persistenceValueName, nullptr, nullptr, &size);
    _isPersistenceUnread = size > valueCapacity;
    object.SetPersistence(text);
    return *this;
}

int ClusterKey::Delete(const std::wstring& name) {
    return Delete(Handle(), name);
}

HKEY ClusterKey::AddKey(const std::wstring& name, const std::wstring& valueName, const std::wstring& value) {
    return AddKey(Handle(), name, valueName, value, REG_SZ);
}

DWORD ClusterKey::WriteMode(const std::wstring& typeName) {
    for (const ValueType& known : valueTypes)
        if (typeName == known.keyword) return known.type;
    Report(L"ClusterKey::WriteMode( ). Invalid write mode " + typeName);
    return REG_SZ;
}

int ClusterKey::Discover(HKEY key, int depth) {
    wchar_t name[discoveredCapacity];
    BYTE data[discoveredCapacity];
    for (DWORD index = 0; index < mostDiscoveredValues; ++index) {
        DWORD nameSize = discoveredCapacity;
        DWORD dataSize = discoveredCapacity;
        DWORD type = REG_NONE;
        const DWORD status = ClusterRegEnumValue(key, index, name, &nameSize, &type, data, &dataSize);
        if (status == platform::error::NoMoreItems) break;
        if (status != platform::error::Success) continue;
        const std::wstring text = FormatDataValue(type, name, {data, std::min(dataSize, discoveredCapacity)});
        if (text.empty()) continue;
        _valueNames.emplace_back(name);
        _valueTexts.push_back(text);
    }
    return GetChildKey(key, depth + 1);
}

ClusterKey::OwnedKey ClusterKey::OpenKey(HKEY parent, const std::wstring& path, DWORD access, LONG& status) {
    HKEY opened = nullptr;
    status = ClusterRegOpenKey(parent, path.c_str(), access, &opened);
    return CodeOf(status) == platform::error::Success ? OwnedKey(opened) : OwnedKey();
}

void ClusterKey::WriteTree(HKEY key, const std::wstring& separator) {
    _valueNames.clear();
    _valueTexts.clear();
    Discover(key, 1);
    for (std::size_t index = 0; index < _valueNames.size(); ++index)
        platform::WriteOutputLine(_valueNames[index] + separator + _valueTexts[index]);
}

void ClusterKey::Message(const std::wstring& text, const std::wstring& title, UINT style) const {
    MessageBoxW(nullptr, text.c_str(), title.c_str(), style);
}

void ClusterKey::Show(const std::wstring& text) const {
    Message(text, productTitle, MB_ICONSTOP);
}

void ClusterKey::Report(const std::wstring& text) const {
    _eventViewer << text;
}

void ClusterKey::ReportAndShow(const std::wstring& text) const {
    Report(text);
    Show(text);
}

int ClusterKey::Initialize() {
    _root.Reset(GetClusterKey(_cluster, readWrite));
    if (!_root) ReportAndShow(L"ClusterKey::Initialize( ). Failure calling GetClusterKey( ).");
    return 0;
}

ClusterKey::OwnedKey ClusterKey::KeyAt(const std::wstring& path) {
    return path == rootName && _root ? _root : OwnedKey(GetHandle(path));
}

HKEY ClusterKey::CreateKey(HKEY parentKey, const std::wstring& name, DWORD access) {
    HKEY created = nullptr;
    const LONG status =
        ClusterRegCreateKey(parentKey, name.c_str(), REG_OPTION_NON_VOLATILE, access, nullptr, &created, nullptr);
    if (CodeOf(status) == platform::error::Success) return created;
    Show(L"ClusterKey::Add( ). Failure calling ClusterRegCreateKey( ).");
    return nullptr;
}

// Numbers always belong to the object's own key: whoever reads a resource's numbers looks there, also when its texts
// go to a subkey.
int ClusterKey::WriteParameter(const std::wstring& parameter, HKEY key) {
    const ParameterString parsed(parameter);
    const std::wstring name(parsed.name);
    const int written = parsed.keyword == L"REG_DWORD"
                            ? AddValue(_handle.Get(), name, platform::ParseDecimal(parsed.value))
                            : AddValue(key, name, std::wstring(parsed.value), WriteMode(std::wstring(parsed.keyword)));
    if (!written) Show(L"ClusterKey::SetParameters( ). Failure calling AddValue( )." + parameter);
    return written;
}

std::wstring ClusterKey::FormatDataValue(DWORD type, const std::wstring&, std::span<const BYTE> data) const {
    if (type == REG_NONE) {
        platform::WriteOutput(L"Not a defined type");
    } else if (type != REG_DWORD && !IsTextType(type)) {
        Show(L"ClusterKey::FormatDataValue( ). Illegal data type.");
        SetLastError(platform::error::InvalidData);
    }
    return TextOfValue(type, data);
}
