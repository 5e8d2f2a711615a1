#include <fcntl.h>
#include <linux/magic.h>
#include <platform/base/error_codes.h>
#include <platform/store/DatabaseState.h>
#include <platform/store/RowChecksum.h>
#include <platform/store/failures.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>
#include <thread>

namespace platform {

namespace {

constexpr int headerLength = 100;
constexpr int longestItem = 16 * 1024 * 1024;
constexpr DWORD closingPatience = 20;  // milliseconds: closing leaves the log to the others rather than wait for them

// The files that this process has open. A forked child cannot open them either: SQLite remembers, in the memory that
// the child inherits, locks that only the parent holds.
class OpenFiles {
public:
    bool Belongs(dev_t device, ino_t inode) {
        const std::scoped_lock lock(_mutex);
        const auto found = _files.find({device, inode});
        return found != _files.end() && found->second.owner != CurrentProcess();
    }
    void Add(dev_t device, ino_t inode) {
        const std::scoped_lock lock(_mutex);
        Users& users = _files[{device, inode}];
        users.owner = CurrentProcess();
        ++users.count;
    }
    void Remove(dev_t device, ino_t inode) {
        const std::scoped_lock lock(_mutex);
        const auto found = _files.find({device, inode});
        if (found != _files.end() && --found->second.count == 0) _files.erase(found);
    }

private:
    struct Users {
        pid_t owner = 0;
        int count = 0;
    };
    std::mutex _mutex;
    std::map<std::pair<dev_t, ino_t>, Users> _files;
};

OpenFiles& Files() {
    static OpenFiles* const files = new OpenFiles;  // outlives every database, also those that statics hold
    return *files;
}

bool IsNetworkFileSystem(const std::string& directory) {
    struct statfs status {};
    if (::statfs(directory.c_str(), &status) != 0) return false;
    switch (static_cast<unsigned long>(status.f_type) & 0xFFFFFFFFUL) {
        case NFS_SUPER_MAGIC:
        case SMB_SUPER_MAGIC:
        case CIFS_SUPER_MAGIC:
        case SMB2_SUPER_MAGIC:
        case AFS_SUPER_MAGIC:
        case AFS_FS_MAGIC:
        case CODA_SUPER_MAGIC:
        case NCP_SUPER_MAGIC:
        case CEPH_SUPER_MAGIC:
        case V9FS_MAGIC:
        case 0x0BD00BD0UL:  // Lustre
        case 0x47504653UL:  // GPFS
            return true;
        default: return false;
    }
}

int WaitForOthers(void* argument, int attempts) {
    auto* patience = static_cast<Patience*>(argument);
    const auto now = std::chrono::steady_clock::now();
    if (attempts == 0) patience->since = now;
    if (now - patience->since >= std::chrono::milliseconds(patience->bound)) return 0;
    std::this_thread::sleep_for(RandomPause());
    return 1;
}

int CountLogPages(void* argument, sqlite3*, const char*, int pages) {
    *static_cast<int*>(argument) = pages;
    return SQLITE_OK;
}

// Reads the head of a file through SQLite's own file layer: closing a descriptor of ours would drop SQLite's locks.
DWORD ReadHeader(const std::string& path, unsigned char* header, std::int64_t& size) {
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    const std::unique_ptr<void, decltype(&std::free)> memory(std::calloc(1, static_cast<std::size_t>(vfs->szOsFile)),
                                                             &std::free);
    auto* file = static_cast<sqlite3_file*>(memory.get());
    if (!file) return error::NotEnoughMemory;
    int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_NOFOLLOW;
    errno = 0;
    int status = vfs->xOpen(vfs, path.c_str(), file, flags, &flags);
    sqlite3_int64 length = 0;
    if (status == SQLITE_OK) status = file->pMethods->xFileSize(file, &length);
    if (status == SQLITE_OK && length >= headerLength) status = file->pMethods->xRead(file, header, headerLength, 0);
    if (file->pMethods) file->pMethods->xClose(file);
    size = length;
    if (status == SQLITE_OK) return error::Success;
    const DWORD code = FailSqlite(status, nullptr, L"\"%1\" cannot be read: %2.", path);
    return code == error::CannotOpenDatabase ? FailAs(error::AccessDenied) : code;
}

std::string Quoted(std::string_view name, char mark = '"') {
    std::string quoted(1, mark);
    for (const char character : name) quoted.append(character == mark ? 2 : 1, character);
    return quoted += mark;
}

int ReadBigEndian(const unsigned char* bytes) {
    return static_cast<int>(static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                            static_cast<std::uint32_t>(bytes[2]) << 8 | static_cast<std::uint32_t>(bytes[3]));
}

DWORD CheckIdentity(const DatabaseSchema& schema, int applicationId, int version, const std::string& path) {
    if (applicationId != schema.applicationId) {
        return Fail(error::BadDatabase, L"\"%1\" is a database of another kind.", path);
    }
    if (version > schema.version) {
        return Fail(error::NotSupported, L"\"%1\" was written by a newer version of this program.", path);
    }
    if (version < schema.oldest) {
        return Fail(error::NotSupported, L"\"%1\" was written by an older version that cannot be read any more.", path);
    }
    return error::Success;
}

// The directory without symbolic links, so that the file's own name is the only one that NOFOLLOW refuses.
DWORD Canonical(const std::string& path, std::string& canonical) {
    const std::size_t slash = path.rfind('/');
    if (path.empty() || path[0] != '/' || slash + 1 == path.size()) {
        return Fail(error::InvalidParameter, L"\"%1\" is no absolute path of a file.", path);
    }
    const std::string directory = path.substr(0, slash == 0 ? 1 : slash);
    char resolved[PATH_MAX];
    if (!::realpath(directory.c_str(), resolved)) {
        return FailErrno(errno, L"The directory of \"%1\" cannot be used: %2.", path);
    }
    canonical = std::string(resolved) + (resolved[1] ? "/" : "") + path.substr(slash + 1);
    return error::Success;
}

}  // namespace

pid_t CurrentProcess() {
    // Memory that a fork leaves empty in the child. Without it every question to a database would begin with getpid.
    static std::atomic<pid_t>* const remembered = []() -> std::atomic<pid_t>* {
        constexpr std::size_t size = sizeof(std::atomic<pid_t>);
        void* const page = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED || ::madvise(page, size, MADV_WIPEONFORK) != 0) return nullptr;
        return new (page) std::atomic<pid_t>(0);
    }();
    if (!remembered) return ::getpid();
    pid_t process = remembered->load(std::memory_order_relaxed);
    if (process == 0) remembered->store(process = ::getpid(), std::memory_order_relaxed);
    return process;
}

