#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>

#include <memory>
#include <new>
#include <utility>

/// A new object, or null, with the thread's last error, when memory ran out: a cluster object that cannot be made is
/// reported and left out.
template <typename Object, typename... Arguments>
std::unique_ptr<Object> MakeOrNull(Arguments&&... arguments) {
    try {
        return std::make_unique<Object>(std::forward<Arguments>(arguments)...);
    } catch (const std::bad_alloc&) {
        SetLastError(platform::error::NotEnoughMemory);
        return nullptr;
    }
}

/// The same for an object that several share.
template <typename Object, typename... Arguments>
std::shared_ptr<Object> MakeSharedOrNull(Arguments&&... arguments) {
    try {
        return std::make_shared<Object>(std::forward<Arguments>(arguments)...);
    } catch (const std::bad_alloc&) {
        SetLastError(platform::error::NotEnoughMemory);
        return nullptr;
    }
}
