#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterService.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <tests/support/TemporaryHome.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

/// Makes an empty cluster of an engine, for one test; the state directory is the test's own.
struct EngineMaker {
    const char* name;
    std::function<std::shared_ptr<platform::ClusterService>(const std::wstring& cluster)> make;
};

inline std::ostream& operator<<(std::ostream& stream, const EngineMaker& maker) {
    return stream << maker.name;
}

/// What every engine must do. Each test has a cluster named "Tarn" of the nodes N1, N2 and N3, all up; what the engine
/// says of itself must hold at the end.
class ClusterServiceContract : public testing::TestWithParam<EngineMaker> {
protected:
    using ObjectId = platform::ObjectId;
    using ObjectKind = platform::ObjectKind;

    void SetUp() override {
        _service = GetParam().make(L"Tarn");
        ASSERT_TRUE(_service);
        _administration = _service->Administration();
        ASSERT_TRUE(_administration);
        for (const wchar_t* name : {L"N1", L"N2", L"N3"}) ASSERT_EQ(0U, Admin().AddNode(name));
    }

    void TearDown() override {
        if (!_administration) return;
        std::vector<std::wstring> breaches;
        EXPECT_EQ(0U, Admin().CheckInvariants(breaches));
        for (const std::wstring& breach : breaches) ADD_FAILURE() << platform::ToUtf8(breach);
    }

    platform::ClusterService& Service() { return *_service; }
    platform::ClusterAdministration& Admin() { return *_administration; }

    ObjectId Find(ObjectKind kind, const std::wstring& name) {
        ObjectId id;
        EXPECT_EQ(0U, Service().Find(kind, name, id)) << platform::ToUtf8(name);
        return id;
    }
    ObjectId Node(const std::wstring& name) { return Find(ObjectKind::Node, name); }

    ObjectId MakeGroup(const std::wstring& name) {
        ObjectId id;
        EXPECT_EQ(0U, Service().CreateGroup(name, id)) << platform::ToUtf8(name);
        return id;
    }
    ObjectId MakeResource(ObjectId group, const std::wstring& name, const std::vector<ObjectId>& needs = {},
                          const std::wstring& type = L"Generic Service") {
        ObjectId id;
        EXPECT_EQ(0U, Service().CreateResource(group, name, type, 0, id)) << platform::ToUtf8(name);
        for (const ObjectId need : needs) EXPECT_EQ(0U, Service().AddDependency(id, need));
        return id;
    }

    /// Writes properties of a resource, as CLUSCTL_SET_COMMON_PROPERTIES or CLUSCTL_SET_PRIVATE_PROPERTIES.
    DWORD Set(ObjectId object, DWORD function, const std::vector<platform::PropertyValue>& properties) {
        std::vector<BYTE> output;
        const DWORD code = static_cast<DWORD>(object.kind) << 24 | function;
        return Service().Control(object, {}, code, platform::EncodePropertyList(properties), output);
    }
    DWORD SetPrivate(ObjectId resource, const std::wstring& name, const std::variant<DWORD, std::wstring>& value) {
        return Set(resource, CLUSCTL_SET_PRIVATE_PROPERTIES, {{name, value}});
    }

    std::wstring NameOf(ObjectId object) {
        std::wstring name;
        EXPECT_EQ(0U, Service().NameOf(object, name));
        return name;
    }
    std::wstring OwnerOf(ObjectId group) {
        DWORD state = 0;
        std::wstring owner;
        EXPECT_EQ(0U, Service().GroupState(group, state, owner));
        return owner;
    }
    /// Of a group, a node or a resource.
    DWORD StateOf(ObjectId object) {
        DWORD state = ClusterStateUnknown;
        std::wstring owner;
        std::wstring group;
        const DWORD code = object.kind == ObjectKind::Group  ? Service().GroupState(object, state, owner)
                           : object.kind == ObjectKind::Node ? Service().NodeState(object, state)
                                                             : Service().ResourceState(object, state, owner, group);
        EXPECT_EQ(0U, code);
        return state;
    }
    using Numbers = std::vector<DWORD>;
    Numbers StatesOf(const std::vector<ObjectId>& objects) {
        Numbers states;
        for (const ObjectId object : objects) states.push_back(StateOf(object));
        return states;
    }

    /// The items of an enumeration, each as its type and name: "8 Files".
    static StringArray ItemsOf(const platform::ClusterEnumeration& enumeration) {
        StringArray items;
        DWORD type = 0;
        std::wstring name;
        DWORD code = 0;
        for (DWORD index = 0; (code = enumeration.Item(index, type, name)) == 0; ++index)
            items.push_back(std::to_wstring(type) + L" " + name);
        EXPECT_EQ(platform::error::NoMoreItems, code);
        return items;
    }
    StringArray Items(DWORD types) {
        std::unique_ptr<platform::ClusterEnumeration> enumeration;
        EXPECT_EQ(0U, Service().Enumerate(types, enumeration));
        return enumeration ? ItemsOf(*enumeration) : StringArray();
    }
    StringArray Members(ObjectId object, DWORD types) {
        std::unique_ptr<platform::ClusterEnumeration> enumeration;
        EXPECT_EQ(0U, Service().EnumerateMembers(object, types, enumeration));
        return enumeration ? ItemsOf(*enumeration) : StringArray();
    }

    std::int64_t LastChange() {
        std::int64_t number = 0;
        EXPECT_EQ(0U, Admin().LastChange(number));
        return number;
    }
    std::vector<platform::ClusterChange> ChangesAfter(std::int64_t number) {
        std::vector<platform::ClusterChange> changes;
        EXPECT_EQ(0U, Admin().Changes(number, 1000, changes));
        return changes;
    }

private:
    tests::TemporaryHome _home;
    std::shared_ptr<platform::ClusterService> _service;
    platform::ClusterAdministration* _administration = nullptr;
};
