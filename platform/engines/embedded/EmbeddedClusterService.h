#pragma once

#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/ClusterService.h>
#include <platform/cluster/PropertyList.h>
#include <platform/engines/embedded/ClusterStore.h>

namespace platform::embedded {

/// The embedded engine's answer to every operation: it checks what is asked by the model, and has the store carry out
/// what is allowed. Each operation that changes is one transaction.
class EmbeddedClusterService final : public ClusterService, public ClusterAdministration {
public:
    explicit EmbeddedClusterService(std::unique_ptr<ClusterStore> store) : _store(std::move(store)) {}

    DWORD Information(std::wstring& clusterName) override;
    DWORD Find(ObjectKind kind, const std::wstring& name, ObjectId& found) override;
    DWORD NameOf(ObjectId object, std::wstring& name) override;
    DWORD Enumerate(DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) override;
    DWORD EnumerateMembers(ObjectId object, DWORD types, std::unique_ptr<ClusterEnumeration>& enumeration) override;

    DWORD CreateGroup(const std::wstring& name, ObjectId& created) override;
    DWORD CreateResource(ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags,
                         ObjectId& created) override;

    DWORD NodeState(ObjectId node, DWORD& state) override;
    DWORD GroupState(ObjectId group, DWORD& state, std::wstring& ownerNode) override;
    DWORD ResourceState(ObjectId resource, DWORD& state, std::wstring& ownerNode, std::wstring& group) override;
    DWORD NetworkState(ObjectId network, DWORD& state) override;
    DWORD NetworkInterfaceState(ObjectId networkInterface, DWORD& state) override;

    DWORD OnlineGroup(ObjectId group, std::optional<ObjectId> node) override;
    DWORD OfflineGroup(ObjectId group) override;
    DWORD MoveGroup(ObjectId group, std::optional<ObjectId> node) override;
    DWORD OnlineResource(ObjectId resource) override;
    DWORD OfflineResource(ObjectId resource) override;
    DWORD PauseNode(ObjectId node) override;
    DWORD ResumeNode(ObjectId node) override;
    DWORD EvictNode(ObjectId node) override;

    DWORD RenameGroup(ObjectId group, const std::wstring& newName) override;
    DWORD SetGroupOwners(ObjectId group, std::span<const ObjectId> nodes) override;
    DWORD AddResourceOwner(ObjectId resource, ObjectId node) override;
    DWORD RemoveResourceOwner(ObjectId resource, ObjectId node) override;
    DWORD AddDependency(ObjectId resource, ObjectId dependsOn) override;
    DWORD RemoveDependency(ObjectId resource, ObjectId dependsOn) override;

    DWORD NetworkIdentifier(ObjectId network, std::wstring& id) override;
    DWORD InterfaceOf(const std::wstring& node, const std::wstring& network, std::wstring& interfaceName) override;
    DWORD Control(ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input,
                  std::vector<BYTE>& output) override;

    DWORD RootKey(ClusterKeyId& key) override;
    DWORD ObjectKey(ObjectId object, ClusterKeyId& key) override;
    DWORD OpenKey(ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key) override;
    DWORD CreateKey(ClusterKeyId parent, const std::wstring& path, bool isVolatile, ClusterKeyId& key,
                    bool& created) override;
    DWORD DeleteKey(ClusterKeyId parent, const std::wstring& path) override;
    DWORD SubkeyAt(ClusterKeyId key, DWORD index, std::wstring& name) override;
    DWORD SetValue(ClusterKeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data) override;
    DWORD DeleteValue(ClusterKeyId key, const std::wstring& name) override;
    DWORD QueryValue(ClusterKeyId key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) override;
    DWORD ValueAt(ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data) override;

    ClusterAdministration* Administration() override { return this; }
    DWORD Transact(const std::function<DWORD()>& steps) override;

    DWORD AddNode(const std::wstring& name) override;
    DWORD AddNetwork(const NetworkDescription& network) override;
    DWORD RemoveNetwork(ObjectId network) override;
    DWORD AddDisk(const SharedDisk& disk) override;
    DWORD Disks(std::vector<SharedDisk>& disks) override;
    DWORD TakeNodeDown(ObjectId node) override;
    DWORD BringNodeUp(ObjectId node) override;
    DWORD FailResource(ObjectId resource) override;
    DWORD SetNetworkState(ObjectId network, DWORD state) override;
    DWORD SetNetworkInterfaceState(ObjectId networkInterface, DWORD state) override;
    DWORD DeleteGroup(ObjectId group) override;
    DWORD DeleteResource(ObjectId resource) override;
    DWORD Changes(std::int64_t number, std::size_t limit, std::vector<ClusterChange>& changes) override;
    DWORD LastChange(std::int64_t& number) override;
    DWORD CopyIntoMemory(std::shared_ptr<ClusterService>& copy) override;
    DWORD CheckInvariants(std::vector<std::wstring>& breaches) override;

private:
    const ClusterModel& Model() const { return _store->Model(); }
    /// 0 when the object exists and is of that kind, else the code that says it was not found.
    DWORD Expect(ObjectId object, ObjectKind kind) const;
    DWORD ExpectNode(std::optional<ObjectId> node) const;
    DWORD ExpectKey(ClusterKeyId key) const;

    /// Read and Write for an operation on one object, which must be there.
    template <typename Question>
    DWORD ReadOf(ObjectId object, ObjectKind kind, Question&& question);
    template <typename Change>
    DWORD WriteOf(ObjectId object, ObjectKind kind, Change&& change);

    DWORD ReadProperties(ObjectId object, DWORD function, std::vector<BYTE>& output);
    DWORD DiskInformation(ObjectId object, std::vector<BYTE>& output);
    DWORD AvailableDisks(ObjectId object, std::vector<BYTE>& output);
    DWORD WriteProperties(ObjectId object, DWORD function, std::span<const BYTE> input);
    DWORD WriteParameters(const ResourceRecord& resource, const std::vector<PropertyValue>& properties,
                          std::wstring& changed);
    /// Whether the resource is online and could not be with just any value of this private property.
    bool MustStayFit(const ResourceRecord& resource, const std::wstring& parameter) const;
    DWORD AddInterface(RowId node, RowId network);
    void NoteKey(ClusterKeyId key, DWORD notification, const std::wstring& detail);
    bool IsObjectKey(ClusterKeyId key) const;
    /// The resource whose private properties are the key's values; null without one.
    const ResourceRecord* ResourceWithParameters(KeyId key) const;
    /// AccessDenied for what only the engine may make or change.
    DWORD CheckNewKey(KeyId key, bool isVolatile);
    DWORD CheckOwnValue(KeyId key, const std::wstring& name);
    /// 0, or the code that an online resource gives whose private property it is, as it is by now.
    DWORD CheckParameterValue(KeyId key, const std::wstring& name);

    const std::unique_ptr<ClusterStore> _store;
};

template <typename Question>
DWORD EmbeddedClusterService::ReadOf(ObjectId object, ObjectKind kind, Question&& question) {
    return _store->Read([&] {
        const DWORD code = Expect(object, kind);
        return code == 0 ? question() : code;
    });
}

template <typename Change>
DWORD EmbeddedClusterService::WriteOf(ObjectId object, ObjectKind kind, Change&& change) {
    return _store->Write([&] {
        const DWORD code = Expect(object, kind);
        return code == 0 ? change() : code;
    });
}

/// The values that the engine itself keeps in the keys of such objects, that of the name first. Nobody else may change
/// them.
std::span<const wchar_t* const> OwnValuesOf(ObjectKind kind);

}  // namespace platform::embedded
