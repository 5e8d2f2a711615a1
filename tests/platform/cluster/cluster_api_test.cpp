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

using namespace platform;
using tests::Operation;

namespace {

template <typename Handle>
Handle Foreign(void* handle) {
    return static_cast<Handle>(handle);
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

TEST_F(TheClusterApi, AsksItsOperationAboutTheObjectsGiven) {
    const HRESOURCE share = CreateClusterResource(_group, L"Share", L"Generic Service", 0);
    const HNETINTERFACE netInterface = OpenClusterNetInterface(_cluster, L"N1 - Public");
    const HKEY key = GetClusterKey(_cluster, KEY_ALL_ACCESS);
    HKEY opened = nullptr;
    wchar_t name[50];
    wchar_t groupName[50];
    DWORD size = 50;
    DWORD groupSize = 50;
    _failing->ForgetCalls();
    EXPECT_EQ(0U, OnlineClusterGroup(_group, _node));
    EXPECT_EQ(0U, OnlineClusterGroup(_group, nullptr));
    EXPECT_EQ(DWORD{ClusterGroupOnline}, GetClusterGroupState(_group, name, &size));
    EXPECT_STREQ(L"N1", name);
    size = 50;
    EXPECT_EQ(DWORD{ClusterResourceOnline}, GetClusterResourceState(_resource, name, &size, groupName, &groupSize));
    EXPECT_EQ(L"N1 Files", std::wstring(name) + L" " + groupName);
    EXPECT_EQ(0U, OfflineClusterGroup(_group));
    EXPECT_EQ(0U, OnlineClusterResource(_resource));
    EXPECT_EQ(0U, OfflineClusterResource(_resource));
    EXPECT_EQ(0U, MoveClusterGroup(_group, nullptr));
    EXPECT_EQ(0U, AddClusterResourceDependency(share, _resource));
    EXPECT_EQ(0U, RemoveClusterResourceDependency(share, _resource));
    EXPECT_EQ(0U, RemoveClusterResourceNode(_resource, _node));
    EXPECT_EQ(0U, AddClusterResourceNode(_resource, _node));
    EXPECT_EQ(0U, SetClusterGroupNodeList(_group, 1, &_node));
    EXPECT_EQ(0U, SetClusterGroupName(_group, L"Papers"));
    EXPECT_EQ(0U, PauseClusterNode(_node));
    EXPECT_EQ(DWORD{ClusterNodePaused}, GetClusterNodeState(_node));
    EXPECT_EQ(0U, ResumeClusterNode(_node));
    EXPECT_EQ((StringArray{L"OnlineGroup Files N1", L"OnlineGroup Files", L"GroupState Files", L"ResourceState Disk",
                           L"OfflineGroup Files", L"OnlineResource Disk", L"OfflineResource Disk", L"MoveGroup Files",
                           L"AddDependency Share Disk", L"RemoveDependency Share Disk", L"RemoveResourceOwner Disk N1",
                           L"AddResourceOwner Disk N1", L"SetGroupOwners Files N1", L"RenameGroup Files Papers",
                           L"PauseNode N1", L"NodeState N1", L"ResumeNode N1"}),
              _failing->Log());

    _failing->ForgetCalls();
    EXPECT_EQ(DWORD{ClusterNetworkUp}, GetClusterNetworkState(_network));
    EXPECT_EQ(DWORD{ClusterNetInterfaceUp}, GetClusterNetInterfaceState(netInterface));
    EXPECT_EQ(0U, GetClusterNetInterface(_cluster, L"N1", L"Public", name, &(size = 50)));
    EXPECT_STREQ(L"N1 - Public", name);
    EXPECT_EQ(0U, GetClusterNetworkId(_network, name, &(size = 50)));
    EXPECT_EQ(0U, GetClusterInformation(_cluster, name, &(size = 50), nullptr));
    EXPECT_STREQ(L"Tarn", name);
    const auto control = [](auto function, auto handle, DWORD object) {
        const DWORD code = object | CLUSCTL_GET_COMMON_PROPERTIES;
        EXPECT_EQ(error::MoreData, function(handle, nullptr, code, nullptr, 0, nullptr, 0, nullptr));
    };
    control(ClusterNodeControl, _node, CLUS_OBJECT_NODE);
    control(ClusterGroupControl, _group, CLUS_OBJECT_GROUP);
    control(ClusterNetworkControl, _network, CLUS_OBJECT_NETWORK);
    control(ClusterNetInterfaceControl, netInterface, CLUS_OBJECT_NETINTERFACE);
    EXPECT_EQ(0, ClusterRegCreateKey(key, L"A\\B", 0, KEY_READ, nullptr, &opened, nullptr));
    EXPECT_EQ(0, ClusterRegEnumKey(key, 0, name, &(size = 50), nullptr));
    EXPECT_STREQ(L"A", name);
    EXPECT_EQ(0, ClusterRegDeleteKey(key, L"A\\B"));
    EXPECT_EQ(0U, ClusterRegSetValue(key, L"V", REG_SZ, nullptr, 0));
    EXPECT_EQ(0U, ClusterRegDeleteValue(key, L"V"));
    EXPECT_EQ(0U, EvictClusterNode(_node));
    EXPECT_EQ(
        (StringArray{L"NetworkState Public", L"NetworkInterfaceState N1 - Public", L"InterfaceOf N1 Public",
                     L"NetworkIdentifier Public", L"Information", L"Control N1 67108953", L"Control Papers 50331737",
                     L"Control Public 83886169", L"Control N1 - Public 100663385", L"CreateKey A\\B", L"SubkeyAt",
                     L"DeleteKey A\\B", L"SetValue V", L"DeleteValue V", L"EvictNode N1"}),
        _failing->Log());
    for (const HKEY each : {key, opened}) EXPECT_EQ(0, ClusterRegCloseKey(each));
    EXPECT_EQ(1, CloseClusterResource(share));
    EXPECT_EQ(1, CloseClusterNetInterface(netInterface));
}

TEST_F(TheClusterApi, RefusesHandlesThatAreNotOpen) {
    const HGROUP closed = OpenClusterGroup(_cluster, L"Files");
    EXPECT_EQ(1, CloseClusterGroup(closed));
    EXPECT_EQ(0, CloseClusterGroup(closed));
    EXPECT_EQ(error::InvalidHandle, Cause());
    const HGROUP reused = OpenClusterGroup(_cluster, L"Files");
    EXPECT_NE(closed, reused);
    int number = 0;
    for (const HGROUP group : {closed, static_cast<HGROUP>(nullptr), Foreign<HGROUP>(&number), Foreign<HGROUP>(_node),
                               Foreign<HGROUP>(_cluster)}) {
        const std::vector<DWORD> answers = {
            OfflineClusterGroup(group),
            SetClusterGroupName(group, L"Other"),
            GetClusterGroupState(group, nullptr, nullptr) == ClusterStateUnknown ? Cause() : 0,
            CreateClusterResource(group, L"New", L"Generic Service", 0) ? 0 : Cause(),
            ClusterGroupOpenEnum(group, 1) ? 0 : Cause(),
            GetClusterGroupKey(group, KEY_READ) ? 0 : Cause(),
            CloseClusterGroup(group) ? 0 : Cause()};
        EXPECT_EQ(std::vector<DWORD>(7, error::InvalidHandle), answers);
    }
    EXPECT_EQ(error::InvalidHandle, OnlineClusterGroup(_group, Foreign<HNODE>(_group)));
    EXPECT_EQ(error::InvalidHandle, AddClusterResourceDependency(_resource, nullptr));
    EXPECT_EQ(error::InvalidHandle, ClusterCloseEnum(nullptr));
    EXPECT_EQ(error::InvalidHandle, static_cast<DWORD>(ClusterRegCloseKey(Foreign<HKEY>(_group))));
    EXPECT_EQ(nullptr, OpenClusterNode(Foreign<HCLUSTER>(_node), L"N1"));
    EXPECT_EQ(error::InvalidHandle, Cause());
    EXPECT_EQ(1, CloseClusterGroup(reused));
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
    HKEY opened = nullptr;
    DWORD disposition = 0;
    EXPECT_EQ(0, ClusterRegCreateKey(key, L"Ostra", 0, KEY_WRITE, nullptr, &opened, &disposition));
    EXPECT_EQ(REG_CREATED_NEW_KEY, disposition);
    EXPECT_EQ(0, ClusterRegCloseKey(key));
    const BYTE data = 7;
    EXPECT_EQ(0U, ClusterRegSetValue(opened, L"Value", REG_BINARY, &data, 1));
    EXPECT_EQ(0, ClusterRegCloseKey(opened));
    EXPECT_EQ(0U, ClusterCloseEnum(groups));
    _cluster = OpenCluster(L"Tarn");
}

TEST_F(TheClusterApi, RefusesNamesThatAreNullOrEndless) {
    const std::wstring endless(1025, L'x');
    for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), endless.c_str()}) {
        const std::vector<DWORD> answers = {
            OpenClusterNode(_cluster, name) ? 0 : Cause(), CreateClusterGroup(_cluster, name) ? 0 : Cause(),
            CreateClusterResource(_group, L"New", name, 0) ? 0 : Cause(), SetClusterGroupName(_group, name),
            ClusterResourceTypeControl(_cluster, name, nullptr, 0x02000059, nullptr, 0, nullptr, 0, nullptr)};
        EXPECT_EQ(std::vector<DWORD>(5, error::InvalidParameter), answers);
    }
    EXPECT_EQ(nullptr, OpenCluster(endless.c_str()));
    EXPECT_EQ(error::InvalidParameter, Cause());
    EXPECT_EQ(nullptr, OpenCluster(L"Nowhere"));
    EXPECT_EQ(error::FileNotFound, Cause());
}

