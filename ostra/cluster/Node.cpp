#include <ostra/cluster/Node.h>

#include <ostra/cluster/Group.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/Resource.h>
#include <ostra/cluster/discovery.h>
#include <ostra/foundation/MakeOrNull.h>
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

Node::Node(const Node& other) : ClusterComponent(other) {
    other.ReadIfUnread();
    _handle = other._handle;
    _resources = other._resources;
    _groups = other._groups;
    _clusterGroups = other._clusterGroups;
    _clusterResources = other._clusterResources;
}

Node::~Node() {
    _resources.reset();
    _groups.reset();
}

Node* Node::operator=(const Node& other) {
    if (this == &other) return this;
    other.ReadIfUnread();
    ClusterComponent::operator=(other);
    _handle = other._handle;
    _resources = other._resources;
    _groups = other._groups;
    _clusterGroups = other._clusterGroups;
    _clusterResources = other._clusterResources;
    _isUnread = false;
    _contradicted.clear();
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
        NoteUnknownState(state);
        _eventViewer << L"Node::Info( int ). Unknown node state afater calling GetClusterNodeState( )" +
                            _error.GetErrorString(GetLastError());
        return 0;
    }
    _stateString = stateTexts[state];
    SetStatus(0, _stateString);
    return 1;
}

void Node::Initialize() {
    _isUnread = false;
    _contradicted.clear();
    _resources = MakeSharedOrNull<ClusterComponents>();
    if (!_resources) DisplayFailure(_error, L"Node::Node( ). Failure creating Resources list.");
    _groups = OwnedComponents::Succeeding(_groups);
    if (!_groups) DisplayFailure(_error, L"Node::Node( ). Failure creating Group list.");
}

ClusterComponents* Node::ResourcesPtr() const {
    ReadIfUnread();
    return _resources.get();
}

ClusterComponents* Node::GroupsPtr() const {
    ReadIfUnread();
    return _groups ? _groups->Index() : nullptr;
}

void Node::ListIn(const std::shared_ptr<ClusterComponents>& groups,
                  const std::shared_ptr<ClusterComponents>& resources) {
    if (_groups) _groups->AlsoListedIn(groups);
    _clusterGroups = groups;
    _clusterResources = resources;
    _isUnread = true;
}

/// Takes what this node owns out of the cluster's indexes.
void Node::LeaveCluster() {
    OwnedComponents::Objects leaving;
    const auto add = [&leaving](const ClusterComponents* index) {
        if (!index) return;
        for (const auto& [key, object] : *index) leaving.insert(object);
    };
    add(_resources.get());
    add(_groups ? _groups->Index() : nullptr);
    for (const auto& index : {_clusterGroups.lock(), _clusterResources.lock()})
        if (index) OwnedComponents::Unlist(*index, leaving);
}

void Node::DeleteUnlisted() {
    if (!_groups) return;
    _groups->DeleteUnlisted();
    for (const auto& [key, object] : *_groups->Index())
        if (Group* group = _groups->Member<Group>(key)) group->DeleteUnlisted();
}

int Node::Open() {
    if (!_clusterHandle) {
        SetLastError(platform::error::InvalidHandle);
        _eventViewer << L"Node::Open( ). Invalid cluster handle.";
        return 0;
    }
    _handle.Reset(OpenClusterNode(_clusterHandle, ApiName(_name)));
    if (_handle) return 1;
    _eventViewer << L"Node::Open( ). Failure opening node.";
    return 0;
}

int Node::Pause() {
    return Request(&PauseClusterNode, L"Node activity paused.",
                   L"Node::Pause( void ). Failure calling PauseClusterNode( ).");
}

int Node::Resume() {
    return Request(&ResumeClusterNode, L"Node activity assumed.",
                   L"Node::Resume( void ). Failure calling ResumeClusterNode( ).");
}

int Node::Evict() {
    return Request(&EvictClusterNode, L"Node evicted permanenetly.",
                   L"Node::Evict( void ). Failure calling EvictClusternode( ).");
}

int Node::Request(DWORD (*request)(HNODE), const wchar_t* done, const wchar_t* failure) {
    const bool isAccepted = request(Handle()) == platform::error::Success;
    platform::WriteOutputLine(isAccepted ? done : failure);
    return isAccepted ? 1 : 0;
}

int Node::Discover() {
    ReadGroups(EnumerateGroups());
    return 0;
}

EnumeratedNames Node::EnumerateGroups() {
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> groups(
        ClusterOpenEnum(_clusterHandle, CLUSTER_ENUM_GROUP));
    if (groups) {
        return ReadNames(groups.Get(), &ClusterEnum, [this](DWORD code) {
            DisplayFailure(_error,
                           L"Node::Discover( int ). Failure calling ClusterEnum( )." + _error.GetErrorString(code));
        });
    }
    DisplayFailure(_error, L"Node::Discover( int ). Failure calling ClusterOpenEnum( )> ");
    return {};
}

void Node::ReadGroups(const EnumeratedNames& found) {
    _isUnread = false;
    _contradicted.clear();
    if (!_groups) return;
    RetireGroups(StaleKeys<Group>(*_groups, _clusterHandle, found));
    for (const std::wstring& name : found.names) DiscoverGroup(name);
}

void Node::ReadIfUnread() const {
    if (!_isUnread) return;
    auto* self = const_cast<Node*>(this);
    const auto contradicted = std::exchange(self->_contradicted, {});
    self->Discover();
    for (const auto& [name, notification] : contradicted) self->Update(name, notification);
}

