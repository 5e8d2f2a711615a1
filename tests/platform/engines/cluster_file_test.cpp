#include <platform/base/error_codes.h>
#include <platform/store/Database.h>
#include <platform/store/RowChecksum.h>
#include <tests/support/BentFiles.h>
#include <tests/support/EmbeddedCluster.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <regex>

namespace tests {
namespace {

namespace error = platform::error;
using platform::ClusterKeyId;
using Service = std::shared_ptr<platform::ClusterService>;

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

    // Writes what the engine never would, in rows that are whole.
    static void Tamper(const std::string& file, const std::string& sql) {
        sqlite3* connection = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &connection));
        platform::RowChecksum::Register(connection);
        char* message = nullptr;
        const std::string statements = "PRAGMA foreign_keys=OFF; PRAGMA ignore_check_constraints=ON;" + sql;
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(connection, statements.c_str(), nullptr, nullptr, &message)) << message;
        sqlite3_free(message);
        sqlite3_close(connection);
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
    EXPECT_EQ(0u, other->Administration()->DeleteGroup(created));
    EXPECT_EQ(error::GroupNotFound, service->OnlineGroup(created, std::nullopt));
    EXPECT_EQ(0u, service->CreateGroup(L"New", created));
    EXPECT_EQ(created, IdOf(*other, ObjectKind::Group, L"New"));
    std::vector<std::wstring> breaches;
    EXPECT_EQ(0u, other->Administration()->CheckInvariants(breaches));
    EXPECT_TRUE(breaches.empty());
}

TEST_F(AClusterFile, KeepsWhatAKilledProcessHadCommittedAndNothingElse) {
    service.reset();  // a process must not inherit it
    for (const bool isCommitted : {false, true}) {
        const pid_t child = ::fork();
        if (child == 0) {
            service = OpenAnother();
            const ObjectId group = Group(isCommitted ? L"G2" : L"G1");
            service->Transact([&] {
                service->OfflineGroup(group);
                service->RenameGroup(group, isCommitted ? L"Committed" : L"Lost");
                return isCommitted ? 0u : static_cast<DWORD>(::raise(SIGKILL));
            });
            ::raise(SIGKILL);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }
    service = OpenAnother();
    EXPECT_EQ((StringArray{L"G1", L"Committed"}), All(CLUSTER_ENUM_GROUP));
    EXPECT_EQ(ClusterGroupOnline, StateOf(L"G1"));
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"Committed"));
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G1"))) << "a killed writer holds nobody up";
}

int rowsRead = 0;

// Counts the rows that statements give, but for those of questions to SQLite itself.
int CountRows(sqlite3* connection, char**, const sqlite3_api_routines*) {
    const auto count = [](unsigned, void*, void* statement, void*) {
        const char* const sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        rowsRead += sql && !std::string_view(sql).starts_with("PRAGMA") ? 1 : 0;
        return 0;
    };
    return sqlite3_trace_v2(connection, SQLITE_TRACE_ROW, count, nullptr);
}

TEST_F(AClusterFile, IsReadAgainOnlyWhereItChanged) {
    service.reset();
    const auto install = reinterpret_cast<void (*)()>(&CountRows);
    sqlite3_auto_extension(install);
    service = OpenAnother();
    const Service other = OpenAnother();
    sqlite3_cancel_auto_extension(install);
    const auto walk = [&] {
        for (const std::wstring& name : All(CLUSTER_ENUM_GROUP | CLUSTER_ENUM_RESOURCE | CLUSTER_ENUM_NODE)) {
            StateOf(name);
        }
        for (const std::wstring& name : All(CLUSTER_ENUM_RESOURCE)) {
            Get(Resource(name), CLUSCTL_GET_COMMON_PROPERTIES);
            Get(Resource(name), CLUSCTL_GET_PRIVATE_PROPERTIES);
        }
    };
    walk();
    EXPECT_GT(std::exchange(rowsRead, 0), 0);
    walk();
    EXPECT_EQ(0, rowsRead);
    EXPECT_EQ(0u, other->OfflineGroup(IdOf(*other, ObjectKind::Group, L"G1")));
    rowsRead = 0;
    EXPECT_EQ(ClusterGroupOffline, StateOf(L"G1"));
    EXPECT_LT(rowsRead, 30) << "what changed, and the versions of the tables";
}

