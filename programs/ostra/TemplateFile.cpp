#include <programs/ostra/TemplateFile.h>

#include <ostra/wizard/ResourceDependency.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/cluster_api.h>
#include <programs/support/Json.h>
#include <programs/support/Templates.h>

#include <algorithm>
#include <set>

using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

constexpr std::size_t longestText = 255;  // characters of a key's name, and enough for every other text
constexpr std::size_t mostControls = 999;
constexpr wchar_t diskKind[] = L"Physical Disk";

bool Holds(const StringArray& names, const std::wstring& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// A cluster may know more kinds than the library; there need not be one.
StringArray KnownKinds(const Context& context) {
    StringArray kinds{L"File Share",  L"Generic Application", L"Generic Service", L"IIS Virtual Root",
                      L"IP Address",  L"Network Name",        diskKind,           L"Print Spooler",
                      L"Time Service"};
    std::shared_ptr<platform::ClusterService> service;
    std::unique_ptr<platform::ClusterEnumeration> types;
    if (platform::ClusterDirectory::Resolve(FromUtf8(context.options.cluster), service) ||
        service->Enumerate(CLUSTER_ENUM_RESTYPE, types))
        return kinds;
    DWORD type = 0;
    std::wstring name;
    for (DWORD index = 0; !types->Item(index, type, name); ++index)
        if (!Holds(kinds, name)) kinds.push_back(name);
    return kinds;
}

std::string Quoted(const std::wstring& text) {
    return '"' + ToUtf8(text) + '"';
}

std::string List(const StringArray& names) {
    std::string list;
    for (const std::wstring& name : names) list += (list.empty() ? "" : ", ") + ToUtf8(name);
    return list;
}

/// Goes through the whole document and keeps what is wrong, to be told at once.
class Checker {
public:
    explicit Checker(const Context& context) : _knownKinds(KnownKinds(context)) {}

    TemplateFile Check(const Json& document) {
        if (!document.is_object()) {
            Fault("it is no object with \"name\", \"kinds\" and \"controls\"");
        } else {
            RefuseOthers(document, {"name", "kinds", "controls"}, "the template");
            CheckName(document);
            CheckKinds(document);
            CheckOrder();
            CheckControls(document);
        }
        if (_faults.empty()) return _template;
        std::string text = "This is no group template:";
        for (const std::string& fault : _faults) text += " " + fault + ";";
        text.back() = '.';
        throw CommandError(ExitCode::Refused, text + " Nothing was written.");
    }

private:
    void Fault(const std::string& text) { _faults.push_back(text); }

    void RefuseOthers(const Json& object, const std::set<std::string>& known, const std::string& where) {
        for (const auto& [name, value] : object.items())
            if (!known.contains(name)) Fault(where + " has an unknown member \"" + name + "\"");
    }

    std::wstring Text(const Json& object, const char* member, const std::string& where) {
        const auto found = object.find(member);
        const std::string what = where + " has no text \"" + member + "\"";
        if (found == object.end() || !found->is_string()) {
            Fault(what);
            return {};
        }
        return Proper(FromUtf8(found->get<std::string>()), what);
    }

    std::wstring Proper(const std::wstring& text, const std::string& whenEmpty) {
        if (text.empty()) Fault(whenEmpty);
        if (std::any_of(text.begin(), text.end(), platform::IsControl)) Fault(Quoted(text) + " has control characters");
        if (text.size() > longestText)
            Fault(Quoted(text.substr(0, 20)) + "... has more than " + std::to_string(longestText) + " characters");
        return text;
    }

    // A number in parentheses in a resource's name is the group's index, so a template's name has to have none.
    void CheckName(const Json& document) {
        _template.name = Text(document, "name", "the template");
        if (_template.name.find_first_of(L"\\()") != std::wstring::npos)
            Fault("the name " + Quoted(_template.name) + " has a backslash or a parenthesis");
        if (_template.name.starts_with(L' ') || _template.name.ends_with(L' '))
            Fault("the name " + Quoted(_template.name) + " begins or ends with a blank");
    }

    void CheckKinds(const Json& document) {
        const auto kinds = document.find("kinds");
        if (kinds == document.end() || !kinds->is_array() || kinds->empty())
            return Fault("\"kinds\" is no list of kinds of resource");
        for (const Json& item : *kinds) {
            const std::wstring kind = item.is_string() ? FromUtf8(item.get<std::string>()) : std::wstring();
            if (!Holds(_knownKinds, kind))
                Fault((item.is_string() ? Quoted(kind) : item.dump(-1, ' ', false, Json::error_handler_t::replace)) +
                      " is no kind of resource, known are " + List(_knownKinds));
            else if (kind.find(L',') != std::wstring::npos)
                Fault("the kind " + Quoted(kind) + " has a comma");
            else if (Holds(_template.kinds, kind))
                Fault("the kind " + Quoted(kind) + " comes twice");
            _template.kinds.push_back(kind);
        }
    }

    // A resource depends only on resources that were made before it; and whatever needs to know the disk finds it in
    // the parameters of the first kind.
    void CheckOrder() {
        for (auto kind = _template.kinds.begin(); kind != _template.kinds.end(); ++kind) {
            const ResourceDependency needed(*kind);
            for (auto later = kind + 1; later != _template.kinds.end(); ++later)
                if (needed.IsDependent(*later))
                    Fault(Quoted(*kind) + " depends on " + Quoted(*later) + ", which has to come before it");
            if (*kind == diskKind && kind != _template.kinds.begin())
                Fault(Quoted(*kind) + " has to come first of all");
        }
    }

    void CheckControls(const Json& document) {
        const auto controls = document.find("controls");
        if (controls == document.end() || !controls->is_array()) return Fault("\"controls\" is no list of controls");
        if (controls->size() > mostControls)
            return Fault("there are more than " + std::to_string(mostControls) + " controls");
        for (const Json& control : *controls) {
            const std::string where = "control " + std::to_string(_template.controls.size() + 1);
            if (control.is_object())
                CheckControl(control, where);
            else
                Fault(where + " is no object");
        }
    }

    void CheckControl(const Json& object, const std::string& where) {
        RefuseOthers(object, {"prompt", "owner", "parameter", "format"}, where);
        const TemplateControl control{Text(object, "prompt", where), Text(object, "owner", where),
                                      Text(object, "parameter", where), Text(object, "format", where)};
        if (control.prompt.find(L'=') != std::wstring::npos) Fault(where + ": the prompt has a \"=\"");
        if (control.parameter.find_first_of(L"=:\\") != std::wstring::npos)
            Fault(where + ": the parameter has a \"=\", a \":\" or a backslash");
        if (!control.owner.empty() && !Holds(_template.kinds, control.owner))
            Fault(where + ": the owner " + Quoted(control.owner) + " is none of the template's kinds");
        if (!control.format.empty() && control.format != L"REG_SZ" && control.format != L"REG_DWORD")
            Fault(where + ": the format " + Quoted(control.format) + " is neither REG_SZ nor REG_DWORD");
        CheckDistinct(control, where);
        _template.controls.push_back(control);
    }

    void CheckDistinct(const TemplateControl& control, const std::string& where) {
        for (const TemplateControl& other : _template.controls) {
            if (!control.prompt.empty() && IsSamePrompt(control.prompt, other.prompt))
                Fault(where + ": the prompt " + Quoted(control.prompt) + " comes twice");
            if (!control.parameter.empty() && control.owner == other.owner &&
                platform::EqualIgnoringCase(control.parameter, other.parameter))
                Fault(where + ": the parameter " + Quoted(control.parameter) + " of " + Quoted(control.owner) +
                      " comes twice");
        }
    }

    StringArray _knownKinds;
    TemplateFile _template;
    std::vector<std::string> _faults;
};

}  // namespace

TemplateFile CheckTemplate(Context& context, const Json& document) {
    return Checker(context).Check(document);
}

}  // namespace programs
