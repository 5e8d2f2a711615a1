#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/registry_types.h>
#include <platform/cluster/ForwardingClusterService.h>
#include <platform/cluster/cluster_api.h>

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A cluster as programs see it: what the API can ask goes through the API's functions and handles, so that they can
/// be held to what the engine behind them must do. The directory must find that engine under the cluster's name.
class ApiClusterService final : public platform::ForwardingClusterService {
public:
    using ObjectId = platform::ObjectId;
    using ObjectKind = platform::ObjectKind;
    using ClusterKeyId = platform::ClusterKeyId;

    ApiClusterService(const std::wstring& name, std::shared_ptr<platform::ClusterService> target)
        : ForwardingClusterService(std::move(target)), _cluster(OpenCluster(name.c_str())) {
        EXPECT_TRUE(_cluster);
    }
    ~ApiClusterService() override {
        EXPECT_EQ(1, CloseCluster(_cluster));  // first: the others work on
        for (const auto& [id, handle] : _objects) EXPECT_EQ(1, CloseObject(id.kind, handle));
        for (const HKEY key : _keys) EXPECT_EQ(0, ClusterRegCloseKey(key));
    }

    DWORD Information(std::wstring& clusterName) override {
        return Text(clusterName, [&](wchar_t* buffer, DWORD* size) {
            return GetClusterInformation(_cluster, buffer, size, nullptr);
        });
    }
    DWORD Find(ObjectKind kind, const std::wstring& name, ObjectId& found) override {
        if (name.size() > 1024 || kind == ObjectKind::ResourceType) return Target().Find(kind, name, found);
        void* const handle = Open(kind, name.c_str());
        return handle ? Keep(handle, kind, name, found) : GetLastError();
    }
    DWORD Enumerate(DWORD types, std::unique_ptr<platform::ClusterEnumeration>& enumeration) override {
        return List(ClusterOpenEnum(_cluster, types), &ClusterEnum, &ClusterCloseEnum, enumeration);
    }
    DWORD EnumerateMembers(ObjectId object, DWORD types,
                           std::unique_ptr<platform::ClusterEnumeration>& enumeration) override {
        switch (object.kind) {
            case ObjectKind::Group:
                return List(ClusterGroupOpenEnum(Group(object), types), &ClusterGroupEnum, &ClusterGroupCloseEnum,
                            enumeration);
            case ObjectKind::Resource:
                return List(ClusterResourceOpenEnum(Resource(object), types), &ClusterResourceEnum,
                            &ClusterResourceCloseEnum, enumeration);
            case ObjectKind::Network:
                return List(ClusterNetworkOpenEnum(Handle<HNETWORK>(object), types), &ClusterNetworkEnum,
                            &ClusterNetworkCloseEnum, enumeration);
            default: return Target().EnumerateMembers(object, types, enumeration);
        }
    }
    DWORD CreateGroup(const std::wstring& name, ObjectId& created) override {
        const HGROUP group = CreateClusterGroup(_cluster, name.c_str());
        return group ? Keep(group, ObjectKind::Group, name, created) : GetLastError();
    }
    DWORD CreateResource(ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags,
                         ObjectId& created) override {
        const HRESOURCE resource = CreateClusterResource(Group(group), name.c_str(), type.c_str(), flags);
        return resource ? Keep(resource, ObjectKind::Resource, name, created) : GetLastError();
    }
    DWORD NodeState(ObjectId node, DWORD& state) override { return State(GetClusterNodeState(Node(node)), state); }
    DWORD GroupState(ObjectId group, DWORD& state, std::wstring& ownerNode) override {
        wchar_t owner[200];
        DWORD size = 200;
        const DWORD code = State(GetClusterGroupState(Group(group), owner, &size), state);
        if (code == 0) ownerNode.assign(owner, size);
        return code;
    }
    DWORD ResourceState(ObjectId resource, DWORD& state, std::wstring& ownerNode, std::wstring& group) override {
        wchar_t owner[200];
        wchar_t holder[200];
        DWORD size = 200;
        DWORD holderSize = 200;
        const DWORD code = State(GetClusterResourceState(Resource(resource), owner, &size, holder, &holderSize), state);
        if (code == 0) ownerNode.assign(owner, size);
        if (code == 0) group.assign(holder, holderSize);
        return code;
    }
    DWORD NetworkState(ObjectId network, DWORD& state) override {
        return State(GetClusterNetworkState(Handle<HNETWORK>(network)), state);
    }
    DWORD NetworkInterfaceState(ObjectId networkInterface, DWORD& state) override {
        return State(GetClusterNetInterfaceState(Handle<HNETINTERFACE>(networkInterface)), state);
    }
    DWORD OnlineGroup(ObjectId group, std::optional<ObjectId> node) override {
        return OnlineClusterGroup(Group(group), node ? Node(*node) : nullptr);
    }
    DWORD OfflineGroup(ObjectId group) override { return OfflineClusterGroup(Group(group)); }
    DWORD MoveGroup(ObjectId group, std::optional<ObjectId> node) override {
        return MoveClusterGroup(Group(group), node ? Node(*node) : nullptr);
    }
    DWORD OnlineResource(ObjectId resource) override { return OnlineClusterResource(Resource(resource)); }
    DWORD OfflineResource(ObjectId resource) override { return OfflineClusterResource(Resource(resource)); }
    DWORD PauseNode(ObjectId node) override { return PauseClusterNode(Node(node)); }
    DWORD ResumeNode(ObjectId node) override { return ResumeClusterNode(Node(node)); }
    DWORD EvictNode(ObjectId node) override { return EvictClusterNode(Node(node)); }
    DWORD RenameGroup(ObjectId group, const std::wstring& newName) override {
        return SetClusterGroupName(Group(group), newName.c_str());
    }
    DWORD SetGroupOwners(ObjectId group, std::span<const ObjectId> nodes) override {
        std::vector<HNODE> handles;
        for (const ObjectId node : nodes) {
            if (!IsKnown(node)) return Target().SetGroupOwners(group, nodes);
            handles.push_back(Node(node));
        }
        return SetClusterGroupNodeList(Group(group), static_cast<DWORD>(handles.size()), handles.data());
    }
    DWORD AddResourceOwner(ObjectId resource, ObjectId node) override {
        return AddClusterResourceNode(Resource(resource), Node(node));
    }
    DWORD RemoveResourceOwner(ObjectId resource, ObjectId node) override {
        return RemoveClusterResourceNode(Resource(resource), Node(node));
    }
    DWORD AddDependency(ObjectId resource, ObjectId dependsOn) override {
        if (!IsKnown(dependsOn)) return Target().AddDependency(resource, dependsOn);
        return AddClusterResourceDependency(Resource(resource), Resource(dependsOn));
    }
    DWORD RemoveDependency(ObjectId resource, ObjectId dependsOn) override {
        return RemoveClusterResourceDependency(Resource(resource), Resource(dependsOn));
    }
    DWORD NetworkIdentifier(ObjectId network, std::wstring& id) override {
        return Text(id, [&](wchar_t* buffer, DWORD* size) {
            return GetClusterNetworkId(Handle<HNETWORK>(network), buffer, size);
        });
    }
    DWORD InterfaceOf(const std::wstring& node, const std::wstring& network, std::wstring& interfaceName) override {
        return Text(interfaceName, [&](wchar_t* buffer, DWORD* size) {
            return GetClusterNetInterface(_cluster, node.c_str(), network.c_str(), buffer, size);
        });
    }
    DWORD Control(ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input,
                  std::vector<BYTE>& output) override {
        DWORD size = 0;
        const DWORD first = ControlOnce(object, host, code, input, {}, size);
        if (first == 0) output.clear();
        if (first != platform::error::MoreData) return first;
        std::vector<BYTE> answer(size);
        const DWORD second = ControlOnce(object, host, code, input, answer, size);
        if (second == 0) output = std::move(answer);
        return second;
    }