TEST_F(TheClusterApi, HandsOutNamesThatFitAndOtherwiseTheirSize) {
    const HCLUSENUM nodes = ClusterOpenEnum(_cluster, CLUSTER_ENUM_NODE);
    DWORD type = 77;
    for (const DWORD room : {0U, 1U, 2U}) {
        wchar_t name[] = L"....";
        DWORD size = room;
        EXPECT_EQ(error::MoreData, ClusterEnum(nodes, 0, &type, name, &size)) << room;
        EXPECT_EQ(3U, size);
        EXPECT_STREQ(L"....", name);
        size = room;
        EXPECT_EQ(ClusterStateUnknown, GetClusterGroupState(_group, name, &size));
        EXPECT_EQ(error::MoreData, Cause());
        EXPECT_EQ(3U, size);
    }
    EXPECT_EQ(77U, type);
    wchar_t name[] = L"....";
    DWORD size = 3;
    EXPECT_EQ(0U, ClusterEnum(nodes, 1, &type, name, &size));
    EXPECT_EQ(2U, size);
    EXPECT_EQ(std::wstring(L"N2\0.", 4), std::wstring(name, 4));
    EXPECT_EQ(DWORD{CLUSTER_ENUM_NODE}, type);
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
    const auto ask = [&](DWORD size) {
        return ClusterResourceControl(_resource, nullptr, 0x01000059, nullptr, 0, output, size, &returned);
    };
    EXPECT_EQ(error::MoreData, ask(0));
    const DWORD needed = returned;
    ASSERT_LE(needed, sizeof output);
    EXPECT_EQ(error::MoreData, ask(needed - 1));
    EXPECT_EQ(needed, returned);
    EXPECT_EQ(0, output[0]);
    EXPECT_EQ(0U, ask(needed));
    EXPECT_NE(0, output[0]);
    EXPECT_EQ(error::InvalidParameter,
              ClusterResourceControl(_resource, nullptr, 0x01000059, nullptr, 4, output, 4000, &returned));
    EXPECT_EQ(0U, returned);
    EXPECT_EQ(error::InvalidParameter,
              ClusterResourceControl(_resource, nullptr, 0x01000059, nullptr, 0, nullptr, 4000, &returned));
    EXPECT_EQ(error::InvalidParameter,
              ClusterResourceControl(_resource, nullptr, 0x03000059, nullptr, 0, output, 4000, &returned));
    EXPECT_EQ(error::ResourceTypeNotFound,
              ClusterResourceTypeControl(_cluster, L"None", nullptr, 0x02000059, nullptr, 0, output, 4000, &returned));
}

