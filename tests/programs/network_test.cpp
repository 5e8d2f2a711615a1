#include <platform/base/error_codes.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <tests/programs/OstraRun.h>
#include <tests/support/FailingClusterService.h>

#include <gtest/gtest.h>

#include <stdio.h>

#include <set>

namespace tests {
namespace {

using programs::Json;

class OstraNetworks : public OstraProgram {
protected:
    OstraNetworks() { Do({"cluster", "create", "demo"}); }
    ~OstraNetworks() override { platform::ClusterDirectory::Register(L"demo", nullptr); }

    static void GivenPool(const char* start = "10.0.1.11", const char* end = "10.0.1.14") {
        Do({"pool", "create", "Client", start, end});
    }
    static std::string Take() { return Read({"pool", "take", "Client"})["address"]; }
    static Json Pool() { return Read({"pool", "show", "Client"}); }
    static Json Keys() { return Read({"registry", "list", "--cluster-database", "", "--recursive"}); }
    static void GivenResource(const std::string& name, const std::string& address, const std::string& network) {
        Do({"resource", "create", name, "--group", "Files", "--type", "IP Address", "--set",
            "Address=REG_SZ:" + address, "--set", "Network=REG_SZ:" + network});
    }
    static std::shared_ptr<platform::ClusterService> Service() {
        std::shared_ptr<platform::ClusterService> service;
        EXPECT_EQ(0U, platform::ClusterDirectory::Resolve(L"demo", service));
        return service;
    }
};

TEST_F(OstraNetworks, AreShownWithTheirInterfacesEverywhere) {
    const Json networks = Read({"network", "list"});
    ASSERT_EQ(2U, networks.size());
    Json client = networks[0];
    client.erase("id");
    EXPECT_EQ(Json::parse(R"({"name": "Client", "address": "10.0.1.0", "mask": "255.255.255.0", "role": 3, "state": 3,
                              "text": "Network is up."})"),
              client);
    const Json interfaces = Read({"interface", "list"});
    ASSERT_EQ(4U, interfaces.size());
    EXPECT_EQ(Json::parse(R"({"name": "N1 - Client", "node": "N1", "network": "Client", "address": "10.0.1.1",
                              "state": 3, "text": "NetworkInterface is up."})"),
              interfaces[0]);
    EXPECT_EQ("Adapter 1", Read({"interface", "show", "n1 - client"})["properties"]["Adapter"]);
    for (const char* command : {"status", "tree"}) {
        const Json status = Read({command});
        EXPECT_EQ(networks, status["networks"]);
        EXPECT_EQ(interfaces, status["interfaces"]);
        const std::string text = Do({command}).out;
        for (const char* part : {"Client", "10.0.1.0/24", "N2 - Internal", "10.0.2.2"})
            EXPECT_NE(std::string::npos, text.find(part)) << text;
    }
}

TEST_F(OstraNetworks, AreSetAsAWholeOrNotAtAll) {
    const Json set = Read({"network", "set", "client", "Role=REG_DWORD:2", "Description=REG_SZ:first floor"});
    EXPECT_EQ("clients", set["use"]);
    EXPECT_EQ("first floor", set["description"]);
    EXPECT_EQ(Json({"N1 - Client", "N2 - Client"}), set["interfaces"]);
    EXPECT_EQ(1, Ostra({"network", "set", "Client", "Description=REG_SZ:lost", "Role=REG_DWORD:4"}).code);
    EXPECT_EQ(2, Ostra({"network", "set", "Client", "Role=3"}).code);
    EXPECT_EQ(3, Ostra({"network", "set", "Nowhere", "Role=REG_DWORD:3"}).code);
    EXPECT_EQ(set, Read({"network", "show", "Client"}));
}

TEST_F(OstraNetworks, AreNotListedInPartWhenTheClusterCannotBeRead) {
    const std::vector<std::vector<std::string>> commands{{"network", "list"},   {"network", "show", "Client"},
                                                         {"interface", "list"}, {"pool", "list"},
                                                         {"address", "list"},   {"disk", "list"}};
    FailingCluster failing(L"demo");
    failing->Fail(Operation::Enumerate, platform::error::AccessDenied);
    for (const auto& command : commands) {
        const Outcome outcome = Ostra(command);
        EXPECT_EQ(1, outcome.code) << command[0] << outcome.out;
        EXPECT_NE(std::string::npos, outcome.err.find("code 5")) << command[0] << outcome.err;
    }
}

