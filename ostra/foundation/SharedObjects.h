#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

/// Things of which one for each key is enough, made when first asked for and gone with their last user. Asking for one
/// that is in use allocates nothing. Users may live until the process ends, so instances are never destroyed.
template <typename Object>
class SharedObjects {
public:
    /// `make` answers null on failure, which is not remembered.
    template <typename Make>
    std::shared_ptr<Object> Get(std::wstring_view key, Make make) {
        const std::scoped_lock lock(_mutex);
        const auto known = _objects.find(key);
        if (known != _objects.end())
            if (std::shared_ptr<Object> object = known->second.lock()) return object;
        std::shared_ptr<Object> object = make();
        if (object) _objects.insert_or_assign(std::wstring(key), object);
        return object;
    }

private:
    std::mutex _mutex;
    std::map<std::wstring, std::weak_ptr<Object>, std::less<>> _objects;
};
