#include <platform/store/Database.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tests/support/BentFiles.h>
#include <tests/support/TemporaryHome.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>

namespace {

using namespace platform;
using tests::BentFiles;
using tests::TemporaryHome;

const DatabaseSchema schema{0x74657374, 3, "CREATE TABLE notes (id INTEGER PRIMARY KEY, text TEXT NOT NULL) STRICT"};

const DatabaseSchema newerSchema{
    0x74657374, 4,
    "CREATE TABLE notes (id INTEGER PRIMARY KEY AUTOINCREMENT, text TEXT NOT NULL, length INTEGER NOT NULL DEFAULT 0,"
    "  checksum INTEGER NOT NULL AS (row_checksum(id, text, length)) STORED) STRICT;"
    "CREATE TABLE empty (id INTEGER PRIMARY KEY AUTOINCREMENT) STRICT; INSERT INTO notes (text) VALUES ('initial')",
    3, "UPDATE notes SET length = length(text) WHERE id IN (SELECT id FROM old_notes)"};

/// A process of the test's own. Both ends wait for each other by single bytes, never by time.
class Process {
public:
    explicit Process(const std::function<int(Process&)>& action) {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
        _id = ::fork();
        _end = ends[_id ? 1 : 0];
        ::close(ends[_id ? 0 : 1]);
        if (_id == 0) ::_exit(action(*this));
    }
    ~Process() {
        if (_id > 0) Kill();
        ::close(_end);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void Signal() const {
        if (::write(_end, "x", 1) != 1) ::_exit(99);
    }
    bool Await() const {
        char byte = 0;
        return ::read(_end, &byte, 1) == 1;
    }
    int Finish() {
        int status = 0;
        ::waitpid(std::exchange(_id, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    }
    void Kill() {
        ::kill(_id, SIGKILL);
        Finish();
    }

private:
    pid_t _id;
    int _end;
};

class ADatabase : public testing::Test {
protected:
    std::unique_ptr<Database> Open(const DatabaseOptions& options = {}, OpenMode mode = OpenMode::CreateIfMissing) {
        std::unique_ptr<Database> database;
        code = Database::Open(path, schema, mode, database, options);
        return database;
    }

    // A process that stops before each sync of the file it makes, and goes on when signalled.
    std::unique_ptr<Process> Maker() {
        return std::make_unique<Process>([&](Process& self) {
            BentFiles::beforeSync = [&] {
                self.Signal();
                return self.Await() ? SQLITE_OK : SQLITE_IOERR;
            };
            return Open().release() ? 0 : 1;
        });
    }

    // Stops before a checkpoint, and once more within, where it has read the head of the log.
    static void StopInTheMidst(Process& self) {
        self.Signal();
        self.Await();
        BentFiles::beforeUnfetch = [&] {
            BentFiles::beforeUnfetch = nullptr;
            self.Signal();
            self.Await();
        };
    }

    static DWORD Write(Database& database, const std::string& text, std::int64_t id = 0) {
        WriteTransaction transaction(database);
        if (const DWORD failure = transaction.Begin()) return failure;
        const std::wstring wide(text.begin(), text.end());
        Statement(database, "INSERT OR REPLACE INTO notes VALUES (NULLIF(?, 0), ?)", id, wide).Run();
        return transaction.Commit();
    }

    static std::int64_t Count(Database& database) {
        Statement rows(database, "SELECT count(*) FROM notes");
        return rows.Next() ? rows.Integer(0) : -1;
    }

    static std::wstring Text(Database& database, std::int64_t id) {
        Statement rows(database, "SELECT text FROM notes WHERE id = ?", id);
        return rows.Next() ? rows.Text(0, 100'000) : std::wstring();
    }

    // What another program does to a file.
    void Execute(const std::string& sql, const char* name = "test.db") const {
        sqlite3* raw = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open((home.Path() / name).c_str(), &raw));
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(raw, sql.c_str(), nullptr, nullptr, nullptr));
        sqlite3_close(raw);
    }

    std::string Content() const {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const BentFiles files;
    const TemporaryHome home;
    const std::string path = (home.Path() / "test.db").string();
    DWORD code = 0;
};

// A checkpointer has read the head of the log, whose frames are all in the file, and not yet looked how many are; then
// a writer begins the log anew. The checkpointer takes the new log for as long as the old one was, and its commits are
// lost.
TEST_F(ADatabase, WouldLoseCommitsWithoutALockForCheckpointers) {
    if (sqlite3_libversion_number() >= 3'051'003) GTEST_SKIP() << "this SQLite is cured";
    Open();
    Process checkpointer([&](Process& self) {
        sqlite3* raw = nullptr;
        sqlite3_open(path.c_str(), &raw);
        sqlite3_exec(raw, "SELECT count(*) FROM notes", nullptr, nullptr, nullptr);
        StopInTheMidst(self);
        return sqlite3_wal_checkpoint_v2(raw, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    });
    ASSERT_TRUE(checkpointer.Await());
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &raw));
    const auto run = [&](const char* sql) {
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(raw, sql, nullptr, nullptr, nullptr)) << sql;
    };
    for (int row = 0; row < 8; ++row) run("INSERT INTO notes VALUES (NULL, 'old')");
    run("PRAGMA wal_checkpoint(PASSIVE)");
    checkpointer.Signal();
    ASSERT_TRUE(checkpointer.Await());
    run("UPDATE notes SET text = 'new' WHERE id = 1");
    checkpointer.Signal();
    EXPECT_EQ(SQLITE_OK, checkpointer.Finish());
    run("UPDATE notes SET text = 'newer' WHERE id = 1");
    sqlite3_close(raw);
    EXPECT_EQ(L"new", Text(*Open(), 1)) << "the test no longer meets the fault that the lock is there for";
}

TEST_F(ADatabase, KeepsCommitsThatRaceACheckpoint) {
    Open();
    Process checkpointer([&](Process& self) {
        const auto database = Open();
        Count(*database);
        StopInTheMidst(self);
        return static_cast<int>(database->Checkpoint());
    });
    ASSERT_TRUE(checkpointer.Await());
    auto database = Open({.lockTimeout = 0});
    for (int id = 1; id < 9; ++id) EXPECT_EQ(error::Success, Write(*database, "old", id));
    EXPECT_EQ(error::Success, database->Checkpoint());
    checkpointer.Signal();
    ASSERT_TRUE(checkpointer.Await());
    EXPECT_EQ(error::Timeout, Write(*database, "new", 1)) << "a writer waits while a checkpoint is under way";
    checkpointer.Signal();
    EXPECT_EQ(0, checkpointer.Finish());
    EXPECT_EQ(error::Success, Write(*database, "new", 1));
    EXPECT_EQ(error::Success, Write(*database, "newer", 1));
    database.reset();
    EXPECT_EQ(L"newer", Text(*Open(), 1));
}

TEST_F(ADatabase, KeepsWhatItAcknowledgedWhenItsProcessIsKilled) {
    int acknowledged = 0;
    for (const int commits : {20, 27, 34, 41}) {
        Process writer([&](Process& self) {
            const auto database = Open();
            while (database && !Write(*database, std::string(2000, 'x'))) self.Signal();
            return 1;
        });
        for (int commit = 0; commit < commits; ++commit) acknowledged += writer.Await();
        writer.Kill();
        const auto database = Open();
        ASSERT_NE(nullptr, database);
        EXPECT_GE(Count(*database), acknowledged);
        Statement check(*database, "PRAGMA integrity_check");
        EXPECT_TRUE(check.Next() && check.Text(0, 100) == L"ok");
    }
}

TEST_F(ADatabase, TakesTheWritesOfEightProcessesAtOnce) {
    std::vector<std::unique_ptr<Process>> writers;
    for (int writer = 0; writer < 8; ++writer) {
        writers.push_back(std::make_unique<Process>([&](Process& self) {
            self.Await();
            const auto database = Open();  // the first of them makes the file
            int commits = 0;
            while (database && commits < 25 && !Write(*database, "text")) ++commits;
            return commits;
        }));
    }
    for (const auto& writer : writers) writer->Signal();
    for (const auto& writer : writers) EXPECT_EQ(25, writer->Finish());
    EXPECT_EQ(200, Count(*Open({}, OpenMode::MustExist)));
}

TEST_F(ADatabase, IsNotOpenedBeforeItIsMadeOrHasItsLogAgain) {
    for (const bool isRestored : {false, true}) {  // by copying a backup, which has no log, into the file
        if (isRestored) Execute("PRAGMA journal_mode = DELETE");
        const auto maker = Maker();
        int steps = 0;
        for (; maker->Await(); ++steps) {
            EXPECT_FALSE(Open({.lockTimeout = 0}));
            EXPECT_EQ(error::Timeout, code) << "only our own lock is waited for fairly, step " << steps;
            maker->Signal();
        }
        EXPECT_GT(steps, isRestored ? 1 : 3);
        EXPECT_EQ(0, maker->Finish());
        EXPECT_TRUE(Open({.lockTimeout = 0}, OpenMode::MustExist));
    }
}

TEST_F(ADatabase, IsMadeByTheNextWhenItsMakerWasKilled) {
    for (int steps = 0, isMade = 0; !isMade; ++steps) {
        const auto maker = Maker();
        for (int step = 0; step < steps && maker->Await(); ++step) maker->Signal();
        isMade = !maker->Await();
        maker->Kill();
        Open({}, OpenMode::MustExist);
        EXPECT_TRUE(code == error::Success || code == error::FileNotFound) << code << ", step " << steps;
        EXPECT_TRUE(Open()) << code << ", step " << steps;
        std::filesystem::remove(path);
    }
}

TEST_F(ADatabase, IsLookedForAgainWhenItGoesWhileItIsOpened) {
    for (const OpenMode mode : {OpenMode::CreateIfMissing, OpenMode::MustExist}) {
        for (const int last : {1, 2}) {  // the file is opened to look at its head, and then to be used
            BentFiles::beforeOpen = nullptr;
            Open();
            int opened = 0;
            BentFiles::beforeOpen = [&] {
                if (++opened == last) std::filesystem::remove(path);
            };
            const auto database = Open({}, mode);
            EXPECT_EQ(mode == OpenMode::MustExist ? error::FileNotFound : error::Success, code) << last;
            EXPECT_TRUE(!database || !Write(*database, "text")) << last;
        }
    }
}

TEST_F(ADatabase, KeepsWritersApartThoughTheirLockFileWasRemoved) {
    const auto one = Open({.lockTimeout = 0});
    std::filesystem::remove(path + ".lock");
    const auto other = Open({.lockTimeout = 0});
    WriteTransaction writing(*other);
    EXPECT_EQ(error::Success, writing.Begin());
    EXPECT_EQ(error::Timeout, Write(*one, "text"));
}

TEST_F(ADatabase, LeavesItsLogWhenItCannotHaveTheLockToCloseIt) {
    auto database = Open();
    EXPECT_EQ(error::Success, Write(*database, "text"));
    const int held = ::open((path + ".lock").c_str(), O_RDWR);
    ::flock(held, LOCK_EX);
    database.reset();
    EXPECT_TRUE(std::filesystem::exists(path + "-wal"));
    ::close(held);
    EXPECT_EQ(1, Count(*Open()));
    EXPECT_FALSE(std::filesystem::exists(path + "-wal"));
}

TEST_F(ADatabase, IsRefusedInAForkedProcess) {
    auto database = Open();
    ASSERT_EQ(error::Success, Write(*database, "before"));
    Process child([&](Process&) {
        std::uint64_t counter = 0;
        const bool isRefused = Write(*database, "lost") == error::InvalidHandle &&
                               database->ReadChangeCounter(counter) == error::InvalidHandle && Count(*database) == -1 &&
                               database->IsStale() && !database->Lock().owns_lock() && !Open();
        database.reset();
        return isRefused && code == error::InvalidHandle ? 0 : 1;
    });
    EXPECT_EQ(0, child.Finish());
    EXPECT_EQ(error::Success, Write(*database, "after"));
    EXPECT_EQ(2, Count(*database));
}

TEST_F(ADatabase, WritesNothingToAFileThatHasLostItsName) {
    const auto database = Open();
    ASSERT_EQ(error::Success, Write(*database, "text"));
    std::filesystem::rename(path, path + ".old");
    std::ofstream(path) << "another";
    std::uint64_t counter = 0;
    EXPECT_EQ(error::FileInvalid, Write(*database, "nobody would see it"));
    EXPECT_EQ(error::FileInvalid, database->ReadChangeCounter(counter));
    EXPECT_TRUE(database->IsStale());
    std::filesystem::remove_all(home.Path());
    EXPECT_EQ(error::FileInvalid, Write(*database, "its lock is gone as well"));
}

TEST_F(ADatabase, IsNotMixedWithTheLogOfTheFileThatItReplaced) {
    Process writer([&](Process&) {  // its end is none, so that its log stays
        return Write(*Open().release(), "old", 1) ? 1 : 0;
    });
    ASSERT_EQ(0, writer.Finish());
    Execute(schema.statements + "; PRAGMA application_id = 1952805748; PRAGMA user_version = 3;" +
                "PRAGMA journal_mode = WAL; INSERT INTO notes VALUES (1, 'restored')",
            "backup.db");
    std::filesystem::permissions(home.Path() / "backup.db", std::filesystem::perms(0600));
    std::filesystem::rename(home.Path() / "backup.db", path);
    EXPECT_EQ(nullptr, Open());
    EXPECT_EQ(error::FileInvalid, code);
    EXPECT_NE(std::wstring::npos, Database::LastMessage(code).find(L"-wal"));
    std::filesystem::remove(path + "-wal");
    std::filesystem::remove(path + "-shm");
    EXPECT_EQ(L"restored", Text(*Open(), 1));
    EXPECT_NE(nullptr, Open());
}

TEST_F(ADatabase, RefusesAFileThatIsNotItsOwnAndLeavesItAsItIs) {
    Open();
    const std::string good = Content();
    const auto changed = [&](std::size_t at, const std::string& bytes) {
        std::string content = good;
        return content.replace(at, bytes.size(), bytes);
    };
    const struct {
        const char* what;
        std::string content;
        DWORD code;
    } cases[] = {
        {"foreign", changed(68, "othr"), error::BadDatabase},
        {"newer", changed(60, std::string("\0\0\0\x04", 4)), error::NotSupported},
        {"older", changed(60, std::string("\0\0\0\x02", 4)), error::NotSupported},
        {"garbage", std::string(5000, 'g'), error::BadDatabase},
        {"short", good.substr(0, 60), error::BadDatabase},
        {"truncated", good.substr(0, 4096), error::FileCorrupt},
        {"bad page size", changed(16, "zz"), error::BadDatabase},
    };
    for (const auto& row : cases) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << row.content;
        for (const OpenMode mode : {OpenMode::CreateIfMissing, OpenMode::MustExist}) {
            EXPECT_EQ(nullptr, Open({}, mode)) << row.what;
            EXPECT_EQ(row.code, code) << row.what;
            EXPECT_NE(std::wstring::npos, Database::LastMessage(code).find(L"test.db")) << row.what;
        }
        EXPECT_EQ(row.content, Content()) << row.what;
    }
}

TEST_F(ADatabase, RefusesPlacesThatCannotBeTrusted) {
    const auto expect = [&](DWORD expected, OpenMode mode = OpenMode::CreateIfMissing) {
        EXPECT_EQ(expected == error::Success, Open({}, mode) != nullptr);
        EXPECT_EQ(expected, code);
    };
    expect(error::FileNotFound, OpenMode::MustExist);
    EXPECT_TRUE(std::filesystem::is_empty(home.Path()));
    std::ofstream(path).flush();
    expect(error::FileNotFound, OpenMode::MustExist);  // the making of it was cut short
    expect(error::Success);
    std::filesystem::permissions(path, std::filesystem::perms(0660));
    expect(error::AccessDenied);
    std::filesystem::permissions(path, std::filesystem::perms(0600));
    std::filesystem::rename(path, path + ".real");
    std::filesystem::create_symlink(path + ".real", path);
    expect(error::AccessDenied);
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    expect(error::AccessDenied);
    std::unique_ptr<Database> database;
    EXPECT_EQ(error::InvalidParameter, Database::Open("relative.db", schema, OpenMode::CreateIfMissing, database));
    EXPECT_EQ(error::FileNotFound, Database::Open(path + ".none/x.db", schema, OpenMode::CreateIfMissing, database));
}

TEST_F(ADatabase, IsOpenedAnewAfterASyncThatFailed) {
    const auto database = Open();
    ASSERT_EQ(error::Success, Write(*database, "first", 1));
    BentFiles::beforeSync = [] { return SQLITE_IOERR_FSYNC; };
    EXPECT_EQ(error::OutcomeUnknown, Write(*database, "doubtful", 1));
    EXPECT_EQ(L"", Database::LastMessage(error::KeyHasChildren)) << "words of another failure";
    BentFiles::beforeSync = nullptr;
    int opened = 0;
    BentFiles::beforeOpen = [&] { ++opened; };
    std::uint64_t counter = 0;
    EXPECT_EQ(error::Success, database->ReadChangeCounter(counter));
    EXPECT_GT(opened, 0);
    EXPECT_EQ(Text(*database, 1), Text(*Open(), 1)) << "it may or may not have come to the disk, for all alike";
    EXPECT_EQ(error::Success, Write(*database, "second", 1));
    EXPECT_EQ(L"second", Text(*Open(), 1));
    BentFiles::beforeSync = [&] { return std::filesystem::remove(path) ? SQLITE_IOERR_FSYNC : SQLITE_OK; };
    EXPECT_EQ(error::FileInvalid, Write(*database, "third", 1)) << "there is no file to open";
}

// The log holds the change by then, though nobody sees it: the first who opens the files would find it there.
TEST_F(ADatabase, TakesBackWhatWasNotSyncedOrSaysThatItMayBeThere) {
    const auto found = [&] {
        std::filesystem::create_directory(home.Path() / "after");
        for (const char* name : {"test.db", "test.db-wal"})
            std::filesystem::copy_file(home.Path() / name, home.Path() / "after" / name,
                                       std::filesystem::copy_options::overwrite_existing);
        std::unique_ptr<Database> opened;
        EXPECT_EQ(error::Success,
                  Database::Open((home.Path() / "after/test.db").string(), schema, OpenMode::MustExist, opened));
        return opened ? Text(*opened, 1) : L"";
    };
    for (const int failures : {1, 2, 100}) {
        const auto database = Open();
        ASSERT_EQ(error::Success, Write(*database, "first", 1));
        int left = failures;
        BentFiles::beforeSync = [&] { return left-- > 0 ? SQLITE_IOERR_FSYNC : SQLITE_OK; };
        const DWORD expected = failures == 1 ? error::IoDevice : error::OutcomeUnknown;
        EXPECT_EQ(expected, Write(*database, "doubtful", 1));
        EXPECT_NE(std::wstring::npos, Database::LastMessage(expected).find(L"test.db"));
        BentFiles::beforeSync = nullptr;
        EXPECT_TRUE(failures > 1 || found() == L"first");
        EXPECT_EQ(error::Success, Write(*database, "second", 1));
        EXPECT_EQ(L"second", found());
        std::filesystem::remove_all(home.Path() / "after");
    }
}

TEST_F(ADatabase, IsNotCalledDamagedWhenTheDiskCannotBeRead) {
    EXPECT_EQ(error::Success, Write(*Open(), "text"));
    int failed = 0;
    for (int last = 0, left = -1; left < 0; ++last) {
        left = last;
        BentFiles::beforeRead = [&] { return left-- == 0 ? SQLITE_IOERR_READ : SQLITE_OK; };
        if (const auto database = Open()) {
            Statement rows(*database, "SELECT count(*) FROM notes");
            rows.Next();
            code = rows.Result();
        }
        failed += code != error::Success;
        EXPECT_TRUE(code == error::Success || code == error::IoDevice) << code << " after " << last;
        BentFiles::beforeRead = nullptr;
    }
    EXPECT_GT(failed, 3);
}

TEST_F(ADatabase, IsReadOnAFullDisk) {
    EXPECT_EQ(error::Success, Write(*Open(), "text"));
    Process reader([&](Process& self) {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        ::getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit none{0, limit.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &none);
        const auto database = Open({}, OpenMode::MustExist);
        if (!database || Count(*database) != 1 || Write(*database, "text") != error::DiskFull) return 1;
        self.Signal();
        return self.Await() && Count(*database) == 1 ? 0 : 2;
    });
    EXPECT_TRUE(reader.Await());
    EXPECT_FALSE(Open({.lockTimeout = 0})) << "it is the reader's alone";
    EXPECT_EQ(error::Busy, code);
    reader.Signal();
    EXPECT_EQ(0, reader.Finish());
    EXPECT_EQ(1, Count(*Open()));
}

TEST_F(ADatabase, IsBroughtToTheNewVersionWholeOrNotAtAll) {
    EXPECT_EQ(error::Success, Write(*Open(), "one", 5));
    std::unique_ptr<Database> database;
    DatabaseSchema broken = newerSchema;
    broken.conversion = "UPDATE missing SET x = 1";
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_NE(error::Success, Database::Open(path, broken, OpenMode::MustExist, database));
        EXPECT_EQ(L"one", Text(*Open(), 5));
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        ASSERT_EQ(error::Success, Database::Open(path, newerSchema, OpenMode::MustExist, database));
        Statement rows(*database, "SELECT id, text, length, checksum FROM notes");
        ASSERT_TRUE(rows.NextRow());
        EXPECT_EQ(5, rows.Integer(0));
        EXPECT_EQ(L"one", rows.Text(1, 9));
        EXPECT_EQ(3, rows.Integer(2));
        EXPECT_FALSE(rows.NextRow());
        EXPECT_EQ(error::Success, rows.Result());
        database.reset();
    }
    EXPECT_FALSE(Open());
    EXPECT_EQ(error::NotSupported, code);
}

