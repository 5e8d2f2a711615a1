#include <platform/engines/embedded/ClusterStore.h>

#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/engines/embedded/load_section.h>
#include <platform/store/failures.h>
#include <platform/system/hosts.h>

#include <algorithm>

namespace platform::embedded {

namespace {

constexpr std::int64_t changesKept = 100'000;
constexpr std::size_t longestChangeText = 8'192;

const wchar_t* const predefinedTypes[] = {L"File Share",       L"Generic Application", L"Generic Service",
                                          L"IIS Virtual Root", L"IP Address",          L"Network Name",
                                          L"Physical Disk",    L"Print Spooler",       L"Time Service"};

const ObjectKind kindsWithKeys[] = {ObjectKind::Group, ObjectKind::NetworkInterface, ObjectKind::Network,
                                    ObjectKind::Node,  ObjectKind::ResourceType,     ObjectKind::Resource};

}  // namespace

const wchar_t* KeyContainer(ObjectKind kind) {
    switch (kind) {
        case ObjectKind::Resource: return L"Resources";
        case ObjectKind::ResourceType: return L"ResourceTypes";
        case ObjectKind::Group: return L"Groups";
        case ObjectKind::Node: return L"Nodes";
        case ObjectKind::Network: return L"Networks";
        case ObjectKind::NetworkInterface: return L"NetworkInterfaces";
    }
    return L"";
}

bool IsKeyContainer(const std::wstring& name) {
    return std::ranges::any_of(kindsWithKeys,
                               [&](ObjectKind kind) { return EqualIgnoringCase(name, KeyContainer(kind)); });
}

ClusterStore::ClusterStore(std::unique_ptr<Database> database) : _database(std::move(database)), _keys(*_database) {}

DWORD ClusterStore::Create(std::unique_ptr<Database> database, const std::wstring& name,
                           std::unique_ptr<ClusterStore>& store) {
    store.reset(new ClusterStore(std::move(database)));
    DWORD code = store->Write([&] { return store->Populate(name); });
    if (code == error::Success) code = store->ReadCluster();
    if (code == error::Success) code = store->_keys.ForgetEarlierBoots();
    if (code != error::Success) store.reset();
    return code;
}

DWORD ClusterStore::Open(std::unique_ptr<Database> database, std::unique_ptr<ClusterStore>& store) {
    store.reset(new ClusterStore(std::move(database)));
    DWORD code = store->ReadCluster();
    if (code == error::Success) code = store->_keys.ForgetEarlierBoots();
    if (code == error::Success) code = store->Read([] { return error::Success; });
    if (code != error::Success) store.reset();
    return code;
}

DWORD ClusterStore::Populate(const std::wstring& name) {
    bool isNew = false;
    Keep(_keys.CreateKey(KeyStore::top, L"Cluster", false, _rootKey, isNew));
    Run("INSERT INTO cluster (id, name, root_key) VALUES (1, ?, ?)", name, _rootKey);
    for (const ObjectKind kind : kindsWithKeys) {
        KeyId container = 0;
        Keep(_keys.CreateKey(_rootKey, KeyContainer(kind), false, container, isNew));
    }
    for (const wchar_t* const type : predefinedTypes) InsertType(type);
    return error::Success;
}

DWORD ClusterStore::ReadCluster() {
    Statement row(*_database, "SELECT id, name, root_key, checksum FROM cluster WHERE id = 1");
    if (!row.NextRow()) return row.Result() != error::Success ? row.Result() : Damaged();
    _name = row.Text(1, longestName);
    _rootKey = row.Integer(2, 1);
    return row.Result();
}

DWORD ClusterStore::Refresh() {
    std::uint64_t counter = 0;
    if (const DWORD code = _database->GlanceAtChangeCounter(counter)) return code;
    if (_isLoaded && counter == _counter) return error::Success;
    ReadTransaction transaction(*_database);
    DWORD code = transaction.Begin();
    if (code == error::Success) code = _database->ReadChangeCounter(counter);
    if (code == error::Success) code = LoadChanged();
    if (code == error::Success) code = ReadLastChange();
    if (code != error::Success) {
        Forget();
        return code == error::FileCorrupt ? Damaged() : code;
    }
    _counter = counter;
    _isLoaded = true;
    return error::Success;
}

DWORD ClusterStore::Damaged() const {
    return Fail(error::FileCorrupt, L"\"%1\" is damaged: what it holds makes no cluster.", _database->Path());
}

DWORD ClusterStore::ReadVersions(std::array<std::int64_t, sectionCount>& versions) {
    Statement rows(*_database, "SELECT id, version, checksum FROM sections ORDER BY id");
    std::size_t count = 0;
    for (; rows.NextRow() && count < sectionCount; ++count) {
        if (rows.Integer(0) != static_cast<std::int64_t>(count)) return error::FileCorrupt;
        versions[count] = rows.Integer(1, 0);
    }
    if (rows.Result() != error::Success) return rows.Result();
    return count == sectionCount ? error::Success : error::FileCorrupt;
}

DWORD ClusterStore::LoadChanged() {
    std::array<std::int64_t, sectionCount> versions{};
    if (const DWORD code = ReadVersions(versions)) return code;
    bool isChanged = false;
    for (std::size_t section = 0; section < sectionCount; ++section) {
        if (_isLoaded && versions[section] == _versions[section]) continue;
        isChanged = true;
        if (const DWORD code = LoadSection(*_database, static_cast<Section>(section), _model)) return code;
    }
    _versions = versions;
    return !isChanged || _model.Link() ? error::Success : error::FileCorrupt;
}

DWORD ClusterStore::Load(ClusterModel& model) {
    for (std::size_t section = 0; section < sectionCount; ++section) {
        if (const DWORD code = LoadSection(*_database, static_cast<Section>(section), model)) return code;
    }
    return model.Link() ? error::Success : error::FileCorrupt;
}

DWORD ClusterStore::ReadLastChange() {
    Statement row(*_database, "SELECT COALESCE(max(number), 0) FROM changes");
    if (row.Next()) _lastChange = row.Integer(0, 0);
    _trimmedFor = _lastChange;
    return row.Result();
}

DWORD ClusterStore::Changes(std::int64_t number, std::size_t limit, std::vector<ClusterChange>& changes) {
    changes.clear();
    if (number >= _lastChange || limit == 0) return error::Success;
    const std::size_t most = std::min<std::size_t>(limit, changesKept);
    Statement rows(*_database,
                   "SELECT number, time, user, command, object, notification, detail, checksum FROM changes "
                   "WHERE number > ? ORDER BY number LIMIT ?",
                   number, most);
    while (rows.NextRow()) {
        changes.push_back({rows.Integer(0), rows.Integer(1), rows.Text(2, longestChangeText),
                           rows.Text(3, longestChangeText), rows.Text(4, longestChangeText),
                           static_cast<DWORD>(rows.Integer(5, 0, 0xFFFFFFFF)), rows.Text(6, longestChangeText)});
    }
    return rows.Result();
}

void ClusterStore::Note(const std::wstring& object, DWORD notification, const std::wstring& detail) {
    const auto cut = [](const std::wstring& text) { return std::wstring_view(text).substr(0, longestChangeText); };
    const std::wstring command = ChangeCommand();
    Run("INSERT INTO changes (time, user, command, object, notification, detail) VALUES (?, ?, ?, ?, ?, ?)",
        CurrentTime(), LocalUserName(), cut(command), cut(object), notification, cut(detail));
    ++_lastChange;
    ++_edits;
}

void ClusterStore::Keep(DWORD code) {
    if (_failure == error::Success) _failure = code;
}

void ClusterStore::Touch(Section section) {
    _isTouched[static_cast<std::size_t>(section)] = true;
    ++_edits;
}

DWORD ClusterStore::Flush() {
    for (std::size_t section = 0; section < sectionCount; ++section) {
        if (!std::exchange(_isTouched[section], false)) continue;
        Run("UPDATE sections SET version = version + 1 WHERE id = ?", section);
        ++_versions[section];
    }
    if (_lastChange != _trimmedFor) {
        Run("DELETE FROM changes WHERE number <= ?", _lastChange - changesKept);
        _trimmedFor = _lastChange;
    }
    return _failure;
}

void ClusterStore::Forget() {
    _isLoaded = false;
    _model = {};
    _isTouched = {};
}

ClusterStore::Writing::Writing(ClusterStore& store)
    : _store(store),
      _lock(store._database->Lock()),
      _transaction(*store._database),
      _editsBefore(store._edits),
      _failureBefore(std::exchange(store._failure, error::Success)) {}

ClusterStore::Writing::~Writing() {
    if (!_isSettled) End(error::GeneralFailure);
}

DWORD ClusterStore::Writing::Begin() {
    const DWORD code = _transaction.Begin();
    return code == error::Success ? _store.Refresh() : code;
}

DWORD ClusterStore::Writing::End(DWORD code) {
    _isSettled = true;
    if (code == error::Success) code = _store.Flush();
    std::uint64_t counter = 0;
    if (code == error::Success) code = _store._database->ReadChangeCounter(counter);
    if (code == error::Success) code = _transaction.Commit();
    if (code == error::Success) _store._counter = counter;  // the model has what was written: nothing to read again
    if (code != error::Success && _store._edits != _editsBefore) _store.Forget();
    _store._failure = _failureBefore;
    return code;
}

}  // namespace platform::embedded