TEST_F(AClusterFile, IsSyncedOncePerChangeAndNotByReading) {
    service.reset();
    int syncs = 0;
    const BentFiles files;
    BentFiles::beforeSync = [&] { return ++syncs, SQLITE_OK; };
    service = OpenAnother();
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G2"))) << "the first write of a new log syncs its header as well";
    syncs = 0;
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G1")));
    EXPECT_EQ(1, syncs);
    TakeDown(L"N1");
    EXPECT_EQ(2, syncs);
    SetPrivate(L"R1", {{L"Address", L"10.0.0.1"}, {L"Other", 3u}});
    EXPECT_EQ(3, syncs);
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G1")));
    EXPECT_EQ(error::ClusterNodeDown, Administration().TakeNodeDown(Node(L"N1")));
    Get(Resource(L"R1"), CLUSCTL_GET_PRIVATE_PROPERTIES);
    EXPECT_EQ(3, syncs) << "nothing has changed";
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
        "UPDATE nodes SET state = 3",
        "INSERT INTO possible_owners (resource, node) VALUES (1, 1)",
        "UPDATE resources SET every_node = 0; INSERT INTO possible_owners (resource, node) VALUES (1, 99)",
        "INSERT INTO preferred_owners (resource_group, place, node) VALUES (1, 0, 99)",
        "INSERT INTO dependencies (resource, provider) SELECT provider, resource FROM dependencies",
        "INSERT INTO dependencies (resource, provider) VALUES (3, 1)",
        "INSERT INTO partitions (disk, place, drive, label, serial) VALUES (99, 0, 'F:', '', 0)",
        "DELETE FROM interfaces WHERE id = 1",
        "UPDATE interfaces SET network = 99 WHERE id = 1",
        "UPDATE networks SET address = hex(zeroblob(500))",
        "DELETE FROM sections WHERE id = 3",
        "DELETE FROM cluster",
    };
    const std::string sound = home.Path() / "sound.db";
    std::filesystem::copy_file(File(), sound);
    const auto restore = [&] {
        std::filesystem::copy_file(sound, File(), std::filesystem::copy_options::overwrite_existing);
    };
    for (const char* const mutation : mutations) {
        restore();
        Tamper(File(), mutation);
        Service opened;
        EXPECT_EQ(error::FileCorrupt, Open(opened)) << mutation;
        EXPECT_FALSE(opened) << mutation;
        EXPECT_NE(std::wstring::npos, platform::Database::LastMessage(error::FileCorrupt).find(L"cluster.db"));
    }
    restore();
    service = OpenAnother();
    Tamper(File(), "UPDATE resources SET type = 99 WHERE name = 'R3'; UPDATE sections SET version = version + 1");
    ObjectId found;
    EXPECT_EQ(error::FileCorrupt, service->Find(ObjectKind::Resource, L"R1", found));
    EXPECT_EQ(error::FileCorrupt, service->CreateGroup(L"New", found));
    Tamper(File(), "UPDATE resources SET type = 3 WHERE name = 'R3'; UPDATE sections SET version = version + 1");
    EXPECT_EQ(0u, service->Find(ObjectKind::Resource, L"R1", found)) << "a repaired file serves again";
}

