#include <ostra/cluster/Resource.h>

#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/cluster/cluster_names.h>
#include <ostra/cluster/deleting.h>
#include <ostra/cluster/property_writes.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/display.h>
#include <ostra/properties/ObjectProperties.h>
#include <ostra/wizard/ResourceDependency.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/cluster/control_codes.h>

#include <algorithm>
#include <array>

namespace {

using platform::WriteOutputLine;

constexpr int onlineAttempts = 3;
constexpr DWORD onlinePause = 3000;  // milliseconds, after every attempt and again after a failed one

/// Null for a value that is no state.
const wchar_t* StateText(DWORD state) {
    switch (state) {
        case ClusterResourceInherited: return L"Resource is inherited.";
        case ClusterResourceInitializing: return L"Resource is initializing.";
        case ClusterResourceOnline: return L"Resource is online.";
        case ClusterResourceOffline: return L"Resource is offline.";
        case ClusterResourceFailed: return L"Resource failed.";
        case ClusterResourcePending: return L"Resource is pending.";
        case ClusterResourceOnlinePending: return L"Resource is online pending.";
        case ClusterResourceOfflinePending: return L"Resource is offline pending.";
        default: return nullptr;
    }
}

struct SubResources final : ClusterComponents {
    ~SubResources() override { DeleteMembers(*this); }
};

/// What the resources of one expert group have in common at the end of their names: as many characters as stand before
/// the first "for".
std::wstring NameTail(const std::wstring& name) {
    const std::size_t length = name.find(L"for");
    return length == std::wstring::npos ? std::wstring() : name.substr(name.size() - length);
}

}  // namespace

Resource::Resource(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName, int initialize) {
    _name = name;
    _clusterName = clusterName;
    _clusterHandle = cluster;
    if (initialize == 1) Initialize(0);
}

Resource::Resource(const std::wstring& name, ResourceType* type, HCLUSTER cluster, const std::wstring& clusterName,
                   int initialize)
    : _resourceType(type) {
    _name = name;
    _clusterName = clusterName;
    _clusterHandle = cluster;
    if (type) _type = type->Name();
    if (initialize == 1) Initialize(1);
}

Resource::Resource(const Resource& other) : ClusterComponent(), _handle(other._handle) {
    _clusterName = other._clusterName;
    _name = other._name;
    _clusterHandle = other._clusterHandle;
}

Resource& Resource::operator=(const Resource& other) {
    ClusterComponent::operator=(other);
    _groupHandle = other._groupHandle;
    _handle = other._handle;
    _resourceType = other._resourceType;
    _type = other._type;
    _driveLetter = other._driveLetter;
    _resources = other._resources;
    return *this;
}

void Resource::Initialize(int callTypeHook) {
    _handle.Reset();
    if (_clusterHandle) Open();
    _resources = MakeSharedOrNull<SubResources>();
    if (!_resources) DisplayFailure(_error, L"Resource::Resource( name ). Failure creating Resources list.");
    if (callTypeHook != 0 && _resourceType) _resourceType->InitializeParameters();
}

int Resource::Status(int) {
    if (!Open()) return 0;
    std::array<wchar_t, 200> node{};
    std::array<wchar_t, 200> group{};
    DWORD nodeSize = node.size();
    DWORD groupSize = group.size();
    const DWORD state = GetClusterResourceState(_handle.Get(), node.data(), &nodeSize, group.data(), &groupSize);
    const wchar_t* text = StateText(state);
    if (!text) {
        NoteUnknownState(state);
        _eventViewer << L"Resource::Info( int ). Unknown resource state after calling GetClusterResourceState( )." +
                            _error.GetErrorString(GetLastError());
        return 0;
    }
    _stateString = text;
    _parentName = group.data();
    SetStatus(state, _stateString);
    return 1;
}

