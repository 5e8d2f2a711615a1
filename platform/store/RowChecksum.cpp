#include <platform/store/RowChecksum.h>

#include <sqlite3.h>

#include <cstring>

namespace platform {

namespace {

void ChecksumOfArguments(sqlite3_context* context, int count, sqlite3_value** values) {
    RowChecksum checksum;
    for (int at = 0; at < count; ++at) {
        sqlite3_value* const value = values[at];
        const int type = sqlite3_value_type(value);
        if (type == SQLITE_INTEGER) {
            checksum.Add(sqlite3_value_int64(value));
        } else {
            const void* const bytes = type == SQLITE_TEXT ? sqlite3_value_text(value) : sqlite3_value_blob(value);
            checksum.Add(type, bytes, sqlite3_value_bytes(value));
        }
    }
    sqlite3_result_int64(context, checksum.Value());
}

}  // namespace

// Each step can be undone, so that two rows which differ in one word never end alike.
void RowChecksum::Mix(std::uint64_t word) {
    _sum = (_sum ^ word) * 0x9E3779B97F4A7C15U;
    _sum ^= _sum >> 32;
}

void RowChecksum::Add(std::int64_t value) {
    Mix(SQLITE_INTEGER);
    Mix(static_cast<std::uint64_t>(value));
}

// The words are read as this machine has them: a database stays on one kind of machine.
void RowChecksum::Add(int type, const void* bytes, int size) {
    Mix(static_cast<std::uint64_t>(size) << 8 | static_cast<unsigned>(type));
    const auto* at = static_cast<const unsigned char*>(bytes);
    int left = size;
    for (; left > 0; left -= 8, at += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, left < 8 ? static_cast<std::size_t>(left) : 8);
        Mix(word);
    }
}

int RowChecksum::Register(sqlite3* connection) {
    constexpr int flags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
    return sqlite3_create_function_v2(connection, "row_checksum", -1, flags, nullptr, &ChecksumOfArguments, nullptr,
                                      nullptr, nullptr);
}

}  // namespace platform
