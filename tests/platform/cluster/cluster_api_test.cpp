#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/registry_types.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <platform/engines/embedded/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

#include <gtest/gtest.h>

#include <functional>

using namespace platform;
using tests::Operation;

namespace {

template <typename Handle>
Handle Foreign(void* handle) {
    return static_cast<Handle>(handle);
}

DWORD Code(LONG result) {
    return static_cast<DWORD>(result);
}

}  // namespace

/// The cluster "Tarn" of N1 and N2 with the group "Files", its resource "Disk" and the network "Public", opened.
class TheClusterApi : public testing::Test {
protected:
    TheClusterApi() : _failing(L"Tarn", Made()) {
        _cluster = OpenCluster(L"tarn");
        _node = OpenClusterNode(_cluster, L"N1");
        _group = CreateClusterGroup(_cluster, L"Files");
        _resource = CreateClusterResource(_group, L"Disk", L"Generic Service", 0);
        _network = OpenClusterNetwork(_cluster, L"Public");
        EXPECT_TRUE(_cluster && _node && _group && _resource && _network);
        SetLastError(0);
    }
    ~TheClusterApi() override {
        CloseClusterNode(_node);
        CloseClusterGroup(_group);
        CloseClusterResource(_resource);
        CloseClusterNetwork(_network);
        CloseCluster(_cluster);
    }

    static std::shared_ptr<ClusterService> Made() {
        std::shared_ptr<ClusterService> service;
        EXPECT_EQ(0U, CreateEmbeddedCluster(L"Tarn", service));
        for (const wchar_t* node : {L"N1", L"N2"}) EXPECT_EQ(0U, service->Administration()->AddNode(node));
        EXPECT_EQ(0U, service->Administration()->AddNetwork({L"Public", L"10.0.0.0", L"255.0.0.0", 3, L""}));
        return service;
    }

    /// The last error, which is 0 again afterwards.
    static DWORD Cause() {
        const DWORD code = GetLastError();
        SetLastError(0);
        return code;
    }

    tests::FailingCluster _failing;
    HCLUSTER _cluster = nullptr;
    HNODE _node = nullptr;
    HGROUP _group = nullptr;
    HRESOURCE _resource = nullptr;
    HNETWORK _network = nullptr;
};

