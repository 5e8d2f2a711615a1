#include <platform/base/error_codes.h>
#include <platform/store/Database.h>
#include <platform/store/DatabaseState.h>
#include <platform/store/failures.h>
#include <sqlite3.h>

#include <cerrno>
#include <ctime>

namespace platform {

namespace {

constexpr int checkpointPages = 1000;
constexpr int openingAttempts = 5;
constexpr std::chrono::seconds longestAlone{1};

const wchar_t* const notWritten = L"\"%1\" could not be written: %2.";
const wchar_t* const notRead = L"\"%1\" could not be read: %2.";

/// Ends what was begun and not completed.
template <typename Undo>
class Unless {
public:
    explicit Unless(Undo undo) : _undo(std::move(undo)) {}
    ~Unless() {
        if (!isDone) _undo();
    }
    Unless(const Unless&) = delete;
    Unless& operator=(const Unless&) = delete;
    bool isDone = false;

private:
    Undo _undo;
};

}  // namespace

Database::Database(std::unique_ptr<State> state) : _state(std::move(state)) {}

Database::~Database() = default;

DWORD Database::Open(const std::string& absolutePath, const DatabaseSchema& schema, OpenMode mode,
                     std::unique_ptr<Database>& database, const DatabaseOptions& options) {
    database.reset();
    if (absolutePath.empty()) return Fail(error::InvalidParameter, L"A database file needs a path.", absolutePath);
    // A file that is removed or replaced while it is being opened is looked for again, until it is clear what is there.
    for (int attempt = 1;; ++attempt) {
        auto state = std::make_unique<State>();
        state->path = absolutePath;
        state->schema = schema;
        state->options = options;
        const DWORD code = state->OpenFile(mode);
        if (code != error::Success && state->HasLostPlace() && attempt < openingAttempts) continue;
        if (code == error::Success) database.reset(new Database(std::move(state)));
        return code;
    }
}

DWORD Database::OpenMemory(const DatabaseSchema& schema, std::unique_ptr<Database>& database) {
    database.reset();
    auto state = std::make_unique<State>();
    state->schema = schema;
    const DWORD code = state->OpenInMemory();
    if (code == error::Success) database.reset(new Database(std::move(state)));
    return code;
}

std::wstring Database::LastMessage(DWORD code) {
    const Failure& failure = LastFailure();
    return failure.code == code ? failure.words : std::wstring();
}

DWORD Database::ReadChangeCounter(std::uint64_t& counter) {
    counter = 0;
    if (_state->WasForked()) return _state->ForkedFailure();
    const std::scoped_lock lock(_state->mutex);
    if (!_state->InTransaction()) {
        if (const DWORD code = _state->BeReady()) return code;
        if (const DWORD code = _state->CheckPlace()) return code;
        if (const DWORD code = _state->NoticeChanges()) return code;
    }
    counter = _state->ownChanges + _state->foreignChanges;
    return error::Success;
}

DWORD Database::GlanceAtChangeCounter(std::uint64_t& counter) {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);  // without a system call; it moves on every few milliseconds
    const std::unique_lock lock(_state->mutex, std::try_to_lock);  // in a forked child nobody may ever give it back
    const bool isCertain =
        lock && !_state->isDoubtful && !_state->InTransaction() && _state->IsUnchanged(_state->ReadLogHead());
    const std::int64_t tick = std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
    if (isCertain && tick == _state->glancedAt) {
        counter = _state->ownChanges + _state->foreignChanges;
        return error::Success;
    }
    const DWORD code = ReadChangeCounter(counter);
    if (lock) _state->glancedAt = code == error::Success ? tick : 0;
    return code;
}

DWORD Database::CopyTo(Database& other) {
    State& to = *other._state;
    if (_state->WasForked() || to.WasForked()) return _state->ForkedFailure();
    const std::scoped_lock lock(_state->mutex, to.mutex);
    if (this == &other || to.InTransaction() || to.borrowed || to.schema.version != _state->schema.version ||
        to.schema.applicationId != _state->schema.applicationId) {
        return Fail(error::InvalidParameter, L"\"%1\" cannot take the copy of another database.", to.path);
    }
    for (State* state : {_state.get(), &to}) {
        if (const DWORD code = state->BeReady()) return code;
        if (const DWORD code = state->CheckPlace()) return code;
    }
    if (const DWORD code = to.TakeLock()) return code;
    errno = 0;
    int status = SQLITE_NOMEM;
    if (sqlite3_backup* copy = sqlite3_backup_init(to.connection, "main", _state->connection, "main")) {
        sqlite3_backup_step(copy, -1);
        status = sqlite3_backup_finish(copy);
    } else {
        status = sqlite3_extended_errcode(to.connection);
    }
    ++to.ownChanges;
    const DWORD code = status == SQLITE_OK ? to.CheckpointLocked() : to.Failed(status, notWritten);
    to.lock.Release();
    return code;
}

