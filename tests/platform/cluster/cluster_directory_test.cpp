#include <platform/cluster/ClusterDirectory.h>

#include <platform/base/error_codes.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <platform/store/Database.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace platform;

namespace {

/// An engine of clusters in memory that leaves a file in each folder; it fails or dies half-way when told to.
class ShakyEngine final : public ClusterEngine {
public:
    DWORD Open(const std::string&, std::shared_ptr<ClusterService>& service) override {
        ++opened;
        return CreateEmbeddedCluster(L"Shaky", service);
    }
    DWORD Create(const std::string& directory, const std::wstring& name,
                 std::shared_ptr<ClusterService>& service) override {
        std::ofstream(directory + "/content") << "half";
        if (dies) _exit(0);
        return failure ? failure : CreateEmbeddedCluster(name, service);
    }

    DWORD failure = 0;
    bool dies = false;
    int opened = 0;
};

ShakyEngine& Shaky() {
    static ShakyEngine& engine = []() -> ShakyEngine& {
        static ShakyEngine made;
        RegisterClusterEngine(L"shaky", &made);
        return made;
    }();
    return engine;
}

}  // namespace

class AClusterDirectory : public testing::Test {
protected:
    AClusterDirectory() {
        unsetenv("OSTRA_CLUSTER");
        Shaky().failure = 0;
        Shaky().dies = false;
        Shaky().opened = 0;
    }
    ~AClusterDirectory() override { unsetenv("OSTRA_CLUSTER"); }

    static DWORD Create(const std::wstring& name, const std::wstring& engine = L"shaky") {
        std::shared_ptr<ClusterService> service;
        return ClusterDirectory::Create(name, engine, service);
    }
    static DWORD Resolve(const std::wstring& name) {
        std::shared_ptr<ClusterService> service;
        const DWORD code = ClusterDirectory::Resolve(name, service);
        EXPECT_EQ(code == 0, service != nullptr);
        return code;
    }
    std::filesystem::path Clusters() const { return _home.Path() / "clusters"; }
    void MakeFolder(const std::string& name, const std::string& description) const {
        std::filesystem::create_directories(Clusters() / name);
        std::ofstream(Clusters() / name / "cluster.json") << description;
    }

    tests::TemporaryHome _home;
};

TEST_F(AClusterDirectory, MakesFindsAndDeletesClusters) {
    EXPECT_EQ(StringArray(), ClusterDirectory::Names());
    EXPECT_EQ(error::FileNotFound, Resolve(L"Tarn"));
    EXPECT_EQ(error::FileNotFound, ClusterDirectory::Delete(L"Tarn"));
    std::shared_ptr<ClusterService> made;
    std::shared_ptr<ClusterService> found;
    ASSERT_EQ(0U, ClusterDirectory::Create(L"Tarn", L"embedded", made));
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"TARN", found));
    EXPECT_EQ(made, found) << "open services are shared";
    EXPECT_EQ(error::AlreadyExists, Create(L"tarn"));
    ASSERT_EQ(0U, made->Administration()->AddNode(L"N1"));
    made.reset();
    found.reset();
    ASSERT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", found));
    ObjectId node;
    EXPECT_EQ(0U, found->Find(ObjectKind::Node, L"N1", node));

    EXPECT_EQ(0U, Create(L"Ärger"));
    EXPECT_EQ(0U, Create(L"alpha"));
    EXPECT_EQ((StringArray{L"alpha", L"Tarn", L"Ärger"}), ClusterDirectory::Names());

    EXPECT_EQ(0U, ClusterDirectory::Delete(L"TARN"));
    EXPECT_EQ(error::FileNotFound, Resolve(L"Tarn"));
    EXPECT_NE(0U, found->Find(ObjectKind::Node, L"N1", node));
    std::shared_ptr<ClusterService> again;
    ASSERT_EQ(0U, ClusterDirectory::Create(L"Tarn", L"embedded", again));
    EXPECT_NE(found, again);
    EXPECT_EQ(error::ClusterNodeNotFound, again->Find(ObjectKind::Node, L"N1", node));
}

TEST_F(AClusterDirectory, RefusesNamesThatCannotBeOnes) {
    for (const std::wstring& name :
         {std::wstring(), std::wstring(L"."), std::wstring(L".."), std::wstring(L".hidden"), std::wstring(L"a/b"),
          std::wstring(L"a\\b"), std::wstring(L"a\nb"), std::wstring(61, L'x'), std::wstring(L"a\xD800")}) {
        EXPECT_EQ(error::InvalidName, Create(name));
        EXPECT_EQ(error::FileNotFound, Resolve(name));
        EXPECT_EQ(error::FileNotFound, ClusterDirectory::Delete(name));
    }
    EXPECT_EQ(0U, Create(std::wstring(60, L'x')));
    for (const wchar_t* engine : {L"", L"nowhere", L"../shaky", L"Shaky"})
        EXPECT_EQ(error::NotSupported, Create(L"Tarn", engine));
    EXPECT_EQ(1U, ClusterDirectory::Names().size());
}

TEST_F(AClusterDirectory, KnowsWhichClusterIsMeantWhenNoneIsNamed) {
    EXPECT_EQ(error::FileNotFound, Resolve(L""));
    EXPECT_EQ(0U, Create(L"First"));
    EXPECT_EQ(0U, Resolve(L""));
    EXPECT_EQ(0U, Create(L"Second"));
    EXPECT_EQ(error::InvalidParameter, Resolve(L""));
    setenv("OSTRA_CLUSTER", "second", 1);
    EXPECT_EQ(0U, Resolve(L""));
    setenv("OSTRA_CLUSTER", "third", 1);
    EXPECT_EQ(error::FileNotFound, Resolve(L""));
    EXPECT_EQ(0U, Resolve(L"First"));
    setenv("OSTRA_CLUSTER", "", 1);
    EXPECT_EQ(error::InvalidParameter, Resolve(L""));
}

