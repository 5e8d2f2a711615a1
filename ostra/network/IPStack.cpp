#include <ostra/network/IPStack.h>

#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/OstraString.h>
#include <ostra/foundation/display.h>
#include <ostra/network/address_units.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <ostra/wizard/wizard_root.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>

#include <algorithm>
#include <istream>
#include <optional>
#include <ostream>
#include <string_view>

namespace {

constexpr wchar_t separator[] = L".";
constexpr int wordsOfAnAddress = 4;
constexpr int largestRange = 500;
constexpr int unitLimit = 1000;
constexpr std::size_t mostPersistedUnits = 65'001 / 2;  // what reading a value of the cluster database gives back

constexpr wchar_t initializedValue[] = L"Initialized";
constexpr wchar_t rangeValue[] = L"IP Range";
constexpr wchar_t maskValue[] = L"Subnet Mask";
constexpr wchar_t createdValue[] = L"Addresses created";
constexpr wchar_t availableValue[] = L"Persistence";
constexpr wchar_t usedValue[] = L"IP Used";
constexpr wchar_t yes[] = L"Yes";
constexpr wchar_t no[] = L"No";

std::wstring WithoutLastUnit(const std::wstring& address) {
    const std::size_t dot = address.rfind(L'.');
    return dot == std::wstring::npos ? std::wstring() : address.substr(0, dot);
}

/// Nothing when they are too many to be read back. A range that runs backwards is empty.
std::optional<StringMap> AddressRange(const std::wstring& prefix, long long first, long long last) {
    StringMap addresses;
    std::size_t persistedUnits = 1;  // the null
    for (long long number = first; number <= last; ++number) {
        const std::wstring address = prefix + std::to_wstring(number);
        persistedUnits += platform::Utf16Length(address) + 1;
        if (persistedUnits > mostPersistedUnits) return std::nullopt;
        addresses.emplace(address, address);
    }
    return addresses;
}

/// Whether a pool that loads the text finds all of it: reading ends at a null.
bool IsReadBack(const std::wstring& text) {
    return platform::Utf16Length(text) + 1 <= mostPersistedUnits && text.find(L'\0') == std::wstring::npos;
}

std::wstring LinesOf(const StringMap& addresses) {
    std::wstring text;
    for (const auto& [address, same] : addresses)
        if (!address.empty()) (text += address) += L'\n';
    return text;
}

template <typename Visit>
void VisitLines(std::wstring_view text, Visit visit) {
    for (;;) {
        const std::size_t end = text.find(L'\n');
        if (end == 0 || end == std::wstring_view::npos) return;
        visit(std::wstring(text.substr(0, end)));
        text.remove_prefix(end + 1);
    }
}

void AddTo(StringMap& addresses, const std::wstring& address) {
    addresses.insert_or_assign(address, address);
}

int CountOf(const StringMap& addresses) {
    return static_cast<int>(addresses.size());
}

}  // namespace

IPStack::IPStack(const std::wstring& networkAdapterID, const std::wstring& clusterName, const std::wstring& subnetMask)
    : _networkAdapterID(networkAdapterID),
      _path(WizardPath(L"IPStack\\") + networkAdapterID + L"\\"),
      _subnetMask(subnetMask),
      _stackEventViewer(L"Ostra::IPStack", NTEventViewer::Error, L"") {
    _clusterName = clusterName;
}

IPStack::IPStack(const std::wstring& networkAdapterID, const std::wstring& clusterName, const std::wstring& subnetMask,
                 int resetInitialized)
    : IPStack(networkAdapterID, clusterName, subnetMask) {
    printf(L"IPStack::IPStack( ). On entry. path:%ws\n", _path.c_str());
    if (OpenKey(L"IPStatck::IPStack( ). Failure newing Network for ")) {
        if (resetInitialized) SetInitialized(0);
        GetNumberOfAddressesCreated();
        GetIPRange();
        GetAvailableIPAddresses();
        GetUsedIPAddresses();
    }
    printf(L"IPStack::IPStack( ). On exit.\n");
}

IPStack::IPStack(const std::wstring& networkAdapterID, const std::wstring& clusterName, const std::wstring& subnetMask,
                 const std::wstring& startingAddress, const std::wstring& endingAddress)
    : IPStack(networkAdapterID, clusterName, subnetMask) {
    printf(L"IPStack::IPStack( CString, CString, CString ). On entry. path:%ws\n", _path.c_str());
    if (OpenKey(L"IPStatck::IPStack( ). Invalid registry at ")) {
        if (ReplaceAddresses(startingAddress, endingAddress)) SaveCurrentState();
    }
    printf(L"IPStack::IPStack( ). On exit.\n");
}

