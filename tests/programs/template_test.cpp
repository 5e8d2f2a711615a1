#include <platform/base/error_codes.h>
#include <tests/programs/OstraRun.h>
#include <tests/support/FailingClusterService.h>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <tuple>

namespace tests {
namespace {

using programs::Json;

class OstraTemplates : public OstraProgram {
protected:
    static Json Registry() { return Read({"registry", "list", R"(HKEY_LOCAL_MACHINE\SOFTWARE)", "--recursive"}); }
    static Json Export(const std::string& name) { return Do({"template", "export", name}).Json(); }
    static Outcome Import(const Json& document, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"template", "import", "-"});
        return Ostra(more, document.dump());
    }
    static void Refuses(const std::vector<std::string>& arguments, int code, const std::string& saying) {
        const Outcome outcome = Ostra(arguments);
        EXPECT_EQ(code, outcome.code) << saying << "\n" << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find(saying)) << saying << "\n" << outcome.err;
    }
    static Json Own() {
        return Json::parse(R"({"name": "Ledger", "kinds": ["Physical Disk", "IP Address", "Generic Service"],
            "controls": [{"prompt": "Service:", "owner": "Generic Service", "parameter": "ServiceName", "format": "REG_SZ"},
                         {"prompt": "Disk:", "owner": "Physical Disk", "parameter": "Signature", "format": "REG_DWORD"},
                         {"prompt": "Address:", "owner": "IP Address", "parameter": "Address", "format": "REG_SZ"}]})");
    }
};

TEST_F(OstraTemplates, AreWrittenWithAFirstClusterAndGoOutAndComeBack) {
    Refuses({"template", "show", "File Share"}, 3, "ostra setup");
    Do({"setup", "--dry-run"});
    EXPECT_EQ(0U, Read({"cluster", "list"}).size() + Read({"template", "list"}).size());
    const Json first = Read({"setup"});
    EXPECT_EQ(Json({"File Share", "IIS Virtual Root", "Marlin", "Print Spooler"}), first["templates"]);
    EXPECT_EQ(Json({"main"}), first["clusters"]);
    EXPECT_EQ(true, first["clusterCreated"]);
    const std::string groups = R"(HKEY_LOCAL_MACHINE\SOFTWARE\Norvane\Ostra\ExpertWizard\Groups)";
    Do({"registry", "set", groups + R"(\Begun\GUI\1)", "Prompt=REG_SZ:Service:"});
    const Json registry = Registry();
    const Json second = Read({"setup", "--cluster", "other"});
    EXPECT_EQ(0, second["registryEntriesWritten"]) << "what somebody has begun is none of its business";
    EXPECT_EQ(Json({"main"}), second["clusters"]);

    Do({"registry", "set", groups + R"(\Marlin\GUI\1)", "Prompt=REG_SZ:Changed"});
    EXPECT_EQ(1, Read({"setup"})["registryEntriesWritten"]);
    EXPECT_EQ(registry, Registry());

    const Json spooler = Export("Print Spooler");
    EXPECT_EQ(4, Import(spooler).code);
    Do({"template", "delete", "print spooler"});
    EXPECT_EQ(4U, Read({"template", "list"}).size());
    EXPECT_EQ(0, Import(spooler).code);
    EXPECT_EQ(registry, Registry()) << "it came back as it was";
}

TEST_F(OstraTemplates, AreWrittenBesideAClusterThatGetsTheNodesItLacks) {
    std::shared_ptr<platform::ClusterService> bare;
    ASSERT_EQ(0U, platform::ClusterDirectory::Create(L"main", L"embedded", bare));
    bare.reset();
    Do({"setup", "--dry-run"});
    EXPECT_EQ(0U, Read({"node", "list"}).size());
    EXPECT_EQ(true, Read({"setup"})["emptyClusterFilled"]);
    EXPECT_EQ(2U, Read({"node", "list"}).size());
    EXPECT_EQ(4U, Read({"interface", "list"}).size());
    EXPECT_EQ(false, Read({"setup"})["emptyClusterFilled"]);
}

TEST_F(OstraTemplates, MayBeWrittenByTwoAtOnce) {
    const std::string setup = "'" OSTRA_PROGRAM "' setup >/dev/null";
    EXPECT_EQ(0, std::system((setup + " & " + setup + " && wait $!").c_str()));
    EXPECT_EQ(1U, Read({"cluster", "list"}).size());
    EXPECT_EQ(4U, Read({"template", "list"}).size());
}

