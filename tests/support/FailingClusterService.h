#pragma once

#include <platform/base/error_codes.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/ForwardingClusterService.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tests {

using platform::ClusterKeyId;
using platform::ObjectId;
using platform::ObjectKind;

/// The operations of the seam, in its order.
enum class Operation {
    Information,
    Find,
    NameOf,
    Enumerate,
    EnumerateMembers,
    CreateGroup,
    CreateResource,
    NodeState,
    GroupState,
    ResourceState,
    NetworkState,
    NetworkInterfaceState,
    OnlineGroup,
    OfflineGroup,
    MoveGroup,
    OnlineResource,
    OfflineResource,
    PauseNode,
    ResumeNode,
    EvictNode,
    RenameGroup,
    SetGroupOwners,
    AddResourceOwner,
    RemoveResourceOwner,
    AddDependency,
    RemoveDependency,
    NetworkIdentifier,
    InterfaceOf,
    Control,
    RootKey,
    ObjectKey,
    OpenKey,
    CreateKey,
    DeleteKey,
    SubkeyAt,
    SetValue,
    DeleteValue,
    QueryValue,
    ValueAt,
    Administration,
    Transact,
};

inline constexpr std::array operationNames = {L"Information",
                                              L"Find",
                                              L"NameOf",
                                              L"Enumerate",
                                              L"EnumerateMembers",
                                              L"CreateGroup",
                                              L"CreateResource",
                                              L"NodeState",
                                              L"GroupState",
                                              L"ResourceState",
                                              L"NetworkState",
                                              L"NetworkInterfaceState",
                                              L"OnlineGroup",
                                              L"OfflineGroup",
                                              L"MoveGroup",
                                              L"OnlineResource",
                                              L"OfflineResource",
                                              L"PauseNode",
                                              L"ResumeNode",
                                              L"EvictNode",
                                              L"RenameGroup",
                                              L"SetGroupOwners",
                                              L"AddResourceOwner",
                                              L"RemoveResourceOwner",
                                              L"AddDependency",
                                              L"RemoveDependency",
                                              L"NetworkIdentifier",
                                              L"InterfaceOf",
                                              L"Control",
                                              L"RootKey",
                                              L"ObjectKey",
                                              L"OpenKey",
                                              L"CreateKey",
                                              L"DeleteKey",
                                              L"SubkeyAt",
                                              L"SetValue",
                                              L"DeleteValue",
                                              L"QueryValue",
                                              L"ValueAt",
                                              L"Administration",
                                              L"Transact"};
static_assert(operationNames.size() == static_cast<std::size_t>(Operation::Transact) + 1);

