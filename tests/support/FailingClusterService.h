#pragma once

#include <platform/base/error_codes.h>
#include <platform/cluster/ClusterDirectory.h>
#include <platform/cluster/ForwardingClusterService.h>

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <type_traits>
#include <utility>

namespace tests {

using platform::ObjectId;
using platform::ObjectKind;
using Bytes = std::vector<BYTE>;
using Enumeration = std::unique_ptr<platform::ClusterEnumeration>;
using Key = platform::ClusterKeyId;
using Name = const std::wstring&;
using Text = std::wstring&;

// The operations of ClusterService, in its order: name, parameters, arguments.
#define TESTS_OPERATIONS(X)                                                                                           \
    X(Information, (Text a), (a))                                                                                     \
    X(Find, (ObjectKind a, Name b, ObjectId & c), (a, b, c))                                                          \
    X(NameOf, (ObjectId a, Text b), (a, b))                                                                           \
    X(Enumerate, (DWORD a, Enumeration & b), (a, b))                                                                  \
    X(EnumerateMembers, (ObjectId a, DWORD b, Enumeration & c), (a, b, c))                                            \
    X(CreateGroup, (Name a, ObjectId & b), (a, b))                                                                    \
    X(CreateResource, (ObjectId a, Name b, Name c, DWORD d, ObjectId & e), (a, b, c, d, e))                           \
    X(NodeState, (ObjectId a, DWORD & b), (a, b))                                                                     \
    X(GroupState, (ObjectId a, DWORD & b, Text c), (a, b, c))                                                         \
    X(ResourceState, (ObjectId a, DWORD & b, Text c, Text d), (a, b, c, d))                                           \
    X(NetworkState, (ObjectId a, DWORD & b), (a, b))                                                                  \
    X(NetworkInterfaceState, (ObjectId a, DWORD & b), (a, b))                                                         \
    X(OnlineGroup, (ObjectId a, std::optional<ObjectId> b), (a, b))                                                   \
    X(OfflineGroup, (ObjectId a), (a))                                                                                \
    X(MoveGroup, (ObjectId a, std::optional<ObjectId> b), (a, b))                                                     \
    X(OnlineResource, (ObjectId a), (a))                                                                              \
    X(OfflineResource, (ObjectId a), (a))                                                                             \
    X(PauseNode, (ObjectId a), (a))                                                                                   \
    X(ResumeNode, (ObjectId a), (a))                                                                                  \
    X(EvictNode, (ObjectId a), (a))                                                                                   \
    X(RenameGroup, (ObjectId a, Name b), (a, b))                                                                      \
    X(SetGroupOwners, (ObjectId a, std::span<const ObjectId> b), (a, b))                                              \
    X(AddResourceOwner, (ObjectId a, ObjectId b), (a, b))                                                             \
    X(RemoveResourceOwner, (ObjectId a, ObjectId b), (a, b))                                                          \
    X(AddDependency, (ObjectId a, ObjectId b), (a, b))                                                                \
    X(RemoveDependency, (ObjectId a, ObjectId b), (a, b))                                                             \
    X(NetworkIdentifier, (ObjectId a, Text b), (a, b))                                                                \
    X(InterfaceOf, (Name a, Name b, Text c), (a, b, c))                                                               \
    X(Control, (ObjectId a, std::optional<ObjectId> b, DWORD c, std::span<const BYTE> d, Bytes & e), (a, b, c, d, e)) \
    X(RootKey, (Key & a), (a))                                                                                        \
    X(ObjectKey, (ObjectId a, Key & b), (a, b))                                                                       \
    X(OpenKey, (Key a, Name b, Key & c), (a, b, c))                                                                   \
    X(CreateKey, (Key a, Name b, bool c, Key& d, bool& e), (a, b, c, d, e))                                           \
    X(DeleteKey, (Key a, Name b), (a, b))                                                                             \
    X(SubkeyAt, (Key a, DWORD b, Text c), (a, b, c))                                                                  \
    X(SetValue, (Key a, Name b, DWORD c, std::span<const BYTE> d), (a, b, c, d))                                      \
    X(DeleteValue, (Key a, Name b), (a, b))                                                                           \
    X(QueryValue, (Key a, Name b, DWORD & c, Bytes & d), (a, b, c, d))                                                \
    X(ValueAt, (Key a, DWORD b, Text c, DWORD & d, Bytes & e), (a, b, c, d, e))                                       \
    X(Transact, (const std::function<DWORD()>& a), (a))

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

