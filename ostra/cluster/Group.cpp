#include <ostra/cluster/Group.h>

#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/Resource.h>
#include <ostra/cluster/discovery.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/display.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>

#include <array>
#include <utility>

namespace {

using platform::error::Success;

constexpr std::array<const wchar_t*, 4> stateTexts{L"Group on line.", L"Group off line.", L"Group failed.",
                                                   L"Group partial on line."};

}  // namespace

Group::Group(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize, int open) {
    _name = name;
    _clusterName = clusterName;
    _clusterHandle = cluster;
    if (initialize == 1) Initialize(open);
}

Group::Group(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, HGROUP)
    : Group(name, cluster, clusterName, 1, 1) {}

Group::Group(const Group& other) : ClusterComponent(), _resources(other._resources), _handle(other._handle) {
    _name = other._name;
    _clusterName = other._clusterName;
    _clusterHandle = other._clusterHandle;
    _currentOwnerName = other._currentOwnerName;
}

Group::~Group() {
    _resources.reset();
}

int Group::Status(int) {
    if (!Open()) {
        SetError(0, L"Group::Status( void ). Failure opening group ");
        return 0;
    }
    std::array<wchar_t, 256> owner{};
    DWORD ownerSize = 200;
    const DWORD state = GetClusterGroupState(Handle(), owner.data(), &ownerSize);
    if (state == ClusterStateUnknown) return 1;
    _currentOwnerName = owner.data();
    if (state >= stateTexts.size()) {
        state == ClusterGroupPending ? SetLastError(platform::error::IoPending) : NoteUnknownState(state);
        return 0;
    }
    _stateString = stateTexts[state];
    SetStatus(state, _stateString);
    return 1;
}

int Group::Create(const StringArray* parameters, int online) {
    const HGROUP created = CreateClusterGroup(_clusterHandle, ApiName(_name));
    if (!created)
        printf(L"Group::Create( ). Failure creating group.%ws.", _error.GetErrorString(GetLastError()).c_str());
    return Take(created, parameters, online, L"Group::Create( ). Failureing calling Group::BringOnLine( ).");
}

int Group::Change(const StringArray* parameters, int online) {
    const HGROUP opened = OpenClusterGroup(_clusterHandle, ApiName(_name));
    if (!opened) {
        DisplayFailure(
            _error, L"Group::Change( ). Failure calling OpenClusterGroup( ). " + _error.GetErrorString(GetLastError()));
    }
    return Take(opened, parameters, online, L"Group::Change( ). Failureing calling Group::BringOnLine( ).");
}

int Group::Take(HGROUP group, const StringArray* parameters, int online, const wchar_t* onlineFailure) {
    _handle.Reset(group);
    if (!group) return 0;
    if (parameters && !parameters->empty()) SetParameters(parameters);
    if (!online) return 1;
    const int result = BringOnLine();
    if (!result) _eventViewer << onlineFailure;
    return result;
}

void Group::Initialize(int open) {
    _handle.Reset();
    _resources = OwnedComponents::Succeeding(_resources);
    if (!_resources) DisplayFailure(_error, L"Group::Group( ). Failure creating Resources list.");
    if (!_clusterHandle || open != 1) return;
    if (!Open()) printf(L"Group::Group( ). Failure opening group %ws\n", _name.c_str());
}

ClusterComponents* Group::ResourcesPtr() const {
    return _resources ? _resources->Index() : nullptr;
}

void Group::ListResourcesIn(const std::weak_ptr<ClusterComponents>& index) {
    if (_resources) _resources->AlsoListedIn(index);
}

void Group::RetireResource(const std::wstring& resourceName) {
    if (_resources && _resources->Member<Resource>(resourceName)) _resources->Retire({resourceName});
}

void Group::DeleteUnlisted() {
    if (_resources) _resources->DeleteUnlisted();
}

int Group::Open() {
    _handle.Reset(OpenClusterGroup(_clusterHandle, ApiName(_name)));
    if (_handle) return 1;
    _eventViewer << L"Group::Open( ). Failure opening group." + _name;
    return 0;
}

