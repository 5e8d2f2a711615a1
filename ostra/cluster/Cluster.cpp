#include <ostra/cluster/Cluster.h>

#include <ostra/cluster/Node.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/Resource.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <platform/base/error_codes.h>
#include <platform/base/output.h>

#include <array>
#include <utility>

namespace {

bool IsAboutNetworks(DWORD notification) {
    return notification == CLUSTER_CHANGE_NETWORK_ADDED || notification == CLUSTER_CHANGE_NETWORK_DELETED ||
           notification == CLUSTER_CHANGE_NETWORK_PROPERTY;
}

}  // namespace

namespace OstraDLL {

Cluster::Cluster(const std::wstring& name, int fullDiscovery, DWORD numberOfNodes)
    : _numberOfNodes(numberOfNodes), _fullDiscovery(fullDiscovery), _kept(std::make_shared<Kept>()) {
    SetStatusBarText(L"Initiating Cluster " + name, 0);
    _name = name;
    _clusterName = name;
    Initialize();
}

Cluster::Cluster(HCLUSTER cluster, int fullDiscovery, DWORD numberOfNodes)
    : _handle(cluster), _numberOfNodes(numberOfNodes), _fullDiscovery(fullDiscovery), _kept(std::make_shared<Kept>()) {
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
    _kept.reset();
}

Cluster* Cluster::operator=(const Cluster& other) {
    if (this != &other) Connect(other._handle);
    return this;
}

Cluster* Cluster::operator=(const Cluster* other) {
    return other ? *this = *other : this;
}

void Cluster::Connect(const platform::SharedHandle<HCLUSTER, CloseCluster>& handle) {
    if (_handle) _kept->push_back(std::make_shared<platform::SharedHandle<HCLUSTER, CloseCluster>>(_handle));
    _handle = handle;
}

void Cluster::Initialize() {
    _resources = MakeOrNull<ClusterComponents>(L"Cluster Resources");
    if (!_resources) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating Resources list.");
    _groups = MakeOrNull<ClusterComponents>(L"Cluster Groups");
    if (!_groups) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating Groups list.");
    if (_nodes) _kept->push_back(_nodes);
    _nodes = MakeOrNull<OwnedComponents>();
    if (!_nodes) DisplayFailure(_error, L"Cluster::Cluster( ). Failure creating Nodes list.");
    if (_fullDiscovery) DiscoverInventory();
}

int Cluster::Status(int) {
    return 1;
}

int Cluster::Open(int discover) {
    const HCLUSTER opened = OpenCluster(_clusterName.c_str());
    if (!opened) {
        _eventViewer << L"Cluster::Open( ). Failure opening cluster:" + _name;
        return 0;
    }
    Connect(platform::SharedHandle<HCLUSTER, CloseCluster>(opened));
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
    ForEachName(
        nodes.Get(), &ClusterEnum, [this](const std::wstring& name) { DiscoverNode(name); },
        [this](DWORD code) {
            DisplayFailure(_error, L"Cluster::DiscoverNodes( int ). Failure calling ClusterEnum( )." +
                                       _error.GetErrorString(code));
        });
    return NumberOfGroups();
}

DWORD Cluster::NumberOfGroups() const {
    return _groups ? static_cast<DWORD>(_groups->NumberOfComponents()) : 0;
}

void Cluster::DiscoverNode(const std::wstring& nodeName) {
    SetStatusBarText(nodeName, 0);
    auto made = MakeOrNull<Node>(nodeName, _clusterHandle, _clusterName, 1);
    if (!made || !_nodes) return;
    Node* node = made.get();
    node->ListIn(_groups, _resources);
    node->SetStatusBar(_statusBar);
    _nodes->Store(nodeName, std::move(made));
    node->Discover();
    if (_groups) _groups->Add(node->GroupsPtr());
    if (_resources) _resources->Add(node->ResourcesPtr());
}

std::wstring Cluster::GetClusterName() const {
    if (!_handle) return {};
    std::array<wchar_t, 256> name{};
    DWORD size = 255;
    if (GetClusterInformation(Handle(), name.data(), &size, nullptr) == platform::error::Success) return name.data();
    platform::WriteOutputLine(L"Cluster::ClusterName( ). Failure calling GetClusterInformation( ).");
    return {};
}

ClusterComponents* Cluster::NodesPtr() const {
    return _nodes ? _nodes->Index() : nullptr;
}

int Cluster::DisksJustChanged() const {
    return std::exchange(_disksJustChanged, 0);
}

ClusterComponent* Cluster::Update(const std::wstring& name, DWORD notification) {
    if (IsAboutNetworks(notification)) {
        UpdateNetworkAdapters(name, notification);
        return nullptr;
    }
    if (!_nodes) return nullptr;
    Node* last = nullptr;
    for (const auto& [key, object] : *_nodes->Index()) {
        Node* node = dynamic_cast<Node*>(object);
        if (!node) continue;
        ClusterComponent* updated = node->Update(name, notification);
        UpdateIndexes(*node, updated, name, notification);
        last = node;
    }
    return last;
}

void Cluster::UpdateIndexes(const Node& node, ClusterComponent* updated, const std::wstring& name, DWORD notification) {
    if (!_groups || !_resources) return;
    switch (notification) {
        case CLUSTER_CHANGE_GROUP_DELETED: _groups->Delete(name); break;
        case CLUSTER_CHANGE_GROUP_ADDED: _groups->Add(node.GroupsPtr()); break;
        case CLUSTER_CHANGE_RESOURCE_DELETED:
            _disksJustChanged = 1;
            _resources->Delete(name);
            break;
        case CLUSTER_CHANGE_RESOURCE_ADDED:
            _resources->Add(updated);
            _disksJustChanged = 1;
            break;
        default: break;
    }
}

int Cluster::UpdateResources(const std::wstring& name, DWORD notification) {
    SetStatusBarText(L"Resetting Resources in " + _name, 0);
    if (!_resources) return 0;
    if (notification == CLUSTER_CHANGE_RESOURCE_ADDED) AddNotifiedResource(name);
    if (notification == CLUSTER_CHANGE_RESOURCE_DELETED) RemoveNotifiedResource(name);
    return 0;
}

void Cluster::AddNotifiedResource(const std::wstring& name) {
    std::shared_ptr<Resource> resource = MakeOrNull<Resource>(name, _clusterHandle, _clusterName, 1);
    if (!resource) {
        _eventViewer << L"Cluster::UpdateResource( ). Failure newing Resource for " + name;
        return;
    }
    _kept->push_back(resource);
    _resources->SetAt(name, resource.get());
    if (resource->Type() == L"Physical Disk") _disksJustChanged = 1;
}

void Cluster::RemoveNotifiedResource(const std::wstring& name) {
    CObject* object = nullptr;
    _resources->Lookup(name, object);
    Resource* resource = dynamic_cast<Resource*>(object);
    if (!resource) {
        _eventViewer << L"Cluster::UpdateResource( ). Failure searching for Resource." + name;
        return;
    }
    if (resource->Type() == L"Physical Disk") _disksJustChanged = 1;
    _resources->Delete(name);
}

int Cluster::Monitor(const std::wstring& groupName, int) {
    static HGROUP watchedGroup = nullptr;  // stays open for the life of the process
    if (!watchedGroup) {
        watchedGroup = OpenClusterGroup(_clusterHandle, groupName.c_str());
        if (watchedGroup) printf(L"Cluster::Monitor( ). Group %ws created.\n", groupName.c_str());
    }
    return watchedGroup ? 1 : 0;
}

int Cluster::AddGroups(ClusterComponents* groups) {
    return _groups ? (*_groups + groups).NumberOfComponents() : 0;
}

int Cluster::AddResources(ClusterComponents* resources) {
    return _resources ? (*_resources + resources).NumberOfComponents() : 0;
}

}  // namespace OstraDLL
