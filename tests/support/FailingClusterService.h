#pragma once

#include <platform/base/error_codes.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/ForwardingClusterService.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace tests {

using platform::ClusterKeyId;
using platform::ObjectId;
using platform::ObjectKind;
using Bytes = std::vector<BYTE>;
using Enumeration = std::unique_ptr<platform::ClusterEnumeration>;

// The operations of the seam, in its order: name, parameters, arguments.
#define TESTS_OPERATIONS(X)                                                                                            \
    X(Information, (std::wstring & name), (name))                                                                      \
    X(Find, (ObjectKind kind, const std::wstring& name, ObjectId& found), (kind, name, found))                         \
    X(NameOf, (ObjectId object, std::wstring & name), (object, name))                                                  \
    X(Enumerate, (DWORD types, Enumeration & list), (types, list))                                                     \
    X(EnumerateMembers, (ObjectId object, DWORD types, Enumeration & list), (object, types, list))                     \
    X(CreateGroup, (const std::wstring& name, ObjectId& created), (name, created))                                     \
    X(CreateResource,                                                                                                  \
      (ObjectId group, const std::wstring& name, const std::wstring& type, DWORD flags, ObjectId& created),            \
      (group, name, type, flags, created))                                                                             \
    X(NodeState, (ObjectId node, DWORD & answer), (node, answer))                                                      \
    X(GroupState, (ObjectId group, DWORD & answer, std::wstring & owner), (group, answer, owner))                      \
    X(ResourceState, (ObjectId resource, DWORD & answer, std::wstring & owner, std::wstring & group),                  \
      (resource, answer, owner, group))                                                                                \
    X(NetworkState, (ObjectId network, DWORD & answer), (network, answer))                                             \
    X(NetworkInterfaceState, (ObjectId networkInterface, DWORD & answer), (networkInterface, answer))                  \
    X(OnlineGroup, (ObjectId group, std::optional<ObjectId> node), (group, node))                                      \
    X(OfflineGroup, (ObjectId group), (group))                                                                         \
    X(MoveGroup, (ObjectId group, std::optional<ObjectId> node), (group, node))                                        \
    X(OnlineResource, (ObjectId resource), (resource))                                                                 \
    X(OfflineResource, (ObjectId resource), (resource))                                                                \
    X(PauseNode, (ObjectId node), (node))                                                                              \
    X(ResumeNode, (ObjectId node), (node))                                                                             \
    X(EvictNode, (ObjectId node), (node))                                                                              \
    X(RenameGroup, (ObjectId group, const std::wstring& newName), (group, newName))                                    \
    X(SetGroupOwners, (ObjectId group, std::span<const ObjectId> nodes), (group, nodes))                               \
    X(AddResourceOwner, (ObjectId resource, ObjectId node), (resource, node))                                          \
    X(RemoveResourceOwner, (ObjectId resource, ObjectId node), (resource, node))                                       \
    X(AddDependency, (ObjectId resource, ObjectId provider), (resource, provider))                                     \
    X(RemoveDependency, (ObjectId resource, ObjectId provider), (resource, provider))                                  \
    X(NetworkIdentifier, (ObjectId network, std::wstring & id), (network, id))                                         \
    X(InterfaceOf, (const std::wstring& node, const std::wstring& network, std::wstring& name), (node, network, name)) \
    X(Control,                                                                                                         \
      (ObjectId object, std::optional<ObjectId> host, DWORD code, std::span<const BYTE> input, Bytes & output),        \
      (object, host, code, input, output))                                                                             \
    X(RootKey, (ClusterKeyId & key), (key))                                                                            \
    X(ObjectKey, (ObjectId object, ClusterKeyId & key), (object, key))                                                 \
    X(OpenKey, (ClusterKeyId parent, const std::wstring& path, ClusterKeyId& key), (parent, path, key))                \
    X(CreateKey, (ClusterKeyId parent, const std::wstring& path, bool isVolatile, ClusterKeyId& key, bool& created),   \
      (parent, path, isVolatile, key, created))                                                                        \
    X(DeleteKey, (ClusterKeyId parent, const std::wstring& path), (parent, path))                                      \
    X(SubkeyAt, (ClusterKeyId key, DWORD index, std::wstring & name), (key, index, name))                              \
    X(SetValue, (ClusterKeyId key, const std::wstring& name, DWORD type, std::span<const BYTE> data),                  \
      (key, name, type, data))                                                                                         \
    X(DeleteValue, (ClusterKeyId key, const std::wstring& name), (key, name))                                          \
    X(QueryValue, (ClusterKeyId key, const std::wstring& name, DWORD& type, Bytes& data), (key, name, type, data))     \
    X(ValueAt, (ClusterKeyId key, DWORD index, std::wstring & name, DWORD & type, Bytes & data),                       \
      (key, index, name, type, data))                                                                                  \
    X(Transact, (const std::function<DWORD()>& steps), (steps))

