#include <ostra/network/IPStack.h>

#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/OstraString.h>
#include <ostra/foundation/display.h>
#include <ostra/network/address_unit.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <platform/base/format.h>
#include <platform/base/output.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>

#include <algorithm>
#include <array>
#include <istream>
#include <ostream>
#include <string_view>

namespace {

constexpr wchar_t poolsPath[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\IPStack\\";
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

using Units = std::array<std::wstring, 4>;

/// What a missing dot would end, and what would follow it, is empty.
Units UnitsOf(const std::wstring& address) {
    Units units;
    std::size_t start = 0;
    for (std::size_t index = 0; index + 1 < units.size(); ++index) {
        const std::size_t dot = address.find(L'.', start);
        if (dot == std::wstring::npos) return units;
        units[index] = address.substr(start, dot - start);
        start = dot + 1;
    }
    units.back() = address.substr(start);
    return units;
}

/// A number has no sign and no white space before it here.
int NumberOf(const std::wstring& unit) {
    const bool beginsWithDigit = !unit.empty() && unit.front() >= L'0' && unit.front() <= L'9';
    return beginsWithDigit ? UnitValue(unit) : 0;
}

std::wstring LastUnit(const std::wstring& address) {
    return address.substr(address.rfind(L'.') + 1);  // npos + 1: the whole text
}

std::wstring WithoutLastUnit(const std::wstring& address) {
    const std::size_t dot = address.rfind(L'.');
    return dot == std::wstring::npos ? std::wstring() : address.substr(0, dot);
}

/// The address that follows. The sum wraps, as the database can name any number as a range's start.
std::wstring Following(const std::wstring& address) {
    const OstraString words(address, separator);
    const auto next = static_cast<int>(words.AsDWORD(words.Word(wordsOfAnAddress)) + 1);
    return words.Word(1) + separator + words.Word(2) + separator + words.Word(3) + separator + std::to_wstring(next);
}

/// None at all when they are too many to be read back.
StringMap AddressRange(const std::wstring& prefix, long long first, long long last) {
    StringMap addresses;
    std::size_t persistedUnits = 1;  // the null
    for (long long number = first; number <= last; ++number) {
        const std::wstring address = prefix + std::to_wstring(number);
        persistedUnits += platform::Utf16Length(address) + 1;
        if (persistedUnits > mostPersistedUnits) return {};
        addresses.emplace(address, address);
    }
    return addresses;
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
      _path(poolsPath + networkAdapterID + L"\\"),
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
        _addressesCreated = CreateIPAddresses(startingAddress, endingAddress, subnetMask);
        SaveCurrentState();
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
    if (HasOpenKey())
        *_registry >> *this;
    else
        printf(L"IPStack::GetAvailableIPAddresses( ). Invalid registry handle.\n");
    return 0;
}

int IPStack::PutAvailableIPAddresses() {
    if (HasOpenKey())
        *_registry << *this;
    else
        printf(L"IPStack::GetAvailableIPAddresses( ). Invalid registry handle.\n");
    return 0;
}

int IPStack::GetUsedIPAddresses() {
    if (!HasOpenKey()) {
        printf(L"IPStack::GetUsedIPAddresses( ). Invalid registry handle.\n");
        return 0;
    }
    VisitLines(_registry->GetValue(usedValue), [this](const std::wstring& address) {
        AddTo(_ipAddressesUsed, address);
        AddTo(_ipAddressesToBeRecycled, address);
    });
    return 0;
}

int IPStack::PutUsedIPAddresses() {
    if (HasOpenKey())
        _registry->AddValue(_registry->Handle(), usedValue, LinesOf(_ipAddressesUsed), REG_BINARY);
    else
        printf(L"IPStack::GetUsedIPAddresses( ). Invalid registry handle.\n");
    return 0;
}

void IPStack::CreateRegistryEntries() {
    if (!_registry) return;
    const HKEY key = _registry->Handle();
    _registry->AddValue(key, initializedValue, no, REG_SZ);
    _registry->AddValue(key, usedValue, L"", REG_BINARY);
    _registry->AddValue(key, availableValue, L"", REG_BINARY);
    _registry->AddValue(key, maskValue, _subnetMask, REG_SZ);
    _registry->AddValue(key, L"Cluster Name", _clusterName, REG_SZ);
    _registry->AddValue(key, L"Next IP Address", L"", REG_SZ);
}

void IPStack::SetRangeAndMask(const std::wstring& start, const std::wstring& end, const std::wstring& mask) {
    if (!HasOpenKey()) return;
    const HKEY key = _registry->Handle();
    _registry->AddValue(key, rangeValue, start + L":" + end, REG_SZ);
    _registry->AddValue(key, maskValue, mask, REG_SZ);
    _registry->AddValue(key, createdValue, static_cast<DWORD>(_addressesCreated));
}

void IPStack::GetIPRange() {
    if (!HasOpenKey()) return;
    const std::wstring range = _registry->GetValue(rangeValue);
    const std::size_t colon = range.find(L':');
    const bool isRange = colon != std::wstring::npos;
    _startingAddress = isRange ? range.substr(0, colon) : L"";
    _endingAddress = isRange ? range.substr(colon + 1) : L"";
}

int IPStack::GetNumberOfAddressesCreated() {
    if (HasOpenKey()) _addressesCreated = _registry->GetValueAsInt(createdValue, _registry->Handle());
    return _addressesCreated;
}

int IPStack::IsInitialized() {
    if (HasOpenKey() && _registry->GetValue(initializedValue) == yes) _isInitialized = 1;
    return _isInitialized;
}

void IPStack::SetInitialized(int isInitialized) {
    _isInitialized = isInitialized;
    if (HasOpenKey()) _registry->AddValue(_registry->Handle(), initializedValue, isInitialized ? yes : no, REG_SZ);
}

int IPStack::CreateIPAddresses(const std::wstring& start, const std::wstring& end, const std::wstring&) {
    _endingAddress = end;
    const Units units = UnitsOf(start);
    const std::wstring prefix = units[0] + separator + units[1] + separator + units[2] + separator;
    const long long first = NumberOf(units[3]);
    _ipAddressesAvailable = AddressRange(prefix, first, NumberOf(UnitsOf(end)[3]));
    if (!_ipAddressesAvailable.empty()) _startingAddress = prefix + std::to_wstring(first - 1);
    _persistentData = Persist();
    _addressesCreated = CountOf(_ipAddressesAvailable);
    printf(L"IPStack::CreateIPAddress( ). %d\n", _addressesCreated);
    return _addressesCreated;
}

int IPStack::RangeTooLarge(const std::wstring& start, const std::wstring& end) const {
    return NumberOf(LastUnit(end)) - NumberOf(LastUnit(start)) > largestRange;
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

std::wstring IPStack::GetNextIPAddress() {
    _address = _startingAddress;
    for (long long left = std::max(_addressesCreated + 1LL, 1LL); left > 0; --left) {
        _address = Following(_address);
        if (_ipAddressesAvailable.contains(_address)) break;
        // Counting up fills a start of fewer than four words; from then on only the last unit changes, and asking the
        // list spares forming all candidates for a number of addresses that no pool was ever created with.
        if (OstraString(_address, separator).WordCount() == wordsOfAnAddress) {
            _address = NearestAbove(left - 1);
            break;
        }
    }
    if (!_ipAddressesAvailable.contains(_address)) _address.clear();
    printf(L"IPStack::GetNextIPAddress( CString& ). On exit. _address:%ws\n", _address.c_str());
    return _address;
}

std::wstring IPStack::NearestAbove(long long mostSteps) const {
    const std::wstring prefix = WithoutLastUnit(_address) + separator;
    const DWORD from = platform::ParseDecimal(LastUnit(_address));
    std::wstring nearest;
    long long fewestSteps = mostSteps + 1;
    for (auto entry = _ipAddressesAvailable.lower_bound(prefix);
         entry != _ipAddressesAvailable.end() && entry->first.starts_with(prefix); ++entry) {
        const std::wstring unit = entry->first.substr(prefix.size());
        const DWORD number = platform::ParseDecimal(unit);
        if (std::to_wstring(static_cast<int>(number)) != unit) continue;  // no candidate is written so
        const DWORD steps = number - from;                                // counting up wraps
        if (steps >= fewestSteps) continue;
        fewestSteps = steps;
        nearest = entry->first;
    }
    return nearest;
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
    const int number = NumberOf(unit);
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
