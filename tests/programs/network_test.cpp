#include <platform/base/error_codes.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <programs/support/Ipv4.h>
#include <tests/programs/OstraRun.h>
#include <tests/support/FailingClusterService.h>

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
    static std::string PoolKey() {
        return R"(Ostra\ExpertWizard\IPStack\)" + Read({"network", "show", "Client"})["id"].get<std::string>();
    }
};

TEST_F(OstraNetworks, ShowsNetworksAndInterfacesEverywhere) {
    const Json networks = Read({"network", "list"});
    ASSERT_EQ(2U, networks.size());
    Json client = networks[0];
    EXPECT_EQ(36U, client["id"].get<std::string>().size());
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
        std::string keys;
        for (const auto& [key, value] : status.items()) keys += key + " ";
        EXPECT_EQ("cluster nodes groups networks interfaces ", keys);
        EXPECT_EQ(networks, status["networks"]);
        EXPECT_EQ(interfaces, status["interfaces"]);
        const std::string text = Do({command}).out;
        for (const char* part : {"Client", "10.0.1.0/24", "N2 - Internal", "10.0.2.2"})
            EXPECT_NE(std::string::npos, text.find(part)) << text;
    }
}

TEST_F(OstraNetworks, AreSetAsAWholeOrNotAtAll) {
    const Json set = Read({"network", "set", "client", "Role=REG_DWORD:2", "Description=REG_SZ:first floor"});
    EXPECT_EQ(2, set["role"]);
    EXPECT_EQ("clients", set["use"]);
    EXPECT_EQ("first floor", set["description"]);
    EXPECT_EQ(Json({"N1 - Client", "N2 - Client"}), set["interfaces"]);
    EXPECT_EQ(1, Ostra({"network", "set", "Client", "Description=REG_SZ:lost", "Role=REG_DWORD:4"}).code);
    EXPECT_EQ(1, Ostra({"network", "set", "Client", "Address=REG_SZ:10.0.9.0"}).code);
    EXPECT_EQ(2, Ostra({"network", "set", "Client", "Role=3"}).code);
    EXPECT_EQ(3, Ostra({"network", "set", "Nowhere", "Role=REG_DWORD:3"}).code);
    EXPECT_EQ(set, Read({"network", "show", "Client"}));
}

using AnOstraPool = OstraNetworks;

TEST_F(AnOstraPool, LivesFromOneCommandToTheNext) {
    EXPECT_EQ(Json::array(), Read({"pool", "list"}));
    EXPECT_EQ(3, Ostra({"pool", "take", "Client"}).code);
    EXPECT_EQ(3, Ostra({"pool", "reset", "Client"}).code);
    EXPECT_EQ(Json::parse(R"({"network": "Client", "start": "10.0.1.8", "end": "10.0.1.11", "available": 4, "used": 0,
                              "initialized": true})"),
              Read({"pool", "create", "Client", "10.0.1.8", "10.0.1.11"}));
    EXPECT_EQ("10.0.1.8\n", Do({"pool", "take", "Client"}).out);
    EXPECT_EQ(Json({{"network", "Client"}, {"address", "10.0.1.9"}}), Read({"pool", "take", "client"}));
    EXPECT_EQ(Json({"10.0.1.10", "10.0.1.11"}), Pool()["available"]);
    EXPECT_EQ(Json({"10.0.1.8", "10.0.1.9"}), Pool()["used"]);
    EXPECT_EQ(4, Ostra({"pool", "create", "Client", "10.0.1.20", "10.0.1.30"}).code);
    EXPECT_EQ(2, Read({"pool", "list"})[0]["used"]);

    EXPECT_EQ("10.0.1.10", Take());
    EXPECT_EQ("10.0.1.11", Take());
    const Json before = Keys();
    const Outcome exhausted = Ostra({"pool", "take", "Client"});
    EXPECT_EQ(1, exhausted.code);
    EXPECT_NE(std::string::npos, exhausted.err.find("exhausted")) << exhausted.err;
    EXPECT_EQ(before, Keys());
    EXPECT_EQ(4, Read({"pool", "reset", "Client"})["available"]);
    EXPECT_EQ("10.0.1.8", Take());
    EXPECT_EQ(11, Read({"pool", "create", "Client", "10.0.1.20", "10.0.1.30", "--force"})["available"]);
    EXPECT_EQ("10.0.1.20", Take());
    EXPECT_EQ(Json::array(), Read({"pool", "delete", "Client"}));
    EXPECT_EQ(3, Ostra({"pool", "show", "Client"}).code);
}

