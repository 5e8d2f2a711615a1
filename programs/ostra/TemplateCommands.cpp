#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <programs/ostra/Command.h>
#include <programs/ostra/TemplateFile.h>
#include <programs/support/Change.h>
#include <programs/support/KeyTree.h>
#include <programs/support/Templates.h>

#include <filesystem>
#include <fstream>

namespace error = platform::error;
using platform::ToUtf8;

namespace programs {

namespace {

constexpr std::size_t largestFile = std::size_t{1} << 20;

Json Rows() {
    const auto wizard = ReadTemplates();
    Json rows = Json::array();
    for (const auto& page : wizard->Pages()) {
        const Json description = Describe(*page);
        Json prompts = Json::array();
        for (const Json& control : description["controls"]) prompts.push_back(control["prompt"]);
        rows.push_back({{"name", description["name"]}, {"kinds", description["kinds"]}, {"prompts", prompts}});
    }
    return rows;
}

void PrintTemplates(Context& context, const Json& rows) {
    if (rows.empty()) context.Say("There is no template yet. Write the default ones with: ostra setup");
    if (!rows.empty() || context.options.isJson) context.PrintList({{"name", "NAME"}, {"kinds", "RESOURCES"}}, rows);
}

void ListTemplates(Context& context) {
    PrintTemplates(context, Rows());
}

Json Described(const std::string& name) {
    return Describe(FindTemplate(*ReadTemplates(), name));
}

void PrintTemplate(Context& context, const Json& description) {
    if (context.options.isJson) return context.PrintJson(description);
    context.PrintRecord({{"name", description["name"]}, {"resources", description["kinds"]}});
    context.Say("");
    context.PrintList({{"prompt", "PROMPT"}, {"owner", "RESOURCE"}, {"parameter", "PARAMETER"}, {"format", "FORMAT"}},
                      description["controls"]);
}

void ShowTemplate(Context& context, const std::string& name) {
    PrintTemplate(context, Described(name));
}

void ExportTemplate(Context& context, const std::string& name) {
    context.PrintJson(Described(name));
}

std::string ReadAll(std::istream& stream, const std::string& name) {
    std::string text(largestFile + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (stream.bad() || text.size() > largestFile)
        throw CommandError(ExitCode::Refused, "\"" + name + "\" cannot be read, or has more than a megabyte");
    return text;
}

Json ReadDocument(Context& context, const std::string& name) {
    std::string text;
    if (name == "-") {
        text = ReadAll(context.Channels().in, name);
    } else {
        std::error_code ignored;
        if (!std::filesystem::is_regular_file(name, ignored) && std::filesystem::exists(name, ignored))
            throw CommandError(ExitCode::Refused, "\"" + name + "\" is no regular file. Use - for standard input.");
        std::ifstream file(name, std::ios::binary);
        if (!file) throw CommandError(ExitCode::NoSuchObject, "There is no file \"" + name + "\" that can be read");
        text = ReadAll(file, name);
    }
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& problem) {
        throw CommandError(ExitCode::Refused, "\"" + name + "\" is no JSON document: " + problem.what());
    }
}

/// A key of the local registry that is being written.
class WrittenKey {
public:
    WrittenKey(KeyTree& registry, const std::wstring& path, const Change& change)
        : _registry(registry), _change(change) {
        if (const DWORD code = registry.Create(path, _key)) change.Refuse(code, ": key \"" + ToUtf8(path) + "\"");
    }
    WrittenKey(const WrittenKey&) = delete;
    WrittenKey& operator=(const WrittenKey&) = delete;
    ~WrittenKey() { _registry.Close(_key); }

