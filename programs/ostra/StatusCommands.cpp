#include <platform/base/text.h>
#include <programs/ostra/Command.h>
#include <programs/support/Ipv4.h>
#include <programs/support/Objects.h>

#include <algorithm>

namespace programs {

namespace {

Json ReadStatus(Context& context) {
    Json status{
        {"cluster", platform::ToUtf8(context.ClusterName())}, {"nodes", Json::array()}, {"groups", Json::array()}};
    ForEachNode(context, [&](Node& node) { status["nodes"].push_back(Summary(node)); });
    ForEachGroup(context, [&](Group& group) {
        Json summary = Summary(group);
        summary["resources"] = Json::array();
        ForEachResourceOf(context, group,
                          [&](Resource& resource) { summary["resources"].push_back(Summary(resource)); });
        status["groups"].push_back(std::move(summary));
    });
    status["networks"] = Json::array();
    for (Network* network : NetworksOf(context)) status["networks"].push_back(Summary(*network));
    status["interfaces"] = Json::array();
    for (NetworkInterface* interface : InterfacesOf(context)) status["interfaces"].push_back(Summary(*interface));
    return status;
}

std::string Field(const Json& object, const char* key) {
    return TextOf(object[key]);
}

/// What stands on one line below a heading.
struct Row {
    std::size_t margin = 0;
    std::string name;
    std::string note;
    std::string state;
};

struct Section {
    std::string heading;
    std::string whenEmpty;
    std::vector<Row> rows;
};

Section NodeSection(const Json& status) {
    Section section{"Nodes", "none", {}};
    for (const Json& node : status["nodes"]) section.rows.push_back({2, Field(node, "name"), "", Field(node, "text")});
    return section;
}

Section GroupSection(const Json& status) {
    Section section{"Groups", "none; make one with: ostra group create NAME", {}};
    for (const Json& group : status["groups"]) {
        section.rows.push_back({2, Field(group, "name"), "on " + Field(group, "owner"), Field(group, "text")});
        for (const Json& resource : group["resources"])
            section.rows.push_back({4, Field(resource, "name"), Field(resource, "type"), Field(resource, "text")});
    }
    return section;
}

std::string SubnetOf(const Json& network) {
    return SubnetText(Field(network, "address"), Field(network, "mask"));
}

Section NetworkSection(const Json& status) {
    Section section{"Networks", "none", {}};
    for (const Json& network : status["networks"]) {
        section.rows.push_back({2, Field(network, "name"), SubnetOf(network), Field(network, "text")});
        for (const Json& interface : status["interfaces"])
            if (interface["network"] == network["name"])
                section.rows.push_back(
                    {4, Field(interface, "name"), Field(interface, "address"), Field(interface, "text")});
    }
    return section;
}

/// Sections whose columns align over all of them.
class StatusText {
public:
    StatusText(const TextWriter& writer, std::vector<Section> sections)
        : _writer(writer), _sections(std::move(sections)) {
        for (const Section& section : _sections) {
            for (const Row& row : section.rows) {
                _nameWidth = std::max(_nameWidth, row.margin + WidthOf(row.name));
                _noteWidth = std::max(_noteWidth, WidthOf(row.note));
            }
        }
    }

    void Write() {
        for (const Section& section : _sections) {
            _writer.Line();
            _writer.Line(section.heading, Tone::Strong);
            if (section.rows.empty()) _writer.Line("  " + section.whenEmpty, Tone::Faint);
            for (const Row& row : section.rows) Write(row);
        }
    }

private:
    void Write(const Row& row) {
        const std::size_t nameEnd = row.margin + WidthOf(row.name);
        _writer.Write(std::string(row.margin, ' ') + row.name + std::string(_nameWidth - nameEnd + 2, ' '));
        _writer.Write(row.note + std::string(_noteWidth - WidthOf(row.note) + 2, ' '), Tone::Faint);
        _writer.Line(row.state, ToneOfState(row.state));
    }

    TextWriter _writer;
    std::vector<Section> _sections;
    std::size_t _nameWidth = 0;
    std::size_t _noteWidth = 0;
};

void ShowStatus(Context& context) {
    const Json status = ReadStatus(context);
    if (context.options.isJson) return context.PrintJson(status);
    context.Text().Line("Cluster " + Field(status, "cluster"), Tone::Strong);
    StatusText(context.Text(), {NodeSection(status), GroupSection(status), NetworkSection(status)}).Write();
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

Outline::Entry NetworkEntry(const Json& network, const Json& interfaces) {
    Outline::Entry entry{Field(network, "name"), SubnetOf(network), Field(network, "text"), {}};
    for (const Json& interface : interfaces)
        if (interface["network"] == network["name"])
            entry.below.push_back(
                {Field(interface, "name"), Field(interface, "address"), Field(interface, "text"), {}});
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
    for (const Json& network : status["networks"]) root.below.push_back(NetworkEntry(network, status["interfaces"]));
    Outline(context.Text()).Write(root);
}

}  // namespace

void AddStatusCommands(CLI::App& app, Run& run) {
    AddCommand(app, run, "status", "Shows nodes, groups, resources and networks with their states",
               {"status", "status --json", "--cluster east status"}, Effect::Reads, ShowStatus);
    AddCommand(app, run, "tree",
               "Draws the cluster as an outline: nodes with their groups and resources, networks with their interfaces",
               {"tree"}, Effect::Reads, ShowTree);
}

}  // namespace programs
