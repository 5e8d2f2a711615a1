#pragma once

#include <platform/cluster/ForwardingClusterService.h>
#include <platform/framework/CMapStringToOb.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tests {

/// A cluster whose objects can be said to be in any state.
class ServiceOfAnyState : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;

    std::optional<DWORD> nodeState;
    std::optional<DWORD> groupState;

    DWORD NodeState(platform::ObjectId node, DWORD& state) override {
        const DWORD code = ForwardingClusterService::NodeState(node, state);
        state = nodeState.value_or(state);
        return code;
    }
    DWORD GroupState(platform::ObjectId group, DWORD& state, std::wstring& owner) override {
        const DWORD code = ForwardingClusterService::GroupState(group, state, owner);
        state = groupState.value_or(state);
        return code;
    }
};

/// The cluster Test with nodes N1 and N2, and on N1 the groups Alpha, Beta and Gamma, offline, of two services each,
/// but that "Gamma 2" is a disk.
class ClusterWorld : public EmbeddedClusterTest {
protected:
    ClusterWorld() {
        World world;
        for (const wchar_t* group : {L"Alpha", L"Beta", L"Gamma"}) {
            const std::wstring name(group);
            world.groups.push_back({.name = name, .isOnline = false, .resources = {{name + L" 1"}, {name + L" 2"}}});
        }
        world.groups.back().resources.back().type = L"Physical Disk";
        Given(world);
    }
    ~ClusterWorld() override { CloseCluster(cluster); }

    void AddDisk(const std::wstring& drive, DWORD signature) {
        Expect(Administration().AddDisk({signature, signature, signature, {{drive, L"Data", 1}}}), drive);
    }
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
    std::shared_ptr<ServiceOfAnyState> states = std::make_shared<ServiceOfAnyState>(service);
    FailingCluster failing{L"Test", states};
    HCLUSTER cluster = OpenCluster(L"Test");
};

}  // namespace tests
