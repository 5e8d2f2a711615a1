#include <programs/ostra/Command.h>
#include <programs/support/Objects.h>

#include <platform/base/text.h>

namespace programs {

namespace {

Json ReadStatus(Context& context) {
    Json status{
        {"cluster", platform::ToUtf8(context.ClusterName())}, {"nodes", Json::array()}, {"groups", Json::array()}};
    for (Node* node : NodesOf(context)) status["nodes"].push_back(Summary(*node));
    for (Group* group : GroupsOf(context)) {
        Json summary = Summary(*group);
        summary["resources"] = Json::array();
        for (Resource* resource : ResourcesOf(*group)) summary["resources"].push_back(Summary(*resource));
        status["groups"].push_back(std::move(summary));
    }
    return status;
}

std::string Field(const Json& object, const char* key) {
    return TextOf(object[key]);
}

std::size_t WidestName(const Json& status) {
    std::size_t width = 0;
    for (const Json& node : status["nodes"]) width = std::max(width, WidthOf(Field(node, "name")));
    for (const Json& group : status["groups"]) {
        width = std::max(width, WidthOf(Field(group, "name")));
        for (const Json& resource : group["resources"]) width = std::max(width, WidthOf(Field(resource, "name")) + 2);
    }
    return width;
}

std::size_t WidestType(const Json& status) {
    std::size_t width = 0;
    for (const Json& group : status["groups"]) {
        width = std::max(width, WidthOf(Field(group, "owner")) + 3);
        for (const Json& resource : group["resources"]) width = std::max(width, WidthOf(Field(resource, "type")));
    }
    return width;
}

class StatusText {
public:
    StatusText(const TextWriter& writer, const Json& status)
        : _writer(writer), _status(status), _nameWidth(WidestName(status)), _typeWidth(WidestType(status)) {}

    void Write() {
        _writer.Line("Cluster " + Field(_status, "cluster"), Tone::Strong);
        _writer.Line();
        _writer.Line("Nodes", Tone::Strong);
        for (const Json& node : _status["nodes"]) Row("  ", Field(node, "name"), "", Field(node, "text"));
        _writer.Line();
        _writer.Line("Groups", Tone::Strong);
        if (_status["groups"].empty()) _writer.Line("  none; make one with: ostra group create NAME", Tone::Faint);
        for (const Json& group : _status["groups"]) {
            Row("  ", Field(group, "name"), "on " + Field(group, "owner"), Field(group, "text"));
            for (const Json& resource : group["resources"])
                Row("    ", Field(resource, "name"), Field(resource, "type"), Field(resource, "text"));
        }
    }

private:
    void Row(const std::string& margin, const std::string& name, const std::string& middle, const std::string& text) {
        const std::size_t room = _nameWidth + 4 - margin.size();
        _writer.Write(margin + name + std::string(room - std::min(room, WidthOf(name)) + 2, ' '));
        _writer.Write(middle + std::string(_typeWidth - std::min(_typeWidth, WidthOf(middle)) + 2, ' '), Tone::Faint);
        _writer.Line(text, ToneOfState(text));
    }

    TextWriter _writer;
    const Json& _status;
    std::size_t _nameWidth;
    std::size_t _typeWidth;
};

void ShowStatus(Context& context) {
    const Json status = ReadStatus(context);
    if (context.options.isJson) return context.PrintJson(status);
    StatusText(context.Text(), status).Write();
}

/// One line of the outline, and those below it.
class Outline {
public:
    explicit Outline(const TextWriter& writer) : _writer(writer) {}

    struct Entry {
        std::string name;
        std::string note;
        std::string state;
        std::vector<Entry> below;
    };

    void Write(const Entry& root) {
        _writer.Line(root.name, Tone::Strong);
        WriteBelow(root, "");
    }

private:
    void WriteBelow(const Entry& entry, const std::string& margin) {
        for (std::size_t i = 0; i < entry.below.size(); ++i) {
            const Entry& child = entry.below[i];
            const bool isLast = i + 1 == entry.below.size();
            _writer.Write(margin + (isLast ? "└─ " : "├─ "), Tone::Faint).Write(child.name);
            if (!child.note.empty()) _writer.Write("  " + child.note, Tone::Faint);
            if (!child.state.empty()) _writer.Write("  ").Write(child.state, ToneOfState(child.state));
            _writer.Line();
            WriteBelow(child, margin + (isLast ? "   " : "│  "));
        }
    }

    TextWriter _writer;
};

Outline::Entry GroupEntry(const Json& group) {
    Outline::Entry entry{Field(group, "name"), "", Field(group, "text"), {}};
    for (const Json& resource : group["resources"])
        entry.below.push_back({Field(resource, "name"), Field(resource, "type"), Field(resource, "text"), {}});
    return entry;
}

void ShowTree(Context& context) {
    const Json status = ReadStatus(context);
    if (context.options.isJson) return context.PrintJson(status);
    Outline::Entry root{Field(status, "cluster"), "", "", {}};
    for (const Json& node : status["nodes"]) {
        Outline::Entry entry{Field(node, "name"), "", Field(node, "text"), {}};
        for (const Json& group : status["groups"])
            if (Field(group, "owner") == Field(node, "name")) entry.below.push_back(GroupEntry(group));
        root.below.push_back(std::move(entry));
    }
    Outline(context.Text()).Write(root);
}

}  // namespace

void AddStatusCommands(CLI::App& app, Run& run) {
    AddCommand(app, run, "status", "Shows nodes, groups and resources with their states",
               {"status", "status --json", "--cluster east status"}, Effect::Reads, ShowStatus);
    AddCommand(app, run, "tree", "Draws the cluster as an outline: nodes, their groups, their resources", {"tree"},
               Effect::Reads, ShowTree);
}

}  // namespace programs
