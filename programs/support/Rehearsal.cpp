#include <programs/support/Rehearsal.h>

#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <platform/system/event_log.h>
#include <platform/system/registry.h>
#include <programs/support/Json.h>
#include <programs/support/KeyTree.h>

#include <ctime>

namespace error = platform::error;
using platform::ClusterService;
using platform::ObjectId;
using platform::ObjectKind;
using platform::ToUtf8;

namespace programs {

namespace {

/// Time that passes only when someone waits: a rehearsal keeps nobody waiting.
class RehearsalClock final : public platform::Clock {
public:
    std::int64_t Now() override { return std::time(nullptr) + _slept / 1000; }
    void Sleep(DWORD milliseconds) override { _slept += milliseconds; }
    void Beep(DWORD, DWORD) override {}

private:
    std::int64_t _slept = 0;
};

class DiscardedEvents final : public platform::EventSink {
public:
    void Write(const platform::EventRecord&) override {}
};

/// Puts the copies in place of the real world for as long as it lives.
class RehearsedWorld {
public:
    explicit RehearsedWorld(Context& context) : _clock(platform::SetClock(&_rehearsalClock)) {
        platform::SetEventSink(&_events);
        if (const DWORD code = platform::BeginRegistryRehearsal()) {
            Leave();
            throw Refusal("The registry cannot be copied", code);
        }
        std::shared_ptr<ClusterService> original;
        if (platform::ClusterDirectory::Resolve(platform::FromUtf8(context.options.cluster), original)) return;
        std::shared_ptr<ClusterService> copy;
        platform::ClusterAdministration* administration = original->Administration();
        DWORD code = administration ? administration->CopyIntoMemory(copy) : error::NotSupported;
        if (!code) code = original->Information(_name);
        if (code) {
            Leave();
            throw Refusal("The cluster cannot be copied", code);
        }
        platform::ClusterDirectory::Register(_name, copy);
    }
    RehearsedWorld(const RehearsedWorld&) = delete;
    RehearsedWorld& operator=(const RehearsedWorld&) = delete;
    ~RehearsedWorld() { Leave(); }

private:
    void Leave() {
        if (!_name.empty()) platform::ClusterDirectory::Register(_name, nullptr);
        platform::EndRegistryRehearsal();
        platform::SetEventSink(nullptr);
        platform::SetClock(_clock);
    }

    RehearsalClock _rehearsalClock;
    platform::Clock* _clock;
    DiscardedEvents _events;
    std::wstring _name;
};

struct Described {
    const char* label;
    ObjectKind kind;
    DWORD type;
};

class SnapshotTaker {
public:
    explicit SnapshotTaker(ClusterService& service) : _service(service) {}

    Snapshot Take() {
        static constexpr Described kinds[] = {{"node", ObjectKind::Node, CLUSTER_ENUM_NODE},
                                              {"network", ObjectKind::Network, CLUSTER_ENUM_NETWORK},
                                              {"interface", ObjectKind::NetworkInterface, CLUSTER_ENUM_NETINTERFACE},
                                              {"group", ObjectKind::Group, CLUSTER_ENUM_GROUP},
                                              {"resource", ObjectKind::Resource, CLUSTER_ENUM_RESOURCE}};
        for (const Described& kind : kinds) DescribeKind(kind);
        DescribeKeys();
        return std::move(_snapshot);
    }

private:
    void DescribeKind(const Described& kind) {
        std::unique_ptr<platform::ClusterEnumeration> names;
        RequireRead(_service.Enumerate(kind.type, names));
        for (const std::wstring& name : ItemsOf(*names)) {
            ObjectId object;
            if (!Has(_service.Find(kind.kind, name, object))) continue;
            const std::string label = std::string(kind.label) + " " + ToUtf8(name);
            DescribeState(label, object);
            DescribeProperties(label, object);
        }
    }