IPStack::~IPStack() {
    printf(L"IPStack::~IPStack( void ). On entry. stack count:%d\n", CountOf(_ipAddressesAvailable));
    _registry.reset();
    _ipAddressesAvailable.clear();
    _ipAddressesUsed.clear();
    printf(L"IPStack::~IPStack( void ). On exit. stack count:%d\n", CountOf(_ipAddressesAvailable));
}

int IPStack::Status(int) {
    return 0;
}

std::wstring IPStack::GetIP(int) {
    printf(L"IPStack::GetIP( ). Looking for %ws\n", _currentAddress.c_str());
    _currentAddress = GetNextIPAddress();
    if (_currentAddress.empty())
        printf(L"IPStack::GetIP( ). No IP Address to give!\n");
    else
        AddTo(_ipAddressesUsed, _currentAddress);
    return _currentAddress;
}

int IPStack::RemoveUsedIP() {
    _ipAddressesAvailable.erase(_currentAddress);
    _persistentData = Persist();
    return 1;
}

void IPStack::SaveCurrentState() {
    // One list without the other would lose addresses or hand them out twice.
    if (!CanBeKept(_persistentData) || !CanBeKept(LinesOf(_ipAddressesUsed))) return;
    PutAvailableIPAddresses();
    PutUsedIPAddresses();
}

int IPStack::WasUsed(const std::wstring& address) const {
    return _ipAddressesUsed.contains(address);
}

int IPStack::AddIPAddressBeingUsed(const std::wstring& address) {
    AddTo(_ipAddressesBeingUsed, address);
    return CountOf(_ipAddressesBeingUsed);
}

int IPStack::GetIPAddressesToBeRecycled() {
    for (const auto& [address, same] : _ipAddressesBeingUsed) _ipAddressesToBeRecycled.erase(address);
    return 0;
}

int IPStack::RecycleIPAddresses() {
    int recycled = 0;
    for (const auto& [address, same] : _ipAddressesToBeRecycled) {
        if (address.empty()) continue;
        PutIP(address);
        _ipAddressesUsed.erase(address);
        ++recycled;
    }
    if (recycled < 1) return recycled;
    _persistentData = Persist();
    SaveCurrentState();
    return recycled;
}

int IPStack::RecycleIPAddresses(const StringArray* addresses) {
    if (!addresses) return 0;
    for (const std::wstring& address : *addresses) {
        printf(L"IPStack::RecycleIPAddresses( ). address:%ws\n", address.c_str());
        PutIP(address);
    }
    return 0;
}

int IPStack::PutIP(const std::wstring& address) {
    AddTo(_ipAddressesAvailable, address);
    return CountOf(_ipAddressesAvailable);
}

std::wstring IPStack::Persist() {
    _persistedText = LinesOf(_ipAddressesAvailable);
    return _persistedText;
}

void IPStack::SetPersistence(const std::wstring& text) {
    VisitLines(text, [this](const std::wstring& address) { AddTo(_ipAddressesAvailable, address); });
    _persistentData = Persist();
}

int IPStack::GetAvailableIPAddresses() {
    if (!RequireKey()) {
        printf(L"IPStack::GetAvailableIPAddresses( ). Invalid registry handle.\n");
        return 0;
    }
    *_registry >> *this;
    if (_persistentData.empty()) NoteUnread(availableValue);
    return 0;
}

int IPStack::PutAvailableIPAddresses() {
    if (!RequireKey())
        printf(L"IPStack::GetAvailableIPAddresses( ). Invalid registry handle.\n");
    else if (CanBeKept(_persistentData))
        *_registry << *this;
    return 0;
}

int IPStack::GetUsedIPAddresses() {
    if (!RequireKey()) {
        printf(L"IPStack::GetUsedIPAddresses( ). Invalid registry handle.\n");
        return 0;
    }
    const std::wstring text = _registry->GetValue(usedValue);
    VisitLines(text, [this](const std::wstring& address) {
        AddTo(_ipAddressesUsed, address);
        AddTo(_ipAddressesToBeRecycled, address);
    });
    if (text.empty()) NoteUnread(usedValue);
    return 0;
}

int IPStack::PutUsedIPAddresses() {
    const std::wstring text = LinesOf(_ipAddressesUsed);
    if (!RequireKey())
        printf(L"IPStack::GetUsedIPAddresses( ). Invalid registry handle.\n");
    else if (CanBeKept(text))
        _registry->AddValue(_registry->Handle(), usedValue, text, REG_BINARY);
    return 0;
}