TEST_F(TheClusterApi, PassesOnWhatTheEngineAnswers) {
    _failing->Fail(Operation::Find, error::AccessDenied);
    EXPECT_EQ(nullptr, OpenClusterGroup(_cluster, L"Files"));
    EXPECT_EQ(error::AccessDenied, Cause());
    _failing->Fail(Operation::NodeState, error::Timeout);
    EXPECT_EQ(ClusterStateUnknown, GetClusterNodeState(_node));
    EXPECT_EQ(error::Timeout, Cause());
    _failing->Answer(Operation::OnlineGroup);
    EXPECT_EQ(error::IoPending, OnlineClusterGroup(_group, _node));
    EXPECT_EQ(DWORD{ClusterGroupOnline}, GetClusterGroupState(_group, nullptr, nullptr));
    _failing->Heal();

    _failing->FailItem(Operation::Enumerate, 0, error::GeneralFailure);
    const HCLUSENUM nodes = ClusterOpenEnum(_cluster, CLUSTER_ENUM_NODE);
    wchar_t name[10];
    DWORD size = 10;
    EXPECT_EQ(error::GeneralFailure, ClusterEnum(nodes, 0, nullptr, name, &size));
    EXPECT_EQ(0U, ClusterEnum(nodes, 1, nullptr, name, &size));
    EXPECT_EQ(0U, ClusterCloseEnum(nodes));

    _failing->ForgetCalls();
    _failing->FailCall(Operation::MoveGroup, 2, error::Busy);
    EXPECT_EQ(0U, MoveClusterGroup(_group, nullptr));
    EXPECT_EQ(error::Busy, MoveClusterGroup(_group, _node));
    EXPECT_EQ(0U, MoveClusterGroup(_group, _node));
    EXPECT_EQ((StringArray{L"MoveGroup Files", L"MoveGroup Files N1", L"MoveGroup Files N1"}), _failing->Log());
    EXPECT_EQ(3, _failing->Calls(Operation::MoveGroup));
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
    const HKEY all = GetClusterKey(_cluster, KEY_ALL_ACCESS);
    const HKEY reading = GetClusterKey(_cluster, KEY_READ);
    const HKEY writing = GetClusterKey(_cluster, KEY_WRITE);
    HKEY opened = all;
    wchar_t name[20];
    DWORD size = 20;
    const BYTE data[] = {1, 2, 3};
    const LONG denied = static_cast<LONG>(error::AccessDenied);
    const auto code = [](LONG result) { return static_cast<DWORD>(result); };
    EXPECT_EQ(0U, ClusterRegSetValue(writing, L"Value", REG_BINARY, data, 3));
    const std::vector<DWORD> answers = {
        code(ClusterRegCreateKey(reading, L"New", 0, KEY_READ, nullptr, &opened, nullptr)),
        ClusterRegSetValue(reading, L"Value", REG_BINARY, data, 3),
        ClusterRegDeleteValue(reading, L"Value"),
        code(ClusterRegDeleteKey(reading, L"New")),
        code(ClusterRegEnumKey(writing, 0, name, &size, nullptr)),
        code(ClusterRegQueryValue(writing, L"Value", nullptr, nullptr, nullptr)),
        ClusterRegEnumValue(writing, 0, name, &size, nullptr, nullptr, nullptr)};
    EXPECT_EQ(std::vector<DWORD>(7, error::AccessDenied), answers);
    EXPECT_EQ(0, ClusterRegQueryValue(reading, L"value", nullptr, nullptr, nullptr));

    EXPECT_EQ(static_cast<LONG>(error::FileNotFound), ClusterRegOpenKey(reading, L"None", KEY_READ, &opened));
    EXPECT_EQ(nullptr, opened);
    EXPECT_EQ(static_cast<LONG>(error::InvalidParameter),
              ClusterRegCreateKey(all, L"New", 4, KEY_READ, nullptr, &opened, nullptr));
    EXPECT_EQ(0, ClusterRegCreateKey(all, L"New", 1, KEY_WRITE, nullptr, &opened, nullptr));
    EXPECT_EQ(denied, ClusterRegEnumKey(opened, 0, name, &size, nullptr));
    for (const HKEY key : {all, reading, writing, opened}) EXPECT_EQ(0, ClusterRegCloseKey(key));
}