using AnOstraPool = OstraNetworks;

TEST_F(AnOstraPool, LivesFromOneCommandToTheNext) {
    EXPECT_EQ(Json::array(), Read({"pool", "list"}));
    for (const char* command : {"show", "take", "reset", "recycle", "delete"})
        EXPECT_EQ(3, Ostra({"pool", command, "Client"}).code) << command;
    EXPECT_EQ(Json::parse(R"({"network": "Client", "start": "10.0.1.8", "end": "10.0.1.10", "available": 3, "used": 0,
                              "initialized": true})"),
              Read({"pool", "create", "Client", "10.0.1.8", "10.0.1.10"}));
    EXPECT_EQ("10.0.1.8\n", Do({"pool", "take", "Client"}).out);
    EXPECT_EQ(Json({{"network", "Client"}, {"address", "10.0.1.9"}}), Read({"pool", "take", "client"}));
    EXPECT_EQ(Json({"10.0.1.10"}), Pool()["available"]);
    EXPECT_EQ(Json({"10.0.1.8", "10.0.1.9"}), Pool()["used"]);
    EXPECT_EQ(4, Ostra({"pool", "create", "Client", "10.0.1.20", "10.0.1.30"}).code);
    EXPECT_EQ("10.0.1.10", Take());
    const Outcome exhausted = Ostra({"pool", "take", "Client"});
    EXPECT_EQ(1, exhausted.code);
    EXPECT_NE(std::string::npos, exhausted.err.find("exhausted")) << exhausted.err;
    EXPECT_EQ(3, Read({"pool", "reset", "Client"})["available"]);
    EXPECT_EQ("10.0.1.8", Take());
    EXPECT_EQ(11, Read({"pool", "create", "Client", "10.0.1.20", "10.0.1.30", "--force"})["available"]);
    EXPECT_EQ("10.0.1.20", Take());
    EXPECT_EQ(Json::array(), Read({"pool", "delete", "Client"}));
}

TEST_F(AnOstraPool, KeepsWhatTheClusterHoldsFromBeingHandedOut) {
    Do({"group", "create", "Files"});
    Do({"resource", "create", "No address", "--group", "Files", "--type", "IP Address"});
    EXPECT_EQ(Json::array(), Read({"address", "list"}));
    GivenResource("Earlier", "10.0.1.3", "Client");
    GivenPool("10.0.1.1", "10.0.1.6");
    for (const char* address : {"10.0.1.4", "10.0.1.5", "10.0.1.6"}) EXPECT_EQ(address, Take());
    GivenResource("Named", "10.0.1.4", "Client");
    GivenResource("Unnamed", "10.0.1.6", "");
    EXPECT_EQ(Json::parse(R"([{"network": "Client", "address": "10.0.1.5"}])"), Read({"pool", "recycle"}));
    EXPECT_EQ(Json::array(), Read({"pool", "recycle", "Client"}));
    EXPECT_EQ(Json({"10.0.1.5"}), Pool()["available"]);
    Do({"resource", "delete", "Named"});
    EXPECT_EQ(1U, Read({"pool", "recycle", "Client"}).size());
    EXPECT_EQ("10.0.1.4", Take());
    Do({"network", "set", "Internal", "Role=REG_DWORD:3"});
    Do({"pool", "recycle"});
    EXPECT_EQ(1U, Read({"registry", "list", "--cluster-database", R"(Ostra\ExpertWizard\IPStack)"}).size())
        << "a network without a pool got no key";
    Do({"network", "set", "Client", "Role=REG_DWORD:1"});
    for (const char* command : {"take", "recycle"})
        EXPECT_NE(std::string::npos, Ostra({"pool", command, "Client"}).err.find("not for clients")) << command;
}