// Where there is no room for the log's index, which processes share, SQLite can still read for one process alone.
DWORD Database::State::OpenFile(OpenMode mode) {
    owner = CurrentProcess();
    std::string canonical;
    if (const DWORD code = Canonical(path, canonical)) return code;
    path = canonical;
    isAlone = false;
    const DWORD code = OpenPlainly(mode);
    if (code != error::DiskFull || !connection) return code;
    Close();
    isAlone = true;
    openedAt = std::chrono::steady_clock::now();
    return OpenPlainly(mode);
}

DWORD Database::State::OpenPlainly(OpenMode mode) {
    FileStage stage{};
    if (const DWORD code = CheckFile(stage)) return code;
    if (stage == FileStage::Missing && mode == OpenMode::MustExist) return NoFileFailure();
    if (const DWORD code = lock.Open(path)) return code;
    // Until it is remembered, a file may still be in the making, with locks of SQLite's that no patience outlasts. So
    // may one without a log, to whoever turns its log on.
    const bool isKnown = stage == FileStage::Complete && lock.RemembersFile();
    DWORD code = isKnown ? error::Success : lock.Take(options.lockTimeout);
    if (code == error::Success) code = isKnown ? Connect() : MakeOrConnect(mode);
    int version = 0;
    if (code == error::Success) code = CheckSchema(version);
    if (code == error::Success) code = EnableLog();
    if (code == error::Success && version < schema.version) {
        if (isKnown) code = lock.Take(options.lockTimeout);
        if (code == error::Success) code = Upgrade();
    }
    if (code == error::Success && !isKnown) lock.RememberFile();
    lock.Release();
    if (code != error::Success) return HasLostPlace() ? LostPlaceFailure() : code;
    sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    return error::Success;
}

DWORD Database::State::OpenInMemory() {
    owner = CurrentProcess();
    DWORD code = Connect();
    if (code == error::Success) code = CreateTables();
    return code;
}

