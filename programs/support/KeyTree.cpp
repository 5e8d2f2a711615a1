#include <programs/support/KeyTree.h>

#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/little_endian.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/system/registry.h>
#include <programs/support/Settings.h>

#include <array>
#include <utility>

namespace error = platform::error;

namespace programs {

namespace {

constexpr DWORD nameRoom = 1024;
constexpr int deepestWalk = 64;

constexpr std::array<std::pair<DWORD, const char*>, 6> typeNames{{{REG_NONE, "REG_NONE"},
                                                                  {REG_SZ, "REG_SZ"},
                                                                  {REG_EXPAND_SZ, "REG_EXPAND_SZ"},
                                                                  {REG_BINARY, "REG_BINARY"},
                                                                  {REG_DWORD, "REG_DWORD"},
                                                                  {REG_MULTI_SZ, "REG_MULTI_SZ"}}};

DWORD Code(LONG result) {
    return static_cast<DWORD>(result);
}

// Asks twice: for the size, then for the data; a value that grows in between is asked for again.
template <typename Query>
DWORD ReadData(std::vector<BYTE>& data, const Query& query) {
    DWORD size = 256;
    for (int attempt = 0; attempt < 4; ++attempt) {
        data.resize(size);
        const DWORD code = query(data.data(), size);
        if (code == error::MoreData) continue;
        if (!code) data.resize(size);
        return code;
    }
    return error::MoreData;
}

class RegistryTree final : public KeyTree {
public:
    DWORD Open(const std::wstring& path, DWORD access, HKEY& key) override {
        const auto [root, rest] = Split(path);
        if (!root) return error::InvalidParameter;
        return Code(RegOpenKeyExW(root, rest.c_str(), 0, access, &key));
    }
    DWORD Create(const std::wstring& path, HKEY& key) override {
        const auto [root, rest] = Split(path);
        if (!root || rest.empty()) return Open(path, KEY_ALL_ACCESS, key);
        return Code(RegCreateKeyExW(root, rest.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
    }
    void Close(HKEY key) override { RegCloseKey(key); }
    DWORD SubkeyAt(HKEY key, DWORD index, std::wstring& name) override {
        std::array<wchar_t, nameRoom> buffer{};
        DWORD size = nameRoom;
        const DWORD code = Code(RegEnumKeyExW(key, index, buffer.data(), &size, nullptr, nullptr, nullptr, nullptr));
        if (!code) name = buffer.data();
        return code;
    }
    DWORD ValueAt(HKEY key, DWORD index, KeyValue& value) override {
        std::vector<wchar_t> name(16'384);
        const DWORD code = ReadData(value.data, [&](BYTE* data, DWORD& size) {
            auto nameSize = static_cast<DWORD>(name.size());
            return Code(RegEnumValueW(key, index, name.data(), &nameSize, nullptr, &value.type, data, &size));
        });
        if (!code) value.name = name.data();
        return code;
    }
    DWORD Query(HKEY key, KeyValue& value) override {
        return ReadData(value.data, [&](BYTE* data, DWORD& size) {
            return Code(RegQueryValueExW(key, value.name.c_str(), nullptr, &value.type, data, &size));
        });
    }
    DWORD Set(HKEY key, const KeyValue& value) override {
        return Code(RegSetValueExW(key, value.name.c_str(), 0, value.type, value.data.data(),
                                   static_cast<DWORD>(value.data.size())));
    }
    DWORD DeleteValue(HKEY key, const std::wstring& name) override { return Code(RegDeleteValueW(key, name.c_str())); }
    DWORD DeleteKey(HKEY parent, const std::wstring& name) override {
        return Code(RegDeleteKeyW(parent, name.c_str()));
    }

private:
    static std::pair<HKEY, std::wstring> Split(const std::wstring& path) {
        static const std::array<std::pair<const wchar_t*, HKEY>, 5> roots{
            {{L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
             {L"HKEY_CURRENT_USER", HKEY_CURRENT_USER},
             {L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
             {L"HKEY_USERS", HKEY_USERS},
             {L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG}}};
        const std::size_t end = path.find(L'\\');
        const std::wstring name = path.substr(0, end);
        for (const auto& [rootName, root] : roots)
            if (platform::EqualIgnoringCase(name, rootName))
                return {root, end == std::wstring::npos ? std::wstring() : path.substr(end + 1)};
        return {nullptr, {}};
    }
};

class ClusterTree final : public KeyTree {
public:
    explicit ClusterTree(HKEY root) : _root(root) {}
    ~ClusterTree() override { ClusterRegCloseKey(_root); }

    DWORD Open(const std::wstring& path, DWORD access, HKEY& key) override {
        return Code(ClusterRegOpenKey(_root, path.c_str(), access, &key));
    }
    DWORD Create(const std::wstring& path, HKEY& key) override {
        return Code(ClusterRegCreateKey(_root, path.c_str(), 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
    }
    void Close(HKEY key) override { ClusterRegCloseKey(key); }
    DWORD SubkeyAt(HKEY key, DWORD index, std::wstring& name) override {
        std::array<wchar_t, nameRoom> buffer{};
        DWORD size = nameRoom;
        const DWORD code = Code(ClusterRegEnumKey(key, index, buffer.data(), &size, nullptr));
        if (!code) name = buffer.data();
        return code;
    }
    DWORD ValueAt(HKEY key, DWORD index, KeyValue& value) override {
        std::vector<wchar_t> name(16'384);
        const DWORD code = ReadData(value.data, [&](BYTE* data, DWORD& size) {
            auto nameSize = static_cast<DWORD>(name.size());
            return ClusterRegEnumValue(key, index, name.data(), &nameSize, &value.type, data, &size);
        });
        if (!code) value.name = name.data();
        return code;
    }
    DWORD Query(HKEY key, KeyValue& value) override {
        return ReadData(value.data, [&](BYTE* data, DWORD& size) {
            return Code(ClusterRegQueryValue(key, value.name.c_str(), &value.type, data, &size));
        });
    }
    DWORD Set(HKEY key, const KeyValue& value) override {
        return ClusterRegSetValue(key, value.name.c_str(), value.type, value.data.data(),
                                  static_cast<DWORD>(value.data.size()));
    }
    DWORD DeleteValue(HKEY key, const std::wstring& name) override { return ClusterRegDeleteValue(key, name.c_str()); }
    DWORD DeleteKey(HKEY parent, const std::wstring& name) override {
        return Code(ClusterRegDeleteKey(parent, name.c_str()));
    }

private:
    HKEY _root;
};

void Walk(KeyTree& tree, HKEY key, const std::wstring& path, int depth,
          const std::function<void(const std::wstring&, const KeyValue&)>& visit) {
    const std::vector<KeyValue> values = tree.Values(key);
    if (values.empty()) visit(path, {});
    for (const KeyValue& value : values) visit(path, value);
    if (depth == deepestWalk) return;
    for (const std::wstring& name : tree.Subkeys(key)) {
        HKEY subkey = nullptr;
        const std::wstring below = path.empty() ? name : path + L"\\" + name;
        const DWORD code = tree.Open(below, KEY_READ, subkey);
        if (ExitCodeOf(code) == ExitCode::NoSuchObject) continue;
        if (code) throw Refusal("Key \"" + platform::ToUtf8(below) + "\" cannot be read", code);
        Walk(tree, subkey, below, depth + 1, visit);
        tree.Close(subkey);
    }
}

std::string Hexadecimal(const std::vector<BYTE>& data) {
    std::string text;
    for (const BYTE byte : data) text += platform::Format("%02x", byte);
    return text;
}

}  // namespace

// A key that cannot be read to its end is no shorter list, but a failure.
StringArray KeyTree::Subkeys(HKEY key) {
    StringArray names;
    std::wstring name;
    DWORD code = error::Success;
    for (DWORD index = 0; (code = SubkeyAt(key, index, name)) == error::Success; ++index) names.push_back(name);
    if (code != error::NoMoreItems) throw Refusal("The subkeys cannot be read", code);
    return names;
}

std::vector<KeyValue> KeyTree::Values(HKEY key) {
    std::vector<KeyValue> values;
    KeyValue value;
    DWORD code = error::Success;
    for (DWORD index = 0; (code = ValueAt(key, index, value)) == error::Success; ++index) values.push_back(value);
    if (code != error::NoMoreItems) throw Refusal("The values cannot be read", code);
    return values;
}

std::unique_ptr<KeyTree> LocalRegistry() {
    return std::make_unique<RegistryTree>();
}

std::unique_ptr<KeyTree> ClusterDatabase(Context& context) {
    const HCLUSTER cluster = OpenCluster(context.ClusterName().c_str());
    const HKEY root = cluster ? GetClusterKey(cluster, KEY_ALL_ACCESS) : nullptr;
    const DWORD code = GetLastError();
    if (cluster) CloseCluster(cluster);
    if (!root) throw Refusal("The cluster database cannot be opened", code);
    return std::make_unique<ClusterTree>(root);
}

void WalkKeys(KeyTree& tree, HKEY key, const std::wstring& path,
              const std::function<void(const std::wstring&, const KeyValue&)>& visit) {
    Walk(tree, key, path, 0, visit);
}

DWORD DeleteSubkeys(KeyTree& tree, const std::wstring& path) {
    HKEY key = nullptr;
    if (const DWORD code = tree.Open(path, KEY_ALL_ACCESS, key)) return code;
    DWORD code = error::Success;
    for (const std::wstring& name : tree.Subkeys(key)) {
        code = DeleteSubkeys(tree, path.empty() ? name : path + L"\\" + name);
        if (!code) code = tree.DeleteKey(key, name);
        if (code) break;
    }
    tree.Close(key);
    return code;
}

std::string TypeName(DWORD type) {
    for (const auto& [number, name] : typeNames)
        if (number == type) return name;
    return std::to_string(type);
}

std::string ValueText(const KeyValue& value) {
    switch (value.type) {
        case REG_SZ:
        case REG_EXPAND_SZ: return platform::ToUtf8(platform::FromUtf16(value.data));
        case REG_MULTI_SZ: {
            std::string joined;
            for (const std::wstring& item : platform::ListFromUtf16(value.data))
                joined += (joined.empty() ? "" : ", ") + platform::ToUtf8(item);
            return joined;
        }
        case REG_DWORD:
            if (value.data.size() >= 4) return std::to_string(platform::NumberAt(value.data.data()));
            break;
        default: break;
    }
    // Persistent texts are binary by custom: shown as the text when the bytes are just that.
    const std::wstring text = platform::FromUtf16(value.data);
    if (platform::ToUtf16(text) == value.data) return platform::ToUtf8(text);
    return Hexadecimal(value.data);
}

KeyValue ParseKeyValue(const std::string& text) {
    const TypedText parts = ParseTypedText(text, "is no value: write NAME=TYPE:VALUE, as in Depth=REG_DWORD:3");
    KeyValue value;
    value.name = platform::FromUtf8(parts.name);
    for (const auto& [number, name] : typeNames)
        if (parts.type == name) value.type = number;
    if (value.type == REG_NONE)
        throw CommandError(ExitCode::Usage, "\"" + parts.type +
                                                "\" is no type of value: use REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, "
                                                "REG_BINARY or REG_DWORD");
    if (value.type == REG_DWORD) {
        value.data.resize(4);
        platform::PutNumber(value.data.data(), RequireNumber(parts.value));
    } else {
        value.data = platform::ToUtf16(platform::FromUtf8(parts.value));
    }
    return value;
}

}  // namespace programs