TEST_F(ADatabase, SaysThatTheDiskIsFullAndGoesOnWhenThereIsRoom) {
    Process writer([&](Process&) {
        std::signal(SIGXFSZ, SIG_IGN);
        const auto database = Open();
        rlimit limit{};
        ::getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit tight{64 * 1024, limit.rlim_max};
        const DWORD kept = Write(*database, "kept");
        ::setrlimit(RLIMIT_FSIZE, &tight);
        const bool isFull = Write(*database, std::string(90'000, 'x')) == error::DiskFull && Count(*database) == 1;
        {
            WriteTransaction transaction(*database);
            transaction.Begin();
            Statement(*database, "INSERT INTO notes VALUES (7, ?)", std::wstring(4'000'000, L'x')).Run();
            ::setrlimit(RLIMIT_FSIZE, &limit);
            if (!Statement(*database, "INSERT INTO notes VALUES (8, 'of what was taken back')").Run()) return 2;
        }
        return kept == 0 && isFull && Write(*database, "text") == 0 ? 0 : 1;
    });
    EXPECT_EQ(0, writer.Finish());
    EXPECT_EQ(2, Count(*Open()));
}

TEST_F(ADatabase, TakesBackAnInnerTransactionAloneAndAnOuterOneWhole) {
    const auto database = Open();
    for (const bool isKept : {true, false}) {
        WriteTransaction outer(*database);
        ASSERT_EQ(error::Success, outer.Begin());
        EXPECT_EQ(error::Success, Write(*database, "a"));
        {
            WriteTransaction inner(*database);
            ASSERT_EQ(error::Success, inner.Begin());
            EXPECT_EQ(error::Success, Write(*database, "b"));
        }
        EXPECT_EQ(isKept ? 1 : 2, Count(*database));
        EXPECT_TRUE(!isKept || outer.Commit() == error::Success);
    }
    EXPECT_NE(error::Success, Statement(*database, "DELETE FROM notes").Run()) << "outside of a transaction";
    EXPECT_EQ(1, Count(*database));
}

TEST_F(ADatabase, ShowsAReaderOneStateAndCountsChangesOnce) {
    const auto reader = Open();
    const auto writer = Open();
    const auto counter = [&] {
        std::uint64_t number = 0;
        EXPECT_EQ(error::Success, reader->ReadChangeCounter(number));
        return number;
    };
    const std::uint64_t before = counter();
    EXPECT_EQ(before, counter());
    {
        ReadTransaction reading(*reader);
        ASSERT_EQ(error::Success, reading.Begin());
        EXPECT_EQ(error::Success, Write(*writer, "text"));
        EXPECT_EQ(0, Count(*reader));
        EXPECT_EQ(before, counter());
        EXPECT_EQ(error::Busy, Write(*reader, "refused"));
    }
    EXPECT_EQ(1, Count(*reader));
    EXPECT_NE(before, counter());
    for (const auto* other : {&reader, &writer, &reader, &writer}) {
        const std::uint64_t counted = counter();
        std::uint64_t glanced = 0;
        EXPECT_EQ(error::Success, reader->GlanceAtChangeCounter(glanced));
        EXPECT_EQ(counted, glanced);
        EXPECT_EQ(error::Success, Write(**other, "seen at a glance"));
        EXPECT_EQ(error::Success, reader->GlanceAtChangeCounter(glanced));
        EXPECT_NE(counted, glanced);
        EXPECT_EQ(counter(), glanced);
    }
}

TEST_F(ADatabase, KeepsItsLogShortThoughStatementsAreCutShort) {
    const auto database = Open();
    for (int round = 0; round < 14; ++round) {
        EXPECT_EQ(error::Success, Write(*database, std::string(1'000'000, 'x'), 1 + round % 4));
        Statement rows(*database, "SELECT id FROM notes");
        EXPECT_TRUE(rows.Next());
    }
    EXPECT_LT(std::filesystem::file_size(path + "-wal"), 8'000'000U) << "14 MB were written";
}

TEST_F(ADatabase, CopiesItselfBetweenFileAndMemory) {
    const auto file = Open();
    ASSERT_EQ(error::Success, Write(*file, "from the file", 1));
    std::unique_ptr<Database> memory;
    std::unique_ptr<Database> foreign;
    ASSERT_EQ(error::Success, Database::OpenMemory(schema, memory));
    ASSERT_EQ(error::Success, Database::OpenMemory({1, 1, "CREATE TABLE t (x)"}, foreign));
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    ASSERT_EQ(error::Success, memory->ReadChangeCounter(before));
    ASSERT_EQ(error::Success, file->CopyTo(*memory));
    ASSERT_EQ(error::Success, memory->ReadChangeCounter(after));
    EXPECT_NE(before, after);
    EXPECT_EQ(error::Success, Write(*memory, Count(*memory) == 1 ? "rehearsed" : "", 1));
    EXPECT_EQ(L"from the file", Text(*file, 1));
    EXPECT_EQ(error::Success, memory->CopyTo(*file));
    EXPECT_EQ(L"rehearsed", Text(*Open(), 1));
    EXPECT_EQ(error::Success, Write(*file, "and on", 2));
    EXPECT_EQ(error::InvalidParameter, file->CopyTo(*foreign));
}

TEST_F(ADatabase, FindsColumnsThatAreNotWhatTheyMustBe) {
    const auto database = Open();
    EXPECT_EQ(error::Success, Write(*database, "text", 7));
    const std::function<void(Statement&)> readings[] = {
        [](Statement& rows) { EXPECT_EQ(L"", rows.Text(1, 3)); },
        [](Statement& rows) { rows.Integer(0, 8); },
        [](Statement& rows) { rows.Integer(1); },
        [](Statement& rows) { rows.Blob(1, 4); },
    };
    for (const auto& read : readings) {
        Statement rows(*database, "SELECT id, text FROM notes");
        ASSERT_TRUE(rows.Next());
        EXPECT_EQ(7, rows.Integer(0, 7, 7));
        EXPECT_EQ(L"text", rows.Text(1, 4));
        read(rows);
        EXPECT_EQ(error::FileCorrupt, rows.Result());
        EXPECT_EQ(0, rows.Integer(0)) << "nothing after a failure";
        EXPECT_FALSE(rows.Next());
    }
    EXPECT_EQ(error::FileCorrupt, Statement(*database, "SELECT x FROM missing").Result());
}

}  // namespace