void Node::DiscoverGroup(const std::wstring& groupName) {
    SetStatusBar(_statusBar);
    SetStatusBarText(groupName, 0);
    Group* group = KnownGroup(groupName);
    if (group) {
        if (!group->Handle()) group->Open();
    } else {
        auto made = MakeGroup(groupName);
        if (!made) return;
        group = made.get();
        _groups->Store(groupName, std::move(made));
    }
    if (!group->Handle()) return;
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

/// Takes groups out of the collections, and their resources with them; the objects live on.
void Node::RetireGroups(const StringArray& keys) {
    OwnedComponents::Objects leaving;
    for (const std::wstring& key : keys) {
        const Group* group = KnownGroup(key);
        if (!group || !group->ResourcesPtr()) continue;
        for (const auto& [name, resource] : *group->ResourcesPtr()) leaving.insert(resource);
    }
    _groups->Retire(keys);
    for (const auto& index : {_resources, _clusterResources.lock()})
        if (index) OwnedComponents::Unlist(*index, leaving);
}

Group* Node::KnownGroup(const std::wstring& groupName) const {
    return _groups->Member<Group>(groupName);
}

ClusterComponent* Node::Update(const std::wstring& changed, DWORD notification) {
    const std::wstring name = changed;  // may be the key or the name of what is deleted now
    ReadIfUnread();
    SetStatusBarText(L"Resetting Groups in " + _name, 0);
    if (!_groups) return nullptr;
    switch (notification) {
        case CLUSTER_CHANGE_GROUP_ADDED: return AddGroup(name);
        case CLUSTER_CHANGE_GROUP_DELETED: DeleteGroup(name); return nullptr;
        default: return UpdateGroups(name, notification);
    }
}

ClusterComponent* Node::AddGroup(const std::wstring& groupName) {
    Group* known = KnownGroup(groupName);
    if (known && IsCurrent(*known, groupName, _clusterHandle)) return known;
    if (known) RetireGroups({groupName});
    auto made = MakeGroup(groupName);
    Group* group = made.get();
    if (made) _groups->Add(std::move(made));
    return group;
}

void Node::DeleteGroup(const std::wstring& groupName) {
    CObject* listed = nullptr;
    if (_groups->Index()->Lookup(groupName, listed))
        _groups->Delete(groupName);
    else
        RetireGroups(StaleGroups());  // it was renamed since it was read
}

ClusterComponent* Node::UpdateGroups(const std::wstring& name, DWORD notification) {
    ClusterComponent* answer = nullptr;
    for (const auto& [key, object] : *_groups->Index()) {
        Group* group = dynamic_cast<Group*>(object);
        if (!group) continue;
        printf(L"Node::Update( ). Updating Group... %ws\n", name.c_str());
        answer = group->Update(name, notification);
    }
    if (!_resources) return answer;
    if (notification == CLUSTER_CHANGE_RESOURCE_DELETED) _resources->Delete(name);
    if (notification == CLUSTER_CHANGE_RESOURCE_ADDED) _resources->Add(answer);
    return answer;
}

/// As Update, with what the cluster knows. A node that was not read yet has nothing to keep in step, but takes the
/// cluster at its word, as others do, where it contradicts itself.
ClusterComponent* Node::Follow(const ToldChange& change) {
    const auto& [name, notification, holder, isContradicted] = change;
    if (!_groups) return nullptr;
    if (_isUnread) {
        if (isContradicted)
            _contradicted[name] = notification;
        else
            _contradicted.erase(name);
        return nullptr;
    }
    if (notification == CLUSTER_CHANGE_GROUP_STATE || notification == CLUSTER_CHANGE_GROUP_PROPERTY) FollowGroup(name);
    if (notification == CLUSTER_CHANGE_GROUP_ADDED && !StaleGroups().empty())
        FollowGroup(name);  // it may be one of them
    return holder.empty() ? Update(name, notification) : FollowResource(name, holder);
}

/// The keys of the groups that the cluster has under another name by now, or no longer.
StringArray Node::StaleGroups() {
    const platform::KeptLastError kept;
    return StaleKeys<Group>(*_groups, _clusterHandle, EnumerateGroups());
}

/// The group of that name as the cluster has it now: one that was renamed, or of whose making no notification came, is
/// read. Null when the cluster has none.
Group* Node::FollowGroup(const std::wstring& groupName) {
    const platform::KeptLastError kept;
    Group* known = KnownGroup(groupName);
    if (known && IsCurrent(*known, groupName, _clusterHandle)) return known;
    RetireGroups(StaleGroups());
    const platform::SharedHandle<HGROUP, CloseClusterGroup> opened(
        OpenClusterGroup(_clusterHandle, ApiName(groupName)));
    if (!opened || PresentName(opened.Get()) != groupName) return nullptr;
    DiscoverGroup(groupName);
    return KnownGroup(groupName);
}

ClusterComponent* Node::FollowResource(const std::wstring& resourceName, const std::wstring& holder) {
    Group* const group = FollowGroup(holder);
    if (!group) return nullptr;
    for (const auto& [key, object] : *_groups->Index()) {
        Group* other = KnownGroup(key);
        if (other && other != group) other->RetireResource(resourceName);
    }
    printf(L"Node::Update( ). Updating Group... %ws\n", resourceName.c_str());
    ClusterComponent* const resource = group->Update(resourceName, CLUSTER_CHANGE_RESOURCE_ADDED);
    if (_resources) _resources->Add(resource);
    return resource;
}

void Node::Info() {
    ReadIfUnread();
    printf(L"Node:%ws\n", _name.c_str());
    printf(L"   _name            :%ws\n", _name.c_str());
    printf(L"   _currentOwnerName:%ws\n", _currentOwnerName.c_str());
    if (!_groups) return;
    for (const auto& [key, object] : *_groups->Index()) {
        if (const auto* group = dynamic_cast<ClusterComponent*>(object)) printf(L"    %ws\n", group->Name().c_str());
    }
}