DWORD Database::Checkpoint() {
    if (_state->WasForked()) return _state->ForkedFailure();
    const std::scoped_lock lock(_state->mutex);
    if (_state->IsInMemory()) return error::Success;
    if (_state->InTransaction()) return Fail(error::Busy, L"\"%1\" is inside a transaction.", _state->path);
    if (const DWORD code = _state->BeReady()) return code;
    if (const DWORD code = _state->TakeLock()) return code;
    const DWORD code = _state->CheckpointLocked();
    _state->lock.Release();
    return code;
}

std::int64_t Database::LastInsertedId() const {
    return sqlite3_last_insert_rowid(_state->connection);
}

std::int64_t Database::ChangedRows() const {
    return sqlite3_changes64(_state->connection);
}

const std::string& Database::Path() const {
    return _state->path;
}

bool Database::IsStale() {
    if (_state->WasForked()) return true;
    const std::scoped_lock lock(_state->mutex);
    return _state->HasMoved();
}

std::unique_lock<std::recursive_mutex> Database::Lock() {
    if (_state->WasForked()) return {};  // another thread of the parent may have held it
    return std::unique_lock(_state->mutex);
}

bool Database::State::WasForked() const {
    return owner != CurrentProcess();
}

DWORD Database::State::ForkedFailure() const {
    return Fail(error::InvalidHandle, L"\"%1\" was opened before this process was forked, and cannot be used in it.",
                path);
}

// Outside of transactions, the one place where a file whose last write failed is opened anew.
// So is one that keeps others out, after a while: there may be room on the disk by now.
DWORD Database::State::BeReady() {
    if (isAlone && std::chrono::steady_clock::now() - openedAt > longestAlone) isDoubtful = true;
    if (!isDoubtful || InTransaction() || borrowed) return error::Success;
    const ino_t before = inode;
    Close();
    if (const DWORD code = OpenFile(OpenMode::MustExist)) {
        Close();
        return code;
    }
    if (before && inode != before) return Fail(error::FileInvalid, L"\"%1\" was replaced by another file.", path);
    isDoubtful = false;
    return error::Success;
}