TEST_F(AnOstraPool, IsNotMadeOfWhatIsNoRangeOfItsNetwork) {
    const std::tuple<std::string, std::string, std::string, int, const char*> table[] = {
        {"Client", "10.0.2.11", "10.0.2.50", 1, "not within 10.0.1.0/24"},
        {"Client", "10.0.1.0", "10.0.1.50", 1, "10.0.1.0 cannot be handed out"},
        {"Client", "10.0.1.11", "10.0.1.255", 1, "10.0.1.255 cannot be handed out"},
        {"Internal", "10.0.2.11", "10.0.2.50", 1, "not for clients"},
        {"Client", "10.0.1.50", "10.0.1.11", 2, "runs backwards"},
        {"Client", "10.0.1.11", "10.1.1.50", 2, "last number only"},
        {"Client", "10.0.1.11", "10.0.1.900", 2, "too large"},
        {"Client", "10.0.1.11", "10.0.1.256", 2, "above 255"},
        {"Client", "10.0.1.a", "10.0.1.50", 2, "\"10.0.1.a\" is no address"},
        {"Client", "10.0.1.011", "10.0.1.50", 2, "no address"},
        {"Client", "10.0.1.-1", "10.0.1.50", 2, "no address"},
        {"Client", "10.0.1.11", "10.0.1.50.1", 2, "no address"},
        {"Client", "10.0.1.11", "10.0.1.50 ", 2, "no address"},
        {"Client", "10.0.1.11", "10.0.1.4294967307", 2, "no address"},
        {"Nowhere", "10.0.1.11", "10.0.1.50", 3, "Known: Client, Internal"},
    };
    const Json before = Keys();
    for (const auto& [network, start, end, code, saying] : table) {
        const Outcome outcome = Ostra({"pool", "create", network, start, end, "--force"});
        EXPECT_EQ(code, outcome.code) << start << " " << end << "\n" << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find(saying)) << start << " " << end << "\n" << outcome.err;
    }
    EXPECT_EQ(before, Keys());
}

TEST_F(AnOstraPool, HandsEachAddressToOneOfManyTakers) {
    GivenPool("10.0.1.11", "10.0.1.34");
    const std::string command = "for i in 1 2 3 4 5 6 7; do '" OSTRA_PROGRAM "' pool take Client 2>/dev/null; done";
    std::vector<FILE*> takers;
    for (int taker = 0; taker < 4; ++taker) takers.push_back(::popen(command.c_str(), "r"));
    std::multiset<std::string> taken;
    for (FILE* taker : takers) {
        ASSERT_NE(nullptr, taker);
        char line[64];
        while (::fgets(line, sizeof line, taker)) taken.insert(line);
        EXPECT_EQ(0, ::pclose(taker) & 0x7F);
    }
    EXPECT_EQ(24U, taken.size()) << "four came too late";
    EXPECT_EQ(24U, std::set<std::string>(taken.begin(), taken.end()).size());
    EXPECT_EQ(24, Read({"pool", "list"})[0]["used"]);
}

/// A cluster that writes no value any more from the `call`-th on, and dies without undoing what was begun.
class DyingCluster final : public platform::ForwardingClusterService {
public:
    DyingCluster(std::shared_ptr<platform::ClusterService> target, int call)
        : ForwardingClusterService(std::move(target)), _left(call) {}
    DWORD Transact(const std::function<DWORD()>& steps) override { return steps(); }
    DWORD SetValue(platform::ClusterKeyId key, const std::wstring& name, DWORD type,
                   std::span<const BYTE> data) override {
        if (--_left <= 0) return platform::error::DiskFull;
        return ForwardingClusterService::SetValue(key, name, type, data);
    }

private:
    int _left;
};

TEST_F(AnOstraPool, IsWholeWhenItLooksInitialised) {
    GivenPool();
    const auto real = Service();
    int call = 1;
    for (; call < 40; ++call) {
        platform::ClusterDirectory::Register(L"demo", std::make_shared<DyingCluster>(real, call));
        const int code = Ostra({"pool", "create", "Client", "10.0.1.21", "10.0.1.22", "--force"}).code;
        platform::ClusterDirectory::Register(L"demo", nullptr);
        if (code == 0) break;
        const Json pool = Pool();
        const bool isWhole = call == 1 && pool["available"].size() == 4;
        EXPECT_EQ(isWhole, pool["initialized"].get<bool>()) << call;
        EXPECT_EQ(isWhole ? 0 : 1, Ostra({"pool", "take", "Client", "--dry-run"}).code) << call;
    }
    EXPECT_GT(call, 5);
    EXPECT_EQ("10.0.1.21", Take());
}

