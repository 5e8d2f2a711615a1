#include <platform/system/messages.h>

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/system/message_tables.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>

namespace {

struct Module {
    const wchar_t* name;
    std::span<const platform::Message> (*messages)();
    std::atomic<std::uint32_t> users;
};

Module modules[] = {{L"netmsg.dll", &platform::NetworkMessages, 0}};

// Far from any address and odd, like every handle of this library.
HMODULE HandleOf(std::size_t index) {
    return reinterpret_cast<HMODULE>((std::uintptr_t{1} << 62) | (std::uintptr_t{index} << 1) | 1U);
}

Module* Find(HMODULE handle) {
    for (std::size_t index = 0; index < std::size(modules); ++index)
        if (HandleOf(index) == handle) return &modules[index];
    return nullptr;
}

const wchar_t* FindMessage(std::span<const platform::Message> messages, DWORD code) {
    const auto message = std::ranges::lower_bound(messages, code, {}, &platform::Message::code);
    return message != messages.end() && message->code == code ? message->text : nullptr;
}

}  // namespace

HMODULE LoadLibraryW(const wchar_t* name) {
    for (std::size_t index = 0; name && index < std::size(modules); ++index) {
        if (!platform::EqualIgnoringCase(name, modules[index].name)) continue;
        ++modules[index].users;
        return HandleOf(index);
    }
    SetLastError(platform::error::ModuleNotFound);
    return nullptr;
}

BOOL FreeLibrary(HMODULE handle) {
    if (Module* module = Find(handle)) {
        std::uint32_t users = module->users;
        while (users > 0)
            if (module->users.compare_exchange_weak(users, users - 1)) return 1;
    }
    SetLastError(platform::error::InvalidHandle);
    return 0;
}

namespace platform {

bool MessageText(HMODULE handle, DWORD code, std::wstring& text) {
    const Module* module = Find(handle);
    const wchar_t* message = module && module->users > 0 ? FindMessage(module->messages(), code) : nullptr;
    if (!message) message = FindMessage(SystemMessages(), code);
    text.clear();
    if (message) text.append(message).append(L"\r\n");
    return message != nullptr;
}

}  // namespace platform
