#include <ostra/cluster/NetworkInterface.h>

#include <ostra/cluster/cluster_names.h>
#include <ostra/cluster/property_writes.h>
#include <ostra/foundation/display.h>
#include <ostra/properties/ObjectProperties.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/cluster/control_codes.h>

namespace {

/// Null for a value that is no state.
const wchar_t* StateText(DWORD state) {
    switch (state) {
        case ClusterStateUnknown: return L"NetworkInterface is in a unknown state.";
        case ClusterNetInterfaceUnavailable: return L"NetworkInterface is unavailable.";
        case ClusterNetInterfaceFailed: return L"NetworkInterface is failed.";
        case ClusterNetInterfaceUnreachable: return L"NetworkInterface is unreachable.";
        case ClusterNetInterfaceUp: return L"NetworkInterface is up.";
        default: return nullptr;
    }
}

}  // namespace

NetworkInterface::NetworkInterface(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName,
                                   int initialize) {
    _name = name;
    _clusterName = clusterName;
    _clusterHandle = cluster;
    if (initialize == 1 && _clusterHandle) Open();
}

NetworkInterface* NetworkInterface::operator=(const NetworkInterface& other) {
    ClusterComponent::operator=(other);
    _handle = other._handle;
    return this;
}

int NetworkInterface::IsValid(DWORD controlCode) {
    return ControlCodeObject(controlCode) == CLUS_OBJECT_NETINTERFACE ? 1 : 0;
}

int NetworkInterface::Status(int) {
    if (!Open()) {
        DisplayFailure(_error, L"NetworkInterface::Info( void ). Failure opening node " + _name);
        return 0;
    }
    const DWORD state = GetClusterNetInterfaceState(Handle());
    const wchar_t* const text = StateText(state);
    if (!text) {
        NoteUnknownState(state);
        DisplayFailure(_error, L"NetworkInterface::Info( int ). Failure calling GetClusterNetworkInterfaceState( )" +
                                   _error.GetErrorString(GetLastError()));
        return 0;
    }
    _stateString = text;
    SetStatus(0, _stateString);
    return 1;
}

int NetworkInterface::Open() {
    if (_name.empty()) {
        SetLastError(platform::error::InvalidParameter);
        DisplayFailure(_error,
                       L"NetworkInterface::Open( ). Failure opening node." + _error.GetErrorString(GetLastError()));
        return 0;
    }
    if (!_clusterHandle) {
        SetLastError(platform::error::InvalidHandle);
        DisplayFailure(_error, L"NetworkInterface::Open( ). Invalid cluster handle.");
        return 0;
    }
    _handle.Reset(OpenClusterNetInterface(_clusterHandle, ApiName(_name)));
    if (_handle) return 1;
    DisplayFailure(_error, L"NetworkInterface::Open( ). Failure opening Network Interface." +
                               _error.GetErrorString(GetLastError()));
    return 0;
}

DWORD NetworkInterface::GetAttributes(StringMap* attributes, DWORD controlCode) {
    if (IsValid(controlCode)) return NetworkInterfaceProperties(Handle()).Get(attributes, controlCode);
    SetLastError(platform::error::InvalidParameter);
    DisplayFailure(_error, L"NetworkInterface::GetAttributes( CMapStringToString* ). Incorrect control code.");
    return 0;
}

DWORD NetworkInterface::SetAttributes(const StringArray* parameters, DWORD controlCode) {
    if (IsValid(controlCode)) return WriteByType<NetworkInterfaceProperties>(Handle(), parameters, controlCode);
    SetLastError(platform::error::InvalidParameter);
    DisplayFailure(_error,
                   L"NetworkInterface::GetAttributes( CMapStringToString* ). Failure calling "
                   L"NetworkInterfaceProperties::Get( ). " +
                       _error.GetErrorString(GetLastError()));
    return 0;
}

std::wstring NetworkInterface::Info() {
    printf(L"NetworkInterface:%ws\n", _name.c_str());
    printf(L"   _name            :%ws\n", _name.c_str());
    printf(L"   _currentOwnerName:%ws\n", _currentOwnerName.c_str());
    return {};
}
