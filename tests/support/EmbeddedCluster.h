#pragma once

#include <platform/base/text.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <variant>

namespace tests {

using platform::ObjectId;
using platform::ObjectKind;

/// What a cluster is to have, as a literal. Whatever is left out is nothing, or a usable value:
///
///     Given({.nodes = {L"N1", L"N2"},
///            .groups = {{.name = L"Files", .owner = L"N1",
///                        .resources = {{.name = L"Disk D:", .type = L"Generic Service"},
///                                      {.name = L"Share", .needs = {L"Disk D:"}}}}}});
struct ResourceWorld {
    std::wstring name;
    std::wstring type = L"Generic Service";
    StringArray needs = {};                                                     ///< what it depends on
    std::map<std::wstring, std::variant<DWORD, std::wstring>> parameters = {};  ///< private properties
};

struct GroupWorld {
    std::wstring name;
    std::wstring owner = {};  ///< empty: the first node
    bool isOnline = true;
    std::vector<ResourceWorld> resources = {};
};

struct NetworkWorld {
    std::wstring name;
    std::wstring address = {};  ///< with the mask 255.255.255.0; empty: 10.1.N.0, N its place in the list, from 1
    DWORD role = 3;
    std::wstring description = {};
};

struct World {
    StringArray nodes = {L"N1", L"N2"};
    std::vector<NetworkWorld> networks = {};
    std::vector<platform::SharedDisk> disks = {};
    std::vector<GroupWorld> groups = {};
};

/// A cluster in memory that the cluster API opens under the name "Test", with a clock that stands still, a state
/// directory and a standard output of the test's own. Its end checks that the engine kept its invariants.
///
/// Its questions and its small operations expect to succeed: what fails fails the test.
class EmbeddedClusterTest : public testing::Test {
protected:
    EmbeddedClusterTest() {
        EXPECT_EQ(0u, platform::CreateEmbeddedCluster(L"Test", service));
        platform::ClusterDirectory::Register(L"Test", service);
    }
    ~EmbeddedClusterTest() override { platform::ClusterDirectory::Register(L"Test", nullptr); }

    void TearDown() override { ExpectInvariants(); }

    void ExpectInvariants() {
        std::vector<std::wstring> breaches;
        EXPECT_EQ(0u, Administration().CheckInvariants(breaches));
        for (const std::wstring& breach : breaches) ADD_FAILURE() << platform::ToUtf8(breach);
    }

    /// As one transaction.
    void Given(const World& world) {
        const auto make = [&] {
            for (const std::wstring& node : world.nodes) Expect(Administration().AddNode(node), node);
            int place = 0;
            for (const NetworkWorld& network : world.networks) Give(network, ++place);
            for (const platform::SharedDisk& disk : world.disks) Expect(Administration().AddDisk(disk), L"a disk");
            for (const GroupWorld& group : world.groups) Give(group);
            return DWORD{0};
        };
        Expect(service->Transact(make), L"the cluster");
    }

    void Give(const GroupWorld& group) {
        ObjectId id;
        Expect(service->CreateGroup(group.name, id), group.name);
        for (const ResourceWorld& resource : group.resources) Give(id, resource);
        if (!group.owner.empty()) Expect(service->MoveGroup(id, Node(group.owner)), group.name);
        if (group.isOnline) Expect(service->OnlineGroup(id, Node(OwnerOf(group.name))), group.name);
    }

    void Give(ObjectId group, const ResourceWorld& resource) {
        ObjectId id;
        Expect(service->CreateResource(group, resource.name, resource.type, 0, id), resource.name);
        for (const auto& [name, value] : resource.parameters) SetPrivate(resource.name, {{name, value}});
        for (const std::wstring& need : resource.needs) Expect(service->AddDependency(id, Resource(need)), need);
    }

    ObjectId Node(const std::wstring& name) { return Find(ObjectKind::Node, name); }
    ObjectId Group(const std::wstring& name) { return Find(ObjectKind::Group, name); }
    ObjectId Resource(const std::wstring& name) { return Find(ObjectKind::Resource, name); }
    ObjectId Network(const std::wstring& name) { return Find(ObjectKind::Network, name); }
    ObjectId Interface(const std::wstring& name) { return Find(ObjectKind::NetworkInterface, name); }

