#include <ostra/properties/Property.h>

#include <platform/base/format.h>
#include <platform/base/output.h>

#include <charconv>
#include <utility>

namespace {

std::wstring SignedDecimal(DWORD value) {
    char digits[12];
    const char* const end = std::to_chars(std::begin(digits), std::end(digits), static_cast<LONG>(value)).ptr;
    return std::wstring(static_cast<const char*>(digits), end);
}

}  // namespace

Property::Property(std::wstring name, std::wstring value, CLUSTER_PROPERTY_FORMAT format)
    : _name(std::move(name)), _format(format), _valueInString(std::move(value)) {}

Property::Property(std::wstring name, DWORD value, CLUSTER_PROPERTY_FORMAT format)
    : Property(std::move(name), SignedDecimal(value), format) {
    _valueInDWORD = value;
}

void Property::Info() const {
    platform::WriteOutput(L"Property::Info( void ). On entry.\n");
    platform::WriteOutput(platform::Format(L"_name           : %ws\n", _name.c_str()));
    platform::WriteOutput(platform::Format(L"_valueInString  : %ws\n", _valueInString.c_str()));
    platform::WriteOutput(platform::Format(L"_valueInDWORD   : %d\n", _valueInDWORD));
    platform::WriteOutput(platform::Format(L"_format         : %d\n", static_cast<DWORD>(_format)));
}
