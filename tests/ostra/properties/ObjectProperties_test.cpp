#include <ostra/properties/ObjectProperties.h>

#include <gtest/gtest.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/little_endian.h>
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
using platform::ObjectKind;
using platform::SharedHandle;

/// A cluster that has every object asked for, records what it is sent and answers as it was told.
struct ScriptedService : platform::ForwardingClusterService {
    ScriptedService() : ForwardingClusterService(nullptr) {}
    DWORD Find(ObjectKind kind, const std::wstring&, platform::ObjectId& found) override {
        found = {kind, 1};
        return 0;
    }
    DWORD Control(platform::ObjectId object, std::optional<platform::ObjectId> host, DWORD code,
                  std::span<const BYTE> input, std::vector<BYTE>& output) override {
        ++calls;
        EXPECT_FALSE(host);
        asked = {object.kind, code};
        sentSize = input.size();
        output = answer;
        return status;
    }

    Bytes answer;
    DWORD status = 0;
    int calls = 0;
    std::pair<ObjectKind, DWORD> asked;
    std::size_t sentSize = 0;
};

constexpr auto kinds = {ObjectKind::Node,         ObjectKind::Group,   ObjectKind::Resource,
                        ObjectKind::ResourceType, ObjectKind::Network, ObjectKind::NetworkInterface};

class APropertySet : public testing::Test {
protected:
    ~APropertySet() override { platform::ClusterDirectory::Register(L"Scripted", nullptr); }

    int Set(ObjectKind kind, const StringArray* parameters, DWORD code) {
        switch (kind) {
            case ObjectKind::Node: return NodeProperties(node.Get()).Set(parameters, code);
            case ObjectKind::Group: return GroupProperties(group.Get()).Set(parameters, code);
            case ObjectKind::Resource: return ResourceProperties(resource.Get()).Set(parameters, code);
            case ObjectKind::Network: return NetworkProperties(network.Get()).Set(parameters, code);
            case ObjectKind::NetworkInterface: return NetworkInterfaceProperties(card.Get()).Set(parameters, code);
            default: return ResourceTypeProperties(cluster.Get()).Set(L"Any", parameters, code);
        }
    }
    DWORD Get(ObjectKind kind, StringMap& map, DWORD code) {
        switch (kind) {
            case ObjectKind::Node: return NodeProperties(node.Get()).Get(&map, code);
            case ObjectKind::Group: return GroupProperties(group.Get()).Get(&map, code);
            case ObjectKind::Resource: return ResourceProperties(resource.Get()).Get(&map, code);
            case ObjectKind::Network: return NetworkProperties(network.Get()).Get(&map, code);
            case ObjectKind::NetworkInterface: return NetworkInterfaceProperties(card.Get()).Get(&map, code);
            default: return ResourceTypeProperties(cluster.Get()).Get(L"Any", &map, code);
        }
    }
    /// The one report since the last call; of a failed call it ends with the code's message.
    std::wstring TakeReport() {
        const StringArray texts = events.TakeTexts();
        return texts.size() == 1 ? texts[0] : std::to_wstring(texts.size()) + L" reports";
    }
    static DWORD CodeFor(ObjectKind kind, DWORD code) { return static_cast<DWORD>(kind) << 24 | code; }

    tests::TemporaryHome home;
    tests::CapturedOutput output;
    tests::CapturedEvents events;
    std::shared_ptr<ScriptedService> service = std::make_shared<ScriptedService>();
    SharedHandle<HCLUSTER, CloseCluster> cluster{
        (platform::ClusterDirectory::Register(L"Scripted", service), OpenCluster(L"Scripted"))};
    SharedHandle<HNODE, CloseClusterNode> node{OpenClusterNode(cluster.Get(), L"N")};
    SharedHandle<HGROUP, CloseClusterGroup> group{OpenClusterGroup(cluster.Get(), L"G")};
    SharedHandle<HRESOURCE, CloseClusterResource> resource{OpenClusterResource(cluster.Get(), L"R")};
    SharedHandle<HNETWORK, CloseClusterNetwork> network{OpenClusterNetwork(cluster.Get(), L"W")};
    SharedHandle<HNETINTERFACE, CloseClusterNetInterface> card{OpenClusterNetInterface(cluster.Get(), L"I")};
};

