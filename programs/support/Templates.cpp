#include <programs/support/Templates.h>

#include <platform/base/text.h>
#include <programs/support/Json.h>
#include <programs/support/Objects.h>
#include <programs/support/Reading.h>

using platform::ToUtf8;

namespace programs {

std::unique_ptr<ExpertWizard> ReadTemplates() {
    std::unique_ptr<ExpertWizard> wizard;
    RequireRead("The list of templates", [&] { wizard = std::make_unique<ExpertWizard>(); });
    return wizard;
}

const ExpertWizardGUIPage& FindTemplate(const ExpertWizard& wizard, const std::string& name) {
    const std::wstring wanted = platform::FromUtf8(name);
    const ExpertWizardGUIPage* found = nullptr;
    int alike = 0;
    std::string known;
    for (const auto& page : wizard.Pages()) {
        if (page->Name() == wanted) return *page;
        if (platform::EqualIgnoringCase(page->Name(), wanted)) {
            found = page.get();
            ++alike;
        }
        known += (known.empty() ? "" : ", ") + ToUtf8(page->Name());
    }
    if (alike == 1) return *found;
    throw CommandError(ExitCode::NoSuchObject,
                       "There is no template named \"" + name + "\". " +
                           (known.empty() ? "Write the default ones with: ostra setup" : "Known: " + known));
}

// A template without a list of kinds reads as one kind without a name.
StringArray KindsOf(const ExpertWizardGUIPage& page) {
    StringArray kinds;
    for (const auto& component : page.Components())
        if (!component->Name().empty()) kinds.push_back(component->Name());
    return kinds;
}

bool IsSamePrompt(const std::wstring& one, const std::wstring& other) {
    const auto withoutColon = [](const std::wstring& text) {
        return text.substr(0, text.size() - text.ends_with(L':'));
    };
    return platform::EqualIgnoringCase(withoutColon(one), withoutColon(other));
}

Json Describe(const ExpertWizardGUIPage& page) {
    Json controls = Json::array();
    for (const auto& control : page.Controls())
        controls.push_back({{"prompt", ToUtf8(control->PromptText())},
                            {"owner", ToUtf8(control->Owner())},
                            {"parameter", ToUtf8(control->RegistryName())},
                            {"format", ToUtf8(control->DataFormat())}});
    return {{"name", ToUtf8(page.Name())}, {"kinds", ToJson(KindsOf(page))}, {"controls", controls}};
}

}  // namespace programs
