#include <platform/base/SharedHandle.h>
#include <platform/base/output.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace platform;
namespace fs = std::filesystem;

namespace {

TEST(Output, GoesToStandardOutputAsUtf8WithoutASink) {
    int ends[2] = {};
    ASSERT_EQ(0, pipe(ends));
    const int before = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    WriteOutputLine(L"Größe €");
    char buffer[256] = {};
    const ssize_t size = read(ends[0], buffer, sizeof buffer);
    close(ends[0]);
    WriteOutputLine(L"nobody reads this, and nobody dies of it");
    dup2(before, STDOUT_FILENO);
    close(before);
    EXPECT_EQ(ToUtf8(L"Größe €\n"), std::string(buffer, static_cast<std::size_t>(size)));
}

TEST(Output, GoesToTheSinkAsItStands) {
    tests::CapturedOutput outer;
    {
        tests::CapturedOutput inner;
        WriteOutput(L"%d ");
        WriteOutputLine(L"ä");
        EXPECT_EQ(L"%d ä\n", inner.Text());
    }
    WriteOutput(L"after");
    EXPECT_EQ(L"after", outer.Take());
    EXPECT_EQ(L"", outer.Text());
}

class StateDirectories : public testing::Test {
protected:
    StateDirectories() { Set("OSTRA_HOME", _root + "/deep/state"); }
    ~StateDirectories() override {
        for (const auto& [name, value] : _before) value.empty() ? unsetenv(name) : setenv(name, value.c_str(), 1);
    }

    void Set(const char* name, const std::string& value) {
        const char* const before = std::getenv(name);
        _before.emplace(name, before ? before : "");
        setenv(name, value.c_str(), 1);
    }

    static mode_t ModeOf(const std::string& path) {
        struct stat status = {};
        return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
    }

    const tests::TemporaryHome _home;
    const std::string _root = _home.Path();

private:
    std::map<const char*, std::string> _before;
};

TEST_F(StateDirectories, AreWhereTheEnvironmentSays) {
    Set("OSTRA_HOME", _root + "/other//");
    EXPECT_EQ(_root + "/other", StateDirectory());
    Set("OSTRA_HOME", "near");
    EXPECT_EQ((fs::current_path() / "near").string(), StateDirectory());
    Set("OSTRA_HOME", "");
    Set("HOME", "/home/operator");
    Set("XDG_STATE_HOME", "/states");
    const bool isRoot = geteuid() == 0;
    EXPECT_EQ(isRoot ? "/var/lib/ostra" : "/states/ostra", StateDirectory());
    Set("XDG_STATE_HOME", "");
    EXPECT_EQ(isRoot ? "/var/lib/ostra" : "/home/operator/.local/state/ostra", StateDirectory());
}

TEST_F(StateDirectories, AreMadeForTheirUserAlone) {
    const mode_t before = umask(0);
    EXPECT_EQ(_root + "/deep/state/clusters/One", EnsureStateDirectory("clusters/One"));
    umask(before);
    for (const char* level : {"/deep", "/deep/state", "/deep/state/clusters", "/deep/state/clusters/One"})
        EXPECT_EQ(mode_t{0700}, ModeOf(_root + level)) << level;
    EXPECT_EQ(_root + "/deep/state", EnsureStateDirectory());
    fs::permissions(_root + "/deep/state/clusters", fs::perms{0755});
    EXPECT_NE("", EnsureStateDirectory("clusters"));
    EXPECT_EQ(mode_t{0755}, ModeOf(_root + "/deep/state/clusters")) << "what its user chose stays";
}

TEST_F(StateDirectories, AreRefusedWhenTheyAreNoDirectoryOrAnothersOne) {
    ASSERT_NE("", EnsureStateDirectory("there"));
    const std::string state = StateDirectory() + "/";
    std::ofstream(state + "log") << "a file";
    fs::create_symlink(state + "nowhere", state + "dangling");
    fs::create_symlink(state + "there", state + "linked");
    for (const char* name : {"log", "log/below", "dangling"}) EXPECT_EQ("", EnsureStateDirectory(name)) << name;
    EXPECT_EQ(state + "linked", EnsureStateDirectory("linked"));

    if (geteuid() != 0) {
        Set("OSTRA_HOME", "/");
        EXPECT_EQ("", EnsureStateDirectory());
        return;
    }
    ASSERT_EQ(0, lchown((state + "linked").c_str(), 12345, 12345));
    EXPECT_EQ("", EnsureStateDirectory("linked"));
    ASSERT_EQ(0, chown((state + "there").c_str(), 12345, 12345));
    EXPECT_EQ("", EnsureStateDirectory("there"));
}

TEST(FileNames, AreSafeWhenTheyNameOneFileOfTheDirectoryAtHand) {
    for (const wchar_t* name : {L"a", L"Größe 1", L"...", L".hidden", L"a.b", L"\x1F600"})
        EXPECT_TRUE(IsSafeFileName(name)) << ToUtf8(name);
    for (const wchar_t* name : {L"", L".", L"..", L"a/b", L"/", L"a\\b", L"a\nb", L"\x7F", L"\x85", L"\xFFFF\xFFFF/"})
        EXPECT_FALSE(IsSafeFileName(name)) << ToUtf8(name);
    EXPECT_FALSE(IsSafeFileName({L'a', L'\0', L'b'}));
    EXPECT_FALSE(IsSafeFileName({static_cast<wchar_t>(0xD800)}));
    EXPECT_TRUE(IsSafeFileName(std::wstring(100, L'é')));
    EXPECT_FALSE(IsSafeFileName(std::wstring(100, L'é') + L"x"));
}

std::vector<HKEY> closed;
int CloseAndRecord(HKEY handle) {
    closed.push_back(handle);
    return handle ? 1 : 0;
}

TEST(Handles, SharedByCopiesAreClosedOnce) {
    const auto handle = [](std::uintptr_t value) { return reinterpret_cast<HKEY>(value); };
    {
        SharedHandle<HKEY, CloseAndRecord> one(handle(2));
        SharedHandle<HKEY, CloseAndRecord> copy = one;
        one.Reset(handle(4));
        EXPECT_EQ(handle(2), copy.Get());
        EXPECT_TRUE(closed.empty());
        const auto early = one;
        EXPECT_EQ(1, one.Close());
        EXPECT_FALSE(early);
        EXPECT_EQ(0, one.Close());
    }
    EXPECT_EQ((std::vector<HKEY>{handle(4), nullptr, handle(2)}), closed);
}

}  // namespace