// As version 1 had it: no checksums, a row for each possible owner.
void MakeFirstVersion(const std::string& file) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(file.c_str(), &connection));
    platform::RowChecksum::Register(connection);
    const auto run = [&](const std::string& sql) {
        EXPECT_EQ(SQLITE_OK, sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr)) << sql;
    };
    run("INSERT INTO possible_owners (resource, node) SELECT resources.id, nodes.id FROM resources, nodes "
        "WHERE every_node = 1");
    std::map<std::string, std::string> tables;
    sqlite3_stmt* rows = nullptr;
    sqlite3_prepare_v2(connection, "SELECT name, sql FROM sqlite_schema WHERE sql LIKE '%checksum%'", -1, &rows,
                       nullptr);
    const auto text = [&](int column) { return reinterpret_cast<const char*>(sqlite3_column_text(rows, column)); };
    while (sqlite3_step(rows) == SQLITE_ROW) tables[text(0)] = text(1);
    sqlite3_finalize(rows);
    run("PRAGMA writable_schema = ON");
    const std::regex added(
        ",\\s+(name_)?checksum INTEGER NOT NULL AS [^)]*\\)\\) STORED|,\\s+every_node "
        "[^)]*\\)\\)|,\\s+(subkeys|value_count) INTEGER NOT NULL DEFAULT 0");
    for (const auto& [name, sql] : tables) {
        const std::string former = std::regex_replace(sql, added, "");
        run("UPDATE sqlite_schema SET sql = '" + std::regex_replace(former, std::regex("'"), "''") +
            "' WHERE name = '" + name + "'");
    }
    run("PRAGMA writable_schema = OFF; DROP TRIGGER key_made; DROP TRIGGER key_gone; DROP TRIGGER value_made; "
        "DROP TRIGGER value_gone; PRAGMA user_version = 1");
    sqlite3_close(connection);
}

TEST_F(AClusterFile, OfTheFirstVersionGoesOnWorking) {
    EXPECT_EQ(0u, service->RemoveResourceOwner(Resource(L"R3"), Node(L"N2")));
    ObjectId gone;
    EXPECT_EQ(0u, service->CreateGroup(L"Gone", gone));
    EXPECT_EQ(0u, Administration().DeleteGroup(gone));
    service.reset();
    MakeFirstVersion(File());
    service = OpenAnother();
    ExpectInvariants();
    ObjectId created;
    EXPECT_EQ(0u, service->CreateGroup(L"New", created));
    EXPECT_GT(created, gone) << "an id is never given again";
    EXPECT_EQ((StringArray{L"N1", L"N2"}), Members(Resource(L"R1"), CLUSTER_RESOURCE_ENUM_NODES));
    EXPECT_EQ(0u, Administration().AddNode(L"N3"));
    EXPECT_EQ((StringArray{L"N1", L"N2", L"N3"}), Members(Resource(L"R1"), CLUSTER_RESOURCE_ENUM_NODES));
    EXPECT_EQ((StringArray{L"N1"}), Members(Resource(L"R3"), CLUSTER_RESOURCE_ENUM_NODES));
}

TEST_F(AClusterFile, IsNotLockedToMakeAKeyThatIsThere) {
    ClusterKeyId root = 0;
    ClusterKeyId key = 0;
    bool isCreated = true;
    EXPECT_EQ(0u, service->RootKey(root));
    const int held = ::open((File() + ".lock").c_str(), O_RDWR);
    EXPECT_EQ(0, ::flock(held, LOCK_EX));
    EXPECT_EQ(0u, service->CreateKey(root, L"Groups", false, key, isCreated));
    EXPECT_FALSE(isCreated);
    ::close(held);
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
    const std::wstring type = L"IP Address";
    Give(Group(L"G2"), {L"A", type, {}, {{L"Address", L"10.0.0.1"}}});
    Give(Group(L"G2"), {L"B", type, {}, {{L"Address", L"10.0.0.1"}}});
    Give(Group(L"G2"), {L"C", type, {}, {{L"Address", L"10.0.0.300"}}});
    Tamper(File(), "UPDATE resources SET state = 2; UPDATE sections SET version = version + 1");
    EXPECT_EQ(
        (StringArray{L"A and B both hold IP Address 10.0.0.1", L"C is online with parameters that cannot be: code 87"}),
        breaches());
    Tamper(File(), "UPDATE changes SET number = 1000 WHERE number = 2");
    EXPECT_FALSE(breaches().empty());
    service.reset();
}

