#include <ostra/network/TCPIPAddress.h>

#include <ostra/network/address_units.h>
#include <platform/base/format.h>
#include <platform/base/output.h>
#include <platform/base/text.h>
#include <platform/framework/CArchive.h>

#include <algorithm>
#include <istream>
#include <ostream>

namespace {

constexpr int unitCount = 4;
constexpr int mostDots = 3;
constexpr int largestUnit = 255;

struct OctetRule {
    unsigned int mask;
    unsigned int first;
    unsigned int last;
};

constexpr OctetRule octetRules[] = {
    {0, 1, 62},      {64, 65, 126},   {128, 129, 191}, {192, 193, 254},
    {224, 225, 254}, {240, 241, 254}, {248, 249, 254}, {252, 253, 254},
};

}  // namespace

TCPIPAddress::TCPIPAddress(const std::wstring& address, const std::wstring&, const std::wstring& adapterAddress,
                           const std::wstring& adapterName)
    : _address(address), _adapterAddress(adapterAddress), _adapterName(adapterName) {}

int TCPIPAddress::ContainsOnlyLegalCharacters() const {
    return _address.find_first_not_of(L"1234567890.") == std::wstring::npos;
}

int TCPIPAddress::IsValidSequence() const {
    if (_address.starts_with(L'.') || _address.find(L"..") != std::wstring::npos) return 0;
    return std::count(_address.begin(), _address.end(), L'.') <= mostDots;
}

int TCPIPAddress::GetOctetInInt(int n) const {
    if (n < 1 || n > unitCount) return 0;
    return UnitValue(n == unitCount ? LastUnit(_address) : UnitsOf(_address)[static_cast<std::size_t>(n) - 1]);
}

int TCPIPAddress::IsValid() const {
    if (!ContainsOnlyLegalCharacters() || !IsValidSequence()) return 0;
    for (int n = 1; n <= unitCount; ++n)
        if (GetOctetInInt(n) > largestUnit) return 0;
    return 1;
}

int TCPIPAddress::IsValidAddress(unsigned int value, unsigned int mask) const {
    platform::WriteOutput(platform::Format(L"TCPIPAddress::IsValidAddress( ). address:%d, mask:%d\n", value, mask));
    const auto allows = [&](const OctetRule& rule) {
        return rule.mask == mask && value >= rule.first && value <= rule.last;
    };
    const int valid = std::any_of(std::begin(octetRules), std::end(octetRules), allows);
    platform::WriteOutput(platform::Format(L"TCPIPAddress::IsValidAddress( ). valid:%d\n", valid));
    return valid;
}

int TCPIPAddress::operator==(const TCPIPAddress& other) const {
    return _address == other._address;
}

int TCPIPAddress::operator!=(const TCPIPAddress& other) const {
    return _address != other._address;
}

int TCPIPAddress::operator>(const TCPIPAddress& other) const {
    if (_address.size() != other._address.size()) return _address.size() > other._address.size();
    return _address > other._address;
}

int TCPIPAddress::operator<(const TCPIPAddress& other) const {
    return other > *this;
}

void TCPIPAddress::Info() const {
    platform::WriteOutput(platform::Format(L" _address        : %ws\n", _address.c_str()));
    platform::WriteOutput(platform::Format(L" _adapterAddress : %ws\n", _adapterAddress.c_str()));
    platform::WriteOutput(platform::Format(L" _adapterName    : %ws\n", _adapterName.c_str()));
}

std::istream& operator>>(std::istream& stream, TCPIPAddress& address) {
    std::string word;
    if (stream >> word) address._address = platform::FromUtf8(word);
    return stream;
}

std::ostream& operator<<(std::ostream& stream, const TCPIPAddress& address) {
    return stream << platform::ToUtf8(address._address);
}

CArchive& operator>>(CArchive& archive, TCPIPAddress& address) {
    return archive >> address._address >> address._adapterAddress >> address._adapterName;
}

CArchive& operator<<(CArchive& archive, const TCPIPAddress& address) {
    return archive << address._address << address._adapterAddress << address._adapterName;
}