DWORD Database::State::CheckFile(FileStage& stage) const {
    if (IsNetworkFileSystem(path.substr(0, path.rfind('/') + 1))) {
        return Fail(error::NotSupported, L"\"%1\" is on a network file system, where databases get damaged.", path);
    }
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        stage = FileStage::Missing;
        return errno == ENOENT ? error::Success : FailErrno(errno, L"\"%1\" cannot be read: %2.", path);
    }
    if (!S_ISREG(status.st_mode)) {
        return Fail(error::AccessDenied, L"\"%1\" is not a regular file.", path);
    }
    if (status.st_uid != ::geteuid()) {
        return Fail(error::AccessDenied, L"\"%1\" belongs to another user.", path);
    }
    if (status.st_mode & (S_IWGRP | S_IWOTH)) {
        return Fail(error::AccessDenied, L"\"%1\" can be written by other users.", path);
    }
    if (Files().Belongs(status.st_dev, status.st_ino)) return ForkedFailure();
    if (const DWORD code = CheckCompanions()) return code;
    return CheckHeader(stage);
}

// Whoever opened a pipe in the place of one of these would wait for its other end.
DWORD Database::State::CheckCompanions() const {
    for (const char* const ending : {"-wal", "-shm", "-journal", ".lock"}) {
        struct stat status {};
        const std::string companion = path + ending;
        if (::lstat(companion.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
            return Fail(error::AccessDenied, L"\"%1\" is not a regular file.", companion);
    }
    return error::Success;
}

// Before SQLite sees the file: a file that is not ours must not get a write-ahead log, or lose one.
DWORD Database::State::CheckHeader(FileStage& stage) const {
    unsigned char header[headerLength] = {};
    std::int64_t size = 0;
    const DWORD code = ReadHeader(path, header, size);
    stage = FileStage::Missing;
    if (code == error::FileNotFound) return error::Success;  // it has gone just now
    if (code != error::Success || size == 0) return code;
    if (size < headerLength || std::memcmp(header, "SQLite format 3", 16) != 0) {
        return Fail(error::BadDatabase, L"\"%1\" is damaged, or is no database.", path);
    }
    stage = header[18] == 2 && header[19] == 2 ? FileStage::Complete : FileStage::WithoutLog;
    return CheckIdentity(schema, ReadBigEndian(header + 68), ReadBigEndian(header + 60), path);
}

DWORD Database::State::CheckReplacement() const {
    struct stat log {};
    if (!lock.IsBesideAnotherFile() || ::stat((path + "-wal").c_str(), &log) != 0 || log.st_size == 0) {
        return error::Success;
    }
    return Fail(error::FileInvalid,
                L"\"%1\" was replaced while the write-ahead log of the file before it stayed. When all programs have "
                L"ended and the new file is complete, remove the files of that name which end in -wal and -shm.",
                path);
}

// Others may be at the same: whoever gets the lock first makes the file. Who comes after one that was killed in the
// making finds a file that looks whole, until SQLite has taken the unfinished transaction back: then it is empty.
DWORD Database::State::MakeOrConnect(OpenMode mode) {
    FileStage stage{};
    if (const DWORD code = CheckFile(stage)) return code;
    if (stage != FileStage::Missing) {
        DWORD code = CheckReplacement();
        // The head of the file says that its log is on some time before all is done.
        if (code == error::Success) lock.ForgetFile();
        if (code == error::Success) code = Connect();
        if (code == error::Success) code = RefreshDataVersion();
        if (code == error::Success) code = CheckFile(stage);
        if (code != error::Success || stage != FileStage::Missing) return code;
    }
    if (mode == OpenMode::MustExist) return NoFileFailure();
    if (!connection) {
        if (const DWORD code = CreateFile()) return code;
        if (const DWORD code = Connect()) return code;
    }
    return CreateTables();
}

DWORD Database::State::CreateFile() {
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (descriptor < 0 && errno != EEXIST) return FailErrno(errno, L"\"%1\" cannot be made: %2.", path);
    if (descriptor >= 0) ::close(descriptor);  // nobody else has it open yet: all others wait for the lock
    return error::Success;
}

DWORD Database::State::Connect() {
    int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_EXRESCODE;
    if (IsInMemory()) flags |= SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY;
    const char* name = IsInMemory() ? ":memory:" : path.c_str();
    errno = 0;
    int status = sqlite3_open_v2(name, &connection, flags, nullptr);
    ++connectionNumber;
    if (status != SQLITE_OK) return FailSqlite(status, connection, L"\"%1\" cannot be opened: %2.", path);
    patience.bound = options.lockTimeout;
    sqlite3_busy_handler(connection, &WaitForOthers, &patience);
    return Configure();
}

DWORD Database::State::Configure() {
    sqlite3_extended_result_codes(connection, 1);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_ENABLE_FKEY, 1, nullptr);
    // Until the file has proved to be one of ours, closing it must not write to it.
    sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, longestItem);
    sqlite3_limit(connection, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_wal_autocheckpoint(connection, 0);
    sqlite3_wal_hook(connection, &CountLogPages, &logPages);
    if (RowChecksum::Register(connection) != SQLITE_OK) {
        return Fail(error::NotEnoughMemory, L"There is no memory to open \"%1\".", path);
    }
    if (isAlone) {
        if (const DWORD code = Execute("PRAGMA locking_mode = EXCLUSIVE")) return code;
    }
    return Execute("PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY; PRAGMA synchronous = FULL");
}

// In one transaction with the numbers that tell whose file it is: a file whose making was cut short is an empty one.
DWORD Database::State::CreateTables() {
    const std::string numbers = "PRAGMA application_id = " + std::to_string(schema.applicationId) +
                                "; PRAGMA user_version = " + std::to_string(schema.version) + "; ";
    const DWORD code = Execute(("BEGIN IMMEDIATE; " + schema.statements + "; " + numbers + "COMMIT").c_str());
    if (code != error::Success && !sqlite3_get_autocommit(connection)) {
        const Failure reason = LastFailure();
        Execute("ROLLBACK");
        KeepFailure(reason);
    }
    return code;
}

// Others may have done it while this one waited for the lock.
DWORD Database::State::Upgrade() {
    int version = 0;
    DWORD code = Execute("PRAGMA foreign_keys = OFF; PRAGMA legacy_alter_table = ON; BEGIN IMMEDIATE");
    if (code == error::Success) code = CheckSchema(version);
    if (code == error::Success && version < schema.version) code = UpgradeTables();
    const std::string end = "PRAGMA user_version = " + std::to_string(schema.version) + "; COMMIT";
    if (code == error::Success) code = Execute(end.c_str());
    const Failure reason = LastFailure();
    if (!sqlite3_get_autocommit(connection)) Execute("ROLLBACK");
    Execute("PRAGMA legacy_alter_table = OFF; PRAGMA foreign_keys = ON");
    if (code == error::Success) return code;
    KeepFailure(reason);
    return code == error::InvalidData ? FailAs(error::FileCorrupt) : code;
}

DWORD Database::State::UpgradeTables() {
    static constexpr const char* tables =
        "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite%'";
    std::vector<std::string> former;
    std::vector<std::string> attached;
    if (const DWORD code = ReadTexts(tables, former)) return code;
    static constexpr const char* others =
        "SELECT type || ' \"' || replace(name, '\"', '\"\"') || '\"' FROM sqlite_schema "
        "WHERE type <> 'table' AND sql NOT NULL";
    if (const DWORD code = ReadTexts(others, attached)) return code;
    std::string steps;
    for (const std::string& item : attached) steps += "DROP " + item + ';';
    for (const std::string& table : former)
        steps += "ALTER TABLE " + Quoted(table) + " RENAME TO " + Quoted("old_" + table) + ';';
    if (const DWORD code = Execute((steps + schema.statements).c_str())) return code;
    for (const std::string& table : former) {
        if (const DWORD code = CopyFormerRows(table)) return code;
    }
    steps = schema.conversion + ';';
    for (const std::string& table : former) steps += "DROP TABLE " + Quoted("old_" + table) + ';';
    return Execute(steps.c_str());
}

// A table that there is no more has no columns in common with what it was.
DWORD Database::State::CopyFormerRows(const std::string& table) {
    std::vector<std::string> columns;
    const std::string both = "SELECT name FROM pragma_table_info(" + Quoted(table, '\'') +
                             ") WHERE name IN (SELECT name FROM pragma_table_info(" + Quoted("old_" + table, '\'') +
                             "))";
    if (const DWORD code = ReadTexts(both.c_str(), columns)) return code;
    if (columns.empty()) return error::Success;
    std::string list;
    for (const std::string& column : columns) list += (list.empty() ? "" : ", ") + Quoted(column);
    std::string steps = "DELETE FROM " + Quoted(table) + "; INSERT INTO " + Quoted(table) + " (" + list + ") SELECT " +
                        list + " FROM " + Quoted("old_" + table) + ';';
    std::vector<std::string> counted;
    if (const DWORD code = ReadTexts("SELECT name FROM sqlite_schema WHERE name = 'sqlite_sequence'", counted))
        return code;
    if (!counted.empty()) {  // numbers of rows that are gone by now are not given again
        steps += "DELETE FROM sqlite_sequence WHERE name = " + Quoted(table, '\'') +
                 "; UPDATE sqlite_sequence SET name = " + Quoted(table, '\'') +
                 " WHERE name = " + Quoted("old_" + table, '\'');
    }
    return Execute(steps.c_str());
}

DWORD Database::State::ReadTexts(const char* sql, std::vector<std::string>& texts) {
    sqlite3_stmt* rows = nullptr;
    errno = 0;
    int status = sqlite3_prepare_v2(connection, sql, -1, &rows, nullptr);
    while (status == SQLITE_OK || status == SQLITE_ROW) {
        status = sqlite3_step(rows);
        if (status == SQLITE_ROW) texts.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(rows, 0)));
    }
    sqlite3_finalize(rows);
    return status == SQLITE_DONE ? error::Success : Failed(status, L"\"%1\" cannot be read: %2.");
}

