#include <ostra/wizard/ExpertWizard.h>

#include <ostra/foundation/display.h>
#include <ostra/registry/Registry.h>
#include <platform/base/format.h>
#include <platform/base/output.h>

#include <algorithm>
#include <new>

ExpertWizard::ExpertWizard(const std::wstring& path)
    : _eventViewer(L"Ostra", NTEventViewer::Error, L""),
      _registry(new (std::nothrow) Registry(path, L"")),
      _path(path) {
    if (!_registry) {
        DisplayFailure(_error, L"ExpertWizard::ExpertWizard( ). Failure constructing Registry.");
        return;
    }
    platform::ViewRegistry([this] {
        if (_registry->Open(nullptr, 1)) Initialize();
    });
}

ExpertWizard::~ExpertWizard() = default;

int ExpertWizard::Initialize() {
    _valid = 0;
    platform::ViewRegistry([this] {
        _numberOfGroups = _registry ? _registry->GetChildren(nullptr) : 0;
        if (_numberOfGroups > 0 && GetGUIPages() > 0) _valid = 1;
    });
    return _valid;
}

int ExpertWizard::GetGUIPages() {
    if (!_registry) return 0;
    int count = 0;
    for (const std::wstring& name : _registry->SubKeys()) {
        _pages.push_back(std::make_unique<ExpertWizardGUIPage>(name, _path + name));
        ++count;
    }
    return count;
}

const ExpertWizardGUIPage* ExpertWizard::GetPage(const std::wstring& templateName) const {
    // A second reading leaves newer pages behind the first ones, so the last one counts.
    const auto newest =
        std::find_if(_pages.rbegin(), _pages.rend(), [&](const auto& page) { return page->Name() == templateName; });
    return newest == _pages.rend() ? nullptr : newest->get();
}

int ExpertWizard::IsValidExpertGroupType(const std::wstring& templateName) const {
    return GetPage(templateName) ? 1 : 0;
}

int ExpertWizard::GetExpertGroupNames() {
    platform::WriteOutput(L"ExpertWizard::GetExpertGroupNames( ). On entry. \n");
    if (!_registry) return 0;
    const StringArray& names = _registry->SubKeys();
    for (const std::wstring& name : names) {
        platform::WriteOutput(
            platform::Format(L" ExpertWizard::GetExpertGroupNames( ). entry read:%ws\n", name.c_str()));
    }
    return static_cast<int>(names.size());
}

void ExpertWizard::Info() const {
    platform::WriteOutputLine(L"Pages( Groups ) in the Expert Wizard.");
}
