#pragma once

#include <platform/base/HandleTable.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/cluster/ClusterService.h>

#include <memory>
#include <string>
#include <utility>

// What the handles of the cluster API stand for. Every reference holds its service, so that it works on when the
// cluster's own handle was closed first.
namespace platform {

struct ObjectReference {
    std::shared_ptr<ClusterService> service;
    ObjectId id;
};

struct EnumerationReference {
    std::shared_ptr<ClusterService> service;
    std::unique_ptr<ClusterEnumeration> items;
};

struct KeyReference {
    std::shared_ptr<ClusterService> service;
    ClusterKeyId id = 0;
    DWORD access = 0;
};

/// The process's table for one kind of handle. Never destroyed: handles may be closed while the process ends.
template <typename Handle, typename Object>
HandleTable<Handle, Object>& TableOf() {
    static auto& table = *new HandleTable<Handle, Object>;
    return table;
}

inline HandleTable<HCLUSTER, ClusterService>& ClusterHandles() {
    return TableOf<HCLUSTER, ClusterService>();
}

template <typename Handle>
HandleTable<Handle, const ObjectReference>& ObjectHandles() {
    return TableOf<Handle, const ObjectReference>();
}

/// What a function of the cluster API answers. A failure is left in the thread's last error too: callers that only
/// learn that there was one find its cause there. The end of a list and a buffer too small are no failures.
inline DWORD Answer(DWORD code) {
    if (code != error::Success && code != error::NoMoreItems && code != error::MoreData) SetLastError(code);
    return code;
}

/// The same for functions whose answer is a handle: the null handle that goes with `code`, which is none of those
/// three.
inline std::nullptr_t NoHandle(DWORD code) {
    SetLastError(code);
    return nullptr;
}

/// Opens a handle to what an engine answered with `code`.
template <typename Handle>
Handle OpenIfDone(DWORD code, std::shared_ptr<ClusterService> service, ObjectId id) {
    if (code != error::Success) return NoHandle(code);
    return ObjectHandles<Handle>().Open(
        std::make_shared<const ObjectReference>(ObjectReference{std::move(service), id}));
}

/// Asks the service of an open cluster.
template <typename Ask>
DWORD AskCluster(HCLUSTER handle, Ask&& ask) {
    const auto service = ClusterHandles().Find(handle);
    return Answer(service ? ask(*service) : error::InvalidHandle);
}

/// Asks the service of an object's handle; `ask` takes the service and the object's id.
template <typename Handle, typename Ask>
DWORD AskAbout(Handle handle, Ask&& ask) {
    const auto object = ObjectHandles<Handle>().Find(handle);
    return Answer(object ? ask(*object->service, object->id) : error::InvalidHandle);
}

/// The node of `handle` on a service: InvalidHandle when it is not open, InvalidParameter for one of another cluster.
DWORD NodeOf(HNODE handle, const ClusterService& service, ObjectId& node);

/// The same for a place where null means that the program names none.
DWORD OptionalNodeOf(HNODE handle, const ClusterService& service, std::optional<ObjectId>& node);

/// A name as a program gave it. False when it is null or longer than 1024 characters.
bool ReadName(const wchar_t* name, std::wstring& text);

/// Hands a text out to a program's buffer of `*size` characters. Without a buffer, only the size; without both,
/// nothing. MoreData when it does not fit: then `*size` is the room that it needs, and the buffer is as it was.
DWORD CopyText(const std::wstring& text, wchar_t* buffer, DWORD* size);

}  // namespace platform