DWORD Database::State::CheckSchema(int& version) {
    sqlite3_stmt* numbers = nullptr;
    const char* sql = "SELECT application_id, user_version FROM pragma_application_id, pragma_user_version";
    errno = 0;
    int status = sqlite3_prepare_v2(connection, sql, -1, &numbers, nullptr);
    if (status == SQLITE_OK) status = sqlite3_step(numbers);
    if (status != SQLITE_ROW) {
        sqlite3_finalize(numbers);
        return FailSqlite(status, connection, L"\"%1\" cannot be read: %2.", path);
    }
    const int applicationId = sqlite3_column_int(numbers, 0);
    version = sqlite3_column_int(numbers, 1);
    sqlite3_finalize(numbers);
    return CheckIdentity(schema, applicationId, version, path);
}

DWORD Database::State::EnableLog() {
    sqlite3_stmt* mode = nullptr;
    errno = 0;
    int status = sqlite3_prepare_v2(connection, "PRAGMA journal_mode = WAL", -1, &mode, nullptr);
    if (status == SQLITE_OK) status = sqlite3_step(mode);
    const unsigned char* answer = status == SQLITE_ROW ? sqlite3_column_text(mode, 0) : nullptr;
    const bool isOn = answer && std::strcmp(reinterpret_cast<const char*>(answer), "wal") == 0;
    sqlite3_finalize(mode);
    if (isOn) return RememberInode();
    if (status != SQLITE_ROW) return FailSqlite(status, connection, L"\"%1\" cannot be opened: %2.", path);
    return Fail(error::NotSupported, L"\"%1\" is on a file system that cannot hold a write-ahead log.", path);
}

