#pragma once

#include <ostra/export.h>
#include <platform/framework/CObject.h>

#include <string>

/// One kind of resource that a group made from a template consists of, such as "Physical Disk".
class OSTRA_API ExpertWizardComponent : public CObject {
public:
    ExpertWizardComponent();
    explicit ExpertWizardComponent(const std::wstring& name);
    ExpertWizardComponent(const ExpertWizardComponent& other);
    ~ExpertWizardComponent() override;

    std::wstring Name() const { return _name; }

    /// Writes the name to standard output.
    void Info() const;

private:
    std::wstring _name;
};