TEST_F(TheClusterApi, AsksItsOperationAboutTheObjectsGivenAndPassesOnWhatItAnswers) {
    const HRESOURCE share = CreateClusterResource(_group, L"Share", L"Generic Service", 0);
    wchar_t name[50];
    wchar_t groupName[50];
    DWORD size = 50;
    DWORD groupSize = 50;
    _failing->ForgetCalls();
    for (const DWORD code :
         {AddClusterResourceDependency(share, _resource), RemoveClusterResourceDependency(share, _resource),
          RemoveClusterResourceNode(_resource, _node), SetClusterGroupNodeList(_group, 1, &_node),
          GetClusterNetInterface(_cluster, L"N2", L"Public", name, &size), EvictClusterNode(_node)})
        EXPECT_EQ(0U, code);
    EXPECT_STREQ(L"N2 - Public", name);
    _failing->Answer(Operation::OnlineGroup);
    EXPECT_EQ(error::IoPending, OnlineClusterGroup(_group, nullptr));
    EXPECT_EQ(DWORD{ClusterResourceOnline},
              GetClusterResourceState(_resource, name, &(size = 50), groupName, &groupSize));
    EXPECT_EQ(L"N2 Files", std::wstring(name) + L" " + groupName);
    _failing->Fail(Operation::ResourceState, error::Timeout);
    EXPECT_EQ(ClusterStateUnknown, GetClusterResourceState(_resource, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(error::Timeout, Cause());
    EXPECT_EQ((StringArray{L"AddDependency Share Disk", L"RemoveDependency Share Disk", L"RemoveResourceOwner Disk N1",
                           L"SetGroupOwners Files N1", L"InterfaceOf N2 Public", L"EvictNode N1", L"OnlineGroup Files",
                           L"ResourceState Disk", L"ResourceState Disk"}),
              _failing->Log());
    EXPECT_EQ(1, CloseClusterResource(share));
}

TEST_F(TheClusterApi, RefusesHandlesThatAreNotOpen) {
    const HGROUP closed = OpenClusterGroup(_cluster, L"Files");
    EXPECT_EQ(1, CloseClusterGroup(closed));
    const HGROUP reused = OpenClusterGroup(_cluster, L"Files");
    EXPECT_NE(closed, reused);
    int number = 0;
    for (const HGROUP group : {closed, static_cast<HGROUP>(nullptr), Foreign<HGROUP>(&number), Foreign<HGROUP>(_node),
                               Foreign<HGROUP>(_cluster)}) {
        EXPECT_EQ(error::InvalidHandle, OfflineClusterGroup(group));
        EXPECT_EQ(ClusterStateUnknown, GetClusterGroupState(group, nullptr, nullptr));
        EXPECT_EQ(error::InvalidHandle, Cause());
        EXPECT_FALSE(ClusterGroupOpenEnum(group, 1) || GetClusterGroupKey(group, KEY_READ));
        EXPECT_EQ(error::InvalidHandle, Cause());
        EXPECT_EQ(0, CloseClusterGroup(group));
        EXPECT_EQ(error::InvalidHandle, Cause());
    }
    EXPECT_EQ(error::InvalidHandle, OnlineClusterGroup(_group, Foreign<HNODE>(_group)));
    EXPECT_EQ(error::InvalidHandle, AddClusterResourceDependency(_resource, nullptr));
    EXPECT_EQ(error::InvalidHandle, ClusterCloseEnum(nullptr));
    EXPECT_EQ(error::InvalidHandle, Code(ClusterRegCloseKey(Foreign<HKEY>(_group))));
    EXPECT_EQ(1, CloseClusterGroup(reused));
}

TEST_F(TheClusterApi, LeavesTheCauseOfEveryRefusalButTheEndOfAListInTheLastError) {
    const HCLUSENUM nodes = ClusterOpenEnum(_cluster, CLUSTER_ENUM_NODE);
    const HKEY key = GetClusterKey(_cluster, KEY_QUERY_VALUE);
    wchar_t name[2] = {};
    DWORD size = 2;
    HKEY made = nullptr;
    _failing->Fail(Operation::Information, error::Timeout);
    _failing->Fail(Operation::InterfaceOf, error::ServerUnavailable);
    _failing->Fail(Operation::NetworkIdentifier, error::AccessDenied);
    const std::function<DWORD()> refused[] = {
        [&] { return PauseClusterNode(nullptr); },
        [&] { return ClusterEnum(nullptr, 0, nullptr, name, &size); },
        [&] { return ClusterEnum(nodes, 0, nullptr, name, nullptr); },
        [&] { return ClusterCloseEnum(nullptr); },
        [&] { return GetClusterInformation(nullptr, name, &size, nullptr); },
        [&] { return GetClusterInformation(_cluster, name, &size, nullptr); },
        [&] { return GetClusterNetInterface(_cluster, L"N1", L"Public", name, &size); },
        [&] { return GetClusterNetworkId(_network, name, &size); },
        [&] { return MoveClusterGroup(_group, Foreign<HNODE>(_group)); },
        [&] { return ClusterResourceTypeControl(_cluster, L"None", nullptr, 0, nullptr, 0, nullptr, 0, nullptr); },
        [&] { return Code(ClusterRegCreateKey(key, L"New", 0, KEY_READ, nullptr, &made, nullptr)); },
        [&] { return Code(ClusterRegQueryValue(key, L"None", nullptr, nullptr, &size)); },
        [&] { return Code(ClusterRegCloseKey(nullptr)); },
    };
    for (const auto& ask : refused) {
        const DWORD code = ask();
        EXPECT_TRUE(code != 0 && Cause() == code) << code << " at " << &ask - refused;
    }
    SetLastError(77);
    EXPECT_EQ(error::MoreData, ClusterEnum(nodes, 0, nullptr, name, &size));
    EXPECT_EQ(error::NoMoreItems, ClusterEnum(nodes, 2, nullptr, name, &size));
    EXPECT_EQ(0U, OfflineClusterGroup(_group) + ClusterCloseEnum(nodes) + Code(ClusterRegCloseKey(key)));
    EXPECT_EQ(77U, Cause());
}

TEST_F(TheClusterApi, HandlesFollowTheirObjectAndOutliveTheClustersOwn) {
    const HKEY key = GetClusterKey(_cluster, KEY_ALL_ACCESS);
    const HCLUSENUM groups = ClusterOpenEnum(_cluster, CLUSTER_ENUM_GROUP);
    EXPECT_EQ(0U, SetClusterGroupName(_group, L"Papers"));
    EXPECT_EQ(1, CloseCluster(_cluster));
    EXPECT_EQ(0U, OnlineClusterGroup(_group, nullptr));
    EXPECT_EQ(DWORD{ClusterResourceOnline}, GetClusterResourceState(_resource, nullptr, nullptr, nullptr, nullptr));
    wchar_t name[10];
    DWORD size = 10;
    EXPECT_EQ(0U, ClusterEnum(groups, 0, nullptr, name, &size));
    EXPECT_STREQ(L"Files", name);
    EXPECT_EQ(0U, ClusterRegSetValue(key, L"Value", REG_BINARY, nullptr, 0));
    EXPECT_EQ(0, ClusterRegCloseKey(key));
    EXPECT_EQ(0U, ClusterCloseEnum(groups));
    _cluster = OpenCluster(L"Tarn");
}

TEST_F(TheClusterApi, RefusesNamesThatAreNullOrEndless) {
    const std::wstring endless(1025, L'x');
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), endless.c_str()}) {
        EXPECT_FALSE(OpenClusterNode(_cluster, name));
        EXPECT_EQ(error::InvalidParameter, Cause());
        EXPECT_FALSE(CreateClusterResource(_group, L"New", name, 0));
        EXPECT_EQ(error::InvalidParameter, Cause());
        EXPECT_EQ(error::InvalidParameter, SetClusterGroupName(_group, name));
        EXPECT_EQ(error::InvalidParameter,
                  ClusterResourceTypeControl(_cluster, name, nullptr, 0x02000059, nullptr, 0, nullptr, 0, nullptr));
    }
    EXPECT_EQ(nullptr, OpenCluster(endless.c_str()));
    EXPECT_EQ(error::InvalidParameter, Cause());
    EXPECT_EQ(nullptr, OpenCluster(L"Nowhere"));
    EXPECT_EQ(error::FileNotFound, Cause());
}

