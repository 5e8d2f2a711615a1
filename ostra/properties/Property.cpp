#include <ostra/properties/Property.h>

#include <platform/base/format.h>
#include <platform/base/output.h>

Property::Property() : Property({}, {}, CLUSPROP_FORMAT_UNKNOWN) {}

Property::Property(const std::wstring& name, const std::wstring& value, CLUSTER_PROPERTY_FORMAT format)
    : _name(name),
      _format(format),
      _eventViewer(L"Ostra::Property", NTEventViewer::Error, L""),
      _valueInString(value) {}

Property::Property(const std::wstring& name, DWORD value, CLUSTER_PROPERTY_FORMAT format)
    : Property(name, platform::Format(L"%d", value), format) {
    _valueInDWORD = value;
}

void Property::Info() const {
    platform::WriteOutput(L"Property::Info( void ). On entry.\n");
    platform::WriteOutput(platform::Format(L"_name           : %ws\n", _name.c_str()));
    platform::WriteOutput(platform::Format(L"_valueInString  : %ws\n", _valueInString.c_str()));
    platform::WriteOutput(platform::Format(L"_valueInDWORD   : %d\n", _valueInDWORD));
    platform::WriteOutput(platform::Format(L"_format         : %d\n", static_cast<DWORD>(_format)));
}
