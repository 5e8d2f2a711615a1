#include <programs/support/Objects.h>

#include <ostra/cluster/Cluster.h>
#include <ostra/cluster/NetworkInterfaces.h>
#include <ostra/cluster/Networks.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <programs/support/Json.h>
#include <programs/support/Reading.h>

#include <algorithm>
#include <array>
#include <type_traits>

namespace error = platform::error;
using platform::ObjectKind;
using platform::ToUtf8;

namespace programs {

namespace {

// Collections of the inventory, which is read when a command first asks for it.
template <typename Object>
std::vector<Object*> MembersIn(const CMapStringToOb* collection) {
    std::vector<Object*> members;
    if (!collection) return members;
    for (const auto& [name, object] : *collection)
        if (auto* member = dynamic_cast<Object*>(object)) members.push_back(member);
    return members;
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

StringArray Sorted(StringArray names) {
    std::ranges::sort(names);
    return names;
}

bool IsGone(DWORD code) {
    return ExitCodeOf(code) == ExitCode::NoSuchObject;
}

/// A new object, open; null when the cluster has none of that name.
template <typename Object>
std::unique_ptr<Object> Opened(Context& context, const std::wstring& name) {
    const OstraDLL::Cluster& cluster = context.OpenedCluster();
    SetLastError(0);
    std::unique_ptr<Object> object;
    if constexpr (std::is_same_v<Object, Group>)
        object = std::make_unique<Group>(name, cluster.ClusterHandle(), cluster.ClusterName(), 1, 1);
    else
        object = std::make_unique<Object>(name, cluster.ClusterHandle(), cluster.ClusterName(), 1);
    if constexpr (std::is_same_v<Object, Node>) object->Open();
    if (object->Handle()) return object;
    if (const DWORD code = GetLastError(); !IsGone(code)) throw Refusal(ToUtf8(name) + " cannot be opened", code);
    return nullptr;
}

template <typename Object>
void VisitEach(Context& context, const StringArray& names, const std::function<void(Object&)>& visit) {
    for (const std::wstring& name : names)
        if (const std::unique_ptr<Object> object = Opened<Object>(context, name)) visit(*object);
}

struct Kind {
    const char* word;
    ObjectKind kind;
    DWORD type;
};

[[noreturn]] void RefuseUnknown(const char* kind, const std::string& name, StringArray known) {
    constexpr std::size_t mostNamed = 20;
    const std::size_t count = known.size();
    if (count > mostNamed) {
        known.resize(mostNamed);
        known.push_back(L"and " + std::to_wstring(count - mostNamed) + L" more");
    }
    throw CommandError(ExitCode::NoSuchObject,
                       std::string("There is no ") + kind + " named \"" + name + "\". " +
                           (known.empty() ? "There are none." : "Known: " + TextOf(ToJson(known))));
}

// The object goes by the name that the cluster has, in its case.
template <typename Object>
Object& Find(Context& context, const Kind& kind, const std::string& name) {
    platform::ClusterService& service = context.Service();
    platform::ObjectId id;
    std::wstring exact;
    DWORD code = service.Find(kind.kind, platform::FromUtf8(name), id);
    if (!code) code = service.NameOf(id, exact);
    if (code && !IsGone(code)) throw Refusal(std::string("The ") + kind.word + " " + name + " cannot be read", code);
    std::unique_ptr<Object> object = code ? nullptr : Opened<Object>(context, exact);
    if (!object) RefuseUnknown(kind.word, name, NamesOf(context, kind.type));
    return context.Keep(std::move(object));
}

template <typename Object>
Object& FindIn(const std::vector<Object*>& objects, const char* kind, const std::string& name) {
    StringArray known;
    for (Object* object : objects) {
        if (platform::EqualIgnoringCase(object->Name(), platform::FromUtf8(name))) return *object;
        known.push_back(object->Name());
    }
    RefuseUnknown(kind, name, known);
}

}  // namespace

StringArray NamesOf(Context& context, DWORD type) {
    const HCLUSTER cluster = context.OpenedCluster().ClusterHandle();
    return Sorted(Names(ClusterOpenEnum(cluster, type), ClusterEnum, ClusterCloseEnum));
}

void ForEachNode(Context& context, const std::function<void(Node&)>& visit) {
    VisitEach(context, NamesOf(context, CLUSTER_ENUM_NODE), visit);
}

void ForEachGroup(Context& context, const std::function<void(Group&)>& visit) {
    VisitEach(context, NamesOf(context, CLUSTER_ENUM_GROUP), visit);
}

void ForEachResource(Context& context, const std::function<void(Resource&)>& visit) {
    VisitEach(context, NamesOf(context, CLUSTER_ENUM_RESOURCE), visit);
}

void ForEachResourceOf(Context& context, const Group& group, const std::function<void(Resource&)>& visit) {
    VisitEach(context, Sorted(MembersOf(group.Handle(), CLUSTER_GROUP_ENUM_CONTAINS)), visit);
}

std::vector<Network*> NetworksOf(Context& context) {
    OstraDLL::Cluster& cluster = context.OpenedCluster();
    if (!cluster.NetworksPtr()) RequireRead("The list of networks", [&] { cluster.GetAllNetworks(); });
    return MembersIn<Network>(cluster.NetworksPtr());
}

std::vector<NetworkInterface*> InterfacesOf(Context& context) {
    OstraDLL::Cluster& cluster = context.OpenedCluster();
    if (!cluster.NetworkInterfacesPtr())
        RequireRead("The list of interfaces", [&] { cluster.GetAllNetworkInterfaces(); });
    return MembersIn<NetworkInterface>(cluster.NetworkInterfacesPtr());
}

Node& FindNode(Context& context, const std::string& name) {
    return Find<Node>(context, {"node", ObjectKind::Node, CLUSTER_ENUM_NODE}, name);
}

std::vector<Node*> FindNodes(Context& context, const std::vector<std::string>& names) {
    std::vector<Node*> nodes;
    for (const std::string& name : names) {
        Node& node = FindNode(context, name);
        for (const Node* other : nodes)
            if (other->Name() == node.Name()) throw CommandError(ExitCode::Usage, "Node " + name + " is named twice");
        nodes.push_back(&node);
    }
    return nodes;
}

Group& FindGroup(Context& context, const std::string& name) {
    return Find<Group>(context, {"group", ObjectKind::Group, CLUSTER_ENUM_GROUP}, name);
}

Resource& FindResource(Context& context, const std::string& name) {
    return Find<Resource>(context, {"resource", ObjectKind::Resource, CLUSTER_ENUM_RESOURCE}, name);
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
