#include <ostra/cluster/cluster_names.h>

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>

#include <array>

namespace {

template <typename Handle, typename Control>
std::optional<std::wstring> AskName(Handle handle, Control control, DWORD code) {
    if (!handle) return {};
    const platform::KeptLastError kept;
    std::array<BYTE, 800> name;  // 199 characters at most, of two units each
    DWORD size = 0;
    switch (control(handle, nullptr, code, nullptr, 0, name.data(), static_cast<DWORD>(name.size()), &size)) {
        case platform::error::Success: return platform::FromUtf16({name.data(), size});
        case platform::error::ClusterNodeNotFound:
        case platform::error::GroupNotFound:
        case platform::error::ResourceNotFound: return L"";
        default: return {};
    }
}

}  // namespace

const wchar_t* ApiName(const std::wstring& name) {
    return name.find(L'\0') == std::wstring::npos ? name.c_str() : nullptr;
}

HCLUSTER OpenNamedCluster(const std::wstring& name) {
    if (const wchar_t* const text = ApiName(name)) return OpenCluster(text);
    SetLastError(platform::error::InvalidParameter);
    return nullptr;
}

std::optional<std::wstring> PresentName(HNODE node) {
    return AskName(node, ClusterNodeControl, CLUSCTL_NODE_GET_NAME);
}

std::optional<std::wstring> PresentName(HGROUP group) {
    return AskName(group, ClusterGroupControl, CLUSCTL_GROUP_GET_NAME);
}

std::optional<std::wstring> PresentName(HRESOURCE resource) {
    return AskName(resource, ClusterResourceControl, CLUSCTL_RESOURCE_GET_NAME);
}

void NoteUnknownState(DWORD state) {
    if (state != ClusterStateUnknown) SetLastError(platform::error::InvalidData);
}