DWORD Database::State::RememberInode() {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || HasMoved()) return LostPlaceFailure();
    Files().Add(status.st_dev, status.st_ino);
    device = status.st_dev;
    inode = status.st_ino;
    return error::Success;
}

DWORD Database::State::NoFileFailure() const {
    return Fail(error::FileNotFound, L"There is no database \"%1\".", path);
}

// A failure of SQLite's means nothing while its file is going: it tells of that in many ways.
bool Database::State::HasLostPlace() const {
    struct stat status {};
    return connection && (::lstat(path.c_str(), &status) != 0 || HasMoved());
}

void Database::State::Close() {
    if (!connection) return;
    // The last one to close moves the log into the file: that is a checkpoint, and needs the lock like any other.
    const bool mayCheckpoint = inode != 0 && !isDoubtful && !HasMoved() && lock.Take(closingPatience) == error::Success;
    if (!mayCheckpoint) sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    for (const auto& [sql, statements] : prepared) {
        for (sqlite3_stmt* statement : statements.idle) sqlite3_finalize(statement);
    }
    prepared.clear();
    logHead = nullptr;
    dataVersion = -1;
    sqlite3_close_v2(connection);
    connection = nullptr;
    lock.Release();
    if (inode != 0) Files().Remove(device, inode);
    inode = 0;
}

Database::State::~State() {
    if (WasForked()) {
        lock.Abandon();
        return;  // closing would drop the parent's locks
    }
    Close();
}

}  // namespace platform
