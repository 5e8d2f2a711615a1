#include <ostra/wizard/ExpertGroup.h>

#include <ostra/cluster/OwnedComponents.h>
#include <ostra/cluster/PredefinedResourceTypes.h>
#include <ostra/cluster/Resource.h>
#include <ostra/foundation/OstraString.h>
#include <ostra/foundation/display.h>
#include <ostra/wizard/ExpertWizard.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

namespace {

using Lists = std::vector<StringArray*>;

constexpr std::size_t diskList = 0;
constexpr std::size_t directoryList = 4;
constexpr std::size_t signatureOffset = std::wstring_view(L"Signature=REG_DWORD:").size();
constexpr std::size_t twentiethCharacter = 19;

const StringArray* ListAt(const Lists& lists, std::size_t index) {
    return index < lists.size() ? lists[index] : nullptr;
}

/// The value of the disk's signature entry. Of any other string, what stands from its 20th character on.
std::wstring SignatureIn(const std::wstring& parameter) {
    const std::size_t name = parameter.find(L"Signature");
    const std::size_t start = name == std::wstring::npos ? twentiethCharacter : name + signatureOffset;
    return parameter.substr(std::min(start, parameter.size()));
}

int ParenthesisedNumber(const std::wstring& resourceName) {
    const OstraString name(resourceName, L"(", L")");
    return name.AsInt(name.FrankedWord(1));
}

}  // namespace

ExpertGroup::ExpertGroup(const std::wstring& name, const std::wstring& templateName, HCLUSTER cluster,
                         const std::wstring& clusterName)
    : Group(name, cluster, clusterName, 1, 0),
      _type(templateName),
      _expertEventViewer(L"Ostra::ExpertGroup", NTEventViewer::Error, L"") {
    LearnKinds();
}

ExpertGroup::ExpertGroup(const Group& group)
    : Group(group), _expertEventViewer(L"Ostra::ExpertGroup", NTEventViewer::Error, L"") {}

ExpertGroup::~ExpertGroup() {
    platform::WriteOutputLine(L"ExpertGroup::~ExpertGroup( void ). On entry.");
}

int ExpertGroup::Create(const Lists& lists, const StringArray* groupParameters, int) {
    printf(L"ExpertGroup::Create( ). On entry. _clusterName:%ws\n", _clusterName.c_str());
    const int result = Group::Create(groupParameters, 0);
    if (result) {
        printf(L"ExpertGroup::Create( ). success calling Group::Create( ). _expertResources.GetSize( ):%d\n",
               static_cast<int>(_expertResources.size()));
        GetBaseName();
        if (CreateKinds(lists) == _expertResources.size()) BringOnLine();
    } else {
        const DWORD code = GetLastError();
        DisplayFailure(_error, L"ExpertGroup::Create( ). Failure calling Group::Create( )." + _name + L" " +
                                   _error.GetErrorString(code));
        SetLastError(code);
    }
    printf(L"ExpertGroup::Create( ). On exit. \n");
    return result;
}

std::size_t ExpertGroup::CreateKinds(const Lists& lists) {
    std::wstring signature;
    std::size_t created = 0;
    for (std::size_t i = 0; i < _expertResources.size(); ++i) {
        const std::wstring& kind = _expertResources[i];
        printf(L"ExpertGroup::Create( ). Creating...%ws\n", kind.c_str());
        std::unique_ptr<ResourceType> type = GetResourceType(kind);
        if (!type) {
            ReportMissingType(kind);
            continue;
        }
        const StringArray* disks = ListAt(lists, diskList);
        if (type->Name() == physicalDiskType && disks && !disks->empty()) signature = SignatureIn(disks->back());
        if (type->Name() == L"File Share") SetSharePath(*type, signature, lists);
        if (!CreateKind(kind, std::move(type), ListAt(lists, i), 0)) break;
        ++created;
    }
    return created;
}

int ExpertGroup::Change(const Lists& lists, const StringArray*, const StringArray* existingNames, int) {
    printf(L"ExpertGroup::Change( ). On entry. _clusterName:%ws\n", _clusterName.c_str());
    GetBaseName();
    const std::size_t handled = ChangeKinds(lists, existingNames ? *existingNames : StringArray());
    const bool isComplete = handled == _expertResources.size();
    if (isComplete) BringOnLine();
    printf(L"ExpertGroup::Change( ). On exit. \n");
    return isComplete ? 1 : 0;
}

