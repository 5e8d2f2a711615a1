#include <ostra/wizard/ExpertWizardGUIPage.h>

#include <ostra/foundation/display.h>
#include <ostra/registry/Registry.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/text.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace error = platform::error;

namespace {

struct OwnerList {
    const wchar_t* owner;
    std::size_t list;
};

// No group has both a print spooler and a virtual root, so the two share a list.
constexpr OwnerList ownerLists[] = {
    {L"Physical Disk", 0}, {L"IP Address", 1},    {L"Network Name", 2},
    {L"File Share", 3},    {L"Print Spooler", 4}, {L"IIS Virtual Root", 4},
};

std::wstring ParameterOf(const ExpertWizardGUIControl& control) {
    return control.RegistryName() + L"=" + control.DataFormat() + L":" + control.Value();
}

}  // namespace

ExpertWizardGUIPage::ExpertWizardGUIPage() : _eventViewer(L"Ostra", NTEventViewer::Error, L"") {}

ExpertWizardGUIPage::ExpertWizardGUIPage(const std::wstring& name, const std::wstring& path)
    : _eventViewer(L"Ostra", NTEventViewer::Error, L""), _name(name), _path(path) {
    const std::wstring controlsPath = _path + L"\\GUI\\";
    Registry registry(controlsPath, L"");
    if (!registry.Open(nullptr, 1)) {
        platform::WriteOutput(platform::Format(
            L"ExpertWizardGUIPage::ExpertWizardGUIPage( ). Failure opening registry key: %ws\n", _path.c_str()));
        _isWhole = false;
        return;
    }
    for (const std::wstring& number : registry.SubKeys()) {
        _controlIndex.push_back(platform::ParseDecimal(number));
        ReadControl(controlsPath + number + L"\\");
    }
    GetComponents();
}

ExpertWizardGUIPage::ExpertWizardGUIPage(const ExpertWizardGUIPage& other)
    : CObject(other),
      _eventViewer(other._eventViewer),
      _error(other._error),
      _name(other._name),
      _path(other._path),
      _controlIndex(other._controlIndex),
      _isWhole(other._isWhole) {
    for (const auto& control : other._controls) _controls.push_back(std::make_unique<ExpertWizardGUIControl>(*control));
    for (const auto& component : other._components)
        _components.push_back(std::make_unique<ExpertWizardComponent>(*component));
}

ExpertWizardGUIPage::~ExpertWizardGUIPage() = default;

int ExpertWizardGUIPage::GetComponents() {
    const std::wstring path = _path + L"\\Components\\";
    Registry registry(path, L"");
    const HKEY key = registry.Open(nullptr, 1);
    if (!key) {
        DisplayFailure(_error, L"ExpertwizardGUIPage::GetComponents( ). Failure opening registry path " + path);
        _isWhole = false;
        return 0;
    }
    const std::wstring names = ReadText(registry, L"Names", key);
    int count = 0;
    for (std::size_t begin = 0, end = 0; end != std::wstring::npos; begin = end + 1, ++count) {
        end = names.find(L',', begin);
        _components.push_back(std::make_unique<ExpertWizardComponent>(names.substr(begin, end - begin)));
    }
    return count;
}

void ExpertWizardGUIPage::Add(ExpertWizardGUIControl* control) {
    if (control) _controls.emplace_back(control);
}

ExpertWizardGUIControl* ExpertWizardGUIPage::GetControl(const std::wstring& promptText) const {
    platform::WriteOutput(platform::Format(L"Number of controls on page %ws:%d\n", _name.c_str(), NumberOfControls()));
    for (const auto& control : _controls)
        if (control->PromptText() == promptText) return control.get();
    return nullptr;
}

void ExpertWizardGUIPage::SetValue(const std::wstring& promptText, const std::wstring& value) {
    if (ExpertWizardGUIControl* const control = GetControl(promptText)) {
        control->SetValue(value);
    } else {
        _eventViewer << L"ExpertWizardGUIPage::SetValue( ). Failure finding control " + promptText;
        SetLastError(error::FileNotFound);
    }
}

int ExpertWizardGUIPage::GetValues(StringArray* values) const {
    if (!values) return 0;
    for (const auto& control : _controls) values->push_back(control->Value());
    return static_cast<int>(values->size());
}

int ExpertWizardGUIPage::GetParameters(const std::vector<StringArray*>& lists) const {
    for (const auto& control : _controls) {
        const auto* const known = std::ranges::find_if(
            ownerLists, [&](const OwnerList& candidate) { return control->Owner() == candidate.owner; });
        if (known == std::end(ownerLists)) {
            _eventViewer << L"ExpertWizardGUIPage::GetParameters( ). Invalid control owner." + control->Owner();
            SetLastError(error::InvalidParameter);
        } else if (known->list < lists.size() && lists[known->list]) {
            lists[known->list]->push_back(ParameterOf(*control));
        }
    }
    return 0;
}

void ExpertWizardGUIPage::Info() const {
    platform::WriteOutput(platform::Format(L"Number of controls on page %ws:%d\n", _name.c_str(), NumberOfControls()));
    for (const auto& control : _controls) control->Info();
}

void ExpertWizardGUIPage::ReadControl(const std::wstring& path) {
    Registry registry(path, L"");
    const HKEY key = registry.Open(nullptr, 1);
    if (!key) {
        DisplayFailure(_error, L"ExpertwizardGUIPage::ExpertwizardGUIPage( ). Failure opening registry path " + path);
        _isWhole = false;
        return;
    }
    const std::wstring prompt = ReadText(registry, L"Prompt", key);
    const std::wstring registryName = ReadText(registry, L"Registry Name", key);
    const std::wstring dataFormat = ReadText(registry, L"Data Format", key);
    const std::wstring owner = ReadText(registry, L"Owner", key);
    _controls.push_back(
        std::make_unique<ExpertWizardGUIControl>(prompt, owner, registryName, dataFormat, L"", L"CEditCtrl"));
}

std::wstring ExpertWizardGUIPage::ReadText(Registry& registry, const wchar_t* name, HKEY key) {
    const DWORD before = GetLastError();
    SetLastError(error::Success);
    std::wstring text = registry.GetValue(name, key);
    const DWORD code = GetLastError();
    if (code == error::Success || code == error::FileNotFound)
        SetLastError(before);
    else
        _isWhole = false;
    return text;
}