TEST_F(OstraTemplates, AreReplacedWhollyOrNotAtAll) {
    Json many = Own();
    for (char prompt = 'a'; prompt <= 'm'; ++prompt)
        many["controls"].push_back({{"prompt", std::string(1, prompt)},
                                    {"owner", "Generic Service"},
                                    {"parameter", std::string(2, prompt)},
                                    {"format", "REG_SZ"}});
    EXPECT_EQ(0, Import(Own()).code);
    EXPECT_EQ(0, Import(many, {"--force", "--dry-run"}).code);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    rlimit room = before;
    room.rlim_cur = std::filesystem::file_size(home.Path() / "registry.db-wal");
    for (int code = -1; code != 0; room.rlim_cur += 16'384) {
        EXPECT_EQ(Own(), Export("Ledger"));
        ::setrlimit(RLIMIT_FSIZE, &room);  // a disk that is full at some point of the work
        code = Import(many, {"--force"}).code;
        ::setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_NE(code == 0, code == 1);
    }
    EXPECT_EQ(many, Export("Ledger")) << "more than nine controls keep their order";
}

TEST_F(OstraTemplates, AreRefusedWithAllFaultsBeforeAnythingIsWritten) {
    Do({"setup"});
    const Json registry = Registry();
    Json bad = Own();
    bad["name"] = "A(1) ";
    bad["kinds"] = {"IP Address", "Network Name", "Physical Disk", "IP Address", "generic service", 7};
    bad["controls"][0]["parameter"] = "a=b";
    bad["controls"][1]["format"] = "REG_BINARY";
    bad["controls"][2]["prompt"] = "disk";
    bad["controls"][2]["colour"] = "red";
    bad["controls"].push_back("nothing");
    bad["controls"].push_back({{"prompt", "\u0085"}, {"owner", "IP Address"}, {"parameter", "address"}});
    bad["extra"] = 1;
    const Outcome outcome = Import(bad);
    EXPECT_EQ(1, outcome.code);
    for (const char* fault :
         {"parenthesis", "ends with a blank", "\"IP Address\" comes twice", "\"generic service\" is no kind",
          "7 is no kind", "\"Physical Disk\" has to come first", "\"Network Name\" depends on \"IP Address\"",
          "control 1: the parameter", "the owner \"Generic Service\" is none of the template's kinds",
          "\"REG_BINARY\" is neither", "control 3: the prompt \"disk\" comes twice", "unknown member \"colour\"",
          "control 4 is no object", "has control characters", "\"address\" of \"IP Address\" comes twice",
          "unknown member \"extra\"", "Nothing was written"})
        EXPECT_NE(std::string::npos, outcome.err.find(fault)) << fault << "\n" << outcome.err;
    EXPECT_EQ(1, Import(Json::array()).code);
    EXPECT_EQ(1, Import(Json::object()).code);
    EXPECT_EQ(1, Ostra({"template", "import", "-"}, "{\"name\": ").code);
    Refuses({"template", "import", (home.Path() / "nothing.json").string()}, 3, "no file");
    EXPECT_EQ(registry, Registry());
}

class AGroupFromATemplate : public OstraTemplates {
protected:
    AGroupFromATemplate() {
        Do({"cluster", "create", "demo", "--disk", "E:=9A3F0001", "--disk", "F:=1A2B3C02", "--disk", "G:=1A2B3C03"});
        Do({"setup"});
        Do({"pool", "create", "Client", "10.0.1.11", "10.0.1.14"});
    }
    ~AGroupFromATemplate() override { platform::ClusterDirectory::Register(L"demo", nullptr); }

    static std::string Name(const std::string& kind, const std::string& group, const std::string& from) {
        return kind + " for " + group + " of " + from + "(1)";
    }
    static Json Parameters(const std::string& resource) { return Read({"resource", "show", resource})["parameters"]; }
    static Json Used() { return Read({"pool", "show", "Client"})["used"]; }
    static std::shared_ptr<FailingClusterService> GivenFailures() {
        std::shared_ptr<platform::ClusterService> service;
        EXPECT_EQ(0U, platform::ClusterDirectory::Resolve(L"demo", service));
        auto failing = std::make_shared<FailingClusterService>(service);
        platform::ClusterDirectory::Register(L"demo", failing);
        return failing;
    }
    static std::vector<std::string> Creating(const std::string& name, std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"group", "create", name, "--template", "File Share"});
        return more;
    }
};

