#include <ostra/properties/ObjectProperties.h>

#include <gtest/gtest.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/cluster_api.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/CapturedOutput.h>
#include <tests/support/TemporaryHome.h>

namespace {

using Bytes = std::vector<BYTE>;

/// A cluster that has every object asked for, records what it is sent and answers as it was told.
class ScriptedService : public platform::ForwardingClusterService {
public:
    ScriptedService() : ForwardingClusterService(nullptr) {}
    DWORD Find(platform::ObjectKind kind, const std::wstring&, platform::ObjectId& found) override {
        found = {kind, 1};
        return platform::error::Success;
    }
    DWORD Control(platform::ObjectId object, std::optional<platform::ObjectId> host, DWORD code,
                  std::span<const BYTE> input, std::vector<BYTE>& output) override {
        ++calls;
        lastCode = code;
        lastKind = object.kind;
        hadHost = host.has_value();
        sent.assign(input.begin(), input.end());
        output = answer;
        return status;
    }

    Bytes answer;
    DWORD status = 0;
    int calls = 0;
    DWORD lastCode = 0;
    platform::ObjectKind lastKind = {};
    bool hadHost = false;
    Bytes sent;
};

struct Kind {
    const wchar_t* name;
    platform::ObjectKind kind;
    bool checksSets;
    const wchar_t* invalidGet;
    const wchar_t* getFailure;
    const wchar_t* setFailure;
    std::function<int(const StringArray*, DWORD)> set;
    std::function<DWORD(StringMap*, DWORD)> get;
};

class APropertySet : public testing::Test {
protected:
    APropertySet() { platform::ClusterDirectory::Register(L"Scripted", service); }
    ~APropertySet() override {
        CloseClusterNode(node);
        CloseClusterGroup(group);
        CloseClusterResource(resource);
        CloseClusterNetwork(network);
        CloseClusterNetInterface(netInterface);
        CloseCluster(cluster);
        platform::ClusterDirectory::Register(L"Scripted", nullptr);
    }

    template <typename Set, typename Handle>
    static Kind With(Kind kind, Handle handle) {
        kind.set = [=](const StringArray* parameters, DWORD code) { return Set(handle).Set(parameters, code); };
        kind.get = [=](StringMap* map, DWORD code) { return Set(handle).Get(map, code); };
        return kind;
    }

    std::vector<Kind> AllKinds() {
        using platform::ObjectKind;
        Kind type = {L"type",
                     ObjectKind::ResourceType,
                     false,
                     L"ResourceTypeProperties::Get( ). Invalid control code.",
                     L"ResouceProperties::Get( ). Failure calling ClusterResourceTypeControl( ). ",
                     L"ResourceTypeProperties::Set( ). Failure calling ClusterResourceTypeControl( ). ",
                     {},
                     {}};
        type.set = [this](const StringArray* parameters, DWORD code) {
            return ResourceTypeProperties(cluster).Set(L"Any", parameters, code);
        };
        type.get = [this](StringMap* map, DWORD code) {
            return ResourceTypeProperties(cluster).Get(L"Any", map, code);
        };
        return {
            type,
            With<NodeProperties>({L"node",
                                  ObjectKind::Node,
                                  false,
                                  L"NodeProperties::Get( ). Invalid control code. ",
                                  L"NodeProperties::Get( ). Failure calling ClusterNodeControl( ). ",
                                  L"NodeProperties::Set( ). Failure calling ClusterNodeControl( ). ",
                                  {},
                                  {}},
                                 node),
            With<GroupProperties>({L"group",
                                   ObjectKind::Group,
                                   false,
                                   L"GroupProperties::Get( ). Invalid control code. ",
                                   L"GroupProperties::Get( ). Failure calling ClusterGroupControl. ",
                                   L"Properties::Set( ). Failure calling ClusterGroupControl( ). ",
                                   {},
                                   {}},
                                  group),
            With<ResourceProperties>({L"resource",
                                      ObjectKind::Resource,
                                      false,
                                      L"ResourceProperties::Get( ). Invalid control code. ",
                                      L"ResourceProperties::Get( ). Failure calling ClusterResourceControl. ",
                                      L"ResourceProperties::Set( ). Failure calling ClusterResourceControl( ). ",
                                      {},
                                      {}},
                                     resource),
            With<NetworkProperties>({L"network",
                                     ObjectKind::Network,
                                     true,
                                     L"NetworkProperties::Get( ). Invalid control code. ",
                                     L"NetworkProperties::Get( ). Failure calling ClusterNetworkControl( ). ",
                                     L"NetworkProperties::Set( ). Failure calling ClusterNetworkControl( ). ",
                                     {},
                                     {}},
                                    network),
            With<NetworkInterfaceProperties>(
                {L"interface",
                 ObjectKind::NetworkInterface,
                 true,
                 L"NetworkInterfaceProperties::Get( ). Invalid control code. ",
                 L"NetworkInterfaceProperties::Get( ). Failure calling ClusterNetInterfaceControl( ). ",
                 L"NetworkInterfaceProperties::Set( ). Failure calling ClusterNetInterfaceControl( ). ",
                 {},
                 {}},
                netInterface),
        };
    }

