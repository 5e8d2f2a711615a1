#include <ostra/wizard/ExpertWizardComponent.h>

#include <platform/base/output.h>

ExpertWizardComponent::ExpertWizardComponent() = default;

ExpertWizardComponent::ExpertWizardComponent(const std::wstring& name) : _name(name) {}

ExpertWizardComponent::ExpertWizardComponent(const ExpertWizardComponent& other) = default;

ExpertWizardComponent::~ExpertWizardComponent() = default;

void ExpertWizardComponent::Info() const {
    platform::WriteOutputLine(L"_name:" + _name);
}
