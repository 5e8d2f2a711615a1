#include <ostra/wizard/ExpertWizardGUIControl.h>

#include <platform/base/output.h>

ExpertWizardGUIControl::ExpertWizardGUIControl(const std::wstring& promptText, const std::wstring& owner,
                                               const std::wstring& registryName, const std::wstring& dataFormat,
                                               const std::wstring& defaultValue, const std::wstring& typeOfControl)
    : _eventViewer(L"Ostra", NTEventViewer::Error, L""),
      _promptText(promptText),
      _defaultValue(defaultValue),
      _typeOfControl(typeOfControl),
      _value(defaultValue),
      _owner(owner),
      _registryName(registryName),
      _dataFormat(dataFormat) {}

int ExpertWizardGUIControl::SaveData(const std::vector<StringArray*>&) const {
    platform::WriteOutputLine(L"Saving data for control...");
    return 0;
}

void ExpertWizardGUIControl::Info() const {
    platform::WriteOutputLine(L"");
    platform::WriteOutputLine(L"_owner        :" + _owner);
    platform::WriteOutputLine(L"_promptText   :" + _promptText);
    platform::WriteOutputLine(L"_registryName :" + _registryName);
    platform::WriteOutputLine(L"_dataFormat   :" + _dataFormat);
    platform::WriteOutputLine(L"_defaultValue :" + _defaultValue);
    platform::WriteOutputLine(L"_typeOfControl:" + _typeOfControl);
    platform::WriteOutputLine(L"_value        :" + _value);
}