TEST_F(AnOstraPool, LosesNothingAndGivesAwayNothingHeldWhicheverCallFails) {
    Do({"group", "create", "Files"});
    GivenPool("10.0.1.1", "10.0.1.6");
    GivenResource("Taken", Take(), "Client");
    GivenResource("Chosen", "10.0.1.5", "Client");
    ASSERT_EQ("10.0.1.4", Take()) << "two nodes and a resource hold the lower ones";
    const Json before = Pool();
    const auto real = Service();
    const auto meets = [&](const std::vector<std::string>& command, Operation operation, int call) {
        FailingCluster failing(L"demo", real);
        failing->FailCall(operation, call, platform::error::AccessDenied);
        const Outcome outcome = Ostra(command);
        const bool isMet = failing->Calls(operation) >= call;
        failing->Heal();
        const Json after = Pool();
        const std::string what = command[1] + ", call " + std::to_string(call) + " of operation " +
                                 std::to_string(static_cast<int>(operation)) + "\n" + outcome.err;
        EXPECT_TRUE(outcome.code == 0 || before == after) << what << after;
        EXPECT_EQ(6U, after["available"].size() + after["used"].size()) << what;
        EXPECT_TRUE(command[1] == "reset" || after["used"].size() >= 3) << what;
        EXPECT_TRUE(outcome.out.empty() || command[1] != "take" || outcome.out == "10.0.1.6\n") << what << outcome.out;
        return isMet;
    };
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"pool", "take", "Client"}, {"pool", "recycle"}, {"pool", "reset", "Client"}}) {
        for (const Operation operation : {Operation::Enumerate, Operation::EnumerateMembers, Operation::Find,
                                          Operation::Control, Operation::OpenKey, Operation::CreateKey,
                                          Operation::QueryValue, Operation::ValueAt, Operation::SetValue}) {
            bool isMet = true;
            for (int call = 1; isMet; ++call)
                real->Transact([&] {
                    isMet = meets(command, operation, call);
                    return DWORD{platform::error::GeneralFailure};  // undoes it
                });
        }
    }
}

TEST_F(AnOstraPool, IsRehearsedWithoutAWrite) {
    GivenPool();
    Take();
    const Json before = Keys();
    const std::pair<std::vector<std::string>, const char*> table[] = {
        {{"pool", "take", "Client"}, "IP Used"},
        {{"pool", "recycle"}, "Persistence"},
        {{"pool", "reset", "Client"}, "IP Used"},
        {{"pool", "create", "Client", "10.0.1.21", "10.0.1.22", "--force"}, "IP Range"},
        {{"network", "set", "Client", "Role=REG_DWORD:2"}, "network Client / Role"},
    };
    for (auto [arguments, changed] : table) {
        arguments.emplace_back("--dry-run");
        EXPECT_NE(std::string::npos, Read(arguments)["changes"].dump().find(changed)) << arguments[1];
        EXPECT_EQ(before, Keys()) << arguments[1];
    }
}

TEST_F(AnOstraPool, SurvivesValuesThatSomeoneElseDamaged) {
    const std::string tooLong(70'000, '1');
    const std::pair<std::vector<std::string>, int> table[] = {
        // what is damaged, and how a take ends then
        {{"Persistence=REG_BINARY:10.0.1.11"}, 1},  // no line end
        {{"Persistence=REG_BINARY:\n10.0.1.11\n"}, 1},
        {{"Persistence=REG_BINARY:" + tooLong + "\n"}, 1},
        {{"Persistence=REG_DWORD:7", "IP Used=REG_DWORD:7"}, 1},
        {{"IP Range=REG_SZ:a.b.c.5:a.b.c.9", "Persistence=REG_BINARY:a.b.c.6\n"}, 1},
        {{"IP Range=REG_SZ:10.0.1.2147483647:x"}, 1},
        {{"Addresses created=REG_DWORD:4294967295"}, 0},
        {{"Initialized=REG_SZ:yes"}, 1},
    };
    const std::string id = Read({"network", "show", "Client"})["id"];
    for (const auto& [values, code] : table) {
        GivenPool("10.0.1.11", "10.0.1.14");
        std::vector<std::string> damage{"registry", "set", "--cluster-database", R"(Ostra\ExpertWizard\IPStack\)" + id};
        damage.insert(damage.end(), values.begin(), values.end());
        Do(damage);
        Do({"pool", "show", "Client"});
        EXPECT_EQ(code, Ostra({"pool", "take", "Client"}).code) << values[0].substr(0, 60);
        Ostra({"pool", "recycle"});
        Ostra({"pool", "reset", "Client"});
        Do({"pool", "delete", "Client"});
    }
}

}  // namespace
}  // namespace tests