TEST_F(TheClusterApi, HandsOutNamesThatFitAndOtherwiseTheirSize) {
    const HCLUSENUM nodes = ClusterOpenEnum(_cluster, CLUSTER_ENUM_NODE);
    wchar_t name[] = L"....";
    DWORD type = 77;
    DWORD size = 0;
    for (const DWORD room : {0U, 2U}) {
        EXPECT_EQ(error::MoreData, ClusterEnum(nodes, 0, &type, name, &(size = room))) << room;
        EXPECT_EQ(3U, size);
        EXPECT_EQ(ClusterStateUnknown, GetClusterGroupState(_group, name, &(size = room)));
        EXPECT_TRUE(Cause() == error::MoreData && size == 3);
    }
    EXPECT_EQ(std::pair(std::wstring(L"...."), 77U), std::pair(std::wstring(name), type));
    EXPECT_EQ(0U, ClusterEnum(nodes, 1, &type, name, &size));
    EXPECT_EQ(std::wstring(L"N2\0.", 4), std::wstring(name, 4));
    EXPECT_TRUE(size == 2 && type == CLUSTER_ENUM_NODE);
    EXPECT_EQ(error::NoMoreItems, ClusterEnum(nodes, 2, &type, name, &size));
    EXPECT_EQ(0U, ClusterEnum(nodes, 0, &type, nullptr, &size));
    EXPECT_EQ(3U, size);
    EXPECT_EQ(error::InvalidParameter, ClusterEnum(nodes, 0, &type, name, nullptr));
    EXPECT_EQ(error::InvalidParameter, GetClusterInformation(_cluster, name, nullptr, nullptr));
    EXPECT_EQ(0U, ClusterCloseEnum(nodes));
    EXPECT_EQ(error::InvalidHandle, ClusterEnum(nodes, 0, &type, name, &size));
}

TEST_F(TheClusterApi, HandsOutControlAnswersThatFitAndOtherwiseTheirSize) {
    BYTE output[4000] = {};
    DWORD returned = 0;
    const auto ask = [&](BYTE* room, DWORD size, DWORD inputSize = 0) {
        return ClusterResourceControl(_resource, nullptr, 0x01000059, nullptr, inputSize, room, size, &returned);
    };
    EXPECT_EQ(error::MoreData, ask(output, 0));
    const DWORD needed = returned;
    ASSERT_LE(needed, sizeof output);
    EXPECT_EQ(error::MoreData, ask(output, needed - 1));
    EXPECT_EQ(needed, returned);
    EXPECT_EQ(0, output[0]);
    EXPECT_EQ(0U, ask(output, needed));
    EXPECT_NE(0, output[0]);
    EXPECT_EQ(error::InvalidParameter, ask(output, 4000, 4)) << "input without bytes";
    EXPECT_EQ(0U, returned);
    EXPECT_EQ(error::InvalidParameter, ask(nullptr, 4000)) << "room that is none";
    EXPECT_EQ(error::ResourceTypeNotFound,
              ClusterResourceTypeControl(_cluster, L"None", nullptr, 0x02000059, nullptr, 0, output, 4000, &returned));
}

TEST_F(TheClusterApi, KeepsTheObjectsOfTwoClustersApart) {
    std::shared_ptr<ClusterService> service = Made();
    ClusterDirectory::Register(L"Other", service);
    const HCLUSTER other = OpenCluster(L"Other");
    HNODE node = OpenClusterNode(other, L"N1");
    EXPECT_EQ(error::InvalidParameter, MoveClusterGroup(_group, node));
    EXPECT_EQ(error::InvalidParameter, SetClusterGroupNodeList(_group, 1, &node));
    EXPECT_EQ(error::InvalidParameter, AddClusterResourceNode(_resource, node));
    EXPECT_EQ(error::InvalidParameter, SetClusterGroupNodeList(_group, 1, nullptr));
    EXPECT_EQ(1, CloseClusterNode(node));
    EXPECT_EQ(1, CloseCluster(other));
    EXPECT_EQ(service, ClusterDirectory::Register(L"other", nullptr));
}