#define TESTS_NAME(name, parameters, arguments) name,
enum class Operation { TESTS_OPERATIONS(TESTS_NAME) };
#undef TESTS_NAME

/// A cluster that works, but for the operations that a test makes fail; and that tells which calls it had. For one
/// thread at a time.
class FailingClusterService final : public platform::ForwardingClusterService {
public:
    using ForwardingClusterService::ForwardingClusterService;

    /// Every call of `operation` is refused with `code` from now on, and does nothing.
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

    /// What every state that could be read is said to be.
    std::optional<DWORD> state;

    int Calls(Operation operation) const {
        return static_cast<int>(
            std::count_if(_calls.begin(), _calls.end(), [&](const auto& call) { return call.first == operation; }));
    }
    /// One line a call, refused ones included, with the names that it was about: "OnlineGroup Files N1".
    StringArray Log() const {
        StringArray lines;
        for (const auto& call : _calls) lines.push_back(call.second);
        return lines;
    }
    void ForgetCalls() { _calls.clear(); }

#define TESTS_ARGUMENTS(...) __VA_ARGS__
#define TESTS_OVERRIDE(name, parameters, arguments)                                                          \
    DWORD name parameters override {                                                                         \
        return Bend(Operation::name, L"" #name, &platform::ClusterService::name, TESTS_ARGUMENTS arguments); \
    }
    TESTS_OPERATIONS(TESTS_OVERRIDE)
#undef TESTS_OVERRIDE
#undef TESTS_ARGUMENTS

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
        FailingEnumeration(Enumeration target, Items failing)
            : _target(std::move(target)), _failing(std::move(failing)) {}
        DWORD Item(DWORD index, DWORD& type, std::wstring& name) const override {
            const auto found = _failing.find(index);
            return found == _failing.end() ? _target->Item(index, type, name) : found->second;
        }

    private:
        Enumeration _target;
        Items _failing;
    };

    /// What a call was about: the objects and names it was given, and the code of a control operation.
    template <typename Parameter>
    StringArray About(Operation operation, std::type_identity_t<Parameter> given) {
        StringArray about;
        if constexpr (std::is_same_v<Parameter, const std::wstring&>) {
            about.push_back(given);
        } else if constexpr (std::is_same_v<Parameter, DWORD>) {
            if (operation == Operation::Control) about.push_back(std::to_wstring(given));
        } else if constexpr (std::is_same_v<Parameter, ObjectId>) {
            std::wstring name;
            about.push_back(Target().NameOf(given, name) == platform::error::Success ? name : L"?");
        } else if constexpr (std::is_same_v<Parameter, std::optional<ObjectId>>) {
            if (given) about = About<ObjectId>(operation, *given);
        } else if constexpr (std::is_same_v<Parameter, std::span<const ObjectId>>) {
            for (const ObjectId object : given) about.push_back(About<ObjectId>(operation, object).front());
        }
        return about;
    }

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

    template <typename... Parameters>
    DWORD Bend(Operation operation, std::wstring line, DWORD (platform::ClusterService::*run)(Parameters...),
               std::type_identity_t<Parameters>... given) {
        for (const StringArray& about : std::initializer_list<StringArray>{About<Parameters>(operation, given)...})
            for (const std::wstring& text : about) line += L" " + text;
        _calls.emplace_back(operation, line);
        const auto bending = Take(operation);
        if (bending && !bending->isCarriedOut) return bending->code;
        const DWORD code = (Target().*run)(given...);
        if (code != platform::error::Success) return code;
        (BendAnswer(operation, given), ...);
        return bending ? bending->code : code;
    }

    void BendAnswer(Operation operation, Enumeration& list) {
        const auto failing = _failingItems.find(operation);
        if (failing != _failingItems.end())
            list = std::make_unique<FailingEnumeration>(std::move(list), failing->second);
    }
    void BendAnswer(Operation operation, DWORD& answer) {
        const bool isState = operation >= Operation::NodeState && operation <= Operation::NetworkInterfaceState;
        if (isState && state) answer = *state;
    }
    template <typename Other>
    void BendAnswer(Operation, const Other&) {}

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