    DWORD RootKey(ClusterKeyId& key) override { return KeepKey(GetClusterKey(_cluster, KEY_ALL_ACCESS), key); }
    DWORD ObjectKey(ObjectId object, ClusterKeyId& key) override {
        if (object.kind == ObjectKind::Group) return KeepKey(GetClusterGroupKey(Group(object), KEY_ALL_ACCESS), key);
        if (object.kind != ObjectKind::Resource) return Target().ObjectKey(object, key);
        return KeepKey(GetClusterResourceKey(Resource(object), KEY_ALL_ACCESS), key);
    }
    DWORD OpenKey(ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key) override {
        HKEY opened = nullptr;
        const auto code = Code(ClusterRegOpenKey(Key(parent), path.c_str(), KEY_ALL_ACCESS, &opened));
        return code == 0 ? KeepKey(opened, key) : code;
    }
    DWORD CreateKey(ClusterKeyId parent, const std::wstring& path, bool isVolatile, ClusterKeyId& key,
                    bool& created) override {
        HKEY opened = nullptr;
        DWORD disposition = 0;
        const auto code = Code(ClusterRegCreateKey(Key(parent), path.c_str(), isVolatile ? 1 : 0, KEY_ALL_ACCESS,
                                                   nullptr, &opened, &disposition));
        if (code != 0) return code;
        created = disposition == REG_CREATED_NEW_KEY;
        return KeepKey(opened, key);
    }
    DWORD DeleteKey(ClusterKeyId parent, const std::wstring& path) override {
        return Code(ClusterRegDeleteKey(Key(parent), path.c_str()));
    }
    DWORD SubkeyAt(ClusterKeyId key, DWORD index, std::wstring& name) override {
        return Text(name, [&](wchar_t* buffer, DWORD* size) {
            return Code(ClusterRegEnumKey(Key(key), index, buffer, size, nullptr));
        });
    }
    DWORD SetValue(ClusterKeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data) override {
        return ClusterRegSetValue(Key(key), name.c_str(), type, data.data(), static_cast<DWORD>(data.size()));
    }
    DWORD DeleteValue(ClusterKeyId key, const std::wstring& name) override {
        return ClusterRegDeleteValue(Key(key), name.c_str());
    }
    DWORD QueryValue(ClusterKeyId key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) override {
        DWORD size = 0;
        const auto code = Code(ClusterRegQueryValue(Key(key), name.c_str(), nullptr, nullptr, &size));
        if (code != 0) return code;
        data.resize(size);
        return Code(ClusterRegQueryValue(Key(key), name.c_str(), &type, data.data(), &size));
    }
    DWORD ValueAt(ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data) override {
        std::vector<BYTE> bytes(1000);
        auto size = static_cast<DWORD>(bytes.size());
        const DWORD code = Text(name, [&](wchar_t* buffer, DWORD* nameSize) {
            return ClusterRegEnumValue(Key(key), index, buffer, nameSize, &type, bytes.data(), &size);
        });
        if (code != 0) return code;
        bytes.resize(size);
        data = std::move(bytes);
        return 0;
    }

private:
    static DWORD Code(LONG result) { return static_cast<DWORD>(result); }