    void DescribeState(const std::string& label, ObjectId object) {
        DWORD state = ClusterStateUnknown;
        std::wstring owner;
        std::wstring group;
        switch (object.kind) {
            case ObjectKind::Node: RequireRead(_service.NodeState(object, state)); break;
            case ObjectKind::Network: RequireRead(_service.NetworkState(object, state)); break;
            case ObjectKind::NetworkInterface: RequireRead(_service.NetworkInterfaceState(object, state)); break;
            case ObjectKind::Group:
                RequireRead(_service.GroupState(object, state, owner));
                Note(label, "owner", ToUtf8(owner));
                Note(label, "preferred owners", Members(object, CLUSTER_GROUP_ENUM_NODES));
                break;
            case ObjectKind::Resource:
                RequireRead(_service.ResourceState(object, state, owner, group));
                Note(label, "group", ToUtf8(group));
                Note(label, "possible owners", Members(object, CLUSTER_RESOURCE_ENUM_NODES));
                Note(label, "depends on", Members(object, CLUSTER_RESOURCE_ENUM_DEPENDS));
                break;
            case ObjectKind::ResourceType: return;
        }
        Note(label, "state", StateWord(object.kind, state));
    }

    void DescribeProperties(const std::string& label, ObjectId object) {
        static constexpr DWORD functions[] = {CLUSCTL_GET_RO_COMMON_PROPERTIES, CLUSCTL_GET_COMMON_PROPERTIES,
                                              CLUSCTL_GET_PRIVATE_PROPERTIES};
        for (const DWORD function : functions) {
            const DWORD code = function | static_cast<DWORD>(object.kind) << 24;
            std::vector<BYTE> answer;
            std::vector<platform::PropertyValue> properties;
            const DWORD refusal = _service.Control(object, std::nullopt, code, {}, answer);
            if (refusal == error::CallNotImplemented) continue;  // a kind of object without such properties
            RequireRead(refusal);
            if (!platform::DecodePropertyList(answer, properties)) RequireRead(error::InvalidData);
            for (const auto& [name, value] : properties) {
                const auto* number = std::get_if<DWORD>(&value);
                Note(label, ToUtf8(name), number ? std::to_string(*number) : ToUtf8(std::get<std::wstring>(value)));
            }
        }
    }

    // A resource's parameters are its private properties, which have been noted under its name.
    void DescribeKeys() {
        platform::ClusterKeyId root = 0;
        RequireRead(_service.RootKey(root));
        DescribeKey(root, "", 0);
    }

    void DescribeKey(platform::ClusterKeyId key, const std::string& path, int depth) {
        constexpr int deepest = 64;
        std::wstring name;
        DWORD type = 0;
        KeyValue value;
        const bool isParameters = path.ends_with("\\Parameters") && path.starts_with("Resources\\");
        if (depth > 0) Note("key " + path, "", "present");
        for (DWORD i = 0; !isParameters && Has(_service.ValueAt(key, i, value.name, type, value.data)); ++i) {
            value.type = type;
            Note("key " + path, ToUtf8(value.name), ValueText(value));
        }
        for (DWORD i = 0; depth < deepest && Has(_service.SubkeyAt(key, i, name)); ++i) {
            platform::ClusterKeyId subkey = 0;
            if (Has(_service.OpenKey(key, name, subkey)))
                DescribeKey(subkey, path.empty() ? ToUtf8(name) : path + "\\" + ToUtf8(name), depth + 1);
        }
    }

    std::string Members(ObjectId object, DWORD types) {
        std::unique_ptr<platform::ClusterEnumeration> members;
        RequireRead(_service.EnumerateMembers(object, types, members));
        std::string joined;
        for (const std::wstring& name : ItemsOf(*members)) joined += (joined.empty() ? "" : ", ") + ToUtf8(name);
        return joined;
    }

    static StringArray ItemsOf(const platform::ClusterEnumeration& enumeration) {
        StringArray names;
        DWORD type = 0;
        std::wstring name;
        for (DWORD i = 0; Has(enumeration.Item(i, type, name)); ++i) names.push_back(name);
        return names;
    }

    // What cannot be read would pass for what is gone.
    static void RequireRead(DWORD code) {
        if (code) throw Refusal("The cluster cannot be read", code);
    }
    static bool Has(DWORD code) {
        if (code != error::NoMoreItems && ExitCodeOf(code) != ExitCode::NoSuchObject) RequireRead(code);
        return code == error::Success;
    }

    static std::string StateWord(ObjectKind kind, DWORD state) {
        static const std::map<std::pair<ObjectKind, DWORD>, const char*> words{
            {{ObjectKind::Node, 0}, "up"},
            {{ObjectKind::Node, 1}, "down"},
            {{ObjectKind::Node, 2}, "paused"},
            {{ObjectKind::Group, 0}, "online"},
            {{ObjectKind::Group, 1}, "offline"},
            {{ObjectKind::Group, 2}, "failed"},
            {{ObjectKind::Group, 3}, "partly online"},
            {{ObjectKind::Resource, 2}, "online"},
            {{ObjectKind::Resource, 3}, "offline"},
            {{ObjectKind::Resource, 4}, "failed"}};
        const auto word = words.find({kind, state});
        return word == words.end() ? std::to_string(state) : word->second;
    }