std::size_t ExpertGroup::ChangeKinds(const Lists& lists, const StringArray& existingNames) {
    std::wstring drive;
    std::size_t handled = 0;
    for (std::size_t i = 0; i < _expertResources.size(); ++i) {
        const std::wstring& kind = _expertResources[i];
        std::unique_ptr<ResourceType> type = GetResourceType(kind);
        Resource* existing = FindExisting(kind, existingNames);
        if (existing) drive = existing->GetDriveLetter();
        if (!type) {
            ReportMissingType(kind);
            continue;
        }
        if (type->Name() == L"File Share") SetSharePath(*type, drive, lists);
        const bool isHandled = existing
                                   ? ChangeResource(existing->Name(), type.get(), ListAt(lists, i), 1, 0, 1) != nullptr
                                   : CreateKind(kind, std::move(type), ListAt(lists, i), 1);
        if (isHandled) ++handled;
    }
    return handled;
}

int ExpertGroup::Monitor(const std::wstring&, int) {
    static int calls = 0;
    calls = std::min(calls + 1, 2);
    return calls;
}

void ExpertGroup::GetWizardGUI(const std::wstring& templateName) {
    _type = templateName;
    printf(L"ExpertGroup::GetWIzardGUI( ). On entry. _name:%ws _type:%ws\n", _name.c_str(), _type.c_str());
    LearnKinds();
}

void ExpertGroup::LearnKinds() {
    const ExpertWizard wizard;
    const ExpertWizardGUIPage* page = wizard.GetPage(_type);
    if (!page) return;
    for (const auto& component : page->Components()) _expertResources.push_back(component->Name());
}

std::wstring ExpertGroup::GetBaseName() {
    printf(L"ExpertGroup::GetBaseResourceName( ). On entry. _name:%ws\n", _name.c_str());
    int largest = 0;
    if (_resources) {
        for (const auto& [key, object] : *_resources->Index()) {
            const auto* resource = dynamic_cast<Resource*>(object);
            if (resource) largest = std::max(largest, ParenthesisedNumber(resource->Name()));
        }
    }
    const int index = largest < std::numeric_limits<int>::max() ? largest + 1 : largest;
    _baseName = _name + L" of " + _type + L"(" + std::to_wstring(index) + L")";
    printf(L"ExpertGroup::GetBaseName( ). base name to use %ws index:%d\n", _baseName.c_str(), index);
    return _baseName;
}

std::unique_ptr<ResourceType> ExpertGroup::GetResourceType(const std::wstring& kind) const {
    printf(L"ExpertGroup::GetResourceType( ). On entry.type:%ws _clusterName:%ws\n", kind.c_str(),
           _clusterName.c_str());
    std::unique_ptr<ResourceType> type = MakeResourceType(kind, _clusterHandle, _clusterName);
    if (!type) {
        DisplayFailure(_error, L"ExpertGroup::GetResourceType( ). Failure newing resource type. " + kind);
    } else if (!dynamic_cast<PredefinedResourceType*>(type.get())) {
        DisplayFailure(_error, L"ExpertGroup::GetResourceType( ). Warning: not predefined resource type. " + kind);
    }
    return type;
}

bool ExpertGroup::CreateKind(const std::wstring& kind, std::unique_ptr<ResourceType> type,
                             const StringArray* parameters, int includeDisks) {
    const std::wstring name = kind + L" for " + _baseName;
    type->SetDefault(L"ShareName", name);
    Resource* resource = CreateResource(name, type.get(), parameters, 1, 0, 1, includeDisks);
    CObject* listed = nullptr;
    if (_resources) _resources->Index()->Lookup(name, listed);
    if (!resource || listed != resource) {
        delete resource;  // ours, because the collection did not take it
        return false;
    }
    _resources->Accompany(std::move(type));
    return true;
}

Resource* ExpertGroup::FindExisting(const std::wstring& kind, const StringArray& existingNames) const {
    if (!_resources) return nullptr;
    for (const std::wstring& name : existingNames) {
        auto* resource = dynamic_cast<Resource*>(_resources->Index()->Find(name));
        if (!resource) continue;
        resource->GetCommonAttributes();
        resource->GetPrivateAttributes();
        if (resource->Type() == kind && resource->Name() == name) return resource;
    }
    return nullptr;
}

void ExpertGroup::SetSharePath(ResourceType& share, const std::wstring& disk, const Lists& lists) const {
    share.SetDefault(L"Path", disk);
    const StringArray* parameters = ListAt(lists, directoryList);
    if (_type != L"IIS Virtual Root" || !parameters) return;
    const auto directory = std::find_if(parameters->begin(), parameters->end(), [](const std::wstring& parameter) {
        return parameter.find(L"Directory") != std::wstring::npos;
    });
    if (directory == parameters->end()) return;
    const std::size_t colon = directory->find(L':');
    if (colon != std::wstring::npos) share.SetDefault(L"HTMLPath", directory->substr(colon + 1));
}

void ExpertGroup::ReportMissingType(const std::wstring& kind) const {
    DisplayFailure(_error, L"ExpertGroup::Create( ). Failure newing ResourceType:" + kind);
    SetLastError(platform::error::NotEnoughMemory);
}
