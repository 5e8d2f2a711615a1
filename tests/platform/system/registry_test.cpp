#include <platform/system/registry.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>
#include <platform/store/Database.h>
#include <platform/store/RowChecksum.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <tests/support/TemporaryHome.h>
#include <unistd.h>

#include <functional>

namespace {

namespace error = platform::error;

constexpr LONG done = 0;

class ARegistry : public testing::Test {
protected:
    ~ARegistry() override { platform::EndRegistryRehearsal(); }

    static HKEY Create(const wchar_t* path, DWORD options = 0, HKEY parent = HKEY_LOCAL_MACHINE) {
        HKEY key = nullptr;
        EXPECT_EQ(done, RegCreateKeyExW(parent, path, 0, nullptr, options, KEY_ALL_ACCESS, nullptr, &key, nullptr));
        return key;
    }

    static LONG TryOpen(const wchar_t* path, HKEY parent = HKEY_LOCAL_MACHINE) {
        HKEY key = nullptr;
        const LONG code = RegOpenKeyExW(parent, path, 0, KEY_READ, &key);
        EXPECT_EQ(code == done, key != nullptr);
        if (key) RegCloseKey(key);
        return code;
    }

    static LONG Set(HKEY key, const wchar_t* name, const std::vector<BYTE>& data, DWORD type = REG_BINARY) {
        return RegSetValueExW(key, name, 0, type, data.data(), static_cast<DWORD>(data.size()));
    }

    static std::vector<BYTE> Value(HKEY key, const wchar_t* name) {
        std::vector<BYTE> data(64);
        auto size = static_cast<DWORD>(data.size());
        if (RegQueryValueExW(key, name, nullptr, nullptr, data.data(), &size) != done) size = 0;
        data.resize(size);
        return data;
    }

    std::filesystem::path File() const { return home.Path() / "registry.db"; }

    // What another program does to the file while this process has it closed or open.
    void Execute(const char* sql) const {
        sqlite3* raw = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(File().c_str(), &raw));
        platform::RowChecksum::Register(raw);
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(raw, sql, nullptr, nullptr, nullptr)) << sqlite3_errmsg(raw);
        sqlite3_close(raw);
    }

    const tests::TemporaryHome home;
};

