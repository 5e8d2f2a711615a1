#include <platform/base/error_codes.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <programs/ostra/Command.h>
#include <programs/support/Change.h>
#include <programs/support/KeyTree.h>

namespace error = platform::error;
using platform::FromUtf8;
using platform::ToUtf8;

namespace programs {

namespace {

struct Arguments {
    std::string path;
    std::vector<std::string> values;
    bool isClusterDatabase = false;
    bool isRecursive = false;
};

std::unique_ptr<KeyTree> TreeOf(Context& context, const Arguments& arguments) {
    return arguments.isClusterDatabase ? ClusterDatabase(context) : LocalRegistry();
}

std::string PathHint(const Arguments& arguments) {
    return arguments.isClusterDatabase ? "" : " A path begins with a root such as HKEY_LOCAL_MACHINE.";
}

// Key and value names take a final backslash as the published paths have one.
std::wstring PathOf(const Arguments& arguments) {
    std::wstring path = FromUtf8(arguments.path);
    while (!path.empty() && path.back() == L'\\') path.pop_back();
    return path;
}

/// An open key of a tree, closed in the end.
class OpenKey {
public:
    OpenKey(KeyTree& tree, const Arguments& arguments, DWORD access) : _tree(tree) {
        if (const DWORD code = tree.Open(PathOf(arguments), access, _key))
            throw CommandError(ExitCodeOf(code), "Key \"" + arguments.path + "\": " + CauseText(code) +
                                                     (code == error::InvalidParameter ? PathHint(arguments) : ""));
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    ~OpenKey() { _tree.Close(_key); }
    HKEY Get() const { return _key; }

private:
    KeyTree& _tree;
    HKEY _key = nullptr;
};

Json Row(const KeyValue& value) {
    return {
        {"name", ToUtf8(value.name)}, {"kind", "value"}, {"type", TypeName(value.type)}, {"value", ValueText(value)}};
}

const std::vector<Column> columns{{"name", "NAME"}, {"kind", "KIND"}, {"type", "TYPE"}, {"value", "VALUE"}};

Json Rows(KeyTree& tree, const Arguments& arguments) {
    const OpenKey key(tree, arguments, KEY_READ);
    Json rows = Json::array();
    if (!arguments.isRecursive) {
        for (const std::wstring& name : tree.Subkeys(key.Get()))
            rows.push_back({{"name", ToUtf8(name)}, {"kind", "key"}});
        for (const KeyValue& value : tree.Values(key.Get())) rows.push_back(Row(value));
        return rows;
    }
    WalkKeys(tree, key.Get(), PathOf(arguments), [&](const std::wstring& path, const KeyValue& value) {
        const bool isEmptyKey = value.name.empty() && value.data.empty();
        if (isEmptyKey) rows.push_back({{"name", ToUtf8(path)}, {"kind", "key"}});
        if (isEmptyKey) return;
        Json row = Row(value);
        row["name"] = ToUtf8(path.empty() ? value.name : path + L"\\" + value.name);
        rows.push_back(row);
    });
    return rows;
}

void List(Context& context, const Arguments& arguments) {
    context.PrintList(columns, Rows(*TreeOf(context, arguments), arguments));
}

Json ReadValues(KeyTree& tree, HKEY key, const std::vector<std::wstring>& names, const std::string& path) {
    Json rows = Json::array();
    for (const std::wstring& name : names) {
        KeyValue value;
        value.name = name;
        if (const DWORD code = tree.Query(key, value))
            throw Refusal("Value \"" + ToUtf8(name) + "\" of key \"" + path + "\"", code);
        rows.push_back(Row(value));
    }
    return rows;
}

void Get(Context& context, const Arguments& arguments) {
    const std::unique_ptr<KeyTree> tree = TreeOf(context, arguments);
    const OpenKey key(*tree, arguments, KEY_READ);
    std::vector<std::wstring> names;
    for (const std::string& name : arguments.values) names.push_back(FromUtf8(name));
    const Json rows = ReadValues(*tree, key.Get(), names, arguments.path);
    if (context.options.isJson) return context.PrintJson(rows);
    for (const Json& row : rows) context.Say(TextOf(row["value"]));
}

Change ChangeOf(Context& context, const Arguments& arguments, const std::string& verb) {
    const std::string where = arguments.isClusterDatabase ? "--cluster-database " : "";
    return {context, "Key \"" + arguments.path + "\"", verb,
            "ostra registry list " + where + "'" + arguments.path + "'"};
}

// Whole or not at all.
void Make(const Change& change, const Arguments& arguments, const std::function<void()>& steps) {
    if (arguments.isClusterDatabase)
        change.Make(steps);
    else
        change.MakeInRegistry(steps);
}

void WriteKey(KeyTree& tree, const Arguments& arguments, const std::vector<KeyValue>& values, const Change& change) {
    HKEY created = nullptr;
    if (const DWORD code = tree.Create(PathOf(arguments), created)) {
        change.RequireKnown(code);
        throw CommandError(ExitCodeOf(code), "Key \"" + arguments.path + "\" was not created: " + CauseText(code) +
                                                 (code == error::InvalidParameter ? PathHint(arguments) : ""));
    }
    tree.Close(created);
    const OpenKey key(tree, arguments, KEY_ALL_ACCESS);
    for (const KeyValue& value : values)
        if (const DWORD code = tree.Set(key.Get(), value))
            change.Refuse(code, ": value \"" + ToUtf8(value.name) + "\"");
}

void Set(Context& context, const Arguments& arguments) {
    std::vector<KeyValue> values;
    std::vector<std::wstring> names;
    for (const std::string& text : arguments.values) {
        values.push_back(ParseKeyValue(text));
        names.push_back(values.back().name);
    }
    const std::unique_ptr<KeyTree> tree = TreeOf(context, arguments);
    const Change change = ChangeOf(context, arguments, "written");
    Make(change, arguments, [&] { WriteKey(*tree, arguments, values, change); });
    Json rows;
    change.Report([&] {
        const OpenKey key(*tree, arguments, KEY_READ);
        rows = ReadValues(*tree, key.Get(), names, arguments.path);
    });
    context.PrintList(columns, rows);
}

void DeleteKey(Context& context, const Arguments& arguments) {
    const std::unique_ptr<KeyTree> tree = TreeOf(context, arguments);
    const std::wstring path = PathOf(arguments);
    const std::size_t last = path.rfind(L'\\');
    if (path.empty() || (!arguments.isClusterDatabase && last == std::wstring::npos))
        throw CommandError(ExitCode::Usage, "A root cannot be deleted, only a key below it.");
    Arguments above = arguments;
    above.path = last == std::wstring::npos ? "" : ToUtf8(path.substr(0, last));
    const OpenKey parent(*tree, above, KEY_ALL_ACCESS);
    const Change change = ChangeOf(context, above, "changed");
    Make(change, arguments, [&] {
        DWORD code = arguments.isRecursive ? DeleteSubkeys(*tree, path) : DWORD{error::Success};
        if (!code) code = tree->DeleteKey(parent.Get(), last == std::wstring::npos ? path : path.substr(last + 1));
        if (!code) return;
        change.RequireKnown(code);
        const bool hasSubkeys = code == error::KeyHasChildren || code == error::AccessDenied;
        throw CommandError(
            ExitCodeOf(code),
            "Key \"" + arguments.path + "\" was not deleted: " + CauseText(code) +
                (hasSubkeys && !arguments.isRecursive ? " Delete what is below it too with --recursive." : ""));
    });
    context.PrintRecord({{"name", arguments.path}, {"text", "deleted"}});
}

void Delete(Context& context, const Arguments& arguments) {
    if (arguments.values.empty()) return DeleteKey(context, arguments);
    const std::unique_ptr<KeyTree> tree = TreeOf(context, arguments);
    const OpenKey key(*tree, arguments, KEY_ALL_ACCESS);
    const Change change = ChangeOf(context, arguments, "changed");
    Make(change, arguments, [&] {
        for (const std::string& name : arguments.values)
            if (const DWORD code = tree->DeleteValue(key.Get(), FromUtf8(name)))
                change.Refuse(code, ": value \"" + name + "\" was not deleted");
    });
    Json rows;
    change.Report([&] { rows = Rows(*tree, arguments); });
    context.PrintList(columns, rows);
}

using Action = void (*)(Context&, const Arguments&);

CLI::App* Add(CLI::App& family, Run& run, const std::string& name, const std::string& description,
              const std::vector<std::string>& examples, Effect effect, Action action,
              const std::shared_ptr<Arguments>& arguments) {
    CLI::App* command = AddCommand(family, run, name, description, examples, effect,
                                   [arguments, action](Context& context) { action(context, *arguments); });
    AddOption(*command, "PATH", arguments->path, "Names joined by backslashes").Required();
    AddFlag(*command, "--cluster-database", arguments->isClusterDatabase,
            "The cluster's database instead of the local registry; \"\" is its root");
    return command;
}

}  // namespace

void AddRegistryCommands(CLI::App& app, Run& run) {
    CLI::App* family = AddFamily(app, "registry", "Keys and values of this machine, or of the cluster's database");
    auto arguments = std::make_shared<Arguments>();
    AddOption(*Add(*family, run, "get", "Shows values of a key",
                   {R"(registry get 'HKEY_LOCAL_MACHINE\Software\Norvane\Ostra\OstraDebug' DebugMask)"}, Effect::Reads,
                   Get, arguments),
              "VALUE", arguments->values, "Names of the values")
        .Required();
    arguments = std::make_shared<Arguments>();
    AddOption(*Add(*family, run, "set", "Creates a key and writes values",
                   {R"(registry set 'HKEY_LOCAL_MACHINE\Software\Example' "Depth=REG_DWORD:3" "Title=REG_SZ:any text")",
                    R"(registry set --cluster-database 'Ostra\Notes' "Owner=REG_SZ:me")"},
                   Effect::Changes, Set, arguments),
              "SETTING", arguments->values, "NAME=TYPE:VALUE");
    arguments = std::make_shared<Arguments>();
    AddFlag(*Add(*family, run, "list", "Lists the subkeys and values of a key",
                 {"registry list HKEY_LOCAL_MACHINE", R"(registry list --cluster-database "" --recursive)"},
                 Effect::Reads, List, arguments),
            "--recursive", arguments->isRecursive, "All that is below the key");
    arguments = std::make_shared<Arguments>();
    CLI::App* command = Add(*family, run, "delete", "Deletes a key, or values of it",
                            {R"(registry delete 'HKEY_LOCAL_MACHINE\Software\Example' --value Depth)",
                             R"(registry delete 'HKEY_LOCAL_MACHINE\Software\Example' --recursive --dry-run)"},
                            Effect::Changes, Delete, arguments);
    const CommandOption value =
        AddOption(*command, "--value", arguments->values, "A value to delete, not the key").Type("NAME").OneValueEach();
    AddFlag(*command, "--recursive", arguments->isRecursive, "The key with all that is below it").Excludes(value);
}

}  // namespace programs
