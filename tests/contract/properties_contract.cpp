#include <platform/base/registry_types.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/control_codes.h>
#include <tests/contract/ClusterServiceContract.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

using namespace platform;

namespace {

using Bytes = std::vector<BYTE>;

constexpr DWORD groupGet = CLUS_OBJECT_GROUP | CLUSCTL_GET_COMMON_PROPERTIES;
constexpr DWORD groupSet = CLUS_OBJECT_GROUP | CLUSCTL_SET_COMMON_PROPERTIES;

/// "Name=text" or "Name=#number" for each property of a list, in its order.
StringArray Read(const Bytes& list) {
    std::vector<PropertyValue> properties;
    EXPECT_TRUE(DecodePropertyList(list, properties));
    StringArray texts;
    for (const PropertyValue& property : properties) {
        const auto* number = std::get_if<DWORD>(&property.value);
        texts.push_back(property.name + L"=" +
                        (number ? L"#" + std::to_wstring(*number) : std::get<std::wstring>(property.value)));
    }
    return texts;
}

bool Holds(const StringArray& texts, const std::wstring& text) {
    return std::count(texts.begin(), texts.end(), text) == 1;
}

DWORD WordAt(const Bytes& bytes, std::size_t at) {
    return at + 4 > bytes.size()
               ? 0xDEADBEEF
               : bytes[at] | (DWORD{bytes[at + 1]} << 8) | (DWORD{bytes[at + 2]} << 16) | (DWORD{bytes[at + 3]} << 24);
}

/// The entries of a value list: "50002:a1b2c3d" for a number, "80001:E:/Data/1234" for a partition.
std::vector<std::string> Entries(const Bytes& list) {
    std::vector<std::string> entries;
    char text[64];
    std::size_t at = 0;
    for (; at + 8 <= list.size() && WordAt(list, at) != 0; at += 8 + (WordAt(list, at + 4) + 3) / 4 * 4) {
        const std::size_t data = at + 8;
        if (WordAt(list, at) == CLUSPROP_SYNTAX_PARTITION_INFO && data + 1120 <= list.size()) {
            EXPECT_EQ(1120U, WordAt(list, at + 4)) << "flags, two names of 260 units, serial number, 72 more bytes";
            const std::span<const BYTE> bytes(list);
            std::snprintf(text, sizeof text, "%x:%s/%s/%x", WordAt(list, at),
                          ToUtf8(FromUtf16(bytes.subspan(data + 4, 520))).c_str(),
                          ToUtf8(FromUtf16(bytes.subspan(data + 524, 520))).c_str(), WordAt(list, data + 1044));
        } else {
            std::snprintf(text, sizeof text, "%x:%x", WordAt(list, at), WordAt(list, data));
        }
        entries.emplace_back(text);
    }
    EXPECT_EQ(list.size(), at + 4) << "one end mark, at the end";
    return entries;
}

}  // namespace

TEST_P(ClusterServiceContract, ReadsAndWritesCommonProperties) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId resource = MakeResource(group, L"Disk", {}, L"Physical Disk");
    EXPECT_EQ(0U, Admin().AddNetwork({L"Public", L"192.168.1.0", L"255.255.255.0", 3, L"For clients"}));
    const ObjectId network = Find(ObjectKind::Network, L"Public");
    Bytes output;
    const auto expect = [&](ObjectId object, DWORD code, const StringArray& expected) {
        EXPECT_EQ(0U, Service().Control(object, Node(L"N2"), code, {}, output));
        for (const std::wstring& text : expected) EXPECT_TRUE(Holds(Read(output), text)) << ToUtf8(text);
    };
    const Bytes described = EncodePropertyList({{L"Description", L"Überall 😀"}});
    EXPECT_EQ(0U, Service().Control(group, {}, groupSet, described, output));
    EXPECT_TRUE(output.empty());
    expect(group, groupGet, {L"Description=Überall 😀"});
    expect(resource, CLUSCTL_RESOURCE_GET_COMMON_PROPERTIES, {L"Type=Physical Disk"});
    expect(network, CLUSCTL_NETWORK_GET_RO_COMMON_PROPERTIES,
           {L"Name=Public", L"Address=192.168.1.0", L"AddressMask=255.255.255.0"});
    const Bytes internal = EncodePropertyList({{L"Role", DWORD{1}}});
    EXPECT_EQ(0U, Service().Control(network, {}, CLUSCTL_NETWORK_SET_COMMON_PROPERTIES, internal, output));
    expect(network, CLUSCTL_NETWORK_GET_COMMON_PROPERTIES, {L"Role=#1", L"Description=For clients"});
    for (const ObjectId object : {Node(L"N1"), Find(ObjectKind::ResourceType, L"File Share")})
        expect(object, (static_cast<DWORD>(object.kind) << 24) | 0x59, {});
}