TEST_F(ARegistry, IsNotMadeByReading) {
    EXPECT_EQ(2, TryOpen(L"SOFTWARE\\Any"));
    HKEY root = nullptr;
    wchar_t name[16];
    DWORD size = 16;
    ASSERT_EQ(done, RegConnectRegistryW(L"", HKEY_LOCAL_MACHINE, &root));
    EXPECT_EQ(259, RegEnumKeyExW(root, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(2, RegQueryValueExW(root, L"v", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(2, RegDeleteKeyW(root, L"x"));
    EXPECT_EQ(2, TryOpen(L"x", root));
    EXPECT_EQ(done, RegCloseKey(root));
    EXPECT_TRUE(std::filesystem::is_empty(home.Path()));
}

TEST_F(ARegistry, ThatCannotBeReadIsNotAnEmptyOne) {
    const struct {
        const char* what;
        std::function<void()> spoil;
        DWORD code;
    } cases[] = {
        {"newer", [&] { Execute("PRAGMA user_version = 9"); }, error::NotSupported},
        {"foreign", [&] { Execute("PRAGMA application_id = 9"); }, error::BadDatabase},
        {"truncated", [&] { std::filesystem::resize_file(File(), 5000); }, error::FileCorrupt},
        {"a directory",
         [&] {
             std::filesystem::remove(File());
             std::filesystem::create_directory(File());
         },
         error::AccessDenied},
        {"a link to nothing",
         [&] {
             std::filesystem::remove(File());
             std::filesystem::create_symlink("nowhere", File());
         },
         error::AccessDenied},
    };
    for (const auto& row : cases) {
        const pid_t maker = ::fork();
        if (maker == 0) ::_exit(Create(L"SOFTWARE") ? 0 : 1);
        ::waitpid(maker, nullptr, 0);
        Execute("PRAGMA journal_mode = DELETE");  // the file alone
        row.spoil();
        const auto expected = static_cast<LONG>(row.code);
        wchar_t name[16];
        DWORD size = 16;
        HKEY key = nullptr;
        EXPECT_EQ(expected, TryOpen(L"SOFTWARE")) << row.what;
        EXPECT_NE(std::wstring::npos, platform::Database::LastMessage(row.code).find(L"registry.db")) << row.what;
        EXPECT_EQ(expected, RegEnumKeyExW(HKEY_LOCAL_MACHINE, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(expected, RegEnumValueW(HKEY_LOCAL_MACHINE, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(expected, RegQueryValueExW(HKEY_LOCAL_MACHINE, L"x", nullptr, nullptr, nullptr, nullptr));
        EXPECT_EQ(expected, Set(HKEY_LOCAL_MACHINE, L"x", {})) << row.what;
        EXPECT_EQ(expected, RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE")) << row.what;
        EXPECT_EQ(expected, RegDeleteValueW(HKEY_LOCAL_MACHINE, L"x")) << row.what;
        EXPECT_EQ(expected,
                  RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"x", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
        platform::RegistryVersion version;
        EXPECT_EQ(row.code, platform::ReadRegistryVersion(version)) << row.what;
        EXPECT_EQ(row.code, platform::BeginRegistryRehearsal()) << row.what;
        EXPECT_EQ(row.code, platform::TransactRegistry([] { return DWORD{0}; })) << row.what;
        std::filesystem::remove_all(File());
    }
}

TEST_F(ARegistry, CreatesMissingKeysAndTellsWhetherItDid) {
    SetLastError(77);
    for (const auto& [path, expected] :
         {std::pair{L"SOFTWARE\\A\\B\\", REG_CREATED_NEW_KEY}, {L"software\\a", REG_OPENED_EXISTING_KEY}}) {
        HKEY key = nullptr;
        DWORD disposition = 0;
        EXPECT_EQ(done,
                  RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_READ, nullptr, &key, &disposition));
        EXPECT_EQ(expected, disposition);
        EXPECT_EQ(disposition == REG_CREATED_NEW_KEY ? 2 : done, TryOpen(L"b", key));
        EXPECT_EQ(disposition == REG_CREATED_NEW_KEY ? 2U : 77U, GetLastError()) << "of a failure only";
        SetLastError(77);
        EXPECT_EQ(done, RegCloseKey(key));
    }
    EXPECT_EQ(77U, GetLastError()) << "as before the successes";
    EXPECT_EQ(2, TryOpen(L"SOFTWARE\\A", HKEY_CURRENT_USER)) << "each root is a tree of its own";
    EXPECT_EQ(2U, GetLastError());
}

TEST_F(ARegistry, GivesSizesAndWritesNothingIntoTooLittleRoom) {
    const HKEY key = Create(L"K");
    const std::vector<BYTE> data = platform::ToUtf16(L"text");
    EXPECT_EQ(done, Set(key, L"Name", data, REG_SZ));
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(done, RegQueryValueExW(key, L"NAME", nullptr, &type, nullptr, &size));
    EXPECT_TRUE(type == REG_SZ && size == 10);
    BYTE room[10] = {};
    EXPECT_EQ(234, RegQueryValueExW(key, L"Name", nullptr, nullptr, room, &(size = 9)));
    EXPECT_TRUE(size == 10 && room[0] == 0);
    EXPECT_EQ(done, RegQueryValueExW(key, L"Name", nullptr, nullptr, room, &size));
    EXPECT_EQ(data, std::vector<BYTE>(room, room + size));
    EXPECT_EQ(87, RegQueryValueExW(key, L"Name", nullptr, nullptr, room, nullptr));
    EXPECT_EQ(2, RegQueryValueExW(key, L"Other", nullptr, nullptr, nullptr, nullptr));

    wchar_t name[8];
    DWORD nameSize = 4;
    SetLastError(77);
    EXPECT_EQ(234, RegEnumValueW(key, 0, name, &nameSize, nullptr, &type, room, &size));
    EXPECT_EQ(4U, nameSize);
    EXPECT_STREQ(L"Nam", name);
    EXPECT_EQ(234, RegEnumValueW(key, 0, name, &(nameSize = 5), nullptr, &type, room, &(size = 1)));
    EXPECT_EQ(done, RegEnumValueW(key, 0, name, &(nameSize = 5), nullptr, &type, room, &size));
    EXPECT_STREQ(L"Name", name);
    EXPECT_TRUE(nameSize == 4 && size == 10);
    EXPECT_EQ(259, RegEnumValueW(key, 1, name, &nameSize, nullptr, nullptr, nullptr, nullptr));
    Create(L"Child", 0, key);
    EXPECT_EQ(234, RegEnumKeyExW(key, 0, name, &(nameSize = 5), nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(done, RegEnumKeyExW(key, 0, name, &(nameSize = 6), nullptr, nullptr, nullptr, nullptr));
    EXPECT_STREQ(L"Child", name);
    EXPECT_EQ(259, RegEnumKeyExW(key, 1, name, &nameSize, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(77U, GetLastError()) << "answers, not failures";
}

TEST_F(ARegistry, GrantsWhatAKeyWasOpenedFor) {
    Create(L"K\\Sub");
    HKEY reader = nullptr;
    HKEY writer = nullptr;
    HKEY made = nullptr;
    wchar_t name[16];
    DWORD size = 16;
    EXPECT_EQ(done, RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"K", 0, KEY_READ, &reader));
    EXPECT_EQ(done, RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"K", 0, KEY_WRITE, &writer));
    EXPECT_EQ(done, Set(writer, L"v", {1}));
    EXPECT_EQ(done, RegQueryValueExW(reader, L"v", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(done, RegEnumKeyExW(reader, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(done, RegCreateKeyExW(reader, L"Sub", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr));
    EXPECT_EQ(5, RegCreateKeyExW(reader, L"New", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr));
    EXPECT_EQ(5, Set(reader, L"v", {1}));
    EXPECT_EQ(5, RegDeleteValueW(reader, L"v"));
    EXPECT_EQ(5, RegDeleteKeyW(reader, L"Sub"));
    EXPECT_EQ(5, RegQueryValueExW(writer, L"v", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(5, RegEnumKeyExW(writer, 0, name, &size, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(ARegistry, RefusesHandlesThatAreNotOpenAndKeysThatAreGone) {
    const HKEY key = Create(L"K\\Sub");
    EXPECT_EQ(5, RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K"));
    EXPECT_EQ(done, RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K\\Sub"));
    Create(L"K\\Sub");
    EXPECT_EQ(1018, Set(key, L"v", {1})) << "a new key of that name is another one";
    EXPECT_EQ(1018, RegQueryValueExW(key, L"v", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(1018, TryOpen(L"", key));
    EXPECT_EQ(done, RegCloseKey(key));
    EXPECT_EQ(done, RegCloseKey(HKEY_LOCAL_MACHINE));
    for (const HKEY bad : {key, HKEY(nullptr), reinterpret_cast<HKEY>(0x80000004UL), reinterpret_cast<HKEY>(this)}) {
        EXPECT_EQ(6, RegCloseKey(bad));
        EXPECT_EQ(6, Set(bad, L"v", {1}));
        for (const wchar_t* path : {L"x", L""}) EXPECT_EQ(6, TryOpen(path, bad));
    }
}

TEST_F(ARegistry, SeesAtOnceWhatAnotherProgramChanges) {
    const HKEY key = Create(L"K");
    EXPECT_EQ(done, Set(key, L"v", {1}));
    EXPECT_EQ(std::vector<BYTE>{1}, Value(key, L"v"));
    EXPECT_EQ(2, TryOpen(L"K\\Other"));
    Execute("UPDATE key_values SET data = x'02'");
    EXPECT_EQ(std::vector<BYTE>{2}, Value(key, L"v"));
    Execute(
        "INSERT INTO keys (parent, name, folded, volatile) SELECT id, 'Other', 'other', 0 FROM keys WHERE name = 'K'");
    EXPECT_EQ(done, TryOpen(L"K\\Other"));
}

TEST_F(ARegistry, LosesVolatileKeysWhenTheMachineHasStartedAnew) {
    const HKEY lasting = Create(L"Lasting");
    const HKEY passing = Create(L"Lasting\\Passing\\Below", REG_OPTION_VOLATILE);
    HKEY refused = nullptr;
    EXPECT_EQ(1021, RegCreateKeyExW(passing, L"x", 0, nullptr, 0, KEY_READ, nullptr, &refused, nullptr));
    // To this process a copy elsewhere is what the file itself is to one that starts later.
    const auto moveTo = [this](const char* folder) {
        const std::filesystem::path moved = home.Path() / folder;
        std::filesystem::create_directory(moved);
        Execute(("VACUUM INTO '" + (moved / "registry.db").string() + "'").c_str());
        std::filesystem::permissions(moved / "registry.db", std::filesystem::perms::owner_all);
        ::setenv("OSTRA_HOME", moved.c_str(), 1);
    };
    moveTo("same");
    EXPECT_EQ(done, TryOpen(L"Lasting\\Passing\\Below"));
    Execute("UPDATE key_notes SET text = 'an earlier one' WHERE name = 'boot'");
    moveTo("later");
    EXPECT_EQ(done, TryOpen(L"Lasting"));
    EXPECT_EQ(2, TryOpen(L"Lasting\\Passing"));
    EXPECT_EQ(done, RegCloseKey(lasting));
}

TEST_F(ARegistry, ReachesHostsThatHaveAFolder) {
    HKEY root = nullptr;
    EXPECT_EQ(53, RegConnectRegistryW(L"N1", HKEY_LOCAL_MACHINE, &root));
    std::filesystem::create_directories(home.Path() / "hosts" / "N1");
    for (const wchar_t* host : {L"N1", L"\\\\n1"}) {
        ASSERT_EQ(done, RegConnectRegistryW(host, HKEY_LOCAL_MACHINE, &root));
        RegCloseKey(Create(L"There", 0, root));
        EXPECT_EQ(done, RegCloseKey(root));
    }
    EXPECT_TRUE(std::filesystem::exists(home.Path() / "hosts" / "N1" / "registry.db"));
    EXPECT_EQ(2, TryOpen(L"There")) << "the local registry is another one";
    for (const wchar_t* host : {L"..", L"\\\\..", L"a/b", L"\\\\", L"N1/"})
        EXPECT_EQ(87, RegConnectRegistryW(host, HKEY_LOCAL_MACHINE, &root)) << platform::ToUtf8(host);
    EXPECT_EQ(nullptr, root);
    EXPECT_EQ(done, RegConnectRegistryW(L"N1", HKEY_LOCAL_MACHINE, &root));
    const HKEY there = Create(L"There", 0, root);
    EXPECT_EQ(done, RegConnectRegistryW(L"n1", there, &root)) << "an open key of that host serves as a root";
    EXPECT_EQ(6, RegConnectRegistryW(L"N1", Create(L"Here"), &root)) << "but not one of another";
    ASSERT_EQ(done, RegConnectRegistryW(nullptr, Create(L"Here"), &root));
    EXPECT_EQ(done, Set(root, L"v", {1}));
    EXPECT_EQ(std::vector<BYTE>{1}, Value(root, L"v"));
}

TEST_F(ARegistry, IsLeftAloneWhileAChangeIsRehearsed) {
    const HKEY real = Create(L"K");
    EXPECT_EQ(done, Set(real, L"v", {1}));
    ASSERT_EQ(0U, platform::BeginRegistryRehearsal());
    HKEY copied = Create(L"K");
    EXPECT_EQ(std::vector<BYTE>{1}, Value(copied, L"v"));
    EXPECT_EQ(done, Set(copied, L"v", {2}));
    EXPECT_EQ(done, RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K"));
    EXPECT_EQ(2, TryOpen(L"K"));
    EXPECT_EQ(std::vector<BYTE>{1}, Value(real, L"v"));
    platform::EndRegistryRehearsal();
    EXPECT_EQ(done, TryOpen(L"K"));
    EXPECT_EQ(std::vector<BYTE>{1}, Value(real, L"v"));
}

TEST_F(ARegistry, IsClosedWhenItsProcessEndsThoughItsLockIsHeld) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";  // a process of its own, which inherits nothing
    const auto run = [this] {
        static const std::filesystem::path own = home.Path();
        std::atexit([] { std::filesystem::remove_all(own); });  // after the registry was closed
        RegCloseKey(Create(L"K"));
        std::unique_ptr<platform::Database> none;
        // A failure whose words are kept, of a length that nothing else has.
        platform::Database::Open(File().string() + std::string(150, 'x') + "/y", {}, platform::OpenMode::MustExist,
                                 none);
        ::flock(::open((File().string() + ".lock").c_str(), O_RDWR), LOCK_EX);
        std::exit(0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST_F(ARegistry, ChangesWhollyOrNotAtAllInATransaction) {
    constexpr DWORD death = 9;
    const auto change = [&](DWORD result) {
        return platform::TransactRegistry([&] {
            const HKEY key = Create(L"K\\New");
            EXPECT_EQ(done, Set(key, L"v", {1}));
            EXPECT_EQ(done, TryOpen(L"K\\New")) << "it sees what it did";
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"K\\Old");
            if (result == death) ::_exit(0);
            return result;
        });
    };
    for (const bool dies : {false, true}) {  // in processes of their own: nothing may be open here meanwhile
        const pid_t child = ::fork();
        if (child == 0) ::_exit(dies ? static_cast<int>(change(death)) : (Create(L"K\\Old"), 0));
        ASSERT_EQ(child, ::waitpid(child, nullptr, 0));
    }
    EXPECT_EQ(done, TryOpen(L"K\\Old"));
    EXPECT_EQ(2, TryOpen(L"K\\New"));

    EXPECT_EQ(error::DiskFull, change(error::DiskFull));
    EXPECT_EQ(0U, platform::TransactRegistry([&] {
                  EXPECT_EQ(5U, change(error::AccessDenied)) << "an inner one undoes its own";
                  EXPECT_EQ(done, TryOpen(L"K\\Old"));
                  Create(L"Outer");
                  return DWORD{0};
              }));
    EXPECT_EQ(done, TryOpen(L"Outer"));
    EXPECT_EQ(2, TryOpen(L"K\\New"));
    EXPECT_EQ(0U, change(0));
    EXPECT_EQ(2, TryOpen(L"K\\Old"));
    EXPECT_EQ(done, TryOpen(L"K\\New"));
}

TEST_F(ARegistry, StandsStillWhileItIsViewed) {
    bool isViewed = false;
    platform::ViewRegistry([&] { isViewed = TryOpen(L"K") == 2; });
    EXPECT_TRUE(isViewed) << "a registry that is not there shows as such";
    const HKEY key = Create(L"K");
    Set(key, L"v", {1});
    platform::ViewRegistry([&] {
        EXPECT_EQ(std::vector<BYTE>{1}, Value(key, L"v"));
        Execute("UPDATE key_values SET data = x'02'");
        EXPECT_EQ(std::vector<BYTE>{1}, Value(key, L"v"));
        EXPECT_NE(done, Set(key, L"v", {3}));
    });
    EXPECT_EQ(std::vector<BYTE>{2}, Value(key, L"v"));
}

TEST_F(ARegistry, IsFoundAnewWhenItsFileWasReplaced) {
    const auto replace = [&] {
        const std::filesystem::path aside = home.Path() / "aside";
        std::filesystem::create_directory(aside);
        for (const char* suffix : {"", "-wal", "-shm", ".lock"}) {
            std::filesystem::rename(File().string() + suffix, (aside / "registry.db").string() + suffix);
        }
    };
    const HKEY key = Create(L"Old");
    replace();
    EXPECT_EQ(2, TryOpen(L"Old"));
    EXPECT_EQ(1006, Set(key, L"v", {1})) << "nobody would ever see it";
    Create(L"New");
    EXPECT_EQ(done, TryOpen(L"New"));
    EXPECT_EQ(2, TryOpen(L"Old"));

    replace();
    EXPECT_EQ(0U, platform::TransactRegistry([] { return Create(L"Newer") ? DWORD{0} : error::GeneralFailure; }));
    EXPECT_EQ(done, TryOpen(L"Newer"));
}

}  // namespace
