#include <ostra/cluster/Cluster.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <programs/ostra/Command.h>
#include <programs/support/Interruption.h>

#include <array>
#include <limits>

using platform::ClusterChange;
using platform::ToUtf8;

namespace programs {

namespace {

constexpr std::size_t mostAtOnce = 1000;

std::string KindOf(DWORD notification) {
    static constexpr std::array<std::pair<DWORD, const char*>, 18> kinds{
        {{CLUSTER_CHANGE_NODE_STATE, "node state"},
         {CLUSTER_CHANGE_NODE_DELETED, "node deleted"},
         {CLUSTER_CHANGE_NODE_ADDED, "node added"},
         {CLUSTER_CHANGE_NODE_PROPERTY, "node property"},
         {CLUSTER_CHANGE_REGISTRY_NAME, "key"},
         {CLUSTER_CHANGE_REGISTRY_VALUE, "value"},
         {CLUSTER_CHANGE_RESOURCE_STATE, "resource state"},
         {CLUSTER_CHANGE_RESOURCE_DELETED, "resource deleted"},
         {CLUSTER_CHANGE_RESOURCE_ADDED, "resource added"},
         {CLUSTER_CHANGE_RESOURCE_PROPERTY, "resource property"},
         {CLUSTER_CHANGE_GROUP_STATE, "group state"},
         {CLUSTER_CHANGE_GROUP_DELETED, "group deleted"},
         {CLUSTER_CHANGE_GROUP_ADDED, "group added"},
         {CLUSTER_CHANGE_GROUP_PROPERTY, "group property"},
         {CLUSTER_CHANGE_NETWORK_STATE, "network state"},
         {CLUSTER_CHANGE_NETWORK_DELETED, "network deleted"},
         {CLUSTER_CHANGE_NETWORK_ADDED, "network added"},
         {CLUSTER_CHANGE_NETWORK_PROPERTY, "network property"}}};
    for (const auto& [bit, kind] : kinds)
        if (bit == notification) return kind;
    return std::to_string(notification);
}

Json Row(const ClusterChange& change) {
    return {
        {"number", change.number},          {"time", TimeText(change.time)},       {"user", ToUtf8(change.user)},
        {"name", ToUtf8(change.object)},    {"kind", KindOf(change.notification)}, {"detail", ToUtf8(change.detail)},
        {"command", ToUtf8(change.command)}};
}

void ShowHistory(Context& context, std::int64_t last) {
    platform::ClusterAdministration& administration = context.Administration();
    std::int64_t newest = 0;
    std::vector<ClusterChange> changes;
    DWORD code = administration.LastChange(newest);
    if (!code)
        code =
            administration.Changes(std::max<std::int64_t>(0, newest - last), static_cast<std::size_t>(last), changes);
    if (code) throw Refusal("The change list cannot be read", code);
    Json rows = Json::array();
    for (const ClusterChange& change : changes) rows.push_back(Row(change));
    context.PrintList({{"number", "NUMBER"},
                       {"time", "TIME"},
                       {"user", "USER"},
                       {"name", "OBJECT"},
                       {"kind", "KIND"},
                       {"detail", "DETAIL"},
                       {"command", "COMMAND"}},
                      rows);
}

/// Follows a cluster's change list and keeps the object model in step with it.
class Watch {
public:
    explicit Watch(Context& context) : _context(context) {
        if (const DWORD code = _context.Administration().LastChange(_seen))
            throw Refusal("The change list cannot be read", code);
        _context.Cluster();
    }

    /// Prints what has come since; the number of changes printed.
    std::size_t Step(std::size_t most) {
        std::vector<ClusterChange> changes;
        if (const DWORD code = _context.Administration().Changes(_seen, std::min(most, mostAtOnce), changes))
            throw Refusal("The change list cannot be read", code);
        for (const ClusterChange& change : changes) Follow(change);
        return changes.size();
    }

private:
    // A gap means that entries were dropped before they were seen: then only reading everything anew is right.
    void Follow(const ClusterChange& change) {
        OstraDLL::Cluster& cluster = _context.Cluster();
        if (change.number != _seen + 1) {
            _context.Warn("Changes " + std::to_string(_seen + 1) + " to " + std::to_string(change.number - 1) +
                          " are no longer known; the cluster was read anew.");
            cluster.Open(1);
        }
        // The flat index first: a deleted resource is looked up there before the tree lets go of it.
        cluster.UpdateResources(change.object, change.notification);
        cluster.Update(change.object, change.notification);
        _seen = change.number;
        Print(Row(change), cluster);
    }

    void Print(const Json& row, OstraDLL::Cluster& cluster) {
        if (_context.options.isJson) return _context.PrintJsonLine(row);
        const std::string disks = cluster.DisksJustChanged() ? "  (the disks may have changed)" : "";
        const std::string adapters = cluster.AdaptersJustChanged() ? "  (the networks have changed)" : "";
        _context.Say(TextOf(row["time"]) + "  " + TextOf(row["kind"]) + "  " + TextOf(row["name"]) + "  " +
                     TextOf(row["detail"]) + disks + adapters);
    }

    Context& _context;
    std::int64_t _seen = 0;
};

void WatchCluster(Context& context, std::size_t count, int seconds) {
    constexpr DWORD stepMilliseconds = 250;
    const Interruption interruption;
    Watch watch(context);
    if (!context.options.isJson)
        context.Warn("Watching cluster " + ToUtf8(context.ClusterName()) + "; end with Ctrl-C.");
    std::size_t left = count ? count : std::numeric_limits<std::size_t>::max();
    const int steps = seconds ? seconds * 1000 / static_cast<int>(stepMilliseconds) : std::numeric_limits<int>::max();
    for (int step = 0; step < steps && left > 0 && !interruption.HasCome(); ++step) {
        left -= watch.Step(left);
        if (left > 0) platform::Sleep(stepMilliseconds);
    }
}

}  // namespace

void AddChangeCommands(CLI::App& app, Run& run) {
    const auto last = std::make_shared<std::int64_t>(20);
    AddOption(*AddCommand(app, run, "history", "Lists changes of the cluster: who, when and by which command",
                          {"history", "history --last 5 --json"}, Effect::Reads,
                          [last](Context& context) { ShowHistory(context, *last); }),
              "--last", *last, "How many of the newest changes (default: 20)")
        .Within(1, 100'000);

    const auto count = std::make_shared<std::size_t>(0);
    const auto seconds = std::make_shared<int>(0);
    CLI::App* watch = AddCommand(app, run, "watch", "Prints changes as they come; with --json one object a line",
                                 {"watch", "watch --count 1 --for 60"}, Effect::Follows,
                                 [count, seconds](Context& context) { WatchCluster(context, *count, *seconds); });
    AddOption(*watch, "--count", *count, "End after so many changes").NotNegative();
    AddOption(*watch, "--for", *seconds, "End after so many seconds").Type("SECONDS").Within(0, 86'400);
}

}  // namespace programs
