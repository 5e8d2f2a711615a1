#pragma once

#include <platform/base/export.h>

#include <cstdint>

struct sqlite3;

namespace platform {

/// A number worked out over the columns of a row, in their order: any one of them altered gives another, with their
/// types and lengths. It guards against failing disks, not against people.
class RowChecksum {
public:
    void Add(std::int64_t value);
    /// `type` is SQLite's. `bytes` may be null when `size` is 0.
    void Add(int type, const void* bytes, int size);
    std::int64_t Value() const { return static_cast<std::int64_t>(_sum); }

    /// Makes it known to a connection as the function row_checksum. An SQLite result.
    PLATFORM_API static int Register(sqlite3* connection);

private:
    void Mix(std::uint64_t word);

    std::uint64_t _sum = 0x6F73747261'6F7374;
};

}  // namespace platform