    template <typename Ask>
    static DWORD Text(std::wstring& text, const Ask& ask) {
        wchar_t buffer[300];
        DWORD size = 300;
        const DWORD code = ask(buffer, &size);
        if (code == 0) text.assign(buffer, size);
        return code;
    }

    static DWORD State(DWORD answer, DWORD& state) {
        if (answer == ClusterStateUnknown) return GetLastError();
        state = answer;
        return 0;
    }

    template <typename Enumeration, typename Read, typename Close>
    static DWORD List(Enumeration handle, Read read, Close close,
                      std::unique_ptr<platform::ClusterEnumeration>& enumeration) {
        if (!handle) return GetLastError();
        std::vector<platform::ListEnumeration::Entry> entries;
        DWORD type = 0;
        DWORD code = 0;
        wchar_t name[200];
        DWORD size = 200;
        for (DWORD index = 0; (code = read(handle, index, &type, name, &size)) == 0; ++index, size = 200)
            entries.push_back({type, std::wstring(name, size)});
        EXPECT_EQ(platform::error::NoMoreItems, code);
        EXPECT_EQ(0U, close(handle));
        enumeration = std::make_unique<platform::ListEnumeration>(std::move(entries));
        return 0;
    }

    void* Open(ObjectKind kind, const wchar_t* name) {
        switch (kind) {
            case ObjectKind::Node: return OpenClusterNode(_cluster, name);
            case ObjectKind::Group: return OpenClusterGroup(_cluster, name);
            case ObjectKind::Resource: return OpenClusterResource(_cluster, name);
            case ObjectKind::Network: return OpenClusterNetwork(_cluster, name);
            default: return OpenClusterNetInterface(_cluster, name);
        }
    }
    static BOOL CloseObject(ObjectKind kind, void* handle) {
        switch (kind) {
            case ObjectKind::Node: return CloseClusterNode(static_cast<HNODE>(handle));
            case ObjectKind::Group: return CloseClusterGroup(static_cast<HGROUP>(handle));
            case ObjectKind::Resource: return CloseClusterResource(static_cast<HRESOURCE>(handle));
            case ObjectKind::Network: return CloseClusterNetwork(static_cast<HNETWORK>(handle));
            default: return CloseClusterNetInterface(static_cast<HNETINTERFACE>(handle));
        }
    }
    DWORD Keep(void* handle, ObjectKind kind, const std::wstring& name, ObjectId& id) {
        const DWORD code = Target().Find(kind, name, id);
        EXPECT_EQ(0U, code);
        const std::scoped_lock lock(_mutex);
        const bool isNew = _objects.emplace(id, handle).second;
        EXPECT_TRUE(isNew || CloseObject(kind, handle));
        return code;
    }
    bool IsKnown(ObjectId id) { return _objects.contains(id); }
    template <typename ObjectHandle>
    ObjectHandle Handle(ObjectId id) {
        const auto found = _objects.find(id);
        return found == _objects.end() ? nullptr : static_cast<ObjectHandle>(found->second);
    }
    HNODE Node(ObjectId id) { return Handle<HNODE>(id); }
    HGROUP Group(ObjectId id) { return Handle<HGROUP>(id); }
    HRESOURCE Resource(ObjectId id) { return Handle<HRESOURCE>(id); }

