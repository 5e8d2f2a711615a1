#pragma once

#include <memory>
#include <utility>

namespace platform {

/// A closable handle: copies share it, and the last one closes it, once. `Close` on any of them closes it for all.
template <typename Handle, auto CloseHandle>
class SharedHandle {
public:
    SharedHandle() = default;

    /// Takes `handle` over; null holds nothing.
    explicit SharedHandle(Handle handle) : _shared(handle ? std::make_shared<Owner>(handle) : nullptr) {}

    Handle Get() const { return _shared ? _shared->handle : nullptr; }
    explicit operator bool() const { return Get() != nullptr; }

    /// Lets go of the handle held before, which closes when no other copy holds it, and takes `handle` over.
    void Reset(Handle handle = nullptr) { *this = SharedHandle(handle); }

    /// Closes the handle now, also for the other copies. What the closing function answered; a held nothing answers as
    /// the function does for null.
    auto Close() { return CloseHandle(_shared ? std::exchange(_shared->handle, nullptr) : nullptr); }

private:
    struct Owner {
        explicit Owner(Handle owned) : handle(owned) {}
        Owner(const Owner&) = delete;
        Owner& operator=(const Owner&) = delete;
        ~Owner() {
            if (handle) CloseHandle(handle);
        }
        Handle handle;
    };

    std::shared_ptr<Owner> _shared;
};

}  // namespace platform
