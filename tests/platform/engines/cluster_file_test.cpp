#include <platform/base/error_codes.h>
#include <platform/store/Database.h>
#include <tests/support/EmbeddedCluster.h>

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <map>

namespace tests {
namespace {

namespace error = platform::error;
using platform::ClusterKeyId;
using Service = std::shared_ptr<platform::ClusterService>;

// Counts what the databases that are opened while it lives do: rows that statements give, and syncs of files.
class Meter {
public:
    Meter() {
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&Watch));
        sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
        _layer = *system;
        _layer.zName = "metered";
        _layer.xOpen = &Open;
        _system = system;
        sqlite3_vfs_register(&_layer, 1);
    }
    ~Meter() {
        sqlite3_vfs_unregister(&_layer);
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&Watch));
    }
    Meter(const Meter&) = delete;
    Meter& operator=(const Meter&) = delete;

    static int TakeRows() { return _rows.exchange(0); }
    static int TakeSyncs() { return _syncs.exchange(0); }

private:
    static int Watch(sqlite3* connection, char**, const void*) {
        return sqlite3_trace_v2(connection, SQLITE_TRACE_ROW, &CountRow, nullptr);
    }
    static int CountRow(unsigned, void*, void* statement, void*) {
        const char* const sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        if (sql && !std::string_view(sql).starts_with("PRAGMA")) ++_rows;
        return 0;
    }
    // The system's file, with a sync of ours in its table of methods.
    static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* answered) {
        const int status = _system->xOpen(_system, name, file, flags, answered);
        if (status != SQLITE_OK || !file->pMethods) return status;
        static std::map<const sqlite3_io_methods*, sqlite3_io_methods> tables;
        const auto [table, isNew] = tables.emplace(file->pMethods, *file->pMethods);
        if (isNew) {
            _sync = table->second.xSync;
            table->second.xSync = &Sync;
        }
        file->pMethods = &table->second;
        return status;
    }
    static int Sync(sqlite3_file* file, int flags) {
        ++_syncs;
        return _sync(file, flags);
    }

    static inline std::atomic<int> _rows = 0;
    static inline std::atomic<int> _syncs = 0;
    static inline sqlite3_vfs* _system = nullptr;
    static inline int (*_sync)(sqlite3_file*, int) = nullptr;
    sqlite3_vfs _layer{};
};

/// A cluster in a file, with two nodes, a network, a disk, and two groups: G1 with R1 and R2, which needs R1; G2 with
/// R3. Whoever wants a service opens one of its own.
class AClusterFile : public EmbeddedClusterTest {
protected:
    AClusterFile() {
        service.reset();
        std::filesystem::create_directories(Directory());
        EXPECT_EQ(0u, platform::EmbeddedEngine().Create(Directory(), L"Filed", service));
        Given({.networks = {{.name = L"LAN"}},
               .disks = {{.signature = 7, .scsiAddress = 1, .number = 1, .partitions = {{L"E:", L"Data", 5}}}},
               .groups = {{.name = L"G1", .resources = {{.name = L"R1"}, {.name = L"R2", .needs = {L"R1"}}}},
                          {.name = L"G2", .resources = {{.name = L"R3"}}}}});
    }
    void TearDown() override {
        if (service) ExpectInvariants();
    }

    std::string Directory() const { return home.Path() / "cluster"; }
    std::string File() const { return Directory() + "/cluster.db"; }

    DWORD Open(Service& opened) { return platform::EmbeddedEngine().Open(Directory(), opened); }
    Service OpenAnother() {
        Service opened;
        EXPECT_EQ(0u, Open(opened));
        return opened;
    }

    // Writes what the engine never would.
    static void Tamper(const std::string& file, const std::string& sql) {
        sqlite3* connection = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &connection));
        char* message = nullptr;
        const std::string statements = "PRAGMA foreign_keys=OFF; PRAGMA ignore_check_constraints=ON;" + sql;
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(connection, statements.c_str(), nullptr, nullptr, &message)) << message;
        sqlite3_free(message);
        sqlite3_close(connection);
    }

    // Runs `part` in a process of its own and answers its wait status; nothing may be open here meanwhile.
    template <typename Part>
    static int InAnotherProcess(Part part) {
        const pid_t child = ::fork();
        if (child == 0) ::_exit(part());
        int status = 0;
        ::waitpid(child, &status, 0);
        return status;
    }

    static ObjectId IdOf(platform::ClusterService& from, ObjectKind kind, const std::wstring& name) {
        ObjectId id;
        Expect(from.Find(kind, name, id), name);
        return id;
    }
};

