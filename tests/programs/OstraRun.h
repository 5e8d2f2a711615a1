#pragma once

#include <platform/cluster/ClusterDirectory.h>
#include <programs/ostra/RunOstra.h>
#include <programs/support/Json.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sstream>
#include <string>
#include <vector>

namespace tests {

/// `ostra` run in this process, in a state directory of the test's own and on a clock that passes at once.
class OstraProgram : public testing::Test {
protected:
    OstraProgram() { ::unsetenv("OSTRA_CLUSTER"); }

    struct Outcome {
        int code = 0;
        std::string out;
        std::string err;
        programs::Json Json() const { return programs::Json::parse(out, nullptr, false); }
    };

    static Outcome Ostra(const std::vector<std::string>& arguments, const std::string& answers = {}) {
        std::istringstream in(answers);
        std::ostringstream out;
        std::ostringstream err;
        const programs::Streams streams{in, out, err, !answers.empty()};
        const int code = programs::RunOstra(arguments, streams);
        return {code, out.str(), err.str()};
    }

    /// Runs a command that is to succeed.
    static Outcome Do(const std::vector<std::string>& arguments) {
        const Outcome outcome = Ostra(arguments);
        std::string line;
        for (const std::string& argument : arguments) line += " " + argument;
        EXPECT_EQ(0, outcome.code) << "ostra" << line << "\n" << outcome.err;
        return outcome;
    }

    /// The document of a command that is to succeed.
    static programs::Json Read(std::vector<std::string> arguments) {
        arguments.push_back("--json");
        return Do(arguments).Json();
    }

    /// A cluster with a group "Files": a disk, an address, a name that needs it, a share that needs name and disk.
    static void GivenFiles() {
        Do({"cluster", "create", "demo"});
        Do({"group", "create", "Files", "--owner", "N1"});
        Do({"resource", "create", "Disk E:", "--group", "Files", "--type", "Physical Disk", "--set",
            "Signature=REG_DWORD:439041025"});
        Do({"resource", "create", "Address", "--group", "Files", "--type", "IP Address", "--set",
            "Address=REG_SZ:10.0.1.20"});
        Do({"resource", "create", "Name", "--group", "Files", "--type", "Network Name", "--depends", "Address"});
        Do({"resource", "create", "Share", "--group", "Files", "--type", "File Share", "--set",
            "ShareName=REG_SZ:public", "--depends", "Name", "--depends", "Disk E:"});
    }

    TemporaryHome home;
    FakeClock clock;
};

}  // namespace tests