TEST_F(AClusterDirectory, AsksWhatTheProcessRegisteredBeforeAnyFolder) {
    EXPECT_EQ(0U, Create(L"Tarn"));
    std::shared_ptr<ClusterService> registered;
    ASSERT_EQ(0U, CreateEmbeddedCluster(L"Tarn", registered));
    EXPECT_EQ(nullptr, ClusterDirectory::Register(L"TARN", registered));
    std::shared_ptr<ClusterService> found;
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"", found));
    EXPECT_EQ(registered, found);
    EXPECT_EQ((StringArray{L"TARN"}), ClusterDirectory::Names());
    EXPECT_EQ(error::AlreadyExists, Create(L"Tarn"));
    EXPECT_EQ(registered, ClusterDirectory::Register(L"tarn", nullptr));
    EXPECT_EQ(nullptr, ClusterDirectory::Register(L"tarn", nullptr));
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", found));
    EXPECT_NE(registered, found);
}

TEST_F(AClusterDirectory, OpensAServiceOnceForAsLongAsItIsHeld) {
    EXPECT_EQ(0U, Create(L"Tarn"));
    EXPECT_EQ(1, Shaky().opened);
    std::shared_ptr<ClusterService> first;
    std::shared_ptr<ClusterService> second;
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", first));
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"tarn", second));
    EXPECT_EQ(first, second);
    EXPECT_EQ(2, Shaky().opened);

    // Another process deletes the cluster and makes one of that name.
    std::filesystem::rename(Clusters() / "Tarn", Clusters() / "Gone");
    MakeFolder("Tarn", R"({"engine": "shaky", "name": "Tarn", "format": 1})");
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", second));
    EXPECT_NE(first, second);
}

TEST_F(AClusterDirectory, AFailureLeavesNoHalfCluster) {
    Shaky().failure = error::DiskFull;
    EXPECT_EQ(error::DiskFull, Create(L"Tarn"));
    Shaky().failure = 0;
    EXPECT_EQ(StringArray(), ClusterDirectory::Names());

    Shaky().dies = true;
    const pid_t child = fork();
    if (child == 0) {
        Create(L"Tarn");
        _exit(1);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status) << "it died half-way";
    Shaky().dies = false;
    EXPECT_EQ(StringArray(), ClusterDirectory::Names());
    EXPECT_EQ(error::FileNotFound, Resolve(L"Tarn"));
    EXPECT_EQ(error::FileNotFound, Resolve(L""));
    EXPECT_EQ(0U, Create(L"Tarn"));
    EXPECT_EQ(0U, Resolve(L"Tarn"));
    std::size_t entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(Clusters())) {
        if (entry.path().filename() != ".lock") ++entries;
    }
    EXPECT_EQ(1U, entries) << "what the crash left was removed";
}

TEST_F(AClusterDirectory, RefusesADescriptionThatIsNone) {
    const std::string good = R"({"engine": "shaky", "name": "Tarn", "format": 1})";
    const struct {
        std::string description;
        DWORD code;
    } rows[] = {
        {"", error::FileCorrupt},
        {"{", error::FileCorrupt},
        {"[]", error::FileCorrupt},
        {"\xFF\xFE", error::FileCorrupt},
        {std::string(60'000, '['), error::FileCorrupt},
        {good + std::string(70'000, ' '), error::FileCorrupt},
        {R"({"engine": "shaky", "name": "Tarn"})", error::FileCorrupt},
        {R"({"engine": "shaky", "name": "Tarn", "format": "1"})", error::FileCorrupt},
        {R"({"engine": "shaky", "name": "Tarn", "format": -1})", error::FileCorrupt},
        {R"({"engine": 1, "name": "Tarn", "format": 1})", error::FileCorrupt},
        {R"({"engine": "shaky", "name": "Tarn", "format": 2})", error::NotSupported},
        {R"({"engine": "../../evil", "name": "Tarn", "format": 1})", error::NotSupported},
        {R"({"engine": "none", "name": "Tarn", "format": 1})", error::NotSupported},
        {good, error::Success},
    };
    for (const auto& row : rows) {
        MakeFolder("Tarn", row.description);
        EXPECT_EQ(row.code, Resolve(L"Tarn")) << row.description.substr(0, 60);
        EXPECT_EQ(row.code != 0, Database::LastMessage(row.code).find(L"clusters/Tarn") != std::wstring::npos);
        EXPECT_EQ((StringArray{L"Tarn"}), ClusterDirectory::Names());
    }
}

TEST_F(AClusterDirectory, FollowsNoLinksAndListsOnlyClusters) {
    MakeFolder("Tarn", R"({"engine": "shaky", "name": "Tarn", "format": 1})");
    std::filesystem::create_directory_symlink(Clusters() / "Tarn", Clusters() / "Linked");
    std::filesystem::create_directory(Clusters() / "Empty");
    std::filesystem::create_directory(Clusters() / "Half");
    std::filesystem::create_symlink(Clusters() / "Tarn" / "cluster.json", Clusters() / "Half" / "cluster.json");
    std::ofstream(Clusters() / "File") << "no folder";
    EXPECT_EQ((StringArray{L"Tarn"}), ClusterDirectory::Names());
    for (const wchar_t* name : {L"Linked", L"Empty", L"Half", L"File"}) EXPECT_NE(0U, Resolve(name));
    EXPECT_EQ(error::AlreadyExists, Create(L"Empty"));
}
