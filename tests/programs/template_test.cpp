#include <platform/base/error_codes.h>
#include <tests/programs/OstraRun.h>
#include <tests/support/FailingClusterService.h>

#include <stdio.h>

#include <fstream>
#include <set>

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
    static Json Own() {
        return Json::parse(R"({"name": "Ledger", "kinds": ["Physical Disk", "IP Address", "Generic Service"],
            "controls": [{"prompt": "Service:", "owner": "Generic Service", "parameter": "ServiceName", "format": "REG_SZ"},
                         {"prompt": "Disk:", "owner": "Physical Disk", "parameter": "Signature", "format": "REG_DWORD"},
                         {"prompt": "Address:", "owner": "IP Address", "parameter": "Address", "format": "REG_SZ"}]})");
    }
};

TEST_F(OstraTemplates, AreWrittenOnceWithAFirstCluster) {
    EXPECT_EQ(3, Ostra({"template", "show", "File Share"}).code);
    Do({"setup", "--dry-run"});
    EXPECT_EQ(0U, Read({"cluster", "list"}).size() + Read({"template", "list"}).size());
    const Json first = Read({"setup"});
    EXPECT_EQ(Json({"File Share", "IIS Virtual Root", "Marlin", "Print Spooler"}), first["templates"]);
    EXPECT_EQ(Json({"main"}), first["clusters"]);
    EXPECT_EQ(true, first["clusterCreated"]);
    const Json registry = Registry();
    const Json second = Read({"setup", "--cluster", "other"});
    EXPECT_EQ(0, second["registryEntriesWritten"]);
    EXPECT_EQ(Json({"main"}), second["clusters"]);
    EXPECT_EQ(registry, Registry());

    Do({"registry", "set", R"(HKEY_LOCAL_MACHINE\SOFTWARE\Norvane\Ostra\ExpertWizard\Groups\Marlin\GUI\1)",
        "Prompt=REG_SZ:Changed"});
    Do({"template", "delete", "print spooler"});
    EXPECT_EQ(3U, Read({"template", "list"}).size());
    EXPECT_LT(1, Read({"setup"})["registryEntriesWritten"]);
    EXPECT_EQ(registry, Registry());
}

TEST_F(OstraTemplates, GoOutAndComeBackAsTheyWere) {
    Do({"setup"});
    for (const char* name : {"File Share", "IIS Virtual Root", "Print Spooler"}) {
        const Json document = Export(name);
        EXPECT_EQ(document, Read({"template", "show", name}));
        EXPECT_EQ(4, Import(document).code);
        Do({"template", "delete", name});
        EXPECT_EQ(0, Import(document).code);
        EXPECT_EQ(document, Export(name));
    }
    Json many = Own();
    for (char prompt = 'a'; prompt <= 'm'; ++prompt)
        many["controls"].push_back({{"prompt", std::string(1, prompt)},
                                    {"owner", "Generic Service"},
                                    {"parameter", std::string(2, prompt)},
                                    {"format", "REG_SZ"}});
    EXPECT_EQ(0, Import(many).code);
    EXPECT_EQ(many, Export("Ledger")) << "more than nine controls keep their order";
    EXPECT_EQ(0, Import(Own(), {"--force", "--dry-run"}).code);
    EXPECT_EQ(many, Export("Ledger"));
    EXPECT_EQ(0, Import(Own(), {"--force"}).code);
    EXPECT_EQ(Own(), Export("Ledger"));
}