void IPStack::CreateRegistryEntries() {
    if (!_registry) return SetLastError(platform::error::InvalidHandle);
    const HKEY key = _registry->Handle();
    _registry->AddValue(key, initializedValue, no, REG_SZ);
    _registry->AddValue(key, usedValue, L"", REG_BINARY);
    _registry->AddValue(key, availableValue, L"", REG_BINARY);
    _registry->AddValue(key, maskValue, _subnetMask, REG_SZ);
    _registry->AddValue(key, L"Cluster Name", _clusterName, REG_SZ);
    _registry->AddValue(key, L"Next IP Address", L"", REG_SZ);
}

void IPStack::SetRangeAndMask(const std::wstring& start, const std::wstring& end, const std::wstring& mask) {
    if (!RequireKey()) return;
    const HKEY key = _registry->Handle();
    _registry->AddValue(key, rangeValue, start + L":" + end, REG_SZ);
    _registry->AddValue(key, maskValue, mask, REG_SZ);
    _registry->AddValue(key, createdValue, static_cast<DWORD>(_addressesCreated));
}

void IPStack::GetIPRange() {
    if (!RequireKey()) return;
    const std::wstring range = _registry->GetValue(rangeValue);
    const std::size_t colon = range.find(L':');
    const bool isRange = colon != std::wstring::npos;
    _startingAddress = isRange ? range.substr(0, colon) : L"";
    _endingAddress = isRange ? range.substr(colon + 1) : L"";
}

int IPStack::GetNumberOfAddressesCreated() {
    if (RequireKey()) _addressesCreated = _registry->GetValueAsInt(createdValue, _registry->Handle());
    return _addressesCreated;
}

int IPStack::IsInitialized() {
    if (RequireKey() && _registry->GetValue(initializedValue) == yes) _isInitialized = 1;
    return _isInitialized;
}

void IPStack::SetInitialized(int isInitialized) {
    _isInitialized = isInitialized;
    if (RequireKey()) _registry->AddValue(_registry->Handle(), initializedValue, isInitialized ? yes : no, REG_SZ);
}

int IPStack::CreateIPAddresses(const std::wstring& start, const std::wstring& end, const std::wstring&) {
    return ReplaceAddresses(start, end) ? _addressesCreated : 0;
}

bool IPStack::ReplaceAddresses(const std::wstring& start, const std::wstring& end) {
    const auto units = UnitsOf(start);
    const std::wstring prefix = units[0] + separator + units[1] + separator + units[2] + separator;
    const long long first = UnsignedUnitValue(units[3]);
    std::optional<StringMap> addresses = AddressRange(prefix, first, UnsignedUnitValue(UnitsOf(end)[3]));
    if (!addresses) {
        Refuse(L"IPStack::CreateIPAddresses( ). Too many addresses to be kept.", platform::error::InvalidParameter);
        return false;
    }
    _ipAddressesAvailable = std::move(*addresses);
    _endingAddress = end;
    if (!_ipAddressesAvailable.empty()) _startingAddress = prefix + std::to_wstring(first - 1);
    _persistentData = Persist();
    _addressesCreated = CountOf(_ipAddressesAvailable);
    printf(L"IPStack::CreateIPAddress( ). %d\n", _addressesCreated);
    return true;
}

int IPStack::RangeTooLarge(const std::wstring& start, const std::wstring& end) const {
    return UnsignedUnitValue(LastUnit(end)) - UnsignedUnitValue(LastUnit(start)) > largestRange;
}

const std::wstring& IPStack::DefaultIPRangeMask(const std::wstring& address) {
    _defaultIPRangeMask = WithoutLastUnit(WithoutLastUnit(address)) + separator;
    return _defaultIPRangeMask;
}

const std::wstring& IPStack::Info() {
    const auto trace = [this](const StringMap& addresses) {
        for (const auto& [address, same] : addresses) printf(L"%ws\n", address.c_str());
    };
    printf(L"_currentAddress:%ws\n", _currentAddress.c_str());
    printf(L"AvailableTCPIPAddresses:%d\n", CountOf(_ipAddressesAvailable));
    trace(_ipAddressesAvailable);
    platform::WriteOutput(platform::Format(L"TCPIPAddresses Being Used:%d\n", CountOf(_ipAddressesBeingUsed)));
    trace(_ipAddressesBeingUsed);
    platform::WriteOutput(platform::Format(L"TCPIPAddresses To Be Recycled:%d\n", CountOf(_ipAddressesToBeRecycled)));
    trace(_ipAddressesToBeRecycled);
    return _persistedText;
}