/// A cluster that works, but for the operations that a test makes fail; and that tells which calls it had. For one
/// thread at a time.
class FailingClusterService final : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;

    /// Every call of `operation` is refused with `code` from now on, and does nothing. (Administration answers null.)
    void Fail(Operation operation, DWORD code) { _bends[operation] = {code, everyCall, false}; }
    /// Only its `call`-th from now on, counted from 1.
    void FailCall(Operation operation, int call, DWORD code) { _bends[operation] = {code, call, false}; }
    /// Every call is carried out, and when that went well answers `code`: 997, accepted and not yet settled.
    void Answer(Operation operation, DWORD code = platform::error::IoPending) {
        _bends[operation] = {code, everyCall, true};
    }
    /// The item at `index` of every enumeration that `operation` (Enumerate, EnumerateMembers) opens from now on.
    void FailItem(Operation operation, DWORD index, DWORD code) { _failingItems[operation][index] = code; }
    /// Everything works again.
    void Heal() {
        _bends.clear();
        _failingItems.clear();
    }

    int Calls(Operation operation) const {
        return static_cast<int>(
            std::count_if(_calls.begin(), _calls.end(), [&](const auto& call) { return call.first == operation; }));
    }
    /// One line a call, refused ones included, with the names that it was about: "OnlineGroup Files N1".
    StringArray Log() const {
        StringArray lines;
        for (const auto& [operation, about] : _calls)
            lines.push_back(operationNames[static_cast<std::size_t>(operation)] + about);
        return lines;
    }
    void ForgetCalls() { _calls.clear(); }

    DWORD Information(std::wstring& clusterName) override {
        return Bend(Operation::Information, {}, [&] { return Target().Information(clusterName); });
    }
    DWORD Find(ObjectKind kind, const std::wstring& name, ObjectId& found) override {
        return Bend(Operation::Find, {name}, [&] { return Target().Find(kind, name, found); });
    }
    DWORD NameOf(ObjectId object, std::wstring& name) override {
        return Bend(Operation::NameOf, {Text(object)}, [&] { return Target().NameOf(object, name); });
    }
    DWORD Enumerate(DWORD types, std::unique_ptr<platform::ClusterEnumeration>& enumeration) override {
        return BendItems(Operation::Enumerate, {std::to_wstring(types)}, enumeration,
                         [&] { return Target().Enumerate(types, enumeration); });
    }
    DWORD EnumerateMembers(ObjectId object, DWORD types,
                           std::unique_ptr<platform::ClusterEnumeration>& enumeration) override {
        return BendItems(Operation::EnumerateMembers, {Text(object), std::to_wstring(types)}, enumeration,
                         [&] { return Target().EnumerateMembers(object, types, enumeration); });
    }
    DWORD CreateGroup(const std::wstring& name, ObjectId& created) override {
        return Bend(Operation::CreateGroup, {name}, [&] { return Target().CreateGroup(name, created); });
    }
    DWORD CreateResource(ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags,
                         ObjectId& created) override {
        return Bend(Operation::CreateResource, {Text(group), name, type},
                    [&] { return Target().CreateResource(group, name, type, flags, created); });
    }
    DWORD NodeState(ObjectId node, DWORD& state) override {
        return Bend(Operation::NodeState, {Text(node)}, [&] { return Target().NodeState(node, state); });
    }
    DWORD GroupState(ObjectId group, DWORD& state, std::wstring& ownerNode) override {
        return Bend(Operation::GroupState, {Text(group)}, [&] { return Target().GroupState(group, state, ownerNode); });
    }
    DWORD ResourceState(ObjectId resource, DWORD& state, std::wstring& ownerNode, std::wstring& group) override {
        return Bend(Operation::ResourceState, {Text(resource)},
                    [&] { return Target().ResourceState(resource, state, ownerNode, group); });
    }
    DWORD NetworkState(ObjectId network, DWORD& state) override {
        return Bend(Operation::NetworkState, {Text(network)}, [&] { return Target().NetworkState(network, state); });
    }
    DWORD NetworkInterfaceState(ObjectId networkInterface, DWORD& state) override {
        return Bend(Operation::NetworkInterfaceState, {Text(networkInterface)},
                    [&] { return Target().NetworkInterfaceState(networkInterface, state); });
    }
    DWORD OnlineGroup(ObjectId group, std::optional<ObjectId> node) override {
        return Bend(Operation::OnlineGroup, {Text(group), Text(node)},
                    [&] { return Target().OnlineGroup(group, node); });
    }
    DWORD OfflineGroup(ObjectId group) override {
        return Bend(Operation::OfflineGroup, {Text(group)}, [&] { return Target().OfflineGroup(group); });
    }
    DWORD MoveGroup(ObjectId group, std::optional<ObjectId> node) override {
        return Bend(Operation::MoveGroup, {Text(group), Text(node)}, [&] { return Target().MoveGroup(group, node); });
    }
    DWORD OnlineResource(ObjectId resource) override {
        return Bend(Operation::OnlineResource, {Text(resource)}, [&] { return Target().OnlineResource(resource); });
    }
    DWORD OfflineResource(ObjectId resource) override {
        return Bend(Operation::OfflineResource, {Text(resource)}, [&] { return Target().OfflineResource(resource); });
    }
    DWORD PauseNode(ObjectId node) override {
        return Bend(Operation::PauseNode, {Text(node)}, [&] { return Target().PauseNode(node); });
    }
    DWORD ResumeNode(ObjectId node) override {
        return Bend(Operation::ResumeNode, {Text(node)}, [&] { return Target().ResumeNode(node); });
    }
    DWORD EvictNode(ObjectId node) override {
        return Bend(Operation::EvictNode, {Text(node)}, [&] { return Target().EvictNode(node); });
    }
    DWORD RenameGroup(ObjectId group, const std::wstring& newName) override {
        return Bend(Operation::RenameGroup, {Text(group), newName},
                    [&] { return Target().RenameGroup(group, newName); });
    }
    DWORD SetGroupOwners(ObjectId group, std::span<const ObjectId> nodes) override {
        StringArray about = {Text(group)};
        for (const ObjectId node : nodes) about.push_back(Text(node));
        return Bend(Operation::SetGroupOwners, about, [&] { return Target().SetGroupOwners(group, nodes); });
    }
    DWORD AddResourceOwner(ObjectId resource, ObjectId node) override {
        return Bend(Operation::AddResourceOwner, {Text(resource), Text(node)},
                    [&] { return Target().AddResourceOwner(resource, node); });
    }
    DWORD RemoveResourceOwner(ObjectId resource, ObjectId node) override {
        return Bend(Operation::RemoveResourceOwner, {Text(resource), Text(node)},
                    [&] { return Target().RemoveResourceOwner(resource, node); });
    }
    DWORD AddDependency(ObjectId resource, ObjectId dependsOn) override {
        return Bend(Operation::AddDependency, {Text(resource), Text(dependsOn)},
                    [&] { return Target().AddDependency(resource, dependsOn); });
    }
    DWORD RemoveDependency(ObjectId resource, ObjectId dependsOn) override {
        return Bend(Operation::RemoveDependency, {Text(resource), Text(dependsOn)},
                    [&] { return Target().RemoveDependency(resource, dependsOn); });
    }
    DWORD NetworkIdentifier(ObjectId network, std::wstring& id) override {
        return Bend(Operation::NetworkIdentifier, {Text(network)},
                    [&] { return Target().NetworkIdentifier(network, id); });
    }
    DWORD InterfaceOf(const std::wstring& node, const std::wstring& network, std::wstring& interfaceName) override {
        return Bend(Operation::InterfaceOf, {node, network},
                    [&] { return Target().InterfaceOf(node, network, interfaceName); });
    }
    DWORD Control(ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input,
                  std::vector<BYTE>& output) override {
        return Bend(Operation::Control, {Text(object), std::to_wstring(code)},
                    [&] { return Target().Control(object, host, code, input, output); });
    }
    DWORD RootKey(ClusterKeyId& key) override {
        return Bend(Operation::RootKey, {}, [&] { return Target().RootKey(key); });
    }
    DWORD ObjectKey(ObjectId object, ClusterKeyId& key) override {
        return Bend(Operation::ObjectKey, {Text(object)}, [&] { return Target().ObjectKey(object, key); });
    }
    DWORD OpenKey(ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key) override {
        return Bend(Operation::OpenKey, {path}, [&] { return Target().OpenKey(parent, path, key); });
    }
    DWORD CreateKey(ClusterKeyId parent, const std::wstring& path, bool isVolatile, ClusterKeyId& key,
                    bool& created) override {
        return Bend(Operation::CreateKey, {path},
                    [&] { return Target().CreateKey(parent, path, isVolatile, key, created); });
    }
    DWORD DeleteKey(ClusterKeyId parent, const std::wstring& path) override {
        return Bend(Operation::DeleteKey, {path}, [&] { return Target().DeleteKey(parent, path); });
    }
    DWORD SubkeyAt(ClusterKeyId key, DWORD index, std::wstring& name) override {
        return Bend(Operation::SubkeyAt, {std::to_wstring(index)}, [&] { return Target().SubkeyAt(key, index, name); });
    }
    DWORD SetValue(ClusterKeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data) override {
        return Bend(Operation::SetValue, {name}, [&] { return Target().SetValue(key, name, type, data); });
    }
    DWORD DeleteValue(ClusterKeyId key, const std::wstring& name) override {
        return Bend(Operation::DeleteValue, {name}, [&] { return Target().DeleteValue(key, name); });
    }
    DWORD QueryValue(ClusterKeyId key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) override {
        return Bend(Operation::QueryValue, {name}, [&] { return Target().QueryValue(key, name, type, data); });
    }
    DWORD ValueAt(ClusterKeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data) override {
        return Bend(Operation::ValueAt, {std::to_wstring(index)},
                    [&] { return Target().ValueAt(key, index, name, type, data); });
    }
    platform::ClusterAdministration* Administration() override {
        const DWORD code = Bend(Operation::Administration, {}, [] { return platform::error::Success; });
        return code == platform::error::Success ? Target().Administration() : nullptr;
    }
    DWORD Transact(const std::function<DWORD()>& steps) override {
        return Bend(Operation::Transact, {}, [&] { return Target().Transact(steps); });
    }

