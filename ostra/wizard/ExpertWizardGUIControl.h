#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/types.h>
#include <platform/framework/CObject.h>

#include <string>
#include <vector>

/// One input field of a template's page: what to ask for, and which parameter of which kind of resource the answer
/// becomes. All but the value is fixed at construction; a copy has the attributes and the value. Nothing blocks.
/// References are to the control's own fields. One thread at a time while a value is set.
class OSTRA_API ExpertWizardGUIControl : public CObject {
public:
    /// `owner` is the kind of resource that gets the parameter `registryName`, and `dataFormat` its type keyword
    /// ("REG_SZ" or "REG_DWORD"). The value starts as the default value.
    ExpertWizardGUIControl(const std::wstring& promptText, const std::wstring& owner, const std::wstring& registryName,
                           const std::wstring& dataFormat, const std::wstring& defaultValue,
                           const std::wstring& typeOfControl);

    const std::wstring& PromptText() const { return _promptText; }
    const std::wstring& Owner() const { return _owner; }
    const std::wstring& RegistryName() const { return _registryName; }
    const std::wstring& DataFormat() const { return _dataFormat; }
    const std::wstring& DefaultValue() const { return _defaultValue; }

    std::wstring Value() const { return _value; }
    void SetValue(const std::wstring& value) { _value = value; }

    /// Saves nothing: a trace line on standard output, and 0. `ExpertWizardGUIPage::GetParameters` collects the values.
    int SaveData(const std::vector<StringArray*>& lists) const;

    /// Writes all fields to standard output.
    void Info() const;

private:
    NTEventViewer _eventViewer;
    OstraError _error;
    std::wstring _promptText;
    std::wstring _defaultValue;
    std::wstring _typeOfControl;
    std::wstring _value;
    std::wstring _owner;
    std::wstring _registryName;
    std::wstring _dataFormat;
};
