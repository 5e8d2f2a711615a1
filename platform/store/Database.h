#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <concepts>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

/// What a database file must be. `statements` makes the tables of a new one; STRICT tables with checks, since a damaged
/// file is found by them first.
///
/// SQLite finds few flipped bits, so each table ends in a column that NextRow verifies:
///
///     checksum INTEGER NOT NULL AS (row_checksum(id, name)) STORED    -- of all columns before it, in their order
///
/// A file of a version from `oldest` on is brought to `version` when it is opened, as one transaction: the new tables
/// are made, the columns that both have are copied, `conversion` does what else must be done while the former tables
/// still stand under the names old_NAME, and these are dropped.
struct DatabaseSchema {
    int applicationId = 0;
    int version = 0;
    std::string statements;
    int oldest = version;
    std::string conversion = {};
};

enum class OpenMode { CreateIfMissing, MustExist };

struct DatabaseOptions {
    DWORD lockTimeout = 10'000;  ///< milliseconds that a writer waits for the others before it gives up
};

/// One SQLite file, or one in memory, opened so that several processes can work on it at once: a write-ahead log, one
/// writer at a time under a lock file of our own beside the database ("NAME.lock"), every commit synced to disk.
///
/// Safe for use from any thread; a transaction keeps the other threads of the process out until it ends. Not after a
/// fork: the child's every use is refused. Results are codes of platform::error; LastMessage has words for a person.
/// Codes worth telling apart: Timeout and Busy (others write; try again), DiskFull, AccessDenied, IoDevice (the disk),
/// FileCorrupt and BadDatabase (the content), NotSupported (a newer version's file), FileInvalid (the file was removed
/// or replaced: open it anew), OutcomeUnknown (of a commit only).
class PLATFORM_API Database {
public:
    /// Opens the file at an absolute UTF-8 path; its directory must exist, belong to this machine and be writable.
    /// A file that is of another application, of a newer version, damaged or open to other users' writes is refused and
    /// not touched. MustExist: FileNotFound without the file, and nothing is created. `database` is null on failure.
    static DWORD Open(const std::string& absolutePath, const DatabaseSchema& schema, OpenMode mode,
                      std::unique_ptr<Database>& database, const DatabaseOptions& options = {});

    /// A new database in memory, which dies with its object.
    static DWORD OpenMemory(const DatabaseSchema& schema, std::unique_ptr<Database>& database);

    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Why an operation of this thread that answered `code` failed, in words that name the file. Empty when the last
    /// failure with words had another code: some say all, such as FileNotFound for a key.
    static std::wstring LastMessage(DWORD code);

    /// A number that differs from the one answered before whenever the content may have changed in between, through
    /// this object or another process. Inside a transaction it belongs to what the transaction sees.
    DWORD ReadChangeCounter(std::uint64_t& counter);

    /// The same without a system call, for what is asked over and over: every change shows at once, but that the file
    /// was removed or replaced, or the process forked, may show some milliseconds late.
    DWORD GlanceAtChangeCounter(std::uint64_t& counter);

    /// Makes `other` a copy of this database, as one transaction; both must have the same schema. `other` must not be
    /// inside a transaction. On failure `other` is as it was.
    DWORD CopyTo(Database& other);

    /// Moves what the write-ahead log holds into the database file. Writers do this by themselves from time to time.
    DWORD Checkpoint();

    /// The row id that the last INSERT of this connection made; meaningful inside the transaction that made it.
    std::int64_t LastInsertedId() const;
    /// How many rows the last INSERT, UPDATE or DELETE changed.
    std::int64_t ChangedRows() const;

    /// Empty in memory.
    const std::string& Path() const;
    /// Whether the file at the path is no longer the one that was opened, or the process was forked since.
    bool IsStale();

    /// Keeps the other threads of the process out for the time of several reads. Recursive; not owning after a fork.
    std::unique_lock<std::recursive_mutex> Lock();

private:
    friend class Statement;
    friend class WriteTransaction;
    friend class ReadTransaction;
    struct State;
    explicit Database(std::unique_ptr<State> state);

    std::unique_ptr<State> _state;
};