    void Set(const std::wstring& name, const std::wstring& text) {
        if (const DWORD code = _registry.Set(_key, {name, REG_SZ, platform::ToUtf16(text)}))
            _change.Refuse(code, ": value \"" + ToUtf8(name) + "\"");
    }

private:
    KeyTree& _registry;
    const Change& _change;
    HKEY _key = nullptr;
};

// The keys are read in the order of their names, so that numbers need as many digits as the last one.
std::wstring ControlKey(std::size_t number, std::size_t count) {
    const std::wstring digits = std::to_wstring(number);
    const std::size_t width = std::to_wstring(count).size();
    return std::wstring(width - digits.size(), L'0') + digits;
}

void WriteTemplate(KeyTree& registry, const TemplateFile& file, const Change& change) {
    const std::wstring path = templatesKey + (L"\\" + file.name);
    std::wstring names;
    for (const std::wstring& kind : file.kinds) names += (names.empty() ? L"" : L",") + kind;
    WrittenKey(registry, path + L"\\Components", change).Set(L"Names", names);
    WrittenKey(registry, path + L"\\GUI", change);
    for (std::size_t i = 0; i < file.controls.size(); ++i) {
        const TemplateControl& control = file.controls[i];
        WrittenKey key(registry, path + L"\\GUI\\" + ControlKey(i + 1, file.controls.size()), change);
        key.Set(L"Prompt", control.prompt);
        key.Set(L"Value", L"");
        key.Set(L"Owner", control.owner);
        key.Set(L"Registry Name", control.parameter);
        key.Set(L"Data Format", control.format);
    }
}

DWORD RemoveTemplate(KeyTree& registry, const std::wstring& name) {
    if (const DWORD code = DeleteSubkeys(registry, templatesKey + (L"\\" + name))) return code;
    HKEY parent = nullptr;
    if (const DWORD code = registry.Open(templatesKey, KEY_ALL_ACCESS, parent)) return code;
    const DWORD code = registry.DeleteKey(parent, name);
    registry.Close(parent);
    return code;
}

// Key names do not differ by case alone.
bool IsTaken(const std::wstring& name) {
    const auto wizard = ReadTemplates();
    for (const auto& page : wizard->Pages())
        if (platform::EqualIgnoringCase(page->Name(), name)) return true;
    return false;
}

void ImportTemplate(Context& context, const std::string& fileName, bool isForced) {
    const TemplateFile file = CheckTemplate(context, ReadDocument(context, fileName));
    const std::string name = ToUtf8(file.name);
    const Change change(context, "Template " + name, "written", "ostra template show \"" + name + "\"");
    change.MakeInRegistry([&] {
        const std::unique_ptr<KeyTree> registry = LocalRegistry();
        if (IsTaken(file.name)) {
            if (!isForced)
                throw CommandError(ExitCode::AlreadyExists, "There is a template named \"" + name +
                                                                "\" already. Replace it with --force, or export it "
                                                                "first with: ostra template export \"" +
                                                                name + "\"");
            if (const DWORD code = RemoveTemplate(*registry, file.name))
                change.Refuse(code, ": the former one was not deleted");
        }
        WriteTemplate(*registry, file, change);
    });
    Json written;
    change.Report([&] { written = Described(name); });
    PrintTemplate(context, written);
}

void DeleteTemplate(Context& context, const std::string& name) {
    const Change change(context, "Template " + name, "deleted", "ostra template list");
    change.MakeInRegistry([&] {
        const std::wstring exact = FindTemplate(*ReadTemplates(), name).Name();
        if (const DWORD code = RemoveTemplate(*LocalRegistry(), exact)) change.Refuse(code);
    });
    Json left;
    change.Report([&] { left = Rows(); });
    PrintTemplates(context, left);
}

void AddImport(CLI::App& family, Run& run) {
    struct Arguments {
        std::string file;
        bool isForced = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddCommand(
        family, run, "import", "Checks a template in JSON and adds it to this machine's",
        {"template import database.json", "template import - < database.json", "template import own.json --dry-run"},
        Effect::Changes,
        [arguments](Context& context) { ImportTemplate(context, arguments->file, arguments->isForced); });
    AddOption(*command, "FILE", arguments->file, "As \"template export\" writes it; - reads standard input").Required();
    AddFlag(*command, "--force", arguments->isForced, "Replace a template of that name");
}

}  // namespace

void AddTemplateCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "template", "What whole groups are made from");
    AddCommand(*family, run, "list", "Lists the templates of this machine", {"template list"}, Effect::Reads,
               ListTemplates);
    AddNamedCommand(*family, run, "show", "NAME",
                    "Shows a template: its resources in the order of creation, and its prompts",
                    {"template show \"File Share\""}, Effect::Reads, ShowTemplate);
    AddNamedCommand(*family, run, "export", "NAME", "Writes a template in JSON, to be changed and imported",
                    {"template export \"Print Spooler\" > spooler.json"}, Effect::Reads, ExportTemplate);
    AddImport(*family, run);
    AddNamedCommand(*family, run, "delete", "NAME", "Deletes a template; groups made from it stay as they are",
                    {"template delete Marlin"}, Effect::Changes, DeleteTemplate);
}

}  // namespace programs