    void Note(const std::string& label, const std::string& name, const std::string& text) {
        _snapshot[name.empty() ? label : label + " / " + name] = text;
    }

    ClusterService& _service;
    Snapshot _snapshot;
};

Snapshot TakeWorld(const Context& context) {
    Snapshot snapshot = TakeRegistrySnapshot();
    for (const std::wstring& name : platform::ClusterDirectory::Names())
        if (!context.IsClusterDeleted() ||
            !platform::EqualIgnoringCase(name, platform::FromUtf8(context.options.cluster)))
            snapshot["cluster " + ToUtf8(name)] = "present";
    std::shared_ptr<ClusterService> service;
    if (context.IsClusterDeleted() ||
        platform::ClusterDirectory::Resolve(platform::FromUtf8(context.options.cluster), service))
        return snapshot;
    snapshot.merge(TakeSnapshot(*service));
    return snapshot;
}

Json Differences(const Snapshot& before, const Snapshot& after) {
    Json changes = Json::array();
    for (const auto& [what, text] : before) {
        const auto now = after.find(what);
        if (now == after.end())
            changes.push_back({{"what", what}, {"before", text}, {"after", nullptr}});
        else if (now->second != text)
            changes.push_back({{"what", what}, {"before", text}, {"after", now->second}});
    }
    for (const auto& [what, text] : after)
        if (!before.contains(what)) changes.push_back({{"what", what}, {"before", nullptr}, {"after", text}});
    return changes;
}

// One line of a long value is enough for people; the JSON form has all of it.
std::string Excerpt(const Json& value) {
    constexpr std::size_t longest = 100;
    const std::string text = OneLine(TextOf(value));
    return "\"" + (text.size() <= longest ? text : Beginning(text, longest) + "...") + "\"";
}

void PrintDifferences(Context& context, const Json& changes) {
    if (context.options.isJson) return context.PrintJson({{"dryRun", true}, {"changes", changes}});
    TextWriter writer = context.Text();
    writer.Line(changes.empty() ? "Nothing would change." : "Nothing was changed. This would be:", Tone::Strong);
    for (const Json& change : changes) {
        const bool isNew = change["before"].is_null();
        const bool isGone = change["after"].is_null();
        writer.Write(isNew    ? "  + "
                     : isGone ? "  - "
                              : "  ~ ",
                     isNew    ? Tone::Good
                     : isGone ? Tone::Bad
                              : Tone::Warning);
        writer.Write(TextOf(change["what"]) + ": ");
        if (!isNew) writer.Write(Excerpt(change["before"]));
        if (!isNew && !isGone) writer.Write(" -> ");
        if (!isGone) writer.Write(Excerpt(change["after"]));
        writer.Line();
    }
}

}  // namespace

Snapshot TakeSnapshot(ClusterService& service) {
    return SnapshotTaker(service).Take();
}

Snapshot TakeRegistrySnapshot() {
    Snapshot snapshot;
    const std::unique_ptr<KeyTree> registry = LocalRegistry();
    for (const wchar_t* root :
         {L"HKEY_CLASSES_ROOT", L"HKEY_CURRENT_USER", L"HKEY_LOCAL_MACHINE", L"HKEY_USERS", L"HKEY_CURRENT_CONFIG"}) {
        HKEY key = nullptr;
        if (const DWORD code = registry->Open(root, KEY_READ, key)) {
            if (ExitCodeOf(code) == ExitCode::NoSuchObject) continue;
            throw Refusal("The registry cannot be read", code);
        }
        WalkKeys(*registry, key, root, [&](const std::wstring& path, const KeyValue& value) {
            const std::string label = "registry " + ToUtf8(path);
            snapshot[label] = "present";
            if (!value.data.empty() || !value.name.empty())
                snapshot[label + " / " + ToUtf8(value.name)] = ValueText(value);
        });
        registry->Close(key);
    }
    return snapshot;
}

void Rehearse(Context& context, const std::function<void()>& action) {
    const RehearsedWorld world(context);
    const Snapshot before = TakeWorld(context);
    context.Capture(action);
    PrintDifferences(context, Differences(before, TakeWorld(context)));
}

}  // namespace programs
