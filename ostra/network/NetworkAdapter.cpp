#include <ostra/network/NetworkAdapter.h>

#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/display.h>
#include <ostra/network/IPStack.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <utility>

namespace {

constexpr int internalUseOnly = 1;
constexpr int highestRole = 3;

void WriteField(const wchar_t* name, const std::wstring& value) {
    platform::WriteOutput(platform::Format(L"%-23ws: %ws\n", name, value.c_str()));
}

}  // namespace

NetworkAdapter::NetworkAdapter(const std::wstring& clusterName, HCLUSTER cluster, const std::wstring& iD,
                               const std::wstring& name, const std::wstring& address, const std::wstring& subnetMask,
                               int role, int connectsClients, const std::wstring& transport, int priority, int,
                               int recyclingAllowed)
    : _clusterName(clusterName),
      _clusterHandle(cluster),
      _iD(iD),
      _name(name),
      _address(address),
      _role(static_cast<DWORD>(role)),
      _priority(priority),
      _connectsClients(static_cast<DWORD>(connectsClients)),
      _transport(transport),
      _subnetMask(subnetMask),
      _recyclingAllowed(recyclingAllowed) {
    if (role < lowestClientRole) return;
    _ipStack = OpenPool();
    if (!_ipStack) DisplayFailure(_error, L"NetworkAdapter::NetworkAdapter( ). Failureing newing IPStack( ).");
}

NetworkAdapter::NetworkAdapter(const NetworkAdapter& other)
    : CObject(other),
      _clusterName(other._clusterName),
      _iD(other._iD),
      _name(other._name),
      _address(other._address),
      _role(other._role),
      _priority(other._priority),
      _connectsClients(other._connectsClients),
      _transport(other._transport),
      _subnetMask(other._subnetMask),
      _ipStack(other._ipStack) {}

NetworkAdapter::~NetworkAdapter() = default;

std::unique_ptr<IPStack> NetworkAdapter::OpenPool() const {
    return MakeOrNull<IPStack>(_iD, _clusterName, _subnetMask, 0);
}

int NetworkAdapter::IsForInternalUse() const {
    return _role == internalUseOnly ? 1 : 0;
}

int NetworkAdapter::UsedInCluster() const {
    return _role >= lowestClientRole && _role <= highestRole ? 1 : 0;
}

std::wstring NetworkAdapter::StartingAddress() const {
    if (_ipStack) _startingAddress = _ipStack->StartingAddress();
    return _startingAddress;
}

std::wstring NetworkAdapter::EndingAddress() const {
    if (_ipStack) _endingAddress = _ipStack->EndingAddress();
    return _endingAddress;
}

std::wstring NetworkAdapter::DefaultIPRangeMask() const {
    if (_ipStack) _defaultIPRangeMask = _ipStack->DefaultIPRangeMask(_address);
    return _defaultIPRangeMask;
}

int NetworkAdapter::IsInitialized() const {
    _isInitialized = _ipStack ? _ipStack->IsInitialized() : 0;
    return _isInitialized;
}

void NetworkAdapter::SetInitialized() {
    if (!RequirePool()) return;
    if (const std::unique_ptr<IPStack> pool = OpenPool()) pool->SetInitialized(1);
}

int NetworkAdapter::AddIPAddressBeingUsed(const std::wstring& address) {
    if (IPStack* pool = RequirePool()) pool->AddIPAddressBeingUsed(address);
    return 0;
}

int NetworkAdapter::GetIPAddressesToBeRecycled() {
    IPStack* pool = RequirePool();
    return pool ? pool->GetIPAddressesToBeRecycled() : 0;
}

int NetworkAdapter::RecycleIPAddresses() {
    IPStack* pool = RequirePool();
    return pool ? pool->RecycleIPAddresses() : 0;
}

int NetworkAdapter::RecycleIPAddresses(const StringArray* addresses) {
    if (_recyclingAllowed == 0) {
        SetLastError(platform::error::AccessDenied);
        return 0;
    }
    IPStack* pool = RequirePool();
    return pool ? pool->RecycleIPAddresses(addresses) : 0;
}

IPStack* NetworkAdapter::RequirePool() const {
    if (!_ipStack) SetLastError(platform::error::NotSupported);
    return _ipStack.get();
}

void NetworkAdapter::Info() const {
    platform::WriteOutputLine(L"NetworkAdapter::Info( ). On entry");
    const auto number = [](auto value) { return std::to_wstring(value); };
    const std::pair<const wchar_t*, std::wstring> fields[] = {
        {L"_clusterName", _clusterName},
        {L"_clusterHandle", platform::Format(L"%p", static_cast<const void*>(_clusterHandle))},
        {L"_iD", _iD},
        {L"_name", _name},
        {L"_address", _address},
        {L"_startingAddress", _startingAddress},
        {L"_endingAddress", _endingAddress},
        {L"_role", number(_role)},
        {L"_priority", number(_priority)},
        {L"_connectsClients", number(_connectsClients)},
        {L"_transport", _transport},
        {L"_subnetMask", _subnetMask},
        {L"_defaultIPRangeMask", _defaultIPRangeMask},
        {L"_recyclingAllowed", number(_recyclingAllowed)},
        {L"IsForInternalUse", number(IsForInternalUse())},
        {L"UsedInCluster", number(UsedInCluster())},
        {L"_isInitialized", IsInitialized() ? L"Yes" : L"No"},
    };
    for (const auto& [name, value] : fields) WriteField(name, value);
    if (!_ipStack) return;
    WriteField(L"_networkMask", _ipStack->SubnetMask());
    platform::WriteOutput(L" ===== _ipStack =======\n");
    _ipStack->Info();
}
