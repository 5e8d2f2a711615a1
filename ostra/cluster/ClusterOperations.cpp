#include <ostra/cluster/Cluster.h>

#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/Resource.h>
#include <ostra/cluster/cluster_names.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/ParameterString.h>
#include <ostra/foundation/display.h>
#include <ostra/network/TCPIPAddress.h>
#include <ostra/wizard/ExpertGroup.h>
#include <ostra/wizard/ExpertWizard.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t maximumPreferredOwners = 10;

/// The parts of a text that "#" ends; the last one needs none.
StringArray SplitAtHashes(const std::wstring& text) {
    StringArray parts;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find(L'#', start), text.size());
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

}  // namespace

namespace OstraDLL {

Node* Cluster::FindNode(const std::wstring& nodeName) {
    Node* node = ListedNode(nodeName);
    if (!node) platform::WriteOutputLine(L"Cluster::FindNode( ). Failure finding node " + nodeName);
    return node;
}

Node* Cluster::ListedNode(const std::wstring& nodeName) const {
    auto* node = _nodes ? dynamic_cast<Node*>(_nodes->Index()->Find(nodeName)) : nullptr;
    if (!node) SetLastError(platform::error::ClusterNodeNotFound);
    return node;
}

Group* Cluster::ListedGroup(const std::wstring& groupName) const {
    auto* group = _groups ? dynamic_cast<Group*>(_groups->Index()->Find(groupName)) : nullptr;
    if (!group) SetLastError(platform::error::GroupNotFound);
    return group;
}

Group* Cluster::FindGroup(const std::wstring& groupName) {
    const platform::SharedHandle<HGROUP, CloseClusterGroup> opened(OpenClusterGroup(Handle(), ApiName(groupName)));
    if (!opened) return nullptr;
    auto group = MakeOrNull<Group>(groupName, Handle(), _clusterName, opened.Get());
    if (!group) DisplayFailure(_error, L"Cluster::FindGroup( CString) . Failure newing Group.");
    return group.release();
}

Resource* Cluster::GetResource(const std::wstring& groupName, const std::wstring& resourceName) {
    Group* group = ListedGroup(groupName);
    if (!group) {
        platform::WriteOutputLine(L"Cluster::GetResource( groupName ). Invalid group name " + groupName);
        return nullptr;
    }
    Resource* resource = group->GetResource(resourceName);
    if (!resource) platform::WriteOutputLine(L"Cluster::GetResource( ). Failure calling Group::GetResource( )");
    return resource;
}

template <typename Report, typename Operation>
int Cluster::WithGroup(const std::wstring& groupName, const Report& reportUnknown, const Operation& operation) {
    Group* group = ListedGroup(groupName);
    if (!group) {
        reportUnknown();
        return 0;
    }
    return group->Open() ? operation(*group) : 0;
}

int Cluster::BringGroupOnLine(const std::wstring& groupName) {
    return WithGroup(
        groupName, [&] { _eventViewer << L"Cluster::BringGroupOnLine( groupName ). Invalid group name " + groupName; },
        [](Group& group) { return group.BringOnLine(); });
}

int Cluster::BringGroupOffLine(const std::wstring& groupName) {
    return WithGroup(
        groupName, [&] { _eventViewer << L"Cluster::BringGroupOffLine( groupName ). Invalid group name " + groupName; },
        [](Group& group) { return group.BringOffLine(); });
}

int Cluster::BringResourceOnLine(const std::wstring& groupName, const std::wstring& resourceName) {
    return WithGroup(
        groupName,
        [&] { _eventViewer << L"Cluster::BringResourceOnLine( groupName ). Invalid group name " + groupName; },
        [&](Group& group) { return group.BringResourceOnLine(resourceName); });
}

int Cluster::BringResourceOffLine(const std::wstring& groupName, const std::wstring& resourceName) {
    return WithGroup(
        groupName,
        [&] { _eventViewer << L"Cluster::BringResourceOffLine( groupName ). Invalid group name " + groupName; },
        [&](Group& group) { return group.BringResourceOffLine(resourceName); });
}

int Cluster::MoveGroup(const std::wstring& groupName) {
    return WithGroup(
        groupName,
        [&] { platform::WriteOutputLine(L"Cluster::MoveGroup( groupName ). Invalid group name " + groupName); },
        [](Group& group) { return group.MoveGroup(); });
}

int Cluster::RenameGroup(const std::wstring& oldName, const std::wstring& newName) {
    return WithGroup(
        oldName,
        [this] {
            platform::WriteOutputLine(L"Cluster::RenameGroup( oldName ). Invalid group name ");
            SetError(0, L"Invalid group name: ");
        },
        [&](Group& group) { return group.Rename(newName); });
}

Group* Cluster::CreateGroup(const std::wstring& groupName, const StringArray* parameters) {
    auto made = MakeOrNull<Group>(groupName, _clusterHandle, _clusterName, 1, 1);
    if (!made) {
        _eventViewer << L"Cluster::Create( ). Failure newing Group.";
        return nullptr;
    }
    made->SetClusterName(_clusterName);
    if (!made->Create(parameters, 0)) {
        DisplayFailure(_error, L"Cluster::CreateGroup( ). Failure calling Group::Create( )." + _name + L" " +
                                   _error.GetErrorString(GetLastError()));
        return made.release();
    }
    if (parameters && !parameters->empty()) SetPreferredOwners(made.get(), parameters);
    if (!_groups) return made.release();
    Group* group = made.get();
    _groups->Store(group->Name(), std::move(made));
    return group;
}

ExpertGroup* Cluster::CreateGroup(const std::wstring& groupName, const std::wstring& expertGroupType,
                                  const std::vector<StringArray*>& lists, const StringArray* groupParameters) {
    SetStatusBarText(L"Creating Expert Group " + groupName, 0);
    if (!ExpertWizard().IsValidExpertGroupType(expertGroupType)) {
        SetLastError(platform::error::FileNotFound);
        DisplayFailure(_error, L"Cluster::CreateGroup( ). Invalid Expert Group type " + expertGroupType);
        return nullptr;
    }
    auto made = MakeOrNull<ExpertGroup>(groupName, expertGroupType, _clusterHandle, _clusterName);
    if (!made) return nullptr;
    if (!made->Create(lists, groupParameters, 1)) {
        DisplayFailure(_error, L"Cluster::CreateGroup( ). Failure creating ExpertGroup:" + groupName);
        return made.release();
    }
    if (!_groups) return made.release();
    ExpertGroup* group = made.get();
    _groups->Store(group->Name(), std::move(made));
    return group;
}

ExpertGroup* Cluster::ChangeGroup(const std::wstring& groupName, const std::wstring& expertGroupType,
                                  const std::vector<StringArray*>& lists, const StringArray* existingNames,
                                  const StringArray* unused) {
    if (!ExpertWizard().IsValidExpertGroupType(expertGroupType)) {
        SetLastError(platform::error::FileNotFound);
        _eventViewer << L"Cluster::ChangeGroup( ). Invalid Expert Group type " + expertGroupType;
        return nullptr;
    }
    const Group* group = ListedGroup(groupName);
    if (!group) {
        DisplayFailure(_error, L"Cluster::ChangeGroup( ). Group not found:" + groupName);
        return nullptr;
    }
    auto changed = MakeOrNull<ExpertGroup>(*group);
    if (!changed) return nullptr;
    changed->GetWizardGUI(expertGroupType);
    if (!changed->Change(lists, unused, existingNames, 1)) {
        _eventViewer << L"Cluster::ChangeGroup( ). Failure creating ExpertGroup:" + groupName;
    }
    return changed.release();
}

Resource* Cluster::CreateResource(const std::wstring& groupName, const std::wstring& resourceName, ResourceType* type,
                                  const StringArray* parameters) {
    Group* group = ListedGroup(groupName);
    if (!group) return nullptr;
    std::unique_ptr<Resource> made(
        group->CreateResource(resourceName, type, parameters, 0, 0, 0, 0));  // not stored there
    Resource* resource = made.get();
    if (made && _resources) _resources->Store(resourceName, std::move(made));
    return resource;
}

int Cluster::SetPreferredOwners(Group* group, const StringArray* parameters) {
    if (!parameters || parameters->empty()) return 0;
    std::vector<HNODE> owners;
    for (const std::wstring& text : *parameters) {
        const ParameterString parameter(text);
        if (parameter.name == L"PreferredOwners") AppendOwners(owners, SplitAtHashes(std::wstring(parameter.value)));
    }
    if (!owners.empty() && group) group->SetPreferredOwners(static_cast<int>(owners.size()), owners.data());
    return 0;
}

void Cluster::AppendOwners(std::vector<HNODE>& owners, const StringArray& nodeNames) {
    for (const std::wstring& name : nodeNames) {
        Node* node = ListedNode(name);
        const HNODE handle = node ? OpenedHandle(*node) : nullptr;
        if (!handle || owners.size() == maximumPreferredOwners) continue;
        printf(L"Cluster::SetPreferredOwners( ). Adding %ws to list.\n", name.c_str());
        owners.push_back(handle);
    }
}

HNODE Cluster::OpenedHandle(Node& node) {
    if (!node.Handle()) node.Open();
    return node.Handle();
}

int Cluster::GetAllTCPIPAddresses(CArray<CObject*>* addresses, const std::wstring& networkAttribute,
                                  const std::wstring& addressAttribute, const std::wstring& resourceType) {
    printf(L"Cluster::GetAllTCPIPAddresses( CStringArray* ). On entry.\n");
    if (!addresses || !_resources) return 0;
    for (const auto& [key, object] : *_resources->Index()) {
        auto* resource = dynamic_cast<Resource*>(object);
        if (!resource) continue;
        resource->Discover(1);
        if (resource->Type() != resourceType) continue;
        auto record = MakeOrNull<TCPIPAddress>(resource->GetPrivateAttribute(addressAttribute), L"255.255.255.0",
                                               L"0.0.0.0", resource->GetPrivateAttribute(networkAttribute));
        if (record) addresses->Add(record.release());
    }
    return 0;
}

int Cluster::RemoveAllOwners(Resource* resource) {
    int result = Open(1);
    if (!result || !_nodes || !resource) return result;
    std::vector<Node*> nodes;
    for (const auto& [key, object] : *_nodes->Index()) {
        if (Node* node = dynamic_cast<Node*>(object)) nodes.push_back(node);
    }
    for (Node* node : nodes) {
        const DWORD code = RemoveClusterResourceNode(resource->Handle(), OpenedHandle(*node));
        if (code == platform::error::Success) {
            result = 1;
        } else {
            _eventViewer << L"Cluster::RemoveAllOwners( ). Failure calling RemoveClsuterReosurceNode( ). " +
                                _error.GetErrorString(code);
        }
    }
    return result;
}

}  // namespace OstraDLL
