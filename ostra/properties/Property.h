#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/types.h>
#include <platform/cluster/control_codes.h>
#include <platform/framework/CObject.h>

#include <string>
#include <string_view>

/// One named value of a cluster object: a number or a text, and in both cases its text form. It never changes, so that
/// any number of threads may read it.
class OSTRA_API Property : public CObject {
public:
    /// No name, no value, format 0.
    Property() = default;
    /// A text; as a number it is 0.
    Property(std::wstring name, std::wstring value, CLUSTER_PROPERTY_FORMAT format);
    /// A number; as a text it is the signed decimal form.
    Property(std::wstring name, DWORD value, CLUSTER_PROPERTY_FORMAT format);

    const std::wstring& Name() const { return _name; }
    const std::wstring& Value() const { return _valueInString; }
    DWORD ValueInDWORD() const { return _valueInDWORD; }
    CLUSTER_PROPERTY_FORMAT Format() const { return _format; }

    /// Lists the fields on standard output.
    void Info() const;

private:
    static constexpr std::wstring_view eventSource = L"Ostra::Property";

    std::wstring _name;
    CLUSTER_PROPERTY_FORMAT _format = CLUSPROP_FORMAT_UNKNOWN;
    OstraError _error;
    NTEventViewer _eventViewer{eventSource, NTEventViewer::Error, {}};
    std::wstring _valueInString;
    DWORD _valueInDWORD = 0;
};
