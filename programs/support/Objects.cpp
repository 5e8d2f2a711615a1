#include <programs/support/Objects.h>

#include <ostra/cluster/NetworkInterfaces.h>
#include <ostra/cluster/Networks.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>

#include <algorithm>
#include <array>

namespace error = platform::error;
using platform::ToUtf8;

namespace programs {

namespace {

template <typename Object>
std::vector<Object*> MembersIn(ClusterComponents* components) {
    std::vector<Object*> members;
    if (!components) return members;
    for (const auto& [name, object] : *components)
        if (auto* member = static_cast<Object*>(object)) members.push_back(member);
    return members;
}

// Collections of the inventory, which is read when a command first asks for it.
template <typename Object>
std::vector<Object*> MembersIn(const CMapStringToOb* collection) {
    std::vector<Object*> members;
    if (!collection) return members;
    for (const auto& [name, object] : *collection)
        if (auto* member = dynamic_cast<Object*>(object)) members.push_back(member);
    return members;
}

// The library shows what it could read and no failure. An object that went away while the others were read is none.
template <typename Read>
DWORD FailureIn(const Read& read) {
    SetLastError(0);
    read();
    const DWORD code = GetLastError();
    return ExitCodeOf(code) == ExitCode::NoSuchObject ? DWORD{error::Success} : code;
}

// A command must not take what could be read for all there is.
template <typename Read>
void Discover(const std::string& what, const Read& read) {
    if (const DWORD code = FailureIn(read)) throw Refusal("The " + what + " cannot be read", code);
}

template <typename Object>
Object& FindIn(const std::vector<Object*>& objects, const char* kind, const std::string& name) {
    const std::wstring wanted = platform::FromUtf8(name);
    Object* found = nullptr;
    int alike = 0;
    std::string known;
    for (Object* object : objects) {
        if (object->Name() == wanted) return *object;
        if (platform::EqualIgnoringCase(object->Name(), wanted)) {
            found = object;
            ++alike;
        }
        known += (known.empty() ? "" : ", ") + ToUtf8(object->Name());
    }
    if (alike == 1) return *found;
    throw CommandError(ExitCode::NoSuchObject, std::string("There is no ") + kind + " named \"" + name + "\". " +
                                                   (known.empty() ? "There are none." : "Known: " + known));
}

Json StateAndText(DWORD state, const std::wstring& text) {
    return {{"state", static_cast<std::int32_t>(state)}, {"text", text.empty() ? "State is unknown." : ToUtf8(text)}};
}

template <typename Enumeration, typename Next, typename Close>
StringArray Names(Enumeration enumeration, const Next& next, const Close& close) {
    StringArray names;
    std::array<wchar_t, 1024> name{};
    DWORD code = enumeration ? error::Success : GetLastError();
    for (DWORD index = 0; !code; ++index) {
        DWORD type = 0;
        auto size = static_cast<DWORD>(name.size());
        code = next(enumeration, index, &type, name.data(), &size);
        if (!code) names.emplace_back(name.data());
    }
    if (enumeration) close(enumeration);
    if (code != error::NoMoreItems) throw Refusal("The names of the cluster's objects cannot be read", code);
    return names;
}

}  // namespace

std::vector<Node*> NodesOf(Context& context) {
    return MembersIn<Node>(context.Cluster().NodesPtr());
}

std::vector<Group*> GroupsOf(Context& context) {
    return MembersIn<Group>(context.Cluster().GroupsPtr());
}

std::vector<Resource*> ResourcesOf(Group& group) {
    return MembersIn<Resource>(group.ResourcesPtr());
}

std::vector<Network*> NetworksOf(Context& context) {
    OstraDLL::Cluster& cluster = context.OpenedCluster();
    if (!cluster.NetworksPtr()) Discover("networks", [&] { cluster.GetAllNetworks(); });
    return MembersIn<Network>(cluster.NetworksPtr());
}

std::vector<NetworkInterface*> InterfacesOf(Context& context) {
    OstraDLL::Cluster& cluster = context.OpenedCluster();
    if (!cluster.NetworkInterfacesPtr()) Discover("interfaces", [&] { cluster.GetAllNetworkInterfaces(); });
    return MembersIn<NetworkInterface>(cluster.NetworkInterfacesPtr());
}

Overview ReadOverview(Context& context) {
    OstraDLL::Cluster& cluster = context.OpenedCluster();
    const HCLUSTER handle = cluster.ClusterHandle();
    StringArray names = Names(ClusterOpenEnum(handle, CLUSTER_ENUM_NODE), ClusterEnum, ClusterCloseEnum);
    std::ranges::sort(names);
    Overview overview;
    for (const std::wstring& name : names)
        overview.nodes.push_back(std::make_unique<Node>(name, handle, cluster.ClusterName(), 1));
    if (names.empty()) return overview;
    const DWORD code = FailureIn([&] { overview.nodes.back()->Discover(); });
    const std::string what = "Not all groups and resources can be read";
    if (code && context.options.isJson) throw Refusal(what, code);
    if (code) context.Warn(what + ": " + CauseText(code));
    overview.groups = MembersIn<Group>(overview.nodes.back()->GroupsPtr());
    return overview;
}

Node& FindNode(Context& context, const std::string& name) {
    return FindIn(NodesOf(context), "node", name);
}

std::vector<Node*> FindNodes(Context& context, const std::vector<std::string>& names) {
    std::vector<Node*> nodes;
    for (const std::string& name : names) {
        Node& node = FindNode(context, name);
        if (std::find(nodes.begin(), nodes.end(), &node) != nodes.end())
            throw CommandError(ExitCode::Usage, "Node " + name + " is named twice");
        nodes.push_back(&node);
    }
    return nodes;
}

Group& FindGroup(Context& context, const std::string& name) {
    return FindIn(GroupsOf(context), "group", name);
}

Resource& FindResource(Context& context, const std::string& name) {
    return FindIn(MembersIn<Resource>(context.Cluster().ResourcesPtr()), "resource", name);
}

Network& FindNetwork(Context& context, const std::string& name) {
    return FindIn(NetworksOf(context), "network", name);
}

NetworkInterface& FindInterface(Context& context, const std::string& name) {
    return FindIn(InterfacesOf(context), "interface", name);
}

Json Summary(Node& node) {
    const std::wstring text = node.StatusString(0);
    Json summary{{"name", ToUtf8(node.Name())}};
    summary.update(StateAndText(StateOf(node), text));
    return summary;
}

Json Summary(Group& group) {
    const std::wstring text = group.StatusString(0);
    Json summary{{"name", ToUtf8(group.Name())}, {"owner", ToUtf8(group.CurrentOwnerName())}};
    summary.update(StateAndText(StateOf(group), text));
    return summary;
}

Json Summary(Resource& resource) {
    const std::wstring text = resource.StatusString(0);
    StringMap fixed;  // the type is among them, and they are fewer than those that Type would read
    resource.GetAttributes(&fixed, CLUS_OBJECT_RESOURCE | CLUSCTL_GET_RO_COMMON_PROPERTIES);
    Json summary{{"name", ToUtf8(resource.Name())}, {"type", ToUtf8(resource.Type())}};
    summary.update(StateAndText(StateOf(resource), text));
    return summary;
}

Json Summary(Network& network) {
    const std::wstring text = network.StatusString(0);
    Json summary{{"name", ToUtf8(network.Name())},
                 {"id", ToUtf8(network.ID())},
                 {"address", ToUtf8(network.IPAddress())},
                 {"mask", ToUtf8(network.SubnetMask())},
                 {"role", platform::ParseDecimal(network.Role())}};
    summary.update(StateAndText(StateOf(network), text));
    return summary;
}

Json Summary(NetworkInterface& networkInterface) {
    const std::wstring text = networkInterface.StatusString(0);
    StringMap attributes;
    networkInterface.GetAttributes(&attributes, CLUS_OBJECT_NETINTERFACE | CLUSCTL_GET_RO_COMMON_PROPERTIES);
    Json summary{{"name", ToUtf8(networkInterface.Name())},
                 {"node", ToUtf8(attributes[L"Node"])},
                 {"network", ToUtf8(attributes[L"Network"])},
                 {"address", ToUtf8(attributes[L"Address"])}};
    summary.update(StateAndText(StateOf(networkInterface), text));
    return summary;
}

DWORD StateOf(Node& node) {
    return GetClusterNodeState(node.Handle());
}

DWORD StateOf(Group& group) {
    return GetClusterGroupState(group.Handle(), nullptr, nullptr);
}

DWORD StateOf(Resource& resource) {
    return GetClusterResourceState(resource.Handle(), nullptr, nullptr, nullptr, nullptr);
}

DWORD StateOf(Network& network) {
    return GetClusterNetworkState(network.Handle());
}

DWORD StateOf(NetworkInterface& networkInterface) {
    return GetClusterNetInterfaceState(networkInterface.Handle());
}

StringArray ResourceTypesOf(Context& context) {
    const HCLUSTER cluster = context.OpenedCluster().ClusterHandle();
    return Names(ClusterOpenEnum(cluster, CLUSTER_ENUM_RESTYPE), ClusterEnum, ClusterCloseEnum);
}

StringArray MembersOf(HGROUP group, DWORD types) {
    return Names(ClusterGroupOpenEnum(group, types), ClusterGroupEnum, ClusterGroupCloseEnum);
}

StringArray MembersOf(HRESOURCE resource, DWORD types) {
    return Names(ClusterResourceOpenEnum(resource, types), ClusterResourceEnum, ClusterResourceCloseEnum);
}

Json ToJson(const StringMap& attributes) {
    Json object = Json::object();
    for (const auto& [name, value] : attributes) object[ToUtf8(name)] = ToUtf8(value);
    return object;
}

Json ToJson(const StringArray& names) {
    Json list = Json::array();
    for (const std::wstring& name : names) list.push_back(ToUtf8(name));
    return list;
}

platform::ObjectId IdOf(Context& context, platform::ObjectKind kind, const std::wstring& name) {
    platform::ObjectId id;
    if (const DWORD code = context.Service().Find(kind, name, id)) throw Refusal(ToUtf8(name), code);
    return id;
}

}  // namespace programs