TEST_F(AnOstraPool, KeepsWhatTheClusterHoldsFromBeingHandedOut) {
    Do({"group", "create", "Files"});
    GivenResource("Earlier", "10.0.1.3", "Client");
    GivenPool("10.0.1.1", "10.0.1.6");
    EXPECT_EQ("10.0.1.4", Take()) << "two nodes and a resource hold the lower ones";
    EXPECT_EQ("10.0.1.5", Take());
    EXPECT_EQ("10.0.1.6", Take());
    GivenResource("Named", "10.0.1.4", "Client");
    GivenResource("Unnamed", "10.0.1.6", "");
    EXPECT_EQ(Json::parse(R"([{"network": "Client", "address": "10.0.1.5"}])"), Read({"pool", "recycle"}));
    EXPECT_EQ(Json::array(), Read({"pool", "recycle", "Client"}));
    EXPECT_EQ(Json({"10.0.1.5"}), Pool()["available"]);
    Do({"resource", "delete", "Named"});
    EXPECT_EQ(1U, Read({"pool", "recycle", "Client"}).size());
    EXPECT_EQ("10.0.1.4", Take());
    EXPECT_EQ(3, Ostra({"pool", "recycle", "Internal"}).code);
    Do({"network", "set", "Internal", "Role=REG_DWORD:3"});
    Take();
    Do({"pool", "recycle"});
    EXPECT_EQ(1U, Read({"registry", "list", "--cluster-database", R"(Ostra\ExpertWizard\IPStack)"}).size())
        << "a network without a pool got no key";
}

TEST_F(AnOstraPool, IsNotMadeOfWhatIsNoRangeOfItsNetwork) {
    const struct {
        const char* network;
        const char* start;
        const char* end;
        int code;
        const char* saying;
    } table[] = {
        {"Client", "10.0.2.11", "10.0.2.50", 1, "not within 10.0.1.0/24"},
        {"Client", "10.0.1.0", "10.0.1.50", 1, "10.0.1.0 cannot be handed out"},
        {"Client", "10.0.1.11", "10.0.1.255", 1, "10.0.1.255 cannot be handed out"},
        {"Internal", "10.0.2.11", "10.0.2.50", 1, "not for clients"},
        {"Client", "10.0.1.50", "10.0.1.11", 2, "runs backwards"},
        {"Client", "10.0.1.11", "10.0.2.50", 2, "last number only"},
        {"Client", "10.0.1.11", "10.1.1.50", 2, "last number only"},
        {"Client", "10.0.1.11", "10.0.1.900", 2, "too large"},
        {"Client", "10.0.1.11", "10.0.1.256", 2, "above 255"},
        {"Client", "10.0.256.11", "10.0.256.12", 2, "above 255"},
        {"Client", "10.0.1.a", "10.0.1.50", 2, "\"10.0.1.a\" is no address"},
        {"Client", "10.0.1.011", "10.0.1.50", 2, "no address"},
        {"Client", "10.0.1.-1", "10.0.1.50", 2, "no address"},
        {"Client", "10.0.1", "10.0.1.50", 2, "no address"},
        {"Client", "10.0.1.11", "10.0.1.50.1", 2, "no address"},
        {"Client", "10.0.1.11", "10.0.1.50 ", 2, "no address"},
        {"Client", "10..1.11", "10.0.1.50", 2, "no address"},
        {"Client", "", "10.0.1.50", 2, "no address"},
        {"Client", "10.0.1.11", "10.0.1.4294967307", 2, "no address"},
        {"Nowhere", "10.0.1.11", "10.0.1.50", 3, "Known: Client, Internal"},
    };
    const Json before = Keys();
    for (const auto& row : table) {
        const Outcome outcome = Ostra({"pool", "create", row.network, row.start, row.end, "--force"});
        EXPECT_EQ(row.code, outcome.code) << row.start << " " << row.end << "\n" << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find(row.saying)) << row.start << " " << row.end << "\n"
                                                                   << outcome.err;
        EXPECT_EQ("", outcome.out);
        EXPECT_EQ(before, Keys()) << row.start << " " << row.end;
    }
    EXPECT_EQ("10.0.1.0 255.0.255.0", programs::SubnetText("10.0.1.0", "255.0.255.0"));
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
    EXPECT_EQ(0U, Pool()["available"].size());
    EXPECT_EQ(24U, Pool()["used"].size());
}

/// A cluster that writes no value any more from the `call`-th on, and undoes what was begun or, when it dies, does not.
class DyingCluster final : public platform::ForwardingClusterService {
public:
    DyingCluster(std::shared_ptr<platform::ClusterService> target, int call, bool undoes)
        : ForwardingClusterService(std::move(target)), _left(call), _undoes(undoes) {}
    DWORD Transact(const std::function<DWORD()>& steps) override {
        return _undoes ? ForwardingClusterService::Transact(steps) : steps();
    }
    DWORD SetValue(platform::ClusterKeyId key, const std::wstring& name, DWORD type,
                   std::span<const BYTE> data) override {
        if (--_left <= 0) return platform::error::DiskFull;
        return ForwardingClusterService::SetValue(key, name, type, data);
    }

private:
    int _left;
    bool _undoes;
};