bool IPStack::HasOpenKey() const {
    return _registry && _registry->Valid();
}

bool IPStack::OpenKey(const std::wstring& failure) {
    _registry = MakeOrNull<ClusterIPStackKey>(_clusterName, _networkAdapterID);
    if (!HasOpenKey()) DisplayFailure(_stackError, failure + _path);
    return HasOpenKey();
}

bool IPStack::RequireKey() const {
    if (!HasOpenKey()) SetLastError(platform::error::InvalidHandle);
    return HasOpenKey();
}

void IPStack::NoteUnread(const wchar_t* valueName) {
    constexpr DWORD sizeOfNoText = 2;  // the null
    DWORD size = 0;
    const LONG code = ClusterRegQueryValue(_registry->Handle(), valueName, nullptr, nullptr, &size);
    const bool isEmpty = static_cast<DWORD>(code) == platform::error::Success && size <= sizeOfNoText;
    if (!isEmpty && static_cast<DWORD>(code) != platform::error::FileNotFound) _isUnread = true;
}

bool IPStack::CanBeKept(const std::wstring& text) const {
    if (!_isUnread && IsReadBack(text)) return true;
    Refuse(_isUnread ? L"IPStack::SaveCurrentState( ). Addresses that could not be read would be lost."
                     : L"IPStack::SaveCurrentState( ). The addresses could not be read back.",
           platform::error::InvalidData);
    return false;
}

void IPStack::Refuse(const std::wstring& failure, DWORD code) const {
    _stackEventViewer << failure + L" " + std::to_wstring(code) + L" " + _stackError.GetErrorString(code);
    SetLastError(code);
}

std::wstring IPStack::GetNextIPAddress() {
    if (!FindNextAddress()) _address.clear();
    printf(L"IPStack::GetNextIPAddress( CString& ). On exit. _address:%ws\n", _address.c_str());
    return _address;
}

bool IPStack::FindNextAddress() {
    // A pool that can be loaded has fewer addresses than its text has units, whatever the database says of it.
    const int mostCandidates = std::clamp(_addressesCreated, 0, static_cast<int>(mostPersistedUnits)) + 1;
    _address = _startingAddress;
    for (int tried = 0; tried < mostCandidates;) {
        const OstraString words(_address, separator);
        const std::wstring prefix = words.Word(1) + separator + words.Word(2) + separator + words.Word(3) + separator;
        long long number = UnitValue(words.Word(wordsOfAnAddress));
        const bool isPrefixWhole = words.WordCount() >= wordsOfAnAddress - 1;  // else candidates fill it up
        do {
            _address = prefix + std::to_wstring(++number);
            if (_ipAddressesAvailable.contains(_address)) return true;
        } while (++tried < mostCandidates && isPrefixWhole);
    }
    return false;
}

int IPStack::IsValidRange(const std::wstring& start, const std::wstring& end) const {
    const auto isValid = [this](const std::wstring& address, const wchar_t* whichEnd) {
        int number = 0;
        for (const std::wstring& unit : UnitsOf(address)) {
            ++number;
            if (IsValidNumber(unit)) continue;
            _stackEventViewer << platform::Format(
                L"IPStack::IsValidRange( ). Invalid number in unit%d in %ws IP address.", number, whichEnd);
            return false;
        }
        return true;
    };
    return isValid(start, L"starting") && isValid(end, L"ending");
}

int IPStack::IsValidNumber(const std::wstring& unit) const {
    const int number = UnsignedUnitValue(unit);
    return number >= 0 && number < unitLimit;
}

CArchive& operator<<(CArchive& archive, const IPStack& pool) {
    for (const auto& [address, same] : pool._ipAddressesAvailable)
        if (!address.empty()) archive << address;
    return archive;
}

CArchive& operator>>(CArchive& archive, IPStack& pool) {
    const std::size_t entries = pool._ipAddressesAvailable.size();
    const bool hasEmptyEntry = pool._ipAddressesAvailable.contains(L"");
    if (hasEmptyEntry) platform::WriteOutput(L"operator>>( ). Failure newing IPStack with an TCPIPAddress\n");
    for (std::size_t toRead = hasEmptyEntry ? entries - 1 : entries; toRead > 0; --toRead) {
        std::wstring address;
        archive >> address;
        if (archive.Failed()) break;  // nothing was read
        pool.PutIP(address);
    }
    return archive;
}

std::istream& operator>>(std::istream& stream, IPStack&) {
    platform::WriteOutput(L"is >> ipStack;\n");
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const IPStack&) {
    return stream;
}
