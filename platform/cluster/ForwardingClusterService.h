#pragma once

#include <platform/cluster/ClusterService.h>

namespace platform {

/// Hands every operation on to another service. What is to be bent, in tests or by a decorator, is overridden; the rest
/// stays as it is.
class PLATFORM_API ForwardingClusterService : public ClusterService {
public:
    explicit ForwardingClusterService(std::shared_ptr<ClusterService> target) : _target(std::move(target)) {}

    DWORD Information(std::wstring& clusterName) override { return _target->Information(clusterName); }
    DWORD Find(ObjectKind kind, const std::wstring& name, ObjectId& found) override {
        return _target->Find(kind, name, found);
    }
    DWORD NameOf(ObjectId object, std::wstring& name) override { return _target->NameOf(object, name); }
    DWORD Enumerate(DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) override {
        return _target->Enumerate(types, enumeration);
    }
    DWORD EnumerateMembers(ObjectId object, DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) override {
        return _target->EnumerateMembers(object, types, enumeration);
    }
    DWORD CreateGroup(const std::wstring& name, ObjectId& created) override {
        return _target->CreateGroup(name, created);
    }
    DWORD CreateResource(ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags,
                         ObjectId& created) override {
        return _target->CreateResource(group, name, type, flags, created);
    }
    DWORD NodeState(ObjectId node, DWORD& state) override { return _target->NodeState(node, state); }
    DWORD GroupState(ObjectId group, DWORD& state, std::wstring& ownerNode) override {
        return _target->GroupState(group, state, ownerNode);
    }
    DWORD ResourceState(ObjectId resource, DWORD& state, std::wstring& ownerNode, std::wstring& group) override {
        return _target->ResourceState(resource, state, ownerNode, group);
    }
    DWORD NetworkState(ObjectId network, DWORD& state) override { return _target->NetworkState(network, state); }
    DWORD NetworkInterfaceState(ObjectId networkInterface, DWORD& state) override {
        return _target->NetworkInterfaceState(networkInterface, state);
    }
    DWORD OnlineGroup(ObjectId group, std::optional<ObjectId> node) override {
        return _target->OnlineGroup(group, node);
    }
    DWORD OfflineGroup(ObjectId group) override { return _target->OfflineGroup(group); }
    DWORD MoveGroup(ObjectId group, std::optional<ObjectId> node) override { return _target->MoveGroup(group, node); }
    DWORD OnlineResource(ObjectId resource) override { return _target->OnlineResource(resource); }
    DWORD OfflineResource(ObjectId resource) override { return _target->OfflineResource(resource); }
    DWORD PauseNode(ObjectId node) override { return _target->PauseNode(node); }
    DWORD ResumeNode(ObjectId node) override { return _target->ResumeNode(node); }
    DWORD EvictNode(ObjectId node) override { return _target->EvictNode(node); }
    DWORD RenameGroup(ObjectId group, const std::wstring& newName) override {
        return _target->RenameGroup(group, newName);
    }
    DWORD SetGroupOwners(ObjectId group, std::span<const ObjectId> nodes) override {
        return _target->SetGroupOwners(group, nodes);
    }
    DWORD AddResourceOwner(ObjectId resource, ObjectId node) override {
        return _target->AddResourceOwner(resource, node);
    }
    DWORD RemoveResourceOwner(ObjectId resource, ObjectId node) override {
        return _target->RemoveResourceOwner(resource, node);
    }
    DWORD AddDependency(ObjectId resource, ObjectId dependsOn) override {
        return _target->AddDependency(resource, dependsOn);
    }
    DWORD RemoveDependency(ObjectId resource, ObjectId dependsOn) override {
        return _target->RemoveDependency(resource, dependsOn);
    }
    DWORD NetworkIdentifier(ObjectId network, std::wstring& id) override {
        return _target->NetworkIdentifier(network, id);
    }
    DWORD InterfaceOf(const std::wstring& node, const std::wstring& network, std::wstring& interfaceName) override {
        return _target->InterfaceOf(node, network, interfaceName);
    }
    DWORD Control(ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input,
                  std::vector<BYTE>& output) override {
        return _target->Control(object, host, code, input, output);
    }
    DWORD RootKey(ClusterKeyId& key) override { return _target->RootKey(key); }
    DWORD ObjectKey(ObjectId object, ClusterKeyId& key) override { return _target->ObjectKey(object, key); }
    DWORD OpenKey(ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key) override {
        return _target->OpenKey(parent, path, key);
    }
    DWORD CreateKey(ClusterKeyId parent, const std::wstring& path, bool isVolatile, ClusterKeyId& key,
                    bool& created) override {
        return _target->CreateKey(parent, path, isVolatile, key, created);
    }
    DWORD DeleteKey(ClusterKeyId parent, const std::wstring& path) override { return _target->DeleteKey(parent, path); }
    DWORD SubkeyAt(ClusterKeyId key, DWORD index, std::wstring& name) override {
        return _target->SubkeyAt(key, index, name);
    }
    DWORD SetValue(ClusterKeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data) override {
        return _target->SetValue(key, name, type, data);
    }
    DWORD DeleteValue(ClusterKeyId key, const std::wstring& name) override { return _target->DeleteValue(key, name); }
    DWORD QueryValue(ClusterKeyId key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) override {
        return _target->QueryValue(key, name, type, data);
    }
    DWORD ValueAt(ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data) override {
        return _target->ValueAt(key, index, name, type, data);
    }
    ClusterAdministration* Administration() override { return _target->Administration(); }
    DWORD Transact(const std::function<DWORD()>& steps) override { return _target->Transact(steps); }

protected:
    ClusterService& Target() const { return *_target; }

private:
    std::shared_ptr<ClusterService> _target;
};

}  // namespace platform