TEST_F(AClusterFile, ShowsEachServiceWhatTheOtherDid) {
    const Service other = OpenAnother();
    ObjectId created;
    EXPECT_EQ(0u, service->CreateGroup(L"New", created));
    EXPECT_EQ(created, IdOf(*other, ObjectKind::Group, L"new"));
    EXPECT_EQ(0u, other->Administration()->TakeNodeDown(IdOf(*other, ObjectKind::Node, L"N1")));
    EXPECT_EQ(L"N2", OwnerOf(L"G1"));
    EXPECT_EQ(0u, other->RenameGroup(created, L"Newer"));
    EXPECT_EQ(0u, other->Administration()->DeleteGroup(created));
    EXPECT_EQ(error::GroupNotFound, service->OnlineGroup(created, std::nullopt));
    EXPECT_EQ(0u, service->CreateGroup(L"New", created));
    EXPECT_EQ(created, IdOf(*other, ObjectKind::Group, L"New"));
    std::vector<std::wstring> breaches;
    EXPECT_EQ(0u, other->Administration()->CheckInvariants(breaches));
    EXPECT_TRUE(breaches.empty());
}

TEST_F(AClusterFile, KeepsWhatAKilledProcessHadCommittedAndNothingElse) {
    service.reset();
    const auto endAt = [&](bool isCommitted) {
        return [this, isCommitted] {
            Service mine;
            if (Open(mine) != 0) return 1;
            ObjectId group;
            mine->Find(ObjectKind::Group, isCommitted ? L"G2" : L"G1", group);
            mine->Transact([&] {
                mine->OfflineGroup(group);
                mine->RenameGroup(group, isCommitted ? L"Committed" : L"Lost");
                if (!isCommitted) ::raise(SIGKILL);
                return 0u;
            });
            ::raise(SIGKILL);
            return 1;
        };
    };
    for (const bool isCommitted : {false, true}) {
        const int status = InAnotherProcess(endAt(isCommitted));
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }
    service = OpenAnother();
    EXPECT_EQ((StringArray{L"G1", L"Committed"}), All(CLUSTER_ENUM_GROUP));
    EXPECT_EQ(ClusterGroupOnline, StateOf(L"G1"));
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"Committed"));
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G1"))) << "a killed writer holds nobody up";
}

TEST_F(AClusterFile, IsSyncedOncePerChangeAndReadOnlyWhereItChanged) {
    service.reset();
    const Meter meter;
    service = OpenAnother();
    const Service other = OpenAnother();
    const auto walk = [&] {
        for (const std::wstring& name : All(CLUSTER_ENUM_GROUP | CLUSTER_ENUM_RESOURCE | CLUSTER_ENUM_NODE)) {
            StateOf(name);
        }
        for (const std::wstring& name : All(CLUSTER_ENUM_RESOURCE)) {
            Get(Resource(name), CLUSCTL_GET_COMMON_PROPERTIES);
            Get(Resource(name), CLUSCTL_GET_PRIVATE_PROPERTIES);
        }
        Changes();
    };
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G2"))) << "the first write of a new log syncs its header as well";
    Forget();
    walk();
    Meter::TakeRows();
    Meter::TakeSyncs();
    walk();
    EXPECT_EQ(0, Meter::TakeRows());
    EXPECT_EQ(0, Meter::TakeSyncs());

    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G1")));
    EXPECT_EQ(1, Meter::TakeSyncs());
    TakeDown(L"N1");
    EXPECT_EQ(1, Meter::TakeSyncs());
    SetPrivate(L"R1", {{L"Address", L"10.0.0.1"}, {L"Other", 3u}});
    EXPECT_EQ(1, Meter::TakeSyncs());
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G1")));
    EXPECT_EQ(error::ClusterNodeDown, Administration().TakeNodeDown(Node(L"N1")));
    EXPECT_EQ(0, Meter::TakeSyncs()) << "nothing has changed";

    DWORD state = 0;
    ClusterKeyId root = 0;
    EXPECT_EQ(0u, other->RootKey(root));
    Meter::TakeRows();
    EXPECT_EQ(0u, service->SetValue(root, L"Value", 1, {}));
    Meter::TakeRows();
    EXPECT_EQ(0u, other->NodeState(Node(L"N1"), state));
    EXPECT_LE(Meter::TakeRows(), 2 * 8) << "the versions of the tables, and the number of the last change";
    ExpectInvariants();
    service.reset();  // before its file layer
}

