#pragma once

#include <platform/base/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace platform {

/// A number that no other table of the process has.
inline std::uintptr_t NextHandleTable() {
    static std::atomic<std::uintptr_t> last{0};
    return ++last;
}

/// The open handles of one kind. A handle's value is the table's number, a slot and a generation, so that one that was
/// closed is refused also when its slot serves another handle by now, and so is one of another table; no value is ever
/// dereferenced. Safe for use from any thread.
template <typename Handle, typename Object, template <typename> typename Allocator = std::allocator>
class HandleTable {
public:
    /// Never null. `Object` is shared with callers that looked it up and are still at work. Without memory it throws
    /// and the table is as it was; Close never allocates.
    Handle Open(std::shared_ptr<Object> object) {
        const std::scoped_lock lock(_mutex);
        if (_firstFree == _slots.size()) {
            _slots.emplace_back();
            _slots.back().nextFree = _slots.size();
        }
        const std::size_t index = _firstFree;
        Slot& slot = _slots[index];
        _firstFree = slot.nextFree;
        slot.object = std::move(object);
        ++_openCount;
        return ToHandle(index, slot.generation);
    }

    /// Null when the handle is not open.
    std::shared_ptr<Object> Find(Handle handle) const {
        const std::scoped_lock lock(_mutex);
        const Slot* slot = Locate(handle);
        return slot ? slot->object : nullptr;
    }

    /// False when the handle was not open.
    bool Close(Handle handle) {
        std::shared_ptr<Object> released;  // destroyed after the lock is gone: its end may close other handles
        const std::scoped_lock lock(_mutex);
        Slot* slot = const_cast<Slot*>(Locate(handle));
        if (!slot) return false;
        released = std::move(slot->object);
        slot->object = nullptr;
        slot->generation = (slot->generation + 1) & generationMask;
        slot->nextFree = _firstFree;
        _firstFree = static_cast<std::size_t>(slot - _slots.data());
        --_openCount;
        return true;
    }

    std::size_t OpenCount() const {
        const std::scoped_lock lock(_mutex);
        return _openCount;
    }

private:
    struct Slot {
        std::shared_ptr<Object> object;
        std::uintptr_t generation = 0;
        std::size_t nextFree = 0;  // while nothing is in it
    };

    static constexpr unsigned indexBits = 24;
    static constexpr std::uintptr_t indexMask = (std::uintptr_t{1} << indexBits) - 1;
    static constexpr unsigned generationBits = 16;
    static constexpr std::uintptr_t generationMask = (std::uintptr_t{1} << generationBits) - 1;
    static constexpr std::uintptr_t tableMask = 0xFFFF;

    // Odd and above 2^62, so that no value is null, a predefined key or a plausible address.
    Handle ToHandle(std::size_t index, std::uintptr_t generation) const {
        return reinterpret_cast<Handle>((std::uintptr_t{1} << 62) | (_table << (generationBits + indexBits + 1)) |
                                        (generation << (indexBits + 1)) | (std::uintptr_t{index} << 1) | 1U);
    }

    const Slot* Locate(Handle handle) const {
        const auto value = reinterpret_cast<std::uintptr_t>(handle);
        const std::size_t index = (value >> 1) & indexMask;
        if (index >= _slots.size() || !_slots[index].object) return nullptr;
        return ToHandle(index, _slots[index].generation) == handle ? &_slots[index] : nullptr;
    }

    const std::uintptr_t _table = NextHandleTable() & tableMask;
    mutable std::mutex _mutex;
    std::vector<Slot, Allocator<Slot>> _slots;
    std::size_t _firstFree = 0;  // the number of slots when none is free
    std::size_t _openCount = 0;
};

}  // namespace platform
