#pragma once

#include <programs/support/Context.h>

#include <string>
#include <vector>

namespace programs {

/// An input field of a template: what it asks for, and which parameter of which kind of resource the answer becomes.
struct TemplateControl {
    std::wstring prompt;
    std::wstring owner;
    std::wstring parameter;
    std::wstring format;
};

/// A group template as somebody wrote it.
struct TemplateFile {
    std::wstring name;
    StringArray kinds;
    std::vector<TemplateControl> controls;
};

/// Reads {"name": TEXT, "kinds": [TEXT...], "controls": [{"prompt", "owner", "parameter", "format"}...]}. Ends the
/// command with everything that is wrong with it, so that a group made from a template that passed is what its author
/// meant: known kinds, each once, in an order in which what is depended on comes first; a known owner and format for
/// each control, and prompts and parameters that can be told apart.
TemplateFile CheckTemplate(Context& context, const Json& document);

}  // namespace programs
