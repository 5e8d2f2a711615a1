#pragma once

#include <platform/base/error_codes.h>
#include <platform/system/registry.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

/// What was read from the local registry, by a name, until the registry changes: reading is a dozen queries a template,
/// asking whether something has changed is none. For any thread. Find, read and keep within one view of the registry;
/// what could not be read for certain is not to be kept.
template <typename Value>
class RegistryCache {
public:
    /// Null when it has to be read.
    std::shared_ptr<const Value> Find(const std::wstring& name) {
        const auto now = Now();
        const std::scoped_lock lock(_mutex);
        if (!now || *now != _version) return nullptr;
        const auto found = _values.find(name);
        return found == _values.end() ? nullptr : found->second;
    }

    void Keep(const std::wstring& name, Value value) {
        auto kept = std::make_shared<const Value>(std::move(value));
        const auto now = Now();
        const std::scoped_lock lock(_mutex);
        if (!now) return;
        if (*now != _version || _values.size() >= mostValues) _values.clear();
        _version = *now;
        _values[name] = std::move(kept);
    }

private:
    static constexpr std::size_t mostValues = 100;  // whoever asks for ever new names does not fill the memory

    /// Asked before the mutex is taken, because a view of another thread may make it wait.
    static std::optional<platform::RegistryVersion> Now() {
        platform::RegistryVersion now;
        if (platform::ReadRegistryVersion(now) != platform::error::Success) return std::nullopt;
        return now;
    }

    std::mutex _mutex;
    platform::RegistryVersion _version;
    std::map<std::wstring, std::shared_ptr<const Value>> _values;
};