TEST_F(AClusterFile, IsRefusedWhenItsRowsCannotBe) {
    service.reset();
    const char* const mutations[] = {
        "UPDATE resource_groups SET owner = 99",
        "UPDATE resources SET resource_group = 99 WHERE name = 'R1'",
        "UPDATE resources SET type = 0",
        "UPDATE resources SET state = 128 WHERE name = 'R3'",
        "UPDATE resources SET name = 'r1' WHERE name = 'R3'",
        "UPDATE resources SET name = replace(hex(zeroblob(50000)), '0', 'x') WHERE name = 'R3'",
        "UPDATE nodes SET name = ''",
        "UPDATE nodes SET name = char(7) WHERE name = 'N1'",
        "UPDATE nodes SET key_id = -1 WHERE name = 'N1'",
        "UPDATE nodes SET state = 3",
        "INSERT INTO possible_owners (resource, node) VALUES (1, 99)",
        "INSERT INTO preferred_owners (resource_group, place, node) VALUES (1, 0, 99)",
        "INSERT INTO dependencies (resource, provider) SELECT provider, resource FROM dependencies",
        "INSERT INTO dependencies (resource, provider) VALUES (3, 1)",
        "INSERT INTO dependencies (resource, provider) VALUES (99, 1)",
        "INSERT INTO partitions (disk, place, drive, label, serial) VALUES (99, 0, 'F:', '', 0)",
        "UPDATE disks SET signature = 0",
        "DELETE FROM interfaces WHERE id = 1",
        "UPDATE interfaces SET network = 99 WHERE id = 1",
        "UPDATE networks SET address = hex(zeroblob(500))",
        "DELETE FROM sections WHERE id = 3",
        "UPDATE sections SET version = -1",
        "DELETE FROM cluster",
    };
    const std::string sound = home.Path() / "sound.db";
    std::filesystem::copy_file(File(), sound);
    for (const char* const mutation : mutations) {
        std::filesystem::copy_file(sound, File(), std::filesystem::copy_options::overwrite_existing);
        Tamper(File(), mutation);
        Service opened;
        EXPECT_EQ(error::FileCorrupt, Open(opened)) << mutation;
        EXPECT_FALSE(opened) << mutation;
        EXPECT_NE(std::wstring::npos, platform::Database::LastMessage(error::FileCorrupt).find(L"cluster.db"));
    }
    std::filesystem::copy_file(sound, File(), std::filesystem::copy_options::overwrite_existing);
    service = OpenAnother();
    Tamper(File(), "UPDATE resources SET type = 99 WHERE name = 'R3'; UPDATE sections SET version = version + 1");
    ObjectId found;
    EXPECT_EQ(error::FileCorrupt, service->Find(ObjectKind::Resource, L"R1", found));
    EXPECT_EQ(error::FileCorrupt, service->CreateGroup(L"New", found));
    Tamper(File(), "UPDATE resources SET type = 3 WHERE name = 'R3'; UPDATE sections SET version = version + 1");
    EXPECT_EQ(0u, service->Find(ObjectKind::Resource, L"R1", found)) << "a repaired file serves again";
}

TEST_F(AClusterFile, IsToldApartFromOneThatKeepsTheRules) {
    const auto breaches = [&] {
        std::vector<std::wstring> found;
        EXPECT_EQ(0u, Administration().CheckInvariants(found));
        return found;
    };
    Tamper(File(), "UPDATE resources SET state = 3 WHERE name = 'R1'");
    EXPECT_EQ((StringArray{L"what is in memory is not what is in the database"}), breaches());
    Tamper(File(), "UPDATE sections SET version = version + 1");
    EXPECT_EQ((StringArray{L"R2 is online without R1"}), breaches());
    Tamper(File(), "UPDATE changes SET number = 1000 WHERE number = 2");
    EXPECT_FALSE(breaches().empty());
    service.reset();
}

TEST_F(AClusterFile, DropsTheOldestChanges) {
    Tamper(
        File(),
        "WITH RECURSIVE n (i) AS (SELECT max(number) + 1 FROM changes UNION ALL SELECT i + 1 FROM n WHERE i < 100100) "
        "INSERT INTO changes (number, time, user, command, object, notification, detail) "
        "SELECT i, 0, '', '', '', 0, '' FROM n");
    platform::SetChangeCommand(L"test command");
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G2")));
    platform::SetChangeCommand(L"");
    const std::vector<platform::ClusterChange> changes = Changes();
    EXPECT_EQ(100'000u, changes.size());
    EXPECT_EQ(103, changes.front().number);
    EXPECT_EQ(L"test command", changes.back().command);
    EXPECT_FALSE(changes.back().user.empty());
    std::vector<platform::ClusterChange> some;
    EXPECT_EQ(0u, Administration().Changes(changes.back().number - 2, 1, some));
    ASSERT_EQ(1u, some.size());
    EXPECT_EQ(changes.back().number - 1, some.front().number);
}

TEST_F(AClusterFile, KeepsVolatileKeysUntilTheMachineStartsAnew) {
    ClusterKeyId root = 0;
    ClusterKeyId key = 0;
    bool isCreated = false;
    EXPECT_EQ(0u, service->RootKey(root));
    EXPECT_EQ(0u, service->CreateKey(root, L"Ostra", false, key, isCreated));
    EXPECT_EQ(0u, service->CreateKey(root, L"Ostra\\Schedule", true, key, isCreated));
    service.reset();
    service = OpenAnother();
    EXPECT_EQ(0u, service->OpenKey(root, L"Ostra\\Schedule", key));
    service.reset();
    Tamper(File(), "UPDATE key_notes SET text = 'another boot' WHERE name = 'boot'");
    service = OpenAnother();
    EXPECT_EQ(error::FileNotFound, service->OpenKey(root, L"Ostra\\Schedule", key));
    EXPECT_EQ(0u, service->OpenKey(root, L"Ostra", key));
}

}  // namespace
}  // namespace tests
