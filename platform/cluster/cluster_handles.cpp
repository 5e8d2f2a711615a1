#include <platform/cluster/cluster_handles.h>

#include <cwchar>

namespace platform {

namespace {

constexpr std::size_t longestName = 1024;

}  // namespace

DWORD NodeOf(HNODE handle, const ClusterService& service, ObjectId& node) {
    const auto reference = ObjectHandles<HNODE>().Find(handle);
    if (!reference) return error::InvalidHandle;
    if (reference->service.get() != &service) return error::InvalidParameter;
    node = reference->id;
    return error::Success;
}

DWORD OptionalNodeOf(HNODE handle, const ClusterService& service, std::optional<ObjectId>& node) {
    node.reset();
    if (!handle) return error::Success;
    return NodeOf(handle, service, node.emplace());
}

bool ReadName(const wchar_t* name, std::wstring& text) {
    if (!name) return false;
    const std::size_t length = wcsnlen(name, longestName + 1);
    if (length > longestName) return false;
    text.assign(name, length);
    return true;
}

DWORD CopyText(const std::wstring& text, wchar_t* buffer, DWORD* size) {
    if (!size) return buffer ? error::InvalidParameter : error::Success;
    const std::size_t room = buffer ? *size : 0;
    if (buffer && text.size() < room) {
        text.copy(buffer, text.size());
        buffer[text.size()] = L'\0';
        *size = static_cast<DWORD>(text.size());
        return error::Success;
    }
    *size = static_cast<DWORD>(text.size() + 1);
    return buffer ? error::MoreData : error::Success;
}

}  // namespace platform
