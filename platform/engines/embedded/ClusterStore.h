#pragma once

#include <platform/engines/embedded/ClusterModel.h>
#include <platform/store/Database.h>
#include <platform/store/KeyStore.h>

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace platform::embedded {

/// A cluster's database and the model read from it, kept in step. It knows rows, keys and the change list, and no rule:
/// what it is told to change must be allowed.
///
/// Reading and changing happen inside Read and Write, which take the database's lock, bring the model up to date and,
/// for Write, make one transaction of everything. The operations that change are those below Write; they change model
/// and rows together and do not answer: the first failure makes the whole Write fail and is its result. After a Write
/// that failed the model is read anew, so that nothing of it remains.
class ClusterStore {
public:
    static DWORD Create(std::unique_ptr<Database> database, const std::wstring& name,
                        std::unique_ptr<ClusterStore>& store);
    static DWORD Open(std::unique_ptr<Database> database, std::unique_ptr<ClusterStore>& store);

    const std::wstring& Name() const { return _name; }
    const ClusterModel& Model() const { return _model; }
    KeyStore& Keys() { return _keys; }
    KeyId RootKey() const { return _rootKey; }

    /// Answers what `question` does. What others committed shows at once; that the file was removed or replaced may
    /// show some milliseconds late to a question that reads no rows.
    template <typename Question>
    DWORD Read(Question&& question) {
        const auto lock = _database->Lock();
        const DWORD code = Refresh();
        return code == 0 ? question() : code;
    }

    /// Commits what `change` has changed when it answers 0, else takes it back. May be nested: an inner one that fails
    /// takes back its own changes only.
    template <typename Change>
    DWORD Write(Change&& change) {
        Writing writing(*this);
        DWORD code = writing.Begin();
        if (code == 0) code = change();
        return writing.End(code);
    }

    RowId InsertNode(const std::wstring& name);
    void SetNodeState(RowId node, DWORD state);
    /// With its interfaces, and out of every list of owners. It must own no group.
    void EraseNode(RowId node);

    RowId InsertNetwork(const NetworkDescription& network, const std::wstring& identifier);
    void SetNetworkState(RowId network, DWORD state);
    /// With its interfaces.
    void EraseNetwork(RowId network);

    RowId InsertInterface(RowId node, RowId network, const std::wstring& name, const std::wstring& address);
    void SetInterfaceState(RowId networkInterface, DWORD state);

    RowId InsertDisk(const SharedDisk& disk);
    RowId InsertType(const std::wstring& name);

    RowId InsertGroup(const std::wstring& name, RowId owner);
    void RenameGroup(RowId group, const std::wstring& name);
    void SetGroupOwner(RowId group, RowId node);
    void SetAskedOnline(RowId group, bool isOnline);
    void SetPreferredOwners(RowId group, const std::vector<RowId>& nodes);
    void EraseGroup(RowId group);

    /// Offline, every node a possible owner, also those that are added later.
    RowId InsertResource(RowId group, RowId type, const std::wstring& name);
    void SetResourceState(RowId resource, DWORD state);
    /// When every node is one now, those that are added later will be, too.
    void AddPossibleOwner(RowId resource, RowId node);
    void RemovePossibleOwner(RowId resource, RowId node);
    void AddDependency(RowId resource, RowId provider);
    void RemoveDependency(RowId resource, RowId provider);
    /// Nothing may depend on it.
    void EraseResource(RowId resource);

    /// Appends to the change list.
    void Note(const std::wstring& object, DWORD notification, const std::wstring& detail);
    /// Makes the Write fail with `code` unless it is 0.
    void Keep(DWORD code);

    // Inside Read or Write.
    std::int64_t LastChange() const { return _lastChange; }
    DWORD Changes(std::int64_t number, std::size_t limit, std::vector<ClusterChange>& changes);
    /// Reads all tables into another model.
    DWORD Load(ClusterModel& model);

    /// Makes `other` a copy of the database.
    DWORD CopyTo(Database& other) { return _database->CopyTo(other); }

private:
    class Writing {
    public:
        explicit Writing(ClusterStore& store);
        ~Writing();
        Writing(const Writing&) = delete;
        Writing& operator=(const Writing&) = delete;
        DWORD Begin();
        DWORD End(DWORD code);

    private:
        ClusterStore& _store;
        std::unique_lock<std::recursive_mutex> _lock;
        WriteTransaction _transaction;
        const std::uint64_t _editsBefore;
        const DWORD _failureBefore;
        bool _isSettled = false;
    };

    explicit ClusterStore(std::unique_ptr<Database> database);

    DWORD ReadCluster();
    DWORD Populate(const std::wstring& name);

    DWORD Refresh();
    DWORD Damaged() const;
    DWORD ReadVersions(std::array<std::int64_t, sectionCount>& versions);
    DWORD LoadChanged();
    DWORD ReadLastChange();
    void Forget();
    DWORD Flush();

    template <typename... Values>
    void Run(const char* sql, const Values&... values) {
        Keep(Statement(*_database, sql, values...).Run());
    }
    void Touch(Section section);
    RowId InsertedId();
    KeyId MakeObjectKey(ObjectKind kind, RowId id, const std::wstring& keyName);
    void DeleteObjectKey(ObjectKind kind, const std::wstring& keyName);
    void WriteText(KeyId key, const wchar_t* name, const std::wstring& text);
    void WriteNumber(KeyId key, const wchar_t* name, DWORD number);
    void SetForEveryNode(RowId resource, bool isForEvery);
    void EraseInterfaces(bool (*isOf)(const InterfaceRecord&, RowId), RowId id);

    std::unique_ptr<Database> _database;
    KeyStore _keys;
    std::wstring _name;
    KeyId _rootKey = 0;

    ClusterModel _model;
    bool _isLoaded = false;
    std::uint64_t _counter = 0;  // of the database when the model was read
    std::array<std::int64_t, sectionCount> _versions{};
    std::int64_t _lastChange = 0;

    std::array<bool, sectionCount> _isTouched{};
    std::uint64_t _edits = 0;
    std::int64_t _trimmedFor = 0;  // the last change that Flush has seen
    DWORD _failure = 0;
    RowId _placeholder = 0;
};

/// Where keys of objects stand below the cluster's root key; one key for each kind.
const wchar_t* KeyContainer(ObjectKind kind);
bool IsKeyContainer(const std::wstring& name);

}  // namespace platform::embedded