TEST_F(TheClusterApi, HoldsKeysToTheAccessTheyWereOpenedWith) {
    const HKEY reading = GetClusterKey(_cluster, KEY_READ);
    const HKEY writing = GetClusterKey(_cluster, KEY_WRITE);
    HKEY opened = writing;
    wchar_t name[20];
    DWORD size = 20;
    EXPECT_EQ(error::FileNotFound, Code(ClusterRegOpenKey(reading, L"None", KEY_READ, &opened)));
    EXPECT_EQ(nullptr, opened);
    EXPECT_EQ(error::InvalidParameter,
              Code(ClusterRegCreateKey(writing, L"New", 4, KEY_READ, nullptr, &opened, nullptr)));
    EXPECT_EQ(0, ClusterRegCreateKey(writing, L"New", 1, KEY_WRITE, nullptr, &opened, nullptr));
    EXPECT_EQ(0U, ClusterRegSetValue(opened, L"Value", REG_BINARY, nullptr, 0));
    for (const HKEY key : {writing, opened}) {
        EXPECT_EQ(error::AccessDenied, Code(ClusterRegEnumKey(key, 0, name, &size, nullptr)));
        EXPECT_EQ(error::AccessDenied, Code(ClusterRegQueryValue(key, L"Value", nullptr, nullptr, nullptr)));
        EXPECT_EQ(error::AccessDenied, ClusterRegEnumValue(key, 0, name, &size, nullptr, nullptr, nullptr));
    }
    HKEY refused = nullptr;
    EXPECT_EQ(error::AccessDenied, Code(ClusterRegCreateKey(reading, L"Ot", 0, KEY_READ, nullptr, &refused, nullptr)));
    EXPECT_EQ(error::AccessDenied, ClusterRegSetValue(reading, L"Value", REG_BINARY, nullptr, 0));
    EXPECT_EQ(error::AccessDenied, ClusterRegDeleteValue(reading, L"Value"));
    EXPECT_EQ(error::AccessDenied, Code(ClusterRegDeleteKey(reading, L"New")));
    for (const HKEY key : {reading, writing, opened}) EXPECT_EQ(0, ClusterRegCloseKey(key));
}

TEST_F(TheClusterApi, HandsOutValuesThatFitAndOtherwiseTheirSize) {
    const HKEY key = GetClusterGroupKey(_group, KEY_ALL_ACCESS);
    const BYTE data[] = {1, 2, 3};
    EXPECT_EQ(0U, ClusterRegSetValue(key, nullptr, REG_BINARY, data, 3));
    EXPECT_EQ(error::InvalidParameter, ClusterRegSetValue(key, L"Bad", REG_SZ, nullptr, 1));
    BYTE buffer[] = {9, 9, 9, 9};
    DWORD type = 0;
    DWORD size = 2;
    EXPECT_EQ(error::MoreData, Code(ClusterRegQueryValue(key, L"", &type, buffer, &size)));
    EXPECT_EQ(3U, size);
    EXPECT_EQ(9, buffer[0]);
    EXPECT_EQ(0, ClusterRegQueryValue(key, nullptr, &type, buffer, &size));
    EXPECT_TRUE(buffer[2] == 3 && buffer[3] == 9);
    EXPECT_EQ(error::InvalidParameter, Code(ClusterRegQueryValue(key, L"", &type, buffer, nullptr)));

    wchar_t name[] = L"......";
    DWORD nameSize = 4;
    EXPECT_EQ(error::MoreData, ClusterRegEnumValue(key, 1, name, &nameSize, &type, buffer, &size));
    EXPECT_EQ(5U, nameSize);
    EXPECT_STREQ(L"......", name);
    EXPECT_EQ(error::MoreData, ClusterRegEnumValue(key, 1, name, &nameSize, &type, buffer, &(size = 2)));
    EXPECT_EQ(12U, size);
    EXPECT_EQ(0U, ClusterRegEnumValue(key, 0, name, &nameSize, &type, buffer, &(size = 4)));
    EXPECT_STREQ(L"", name);
    EXPECT_TRUE(nameSize == 0 && size == 3 && type == REG_BINARY);
    EXPECT_EQ(error::NoMoreItems, ClusterRegEnumValue(key, 2, name, &(nameSize = 7), &type, buffer, &size));
    EXPECT_EQ(0, ClusterRegCloseKey(key));
}
