#pragma once

#include <platform/base/types.h>

#include <span>

namespace platform {

/// One message, without the line end that every message carries when it is read.
struct Message {
    DWORD code;
    const wchar_t* text;
};

// Both in order of their codes.
std::span<const Message> SystemMessages();
std::span<const Message> NetworkMessages();

}  // namespace platform