    /// The node that a group is on, by the group's name.
    std::wstring OwnerOf(const std::wstring& group) {
        DWORD state = 0;
        std::wstring owner;
        Expect(service->GroupState(Group(group), state, owner), group);
        return owner;
    }

    /// The state of the group of that name, or else of the resource or node of that name.
    DWORD StateOf(const std::wstring& name) {
        DWORD state = ClusterStateUnknown;
        ObjectId id;
        std::wstring owner;
        std::wstring group;
        if (service->Find(ObjectKind::Group, name, id) == 0)
            Expect(service->GroupState(id, state, owner), name);
        else if (service->Find(ObjectKind::Resource, name, id) == 0)
            Expect(service->ResourceState(id, state, owner, group), name);
        else
            Expect(service->NodeState(Node(name), state), name);
        return state;
    }

    /// What belongs to an object, by name.
    StringArray Members(ObjectId object, DWORD types) {
        std::unique_ptr<platform::ClusterEnumeration> enumeration;
        Expect(service->EnumerateMembers(object, types, enumeration), L"members");
        return NamesOf(enumeration.get());
    }

    /// All objects of the kinds in `types`, by name.
    StringArray All(DWORD types) {
        std::unique_ptr<platform::ClusterEnumeration> enumeration;
        Expect(service->Enumerate(types, enumeration), L"objects");
        return NamesOf(enumeration.get());
    }

    void TakeDown(const std::wstring& node) { Expect(Administration().TakeNodeDown(Node(node)), node); }

    /// The changes since the cluster was made, or since the last Forget.
    std::vector<platform::ClusterChange> Changes() {
        std::vector<platform::ClusterChange> changes;
        Expect(Administration().Changes(_forgotten, SIZE_MAX, changes), L"changes");
        return changes;
    }
    void Forget() { Expect(Administration().LastChange(_forgotten), L"changes"); }

    /// Sends properties as a program would.
    DWORD Set(ObjectId object, DWORD function, const std::vector<platform::PropertyValue>& properties) {
        std::vector<BYTE> answer;
        const DWORD code = static_cast<DWORD>(object.kind) << 24 | function;
        return service->Control(object, std::nullopt, code, platform::EncodePropertyList(properties), answer);
    }

    void SetPrivate(const std::wstring& resource, const std::vector<platform::PropertyValue>& properties) {
        Expect(Set(Resource(resource), CLUSCTL_SET_PRIVATE_PROPERTIES, properties), resource);
    }

    /// Reads properties as a program would: by name, numbers in decimal.
    std::map<std::wstring, std::wstring> Get(ObjectId object, DWORD function) {
        std::vector<BYTE> answer;
        std::vector<platform::PropertyValue> properties;
        const DWORD code = static_cast<DWORD>(object.kind) << 24 | function;
        Expect(service->Control(object, std::nullopt, code, {}, answer), L"properties");
        EXPECT_TRUE(platform::DecodePropertyList(answer, properties));
        std::map<std::wstring, std::wstring> texts;
        for (const platform::PropertyValue& property : properties) {
            const DWORD* const number = std::get_if<DWORD>(&property.value);
            texts[property.name] = number ? std::to_wstring(*number) : std::get<std::wstring>(property.value);
        }
        return texts;
    }

    platform::ClusterAdministration& Administration() { return *service->Administration(); }

    static void Expect(DWORD code, const std::wstring& what) { EXPECT_EQ(0u, code) << platform::ToUtf8(what); }

    const TemporaryHome home;
    FakeClock clock;
    CapturedOutput printed;
    std::shared_ptr<platform::ClusterService> service;

private:
    void Give(const NetworkWorld& network, int place) {
        const auto& [name, given, role, description] = network;
        const std::wstring address = given.empty() ? L"10.1." + std::to_wstring(place) + L".0" : given;
        Expect(Administration().AddNetwork({name, address, L"255.255.255.0", role, description}), name);
    }

    static StringArray NamesOf(const platform::ClusterEnumeration* enumeration) {
        StringArray names;
        DWORD type = 0;
        std::wstring name;
        for (DWORD i = 0; enumeration && enumeration->Item(i, type, name) == 0; ++i) names.push_back(name);
        return names;
    }

    ObjectId Find(ObjectKind kind, const std::wstring& name) {
        ObjectId id;
        Expect(service->Find(kind, name, id), name);
        return id;
    }

    std::int64_t _forgotten = 0;
};

}  // namespace tests