TEST_F(OstraTemplates, AreRefusedWithAllFaultsBeforeAnythingIsWritten) {
    Do({"setup"});
    const Json registry = Registry();
    const auto refuses = [&](const Json& document, const std::vector<std::string>& faults) {
        const Outcome outcome = Import(document);
        EXPECT_EQ(1, outcome.code) << document;
        for (const std::string& fault : faults)
            EXPECT_NE(std::string::npos, outcome.err.find(fault)) << fault << "\n" << outcome.err;
    };
    Json bad = Own();
    bad["name"] = "A(1)";
    bad["kinds"] = {"IP Address", "Network Name", "Physical Disk", "IP Address", "generic service", 7};
    bad["controls"][0]["parameter"] = "a=b";
    bad["controls"][1]["format"] = "REG_BINARY";
    bad["controls"][2]["prompt"] = "disk";
    bad["controls"][2]["colour"] = "red";
    bad["controls"].push_back("nothing");
    bad["extra"] = 1;
    refuses(bad,
            {"parenthesis", "\"IP Address\" comes twice", "\"generic service\" is no kind", "7 is no kind",
             "\"Physical Disk\" has to come first", "\"Network Name\" depends on \"IP Address\"",
             "control 1: the parameter", "the owner \"Generic Service\" is none of the template's kinds",
             "\"REG_BINARY\" is neither", "control 3: the prompt \"disk\" comes twice", "unknown member \"colour\"",
             "control 4 is no object", "unknown member \"extra\"", "Nothing was written"});
    refuses(Json::array(), {"is no object"});
    refuses(Json::object(), {"no text \"name\"", "\"kinds\" is no list", "\"controls\" is no list"});
    EXPECT_EQ(1, Ostra({"template", "import", "-"}, "{\"name\": ").code);
    EXPECT_EQ(3, Ostra({"template", "import", (home.Path() / "nothing.json").string()}).code);
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
    static Json Available() { return Read({"pool", "show", "Client"})["available"]; }
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

TEST_F(AGroupFromATemplate, HasEveryResourceWithItsParametersAndDependencies) {
    const Json made = Read(Creating("Sales", {"--set", "path=E:\\sales", "--set", "Network Name:=SALES"}));
    const auto name = [](const char* kind) { return Name(kind, "Sales", "File Share"); };
    EXPECT_EQ("Group on line.", made["text"]);
    EXPECT_EQ("E:", made["disk"]);
    EXPECT_EQ("10.0.1.11", made["address"]);
    EXPECT_EQ(Json({name("Physical Disk"), name("IP Address"), name("Network Name"), name("File Share")}),
              made["resources"]);
    EXPECT_EQ(Json({{"Signature", "-1707147263"}}), Parameters(name("Physical Disk")));
    EXPECT_EQ(Json({{"Address", "10.0.1.11"}, {"Network", "Client"}, {"SubnetMask", "255.255.255.0"}}),
              Parameters(name("IP Address")));
    const Json share = Read({"resource", "show", name("File Share")});
    EXPECT_EQ("FileShare1E", share["parameters"]["ShareName"]) << "the default, from the disk with the top bit set";
    EXPECT_EQ("E:\\sales", share["parameters"]["Path"]);
    EXPECT_EQ(Json({name("Physical Disk"), name("Network Name")}), share["dependsOn"]);
    EXPECT_EQ(Json::array({name("IP Address")}), Read({"resource", "show", name("Network Name")})["dependsOn"]);

    Do({"group", "create", "Queue", "--template", "print spooler", "--disk", "g", "--address", "10.0.1.13", "--set",
        "Spool Foler=G:\\spool", "--set", "JobCompletionTimeout=90"});
    EXPECT_EQ(Json({{"DefaultSpoolDirectory", "G:\\spool"}, {"JobCompletionTimeout", "90"}}),
              Parameters(Name("Print Spooler", "Queue", "Print Spooler")));
    EXPECT_EQ(Json({"10.0.1.11", "10.0.1.13"}), Used());
    EXPECT_EQ(Json({"10.0.1.12", "10.0.1.14"}), Available());

    Do({"group", "create", "Web", "--template", "IIS Virtual Root", "--set", "Directory=F:\\www", "--address",
        "10.0.1.77"});
    EXPECT_EQ("F:\\www", Parameters(Name("IIS Virtual Root", "Web", "IIS Virtual Root"))["Directory"]);
    EXPECT_EQ("F:\\www", Parameters(Name("File Share", "Web", "IIS Virtual Root"))["Path"]);
    EXPECT_EQ(2U, Used().size()) << "an address from elsewhere is not the pool's";
    std::set<std::string> addresses;
    for (const Json& row : Read({"address", "list"})) addresses.insert(row["address"]);
    EXPECT_EQ((std::set<std::string>{"10.0.1.11", "10.0.1.13", "10.0.1.77"}), addresses);
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
}

TEST_F(AGroupFromATemplate, IsRefusedWholeWhenItCannotBeMeant) {
    Do(Creating("Sales"));
    const struct {
        std::vector<std::string> more;
        int code;
        const char* saying;
    } table[] = {{{"--set", "Share Name"}, 2, "PROMPT=VALUE"},
                 {{"--set", "Colour=red"}, 2, "\"Share Name:\" (ShareName), \"Path:\" (Path)"},
                 {{"--set", "Path=a", "--set", "path:=b"}, 2, "answered twice"},
                 {{"--set", "Disk Drive=F:", "--disk", "F:"}, 2, "both answer"},
                 {{"--disk", "E:"}, 1, "Available: F:, G:"},
                 {{"--network", "Nowhere"}, 3, "no network named"},
                 {{"--network", "Internal"}, 1, "not for clients"},
                 {{"--address", "10.0.1.11"}, 1, "in use"},
                 {{"--address", "10.0.1.2"}, 1, "in use"},
                 {{"--address", "10.0.2.9"}, 1, "No network for clients has"},
                 {{"--address", "10.0.2.9", "--network", "client"}, 1, "none of network Client, 10.0.1.0/24"},
                 {{"--address", "10.0.1"}, 2, "no address"},
                 {{"--owner", "N1"}, 2, "--owner"}};
    const auto before = Read({"registry", "list", "--cluster-database", "", "--recursive"});
    for (const auto& row : table) {
        const Outcome outcome = Ostra(Creating("New", row.more));
        EXPECT_EQ(row.code, outcome.code) << row.saying << "\n" << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find(row.saying)) << row.saying << "\n" << outcome.err;
    }
    EXPECT_EQ(4, Ostra(Creating("sales")).code);
    EXPECT_EQ(1, Ostra({"group", "create", "New", "--template", "Marlin"}).code) << "it names no resources";
    EXPECT_EQ(3, Ostra({"group", "create", "New", "--template", "Nothing"}).code);
    EXPECT_EQ(2, Ostra({"group", "create", "New", "--disk", "F:"}).code) << "a template says what that is for";
    EXPECT_EQ(
        2,
        Ostra({"group", "create", "New", "--template", "Print Spooler", "--set", "Job Completion Timeout=soon"}).code);
    Do({"pool", "delete", "Client"});
    EXPECT_NE(std::string::npos, Ostra(Creating("New")).err.find("ostra pool create \"Client\""));
    Do({"pool", "create", "Client", "10.0.1.11", "10.0.1.11"});
    EXPECT_NE(std::string::npos, Ostra(Creating("New")).err.find("exhausted"));
    EXPECT_EQ(1U, Read({"group", "list"}).size());
    EXPECT_EQ(4U, Read({"resource", "list"}).size());
    EXPECT_FALSE(before.empty());
}

