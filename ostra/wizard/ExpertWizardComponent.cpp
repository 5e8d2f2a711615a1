#include <ostra/wizard/ExpertWizardComponent.h>

#include <platform/base/output.h>

void ExpertWizardComponent::Info() const {
    platform::WriteOutputLine(L"_name:" + _name);
}