int Resource::Create(HGROUP group, const StringArray* parameters, int bringOnline) {
    printf(L"Resource::Create( void ). On entry. _name:%ws\n", _name.c_str());
    printf(L"Resource::Create( void ). On entry. _handle:%p\n", static_cast<void*>(_handle.Get()));
    _handle.Reset();
    if (_resourceType)
        _handle.Reset(CreateClusterResource(group, ApiName(_name), ApiName(_resourceType->Name()), 0));
    else
        SetLastError(platform::error::InvalidParameter);
    if (!_handle) {
        DisplayFailure(_error, L"Resource::Create( ). Failure creating resource." + _name);
        return 0;
    }
    InitializeRegistry();
    UpdateRegistry(parameters);
    if (bringOnline != 1) return 1;
    const int result = BringOnLine();
    if (!result) WriteOutputLine(L"Resoruce::Create( ). Failure calling BringOnLine( ).");
    return result;
}

std::wstring Resource::Type() {
    if (_type.empty()) GetCommonAttributes();
    return _type;
}

int Resource::IsOnline() {
    return StatusCode(0) == ClusterResourceOnline;
}

int Resource::IsOffline() {
    return StatusCode(0) == ClusterResourceOffline;
}

void Resource::Info() {
    printf(L" _name         :%ws\n", _name.c_str());
    printf(L" _statusString :%ws\n", _status.StatusString().c_str());
    printf(L" _statusCode   :%d\n", _status.StatusCode());
}

int Resource::IsValid(DWORD controlCode) {
    return ControlCodeObject(controlCode) == CLUS_OBJECT_RESOURCE;
}

int Resource::Open() {
    _handle.Reset(OpenClusterResource(_clusterHandle, ApiName(_name)));
    if (_handle) return 1;
    DisplayFailure(_error, L"Resource::Open( ). Failure opening resource. " + _name);
    return 0;
}

int Resource::Close() {
    if (_handle.Close()) return 1;
    WriteOutputLine(L"Resource::Close( ). Failure closing resource.");
    return 0;
}

int Resource::BringOnLine() {
    for (int attempt = 0; attempt < onlineAttempts; ++attempt) {
        if (OnlineClusterResource(_handle.Get()) == platform::error::Success) {
            WriteOutputLine(L"Resource::BringOnLine( ). Resource brought on line!");
            platform::Sleep(onlinePause);
            return 1;
        }
        WriteOutputLine(L"Resource::BringOnLine( ). Failure executing OnLineClusterResource( ).");
        platform::Sleep(onlinePause);
        platform::Sleep(onlinePause);
    }
    return 0;
}

int Resource::BringOffLine() {
    if (OfflineClusterResource(_handle.Get()) != platform::error::Success) {
        WriteOutputLine(L"Resource::BringOffLine( ). Failure executing OffLineClusterResource( ).");
        return 0;
    }
    WriteOutputLine(L"Resource::BringOffLine( ). Resource brought off line!");
    return 1;
}

int Resource::Discover(int deep) {
    if (deep != 0) {
        GetCommonAttributes();
        GetPrivateAttributes();
    }
    return 0;
}

DWORD Resource::GetCommonAttributes() {
    _commonAttributes.clear();
    return IsOpen() ? ReadProperties(_commonAttributes, CLUSCTL_RESOURCE_GET_COMMON_PROPERTIES) : 0;
}

DWORD Resource::GetPrivateAttributes() {
    _privateAttributes.clear();
    return IsOpen() ? ReadProperties(_privateAttributes, CLUSCTL_RESOURCE_GET_PRIVATE_PROPERTIES) : 0;
}

DWORD Resource::GetAttributes(StringMap* map, DWORD controlCode) {
    if (!map) return 0;
    map->clear();
    if (controlCode != 0) return ReadProperties(*map, controlCode);
    ReadProperties(*map, CLUSCTL_RESOURCE_GET_COMMON_PROPERTIES);
    return ReadProperties(*map, CLUSCTL_RESOURCE_GET_PRIVATE_PROPERTIES);
}

bool Resource::IsOpen() const {
    if (!_handle) SetLastError(platform::error::InvalidHandle);
    return static_cast<bool>(_handle);
}

DWORD Resource::ReadProperties(StringMap& map, DWORD controlCode) {
    const DWORD count = ResourceProperties(_handle.Get()).Get(&map, controlCode);
    const auto type = map.find(L"Type");
    if (type != map.end()) _type = type->second;
    return count;
}

