#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/store/DatabaseState.h>
#include <platform/store/RowChecksum.h>
#include <platform/store/failures.h>
#include <sqlite3.h>

#include <cerrno>
#include <utility>

namespace platform {

Statement::Statement(Database* database, const char* sql) : _database(*database), _sql(sql) {
    Database::State& state = *_database._state;
    if (state.WasForked()) {
        _result = state.ForkedFailure();
        return;
    }
    _lock = std::unique_lock(state.mutex);
    _result = state.BeReady();
    errno = 0;
    if (_result == error::Success) _statement = state.Borrow(sql);
    _connection = state.connectionNumber;
    if (!_statement && _result == error::Success) {
        const int status = sqlite3_extended_errcode(state.connection);
        _result = state.Failed(status, L"\"%1\" lacks what it must have: %2.");
        if ((status & 0xFF) == SQLITE_ERROR) _result = FailAs(error::FileCorrupt);
    }
}

Statement::~Statement() {
    GiveBack();
}

void Statement::GiveBack() {
    if (_statement) _database._state->GiveBack(_sql, std::exchange(_statement, nullptr), _connection);
}

void Statement::KeepFailure(int status) {
    if (status == SQLITE_OK || _result != error::Success) return;
    _result = _database._state->Failed(status, L"\"%1\": %2.");
}

void Statement::BindInteger(std::int64_t value) {
    if (_statement) KeepFailure(sqlite3_bind_int64(_statement, ++_bound, value));
}

void Statement::Bind(std::wstring_view text) {
    if (!_statement) return;
    const std::string bytes = ToUtf8(text);
    KeepFailure(sqlite3_bind_text64(_statement, ++_bound, bytes.data(), bytes.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::Bind(std::span<const BYTE> blob) {
    if (!_statement) return;
    ++_bound;
    // A null pointer would bind NULL, and an empty value is not that.
    KeepFailure(blob.empty() ? sqlite3_bind_zeroblob(_statement, _bound, 0)
                             : sqlite3_bind_blob64(_statement, _bound, blob.data(), blob.size(), SQLITE_TRANSIENT));
}

bool Statement::Next() {
    if (!_statement || _result != error::Success || _hasEnded) return false;
    Database::State& state = *_database._state;
    if (!sqlite3_stmt_readonly(_statement)) {
        if (!state.writeDepth || sqlite3_get_autocommit(state.connection)) {
            _result = Fail(error::GeneralFailure, L"\"%1\" cannot be written outside of a transaction.", state.path);
            return false;
        }
        ++state.ownChanges;
    }
    errno = 0;
    const int status = sqlite3_step(_statement);
    if (status == SQLITE_ROW) return true;
    if (status != SQLITE_DONE) KeepFailure(status);
    _hasEnded = true;
    GiveBack();
    return false;
}

bool Statement::NextRow() {
    if (!Next()) return false;
    const int checksumAt = sqlite3_column_count(_statement) - 1;
    RowChecksum checksum;
    for (int column = 0; column < checksumAt; ++column) {
        const int type = sqlite3_column_type(_statement, column);
        if (type == SQLITE_INTEGER) {
            checksum.Add(sqlite3_column_int64(_statement, column));
        } else {
            const void* const bytes =
                type == SQLITE_TEXT ? sqlite3_column_text(_statement, column) : sqlite3_column_blob(_statement, column);
            checksum.Add(type, bytes, sqlite3_column_bytes(_statement, column));
        }
    }
    if (sqlite3_column_type(_statement, checksumAt) == SQLITE_INTEGER &&
        sqlite3_column_int64(_statement, checksumAt) == checksum.Value())
        return true;
    Damaged();
    return false;
}

DWORD Statement::Run() {
    while (Next()) continue;
    return _result;
}

void Statement::Damaged() {
    if (_result == error::Success) {
        _result = Fail(error::FileCorrupt, L"\"%1\" is damaged: it holds what no program of ours has written.",
                       _database._state->path);
    }
}

std::int64_t Statement::Integer(int column, std::int64_t least, std::int64_t most) {
    if (!_statement || _hasEnded || _result != error::Success) return 0;
    const std::int64_t value = sqlite3_column_int64(_statement, column);
    if (sqlite3_column_type(_statement, column) == SQLITE_INTEGER && value >= least && value <= most) return value;
    Damaged();
    return 0;
}

std::wstring Statement::Text(int column, std::size_t longest) {
    if (!_statement || _hasEnded || _result != error::Success) return {};
    constexpr std::size_t longestCharacter = 4;
    if (sqlite3_column_type(_statement, column) == SQLITE_TEXT) {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(_statement, column));
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(_statement, column));
        if (bytes && size <= longest * longestCharacter) {
            std::wstring text = FromUtf8({bytes, size});
            if (text.size() <= longest) return text;
        }
    }
    Damaged();
    return {};
}

std::span<const BYTE> Statement::Blob(int column, std::size_t longest) {
    if (!_statement || _hasEnded || _result != error::Success) return {};
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(_statement, column));
    if (sqlite3_column_type(_statement, column) == SQLITE_BLOB && size <= longest) {
        return {static_cast<const BYTE*>(sqlite3_column_blob(_statement, column)), size};
    }
    Damaged();
    return {};
}

}  // namespace platform
