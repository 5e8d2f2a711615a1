#include <platform/base/error_codes.h>
#include <tests/programs/OstraRun.h>
#include <tests/support/FailingClusterService.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <numeric>

namespace tests {
namespace {

using programs::Json;
using Words = std::vector<std::string>;

class OstraCommands : public OstraProgram {
protected:
    /// All that a command could have changed, as this program's own commands read it.
    static Json Everything() {
        Json all;
        for (const Words& question : std::vector<Words>{{"status"},
                                                        {"history", "--last", "1000"},
                                                        {"registry", "list", "--cluster-database", "", "--recursive"},
                                                        {"registry", "list", "HKEY_LOCAL_MACHINE", "--recursive"},
                                                        {"events", "--last", "1000"},
                                                        {"cluster", "list"}})
            all.push_back(Read(question));
        return all;
    }

    static std::string Content(const std::filesystem::path& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The exit code of a command whose output cannot be written.
    static int IntoNowhere(const Words& arguments) {
        std::istringstream in;
        std::ostream out(nullptr);
        std::ostringstream err;
        return programs::RunOstra(arguments, {in, out, err});
    }
};

TEST_F(OstraCommands, ManagesAClusterFromItsCreationOn) {
    EXPECT_EQ(6, Ostra({"status"}).code);
    GivenFiles();
    Do({"group", "online", "Files"});
    Json status = Read({"status"});
    status.erase("networks");
    status.erase("interfaces");
    const Json expected = Json::parse(R"({"cluster": "demo",
        "nodes": [{"name": "N1", "state": 0, "text": "Node is up."}, {"name": "N2", "state": 0, "text": "Node is up."}],
        "groups": [{"name": "Files", "owner": "N1", "state": 0, "text": "Group on line.", "resources": [
            {"name": "Address", "type": "IP Address", "state": 2, "text": "Resource is online."},
            {"name": "Disk E:", "type": "Physical Disk", "state": 2, "text": "Resource is online."},
            {"name": "Name", "type": "Network Name", "state": 2, "text": "Resource is online."},
            {"name": "Share", "type": "File Share", "state": 2, "text": "Resource is online."}]}]})");
    EXPECT_EQ(expected, status);

