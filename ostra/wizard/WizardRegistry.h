#pragma once

#include <ostra/export.h>
#include <ostra/registry/Registry.h>
#include <platform/base/registry_types.h>

#include <string>

/// Writes the default wizard tree into the local registry: group templates, dependency templates, sample address pools
/// and the scheduler's key. For a machine that has none yet; where there is one, the default keys and values are
/// written over it and nothing is deleted. One thread at a time.
class OSTRA_API WizardRegistry : public Registry {
public:
    /// Nothing is opened or written yet; the argument is not used.
    explicit WizardRegistry(const std::wstring& unused);

    /// Writes the whole tree, with progress lines on standard output. What cannot be made is left out, and nothing is
    /// rolled back; `Failures` tells whether there was any, the last error why. Some 200 changes of the registry, each
    /// of which waits for the disk and for other writers: within `platform::TransactRegistry` they are one.
    void Create();

    /// How many keys and values the last Create could not make; 0 when the tree is whole.
    int Failures() const { return _failures; }

private:
    using Key = platform::SharedHandle<HKEY, RegCloseKey>;
    struct Template;

    void BuildFileShareRegistry();
    void BuildIIServiceRegistry();
    void BuildMarlinRegistry();
    void BuildPrintSpoolerRegistry();
    void BuildIPStack(HKEY stackKey);
    void BuildDependencies(HKEY dependenciesKey);

    void BuildTemplate(const Template& description);
    /// Creates or opens a subkey; nothing when it cannot be.
    Key MakeKey(HKEY parent, const std::wstring& name);
    void WriteValue(HKEY key, const std::wstring& name, const std::wstring& data, DWORD type = REG_SZ);

    Key _productKey;
    Key _expertWizardKey;
    Key _groupsKey;

    int _failures = 0;
};
