#pragma once

#include <ostra/wizard/ExpertWizardGUIPage.h>
#include <programs/support/Context.h>
#include <programs/support/Settings.h>

#include <optional>
#include <string>
#include <vector>

namespace programs {

/// Which parameter of which kind of resource an answer becomes.
struct TemplateField {
    const wchar_t* owner;
    const wchar_t* parameter;
};

inline constexpr TemplateField diskField{L"Physical Disk", L"Signature"};
inline constexpr TemplateField networkField{L"IP Address", L"Network"};
inline constexpr TemplateField maskField{L"IP Address", L"SubnetMask"};
inline constexpr TemplateField addressField{L"IP Address", L"Address"};
inline constexpr TemplateField nameField{L"Network Name", L"Name"};

/// The answers to the prompts of one template, which has to live as long. What has no answer is left to the defaults of
/// its kind of resource.
class TemplateGroupAnswers {
public:
    explicit TemplateGroupAnswers(const ExpertWizardGUIPage& page);

    /// Takes "PROMPT=VALUE". The prompt may lack its final colon; a parameter's name serves too when one prompt only
    /// asks for it. Ends the command when it is none of these, or answered already.
    void Answer(const std::string& setting);
    /// Takes what an option gave; nothing when that is empty. Ends the command when the template does not ask for it,
    /// or it is answered already.
    void AnswerByOption(const TemplateField& field, const std::string& value, const std::string& option);
    /// Asks for everything that has no answer yet, until the input ends.
    void Ask(Context& context);

    bool Asks(const TemplateField& field) const;
    std::optional<std::wstring> Find(const TemplateField& field) const;
    /// Answers in place of whatever the answer was; nothing when the template does not ask for it.
    void Replace(const TemplateField& field, const std::wstring& value);
    /// Answers what has no answer yet.
    void Complete(const TemplateField& field, const std::wstring& value);

    /// The answers that this kind of resource gets.
    std::vector<Setting> Of(const std::wstring& kind) const;

private:
    using Controls = ExpertWizardGUIPage::ControlArray;
    std::size_t IndexOf(const std::string& name) const;
    std::optional<std::size_t> IndexOf(const TemplateField& field) const;
    std::string Choice() const;

    const ExpertWizardGUIPage& _page;
    std::vector<std::optional<std::wstring>> _answers;  // of the controls, in their order
};

}  // namespace programs