    const Json share = Read({"resource", "show", "Share"});
    EXPECT_EQ(2U, share["dependsOn"].size());
    EXPECT_EQ("public", share["parameters"]["ShareName"]);
    EXPECT_EQ("N2", Read({"group", "move", "Files"})["owner"]);
    EXPECT_EQ(2, Read({"node", "pause", "N1"})["state"]);
    EXPECT_EQ(1, Ostra({"group", "move", "Files"}).code) << "no node is left to move to";
    EXPECT_EQ(0, Read({"node", "resume", "N1"})["state"]);
    EXPECT_EQ("Archive", Read({"group", "rename", "Files", "Archive"})["name"]);
    EXPECT_EQ(Json({"N2", "N1"}), Read({"group", "owners", "Archive", "N2", "N1"})["preferredOwners"]);
    EXPECT_EQ(Json({"N2"}), Read({"resource", "owners", "Share", "N2"})["possibleOwners"]);
    EXPECT_EQ(1U, Read({"node", "evict", "N1"}).size());
    EXPECT_EQ(1, Ostra({"node", "evict", "N2"}).code) << "the last node stays";
}

TEST_F(OstraCommands, TellsWhatIsAndNotWhatWasAsked) {
    GivenFiles();
    Do({"resource", "set", "Address", "Address=REG_SZ:10.0.1.30"});
    Do({"group", "create", "Other"});
    Do({"resource", "create", "Same", "--group", "Other", "--type", "IP Address", "--set", "Address=REG_SZ:10.0.1.30"});
    Do({"group", "online", "Files"});
    const Outcome outcome = Ostra({"group", "online", "Other"});
    EXPECT_EQ(1, outcome.code);
    EXPECT_NE(std::string::npos, outcome.err.find("code 5057")) << outcome.err;
    EXPECT_NE(std::string::npos, outcome.err.find("that of resource \"Address\"")) << outcome.err;
    Do({"resource", "set", "Same", "Address=REG_SZ:10.0.1.31"});
    Do({"group", "online", "Other"});
    EXPECT_EQ(1, Ostra({"resource", "set", "Same", "Address=REG_SZ:10.0.1.30"}).code);

    Do({"resource", "set", "Share", "RestartAction=REG_DWORD:2", "RestartThreshold=REG_DWORD:1"});
    EXPECT_EQ("restarted", Read({"simulate", "fail", "Share"})["outcome"]);
    EXPECT_EQ("failed over", Read({"simulate", "fail", "Share"})["outcome"]);
    EXPECT_EQ("N2", Read({"group", "move", "Other"})["owner"]);
    Do({"group", "move", "Files"});
    Do({"resource", "set", "Share", "RestartAction=REG_DWORD:0"});
    EXPECT_EQ("stays failed", Read({"simulate", "fail", "Share"})["outcome"]);
    EXPECT_EQ("Resource failed.", Read({"resource", "show", "Share"})["text"]);
    EXPECT_EQ("Resource is online.", Read({"resource", "show", "Address"})["text"]);
    Do({"group", "online", "Files"});
    Do({"simulate", "node-down", "N1"});
    EXPECT_EQ("N2", Read({"group", "show", "Files"})["owner"]);
    EXPECT_EQ("Node is down.", Read({"node", "show", "N1"})["text"]);
    Do({"simulate", "node-up", "N1"});
    EXPECT_EQ("Resource is offline.", Read({"resource", "offline", "Share"})["text"]);
    Do({"resource", "delete", "Share"});
    EXPECT_EQ(3U, Read({"resource", "list", "--group", "Files"}).size());
}

struct Refused {
    Words arguments;
    int code;
    const char* saying;
};

TEST_F(OstraCommands, AnswersEachMistakeWithItsExitCodeAndWordsAndChangesNothing) {
    GivenFiles();
    Do({"group", "create", "Other"});
    Do({"resource", "owners", "Share", "N1"});
    Do({"group", "online", "Files"});
    const Json before = Everything();
    const Refused table[] = {
        {{"node", "show", "N9"}, 3, "Known: N1, N2"},
        {{"group", "online", "Nobody"}, 3, "no group named"},
        {{"registry", "list", R"(HKEY_LOCAL_MACHINE\No)"}, 3, "code 2"},
        {{"registry", "list", "Nowhere"}, 1, "HKEY_LOCAL_MACHINE"},
        {{"group", "create", "files"}, 4, "was not created"},
        {{"cluster", "create", "demo"}, 4, "was not created"},
        {{"resource", "create", "Share", "--group", "Files", "--type", "File Share"}, 4, "was not created"},
        {{"resource", "create", "X", "--group", "Files", "--type", "No Such Type"}, 3, "was not created"},
        {{"resource", "create", "X", "--group", "Other", "--type", "Time Service", "--depends", "Name"},
         1,
         "own group"},
        {{"resource", "depend", "Share", "Disk E:", "Nothing", "--remove"}, 3, "no resource named"},
        {{"resource", "owners", "Share", "N2"}, 1, "online"},
        {{"group", "owners", "Files", "N1", "n1"}, 2, "named twice"},
        {{"resource", "set", "Share", "MaxUsers"}, 2, "NAME=TYPE:VALUE"},
        {{"resource", "set", "Share", "Names=REG_MULTI_SZ:a"}, 2, "REG_SZ or REG_DWORD"},
        {{"resource", "set", "Share", "MaxUsers=REG_DWORD:many"}, 2, "no number"},
        {{"resource", "depend", "Address", "Share"}, 1, "cannot depend on Share"},
        {{"resource", "delete", "Address"}, 1, "nothing may depend on it"},
        {{"group", "delete", "Files"}, 1, "delete its resources first"},
        {{"cluster", "delete", "nothing"}, 3, "cluster list"},
        {{"cluster", "delete", "demo"}, 1, "--force"},
        {{"cluster", "delete", "demo", "--force"}, 1, "--yes"},
        {{"cluster", "create", "x/y"}, 1, "was not created"},
        {{"cluster", "create", "x", "--network", "A=10.0.1.5/24"}, 2, "the subnet is 10.0.1.0/24"},
        {{"cluster", "create", "x", "--network", "A=10.0.1.0"}, 2, "prefix"},
        {{"cluster", "create", "x", "--network", "A=10.0.1.0/24,role=4"}, 2, "no role"},
        {{"cluster", "create", "x", "--disk", "E:=wrong"}, 2, "no hexadecimal signature"},
        {{"cluster", "create", "x", "--disk", "Data=1"}, 2, "does not begin with a drive"},
        {{"cluster", "create", "x", "--disk", "E:=1", "--disk", "e:=2"}, 2, "e: is given twice"},
        {{"cluster", "create", "x", "--network", "A=10.0.0.0/8", "--network", "B=10.1.0.0/16"}, 2, "A and B overlap"},
        {{"cluster", "create", "x", "--node", "A", "--node", "a"}, 4, "was not created"},
        {{"debug", "set", "two"}, 2, "no mask"},
        {{"node", "list", "--cluster", "elsewhere"}, 6, "Known clusters: demo"},
        {{"node", "dance"}, 2, "\"dance\" was not expected; \"ostra node\" takes one of these commands: list, show"},
        {{"group", "online"}, 2, "NAME"},
        {{"watch", "--count", "-1"}, 2, "--count"},
        {{"help", "nothing"}, 2, "exit-codes"},
        {{}, 2, "one of these commands: setup, cluster"},
        {{"group", "create", "a\xFF"}, 2, "Argument 3 is no valid UTF-8"},
        {{"group", "create", "a\xED\xA0\x80"}, 2, "no valid UTF-8"},
    };
    for (const Refused& row : table) {
        const Outcome outcome = Ostra(row.arguments);
        EXPECT_EQ(row.code, outcome.code) << row.saying << "\n" << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find(row.saying)) << outcome.err;
        Words asJson = row.arguments;
        asJson.emplace_back("--json");
        const Outcome json = Ostra(asJson);
        const std::string lastLine = json.err.substr(json.err.rfind('\n', json.err.size() - 2) + 1);
        EXPECT_TRUE(Json::parse(lastLine, nullptr, false).contains("error")) << row.saying << "\n" << json.err;
        EXPECT_EQ("", outcome.out + json.out) << row.saying;
    }
    EXPECT_EQ(before, Everything());
    EXPECT_NE(std::string::npos, Ostra({"group", "create", "a\u202E"}).err.find("code 123"));
    EXPECT_EQ(1, Ostra({"cluster", "delete", "demo", "--yes"}).code) << "groups are online";
    EXPECT_EQ(1, Ostra({"cluster", "delete", "demo", "--force"}, "n\n").code);
    EXPECT_EQ(0, Ostra({"cluster", "delete", "demo", "--force"}, "y\n").code);
    EXPECT_EQ(0U, Read({"cluster", "list"}).size());
}

TEST_F(OstraCommands, RehearsesEveryChangeAndWritesNothing) {
    GivenFiles();
    Do({"group", "online", "Files"});
    Do({"group", "create", "Empty"});
    Do({"registry", "set", R"(HKEY_LOCAL_MACHINE\Software\Example)", "Depth=REG_DWORD:3"});
    const std::pair<Words, const char*> table[] = {
        {{"group", "create", "New"}, "group New"},
        {{"group", "offline", "Files"}, "resource Share / state"},
        {{"group", "move", "Files"}, "group Files / owner"},
        {{"group", "owners", "Files", "N2"}, "group Files / preferred owners"},
        {{"group", "delete", "Empty"}, "group Empty"},
        {{"node", "pause", "N1"}, "node N1 / state"},
        {{"node", "evict", "N1"}, "node N1 / state"},
        {{"resource", "create", "X", "--group", "Empty", "--type", "Time Service"}, "resource X"},
        {{"resource", "set", "Share", "ShareName=REG_SZ:private"}, "resource Share / ShareName"},
        {{"resource", "depend", "Share", "Disk E:", "--remove"}, "resource Share / depends on"},
        {{"resource", "owners", "Share", "N1"}, "resource Share / possible owners"},
        {{"simulate", "node-down", "N1"}, "node N1 / state"},
        {{"simulate", "fail", "Share"}, "resource Share / state"},
        {{"registry", "set", R"(HKEY_LOCAL_MACHINE\Software\Other)", "A=REG_SZ:b"}, R"(Software\Other / A)"},
        {{"registry", "delete", R"(HKEY_LOCAL_MACHINE\Software\Example)"}, R"(Software\Example)"},
        {{"registry", "set", "--cluster-database", "Ostra", "A=REG_SZ:b"}, "key Ostra / A"},
        {{"debug", "set", "1"}, "DebugMask"},
        {{"cluster", "create", "another"}, "cluster another"},
        {{"cluster", "delete", "demo", "--force"}, "cluster demo"},
    };
    const Json before = Everything();
    for (const auto& [arguments, changed] : table) {
        Words rehearsal = arguments;
        rehearsal.emplace_back("--dry-run");
        const Json document = Read(rehearsal);
        EXPECT_EQ(true, document["dryRun"]) << changed;
        const std::string quoted = Json(changed).dump();
        EXPECT_NE(std::string::npos, document["changes"].dump().find(quoted.substr(1, quoted.size() - 2)))
            << changed << document;
        EXPECT_EQ(before, Everything()) << changed;
    }
    EXPECT_EQ(3, Ostra({"group", "online", "Nobody", "--dry-run"}).code);
    EXPECT_NE(std::string::npos, Do({"group", "move", "Files", "--dry-run"}).out.find("\"N1\" -> \"N2\""));
}

TEST_F(OstraCommands, WaitsForAClusterThatSettlesLater) {
    GivenFiles();
    const FailingCluster failing(L"demo");
    failing->Fail(tests::Operation::OnlineGroup, platform::error::IoPending);
    const Outcome unsettled = Ostra({"group", "online", "Files", "--wait", "7"});
    EXPECT_EQ(5, unsettled.code) << unsettled.err;
    EXPECT_EQ(7'000U, std::accumulate(clock.naps.begin(), clock.naps.end(), DWORD{0}));
    failing->Heal();
    failing->Answer(tests::Operation::OnlineGroup);
    EXPECT_EQ(0, Read({"group", "online", "Files", "--wait", "7"})["state"]);
    failing->Fail(tests::Operation::OfflineGroup, platform::error::AccessDenied);
    EXPECT_EQ(1, Ostra({"group", "offline", "Files"}).code);
}

TEST_F(OstraCommands, FollowsWhatOthersChange) {
    GivenFiles();
    clock.meanwhile = [] { Do({"group", "create", "Later"}); };
    const Outcome watched = Do({"watch", "--count", "1", "--for", "60", "--json"});
    EXPECT_EQ("Later", watched.Json()["name"]);
    EXPECT_EQ("group added", watched.Json()["kind"]);
    const Json history = Read({"history", "--last", "2"});
    ASSERT_EQ(2U, history.size());
    EXPECT_EQ("ostra group create Later", history[1]["command"]);
    EXPECT_EQ("Later", history[1]["name"]);
    EXPECT_NE("", history[1]["user"]);
    clock.meanwhile = [] { Do({"group", "create", "Last"}); };
    EXPECT_EQ(1, IntoNowhere({"watch", "--for", "60"})) << "it ends when nobody can read it any more";
}

TEST_F(OstraCommands, TellsWhenItsOutputIsLost) {
    for (const Words& arguments : std::vector<Words>{
             {"cluster", "create", "demo"}, {"status"}, {"status", "--json"}, {"--help"}, {"completion", "bash"}})
        EXPECT_EQ(1, IntoNowhere(arguments)) << arguments[0];
    EXPECT_EQ(1U, Read({"cluster", "list"}).size());

    int ends[2] = {};
    ASSERT_EQ(0, ::pipe(ends));
    ::close(ends[0]);  // as in: ostra completion bash | true
    std::signal(SIGPIPE, SIG_IGN);
    const int standardOutput = ::dup(STDOUT_FILENO);
    std::cout.flush();
    ::dup2(ends[1], STDOUT_FILENO);
    std::istringstream in;
    std::ostringstream err;
    EXPECT_EQ(1, programs::RunOstra({"completion", "bash"}, {in, std::cout, err}));
    std::fflush(stdout);
    ::dup2(standardOutput, STDOUT_FILENO);
    std::clearerr(stdout);
    std::cout.clear();
    ::close(ends[1]);
    ::close(standardOutput);
    EXPECT_EQ("", err.str()) << "nobody is left to tell";
}

TEST_F(OstraCommands, NamesAClusterThatCannotBeReached) {
    Do({"cluster", "create", "demo"});
    ::setenv("OSTRA_CLUSTER", "elsewhere", 1);
    EXPECT_NE(std::string::npos, Ostra({"status"}).err.find("\"elsewhere\", as OSTRA_CLUSTER says"));
    ::unsetenv("OSTRA_CLUSTER");
    std::ofstream(home.Path() / "clusters" / "demo" / "cluster.json") << "{}";
    EXPECT_EQ(6, Ostra({"status"}).code);
    const Json list = Read({"cluster", "list"});
    EXPECT_EQ("demo", list[0]["name"]);
    EXPECT_TRUE(list[0].contains("groups") && list[0]["groups"].is_null());
    EXPECT_EQ("cluster demo", Read({"cluster", "delete", "demo", "--dry-run"})["changes"][0]["what"]);
    Do({"cluster", "delete", "demo", "--yes"});
    std::filesystem::remove_all(home.Path() / "clusters");
    std::ofstream(home.Path() / "clusters") << "no directory";
    const auto expectRefusal = [](const char* words) {
        for (const Words& command :
             {Words{"status"}, {"events"}, {"template", "list"}, {"cluster", "list"}, {"setup"}}) {
            const Outcome outcome = Ostra(command);
            EXPECT_EQ(6, outcome.code) << command[0];
            EXPECT_NE(std::string::npos, outcome.err.find(words)) << outcome.err;
        }
    };
    expectRefusal("/clusters\" is no directory");
    std::filesystem::remove(home.Path() / "clusters");
    std::filesystem::permissions(home.Path(), std::filesystem::perms{0722});
    expectRefusal("chmod go-w");
    Do({"help", "environment"});
    std::filesystem::permissions(home.Path(), std::filesystem::perms{0700});
}

TEST_F(OstraCommands, KnowsTypesAndPropertiesInAnyCase) {
    GivenFiles();
    Do({"resource", "create", "Second", "--group", "files", "--type", "file share", "--depends", "NAME"});
    Do({"resource", "set", "Second", "maxusers=REG_DWORD:5", "description=REG_SZ:another"});
    const Json second = Read({"resource", "show", "second"});
    EXPECT_EQ(Json({"5", "127"}), Json({second["parameters"]["MaxUsers"], second["parameters"]["Permissions"]}));
    EXPECT_EQ("another", second["properties"]["Description"]);
}

TEST_F(OstraCommands, ReadsAndWritesKeysOfBothTrees) {
    Do({"cluster", "create", "demo"});
    const std::vector<Words> trees{{R"(HKEY_LOCAL_MACHINE\Software\Example)"}, {"Example", "--cluster-database"}};
    for (const Words& tree : trees) {
        const auto with = [&](const std::string& command, Words rest) {
            rest.insert(rest.begin(), tree.begin(), tree.end());
            rest.insert(rest.begin(), {"registry", command});
            return rest;
        };
        Do(with("set", {"Depth=REG_DWORD:4294967295", "Title=REG_SZ:a=b:c \xF0\x9F\x90\x9A", "Raw=REG_BINARY:text"}));
        EXPECT_EQ("4294967295\na=b:c \xF0\x9F\x90\x9A\n", Do(with("get", {"Depth", "title"})).out);
        EXPECT_EQ(3U, Read(with("list", {})).size());
        EXPECT_EQ(3, Ostra(with("get", {"Missing"})).code);
        EXPECT_EQ(3, Ostra(with("delete", {"--value", "Depth", "--value", "Missing"})).code);
        EXPECT_EQ(3U, Read(with("list", {})).size()) << "whole or not at all";
        Do(with("delete", {"--value", "Depth"}));
        EXPECT_EQ(2U, Read(with("list", {})).size());
        Words below = with("set", {});
        below[2] += R"(\Below\Further)";
        Do(below);
        EXPECT_EQ(1, Ostra(with("delete", {})).code) << "it has subkeys";
        Do(with("delete", {"--recursive"}));
        EXPECT_EQ(3, Ostra(with("list", {})).code);
    }
}

TEST_F(OstraCommands, ShowsReportsAndTheDebugMask) {
    GivenFiles();
    Do({"group", "online", "Files"});
    const Json events = Read({"events", "--last", "1"});
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ("Cluster group Files was brought online!", events[0]["name"]);
    EXPECT_EQ("information", events[0]["type"]);
    EXPECT_EQ(Json({"ostra", "mod3"}), Read({"debug", "set", "0xA"})["enabled"]);
    Do({"group", "rename", "Files", "Unreal", "--dry-run"});
    Do({"group", "rename", "Files", "Archive"});
    const std::string lines = Content(home.Path() / "log" / "Ostra.log");
    EXPECT_NE(std::string::npos, lines.find("Group::Rename( ). Group renameed!")) << lines;
    EXPECT_EQ(lines.find("Group renameed!"), lines.rfind("Group renameed!")) << "a rehearsal leaves no trace";
    Do({"debug", "set", "0"});
    EXPECT_NE(std::string::npos, Do({"group", "rename", "Archive", "Files", "--trace"}).err.find("Group renameed!"));
}

TEST_F(OstraCommands, HelpsWithoutACluster) {
    const std::pair<Words, const char*> table[] = {
        {{"--version"}, "ostra "},
        {{"group", "create", "--dry-run", "--help"}, "ostra group create Files"},
        {{"help", "exit-codes"}, "6  the cluster or this machine's registry cannot be reached or read\n"},
        {{"completion", "bash"}, "\"ostra group\") echo list show"},
    };
    for (const auto& [arguments, saying] : table) {
        EXPECT_NE(std::string::npos, Do(arguments).out.find(saying)) << saying;
        EXPECT_EQ(Do(arguments).out, Read(arguments)["text"]) << saying;
    }
    EXPECT_FALSE(std::filesystem::exists(home.Path() / "clusters")) << "help leaves nothing behind";
}

}  // namespace
}  // namespace tests
