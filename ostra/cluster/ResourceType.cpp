#include <ostra/cluster/ResourceType.h>

#include <ostra/cluster/cluster_names.h>
#include <ostra/foundation/NameEnumeration.h>
#include <ostra/foundation/ParameterString.h>
#include <ostra/foundation/display.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/cluster/cluster_api.h>

#include <algorithm>

ResourceType::ResourceType(const std::wstring& name, HCLUSTER cluster, const std::wstring& clusterName)
    : _typeClusterName(clusterName), _typeClusterHandle(cluster), _typeName(name) {
    _name = name;  // by which collections find it
}

int ResourceType::Status(int) {
    return 0;
}

std::wstring ResourceType::GetAttribute(const std::wstring& name, const StringMap* map) const {
    if (!map) return {};
    const auto attribute = map->find(name);
    return attribute == map->end() ? std::wstring() : attribute->second;
}

void ResourceType::InitializeParameters() {
    platform::WriteOutputLine(L"ResourceType::InitializeParameters( ). To be implemented by the derived class!");
}

void ResourceType::UpdateParameters(const StringArray* parameters) {
    const StringArray given = parameters ? *parameters : StringArray();  // may be one of the lists emptied now
    DeinitializeParameters();
    for (const std::wstring& parameter : given) {
        const std::wstring_view name = ParameterString(parameter).name;
        const bool isCommon = name == L"Description" || name == L"SeparateMonitor";
        _parameters[isCommon ? commonList : privateList].push_back(parameter);
    }
}

int ResourceType::UpdateRegistry(const StringArray*) {
    platform::WriteOutputLine(L"ResourceType::UpdateRegistry( ). To be implemented by the derived class!");
    return 0;
}

const StringArray& ResourceType::Parameters(std::size_t list) const {
    return _parameters[std::min(list, _parameters.size() - 1)];
}

int ResourceType::Discover() {
    const platform::SharedHandle<HCLUSTER, CloseCluster> cluster(OpenNamedCluster(_typeClusterName));
    if (!cluster) {
        DisplayFailure(_typeError, L"ResourceType::Discover( ). Failure calling OpenCluster( )." +
                                       _typeError.GetErrorString(GetLastError()));
        return 0;
    }
    const platform::SharedHandle<HCLUSENUM, ClusterCloseEnum> types(
        ClusterOpenEnum(cluster.Get(), CLUSTER_ENUM_RESTYPE));
    if (!types) {
        DisplayFailure(_typeError, L"ResourceType::Discover( ). Failure calling ClusterOpenEnum( )." +
                                       _typeError.GetErrorString(GetLastError()));
        return 0;
    }
    ForEachName(
        types.Get(), ClusterEnum, [](const std::wstring&) {}, [](DWORD) {});
    return 0;
}

std::wstring ResourceType::Info() {
    for (std::size_t i = 0; i < std::min(_categories.size(), _parameters.size()); ++i) {
        printf(L">>>>>>>>>>>Adding into %ws...<<<<<<<<<<\n", _categories[i].c_str());
        for (const std::wstring& parameter : _parameters[i]) printf(L"%ws\n", parameter.c_str());
    }
    return {};
}

void ResourceType::DeinitializeParameters() {
    _categories.clear();
    for (StringArray& list : _parameters) list.clear();
}