TEST_F(AGroupFromATemplate, HasEveryResourceWithItsParameters) {
    const Json made = Read(Creating("Sales", {"--set", "path=E:\\sales", "--set", "Network Name:=SALES"}));
    const auto name = [](const char* kind) { return Name(kind, "Sales", "File Share"); };
    EXPECT_EQ("E:", made["disk"]);
    EXPECT_EQ("10.0.1.11", made["address"]);
    EXPECT_EQ(Json({name("Physical Disk"), name("IP Address"), name("Network Name"), name("File Share")}),
              made["resources"]);
    EXPECT_EQ(Json({{"Signature", "-1707147263"}}), Parameters(name("Physical Disk")));
    EXPECT_EQ(Json({{"Address", "10.0.1.11"}, {"Network", "Client"}, {"SubnetMask", "255.255.255.0"}}),
              Parameters(name("IP Address")));
    const Json share = Parameters(name("File Share"));
    EXPECT_EQ("FileShare1E", share["ShareName"]) << "the default, from the disk with the top bit set";
    EXPECT_EQ("E:\\sales", share["Path"]);

    Do({"group", "create", "Queue", "--template", "print spooler", "--disk", "g", "--address", "10.0.1.13", "--set",
        "Spool Foler=G:\\spool", "--set", "JobCompletionTimeout=90"});
    EXPECT_EQ(Json({{"DefaultSpoolDirectory", "G:\\spool"}, {"JobCompletionTimeout", "90"}}),
              Parameters(Name("Print Spooler", "Queue", "Print Spooler")));
    EXPECT_EQ(Json({"10.0.1.11", "10.0.1.13"}), Used());
    Do({"group", "create", "Web", "--template", "IIS Virtual Root", "--address", "10.0.1.77"});
    EXPECT_EQ(2U, Used().size()) << "an address from elsewhere is not the pool's";
    EXPECT_EQ("SALES", Parameters(name("Network Name"))["Name"]);
    EXPECT_EQ("Queue", Parameters(Name("Network Name", "Queue", "Print Spooler"))["Name"]) << "the group's";
}

TEST_F(AGroupFromATemplate, ServesTemplatesOfOnesOwnAndAnswersFromATerminal) {
    EXPECT_EQ(0, Import(Own()).code);
    const Outcome made = Ostra({"group", "create", "Books", "--template", "Ledger"}, "W3Ledger\nF:\n\n");
    EXPECT_EQ(0, made.code) << made.err;
    EXPECT_NE(std::string::npos, made.err.find("Address [the next of the network's pool]: "));
    EXPECT_EQ("W3Ledger", Parameters(Name("Generic Service", "Books", "Ledger"))["ServiceName"]);
    EXPECT_EQ("439041026", Parameters(Name("Physical Disk", "Books", "Ledger"))["Signature"]);
    EXPECT_EQ("10.0.1.11", Parameters(Name("IP Address", "Books", "Ledger"))["Address"]);
    const Outcome asked = Ostra(Creating("Sales"), "sales\n");
    EXPECT_EQ(0, asked.code) << "the input's end takes every default\n" << asked.err;
    EXPECT_EQ("sales", Parameters(Name("File Share", "Sales", "File Share"))["ShareName"]);
    const Outcome late = Ostra(Creating("sales"), "other\n");
    EXPECT_EQ(4, late.code);
    EXPECT_EQ(std::string::npos, late.err.find("Share Name")) << "there is no use in asking";
}

TEST_F(AGroupFromATemplate, IsRefusedWholeWhenItCannotBeMeant) {
    Do(Creating("Sales"));
    const std::vector<std::tuple<std::vector<std::string>, int, const char*>> rows{
        {{"--set", "Share Name"}, 2, "PROMPT=VALUE"},
        {{"--set", "Colour=red"}, 2, "\"Share Name:\" (ShareName), \"Path:\" (Path)"},
        {{"--set", "Path=a", "--set", "path:=b"}, 2, "answered twice"},
        {{"--set", "Disk Drive=F:", "--disk", "F:"}, 2, "both answer"},
        {{"--disk", "E:"}, 1, "Available: F:, G:"},
        {{"--network", "Nowhere"}, 3, "no network named"},
        {{"--network", "Internal"}, 1, "not for clients"},
        {{"--address", "10.0.1.11"}, 1, "in use"},
        {{"--address", "10.0.2.9"}, 1, "No network for clients has"},
        {{"--address", "10.0.2.9", "--network", "client"}, 1, "none of network Client, 10.0.1.0/24"},
        {{"--address", "10.0.1"}, 2, "no address"},
        {{"--owner", "N1"}, 2, "--owner"}};
    for (const auto& [more, code, saying] : rows) Refuses(Creating("New", more), code, saying);
    Refuses(Creating("sales"), 4, "already");
    Refuses({"group", "create", "New", "--template", "Marlin"}, 1, "names no resources");
    Refuses({"group", "create", "New", "--template", "Nothing"}, 3, "Known: File Share");
    Refuses({"group", "create", "New", "--template", ""}, 2, "Name a template");
    Refuses({"group", "create", "New", "--disk", "F:"}, 2, "--template");
    Refuses({"group", "create", "New", "--template", "Print Spooler", "--set", "JobCompletionTimeout=x"}, 2,
            "no number");
    Do({"pool", "delete", "Client"});
    Refuses(Creating("New"), 3, "ostra pool create \"Client\"");
    EXPECT_EQ(4U, Read({"resource", "list"}).size() * Read({"group", "list"}).size());
}