int Resource::SetAttributes(const StringArray* parameters, DWORD controlCode) {
    if (controlCode != CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES &&
        controlCode != CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES) {
        SetLastError(platform::error::InvalidParameter);
        DisplayFailure(_error,
                       L"Resource::SetAttributes( ). Invalid control code. " + _error.GetErrorString(GetLastError()));
        return 0;
    }
    return static_cast<int>(WriteByType<ResourceProperties>(_handle.Get(), parameters, controlCode));
}

int Resource::SetPossibleOwners(const StringArray* nodeNames) {
    printf(L"Resource::SetPossibleOwners( CStringArray* )\n");
    if (!nodeNames) return 0;
    for (const std::wstring& name : *nodeNames) {
        const platform::SharedHandle<HNODE, CloseClusterNode> node(OpenClusterNode(_clusterHandle, ApiName(name)));
        if (!_handle || !node) continue;
        const DWORD status = AddClusterResourceNode(_handle.Get(), node.Get());
        printf(L"Resource::SetPossibleOwners( ). status:%ws\n", _error.GetErrorString(status).c_str());
    }
    return 0;
}

int Resource::SetDependencies(const StringArray* resourceNames) {
    if (!resourceNames) return 0;
    int result = 0;
    for (const std::wstring& name : *resourceNames) {
        const platform::SharedHandle<HRESOURCE, CloseClusterResource> other(
            OpenClusterResource(_clusterHandle, ApiName(name)));
        if (other && AddDependency(other.Get(),
                                   L"Resoruce::SetDependencies( CStringArray* ). "
                                   L"Failure calling AddClusterResourceDependency( )."))
            result = 1;
    }
    return result;
}

int Resource::SetDependencies(const ClusterComponents* resources, int includeDisks) {
    if (!resources) return 1;
    const std::wstring tail = NameTail(_name);
    const ResourceDependency dependencies(Type());
    for (const auto& [key, member] : *resources) {
        auto* candidate = dynamic_cast<Resource*>(member);
        if (!candidate) continue;
        const std::wstring type = candidate->Type();
        if (!dependencies.IsDependent(type)) continue;
        const bool isAnyName = type == physicalDiskType && includeDisks != 0;
        if (isAnyName || candidate->Name().find(tail) != std::wstring::npos)
            AddDependency(candidate->Handle(),
                          L"Resoruce::SetDependencies( ClusterComponents* ). "
                          L"Failure calling AddClusterResourceDependency( ).");
    }
    return 1;
}

bool Resource::AddDependency(HRESOURCE other, const wchar_t* failure) {
    const DWORD status = AddClusterResourceDependency(_handle.Get(), other);
    if (status == platform::error::Success) return true;
    DisplayFailure(_error, failure + _error.GetErrorString(status));
    return false;
}

int Resource::MakeItDependOn(Resource* other) {
    const HRESOURCE dependsOn = other ? other->Handle() : nullptr;
    if (AddClusterResourceDependency(_handle.Get(), dependsOn) == platform::error::Success) return 1;
    WriteOutputLine(L"Resoruce::MakeItDependOn( ). Failure calling AddClusterResourceDependency( ).");
    return 0;
}

int Resource::Adopt(Resource* child) {
    _clusterComponents->Add(child);
    return _clusterComponents->NumberOfComponents();
}

std::wstring Resource::GetDriveLetter() {
    if (_type == physicalDiskType && _driveLetter.empty()) {
        StringMap disk;
        GetAttributes(&disk, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO);
        _driveLetter = disk[L"Partition"];
    }
    return _driveLetter;
}

int Resource::InitializeRegistry() {
    _resourceType->InitializeParameters();
    WriteTypeParameters();
    return 1;
}

int Resource::UpdateRegistry(const StringArray* parameters) {
    printf(L"Resource::UpdateRegistry( void ). On entry. %p\n", static_cast<const void*>(parameters));
    if (parameters && !parameters->empty()) {
        _resourceType->UpdateParameters(parameters);
        WriteTypeParameters();
    }
    printf(L"Resource::UpdateRegistry( void ). On exit.\n");
    return 1;
}

void Resource::WriteTypeParameters() {
    SetAttributes(&_resourceType->Parameters(ResourceType::commonList), CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES);
    SetAttributes(&_resourceType->Parameters(ResourceType::privateList), CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES);
}