private:
    static constexpr int everyCall = 0;

    struct Bending {
        DWORD code;
        int call;  // how many calls until the one that is bent, or everyCall
        bool isCarriedOut;
    };

    using Items = std::map<DWORD, DWORD>;  // code by index

    class FailingEnumeration final : public platform::ClusterEnumeration {
    public:
        FailingEnumeration(std::unique_ptr<ClusterEnumeration> target, Items failing)
            : _target(std::move(target)), _failing(std::move(failing)) {}
        DWORD Item(DWORD index, DWORD& type, std::wstring& name) const override {
            const auto found = _failing.find(index);
            return found == _failing.end() ? _target->Item(index, type, name) : found->second;
        }

    private:
        std::unique_ptr<ClusterEnumeration> _target;
        Items _failing;
    };

    std::wstring Text(ObjectId object) {
        std::wstring name;
        return Target().NameOf(object, name) == platform::error::Success ? name : L"?";
    }
    std::wstring Text(std::optional<ObjectId> object) { return object ? Text(*object) : std::wstring(); }

    /// How this call is bent, if it is.
    std::optional<Bending> Take(Operation operation) {
        const auto found = _bends.find(operation);
        if (found == _bends.end()) return {};
        Bending& bending = found->second;
        if (bending.call == everyCall) return bending;
        if (--bending.call > 0) return {};
        const Bending taken = bending;
        _bends.erase(found);
        return taken;
    }

    template <typename Run>
    DWORD Bend(Operation operation, const StringArray& about, const Run& run) {
        std::wstring line;
        for (const std::wstring& name : about)
            if (!name.empty()) line += L" " + name;
        _calls.emplace_back(operation, line);
        const auto bending = Take(operation);
        const DWORD code = !bending || bending->isCarriedOut ? run() : bending->code;
        return bending && code == platform::error::Success ? bending->code : code;
    }

    template <typename Run>
    DWORD BendItems(Operation operation, const StringArray& about,
                    std::unique_ptr<platform::ClusterEnumeration>& enumeration, const Run& run) {
        const DWORD code = Bend(operation, about, run);
        const auto failing = _failingItems.find(operation);
        if (code == platform::error::Success && failing != _failingItems.end())
            enumeration = std::make_unique<FailingEnumeration>(std::move(enumeration), failing->second);
        return code;
    }

    std::map<Operation, Bending> _bends;
    std::map<Operation, Items> _failingItems;
    std::vector<std::pair<Operation, std::wstring>> _calls;
};