TEST_F(AGroupFromATemplate, IsNotCalledWholeWhenTheClusterKeptLess) {
    const auto failing = GivenFailures();
    const std::vector<std::tuple<Operation, DWORD, const char*>> rows{
        {Operation::CreateGroup, platform::error::AccessDenied, "code 5"},
        {Operation::CreateResource, platform::error::DiskFull, "code 112"},
        {Operation::SetValue, platform::error::DiskFull, "was not saved"},
        {Operation::AddDependency, platform::error::DiskFull, "does not depend on"},
        {Operation::OnlineGroup, platform::error::ResourceNotAvailable, "does not come online"}};
    for (const auto& [operation, code, saying] : rows) {
        failing->Fail(operation, code);
        Refuses(Creating("Sales", {"--rollback"}), 1, saying);
        failing->Heal();
        EXPECT_EQ(0U, Read({"group", "list"}).size() + Used().size()) << saying;
    }
    failing->FailCall(Operation::CreateResource, 3, platform::error::DiskFull);
    Refuses(Creating("Half"), 1,
            Name("Physical Disk", "Half", "File Share") + ", " + Name("IP Address", "Half", "File Share") +
                ". The address 10.0.1.11 is still in its pool");
    failing->Heal();
    EXPECT_EQ(2U, Read({"resource", "list", "--group", "Half"}).size());

    failing->Fail(Operation::OnlineGroup, platform::error::IoPending);
    EXPECT_EQ(5, Ostra(Creating("Sales", {"--rollback", "--wait", "3"})).code);
    EXPECT_EQ(1U, Used().size()) << "a group on its way is made";
}

TEST_F(AGroupFromATemplate, IsChangedWithWhatItHasKept) {
    Do(Creating("Sales", {"--set", "Share Name=sales"}));
    const auto name = [](const char* kind) { return Name(kind, "Sales", "File Share"); };
    const auto changing = [](const std::string& shareName, std::vector<std::string> more) {
        more.insert(more.begin(),
                    {"group", "change", "sales", "--template", "File Share", "--set", "Share Name=" + shareName});
        return more;
    };
    EXPECT_EQ(4U, Read(changing("orders", {"--address", "10.0.1.14", "--dry-run"}))["changes"].size());
    EXPECT_EQ("sales", Parameters(name("File Share"))["ShareName"]);
    Do(changing("orders", {"--address", "10.0.1.14"}));
    EXPECT_EQ("orders", Parameters(name("File Share"))["ShareName"]);
    EXPECT_EQ("10.0.1.14", Parameters(name("IP Address"))["Address"]);
    EXPECT_EQ(Json({"10.0.1.11", "10.0.1.14"}), Used());

    Do({"group", "create", "Old"});
    Do({"resource", "create", "Disk G:", "--group", "Old", "--type", "Physical Disk", "--set",
        "Signature=REG_DWORD:439041027"});
    const Json made = Read({"group", "change", "Old", "--template", "Print Spooler"});
    EXPECT_EQ("Group on line.", made["text"]);
    EXPECT_EQ(Json({"Disk G:", Name("Network Name", "Old", "Print Spooler")}),
              Read({"resource", "show", Name("Print Spooler", "Old", "Print Spooler")})["dependsOn"]);

    const auto failing = GivenFailures();
    failing->FailCall(Operation::Control, 9, platform::error::DiskFull);  // after two questions to each resource
    Refuses(changing("other", {}), 1, "nothing of it");
    failing->Heal();
    Refuses(changing("other", {"--disk", "Z:"}), 1, "Z:");
    EXPECT_EQ("orders", Parameters(name("File Share"))["ShareName"]);
}

TEST_F(AGroupFromATemplate, SharesNeitherDiskNorAddressWithOneMadeAtTheSameTime) {
    const std::string make =
        "'" OSTRA_PROGRAM "' group create $group --template 'File Share' >/dev/null 2>&1 </dev/null";
    EXPECT_EQ(0, std::system(("for group in A B C D; do " + make + " & done; wait").c_str()));
    EXPECT_EQ(3U, Read({"group", "list"}).size()) << "one came too late";
    EXPECT_EQ(12U, Read({"resource", "list"}).size());
    for (const Json& disk : Read({"disk", "list"})) EXPECT_EQ("used", disk["use"]) << disk;
    EXPECT_EQ(Json({"10.0.1.11", "10.0.1.12", "10.0.1.13"}), Used());
}

}  // namespace
}  // namespace tests