TEST_F(AnOstraPool, IsWholeWhenItLooksInitialised) {
    GivenPool();
    const auto real = Service();
    int call = 1;
    for (; call < 40; ++call) {
        platform::ClusterDirectory::Register(L"demo", std::make_shared<DyingCluster>(real, call, false));
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

TEST_F(AnOstraPool, StaysAsItWasWhenAWriteFails) {
    GivenPool();
    Take();
    const Json before = Keys();
    const std::vector<std::vector<std::string>> commands{
        {"pool", "take", "Client"},
        {"pool", "recycle"},
        {"pool", "reset", "Client"},
        {"pool", "create", "Client", "10.0.1.21", "10.0.1.22", "--force"}};
    for (const std::vector<std::string>& command : commands) {
        for (const int call : {1, 2}) {
            const auto real = Service();
            platform::ClusterDirectory::Register(L"demo", std::make_shared<DyingCluster>(real, call, true));
            EXPECT_EQ(1, Ostra(command).code) << command[1] << call;
            const auto busy = std::make_shared<FailingClusterService>(real);
            busy->Fail(Operation::Transact, platform::error::Timeout);
            platform::ClusterDirectory::Register(L"demo", busy);
            EXPECT_NE(std::string::npos, Ostra(command).err.find("code 1460")) << command[1];
            platform::ClusterDirectory::Register(L"demo", nullptr);
            EXPECT_EQ(before, Keys()) << command[1] << call;
        }
    }
}

TEST_F(AnOstraPool, TakesNothingBackWhileTheAddressesInUseCannotBeRead) {
    GivenPool();
    Do({"group", "create", "Files"});
    GivenResource("Address", Take(), "Client");
    int refusals = 0;
    for (int call = 1; call <= 40; ++call) {
        {
            FailingCluster failing(L"demo");
            failing->FailCall(Operation::Control, call, platform::error::AccessDenied);
            if (Ostra({"pool", "recycle"}).code != 0) ++refusals;
        }
        ASSERT_EQ(1U, Pool()["used"].size()) << "after failure " << call;
    }
    EXPECT_LT(0, refusals) << "none of the failures met the scan";
}

TEST_F(AnOstraPool, IsRehearsedWithoutAWrite) {
    GivenPool();
    Take();
    const Json before = Keys();
    const std::pair<std::vector<std::string>, const char*> table[] = {
        {{"pool", "take", "Client"}, "IP Used"},
        {{"pool", "recycle"}, "Persistence"},
        {{"pool", "reset", "Client"}, "IP Used"},
        {{"pool", "delete", "Client"}, "Addresses created"},
        {{"pool", "create", "Client", "10.0.1.21", "10.0.1.22", "--force"}, "IP Range"},
        {{"network", "set", "Client", "Role=REG_DWORD:2"}, "network Client / Role"},
    };
    for (const auto& [arguments, changed] : table) {
        std::vector<std::string> rehearsal = arguments;
        rehearsal.emplace_back("--dry-run");
        EXPECT_NE(std::string::npos, Read(rehearsal)["changes"].dump().find(changed)) << arguments[1];
        EXPECT_EQ(before, Keys()) << arguments[1];
    }
    EXPECT_EQ(3, Read({"network", "show", "Client"})["role"]);
}

TEST_F(AnOstraPool, SurvivesValuesThatSomeoneElseDamaged) {
    const std::string tooLong(70'000, '1');
    const struct {
        std::vector<std::string> values;
        int code;  // of a take
    } table[] = {
        {{"Persistence=REG_BINARY:10.0.1.11"}, 1},  // no line end
        {{"Persistence=REG_BINARY:\n10.0.1.11\n"}, 1},
        {{"Persistence=REG_BINARY:" + tooLong + "\n"}, 1},
        {{"Persistence=REG_DWORD:7", "IP Used=REG_DWORD:7"}, 1},
        {{"IP Range=REG_SZ:no range"}, 1},
        {{"IP Range=REG_SZ:a.b.c.5:a.b.c.9", "Persistence=REG_BINARY:a.b.c.6\n"}, 1},
        {{"IP Range=REG_SZ:10.0.1.2147483647:x"}, 1},
        {{"Addresses created=REG_DWORD:4294967295"}, 0},
        {{"Initialized=REG_SZ:yes"}, 1},
    };
    for (const auto& row : table) {
        Do({"pool", "create", "Client", "10.0.1.11", "10.0.1.14", "--force"});
        std::vector<std::string> damage{"registry", "set", "--cluster-database", PoolKey()};
        damage.insert(damage.end(), row.values.begin(), row.values.end());
        Do(damage);
        Do({"pool", "show", "Client"});
        EXPECT_EQ(row.code, Ostra({"pool", "take", "Client"}).code) << row.values[0].substr(0, 60);
        Ostra({"pool", "recycle"});
        Ostra({"pool", "reset", "Client"});
    }
    EXPECT_EQ(0, Ostra({"pool", "delete", "Client"}).code);
}

}  // namespace
}  // namespace tests
