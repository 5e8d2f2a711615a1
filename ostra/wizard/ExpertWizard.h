#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <ostra/wizard/ExpertWizardGUIPage.h>

#include <memory>
#include <string>
#include <vector>

class Registry;

/// All group templates of the local registry, one page each, read once, at construction, as they stood at one moment.
/// Owns its pages, which live as long as it does. Reading blocks as long as the registry does and leaves the code of
/// what could not be read as the thread's last error; while nothing in the registry has changed since some wizard of
/// this process read them all, they are taken from there. One thread at a time; several wizards are independent.
class OSTRA_API ExpertWizard {
public:
    /// Reads those below "HKEY_LOCAL_MACHINE\SOFTWARE\Norvane\Ostra\ExpertWizard\Groups\".
    ExpertWizard();
    /// Reads the templates below the key at `path`, which ends with a backslash. Without that key there are no pages.
    explicit ExpertWizard(const std::wstring& path);
    virtual ~ExpertWizard();
    ExpertWizard(const ExpertWizard&) = delete;
    ExpertWizard& operator=(const ExpertWizard&) = delete;

    /// Counts the templates anew and reads them once more, behind the pages that are there; then `Valid`.
    int Initialize();

    /// Appends a page for each template, also for one that cannot be read; their number.
    int GetGUIPages();

    /// The page of that template, or null; the wizard's. Names are case-sensitive.
    const ExpertWizardGUIPage* GetPage(const std::wstring& templateName) const;

    /// 1 when there is a page of exactly that name, else 0.
    int IsValidExpertGroupType(const std::wstring& templateName) const;

    /// Writes the names of the templates to standard output; their number.
    int GetExpertGroupNames();

    int NumberOfPages() const { return static_cast<int>(_pages.size()); }
    /// In the order of the registry. Values are entered through these.
    const std::vector<std::unique_ptr<ExpertWizardGUIPage>>& Pages() const { return _pages; }
    /// 1 when the last reading found a template, else 0.
    int Valid() const { return _valid; }
    /// Number of templates in the registry when it was last read.
    int NumberOfGroups() const { return _numberOfGroups; }

    /// Writes a title line to standard output.
    void Info() const;

private:
    void ReadTemplates();
    bool TakeKnownPages();
    void KeepPages() const;
    /// The template root; null when it could not be made.
    Registry* Root();

    NTEventViewer _eventViewer;
    OstraError _error;
    std::unique_ptr<Registry> _registry;
    std::wstring _path;
    int _valid = 0;
    int _numberOfGroups = 0;
    std::vector<std::unique_ptr<ExpertWizardGUIPage>> _pages;

    bool _isRootToBeOpened = false;  // known pages needed none
};