TEST_P(ClusterServiceContract, WritesAPropertyListAsAWholeOrNotAtAll) {
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId resource = MakeResource(group, L"Disk");
    Bytes output;
    const auto set = [&](const std::vector<PropertyValue>& properties) {
        return Service().Control(resource, {}, CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES, EncodePropertyList(properties),
                                 output);
    };
    const std::int64_t mark = LastChange();
    const PropertyValue good{L"Description", L"New"};
    EXPECT_EQ(error::InvalidParameter, set({good, {L"NoSuchProperty", L"x"}}));
    EXPECT_EQ(error::InvalidParameter, set({good, {L"Type", L"File Share"}}));
    EXPECT_EQ(error::InvalidParameter, set({good, {L"Description", DWORD{7}}}));
    Bytes cut = EncodePropertyList({good, good});
    cut.resize(cut.size() - 5);
    EXPECT_EQ(error::InvalidData, Service().Control(resource, {}, CLUSCTL_RESOURCE_SET_COMMON_PROPERTIES, cut, output));
    EXPECT_EQ(error::InvalidData, Service().Control(resource, {}, CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES, {}, output));
    EXPECT_EQ(mark, LastChange());
    EXPECT_EQ(0U, set({{L"Type", L"Generic Service"}, good}));
    EXPECT_EQ(0U, Service().Control(resource, {}, CLUSCTL_RESOURCE_GET_COMMON_PROPERTIES, {}, output));
    EXPECT_TRUE(Holds(Read(output), L"Description=New"));

    output = {1, 2, 3};
    for (const DWORD code : {0x03000059U, 0x00000059U, 0xFF000059U})
        EXPECT_EQ(error::InvalidParameter, Service().Control(resource, {}, code, {}, output)) << code;
    EXPECT_EQ(error::CallNotImplemented, Service().Control(resource, {}, 0x01000000, {}, output));
    EXPECT_EQ((Bytes{1, 2, 3}), output);
}