TEST_F(AGroupFromATemplate, ThatFailsHalfWayTellsWhatIsThereAndKeepsItsAddressFree) {
    const auto failing = GivenFailures();
    for (int made = 0; made < 4; ++made) {
        const std::string group = "G" + std::to_string(made);
        const auto fail = [&] {
            failing->Heal();
            failing->FailCall(Operation::CreateResource, made + 1, platform::error::DiskFull);
        };
        fail();
        const Outcome undone = Ostra(Creating(group, {"--rollback", "--address", "10.0.1.11"}));
        EXPECT_EQ(1, undone.code);
        EXPECT_NE(std::string::npos, undone.err.find("taken back")) << undone.err;
        EXPECT_EQ(static_cast<std::size_t>(made), Read({"group", "list"}).size());
        fail();
        const Outcome outcome = Ostra(Creating(group, {"--address", "10.0.1.1" + std::to_string(made + 1)}));
        failing->Heal();
        EXPECT_EQ(1, outcome.code);
        EXPECT_NE(std::string::npos, outcome.err.find("code 112")) << outcome.err;
        EXPECT_NE(std::string::npos, outcome.err.find("is still in its pool")) << outcome.err;
        const Json resources = Read({"resource", "list", "--group", group});
        EXPECT_EQ(static_cast<std::size_t>(made), resources.size());
        for (const Json& resource : resources)
            EXPECT_NE(std::string::npos, outcome.err.find(resource["name"].get<std::string>()));
        EXPECT_EQ(4U, Available().size());
        for (const char* kind : {"File Share", "Network Name", "IP Address", "Physical Disk"})
            Ostra({"resource", "delete", Name(kind, group, "File Share")});
    }
}

TEST_F(AGroupFromATemplate, IsNotCalledWholeWhenTheClusterKeptLess) {
    const auto failing = GivenFailures();
    const struct {
        Operation operation;
        DWORD code;
        int exitCode;
        const char* saying;
    } table[] = {{Operation::CreateGroup, platform::error::AccessDenied, 1, "code 5"},
                 {Operation::SetValue, platform::error::DiskFull, 1, "was not saved"},
                 {Operation::AddDependency, platform::error::DiskFull, 1, "does not depend on"},
                 {Operation::OnlineGroup, platform::error::ResourceNotAvailable, 1, "does not come online"}};
    for (const auto& row : table) {
        failing->Fail(row.operation, row.code);
        const Outcome outcome = Ostra(Creating("Sales", {"--rollback"}));
        failing->Heal();
        EXPECT_EQ(row.exitCode, outcome.code) << row.saying;
        EXPECT_NE(std::string::npos, outcome.err.find(row.saying)) << outcome.err;
        EXPECT_EQ(0U, Read({"group", "list"}).size() + Used().size()) << row.saying;
    }
    failing->Fail(Operation::OnlineGroup, platform::error::IoPending);
    EXPECT_EQ(5, Ostra(Creating("Sales", {"--rollback", "--wait", "3"})).code);
    EXPECT_EQ(Json::array({"10.0.1.11"}), Used()) << "a group on its way is made";
}