int Group::SetParameters(const StringArray* parameters) {
    int result = 1;
    if (!_parameters.empty()) result = WriteParameters(_parameters);
    if (parameters && !parameters->empty()) result = WriteParameters(*parameters);
    return result;
}

int Group::WriteParameters(const StringArray& parameters) {
    ClusterGroupKey key(Handle(), _clusterHandle);
    const int result = key.SetParameters(&parameters, L"Root");
    if (!result) _eventViewer << L"Group::SetParameters( ). Failure calling Group::SetParameters( ).";
    return result;
}

int Group::SetPreferredOwners(int count, HNODE* nodes) {
    const bool isList = count == 0 || (count > 0 && nodes);
    if (!isList) SetLastError(platform::error::InvalidParameter);
    if (!isList || SetClusterGroupNodeList(Handle(), static_cast<DWORD>(count), nodes) != Success) {
        _eventViewer << L"Group::SetPreferredOwners( ). Failure calling wolfpack API::SetClusterNodeList( ).";
    }
    return 0;
}

int Group::BringOnLine() {
    return Request([](HGROUP group) { return OnlineClusterGroup(group, nullptr); }, L" was brought online!",
                   L"Group::BringOnLine( ). Failure executing OnLineClusterGroup( ) for ");
}

int Group::BringOffLine() {
    return Request(&OfflineClusterGroup, L" was brought offline!",
                   L"Group::BringOffLine( ). Failure executing OffLineClusterGroup( ) for ");
}

int Group::MoveGroup() {
    return Request([](HGROUP group) { return MoveClusterGroup(group, nullptr); }, L" was moved!",
                   L"Group::MoveGroup( ). Failure executing MoveClusterGroup( ) for ");
}

int Group::Request(DWORD (*request)(HGROUP), const wchar_t* done, const wchar_t* failure) {
    if (!Open()) return 0;
    if (request(Handle()) == Success) {
        _eventViewer.ResetEventType(NTEventViewer::Information);
        _eventViewer << L"Cluster group " + _name + done;
        _eventViewer.ResetEventType(NTEventViewer::Error);
    } else {
        _eventViewer << failure + _name;
    }
    return 1;
}

int Group::Rename(const std::wstring& newName) {
    const bool isDone = SetClusterGroupName(Handle(), ApiName(newName)) == Success;
    printf(isDone ? L"Group::Rename( ). Group renameed!\n"
                  : L"Group::Rename( ). Failure executing SetClusterGroupName( ).\n");
    return isDone ? 1 : 0;
}

Resource* Group::FindResource(const std::wstring& resourceName) const {
    auto* resource = _resources ? dynamic_cast<Resource*>(_resources->Index()->Find(resourceName)) : nullptr;
    if (!resource) SetLastError(platform::error::ResourceNotFound);
    return resource;
}

Resource* Group::GetResource(const std::wstring& resourceName) {
    Resource* resource = FindResource(resourceName);
    if (!resource) printf(L"Group::GetResource( )> Failure finding resource.\n");
    return resource;
}

int Group::BringResourceOnLine(const std::wstring& resourceName) {
    if (Resource* resource = FindResource(resourceName)) return resource->BringOnLine();
    printf(L"Group::BringResourceOnLine( resourceName ). Invalid resource name %ws.\n", resourceName.c_str());
    return 0;
}

int Group::BringResourceOffLine(const std::wstring& resourceName) {
    if (Resource* resource = FindResource(resourceName)) return resource->BringOffLine();
    printf(L"Group::BringResourceOffLine( resourceName ). Invalid resource name %ws\n", resourceName.c_str());
    return 0;
}

