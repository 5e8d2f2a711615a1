#include <platform/cluster/ClusterDirectory.h>

#include <platform/base/error_codes.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <platform/store/Database.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

using namespace platform;

namespace {

/// An engine of clusters in memory that leaves a file in each folder. What it does before, a test may choose: its
/// result is the operation's unless it is 0.
class ShakyEngine final : public ClusterEngine {
public:
    DWORD Open(const std::string& directory, std::shared_ptr<ClusterService>& service) override {
        const DWORD code = opening ? opening(directory) : 0;
        return code ? code : CreateEmbeddedCluster(L"Shaky", service);
    }
    DWORD Create(const std::string& directory, const std::wstring& name,
                 std::shared_ptr<ClusterService>& service) override {
        std::ofstream(directory + "/content") << "half";
        const DWORD code = creating ? creating() : 0;
        return code ? code : CreateEmbeddedCluster(name, service);
    }

    std::function<DWORD(const std::string& directory)> opening;
    std::function<DWORD()> creating;
};

ShakyEngine shaky;

}  // namespace

class AClusterDirectory : public testing::Test {
protected:
    AClusterDirectory() {
        unsetenv("OSTRA_CLUSTER");
        RegisterClusterEngine(L"shaky", &shaky);
        shaky = {};
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
    /// With the one of the lock.
    std::ptrdiff_t Entries() const { return std::distance(std::filesystem::directory_iterator(Clusters()), {}); }
    void MakeFolder(const std::string& name, const std::string& description) const {
        std::filesystem::create_directories(Clusters() / name);
        std::ofstream(Clusters() / name / "cluster.json") << description;
    }

    tests::TemporaryHome _home;
    const std::string good = R"({"engine": "shaky", "name": "Tarn", "format": 1})";
};

TEST_F(AClusterDirectory, MakesFindsAndDeletesClusters) {
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

    tests::CapturedEvents events;
    SetChangeCommand(L"ostra test");
    EXPECT_EQ(0U, ClusterDirectory::Delete(L"TARN"));
    SetChangeCommand(L"");
    const std::vector<std::wstring> texts = events.TakeTexts();
    ASSERT_EQ(1U, texts.size());
    EXPECT_TRUE(texts[0].starts_with(L"Cluster TARN was deleted by ") && texts[0].ends_with(L": ostra test"));
    EXPECT_EQ(error::FileNotFound, Resolve(L"Tarn"));
    EXPECT_EQ(error::FileInvalid, found->Find(ObjectKind::Node, L"N1", node));
    ASSERT_EQ(0U, ClusterDirectory::Create(L"Tarn", L"embedded", made));
    EXPECT_EQ(error::ClusterNodeNotFound, made->Find(ObjectKind::Node, L"N1", node));
}

TEST_F(AClusterDirectory, RefusesNamesThatCannotBeOnes) {
    for (const std::wstring& name :
         StringArray{L"", L".", L"..", L".hidden", L"a/b", L"a\\b", L"a\nb", L"a\xD800", std::wstring(61, L'x')}) {
        EXPECT_EQ(error::InvalidName, Create(name));
        EXPECT_EQ(error::FileNotFound, Resolve(name));
        EXPECT_EQ(error::FileNotFound, ClusterDirectory::Delete(name));
    }
    for (const wchar_t* unseen : {L"a\x202E", L"a\x200B", L"a\xFFFD"}) EXPECT_EQ(error::InvalidName, Create(unseen));
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
    for (const auto& [chosen, code] :
         {std::pair{"", error::InvalidParameter}, {"second", 0U}, {"third", error::FileNotFound}}) {
        setenv("OSTRA_CLUSTER", chosen, 1);
        EXPECT_EQ(code, Resolve(L"")) << chosen;
    }
    EXPECT_EQ(0U, Resolve(L"First"));
}

TEST_F(AClusterDirectory, AsksWhatTheProcessRegisteredBeforeAnyFolder) {
    EXPECT_EQ(0U, Create(L"Tarn"));
    std::shared_ptr<ClusterService> registered;
    std::shared_ptr<ClusterService> found;
    ASSERT_EQ(0U, CreateEmbeddedCluster(L"Tarn", registered));
    EXPECT_EQ(nullptr, ClusterDirectory::Register(L"TARN", registered));
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"", found));
    EXPECT_EQ(registered, found);
    EXPECT_EQ((StringArray{L"TARN"}), ClusterDirectory::Names());
    EXPECT_EQ(error::AlreadyExists, Create(L"Tarn"));
    EXPECT_EQ(registered, ClusterDirectory::Register(L"tarn", nullptr));
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", found));
    EXPECT_NE(registered, found);
}

TEST_F(AClusterDirectory, OpensAServiceOnceForAsLongAsItIsHeldAndInItsPlace) {
    EXPECT_EQ(0U, Create(L"Tarn"));
    std::shared_ptr<ClusterService> first;
    std::shared_ptr<ClusterService> second;
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", first));
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"tarn", second));
    EXPECT_EQ(first, second);

    // Another process deletes the cluster and makes one of that name.
    std::filesystem::rename(Clusters() / "Tarn", Clusters() / "Gone");
    MakeFolder("Tarn", good);
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"Tarn", second));
    EXPECT_NE(first, second);
    shaky.opening = [](const std::string& directory) {
        std::filesystem::remove_all(directory);
        return error::FileInvalid;
    };
    second.reset();
    EXPECT_EQ(error::FileNotFound, Resolve(L"Tarn")) << "it went while it was being opened";
}