TEST_F(AGroupFromATemplate, IsChangedWithWhatItHasKept) {
    Do(Creating("Sales", {"--set", "Share Name=sales"}));
    const auto name = [](const char* kind) { return Name(kind, "Sales", "File Share"); };
    const std::vector<std::string> change{
        "group", "change", "sales", "--template", "File Share", "--set", "Share Name=orders", "--address", "10.0.1.14"};
    auto rehearsal = change;
    rehearsal.push_back("--dry-run");
    const Json changes = Read(rehearsal)["changes"];
    ASSERT_EQ(4U, changes.size()) << changes;
    EXPECT_EQ("sales", changes[2]["before"]);
    EXPECT_EQ("orders", changes[2]["after"]);
    EXPECT_EQ("sales", Parameters(name("File Share"))["ShareName"]);
    Do(change);
    EXPECT_EQ("orders", Parameters(name("File Share"))["ShareName"]);
    EXPECT_EQ("10.0.1.14", Parameters(name("IP Address"))["Address"]);
    EXPECT_EQ(Json({"10.0.1.11", "10.0.1.14"}), Used());
    EXPECT_EQ("10.0.1.11", Read({"pool", "recycle"})[0]["address"]);
    Do({"group", "change", "Sales", "--template", "File Share", "--network", "Client"});
    EXPECT_EQ("10.0.1.14", Parameters(name("IP Address"))["Address"]);

    Do({"group", "create", "Old"});
    Do({"resource", "create", "Disk G:", "--group", "Old", "--type", "Physical Disk", "--set",
        "Signature=REG_DWORD:439041027"});
    const Json made = Read({"group", "change", "Old", "--template", "Print Spooler"});
    EXPECT_EQ("Group on line.", made["text"]);
    EXPECT_EQ("Disk G:", made["resources"][0]);
    EXPECT_EQ(Json({"Disk G:", Name("Network Name", "Old", "Print Spooler")}),
              Read({"resource", "show", Name("Print Spooler", "Old", "Print Spooler")})["dependsOn"]);

    const auto failing = GivenFailures();
    failing->Fail(Operation::Control, platform::error::DiskFull);
    auto other = change;
    other[6] = "Share Name=other";
    EXPECT_EQ(1, Ostra(other).code);
    failing->Heal();
    EXPECT_EQ("orders", Parameters(name("File Share"))["ShareName"]);
    EXPECT_EQ(3, Ostra({"group", "change", "Nobody", "--template", "File Share"}).code);
    EXPECT_EQ(1, Ostra({"group", "change", "Sales", "--template", "File Share", "--disk", "Z:"}).code);
}

TEST_F(AGroupFromATemplate, SharesNeitherDiskNorAddressWithOneMadeAtTheSameTime) {
    std::vector<FILE*> makers;
    for (const char* group : {"A", "B", "C", "D"})
        makers.push_back(::popen((std::string("'" OSTRA_PROGRAM "' group create ") + group +
                                  " --template 'File Share' --json 2>/dev/null </dev/null")
                                     .c_str(),
                                 "r"));
    std::set<std::string> disks;
    std::set<std::string> addresses;
    for (FILE* maker : makers) {
        ASSERT_NE(nullptr, maker);
        std::string text;
        char part[256];
        while (::fgets(part, sizeof part, maker)) text += part;
        ::pclose(maker);
        const Json made = Json::parse(text, nullptr, false);
        if (!made.is_object()) continue;
        disks.insert(made["disk"]);
        addresses.insert(made["address"]);
    }
    EXPECT_EQ((std::set<std::string>{"E:", "F:", "G:"}), disks) << "one came too late";
    EXPECT_EQ((std::set<std::string>{"10.0.1.11", "10.0.1.12", "10.0.1.13"}), addresses);
    EXPECT_EQ(Json::array({"10.0.1.14"}), Available());
    EXPECT_EQ(3U, Read({"group", "list"}).size());
}

}  // namespace
}  // namespace tests
