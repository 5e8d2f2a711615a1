#include <ostra/registry/TypedClusterKeys.h>

#include <ostra/registry/key_access.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

ClusterGroupKey::ClusterGroupKey(HGROUP group, HCLUSTER cluster) : ClusterKey(cluster) {
    _root.Reset(GetClusterGroupKey(group, readWrite));
    _handle = _root;
    if (!_root) {
        platform::WriteOutput(
            L"ClusterGroupKey::ClusterGroupKey( ). Failure calling"
            L" GetClusterGroupKey( ). ");
    }
}

int ClusterGroupKey::Info() {
    platform::WriteOutputLine(L"ClusterGroupKey::Info( ). On entry");
    WriteTree(Handle(), L" = ");
    return 0;
}

ClusterResourceKey::ClusterResourceKey(HRESOURCE resource, HCLUSTER cluster) : ClusterKey(cluster) {
    _root.Reset(GetClusterResourceKey(resource, readWrite));
    if (!_root) {
        platform::WriteOutput(
            L"ClusterResoruceKey::ClusterResourceKey( ). Failure calling"
            L" GetClusterResourceKey( ). ");
        return;
    }
    LONG status = 0;
    _handle = OpenKey(Root(), L"Parameters", readWrite, status);
    if (!_handle) {
        Show(L"ClusterResourceKey::ClusterResourceKey( ). Failure calling ClusterRegOpenKey( )." +
             _error.GetErrorString(CodeOf(status)));
    }
}

int ClusterResourceKey::Info() {
    WriteTree(Handle(), L" = ");
    return 0;
}

ClusterNetworksKey::ClusterNetworksKey(const std::wstring& clusterName) : ClusterKey(clusterName) {
    OpenNetworks();
}

ClusterNetworksKey::ClusterNetworksKey(HCLUSTER cluster) : ClusterKey(cluster) {
    OpenNetworks();
}

void ClusterNetworksKey::OpenNetworks() {
    LONG status = 0;
    _handle = OpenKey(Root(), L"Networks", readWrite, status);
    if (!_handle) {
        ReportAndShow(L"ClusterNetworksKey::ClusterNetworksKey( ). Failure calling ClusterRegOpenKey( )." +
                      _error.GetErrorString(CodeOf(status)));
    }
}

ClusterIPStackKey::ClusterIPStackKey(const std::wstring& clusterName, const std::wstring& networkName)
    : ClusterKey(clusterName) {
    CreatePool(networkName);
}

ClusterIPStackKey::ClusterIPStackKey(HCLUSTER cluster, const std::wstring& networkName) : ClusterKey(cluster) {
    CreatePool(networkName);
}

void ClusterIPStackKey::CreatePool(const std::wstring& networkName) {
    if (!_root) {
        ReportAndShow(L"ClusterIPStackKey::ClusterIPStackKey( ). Failure calling ClusterRegOpenKey( )." +
                      _error.GetErrorString(GetLastError()));
    }
    OwnedKey key = _root;
    for (const std::wstring& level :
         {std::wstring(L"Ostra"), std::wstring(L"ExpertWizard"), std::wstring(L"IPStack"), networkName}) {
        if (key) key.Reset(ClusterKey::AddKey(key.Get(), level, L"", L"", REG_SZ));
    }
    _handle = key;
    if (!_handle) Show(L"ClusterIPStackKey::ClusterIPStackKey( ). Failure opening ClusterIPStackKey.");
}

ClusterSchedulerKey::ClusterSchedulerKey(const std::wstring& clusterName, const std::wstring& subkeyName)
    : ClusterKey(clusterName) {
    LONG status = 0;
    const OwnedKey product = OpenKey(Root(), L"Ostra", readWrite, status);
    if (!product) {
        ReportAndShow(L"ClusterSchedulerKey::ClusterSchedulerKey( ). Failure calling ClusterRegOpenKey( )." +
                      _error.GetErrorString(CodeOf(status)));
        return;
    }
    _handle.Reset(ClusterKey::GetHandle(subkeyName, product.Get()));
    if (!_handle) Show(L"ClusterSchedulerKey::ClusterSchedulerKey( ). Failure calling GetHandle( ).");
}