bool Database::State::HasMoved() const {
    if (IsInMemory() || !connection) return false;
    int moved = 0;
    return sqlite3_file_control(connection, "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved;
}

// What is written to a file that has lost its name, nobody would ever see.
DWORD Database::State::CheckPlace() {
    if (!connection) return Fail(error::CannotOpenDatabase, L"\"%1\" is closed since a write to it failed.", path);
    return HasMoved() ? LostPlaceFailure() : error::Success;
}

DWORD Database::State::LostPlaceFailure() const {
    return Fail(error::FileInvalid, L"\"%1\" was removed or replaced by another file.", path);
}

// The statement that asks SQLite takes three system calls. Where the head of the log's index is the same as before the
// last asking, nothing was committed since: SQLite itself decides by the same comparison whether its pages are current.
DWORD Database::State::NoticeChanges() {
    if (IsInMemory()) return error::Success;
    const LogHead head = ReadLogHead();
    if (IsUnchanged(head)) return error::Success;
    const DWORD code = RefreshDataVersion();
    if (code == error::Success && !logHead) FindLogHead();
    if (code == error::Success) seenHead = head;
    return code;
}

bool Database::State::IsUnchanged(const LogHead& head) const {
    return logHead && head == seenHead && dataVersion >= 0;
}

void Database::State::FindLogHead() {
    constexpr int regionSize = 32 * 1024;
    sqlite3_file* file = nullptr;
    if (sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || !file) return;
    if (isAlone || !file->pMethods || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap) return;
    volatile void* region = nullptr;
    if (file->pMethods->xShmMap(file, 0, regionSize, 0, &region) != SQLITE_OK) return;
    logHead = static_cast<const std::uint32_t*>(const_cast<const void*>(region));  // stays until the file is closed
}

LogHead Database::State::ReadLogHead() const {
    LogHead head{};
    for (std::size_t at = 0; logHead && at < head.size(); ++at)
        head[at] = __atomic_load_n(logHead + at, __ATOMIC_ACQUIRE);
    return head;
}

DWORD Database::State::RefreshDataVersion() {
    if (IsInMemory()) return error::Success;
    static constexpr const char* sql = "PRAGMA data_version";
    errno = 0;
    sqlite3_stmt* statement = Borrow(sql);
    if (!statement) return Failed(sqlite3_extended_errcode(connection), notRead);
    const int status = sqlite3_step(statement);
    const std::int64_t version = status == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : -1;
    const DWORD code = status == SQLITE_ROW ? error::Success : Failed(status, notRead);
    GiveBack(sql, statement, connectionNumber);
    if (code == error::Success && version != dataVersion) ++foreignChanges;
    if (code == error::Success) dataVersion = version;
    return code;
}

DWORD Database::State::TakeLock() {
    if (IsInMemory()) return error::Success;
    const DWORD code = lock.Take(options.lockTimeout);
    const DWORD lost = CheckPlace();  // the better answer, where the lock file has gone the same way
    if (lost != error::Success) lock.Release();
    return lost != error::Success ? lost : code;
}

// PASSIVE takes what it can and waits for nobody. What readers still need stays for the next one.
DWORD Database::State::CheckpointLocked() {
    if (IsInMemory()) return error::Success;
    errno = 0;
    const int status = sqlite3_wal_checkpoint_v2(connection, nullptr, SQLITE_CHECKPOINT_PASSIVE, &logPages, nullptr);
    return status == SQLITE_OK || (status & 0xFF) == SQLITE_BUSY ? error::Success : Failed(status, notWritten);
}

DWORD Database::State::Execute(const char* sql) {
    errno = 0;
    const int status = sqlite3_exec(connection, sql, nullptr, nullptr, nullptr);
    return status == SQLITE_OK ? error::Success : Failed(status, notWritten);
}

DWORD Database::State::Failed(int status, const wchar_t* message) {
    const bool isOfTheFile = (status & 0xFF) == SQLITE_IOERR || (status & 0xFF) == SQLITE_CANTOPEN;
    if ((status & 0xFF) == SQLITE_IOERR) isDoubtful = true;
    const DWORD code = FailSqlite(status, connection, message, path);
    return isOfTheFile && HasLostPlace() ? LostPlaceFailure() : code;
}

DWORD Database::State::BeginWriting() {
    if (readDepth) return Fail(error::Busy, L"\"%1\" cannot be written inside a read transaction.", path);
    if (writeDepth) {
        // Without this, the savepoint of a transaction that SQLite has taken back would begin one of its own.
        if (sqlite3_get_autocommit(connection)) {
            return Fail(error::GeneralFailure, L"\"%1\": the transaction was taken back.", path);
        }
        const DWORD code = Execute("SAVEPOINT inner");
        if (code == error::Success) ++writeDepth;
        return code;
    }
    if (const DWORD code = BeReady()) return code;
    if (const DWORD code = TakeLock()) return code;
    ++writeDepth;
    Unless begun([&] {
        const Failure reason = LastFailure();
        TakeBack();
        KeepFailure(reason);
    });
    if (const DWORD code = Execute("BEGIN IMMEDIATE")) return code;
    if (const DWORD code = RefreshDataVersion()) return code;
    begun.isDone = true;
    return error::Success;
}

DWORD Database::State::CommitWriting() {
    if (sqlite3_get_autocommit(connection)) {
        TakeBack();
        return Fail(error::GeneralFailure, L"\"%1\": the transaction was taken back.", path);
    }
    errno = 0;
    const int status = sqlite3_exec(connection, writeDepth > 1 ? "RELEASE inner" : "COMMIT", nullptr, nullptr, nullptr);
    if (status == SQLITE_OK) {
        if (--writeDepth > 0) return error::Success;
        // A checkpoint that fails fails nothing: the commit is on disk in the log.
        if (logPages >= checkpointPages) CheckpointLocked();
        lock.Release();
        return error::Success;
    }
    DWORD code = Failed(status, notWritten);
    Failure reason = LastFailure();
    const bool isWhole = status == SQLITE_IOERR_FSYNC || (status & 0xFF) == SQLITE_NOMEM ||
                         ((status & 0xFF) == SQLITE_IOERR && code != error::DiskFull);
    const bool mayBeInLog = isWhole && writeDepth == 1 && !IsInMemory() && code != error::FileInvalid;
    if (mayBeInLog && !Overwrite()) {
        code = error::OutcomeUnknown;
        reason = {code, reason.words + L" Whether the change is there can be seen only by looking for it."};
    }
    TakeBack();
    KeepFailure(reason);
    return code;
}

// The log may hold the whole transaction, although its index does not say so and nobody sees it: whoever opens the file
// as the first would find it there. A transaction that changes nothing, written in its place and synced, ends that.
bool Database::State::Overwrite() {
    if (!sqlite3_get_autocommit(connection)) Execute("ROLLBACK");
    const std::string same = "PRAGMA user_version = " + std::to_string(schema.version);
    return Execute("BEGIN IMMEDIATE") == error::Success && Execute(same.c_str()) == error::Success &&
           Execute("COMMIT") == error::Success;
}

void Database::State::TakeBack() {
    ++ownChanges;  // what was read inside is not true any more
    if (writeDepth > 1) {
        if (!sqlite3_get_autocommit(connection)) Execute("ROLLBACK TO inner; RELEASE inner");
        --writeDepth;
        return;
    }
    if (connection && !sqlite3_get_autocommit(connection)) Execute("ROLLBACK");
    writeDepth = 0;
    lock.Release();
}

sqlite3_stmt* Database::State::Borrow(const char* sql) {
    if (!connection) return nullptr;
    sqlite3_stmt* statement = nullptr;
    Prepared& known = prepared[sql];
    if (!known.idle.empty()) {
        statement = known.idle.back();
        known.idle.pop_back();
    } else {
        known.idle.reserve(known.count + 1);  // giving back needs no memory
        if (sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
            return nullptr;
        ++known.count;
    }
    ++borrowed;
    return statement;
}

void Database::State::GiveBack(const char* sql, sqlite3_stmt* statement, std::uint64_t number) {
    if (!statement) return;
    --borrowed;
    sqlite3_reset(statement);  // an open statement is a reader, for whose sake the log would grow without end
    sqlite3_clear_bindings(statement);
    if (number == connectionNumber) {
        prepared.find(sql)->second.idle.push_back(statement);
    } else {
        sqlite3_finalize(statement);
    }
}

WriteTransaction::~WriteTransaction() {
    if (!_begun || _database._state->WasForked()) return;
    const Failure reason = LastFailure();
    _database._state->TakeBack();
    KeepFailure(reason);
}

DWORD WriteTransaction::Begin() {
    Database::State& state = *_database._state;
    if (state.WasForked()) return state.ForkedFailure();
    if (_begun) return Fail(error::Busy, L"\"%1\": the transaction has begun already.", state.path);
    std::unique_lock lock(state.mutex);
    const DWORD code = state.BeginWriting();
    if (code == error::Success) {
        _lock = std::move(lock);
        _begun = true;
    }
    return code;
}

DWORD WriteTransaction::Commit() {
    Database::State& state = *_database._state;
    if (state.WasForked()) return state.ForkedFailure();
    if (!_begun) return Fail(error::InvalidParameter, L"\"%1\": no transaction has begun.", state.path);
    _begun = false;
    const DWORD code = state.CommitWriting();
    _lock.unlock();
    return code;
}

ReadTransaction::~ReadTransaction() {
    Database::State& state = *_database._state;
    if (!_begun || state.WasForked()) return;
    if (--state.readDepth == 0 && !sqlite3_get_autocommit(state.connection)) state.Execute("COMMIT");
}

DWORD ReadTransaction::Begin() {
    Database::State& state = *_database._state;
    if (state.WasForked()) return state.ForkedFailure();
    if (_begun) return error::Success;
    std::unique_lock lock(state.mutex);
    if (state.writeDepth) return error::Success;
    if (!state.readDepth) {
        if (const DWORD code = state.BeReady()) return code;
        if (const DWORD code = state.CheckPlace()) return code;
        if (const DWORD code = state.Execute("BEGIN")) return code;
        Unless begun([&] {
            const Failure reason = LastFailure();
            state.Execute("ROLLBACK");
            KeepFailure(reason);
        });
        // The first read takes the snapshot.
        if (const DWORD code = state.RefreshDataVersion()) return code;
        begun.isDone = true;
    }
    ++state.readDepth;
    _lock = std::move(lock);
    _begun = true;
    return error::Success;
}

}  // namespace platform