    static DWORD CodeFor(platform::ObjectKind kind, DWORD code) { return static_cast<DWORD>(kind) << 24 | code; }

    /// An answer of seven properties, of which a resource type hands six on.
    static Bytes SevenProperties() {
        std::vector<platform::PropertyValue> properties;
        for (const wchar_t* name : {L"A", L"B", L"C", L"D", L"E", L"F", L"G"}) properties.push_back({name, 7U});
        return platform::EncodePropertyList(properties);
    }

    tests::TemporaryHome home;
    tests::CapturedOutput output;
    tests::CapturedEvents events;
    std::shared_ptr<ScriptedService> service = std::make_shared<ScriptedService>();
    HCLUSTER cluster = (platform::ClusterDirectory::Register(L"Scripted", service), OpenCluster(L"Scripted"));
    HNODE node = OpenClusterNode(cluster, L"N");
    HGROUP group = OpenClusterGroup(cluster, L"G");
    HRESOURCE resource = OpenClusterResource(cluster, L"R");
    HNETWORK network = OpenClusterNetwork(cluster, L"W");
    HNETINTERFACE netInterface = OpenClusterNetInterface(cluster, L"I");
};

TEST_F(APropertySet, SendsItsListWithTheCodeGivenAndNoHostNode) {
    const StringArray parameters = {L"Permissions=REG_DWORD:127"};
    for (const Kind& kind : AllKinds()) {
        const DWORD code = CodeFor(kind.kind, CLUSCTL_SET_PRIVATE_PROPERTIES);
        service->status = 0;
        EXPECT_EQ(1, kind.set(&parameters, code)) << kind.name;
        EXPECT_EQ(code, service->lastCode) << kind.name;
        EXPECT_EQ(kind.kind, service->lastKind) << kind.name;
        EXPECT_FALSE(service->hadHost) << kind.name;
        EXPECT_EQ(kind.kind == platform::ObjectKind::ResourceType ? 56U : 52U, service->sent.size()) << kind.name;
        EXPECT_TRUE(events.Take().empty()) << kind.name;
        service->status = platform::error::AccessDenied;
        EXPECT_EQ(0, kind.set(&parameters, code)) << kind.name;
        EXPECT_EQ((StringArray{std::wstring(kind.setFailure) + L"Access is denied.\r\n"}), events.TakeTexts());
    }
}

TEST_F(APropertySet, SendsNothingWhenThereIsNothingToSend) {
    const StringArray none, unsupported = {L"A=REG_BINARY:1"};
    for (const Kind& kind : AllKinds())
        for (const StringArray* parameters : {static_cast<const StringArray*>(nullptr), &none, &unsupported})
            EXPECT_EQ(0, kind.set(parameters, CodeFor(kind.kind, CLUSCTL_SET_COMMON_PROPERTIES))) << kind.name;
    const StringArray tooLong = {L"A=REG_SZ:x", L"B=REG_SZ:" + std::wstring(65000, L'x')};
    EXPECT_EQ(0, NodeProperties(node).Set(&tooLong, CodeFor(platform::ObjectKind::Node, 0)));
    EXPECT_EQ(0, service->calls);
}

TEST_F(APropertySet, RefusesCodesOfAnotherKindWhenReadingAndOnlyNetworksAlsoWhenWriting) {
    const StringArray parameters = {L"A=REG_DWORD:1"};
    for (const Kind& kind : AllKinds()) {
        const DWORD foreign =
            CodeFor(kind.kind == platform::ObjectKind::Node ? platform::ObjectKind::Group : platform::ObjectKind::Node,
                    CLUSCTL_GET_COMMON_PROPERTIES);
        service->calls = 0;
        StringMap map = {{L"kept", L"1"}};
        EXPECT_EQ(0U, kind.get(&map, foreign)) << kind.name;
        EXPECT_EQ(0, service->calls) << kind.name;
        EXPECT_EQ(1U, map.size()) << kind.name;
        EXPECT_EQ((StringArray{kind.invalidGet}), events.TakeTexts());
        EXPECT_EQ(kind.checksSets ? 0 : 1, kind.set(&parameters, foreign)) << kind.name;
        EXPECT_EQ(kind.checksSets ? 1U : 0U, events.Take().size()) << kind.name;
        EXPECT_EQ(kind.checksSets ? 0 : 1, service->calls) << kind.name;
    }
}

TEST_F(APropertySet, ReadsEveryPropertyIntoTheCallersMap) {
    service->answer = SevenProperties();
    for (const Kind& kind : AllKinds()) {
        const bool isType = kind.kind == platform::ObjectKind::ResourceType;
        StringMap map = {{L"kept", L"1"}, {L"A", L"old"}};
        EXPECT_EQ(7U, kind.get(&map, CodeFor(kind.kind, CLUSCTL_GET_COMMON_PROPERTIES))) << kind.name;
        EXPECT_EQ(isType ? 7U : 8U, map.size()) << kind.name << ": types hand on whole groups of six";
        EXPECT_EQ(L"7", map[L"A"]) << kind.name;
        EXPECT_EQ(L"1", map[L"kept"]) << kind.name;

        service->status = platform::error::AccessDenied;
        map = {{L"kept", L"1"}};
        EXPECT_EQ(0U, kind.get(&map, CodeFor(kind.kind, CLUSCTL_GET_COMMON_PROPERTIES))) << kind.name;
        EXPECT_EQ(1U, map.size()) << kind.name;
        EXPECT_EQ((StringArray{std::wstring(kind.getFailure) + L"Access is denied.\r\n"}), events.TakeTexts());
        service->status = 0;
    }
}

TEST_F(APropertySet, AsksAgainForAnAnswerThatDidNotFitButNotWithoutEnd) {
    service->answer.resize(Properties::BufferSize + 1);
    for (const Kind& kind : AllKinds()) {
        service->calls = 0;
        StringMap map;
        EXPECT_EQ(0U, kind.get(&map, CodeFor(kind.kind, CLUSCTL_GET_COMMON_PROPERTIES))) << kind.name;
        EXPECT_EQ(21, service->calls) << kind.name;
    }
}

TEST_F(APropertySet, TracesTheCallsOnGroupsAndTheWritesOnResources) {
    const StringArray parameters = {L"A=REG_DWORD:1"};
    service->status = platform::error::AccessDenied;
    StringMap map;
    GroupProperties(group, node).Get(&map, CodeFor(platform::ObjectKind::Group, CLUSCTL_GET_COMMON_PROPERTIES));
    EXPECT_EQ(
        L"GroupProperties::Get( ). On entry. controlCode:50331737 valid:1\n"
        L"GroupProperties::Get( ). status:5 Access is denied.\r\n\n",
        output.Take());
    ResourceProperties(resource).Set(&parameters, CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES);
    EXPECT_EQ(L"ResourceProperties::Set( ) callingClusterResourceControl...status: 5 Access is denied.\r\n\n",
              output.Take());
    EXPECT_EQ(0, ClusterProperties(cluster).Set(&parameters, 0));
    EXPECT_EQ(L"Properties::Set( CStringArray*, DWORD ). Tp be implemented by teh derived class.\n", output.Take());
}

class ADiskQuestion : public APropertySet {
protected:
    /// The value entries of one disk, without the end mark.
    static void AppendDisk(Bytes& list, DWORD signature, const std::wstring& device) {
        platform::AppendValueEntry(list, CLUSPROP_SYNTAX_DISK_SIGNATURE, signature);
        platform::AppendValueEntry(list, CLUSPROP_SYNTAX_SCSI_ADDRESS, 0x10);
        platform::AppendValueEntry(list, CLUSPROP_SYNTAX_DISK_NUMBER, 11);
        Bytes partition(4 + 520 + 520 + 4 + 8, 0);
        const auto put = [&](std::size_t at, const Bytes& bytes) {
            std::copy(bytes.begin(), bytes.end(), partition.begin() + static_cast<std::ptrdiff_t>(at));
        };
        put(4, platform::ToUtf16(device));
        put(524, platform::ToUtf16(L"DATA"));
        put(1044, {0xEF, 0xBE, 0xAD, 0x0E});
        platform::AppendValueEntry(list, CLUSPROP_SYNTAX_PARTITION_INFO, partition);
    }

