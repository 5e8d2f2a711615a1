#include <ostra/cluster/Cluster.h>

#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/cluster/Resource.h>
#include <ostra/cluster/discovery.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/display.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <array>

namespace {

bool IsAboutNetworks(DWORD notification) {
    return notification == CLUSTER_CHANGE_NETWORK_ADDED || notification == CLUSTER_CHANGE_NETWORK_DELETED ||
           notification == CLUSTER_CHANGE_NETWORK_PROPERTY;
}

/// Whether a deleted resource was a disk; also when its type was never read and cannot be any more.
bool MayHaveBeenDisk(Resource& resource) {
    const bool canBeAsked = !PresentName(resource.Handle()).value_or(L"").empty();
    if (resource.GetResourceType().empty() && !canBeAsked) return true;
    return resource.Type() == physicalDiskType;
}

}  // namespace

namespace OstraDLL {

Cluster::Cluster(const std::wstring& name, int fullDiscovery, DWORD numberOfNodes)
    : _numberOfNodes(numberOfNodes), _fullDiscovery(fullDiscovery), _past(std::make_shared<Past>()) {
    SetStatusBarText(L"Initiating Cluster " + name, 0);
    _name = name;
    _clusterName = name;
    Initialize();
}

Cluster::Cluster(HCLUSTER cluster, int fullDiscovery, DWORD numberOfNodes)
    : _handle(cluster), _numberOfNodes(numberOfNodes), _fullDiscovery(fullDiscovery), _past(std::make_shared<Past>()) {
    SetStatusBarText(L"Initiating Cluster ", 0);
    _clusterHandle = cluster;
    Initialize();
}

Cluster::Cluster(const Cluster& other) = default;

Cluster::~Cluster() {
    _resources.reset();
    _groups.reset();
    _nodes.reset();
    _networks.reset();
    _networkInterfaces.reset();
    _networkAdapters.reset();
    _clusterDisks.reset();
    _resourceTypes.reset();
    _past.reset();
}

Cluster* Cluster::operator=(const Cluster& other) {
    if (this != &other) ReplaceConnection(other._handle);
    return this;
}

Cluster* Cluster::operator=(const Cluster* other) {
    return other ? *this = *other : this;
}

void Cluster::ReplaceConnection(const platform::SharedHandle<HCLUSTER, CloseCluster>& handle) {
    if (_handle) _past->connections.push_back(_handle);
    _handle = handle;
}

void Cluster::Initialize() {
    for (const auto& former : {_resources, _groups, _nodes}) _past->lists.push_back(former);
    _resources = MakeSharedOrNull<OwnedComponents>(L"Cluster Resources");
    if (!_resources) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating Resources list.");
    _groups = MakeSharedOrNull<OwnedComponents>(L"Cluster Groups");
    if (!_groups) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating Groups list.");
    _nodes = MakeSharedOrNull<OwnedComponents>();
    if (!_nodes) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating Nodes list.");
    if (_fullDiscovery) DiscoverInventory();
}

int Cluster::Status(int) {
    return 1;
}

int Cluster::Open(int discover) {
    const HCLUSTER opened = OpenNamedCluster(_clusterName);
    if (!opened) {
        _eventViewer << L"Cluster::Open( ). Failure opening cluster:" + _name;
        return 0;
    }
    ReplaceConnection(platform::SharedHandle<HCLUSTER, CloseCluster>(opened));
    _clusterHandle = opened;
    if (discover == 1) Discover();
    return 1;
}

int Cluster::Close() {
    platform::WriteOutputLine(L"Cluster::Close( void ). On entry.");
    return 1;
}

int Cluster::Add(ClusterComponents* components, ClusterComponent* component) const {
    return ClusterComponent::Add(components, component);
}

std::wstring Cluster::Info() {
    printf(L"_iD     :%d\n", _iD);
    printf(L"_name   :%ws\n", _name.c_str());
    return _stateString;
}

DWORD Cluster::Discover() {
    return GetAllNodes();
}

DWORD Cluster::GetAllNodes() {
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> nodes(ClusterOpenEnum(_clusterHandle, CLUSTER_ENUM_NODE));
    if (!nodes) {
        DisplayFailure(_error, L"Cluster::GetAllNodes(  ). Failure calling ClusterOpenEnum( ).");
        return NumberOfGroups();
    }
    if (!_nodes || !_groups || !_resources) return NumberOfGroups();
    const EnumeratedNames found = ReadNames(nodes.Get(), &ClusterEnum, [this](DWORD code) {
        DisplayFailure(_error,
                       L"Cluster::DiscoverNodes( int ). Failure calling ClusterEnum( )." + _error.GetErrorString(code));
    });
    RetireNodes(StaleKeys<Node>(*_nodes, _clusterHandle, found));
    _groups->Retire(StaleKeys<Group>(*_groups, _clusterHandle));
    _resources->Retire(StaleKeys<Resource>(*_resources, _clusterHandle));
    std::vector<std::pair<Node*, EnumeratedNames>> views;
    for (const std::wstring& name : found.names) {
        SetStatusBarText(name, 0);
        if (Node* node = StoredNode(name)) views.emplace_back(node, node->EnumerateGroups());
    }
    ReadNodes(views);
    return NumberOfGroups();
}

DWORD Cluster::NumberOfGroups() const {
    return _groups ? static_cast<DWORD>(_groups->Index()->NumberOfComponents()) : 0;
}

/// The node of that name, a new one that has not read its groups when there is none. Null when memory ran out.
Node* Cluster::StoredNode(const std::wstring& nodeName) {
    Node* node = _nodes->Member<Node>(nodeName);
    if (!node) {
        auto made = MakeOrNull<Node>(nodeName, _clusterHandle, _clusterName, 1);
        if (!made) return nullptr;
        node = made.get();
        node->ListIn(OwnedComponents::IndexOf(_groups), OwnedComponents::IndexOf(_resources));
        _nodes->Store(nodeName, std::move(made));
    }
    node->SetStatusBar(_statusBar);
    return node;
}

void Cluster::RetireNodes(const StringArray& keys) {
    for (const std::wstring& key : keys)
        if (Node* node = _nodes->Member<Node>(key)) node->LeaveCluster();
    _nodes->Retire(keys);
}

/// Reads the groups of the last node, whose objects stand in the indexes, of those that were read before, and of those
/// that see other groups than the last. The others read theirs when they are asked for them.
void Cluster::ReadNodes(const std::vector<std::pair<Node*, EnumeratedNames>>& views) {
    for (const auto& [node, found] : views) {
        const auto& [lastNode, lastFound] = views.back();
        node->_contradicted.clear();
        if (node->_isUnread && node != lastNode && found.names == lastFound.names) continue;
        node->ReadGroups(found);
        ListGroupsOf(*node);
    }
}

void Cluster::ListGroupsOf(Node& node) {
    _groups->Index()->Add(node.GroupsPtr());
    _resources->Index()->Add(node.ResourcesPtr());
}

void Cluster::DeleteReplaced() {
    _past->lists.clear();
    for (const auto& owned : {_nodes, _groups, _resources, _resourceTypes})
        if (owned) owned->DeleteUnlisted();
    if (!_nodes) return;
    for (const auto& [key, object] : *_nodes->Index())
        if (Node* node = _nodes->Member<Node>(key)) node->DeleteUnlisted();
}

std::wstring Cluster::GetClusterName() const {
    if (!_handle) {
        SetLastError(platform::error::InvalidHandle);
        return {};
    }
    std::array<wchar_t, 255> name{};
    DWORD size = name.size();
    if (GetClusterInformation(Handle(), name.data(), &size, nullptr) == platform::error::Success) return name.data();
    platform::WriteOutputLine(L"Cluster::ClusterName( ). Failure calling GetClusterInformation( ).");
    return {};
}

ClusterComponents* Cluster::NodesPtr() const {
    return _nodes ? _nodes->Index() : nullptr;
}

ClusterComponents* Cluster::GroupsPtr() const {
    return _groups ? _groups->Index() : nullptr;
}

ClusterComponents* Cluster::ResourcesPtr() const {
    return _resources ? _resources->Index() : nullptr;
}

int Cluster::DisksJustChanged() const {
    return std::exchange(_disksJustChanged, 0);
}

ClusterComponent* Cluster::Update(const std::wstring& changed, DWORD notification) {
    const std::wstring name = changed;  // may be the key or the name of what is deleted now
    if (IsAboutNetworks(notification)) {
        UpdateNetworkAdapters(name, notification);
        return nullptr;
    }
    if (!_nodes || !_groups || !_resources || _nodes->Index()->IsEmpty()) return nullptr;
    if (notification == CLUSTER_CHANGE_NODE_ADDED || notification == CLUSTER_CHANGE_NODE_DELETED) FollowNode(name);
    const ToldChange change = Ask(name, notification);
    Node* last = nullptr;
    for (const auto& [key, object] : *_nodes->Index()) {
        Node* node = dynamic_cast<Node*>(object);
        if (!node) continue;
        ClusterComponent* updated = node->Follow(change);
        ListIfNew(*node, change.holder.empty() ? name : change.holder);
        UpdateIndexes(*node, updated, name, notification);
        last = node;
    }
    return last;
}

/// Takes up a node that the cluster has by now, or lets go of one that it has no longer. Afterwards one node at least
/// has read its groups, and they are listed.
void Cluster::FollowNode(const std::wstring& nodeName) {
    const platform::KeptLastError kept;
    const platform::SharedHandle<HNODE, CloseClusterNode> opened(OpenClusterNode(_clusterHandle, ApiName(nodeName)));
    const bool isGone = !opened && GetLastError() == platform::error::ClusterNodeNotFound;
    if (PresentName(opened.Get()) == nodeName) StoredNode(nodeName);
    if (isGone) RetireNodes({nodeName});
    Node* view = nullptr;
    for (const auto& [key, object] : *_nodes->Index()) {
        Node* node = _nodes->Member<Node>(key);
        if (node && (!view || view->_isUnread || !node->_isUnread)) view = node;
    }
    if (view) ListGroupsOf(*view);
}

ToldChange Cluster::Ask(const std::wstring& name, DWORD notification) const {
    const platform::KeptLastError kept;
    ToldChange change{name, notification, {}, false};
    const auto hasGroup = [&] {
        const platform::SharedHandle<HGROUP, CloseClusterGroup> group(OpenClusterGroup(_clusterHandle, ApiName(name)));
        return PresentName(group.Get()) == name;
    };
    switch (notification) {
        case CLUSTER_CHANGE_GROUP_ADDED: change.isContradicted = !hasGroup(); break;
        case CLUSTER_CHANGE_GROUP_DELETED: change.isContradicted = hasGroup(); break;
        case CLUSTER_CHANGE_RESOURCE_ADDED:
            change.holder = HolderOf(name);
            change.isContradicted = change.holder.empty();
            break;
        case CLUSTER_CHANGE_RESOURCE_DELETED: change.isContradicted = !HolderOf(name).empty(); break;
        default: break;
    }
    return change;
}

/// The group that has the resource; empty when the cluster cannot say.
std::wstring Cluster::HolderOf(const std::wstring& resourceName) const {
    const platform::SharedHandle<HRESOURCE, CloseClusterResource> resource(
        OpenClusterResource(_clusterHandle, ApiName(resourceName)));
    if (PresentName(resource.Get()) != resourceName) return {};
    std::array<wchar_t, 255> group{};
    DWORD size = group.size();
    const DWORD state = GetClusterResourceState(resource.Get(), nullptr, nullptr, group.data(), &size);
    return state == ClusterStateUnknown ? L"" : group.data();
}

void Cluster::UpdateIndexes(Node& node, ClusterComponent* updated, const std::wstring& name, DWORD notification) {
    switch (notification) {
        case CLUSTER_CHANGE_GROUP_DELETED: _groups->Index()->Delete(name); break;
        case CLUSTER_CHANGE_GROUP_ADDED:
            if (!node._isUnread) _groups->Index()->Add(node.GroupsPtr());
            break;
        case CLUSTER_CHANGE_RESOURCE_DELETED:
            _disksJustChanged = 1;
            _resources->Index()->Delete(name);
            break;
        case CLUSTER_CHANGE_RESOURCE_ADDED:
            _resources->Index()->Add(updated);
            _disksJustChanged = 1;
            break;
        default: break;
    }
}

/// Lists a group that the node found while it followed.
void Cluster::ListIfNew(const Node& node, const std::wstring& groupName) {
    CObject* listed = nullptr;
    Group* group = node._groups ? node.KnownGroup(groupName) : nullptr;
    if (!group || _groups->Index()->Lookup(groupName, listed)) return;
    _groups->Index()->Add(group);
    _resources->Index()->Add(group->ResourcesPtr());
}

int Cluster::UpdateResources(const std::wstring& changed, DWORD notification) {
    const std::wstring name = changed;  // may be the name of what is let go of now
    SetStatusBarText(L"Resetting Resources in " + _name, 0);
    if (!_resources) return 0;
    if (notification == CLUSTER_CHANGE_RESOURCE_ADDED) AddNotifiedResource(name);
    if (notification == CLUSTER_CHANGE_RESOURCE_DELETED) RemoveNotifiedResource(name);
    return 0;
}

void Cluster::AddNotifiedResource(const std::wstring& name) {
    auto made = MakeOrNull<Resource>(name, _clusterHandle, _clusterName, 1);
    if (!made) {
        _eventViewer << L"Cluster::UpdateResource( ). Failure newing Resource for " + name;
        return;
    }
    if (made->Type() == physicalDiskType) _disksJustChanged = 1;
    _resources->Store(name, std::move(made));
}

void Cluster::RemoveNotifiedResource(const std::wstring& name) {
    CObject* object = nullptr;
    _resources->Index()->Lookup(name, object);
    Resource* resource = dynamic_cast<Resource*>(object);
    if (!resource) {
        SetLastError(platform::error::ResourceNotFound);
        _eventViewer << L"Cluster::UpdateResource( ). Failure searching for Resource." + name;
        return;
    }
    if (MayHaveBeenDisk(*resource)) _disksJustChanged = 1;
    _resources->Index()->Delete(name);
}

int Cluster::Monitor(const std::wstring& groupName, int) {
    static HGROUP watchedGroup = nullptr;  // stays open for the life of the process
    if (!watchedGroup) {
        watchedGroup = OpenClusterGroup(_clusterHandle, ApiName(groupName));
        if (watchedGroup) printf(L"Cluster::Monitor( ). Group %ws created.\n", groupName.c_str());
    }
    return watchedGroup ? 1 : 0;
}

int Cluster::AddGroups(ClusterComponents* groups) {
    return _groups ? (*_groups->Index() + groups).NumberOfComponents() : 0;
}

int Cluster::AddResources(ClusterComponents* resources) {
    return _resources ? (*_resources->Index() + resources).NumberOfComponents() : 0;
}

}  // namespace OstraDLL
