#include <ostra/cluster/Node.h>

#include <ostra/cluster/Group.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <array>
#include <utility>

namespace {

constexpr std::array<const wchar_t*, 4> stateTexts{L"Node is up.", L"Node is down.", L"Node is paused.",
                                                   L"Node is joining."};

}  // namespace

Node::Node(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize) {
    _name = name;
    _clusterName = clusterName;
    _clusterHandle = cluster;
    if (initialize == 1) Initialize();
}

Node::Node(const Node& other) = default;

Node::~Node() {
    _resources.reset();
    _groups.reset();
}

Node* Node::operator=(const Node& other) {
    if (this == &other) return this;
    ClusterComponent::operator=(other);
    _handle = other._handle;
    _resources = other._resources;
    _groups = other._groups;
    _clusterResources = other._clusterResources;
    return this;
}

Node* Node::operator=(const Node* other) {
    return other ? *this = *other : this;
}

int Node::Status(int) {
    if (!Open()) {
        DisplayFailure(_error, L"Node::Info( void ). Failure opening node " + _name);
        return 0;
    }
    const DWORD state = GetClusterNodeState(Handle());
    if (state >= stateTexts.size()) {
        _eventViewer << L"Node::Info( int ). Unknown node state afater calling GetClusterNodeState( )" +
                            _error.GetErrorString(GetLastError());
        return 0;
    }
    _stateString = stateTexts[state];
    SetStatus(0, _stateString);
    return 1;
}

void Node::Initialize() {
    _resources = MakeSharedOrNull<ClusterComponents>();
    if (!_resources) DisplayFailure(_error, L"Node::Node( ). Failure creating Resources list.");
    _groups = OwnedComponents::Succeeding(_groups);
    if (!_groups) DisplayFailure(_error, L"Node::Node( ). Failure creating Group list.");
}

ClusterComponents* Node::GroupsPtr() const {
    return _groups ? _groups->Index() : nullptr;
}

void Node::ListIn(const std::shared_ptr<ClusterComponents>& groups,
                  const std::shared_ptr<ClusterComponents>& resources) {
    if (_groups) _groups->AlsoListedIn(groups);
    _clusterResources = resources;
}

int Node::Open() {
    if (!_clusterHandle) {
        _eventViewer << L"Node::Open( ). Invalid cluster handle.";
        return 0;
    }
    _handle.Reset(OpenClusterNode(_clusterHandle, _name.c_str()));
    if (_handle) return 1;
    _eventViewer << L"Node::Open( ). Failure opening node.";
    return 0;
}

int Node::Pause() {
    return Ask(&PauseClusterNode, L"Node activity paused.",
               L"Node::Pause( void ). Failure calling PauseClusterNode( ).");
}

int Node::Resume() {
    return Ask(&ResumeClusterNode, L"Node activity assumed.",
               L"Node::Resume( void ). Failure calling ResumeClusterNode( ).");
}

int Node::Evict() {
    return Ask(&EvictClusterNode, L"Node evicted permanenetly.",
               L"Node::Evict( void ). Failure calling EvictClusternode( ).");
}

int Node::Ask(DWORD (*request)(HNODE), const wchar_t* done, const wchar_t* failure) {
    const bool accepted = request(Handle()) == platform::error::Success;
    platform::WriteOutputLine(accepted ? done : failure);
    return accepted ? 1 : 0;
}

int Node::Discover() {
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> groups(
        ClusterOpenEnum(_clusterHandle, CLUSTER_ENUM_GROUP));
    if (!groups) {
        DisplayFailure(_error, L"Node::Discover( int ). Failure calling ClusterOpenEnum( )> ");
        return 0;
    }
    ForEachName(
        groups.Get(), &ClusterEnum, [this](const std::wstring& name) { DiscoverGroup(name); },
        [this](DWORD code) {
            DisplayFailure(_error,
                           L"Node::Discover( int ). Failure calling ClusterEnum( )." + _error.GetErrorString(code));
        });
    return 0;
}

void Node::DiscoverGroup(const std::wstring& groupName) {
    auto made = MakeGroup(groupName);
    if (!made) return;
    SetStatusBar(_statusBar);
    SetStatusBarText(groupName, 0);
    Group* group = made.get();
    _groups->Store(groupName, std::move(made));
    group->Discover(0);
    if (_resources) _resources->Add(group->ResourcesPtr());
}

std::unique_ptr<Group> Node::MakeGroup(const std::wstring& groupName) {
    if (!_groups) return nullptr;
    auto group = MakeOrNull<Group>(groupName, _clusterHandle, _clusterName, 1, 1);
    if (!group) return nullptr;
    group->ListResourcesIn(_resources);
    group->ListResourcesIn(_clusterResources);
    return group;
}

ClusterComponent* Node::Update(const std::wstring& name, DWORD notification) {
    SetStatusBarText(L"Resetting Groups in " + _name, 0);
    if (!_groups) return nullptr;
    if (notification == CLUSTER_CHANGE_GROUP_DELETED) {
        _groups->Delete(name);
        return nullptr;
    }
    if (notification != CLUSTER_CHANGE_GROUP_ADDED) return UpdateGroups(name, notification);
    auto made = MakeGroup(name);
    Group* group = made.get();
    if (made) _groups->Add(std::move(made));
    return group;
}

ClusterComponent* Node::UpdateGroups(const std::wstring& name, DWORD notification) {
    ClusterComponent* answer = nullptr;
    for (const auto& [key, object] : *_groups->Index()) {
        Group* group = dynamic_cast<Group*>(object);
        if (!group) continue;
        printf(L"Node::Update( ). Updating Group... %ws\n", name.c_str());
        answer = group->Update(name, notification);
    }
    if (notification == CLUSTER_CHANGE_RESOURCE_DELETED && _resources) _resources->Delete(name);
    return answer;
}

void Node::Info() {
    printf(L"Node:%ws\n", _name.c_str());
    printf(L"   _name            :%ws\n", _name.c_str());
    printf(L"   _currentOwnerName:%ws\n", _currentOwnerName.c_str());
    if (!_groups) return;
    for (const auto& [key, object] : *_groups->Index()) {
        if (const auto* group = dynamic_cast<ClusterComponent*>(object)) printf(L"    %ws\n", group->Name().c_str());
    }
}
