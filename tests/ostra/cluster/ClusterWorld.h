#pragma once

#include <ostra/cluster/Resource.h>
#include <platform/framework/CMapStringToOb.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace tests {

/// The cluster Test, observed. A test leaves no handle open.
class ObservedCluster : public EmbeddedClusterTest {
protected:
    ~ObservedCluster() override {
        EXPECT_TRUE(CloseCluster(cluster));
        EXPECT_EQ(_users + keptForGood, Users()) << "handles left open";
    }

    /// Each open handle of the cluster counts as one.
    long Users() const { return failing.Service().use_count(); }

    static StringArray KeysOf(const CMapStringToOb* components) {
        StringArray keys;
        for (const auto& [key, object] : *components) keys.push_back(key);
        return keys;
    }

    /// The reports since the start or since the last call, each as its type and text.
    StringArray NewReports() {
        StringArray reports;
        for (const auto& event : events.Take()) reports.push_back(std::to_wstring(event.type) + L" " + event.text);
        return reports;
    }

    CapturedEvents events;
    FailingCluster failing{L"Test"};

private:
    const long _users = Users();

protected:
    HCLUSTER cluster = OpenCluster(L"Test");
    long keptForGood = 0;
};

/// It has nodes N1 and N2, and on N1 the groups Alpha, Beta and Gamma, offline, of two services each, but that
/// "Gamma 2" is a disk.
class ClusterWorld : public ObservedCluster {
protected:
    ClusterWorld() {
        World world;
        for (const wchar_t* group : {L"Alpha", L"Beta", L"Gamma"}) {
            const std::wstring name(group);
            world.groups.push_back({.name = name, .isOnline = false, .resources = {{name + L" 1"}, {name + L" 2"}}});
        }
        world.groups.back().resources.back().type = L"Physical Disk";
        Given(world);
        alpha = OpenClusterGroup(cluster, L"Alpha");
    }
    ~ClusterWorld() override { CloseClusterGroup(alpha); }

    void AddDisk(const std::wstring& drive, DWORD signature, DWORD number = 3) {
        Expect(Administration().AddDisk({signature, 0x10, number, {{drive, L"Data", 0xBEEF}}}), drive);
    }
    /// A resource made in the group Alpha.
    std::unique_ptr<::Resource> Made(const std::wstring& name, ResourceType& type, const StringArray& parameters = {}) {
        auto made = std::make_unique<::Resource>(name, &type, cluster, L"Test", 0);
        EXPECT_EQ(1, made->Create(alpha, &parameters, 0)) << platform::ToUtf8(name);
        return made;
    }

    HGROUP alpha = nullptr;
};

}  // namespace tests
