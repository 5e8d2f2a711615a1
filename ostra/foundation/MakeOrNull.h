#pragma once

#include <memory>
#include <new>
#include <utility>

/// A new object, or null when memory ran out: a cluster object that cannot be made is reported and left out.
template <typename Object, typename... Arguments>
std::unique_ptr<Object> MakeOrNull(Arguments&&... arguments) {
    try {
        return std::make_unique<Object>(std::forward<Arguments>(arguments)...);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// The same for an object that several share.
template <typename Object, typename... Arguments>
std::shared_ptr<Object> MakeSharedOrNull(Arguments&&... arguments) {
    try {
        return std::make_shared<Object>(std::forward<Arguments>(arguments)...);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