    const StringMap first = {{L"Signature", L"a1b2c3d"}, {L"SCSI Address", L"10"},    {L"Disk Number", L"11"},
                             {L"Partition", L"G:"},      {L"Volumne Lable", L"DATA"}, {L"Serial Number", L"eadbeef"}};
};

TEST_F(ADiskQuestion, AboutADiskResourceAnswersItsSixDescriptions) {
    AppendDisk(service->answer, 0x0A1B2C3D, L"G:");
    platform::AppendValueEntry(service->answer, 0x00090001, Bytes{1, 2, 3});  // an entry of no interest
    const Bytes withoutMark = service->answer;
    service->answer.insert(service->answer.end(), 12, BYTE{0});
    StringMap map;
    EXPECT_EQ(6U, ResourceProperties(resource).Get(&map, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO));
    EXPECT_EQ(first, map);

    for (std::size_t size = 0; size < withoutMark.size(); size += 3) {
        service->answer.assign(withoutMark.begin(), withoutMark.begin() + static_cast<std::ptrdiff_t>(size));
        StringMap part;
        EXPECT_LE(ResourceProperties(resource).Get(&part, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO), 6U);
        for (const auto& [name, value] : part) EXPECT_EQ(first.at(name), value) << size;
    }
}

TEST_F(ADiskQuestion, AboutAvailableDisksAnswersSixDescriptionsForEachDisk) {
    AppendDisk(service->answer, 0x0A1B2C3D, L"G:");
    AppendDisk(service->answer, 0x2, L"H:");
    platform::AppendValueEntry(service->answer, CLUSPROP_SYNTAX_DISK_SIGNATURE, 3);
    service->answer.insert(service->answer.end(), 4, BYTE{0});
    StringArray descriptions = {L"kept"};
    ResourceTypeProperties properties(cluster);
    constexpr DWORD code = CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS;
    EXPECT_EQ(13U, properties.Get(L"Physical Disk", &descriptions, code));
    EXPECT_EQ((StringArray{L"kept", L"Signature=a1b2c3d", L"SCSI Address=10", L"Disk Number=11", L"Partition=G:",
                           L"Volumne Lable=DATA", L"Serial Number=eadbeef", L"Signature=2", L"SCSI Address=10",
                           L"Disk Number=11", L"Partition=H:", L"Volumne Lable=DATA", L"Serial Number=eadbeef"}),
              descriptions);
    StringMap map;
    EXPECT_EQ(13U, properties.Get(L"Physical Disk", &map, code));
    EXPECT_EQ(L"2", map[L"Signature"]);
    EXPECT_EQ(L"H:", map[L"Partition"]);
}

}  // namespace