TEST_F(APropertySet, IsSentAndReadWholeOrReportedAndLeftAlone) {
    const StringArray parameters = {L"Permissions=REG_DWORD:127"}, none, unsupported = {L"A=REG_BINARY:1"};
    const StringArray tooLong = {L"A=REG_SZ:x", L"B=REG_SZ:" + std::wstring(65000, L'x')};
    std::vector<platform::PropertyValue> seven;
    for (const wchar_t* name : {L"A", L"B", L"C", L"D", L"E", L"F", L"G"}) seven.push_back({name, 7U});
    for (const ObjectKind kind : kinds) {
        SCOPED_TRACE(static_cast<int>(kind));
        const DWORD write = CodeFor(kind, CLUSCTL_SET_PRIVATE_PROPERTIES);
        const DWORD read = CodeFor(kind, CLUSCTL_GET_COMMON_PROPERTIES);
        EXPECT_EQ(1, Set(kind, &parameters, write));
        EXPECT_EQ(std::pair(kind, write), service->asked);
        EXPECT_EQ(kind == ObjectKind::ResourceType ? 56U : 52U, service->sentSize);
        service->answer = platform::EncodePropertyList(seven);
        StringMap map = {{L"kept", L"1"}, {L"A", L"old"}};
        EXPECT_EQ(7U, Get(kind, map, read));
        EXPECT_EQ(kind == ObjectKind::ResourceType ? 7U : 8U, map.size()) << "types hand on whole groups of six";
        EXPECT_EQ(L"7 1", map[L"A"] + L" " + map[L"kept"]);
        EXPECT_TRUE(events.Take().empty());

        const StringMap before = map;
        service->status = platform::error::AccessDenied;
        EXPECT_EQ(0, Set(kind, &parameters, write));
        EXPECT_TRUE(TakeReport().ends_with(L"Control( ). Access is denied.\r\n"));
        EXPECT_EQ(0U, Get(kind, map, read));
        EXPECT_TRUE(TakeReport().ends_with(L" Access is denied.\r\n"));
        service->status = 0;
        service->calls = 0;
        for (const StringArray* list : {static_cast<const StringArray*>(nullptr), &none, &unsupported, &tooLong})
            EXPECT_EQ(0, Set(kind, list, write));
        events.Take();
        const DWORD foreign = CodeFor(kind == ObjectKind::Node ? ObjectKind::Group : ObjectKind::Node, 0x59);
        EXPECT_EQ(0U, Get(kind, map, foreign));
        EXPECT_NE(std::wstring::npos, TakeReport().find(L"Properties::Get( ). Invalid control code."));
        EXPECT_EQ(platform::error::InvalidParameter, GetLastError());
        service->answer.resize(Properties::BufferSize + 1);
        EXPECT_EQ(0U, Get(kind, map, read));
        EXPECT_EQ(21, service->calls) << "an answer that does not fit is asked for again";
        EXPECT_EQ(platform::error::MoreData, GetLastError());
        EXPECT_TRUE(TakeReport().ends_with(L" More data is available.\r\n"));
        EXPECT_EQ(before, map);
        service->answer.clear();
        const int isSent = kind == ObjectKind::Network || kind == ObjectKind::NetworkInterface ? 0 : 1;
        EXPECT_EQ(isSent, Set(kind, &parameters, foreign)) << "networks alone refuse codes of another kind";
        EXPECT_EQ(21 + isSent, service->calls);
        EXPECT_EQ(1 - isSent, static_cast<int>(events.Take().size()));
    }
    const std::wstring traced = output.Take();
    for (const wchar_t* text : {L"GroupProperties::Get( ). On entry. controlCode:50331737 valid:1\n",
                                L"ResourceProperties::Set( ) callingClusterResourceControl...status: 5 Access is"})
        EXPECT_NE(std::wstring::npos, traced.find(text));
}

/// The value entries of one disk, without the end mark.
void AppendDisk(Bytes& list, DWORD signature, const std::wstring& device) {
    platform::AppendValueEntry(list, CLUSPROP_SYNTAX_DISK_SIGNATURE, signature);
    platform::AppendValueEntry(list, CLUSPROP_SYNTAX_SCSI_ADDRESS, 0x10);
    platform::AppendValueEntry(list, CLUSPROP_SYNTAX_DISK_NUMBER, 11);
    Bytes partition(4 + 520 + 520 + 4 + 8, 0);
    std::ranges::copy(platform::ToUtf16(device), partition.begin() + 4);
    std::ranges::copy(platform::ToUtf16(L"DATA"), partition.begin() + 524);
    platform::PutNumber(&partition[1044], 0x0EADBEEF);
    platform::AppendValueEntry(list, CLUSPROP_SYNTAX_PARTITION_INFO, partition);
}

TEST_F(APropertySet, OfADiskHoldsItsSixDescriptionsAndOfATypeThoseOfEachAvailableDisk) {
    const StringMap disk = {{L"Signature", L"a1b2c3d"}, {L"SCSI Address", L"10"},    {L"Disk Number", L"11"},
                            {L"Partition", L"G:"},      {L"Volumne Lable", L"DATA"}, {L"Serial Number", L"eadbeef"}};
    AppendDisk(service->answer, 0x0A1B2C3D, L"G:");
    platform::AppendValueEntry(service->answer, CLUSPROP_SYNTAX_PARTITION_INFO, Bytes(1047, 1));  // too short
    platform::AppendValueEntry(service->answer, 0x00090001, Bytes{1, 2, 3});                      // of no interest
    const Bytes one = service->answer;
    StringMap part;
    for (std::size_t size = 0; size <= one.size(); ++size) {
        service->answer.assign(one.begin(), one.begin() + static_cast<std::ptrdiff_t>(size));
        part.clear();
        const DWORD count = Get(ObjectKind::Resource, part, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO);
        EXPECT_EQ(part.size(), count);
        for (const auto& [name, value] : part) EXPECT_EQ(disk.at(name), value) << size;
    }
    EXPECT_EQ(disk, part);

    AppendDisk(service->answer, 0x2, L"H:");
    platform::AppendValueEntry(service->answer, CLUSPROP_SYNTAX_DISK_SIGNATURE, 3);
    service->answer.resize(service->answer.size() + 12);
    StringArray descriptions = {L"kept"};
    ResourceTypeProperties properties(cluster.Get());
    constexpr DWORD code = CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS;
    EXPECT_EQ(13U, properties.Get(L"Physical Disk", &descriptions, code));
    EXPECT_EQ((StringArray{L"kept", L"Signature=a1b2c3d", L"SCSI Address=10", L"Disk Number=11", L"Partition=G:",
                           L"Volumne Lable=DATA", L"Serial Number=eadbeef", L"Signature=2", L"SCSI Address=10",
                           L"Disk Number=11", L"Partition=H:", L"Volumne Lable=DATA", L"Serial Number=eadbeef"}),
              descriptions);
    StringMap map;
    EXPECT_EQ(13U, properties.Get(L"Physical Disk", &map, code));
    EXPECT_EQ(L"2 H:", map[L"Signature"] + L" " + map[L"Partition"]);
}

}  // namespace