    DWORD ControlOnce(ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input,
                      std::span<BYTE> answer, DWORD& returned) {
        const HNODE node = host ? Node(*host) : nullptr;
        const auto run = [&](auto control, auto handle) {
            return control(handle, node, code, input.data(), static_cast<DWORD>(input.size()), answer.data(),
                           static_cast<DWORD>(answer.size()), &returned);
        };
        switch (object.kind) {
            case ObjectKind::Node: return run(&ClusterNodeControl, Node(object));
            case ObjectKind::Group: return run(&ClusterGroupControl, Group(object));
            case ObjectKind::Resource: return run(&ClusterResourceControl, Resource(object));
            case ObjectKind::Network: return run(&ClusterNetworkControl, Handle<HNETWORK>(object));
            case ObjectKind::NetworkInterface: return run(&ClusterNetInterfaceControl, Handle<HNETINTERFACE>(object));
            case ObjectKind::ResourceType: break;
        }
        std::wstring type;
        EXPECT_EQ(0U, Target().NameOf(object, type));
        return ClusterResourceTypeControl(_cluster, type.c_str(), node, code, input.data(),
                                          static_cast<DWORD>(input.size()), answer.data(),
                                          static_cast<DWORD>(answer.size()), &returned);
    }

    DWORD KeepKey(HKEY handle, ClusterKeyId& key) {
        if (!handle) return GetLastError();
        _keys.push_back(handle);
        key = static_cast<ClusterKeyId>(_keys.size());
        return 0;
    }
    HKEY Key(ClusterKeyId key) { return _keys.at(static_cast<std::size_t>(key) - 1); }

    HCLUSTER _cluster;
    std::mutex _mutex;
    std::map<ObjectId, void*> _objects;
    std::vector<HKEY> _keys;
};
