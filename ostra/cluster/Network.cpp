#include <ostra/cluster/Network.h>

#include <ostra/cluster/cluster_names.h>
#include <ostra/cluster/property_writes.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <ostra/properties/ObjectProperties.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/cluster/control_codes.h>

#include <array>

namespace {

using platform::error::Success;

constexpr wchar_t internalUseOnly[] = L"1";
constexpr std::size_t textSize = 255;  // characters

/// Null for a value that is no state.
const wchar_t* StateText(DWORD state) {
    switch (state) {
        case ClusterStateUnknown: return L"Network is in a unknown state.";
        case ClusterNetworkUnavailable: return L"Network is unavailable.";
        case ClusterNetworkDown: return L"Network is down.";
        case ClusterNetworkPartitioned: return L"Network is partitioned.";
        case ClusterNetworkUp: return L"Network is up.";
        default: return nullptr;
    }
}

}  // namespace

Network::Network(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize)
    : _networkClusterName(clusterName) {
    _name = name;
    _clusterHandle = cluster;
    if (initialize == 1) Initialize();
}

void Network::Initialize() {
    if (!_clusterHandle) return;
    if (Open())
        GetNetworkID();
    else
        DisplayFailure(_error, L"Network::Network( ). Failure opening node. " + _name);
}

int Network::IsValid(DWORD controlCode) {
    return ControlCodeObject(controlCode) == CLUS_OBJECT_NETWORK ? 1 : 0;
}

int Network::Status(int) {
    if (!Open()) {
        DisplayFailure(_error, L"Network::Info( void ). Failure opening node " + _name);
        return 0;
    }
    const DWORD state = GetClusterNetworkState(Handle());
    const wchar_t* const text = StateText(state);
    if (!text) {
        NoteUnknownState(state);
        DisplayFailure(_error, L"Network::Info( int ). Failure calling GetClusterNetworkState( )");
        return 0;
    }
    _stateString = text;
    SetStatus(state, _stateString);
    return 1;
}

int Network::Open() {
    if (_name.empty()) {
        SetLastError(platform::error::InvalidParameter);
        DisplayFailure(_error, L"Network::Open( ). Failure opening node." + _error.GetErrorString(GetLastError()));
        return 0;
    }
    if (!_clusterHandle) {
        SetLastError(platform::error::InvalidHandle);
        DisplayFailure(_error, L"Network::Open( ). Invalid cluster handle.");
        return 0;
    }
    _handle.Reset(OpenClusterNetwork(_clusterHandle, ApiName(_name)));
    if (_handle) return 1;
    DisplayFailure(_error,
                   L"Network::Open( ). Failure opening Network. " + _name + _error.GetErrorString(GetLastError()));
    return 0;
}

int Network::Discover() {
    if (!_handle) {
        SetLastError(platform::error::InvalidHandle);
        DisplayFailure(_error, L"Network::Discover( ). Invalid Network handle. ");
        return 0;
    }
    const platform::SharedHandle<HNETWORKENUM, ClusterNetworkCloseEnum> members(
        ClusterNetworkOpenEnum(Handle(), CLUSTER_NETWORK_ENUM_NETINTERFACES));
    if (!members) {
        DisplayFailure(_error, L"Network::Discover( ). Failure calling ClusterNetworkOpenEnum( ). " +
                                   _error.GetErrorString(GetLastError()));
        return 0;
    }
    const auto readAndTrace = [this](HNETWORKENUM list, DWORD index, DWORD* type, wchar_t* name, DWORD* size) {
        const DWORD result = ClusterNetworkEnum(list, index, type, name, size);
        printf(L" =-=-= %ws \n", name);
        return result;
    };
    ForEachName(
        members.Get(), readAndTrace, [](const std::wstring&) {},
        [this](DWORD code) {
            DisplayFailure(_error,
                           L"Network::Discover( int ). Failure calling ClusterEnum( )." + _error.GetErrorString(code));
        });
    return 0;
}

const std::wstring& Network::GetNetworkID() {
    std::array<wchar_t, textSize> identifier{};
    DWORD size = identifier.size();
    const DWORD code = GetClusterNetworkId(Handle(), identifier.data(), &size);
    if (code == Success)
        _iD = identifier.data();
    else
        DisplayFailure(_error, L"Network::GetNetworkID( ). Failure calling GetClusterNetworkId( ). " +
                                   _error.GetErrorString(code));
    return _iD;
}

std::wstring Network::GetInterfaceName(const std::wstring& nodeName) {
    std::array<wchar_t, textSize> interfaceName{};
    DWORD size = interfaceName.size();
    _interfaceName.clear();
    const DWORD code =
        GetClusterNetInterface(_clusterHandle, ApiName(nodeName), ApiName(_name), interfaceName.data(), &size);
    if (code == Success)
        _interfaceName = interfaceName.data();
    else
        DisplayFailure(_error, L"Network::GetInterfaceName( ). Failure calling GetClusterNetInterface( ). " +
                                   _error.GetErrorString(code));
    return _interfaceName;
}

DWORD Network::GetAttributes(DWORD controlCode) {
    const DWORD count = Read(&_attributes, controlCode, L"Network::GetAttributes( DWORD ). Incorrect control code.");
    TakeOver(_attributes);
    return count;
}

DWORD Network::GetAttributes(StringMap* attributes, DWORD controlCode) {
    const DWORD count =
        Read(attributes, controlCode, L"Network::GetAttributes( CMapStringToString* ). Incorrect control code.");
    if (attributes) TakeOver(*attributes);
    if (_role == internalUseOnly) _isForInternalUse = 1;
    return count;
}

DWORD Network::GetAttributes(StringMap* attributes) {
    const DWORD count = NetworkProperties(Handle()).Get(attributes, CLUSCTL_NETWORK_GET_RO_COMMON_PROPERTIES);
    if (attributes) AssignAttributes(*attributes);
    return count;
}

DWORD Network::Read(StringMap* attributes, DWORD controlCode, const wchar_t* invalidCode) {
    if (IsValid(controlCode)) return NetworkProperties(Handle()).Get(attributes, controlCode);
    SetLastError(platform::error::InvalidParameter);
    DisplayFailure(_error, invalidCode);
    return 0;
}

void Network::TakeOver(const StringMap& attributes) {
    const struct {
        const wchar_t* property;
        std::wstring& field;
    } known[] = {{L"AddressMask", _subnetMask},
                 {L"Address", _address},
                 {L"Role", _role},
                 {L"Name", _name},
                 {L"Description", _description}};
    for (const auto& [property, field] : known) {
        const auto found = attributes.find(property);
        if (found != attributes.end()) field = found->second;
    }
}

void Network::AssignAttributes(const StringMap& attributes) const {
    for (const auto& [name, value] : attributes) printf(L"property: name:%ws value:%ws\n", name.c_str(), value.c_str());
}

DWORD Network::SetAttributes(const StringArray* parameters, DWORD controlCode) {
    if (IsValid(controlCode)) return WriteByType<NetworkProperties>(Handle(), parameters, controlCode);
    SetLastError(platform::error::InvalidParameter);
    DisplayFailure(_error,
                   L"Network::GetAttributes( CMapStringToString* ). Failure calling NetworkProperties::Get( ). " +
                       _error.GetErrorString(GetLastError()));
    return 0;
}

void Network::Info() {
    printf(L"Network             :%ws\n", _name.c_str());
    printf(L"   _iD              :%ws\n", _iD.c_str());
    printf(L"   _status          :%ws\n", _status.StatusString().c_str());
}
