#pragma once

#include <platform/store/Database.h>
#include <platform/store/LockFile.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <unordered_map>
#include <vector>

namespace platform {

/// How long SQLite's own locks are waited for.
struct Patience {
    std::chrono::steady_clock::time_point since;
    DWORD bound = 0;  // milliseconds
};

/// The head of the log's index: every commit changes it, and nobody's reading does.
using LogHead = std::array<std::uint32_t, 12>;

/// How far a file has come. WithoutLog: it is in the making, or a backup was copied into it.
enum class FileStage { Missing, WithoutLog, Complete };

/// The process's id, without a system call.
pid_t CurrentProcess();

/// What a Database holds: its connection, its lock file, the statements prepared so far.
///
/// Invariants: `lock` is held exactly while `writeDepth` is above 0, or while the file is made or checkpointed. Every
/// statement is either borrowed or in `prepared`, reset.
struct Database::State {
    std::string path;  // empty in memory
    DatabaseSchema schema;
    DatabaseOptions options;
    std::recursive_mutex mutex;

    sqlite3* connection = nullptr;
    std::uint64_t connectionNumber = 0;  // a reopened file is a new connection
    LockFile lock;
    pid_t owner = 0;
    dev_t device = 0;
    ino_t inode = 0;

    int readDepth = 0;
    int writeDepth = 0;
    /// The statements made of one literal, by its address.
    struct Prepared {
        std::vector<sqlite3_stmt*> idle;  // with room for those that are out
        std::size_t count = 0;
    };
    std::unordered_map<const char*, Prepared> prepared;
    int borrowed = 0;

    std::uint64_t ownChanges = 0;
    std::uint64_t foreignChanges = 0;
    const std::uint32_t* logHead = nullptr;  // of the log's index, which SQLite shares between processes; may be null
    LogHead seenHead{};                      // as it was before dataVersion was read
    std::int64_t dataVersion = -1;           // as PRAGMA data_version answered last; belongs to this connection

    std::int64_t glancedAt = 0;  // nanoseconds; when GlanceAtChangeCounter last looked at the file itself

    bool isAlone = false;  // other processes are kept from the file, for want of room on the disk
    std::chrono::steady_clock::time_point openedAt;  // when it is alone

    bool isDoubtful = false;  // an operation on the file failed: what it wrote is not trusted, and it is opened anew
    int logPages = 0;         // length of the write-ahead log after the last commit
    Patience patience;

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State();

    bool IsInMemory() const { return path.empty(); }
    bool WasForked() const;
    bool InTransaction() const { return readDepth + writeDepth > 0; }

    // Opening (DatabaseOpening.cpp).
    DWORD OpenFile(OpenMode mode);
    DWORD OpenPlainly(OpenMode mode);
    DWORD OpenInMemory();
    void Close();
    DWORD CheckFile(FileStage& stage) const;
    DWORD CheckCompanions() const;
    DWORD CheckHeader(FileStage& stage) const;
    DWORD CheckReplacement() const;
    DWORD MakeOrConnect(OpenMode mode);
    DWORD CreateFile();
    DWORD Connect();
    DWORD Configure();
    DWORD CreateTables();
    DWORD Upgrade();
    DWORD UpgradeTables();
    DWORD CopyFormerRows(const std::string& table);
    DWORD ReadTexts(const char* sql, std::vector<std::string>& texts);
    DWORD EnableLog();
    DWORD CheckSchema(int& version);
    DWORD RememberInode();
    DWORD NoFileFailure() const;
    bool HasLostPlace() const;

    // Use (Database.cpp).
    DWORD BeReady();
    DWORD CheckPlace();
    bool HasMoved() const;
    DWORD NoticeChanges();
    bool IsUnchanged(const LogHead& head) const;
    DWORD RefreshDataVersion();
    void FindLogHead();
    LogHead ReadLogHead() const;
    DWORD TakeLock();
    DWORD CheckpointLocked();
    DWORD Execute(const char* sql);
    DWORD BeginWriting();
    DWORD CommitWriting();
    bool Overwrite();
    void TakeBack();
    sqlite3_stmt* Borrow(const char* sql);
    void GiveBack(const char* sql, sqlite3_stmt* statement, std::uint64_t number);
    DWORD Failed(int status, const wchar_t* message);
    DWORD ForkedFailure() const;
    DWORD LostPlaceFailure() const;
};

}  // namespace platform
