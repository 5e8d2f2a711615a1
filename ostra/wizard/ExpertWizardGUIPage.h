#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <ostra/wizard/ExpertWizardComponent.h>
#include <ostra/wizard/ExpertWizardGUIControl.h>
#include <platform/base/types.h>
#include <platform/framework/CObject.h>

#include <memory>
#include <string>
#include <vector>

class Registry;

/// One group template: the input fields that a wizard shows for it, and the kinds of resource that a group made from it
/// consists of. Read once, at construction, which blocks as long as the registry does; what cannot be read is left out,
/// and its code is the thread's last error. Owns its controls and components, which live as long as it does. One thread
/// at a time.
class OSTRA_API ExpertWizardGUIPage : public CObject {
public:
    using ControlArray = std::vector<std::unique_ptr<ExpertWizardGUIControl>>;
    using ComponentArray = std::vector<std::unique_ptr<ExpertWizardComponent>>;

    /// An empty page.
    ExpertWizardGUIPage();
    /// Reads the template whose registry key is `path`, without a backslash at its end.
    ExpertWizardGUIPage(const std::wstring& name, const std::wstring& path);
    /// A page with controls and components of its own, and the values entered so far.
    ExpertWizardGUIPage(const ExpertWizardGUIPage& other);
    ~ExpertWizardGUIPage() override;

    /// Reads the template's list of kinds and appends a component for each; their number.
    int GetComponents();

    /// Appends a control, which the page deletes from then on. Null is not added.
    void Add(ExpertWizardGUIControl* control);

    /// The first control with exactly that prompt, or null; the page's.
    ExpertWizardGUIControl* GetControl(const std::wstring& promptText) const;

    /// Enters a value. A prompt that no control has is reported in the event log; last error 2.
    void SetValue(const std::wstring& promptText, const std::wstring& value);

    /// Appends each control's value, in control order; the size of the array then.
    int GetValues(StringArray* values) const;

    /// Appends each control's parameter string (name "=" type keyword ":" value), in control order, to the list of the
    /// control's owner: 0 "Physical Disk", 1 "IP Address", 2 "Network Name", 3 "File Share", 4 "Print Spooler" and "IIS
    /// Virtual Root". Any other owner is reported in the event log, last error 87; a list that is null or not there
    /// gets nothing. Always 0.
    int GetParameters(const std::vector<StringArray*>& lists) const;

    const std::wstring& Name() const { return _name; }
    const ControlArray& Controls() const { return _controls; }
    /// In the order in which a group's resources are created.
    const ComponentArray& Components() const { return _components; }
    /// The numbers of the control keys, in enumeration order, also of those that could not be read; 0 for a key that
    /// does not begin with a number.
    const std::vector<DWORD>& ControlIndex() const { return _controlIndex; }
    int NumberOfControls() const { return static_cast<int>(_controls.size()); }
    int NumberOfComponents() const { return static_cast<int>(_components.size()); }

    /// Writes the controls to standard output.
    void Info() const;

private:
    friend class ExpertWizard;

    void ReadControl(const std::wstring& path);
    /// A value that is not there is an empty text.
    std::wstring ReadText(Registry& registry, const wchar_t* name, HKEY key);
    /// Whether nothing failed while the template was read.
    bool IsWhole() const { return _isWhole; }

    NTEventViewer _eventViewer;
    OstraError _error;
    std::wstring _name;
    std::wstring _path;
    ControlArray _controls;
    ComponentArray _components;
    std::vector<DWORD> _controlIndex;

    bool _isWhole = true;
};
