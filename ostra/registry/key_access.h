#pragma once

#include <platform/base/registry_types.h>
#include <platform/base/types.h>

// How the key classes open keys and read what the functions of the two registries answer.

inline constexpr DWORD readWrite = KEY_READ | KEY_WRITE;

/// A status as a code of platform::error: some of those functions answer a LONG, some a DWORD.
template <typename Status>
constexpr DWORD CodeOf(Status status) {
    return static_cast<DWORD>(status);
}