/// A prepared statement, borrowed from its database's store and given back, reset, at the end of its scope. It must not
/// outlive the database, and a statement that writes works inside a WriteTransaction only.
///
///     Statement rows(database, "SELECT id, name FROM keys WHERE parent = ?", parent);
///     while (rows.Next()) {
///         const std::int64_t id = rows.Integer(0);
///         const std::wstring name = rows.Text(1, 255);
///         if (rows.Result() != error::Success) break;  // a column that is not what it must be
///     }
///     return rows.Result();
class PLATFORM_API Statement {
public:
    /// `sql` is a literal of the program, without user input; `values` bind to its question marks in their order. A
    /// failure shows in Next, Run and Result.
    template <typename... Values>
    Statement(Database& database, const char* sql, const Values&... values) : Statement(&database, sql) {
        (Bind(values), ...);
    }
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    template <std::integral Integer>
    void Bind(Integer value) {
        BindInteger(static_cast<std::int64_t>(value));
    }
    /// Stored as UTF-8.
    void Bind(std::wstring_view text);
    void Bind(const std::wstring& text) { Bind(std::wstring_view(text)); }
    void Bind(const wchar_t* text) { Bind(std::wstring_view(text)); }
    /// The bytes are copied.
    void Bind(std::span<const BYTE> blob);
    void Bind(const std::vector<BYTE>& blob) { Bind(std::span<const BYTE>(blob)); }

    /// Steps to the next row. False at the end, or when something failed: Result tells which.
    bool Next();
    /// Runs a statement that gives no rows.
    DWORD Run();
    /// The same for a SELECT of whole rows: its last column is `checksum`, and before it come all columns that it is
    /// made of, in the table's order. A row that is not as it was written makes Result FileCorrupt.
    bool NextRow();
    /// Success while rows come and when they have ended.
    DWORD Result() const { return _result; }

    // Columns of the current row, counted from 0. A column of another type, beyond the bounds given or out of range
    // makes Result FileCorrupt, ends Next and gives 0 or an empty value.
    std::int64_t Integer(int column, std::int64_t least = INT64_MIN, std::int64_t most = INT64_MAX);
    std::wstring Text(int column, std::size_t longest);
    /// Valid until the next step.
    std::span<const BYTE> Blob(int column, std::size_t longest);

private:
    Statement(Database* database, const char* sql);
    void BindInteger(std::int64_t value);
    void KeepFailure(int status);
    void GiveBack();
    void Damaged();

    Database& _database;
    std::unique_lock<std::recursive_mutex> _lock;
    sqlite3_stmt* _statement = nullptr;
    const char* _sql;
    std::uint64_t _connection = 0;  // number of the connection that _statement belongs to
    int _bound = 0;
    bool _hasEnded = false;
    DWORD _result = 0;
};

/// Several changes as one: all of them are on disk when Commit has answered Success, and none after any failure but
/// OutcomeUnknown: then the disk failed so that all or none may be there. Without a Commit the destructor takes all
/// back.
/// Inside another WriteTransaction of the same thread it becomes a part of that one, which alone decides; taking back
/// an inner one takes back its own changes only.
class PLATFORM_API WriteTransaction {
public:
    explicit WriteTransaction(Database& database) : _database(database) {}
    ~WriteTransaction();
    WriteTransaction(const WriteTransaction&) = delete;
    WriteTransaction& operator=(const WriteTransaction&) = delete;

    /// Waits for other writers, up to the database's bound. Busy inside a ReadTransaction.
    DWORD Begin();
    DWORD Commit();

private:
    Database& _database;
    std::unique_lock<std::recursive_mutex> _lock;
    bool _begun = false;
};

/// Reads that see one state of the database, whatever others write meanwhile. Keep it short: the write-ahead log cannot
/// be reset while it lasts. Inside another transaction of the same thread it sees what that one sees.
class PLATFORM_API ReadTransaction {
public:
    explicit ReadTransaction(Database& database) : _database(database) {}
    ~ReadTransaction();
    ReadTransaction(const ReadTransaction&) = delete;
    ReadTransaction& operator=(const ReadTransaction&) = delete;

    DWORD Begin();

private:
    Database& _database;
    std::unique_lock<std::recursive_mutex> _lock;
    bool _begun = false;
};

}  // namespace platform
