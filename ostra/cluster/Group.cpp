#include <ostra/cluster/Group.h>

#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/Resource.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/display.h>
#include <ostra/registry/TypedClusterKeys.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>

#include <algorithm>
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
    if (state >= stateTexts.size()) return 0;
    _stateString = stateTexts[state];
    SetStatus(state, _stateString);
    return 1;
}

int Group::Create(const StringArray* parameters, int online) {
    const HGROUP created = CreateClusterGroup(_clusterHandle, _name.c_str());
    const DWORD code = created ? Success : GetLastError();
    _handle.Reset(created);
    if (!created) {
        printf(L"Group::Create( ). Failure creating group.%ws.", _error.GetErrorString(code).c_str());
        SetLastError(code);  // for the caller's own report
        return 0;
    }
    return FinishCreation(parameters, online, L"Group::Create( ). Failureing calling Group::BringOnLine( ).");
}

int Group::Change(const StringArray* parameters, int online) {
    const HGROUP opened = OpenClusterGroup(_clusterHandle, _name.c_str());
    const DWORD code = opened ? Success : GetLastError();
    _handle.Reset(opened);
    if (!opened) {
        DisplayFailure(_error,
                       L"Group::Change( ). Failure calling OpenClusterGroup( ). " + _error.GetErrorString(code));
        return 0;
    }
    return FinishCreation(parameters, online, L"Group::Change( ). Failureing calling Group::BringOnLine( ).");
}

int Group::FinishCreation(const StringArray* parameters, int online, const std::wstring& onlineFailure) {
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

int Group::Open() {
    _handle.Reset(OpenClusterGroup(_clusterHandle, _name.c_str()));
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
    const DWORD number = nodes ? static_cast<DWORD>(std::max(count, 0)) : 0;
    if (SetClusterGroupNodeList(Handle(), number, nodes) != Success) {
        _eventViewer << L"Group::SetPreferredOwners( ). Failure calling wolfpack API::SetClusterNodeList( ).";
    }
    return 0;
}

int Group::BringOnLine() {
    return Ask([](HGROUP group) { return OnlineClusterGroup(group, nullptr); }, L" was brought online!",
               L"Group::BringOnLine( ). Failure executing OnLineClusterGroup( ) for ");
}

int Group::BringOffLine() {
    return Ask(&OfflineClusterGroup, L" was brought offline!",
               L"Group::BringOffLine( ). Failure executing OffLineClusterGroup( ) for ");
}

int Group::MoveGroup() {
    return Ask([](HGROUP group) { return MoveClusterGroup(group, nullptr); }, L" was moved!",
               L"Group::MoveGroup( ). Failure executing MoveClusterGroup( ) for ");
}

int Group::Ask(DWORD (*request)(HGROUP), const std::wstring& done, const std::wstring& failure) {
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
    if (SetClusterGroupName(Handle(), newName.c_str()) != Success) {
        printf(L"Group::Rename( ). Failure executing SetClusterGroupName( ).\n");
        return 0;
    }
    printf(L"Group::Rename( ). Group renameed!\n");
    return 1;
}

Resource* Group::FindResource(const std::wstring& resourceName) const {
    return _resources ? dynamic_cast<Resource*>(_resources->Index()->Find(resourceName)) : nullptr;
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

ClusterComponent* Group::Update(const std::wstring& name, DWORD notification) {
    if (!_resources) return nullptr;
    if (notification == CLUSTER_CHANGE_RESOURCE_DELETED) _resources->Delete(name);
    if (notification != CLUSTER_CHANGE_RESOURCE_ADDED) return nullptr;
    auto made = MakeOrNull<Resource>(name, _clusterHandle, _clusterName, 1);
    if (!made) return nullptr;
    Resource* resource = made.get();
    _resources->Add(std::move(made));
    return resource;
}

int Group::Discover(int) {
    if (!_handle) {
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
    ForEachName(
        resources.Get(), &ClusterGroupEnum, [this](const std::wstring& name) { AddDiscovered(name); },
        [this](DWORD code) {
            DisplayFailure(_error,
                           L"Group::Discover( int ). Failure calling ClusterEnum( ). " + _error.GetErrorString(code));
        });
    return 0;
}

void Group::AddDiscovered(const std::wstring& resourceName) {
    if (!_resources || _resources->Index()->Find(resourceName)) return;
    if (auto made = MakeOrNull<Resource>(resourceName, _clusterHandle, _clusterName, 1)) {
        _resources->Store(resourceName, std::move(made));
    }
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
