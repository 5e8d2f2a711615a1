#pragma once

#include <gtest/gtest.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FailingClusterService.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tests {

/// A cluster that notes which properties are written, in order, and whose resources can be put into any state.
class ObservedService : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;

    struct Write {
        DWORD code;
        StringArray names;
        bool operator==(const Write&) const = default;
    };
    std::vector<Write> writes;
    std::optional<DWORD> state;

    DWORD Control(platform::ObjectId object, std::optional<platform::ObjectId> host, DWORD code,
                  std::span<const BYTE> input, std::vector<BYTE>& output) override {
        std::vector<platform::PropertyValue> properties;
        if (!input.empty() && platform::DecodePropertyList(input, properties)) {
            writes.push_back({code, {}});
            for (const platform::PropertyValue& property : properties) writes.back().names.push_back(property.name);
        }
        return ForwardingClusterService::Control(object, host, code, input, output);
    }
    DWORD ResourceState(platform::ObjectId resource, DWORD& answer, std::wstring& node, std::wstring& group) override {
        const DWORD code = ForwardingClusterService::ResourceState(resource, answer, node, group);
        answer = state.value_or(answer);
        return code;
    }
};

/// The cluster "Payroll": nodes N1 and N2 and the empty group "Sales". Every test leaves no handle open.
class ObservedCluster : public testing::Test {
protected:
    ObservedCluster() {
        for (const wchar_t* node : {L"N1", L"N2"}) EXPECT_EQ(0u, observed->Administration()->AddNode(node));
        _users = Users();
        cluster = OpenCluster(L"Payroll");
        group = CreateClusterGroup(cluster, L"Sales");
    }
    ~ObservedCluster() override {
        EXPECT_TRUE(CloseClusterGroup(group));
        EXPECT_TRUE(CloseCluster(cluster));
        EXPECT_EQ(_users, Users()) << "handles left open";
    }

    /// Each open handle of the cluster counts as one.
    long Users() const { return service.Service().use_count(); }

    void AddDisk(const wchar_t* drive, DWORD signature, DWORD number = 3) {
        const platform::DiskPartition partition{drive, L"Data", 0xBEEF};
        ASSERT_EQ(0u, observed->Administration()->AddDisk({signature, 0x10, number, {partition}}));
    }

    TemporaryHome home;
    FakeClock clock;
    CapturedOutput output;
    CapturedEvents events;
    std::shared_ptr<ObservedService> observed = std::make_shared<ObservedService>(MadeCluster());
    FailingCluster service{L"Payroll", observed};
    HCLUSTER cluster = nullptr;
    HGROUP group = nullptr;

private:
    static std::shared_ptr<platform::ClusterService> MadeCluster() {
        std::shared_ptr<platform::ClusterService> made;
        EXPECT_EQ(0u, platform::CreateEmbeddedCluster(L"Payroll", made));
        return made;
    }

    long _users = 0;
};

}  // namespace tests
