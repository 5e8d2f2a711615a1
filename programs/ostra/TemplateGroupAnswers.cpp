#include <programs/ostra/TemplateGroupAnswers.h>
#include <programs/support/Settings.h>

#include <platform/base/text.h>
#include <programs/support/Templates.h>

#include <algorithm>
#include <limits>

using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

bool Is(const ExpertWizardGUIControl& control, const TemplateField& field) {
    return control.Owner() == field.owner && control.RegistryName() == field.parameter;
}

// A disk may be named by its drive as well, whose signature is looked up later.
std::string FaultOf(const ExpertWizardGUIControl& control, const std::string& value) {
    const bool isNumber = ParseNumber(value, std::numeric_limits<DWORD>::max()).has_value();
    if (control.DataFormat() != L"REG_DWORD" || isNumber || Is(control, diskField)) return {};
    return "\"" + value + "\" is no number from 0 to 4294967295, for \"" + ToUtf8(control.PromptText()) + "\"";
}

std::string HintOf(const ExpertWizardGUIControl& control) {
    if (Is(control, diskField)) return " [the first that is available]";
    if (Is(control, networkField)) return " [the first for clients]";
    if (Is(control, maskField)) return " [that of the network]";
    if (Is(control, addressField)) return " [the next of the network's pool]";
    if (Is(control, nameField)) return " [the group's name]";
    return {};
}

[[noreturn]] void Misuse(const std::string& text) {
    throw CommandError(ExitCode::Usage, text);
}

}  // namespace

TemplateGroupAnswers::TemplateGroupAnswers(const ExpertWizardGUIPage& page)
    : _page(page), _answers(page.Controls().size()) {}

void TemplateGroupAnswers::Answer(const std::string& setting) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0)
        Misuse("\"" + setting + "\" is no answer: write \"PROMPT=VALUE\". " + Choice());
    const std::size_t index = IndexOf(setting.substr(0, equals));
    const ExpertWizardGUIControl& control = *_page.Controls()[index];
    const std::string value = setting.substr(equals + 1);
    if (_answers[index]) Misuse('"' + ToUtf8(control.PromptText()) + "\" is answered twice");
    if (const std::string fault = FaultOf(control, value); !fault.empty()) Misuse(fault);
    _answers[index] = FromUtf8(value);
}

void TemplateGroupAnswers::AnswerByOption(const TemplateField& field, const std::string& value,
                                          const std::string& option) {
    if (value.empty()) return;
    const std::optional<std::size_t> index = IndexOf(field);
    if (!index) Misuse("Template " + ToUtf8(_page.Name()) + " does not ask for what " + option + " gives. " + Choice());
    if (_answers[*index])
        Misuse(option + " and --set both answer \"" + ToUtf8(_page.Controls()[*index]->PromptText()) + "\"");
    _answers[*index] = FromUtf8(value);
}

void TemplateGroupAnswers::Ask(Context& context) {
    const Streams& streams = context.Channels();
    TextWriter writer(streams.err, false);
    writer.Line(ToUtf8(_page.Name()) + ": an empty line takes the default.");
    for (std::size_t i = 0; i < _answers.size() && streams.in; ++i) {
        const ExpertWizardGUIControl& control = *_page.Controls()[i];
        std::string prompt = ToUtf8(control.PromptText());
        if (prompt.ends_with(':')) prompt.pop_back();
        while (!_answers[i]) {
            writer.Write(prompt + HintOf(control) + ": ");
            streams.err.flush();
            std::string line;
            if (!std::getline(streams.in, line) || line.empty()) break;
            const std::string fault = FaultOf(control, line);
            if (fault.empty())
                _answers[i] = FromUtf8(line);
            else
                writer.Line(fault);
        }
    }
}

bool TemplateGroupAnswers::Asks(const TemplateField& field) const {
    return IndexOf(field).has_value();
}

std::optional<std::wstring> TemplateGroupAnswers::Find(const TemplateField& field) const {
    const std::optional<std::size_t> index = IndexOf(field);
    return index ? _answers[*index] : std::nullopt;
}

void TemplateGroupAnswers::Replace(const TemplateField& field, const std::wstring& value) {
    if (const std::optional<std::size_t> index = IndexOf(field)) _answers[*index] = value;
}

void TemplateGroupAnswers::Complete(const TemplateField& field, const std::wstring& value) {
    if (!Find(field)) Replace(field, value);
}

// The library's own lists have a fixed place for a few owners, which is not the place of the kind in every template:
// here each kind gets what names it as its owner. The signature comes last, where the library looks for it.
std::vector<Setting> TemplateGroupAnswers::Of(const std::wstring& kind) const {
    std::vector<Setting> settings;
    for (std::size_t i = 0; i < _answers.size(); ++i) {
        const ExpertWizardGUIControl& control = *_page.Controls()[i];
        if (control.Owner() != kind || !_answers[i]) continue;
        settings.push_back({control.RegistryName(), control.DataFormat(), *_answers[i],
                            control.RegistryName() + L"=" + control.DataFormat() + L":" + *_answers[i]});
    }
    std::stable_partition(settings.begin(), settings.end(), [&](const Setting& setting) {
        return kind != diskField.owner || setting.name != diskField.parameter;
    });
    return settings;
}

std::size_t TemplateGroupAnswers::IndexOf(const std::string& name) const {
    const std::wstring wanted = FromUtf8(name);
    const Controls& controls = _page.Controls();
    for (const bool isByPrompt : {true, false}) {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < controls.size(); ++i)
            if (isByPrompt ? IsSamePrompt(controls[i]->PromptText(), wanted)
                           : platform::EqualIgnoringCase(controls[i]->RegistryName(), wanted))
                found.push_back(i);
        if (found.size() == 1) return found.front();
        if (found.size() > 1) Misuse("\"" + name + "\" is ambiguous in this template. " + Choice());
    }
    Misuse("Template " + ToUtf8(_page.Name()) + " does not ask for \"" + name + "\". " + Choice());
}

std::optional<std::size_t> TemplateGroupAnswers::IndexOf(const TemplateField& field) const {
    const Controls& controls = _page.Controls();
    const auto found =
        std::find_if(controls.begin(), controls.end(), [&](const auto& control) { return Is(*control, field); });
    if (found == controls.end()) return std::nullopt;
    return static_cast<std::size_t>(found - controls.begin());
}

std::string TemplateGroupAnswers::Choice() const {
    std::string choice;
    for (const auto& control : _page.Controls())
        choice += (choice.empty() ? "It asks for: \"" : ", \"") + ToUtf8(control->PromptText()) + "\" (" +
                  ToUtf8(control->RegistryName()) + ")";
    return choice.empty() ? "It asks for nothing." : choice;
}

}  // namespace programs