Resource* Group::CreateResource(const std::wstring& resourceName, ResourceType* type, const StringArray* parameters,
                                int dependencies, int online, int store, int dependencyArgument) {
    auto made = MakeOrNull<Resource>(resourceName, type, _clusterHandle, _clusterName, 0);
    if (!made) {
        _eventViewer << L"Group::CreateResource( ). Failure newing Resource.";
        return nullptr;
    }
    made->SetClusterName(_clusterName);
    int result = made->Create(Handle(), parameters, 0);
    if (!result) return made.release();
    if (dependencies == 1 && _resources) result = made->SetDependencies(_resources->Index(), dependencyArgument);
    if (online == 1) result = made->BringOnLine();
    if (!result) {
        _eventViewer << L"Group::CreateResource( ). Failure calling Resource::SetDependencies( )." +
                            _error.GetErrorString(GetLastError());
    }
    if (!result || !store || !_resources) return made.release();
    Resource* resource = made.get();
    _resources->Store(resourceName, std::move(made));
    return resource;
}

Resource* Group::ChangeResource(const std::wstring& resourceName, ResourceType*, const StringArray* parameters, int,
                                int online, int) {
    Resource* resource = FindResource(resourceName);
    if (!resource) {
        DisplayFailure(_error, L"Group::ChangeResource( ). Failure finding Resource." + resourceName);
        return nullptr;
    }
    if (!resource->Change(Handle(), parameters, 0)) return resource;
    if (online == 1 && !resource->BringOnLine()) {
        _eventViewer << L"Group::ChangeResource( ). Failure calling Resource::SetDependencies( )." +
                            _error.GetErrorString(GetLastError());
    }
    return resource;
}

ClusterComponent* Group::Update(const std::wstring& changed, DWORD notification) {
    const std::wstring name = changed;  // may be the key or the name of what is deleted now
    if (!_resources) return nullptr;
    if (notification == CLUSTER_CHANGE_RESOURCE_DELETED) _resources->Delete(name);
    if (notification != CLUSTER_CHANGE_RESOURCE_ADDED) return nullptr;
    auto* known = _resources->Member<Resource>(name);
    if (known && IsCurrent(*known, name, _clusterHandle)) return known;
    auto made = MakeOrNull<Resource>(name, _clusterHandle, _clusterName, 1);
    Resource* resource = made.get();
    if (known) RetireResource(name);
    if (made) _resources->Add(std::move(made));
    return resource;
}

int Group::Discover(int) {
    if (!_handle) {
        SetLastError(platform::error::InvalidHandle);
        DisplayFailure(_error, L"Group::Discover( int ). Invalid group handle for " + _name);
        return 0;
    }
    const platform::SharedHandle<HGROUPENUM, ClusterGroupCloseEnum> resources(
        ClusterGroupOpenEnum(Handle(), CLUSTER_GROUP_ENUM_CONTAINS));
    if (!resources) {
        DisplayFailure(_error, L"Group::Discover( int ). Failure calling ClusterGroupOpenEnum( )." +
                                   _error.GetErrorString(GetLastError()));
        return 0;
    }
    const EnumeratedNames found = ReadNames(resources.Get(), &ClusterGroupEnum, [this](DWORD code) {
        DisplayFailure(_error,
                       L"Group::Discover( int ). Failure calling ClusterEnum( ). " + _error.GetErrorString(code));
    });
    if (!_resources) return 0;
    _resources->Retire(StaleKeys<Resource>(*_resources, _clusterHandle, found));
    const ClusterComponents& index = *_resources->Index();
    const bool isFirst = index.IsEmpty();
    for (const std::wstring& name : found.names) {
        if (!isFirst && index.Find(name)) continue;
        if (auto made = MakeOrNull<Resource>(name, _clusterHandle, _clusterName, 1))
            _resources->Store(name, std::move(made));
    }
    return 0;
}

void Group::Info() {
    printf(L"_iD              :%d\n", _iD);
    printf(L"_name            :%ws\n", _name.c_str());
    printf(L"_currentOwnerName:%ws\n", _currentOwnerName.c_str());
    printf(L"_statusString    :%ws\n", StatusString(0).c_str());
    if (!_resources) return;
    for (const auto& [key, object] : *_resources->Index()) {
        if (const auto* resource = dynamic_cast<ClusterComponent*>(object)) {
            printf(L"   name:%ws\n", resource->Name().c_str());
        }
    }
}
