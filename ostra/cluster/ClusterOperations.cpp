#include <ostra/cluster/Cluster.h>

#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/Resource.h>
#include <ostra/foundation/MakeOrNull.h>
#include <ostra/foundation/display.h>
#include <ostra/wizard/ExpertGroup.h>
#include <ostra/wizard/ExpertWizard.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t maximumPreferredOwners = 10;

/// The value of a parameter string (name=TYPE:value) of that name; empty for any other.
std::wstring ValueOfParameter(const std::wstring& parameter, const std::wstring& name) {
    const std::size_t equals = parameter.find(L'=');
    if (equals == std::wstring::npos || parameter.substr(0, equals) != name) return {};
    const std::size_t colon = parameter.find(L':', equals);
    return colon == std::wstring::npos ? std::wstring() : parameter.substr(colon + 1);
}

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
    return _nodes ? dynamic_cast<Node*>(_nodes->Index()->Find(nodeName)) : nullptr;
}

Group* Cluster::ListedGroup(const std::wstring& groupName) const {
    return _groups ? dynamic_cast<Group*>(_groups->Find(groupName)) : nullptr;
}

Group* Cluster::FindGroup(const std::wstring& groupName) {
    if (!_handle) return nullptr;
    const platform::SharedHandle<HGROUP, CloseClusterGroup> opened(OpenClusterGroup(Handle(), groupName.c_str()));
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

Group* Cluster::OpenListedGroup(const std::wstring& groupName, const wchar_t* unknownGroup) {
    Group* group = ListedGroup(groupName);
    if (!group) _eventViewer << unknownGroup + groupName;
    return group && group->Open() ? group : nullptr;
}

int Cluster::BringGroupOnLine(const std::wstring& groupName) {
    Group* group = OpenListedGroup(groupName, L"Cluster::BringGroupOnLine( groupName ). Invalid group name ");
    return group ? group->BringOnLine() : 0;
}

int Cluster::BringGroupOffLine(const std::wstring& groupName) {
    Group* group = OpenListedGroup(groupName, L"Cluster::BringGroupOffLine( groupName ). Invalid group name ");
    return group ? group->BringOffLine() : 0;
}

int Cluster::BringResourceOnLine(const std::wstring& groupName, const std::wstring& resourceName) {
    Group* group = OpenListedGroup(groupName, L"Cluster::BringResourceOnLine( groupName ). Invalid group name ");
    return group ? group->BringResourceOnLine(resourceName) : 0;
}

int Cluster::BringResourceOffLine(const std::wstring& groupName, const std::wstring& resourceName) {
    Group* group = OpenListedGroup(groupName, L"Cluster::BringResourceOffLine( groupName ). Invalid group name ");
    return group ? group->BringResourceOffLine(resourceName) : 0;
}

int Cluster::MoveGroup(const std::wstring& groupName) {
    Group* group = ListedGroup(groupName);
    if (!group) {
        platform::WriteOutputLine(L"Cluster::MoveGroup( groupName ). Invalid group name " + groupName);
        return 0;
    }
    return group->Open() ? group->MoveGroup() : 0;
}

int Cluster::RenameGroup(const std::wstring& oldName, const std::wstring& newName) {
    Group* group = ListedGroup(oldName);
    if (!group) {
        platform::WriteOutputLine(L"Cluster::RenameGroup( oldName ). Invalid group name ");
        SetError(0, L"Invalid group name: ");
        return 0;
    }
    return group->Open() ? group->Rename(newName) : 0;
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
    const std::shared_ptr<Group> group = std::move(made);
    Keep(group);
    return group.get();
}

ExpertGroup* Cluster::CreateGroup(const std::wstring& groupName, const std::wstring& expertGroupType,
                                  const std::vector<StringArray*>& lists, const StringArray* groupParameters) {
    SetStatusBarText(L"Creating Expert Group " + groupName, 0);
    if (!ExpertWizard().IsValidExpertGroupType(expertGroupType)) {
        DisplayFailure(_error, L"Cluster::CreateGroup( ). Invalid Expert Group type " + expertGroupType);
        return nullptr;
    }
    auto made = MakeOrNull<ExpertGroup>(groupName, expertGroupType, _clusterHandle, _clusterName);
    if (!made) return nullptr;
    if (!made->Create(lists, groupParameters, 1)) {
        DisplayFailure(_error, L"Cluster::CreateGroup( ). Failure creating ExpertGroup:" + groupName);
        return made.release();
    }
    const std::shared_ptr<ExpertGroup> group = std::move(made);
    Keep(group);
    return group.get();
}

ExpertGroup* Cluster::ChangeGroup(const std::wstring& groupName, const std::wstring& expertGroupType,
                                  const std::vector<StringArray*>& lists, const StringArray* existingNames,
                                  const StringArray* unused) {
    if (!ExpertWizard().IsValidExpertGroupType(expertGroupType)) {
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

void Cluster::Keep(const std::shared_ptr<Group>& group) {
    _kept->push_back(group);
    if (_groups) _groups->SetAt(group->Name(), group.get());
}

Resource* Cluster::CreateResource(const std::wstring& groupName, const std::wstring& resourceName, ResourceType* type,
                                  const StringArray* parameters) {
    Group* group = ListedGroup(groupName);
    if (!group) return nullptr;
    const std::shared_ptr<Resource> resource(group->CreateResource(resourceName, type, parameters, 0, 0, 0, 0));
    if (!resource) return nullptr;
    _kept->push_back(resource);
    if (_resources) _resources->SetAt(resourceName, resource.get());
    return resource.get();
}

int Cluster::SetPreferredOwners(Group* group, const StringArray* parameters) {
    if (!parameters || parameters->empty()) return 0;
    std::vector<HNODE> owners;
    for (const std::wstring& parameter : *parameters) {
        AppendOwners(owners, SplitAtHashes(ValueOfParameter(parameter, L"PreferredOwners")));
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