    int Calls(Operation operation) const { return static_cast<int>(_calls.count(operation)); }
    /// One line a call, refused ones included, with the names that it was about: "OnlineGroup Files N1".
    const StringArray& Log() const { return _log; }
    void ForgetCalls() {
        _calls.clear();
        _log.clear();
    }

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

    /// Adds what a call was about: the objects and names it was given, and the code of a control operation.
    template <typename Parameter>
    void Tell(std::wstring& line, Operation operation, std::type_identity_t<Parameter> given) {
        if constexpr (std::is_same_v<Parameter, Name>) {
            line += L" " + given;
        } else if constexpr (std::is_same_v<Parameter, DWORD>) {
            if (operation == Operation::Control) line += L" " + std::to_wstring(given);
        } else if constexpr (std::is_same_v<Parameter, ObjectId>) {
            std::wstring name;
            line += L" " + (Target().NameOf(given, name) == platform::error::Success ? name : L"?");
        } else if constexpr (std::is_same_v<Parameter, std::optional<ObjectId>>) {
            if (given) Tell<ObjectId>(line, operation, *given);
        } else if constexpr (std::is_same_v<Parameter, std::span<const ObjectId>>) {
            for (const ObjectId object : given) Tell<ObjectId>(line, operation, object);
        }
    }

    /// How this call is bent, if it is.
    std::optional<Bending> Take(Operation operation) {
        const auto found = _bends.find(operation);
        if (found == _bends.end()) return {};
        const Bending bending = found->second;
        if (bending.call == everyCall) return bending;
        if (--found->second.call > 0) return {};
        _bends.erase(found);
        return bending;
    }

    template <typename... Parameters>
    DWORD Bend(Operation operation, std::wstring line, DWORD (platform::ClusterService::*run)(Parameters...),
               std::type_identity_t<Parameters>... given) {
        (Tell<Parameters>(line, operation, given), ...);
        _calls.insert(operation);
        _log.push_back(line);
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
    std::multiset<Operation> _calls;
    StringArray _log;
};

/// Puts a FailingClusterService before a cluster for its own lifetime: whoever opens the cluster by name meets it.
///
///     FailingCluster failing(L"Tarn");
///     failing->Fail(Operation::OnlineGroup, error::HostNodeNotAvailable);
class FailingCluster {
public:
    /// Before `target` or, without one, before the cluster that the directory finds under `name` now.
    explicit FailingCluster(const std::wstring& name, const std::shared_ptr<platform::ClusterService>& target = nullptr)
        : _name(name),
          _service(std::make_shared<FailingClusterService>(target ? target : Resolved(name))),
          _before(platform::ClusterDirectory::Register(name, _service)) {}
    ~FailingCluster() { platform::ClusterDirectory::Register(_name, _before); }
    FailingCluster(const FailingCluster&) = delete;
    FailingCluster& operator=(const FailingCluster&) = delete;

    FailingClusterService* operator->() const { return _service.get(); }
    const std::shared_ptr<FailingClusterService>& Service() const { return _service; }

private:
    static std::shared_ptr<platform::ClusterService> Resolved(const std::wstring& name) {
        std::shared_ptr<platform::ClusterService> service;
        EXPECT_EQ(platform::error::Success, platform::ClusterDirectory::Resolve(name, service));
        return service;
    }

    std::wstring _name;
    std::shared_ptr<FailingClusterService> _service;
    std::shared_ptr<platform::ClusterService> _before;
};

}  // namespace tests