TEST_F(TheClusterApi, HandsOutValuesThatFitAndOtherwiseTheirSize) {
    const HKEY holder = GetClusterGroupKey(_group, KEY_ALL_ACCESS);
    HKEY key = nullptr;
    EXPECT_EQ(0, ClusterRegCreateKey(holder, L"Own", 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
    EXPECT_EQ(0, ClusterRegCloseKey(holder));
    const BYTE data[] = {1, 2, 3};
    EXPECT_EQ(0U, ClusterRegSetValue(key, nullptr, REG_BINARY, data, 3));
    EXPECT_EQ(0U, ClusterRegSetValue(key, L"Empty", REG_SZ, nullptr, 0));
    EXPECT_EQ(error::InvalidParameter, ClusterRegSetValue(key, L"Bad", REG_SZ, nullptr, 1));
    BYTE buffer[] = {9, 9, 9, 9};
    DWORD type = 0;
    DWORD size = 2;
    EXPECT_EQ(static_cast<LONG>(error::MoreData), ClusterRegQueryValue(key, L"", &type, buffer, &size));
    EXPECT_EQ(3U, size);
    EXPECT_EQ(9, buffer[0]);
    EXPECT_EQ(0, ClusterRegQueryValue(key, nullptr, &type, buffer, &size));
    EXPECT_EQ(3, buffer[2]);
    EXPECT_EQ(9, buffer[3]);
    EXPECT_EQ(static_cast<LONG>(error::InvalidParameter), ClusterRegQueryValue(key, L"", &type, buffer, nullptr));
    EXPECT_EQ(0, ClusterRegQueryValue(key, L"Empty", &type, nullptr, &size));
    EXPECT_EQ(0U, size);

    wchar_t name[] = L"......";
    DWORD nameSize = 5;
    size = 4;
    EXPECT_EQ(error::MoreData, ClusterRegEnumValue(key, 1, name, &nameSize, &type, buffer, &size));
    EXPECT_EQ(6U, nameSize);
    EXPECT_STREQ(L"......", name);
    size = 4;
    EXPECT_EQ(0U, ClusterRegEnumValue(key, 1, name, &nameSize, &type, buffer, &size));
    EXPECT_STREQ(L"Empty", name);
    EXPECT_EQ(5U, nameSize);
    EXPECT_EQ(0U, size);
    size = 2;
    EXPECT_EQ(error::MoreData, ClusterRegEnumValue(key, 0, name, &nameSize, &type, buffer, &size));
    EXPECT_EQ(3U, size);
    EXPECT_STREQ(L"Empty", name);
    EXPECT_EQ(error::NoMoreItems, ClusterRegEnumValue(key, 2, name, &nameSize, &type, buffer, &size));
    EXPECT_EQ(0, ClusterRegCloseKey(key));
}