/// Puts a FailingClusterService before a cluster for its own lifetime: whoever opens the cluster by name meets it.
///
///     FailingCluster failing(L"Tarn");
///     failing->Fail(Operation::OnlineGroup, error::HostNodeNotAvailable);
class FailingCluster {
public:
    /// Before the cluster that the directory finds under `name` now.
    explicit FailingCluster(const std::wstring& name) : FailingCluster(name, Resolved(name)) {}
    FailingCluster(const std::wstring& name, std::shared_ptr<platform::ClusterService> target)
        : _name(name),
          _service(std::make_shared<FailingClusterService>(std::move(target))),
          _before(platform::ClusterDirectory::Register(name, _service)) {}
    ~FailingCluster() { platform::ClusterDirectory::Register(_name, _before); }
    FailingCluster(const FailingCluster&) = delete;
    FailingCluster& operator=(const FailingCluster&) = delete;

    FailingClusterService* operator->() const { return _service.get(); }
    const std::shared_ptr<FailingClusterService>& Service() const { return _service; }

private:
    static std::shared_ptr<platform::ClusterService> Resolved(const std::wstring& name) {
        std::shared_ptr<platform::ClusterService> service;
        if (platform::ClusterDirectory::Resolve(name, service) != platform::error::Success) std::abort();
        return service;
    }

    std::wstring _name;
    std::shared_ptr<FailingClusterService> _service;
    std::shared_ptr<platform::ClusterService> _before;
};

}  // namespace tests