TEST_P(ClusterServiceContract, PrivatePropertiesAreTheValuesOfTheParametersKey) {
    const ObjectId resource = MakeResource(MakeGroup(L"Files"), L"Share");
    Bytes output;
    const auto getPrivate = [&] {
        EXPECT_EQ(0U, Service().Control(resource, {}, CLUSCTL_RESOURCE_GET_PRIVATE_PROPERTIES, {}, output));
        return Read(output);
    };
    const auto setPrivate = [&](const Bytes& list) {
        return Service().Control(resource, {}, CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES, list, output);
    };
    const Bytes list = EncodePropertyList({{L"Path", L"G:\\€"}, {L"MaxUsers", DWORD{0xFFFFFFFE}}});
    EXPECT_EQ(StringArray(), getPrivate());
    EXPECT_EQ(0U, setPrivate(list));
    ClusterKeyId key = 0;
    ClusterKeyId parameters = 0;
    DWORD type = 0;
    EXPECT_EQ(0U, Service().ObjectKey(resource, key));
    ASSERT_EQ(0U, Service().OpenKey(key, L"Parameters", parameters));
    EXPECT_EQ(0U, Service().QueryValue(parameters, L"path", type, output));
    EXPECT_TRUE(type == REG_SZ && output == ToUtf16(L"G:\\€"));
    EXPECT_EQ(0U, Service().QueryValue(parameters, L"MaxUsers", type, output));
    EXPECT_TRUE(type == REG_DWORD && output == (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));

    EXPECT_EQ(0U, Service().SetValue(parameters, L"Path", REG_EXPAND_SZ, ToUtf16(L"%HOME%")));
    EXPECT_EQ(0U, Service().SetValue(parameters, L"Raw", REG_BINARY, Bytes{1, 2, 3}));
    EXPECT_EQ(0U, Service().DeleteValue(parameters, L"MaxUsers"));
    EXPECT_EQ(error::InvalidParameter,
              setPrivate(EncodePropertyList({{L"Path", L"x"}, {std::wstring(20'000, L'n'), L"x"}})));
    EXPECT_EQ((StringArray{L"Path=%HOME%"}), getPrivate());
    EXPECT_EQ(0U, Service().DeleteKey(key, L"Parameters"));
    EXPECT_EQ(StringArray(), getPrivate());
    EXPECT_EQ(0U, setPrivate(list));
    EXPECT_EQ(2U, getPrivate().size());
}

TEST_P(ClusterServiceContract, DescribesUsedAndAvailableDisks) {
    EXPECT_EQ(0U, Admin().AddDisk({0x0A1B2C3D, 0x10, 1, {{L"E:", L"Data", 0x1234}, {L"F:", L"Logs", 0x5678}}}));
    EXPECT_EQ(0U, Admin().AddDisk({0xF0000000, 0x20, 2, {{L"G:", L"Mail", 0x9ABC}}}));
    EXPECT_EQ(error::ObjectAlreadyExists, Admin().AddDisk({0x0A1B2C3D, 0x30, 3, {}}));
    const std::vector<std::string> first = {"50002:a1b2c3d", "60002:10", "70002:1", "80001:E:/Data/1234",
                                            "80001:F:/Logs/5678"};
    const std::vector<std::string> second = {"50002:f0000000", "60002:20", "70002:2", "80001:G:/Mail/9abc"};
    const ObjectId type = Find(ObjectKind::ResourceType, L"Physical Disk");
    Bytes output;
    EXPECT_EQ(0U, Service().Control(type, {}, CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS, {}, output));
    std::vector<std::string> both = first;
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(both, Entries(output));

    const ObjectId disk = MakeResource(MakeGroup(L"Files"), L"Disk", {}, L"Physical Disk");
    EXPECT_EQ(error::ResourceNotAvailable,
              Service().Control(disk, {}, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO, {}, output));
    const Bytes list = EncodePropertyList({{L"Signature", DWORD{0x0A1B2C3D}}});
    EXPECT_EQ(0U, Service().Control(disk, {}, CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES, list, output));
    EXPECT_EQ(0U, Service().OnlineResource(disk));
    EXPECT_EQ(0U, Service().Control(disk, {}, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO, {}, output));
    EXPECT_EQ(first, Entries(output));
    EXPECT_EQ(0U, Service().Control(type, Node(L"N2"), CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS, {}, output));
    EXPECT_EQ(second, Entries(output));
    const ObjectId share = MakeResource(MakeGroup(L"Mail"), L"Share");
    EXPECT_EQ(error::CallNotImplemented,
              Service().Control(share, {}, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO, {}, output));
}

TEST_P(ClusterServiceContract, KeepsADatabaseOfKeysAndValues) {
    ClusterKeyId root = 0;
    ClusterKeyId key = 0;
    ClusterKeyId other = 0;
    bool created = false;
    std::wstring name;
    DWORD type = 0;
    Bytes data;
    ASSERT_EQ(0U, Service().RootKey(root));
    ASSERT_EQ(0U, Service().CreateKey(root, L"Ostra\\Pools\\Zeta", false, key, created));
    EXPECT_TRUE(created);
    EXPECT_EQ(0U, Service().CreateKey(root, L"ostra\\pools\\ZETA", true, other, created));
    EXPECT_TRUE(!created && key == other);
    ASSERT_EQ(0U, Service().OpenKey(root, L"Ostra\\Pools", other));
    EXPECT_EQ(0U, Service().CreateKey(other, L"alpha", true, key, created));
    EXPECT_EQ(error::ChildMustBeVolatile, Service().CreateKey(key, L"Ever", false, key, created));
    EXPECT_EQ(error::FileNotFound, Service().OpenKey(root, L"Ostra\\Nothing", key));
    EXPECT_EQ(error::InvalidParameter, Service().CreateKey(root, L"a\\\\b", false, key, created));
    EXPECT_EQ(error::InvalidParameter, Service().DeleteKey(other, L""));
    EXPECT_EQ(error::KeyHasChildren, Service().DeleteKey(root, L"Ostra\\Pools"));
    for (const wchar_t* subkey : {L"alpha", L"Zeta"}) {
        EXPECT_EQ(0U, Service().SubkeyAt(other, 0, name));
        EXPECT_EQ(subkey, name);
        EXPECT_EQ(0U, Service().DeleteKey(other, subkey));
    }
    EXPECT_EQ(error::NoMoreItems, Service().SubkeyAt(other, 0, name));

    EXPECT_EQ(0U, Service().SetValue(other, L"b", REG_BINARY, Bytes{1, 0, 255}));
    EXPECT_EQ(0U, Service().SetValue(other, L"", 0xFFFFFFFF, {}));
    EXPECT_EQ(0U, Service().SetValue(other, L"B", REG_SZ, ToUtf16(L"now a text")));
    EXPECT_EQ(0U, Service().ValueAt(other, 1, name, type, data));
    EXPECT_TRUE(name == L"b" && type == REG_SZ && data == ToUtf16(L"now a text"));
    EXPECT_EQ(error::NoMoreItems, Service().ValueAt(other, 2, name, type, data));
    EXPECT_EQ(0U, Service().DeleteValue(other, L"B"));
    EXPECT_EQ(error::FileNotFound, Service().DeleteValue(other, L"b"));
    EXPECT_EQ(error::FileNotFound, Service().QueryValue(other, L"b", type, data));
    EXPECT_EQ(0U, Service().DeleteKey(root, L"Ostra\\Pools"));
    EXPECT_EQ(error::FileNotFound, Service().DeleteKey(root, L"Ostra\\Pools"));
}

TEST_P(ClusterServiceContract, AnswersForDeletedKeysThatTheyWereDeleted) {
    const ObjectId group = MakeGroup(L"Files");
    ClusterKeyId key = 0;
    ClusterKeyId found = 0;
    bool created = false;
    std::wstring name;
    DWORD type = 0;
    Bytes data;
    ASSERT_EQ(0U, Service().ObjectKey(group, key));
    EXPECT_EQ(0U, Service().SetValue(key, L"Kept", REG_DWORD, Bytes{1, 0, 0, 0}));
    EXPECT_EQ(0U, Service().RenameGroup(group, L"Papers"));
    EXPECT_EQ(0U, Service().QueryValue(key, L"Kept", type, data));
    EXPECT_EQ(0U, Admin().DeleteGroup(group));
    MakeGroup(L"Papers");
    for (const DWORD code :
         {Service().OpenKey(key, L"x", found), Service().CreateKey(key, L"x", false, found, created),
          Service().DeleteKey(key, L"x"), Service().SubkeyAt(key, 0, name), Service().SetValue(key, L"x", REG_SZ, {}),
          Service().DeleteValue(key, L"x"), Service().QueryValue(key, L"Kept", type, data),
          Service().ValueAt(key, 0, name, type, data)})
        EXPECT_EQ(error::KeyDeleted, code);
    EXPECT_EQ(error::InvalidParameter, Service().ObjectKey(Node(L"N1"), found));
}

TEST_P(ClusterServiceContract, RecordsEachChangeWithTheNextNumber) {
    SetChangeCommand(L"ostra test");
    const ObjectId owner = Node(L"N2");
    const std::int64_t start = LastChange();
    ClusterKeyId key = 0;
    bool created = false;
    Bytes output;
    const ObjectId group = MakeGroup(L"Files");
    const ObjectId disk = MakeResource(group, L"Disk");
    ASSERT_EQ(0U, Service().RootKey(key));
    for (const DWORD code :
         {Service().RemoveResourceOwner(disk, Node(L"N3")), Service().RenameGroup(group, L"Papers"),
          Service().SetGroupOwners(group, std::span(&owner, 1)), Service().OnlineResource(disk),
          Service().EvictNode(Node(L"N3")), Admin().AddNode(L"N4"), Service().PauseNode(owner),
          Service().Control(group, {}, groupSet, EncodePropertyList({{L"Description", L"x"}}), output),
          Admin().AddNetwork({L"Public", L"10.0.0.0", L"255.0.0.0", 3, L""}),
          Service().CreateKey(key, L"Ostra", false, key, created), Service().SetValue(key, L"x", REG_SZ, {}),
          Service().OfflineGroup(group), Admin().DeleteResource(disk)})
        EXPECT_EQ(0U, code);
    SetChangeCommand(L"");

    std::int64_t number = start;
    std::map<DWORD, std::wstring> told;  // the last object told of in each notification
    for (const ClusterChange& change : ChangesAfter(start)) {
        EXPECT_EQ(++number, change.number);
        EXPECT_TRUE(!change.user.empty() && change.command == L"ostra test");
        told[change.notification] = change.object;
    }
    EXPECT_EQ(number, LastChange());
    for (const auto& [notification, object] : {std::pair{CLUSTER_CHANGE_GROUP_ADDED, L"Files"},
                                               {CLUSTER_CHANGE_RESOURCE_ADDED, L"Disk"},
                                               {CLUSTER_CHANGE_RESOURCE_PROPERTY, L"Disk"},
                                               {CLUSTER_CHANGE_GROUP_PROPERTY, L"Papers"},
                                               {CLUSTER_CHANGE_GROUP_STATE, L"Papers"},
                                               {CLUSTER_CHANGE_RESOURCE_STATE, L"Disk"},
                                               {CLUSTER_CHANGE_NODE_STATE, L"N2"},
                                               {CLUSTER_CHANGE_NODE_DELETED, L"N3"},
                                               {CLUSTER_CHANGE_NODE_ADDED, L"N4"},
                                               {CLUSTER_CHANGE_NETWORK_ADDED, L"Public"},
                                               {CLUSTER_CHANGE_RESOURCE_DELETED, L"Disk"}})
        EXPECT_EQ(object, told[static_cast<DWORD>(notification)]) << std::hex << notification;
    EXPECT_TRUE(told.contains(CLUSTER_CHANGE_REGISTRY_NAME) && told.contains(CLUSTER_CHANGE_REGISTRY_VALUE));
    std::vector<ClusterChange> changes;
    EXPECT_EQ(0U, Admin().Changes(start, 2, changes));
    ASSERT_EQ(2U, changes.size());
    EXPECT_EQ(start + 1, changes.front().number);
}

TEST_P(ClusterServiceContract, DoesATransactionAsAWholeOrNotAtAll) {
    const ObjectId group = MakeGroup(L"Files");
    ClusterKeyId root = 0;
    ClusterKeyId key = 0;
    ASSERT_EQ(0U, Service().RootKey(root));
    const std::int64_t mark = LastChange();
    const DWORD all = CLUSTER_ENUM_GROUP | CLUSTER_ENUM_RESOURCE;
    for (const DWORD result : {error::Busy, error::IoPending, error::Success}) {
        EXPECT_EQ(StringArray{L"8 Files"}, Items(all));
        EXPECT_EQ(error::FileNotFound, Service().OpenKey(root, L"Ostra", key));
        EXPECT_EQ(mark, LastChange());
        EXPECT_EQ(result, Service().Transact([&, result] {
            bool created = false;
            ObjectId refused;
            EXPECT_EQ(0U, Service().RenameGroup(group, L"Papers"));
            EXPECT_EQ(0U, Service().CreateKey(root, L"Ostra\\Keys", false, key, created));
            EXPECT_EQ(0U, Service().OnlineResource(MakeResource(MakeGroup(L"Mail"), L"Store")));
            EXPECT_EQ(error::ObjectAlreadyExists, Service().CreateGroup(L"Papers", refused));
            return result;
        }));
    }
    EXPECT_EQ((StringArray{L"4 Store", L"8 Papers", L"8 Mail"}), Items(all));
    EXPECT_EQ(0U, Service().Transact([&] {
        EXPECT_EQ(0U, Service().RenameGroup(group, L"Outer"));
        EXPECT_EQ(error::Busy, Service().Transact([&] {
            EXPECT_EQ(0U, Service().RenameGroup(group, L"Inner"));
            return error::Busy;
        }));
        return error::Success;
    }));
    EXPECT_EQ(L"Outer", NameOf(group));
}

TEST_P(ClusterServiceContract, ACopyInMemoryIsCutLooseFromItsOriginal) {
    const ObjectId group = MakeGroup(L"Files");
    MakeResource(group, L"Disk");
    std::shared_ptr<ClusterService> copy;
    ASSERT_EQ(0U, Admin().CopyIntoMemory(copy));
    ObjectId found;
    EXPECT_EQ(0U, copy->Find(ObjectKind::Group, L"Files", found));
    EXPECT_EQ(0U, copy->OnlineGroup(found, {}));
    EXPECT_EQ(0U, Service().RenameGroup(group, L"Papers"));
    EXPECT_EQ(DWORD{ClusterGroupOffline}, StateOf(group));
    std::wstring name;
    EXPECT_EQ(0U, copy->NameOf(found, name));
    EXPECT_EQ(L"Files", name);
}