TEST_F(AClusterDirectory, AFailureLeavesNoHalfCluster) {
    shaky.creating = [] { return error::DiskFull; };
    EXPECT_EQ(error::DiskFull, Create(L"Tarn"));
    EXPECT_EQ(1, Entries());
    shaky.creating = []() -> DWORD { _exit(0); };
    const pid_t child = fork();
    if (child == 0) _exit(Create(L"Tarn") ? 1 : 2);
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status) << "it died half-way";
    EXPECT_EQ(2, Entries());
    EXPECT_EQ(StringArray(), ClusterDirectory::Names());
    EXPECT_EQ(error::FileNotFound, Resolve(L""));
    shaky.creating = nullptr;
    EXPECT_EQ(0U, Create(L"Tarn"));
    EXPECT_EQ(0U, Resolve(L"Tarn"));
    EXPECT_EQ(2, Entries()) << "what the crash left was removed";
}

TEST_F(AClusterDirectory, AClusterAppearsFilledOrNotAtAll) {
    // Ends the filling before its `last` step, with a code or with the process.
    const auto create = [](int last, DWORD code) {
        std::shared_ptr<ClusterService> service;
        return ClusterDirectory::Create(L"Tarn", L"embedded", service, [&](ClusterService& made) {
            ClusterAdministration& administration = *made.Administration();
            for (int step = 0; step < last; ++step) EXPECT_EQ(0U, administration.AddNode(L"N" + std::to_wstring(step)));
            if (code == error::OutcomeUnknown) _exit(0);
            return code;
        });
    };
    for (int last = 0; last < 3; ++last) {
        EXPECT_EQ(error::DiskFull, create(last, error::DiskFull));
        const pid_t child = fork();
        if (child == 0) _exit(create(last, error::OutcomeUnknown) ? 1 : 2);
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        ASSERT_EQ(0, status) << "it died half-way";
        EXPECT_EQ(StringArray(), ClusterDirectory::Names());
    }
    EXPECT_EQ(0U, create(2, error::Success));
    std::shared_ptr<ClusterService> found;
    ObjectId node;
    EXPECT_EQ(0U, ClusterDirectory::Resolve(L"", found));
    EXPECT_EQ(0U, found->Find(ObjectKind::Node, L"N1", node));
    EXPECT_EQ(2, Entries());
}

TEST_F(AClusterDirectory, NeverWaitsForWhatIsNoFileNorUsesWhatOthersMayChange) {
    EXPECT_EQ(0U, Create(L"Tarn"));
    for (const char* name : {".lock", "Tarn/cluster.json"}) {
        std::filesystem::remove(Clusters() / name);
        ASSERT_EQ(0, mkfifo((Clusters() / name).c_str(), 0600));
    }
    EXPECT_EQ(error::AccessDenied, Create(L"Other"));
    EXPECT_NE(std::wstring::npos, Database::LastMessage(error::AccessDenied).find(L".lock"));
    EXPECT_EQ(error::FileCorrupt, Resolve(L"Tarn"));

    std::filesystem::permissions(Clusters(), std::filesystem::perms{0775});
    for (const DWORD code : {Create(L"Other"), Resolve(L"Tarn")}) {
        EXPECT_EQ(error::AccessDenied, code);
        EXPECT_NE(std::wstring::npos, Database::LastMessage(code).find(L"chmod go-w"));
    }
}

TEST_F(AClusterDirectory, RefusesADescriptionThatIsNone) {
    const std::pair<std::string, DWORD> rows[] = {
        {"", error::FileCorrupt},
        {"[]", error::FileCorrupt},
        {std::string(60'000, '['), error::FileCorrupt},
        {good + std::string(70'000, ' '), error::FileCorrupt},
        {R"({"engine": "shaky", "name": "Tarn"})", error::FileCorrupt},
        {R"({"engine": "shaky", "name": "Tarn", "format": -1})", error::FileCorrupt},
        {R"({"engine": 1, "name": "Tarn", "format": 1})", error::FileCorrupt},
        {R"({"engine": "shaky", "name": "Tarn", "format": 2})", error::NotSupported},
        {R"({"engine": "../../evil", "name": "Tarn", "format": 1})", error::NotSupported},
        {good, error::Success},
    };
    for (const auto& [description, code] : rows) {
        MakeFolder("Tarn", description);
        EXPECT_EQ(code, Resolve(L"Tarn")) << description.substr(0, 60);
        EXPECT_EQ(code != 0, Database::LastMessage(code).find(L"clusters/Tarn") != std::wstring::npos);
        EXPECT_EQ((StringArray{L"Tarn"}), ClusterDirectory::Names());
    }
}

TEST_F(AClusterDirectory, FollowsNoLinksAndListsOnlyClusters) {
    MakeFolder("Tarn", good);
    std::filesystem::create_directory_symlink(Clusters() / "Tarn", Clusters() / "Linked");
    std::filesystem::create_directory(Clusters() / "Empty");
    std::filesystem::create_directory(Clusters() / "Half");
    std::filesystem::create_symlink(Clusters() / "Tarn" / "cluster.json", Clusters() / "Half" / "cluster.json");
    std::ofstream(Clusters() / "File") << "no folder";
    EXPECT_EQ((StringArray{L"Tarn"}), ClusterDirectory::Names());
    for (const wchar_t* name : {L"Linked", L"Empty", L"Half", L"File"}) EXPECT_NE(0U, Resolve(name));
    EXPECT_EQ(error::AlreadyExists, Create(L"Empty"));
}