TEST_F(AClusterFile, LeavesDownWhatCannotComeUpAfterAFailover) {
    Give(Group(L"G1"), {L"Disk", L"Physical Disk", {}, {{L"Signature", 7u}}});
    Give(Group(L"G1"), {.name = L"Share", .needs = {L"Disk"}});
    EXPECT_EQ(0u, service->OnlineGroup(Group(L"G1"), std::nullopt));
    Tamper(File(), "UPDATE disks SET signature = 8; UPDATE sections SET version = version + 1");
    TakeDown(L"N1");
    EXPECT_EQ(ClusterResourceFailed, StateOf(L"Disk"));
    EXPECT_EQ(ClusterResourceOffline, StateOf(L"Share"));
    EXPECT_EQ(ClusterResourceOnline, StateOf(L"R1"));
    EXPECT_EQ(ClusterGroupFailed, StateOf(L"G1"));
}

TEST_F(AClusterFile, CountsFailuresOnInEveryProcess) {
    EXPECT_EQ(0u, Set(Resource(L"R3"), CLUSCTL_SET_COMMON_PROPERTIES, {{L"RestartAction", 1u}}));
    for (const DWORD state : {2u, 2u, 2u, 4u}) {
        service = OpenAnother();
        EXPECT_EQ(0u, Administration().FailResource(Resource(L"R3")));
        EXPECT_EQ(state, StateOf(L"R3"));
    }
}

TEST_F(AClusterFile, IsRefusedBesideWhatIsNoFile) {
    service.reset();
    for (const char* const ending : {"-wal", "-shm", "-journal", ".lock"}) {
        const std::string companion = File() + ending;
        std::filesystem::remove(companion);
        ASSERT_EQ(0, ::mkfifo(companion.c_str(), 0600));
        Service opened;
        EXPECT_EQ(error::AccessDenied, Open(opened)) << ending;
        EXPECT_NE(std::wstring::npos,
                  platform::Database::LastMessage(error::AccessDenied).find(platform::FromUtf8(companion)));
        std::filesystem::remove(companion);
    }
}

TEST_F(AClusterFile, DropsTheOldestChanges) {
    Tamper(
        File(),
        "WITH RECURSIVE n (i) AS (SELECT max(number) + 1 FROM changes UNION ALL SELECT i + 1 FROM n WHERE i < 100100) "
        "INSERT INTO changes (number, time, user, command, object, notification, detail) "
        "SELECT i, 0, '', '', '', 0, '' FROM n");
    EXPECT_EQ(0u, service->OfflineGroup(Group(L"G2")));
    const std::vector<platform::ClusterChange> changes = Changes();
    EXPECT_EQ(100'000u, changes.size());
    EXPECT_EQ(103, changes.front().number);
}

TEST_F(AClusterFile, KeepsVolatileKeysUntilTheMachineStartsAnew) {
    ClusterKeyId root = 0;
    ClusterKeyId key = 0;
    bool isCreated = false;
    EXPECT_EQ(0u, service->RootKey(root));
    EXPECT_EQ(0u, service->CreateKey(root, L"Ostra", false, key, isCreated));
    EXPECT_EQ(0u, service->CreateKey(root, L"Ostra\\Schedule", true, key, isCreated));
    for (const char* const sql : {"", "UPDATE key_notes SET text = 'another boot' WHERE name = 'boot'"}) {
        service.reset();
        Tamper(File(), sql);
        service = OpenAnother();
        EXPECT_EQ(*sql ? error::FileNotFound : 0u, service->OpenKey(root, L"Ostra\\Schedule", key));
        EXPECT_EQ(0u, service->OpenKey(root, L"Ostra", key));
    }
}

}  // namespace
}  // namespace tests
