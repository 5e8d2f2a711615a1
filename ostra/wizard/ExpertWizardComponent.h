#pragma once

#include <ostra/export.h>
#include <platform/framework/CObject.h>

#include <string>

/// One kind of resource that a group made from a template consists of, such as "Physical Disk". Never changes, so that
/// any thread may read it.
class OSTRA_API ExpertWizardComponent : public CObject {
public:
    ExpertWizardComponent() = default;
    explicit ExpertWizardComponent(const std::wstring& name) : _name(name) {}

    std::wstring Name() const { return _name; }

    /// Writes the name to standard output.
    void Info() const;

private:
    std::wstring _name;
};
