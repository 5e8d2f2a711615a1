#include <ostra/wizard/ExpertWizard.h>

#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/display.h>
#include <ostra/registry/Registry.h>
#include <ostra/wizard/RegistryCache.h>
#include <ostra/wizard/wizard_root.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <algorithm>

namespace {

using PageArray = std::vector<std::unique_ptr<ExpertWizardGUIPage>>;

PageArray CopyOf(const PageArray& pages) {
    PageArray copies;
    for (const auto& page : pages) copies.push_back(std::make_unique<ExpertWizardGUIPage>(*page));
    return copies;
}

RegistryCache<PageArray>& KnownPages() {
    static auto& known = *new RegistryCache<PageArray>;
    return known;
}

}  // namespace

ExpertWizard::ExpertWizard() : ExpertWizard(WizardPath(L"Groups\\")) {}

ExpertWizard::ExpertWizard(const std::wstring& path)
    : _eventViewer(L"Ostra", NTEventViewer::Error, L""), _registry(MakeOrNull<Registry>(path, L"")), _path(path) {
    if (!_registry) {
        DisplayFailure(_error, L"ExpertWizard::ExpertWizard( ). Failure constructing Registry.");
        SetLastError(platform::error::NotEnoughMemory);
        return;
    }
    platform::ViewRegistry([this] {
        if (TakeKnownPages()) return;
        const DWORD before = GetLastError();
        SetLastError(platform::error::Success);
        if (_registry->Open(nullptr, 1)) ReadTemplates();
        if (GetLastError() != platform::error::Success) return;
        KeepPages();
        SetLastError(before);
    });
}

ExpertWizard::~ExpertWizard() = default;

int ExpertWizard::Initialize() {
    platform::ViewRegistry([this] { ReadTemplates(); });
    return _valid;
}

void ExpertWizard::ReadTemplates() {
    Registry* root = Root();
    _numberOfGroups = root ? root->GetChildren(nullptr) : 0;
    _valid = _numberOfGroups > 0 && GetGUIPages() > 0 ? 1 : 0;
}

bool ExpertWizard::TakeKnownPages() {
    const auto known = KnownPages().Find(_path);
    if (!known) return false;
    _pages = CopyOf(*known);
    _numberOfGroups = NumberOfPages();
    _valid = 1;
    _isRootToBeOpened = true;
    return true;
}

void ExpertWizard::KeepPages() const {
    // What was left out was reported, and has to be each time.
    if (_valid && std::ranges::all_of(_pages, [](const auto& page) { return page->IsWhole(); }))
        KnownPages().Keep(_path, CopyOf(_pages));
}

Registry* ExpertWizard::Root() {
    if (_isRootToBeOpened) _registry->Open(nullptr, 1);
    _isRootToBeOpened = false;
    return _registry.get();
}

int ExpertWizard::GetGUIPages() {
    Registry* root = Root();
    if (!root) return 0;
    const StringArray& names = root->SubKeys();
    for (const std::wstring& name : names) _pages.push_back(std::make_unique<ExpertWizardGUIPage>(name, _path + name));
    return static_cast<int>(names.size());
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
    Registry* root = Root();
    if (!root) return 0;
    const StringArray& names = root->SubKeys();
    for (const std::wstring& name : names) {
        platform::WriteOutput(
            platform::Format(L" ExpertWizard::GetExpertGroupNames( ). entry read:%ws\n", name.c_str()));
    }
    return static_cast<int>(names.size());
}

void ExpertWizard::Info() const {
    platform::WriteOutputLine(L"Pages( Groups ) in the Expert Wizard.");
}
