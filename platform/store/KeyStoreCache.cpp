#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/store/KeyStoreCache.h>
#include <platform/store/failures.h>

#include <algorithm>
#include <limits>

namespace platform {

namespace {

constexpr std::size_t heaviest = 16 * 1024 * 1024;
constexpr std::size_t largestKept = 64 * 1024;
constexpr std::size_t itemWeight = 128;
constexpr std::size_t mostCounted = 1'000;  // more subkeys are not counted only because one was looked for in vain

std::size_t WeightOf(std::wstring_view text) {
    return itemWeight + text.size() * sizeof(wchar_t);
}

template <typename Items>
auto Known(const Items& items, KeyId key, std::wstring_view name) -> decltype(&items.begin()->second.begin()->second) {
    const auto of = items.find(key);
    if (of == items.end()) return nullptr;
    const auto found = of->second.find(name);
    return found == of->second.end() ? nullptr : &found->second;
}

}  // namespace

DWORD KeyStore::Cache::Refresh() {
    std::uint64_t counter = 0;
    if (const DWORD code = database.ReadChangeCounter(counter)) return code;
    if (_isFilled && counter == _counter && _weight <= heaviest) return error::Success;
    _keys.clear();
    _paths.clear();
    _keyNames.clear();
    _valueNames.clear();
    _values.clear();
    _weight = 0;
    _counter = counter;
    _isFilled = true;
    return error::Success;
}

DWORD KeyStore::Cache::Begin(ReadTransaction& transaction) {
    const DWORD code = transaction.Begin();
    return code ? code : Refresh();
}

DWORD KeyStore::Cache::Begin(WriteTransaction& transaction) {
    const DWORD code = transaction.Begin();
    return code ? code : Refresh();
}

const KeyId* KeyStore::Cache::KnownPath(KeyId parent, std::wstring_view path) const {
    return Known(_paths, parent, path);
}

const KeyStore::Cache::Value* KeyStore::Cache::KnownValue(KeyId key, std::wstring_view name) const {
    return Known(_values, key, name);
}

const std::vector<std::wstring>* KeyStore::Cache::KnownKeyNames(KeyId key) const {
    const auto found = _keyNames.find(key);
    return found == _keyNames.end() ? nullptr : &found->second;
}

DWORD KeyStore::Cache::Damaged() const {
    return Fail(error::FileCorrupt, L"\"%1\" is damaged: its keys do not make a tree.", database.Path());
}

DWORD KeyStore::Cache::ReadRow(KeyId key, Key& row) const {
    Statement rows(database,
                   "SELECT id, parent, name, folded, volatile, subkeys, value_count, checksum FROM keys WHERE id = ?",
                   key);
    if (!rows.NextRow()) return rows.Result() ? rows.Result() : error::FileNotFound;
    row.parent = rows.Integer(1, 0);
    row.name = rows.Text(2, longestKeyName);
    const std::wstring folded = rows.Text(3, longestKeyName);
    row.isVolatile = rows.Integer(4, 0, 1) == 1;
    row.subkeys = static_cast<std::size_t>(rows.Integer(5, 0));
    row.values = static_cast<std::size_t>(rows.Integer(6, 0));
    if (const DWORD code = rows.Result()) return code;
    if (key == top) return error::Success;
    return IsKeyName(row.name) && FoldCase(row.name) == folded ? error::Success : Damaged();
}

// With the whole chain of its parents, which must lead to the top: so neither a circle nor a chain without end, which
// only a damaged file holds, is ever handed to a caller.
DWORD KeyStore::Cache::Load(KeyId key, const Key*& found) {
    found = nullptr;
    if (key == top) return LoadTop(found);
    std::vector<std::pair<KeyId, Key>> chain;
    for (KeyId at = key; at != top && !_keys.contains(at); at = chain.back().second.parent) {
        Key row;
        const DWORD code = at > top ? ReadRow(at, row) : error::FileNotFound;
        if (code == error::FileNotFound) return chain.empty() ? error::KeyDeleted : Damaged();
        if (code) return code;
        if (chain.size() == deepestKey) return Damaged();
        chain.emplace_back(at, std::move(row));
    }
    while (!chain.empty()) {
        auto& [id, row] = chain.back();
        row.depth = 1 + (row.parent == top ? 0 : _keys.at(row.parent).depth);
        if (row.depth > deepestKey) return Damaged();
        _weight += WeightOf(row.name);
        _keys.emplace(id, std::move(row));
        chain.pop_back();
    }
    found = &_keys.at(key);
    return error::Success;
}

DWORD KeyStore::Cache::LoadTop(const Key*& found) {
    if (!_keys.contains(top)) {
        Key row;
        const DWORD code = ReadRow(top, row);
        if (code) return code == error::FileNotFound ? Damaged() : code;
        _keys.emplace(top, Key{top, {}, false, row.subkeys, row.values, 0});
    }
    found = &_keys.at(top);
    return error::Success;
}

DWORD KeyStore::Cache::Walk(KeyId parent, std::wstring_view path, KeyId& key) {
    key = parent;
    const Key* row = nullptr;
    if (const DWORD code = Load(parent, row)) return code;
    for (std::wstring_view rest = path; !rest.empty();) {
        const std::size_t length = std::min(rest.find(L'\\'), rest.size());
        if (const DWORD code = Child(key, rest.substr(0, length), key)) return code;
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (key == missing) break;
    }
    _paths[parent].emplace(path, key);
    _weight += WeightOf(path);
    return key == missing ? error::FileNotFound : error::Success;
}

DWORD KeyStore::Cache::Child(KeyId parent, std::wstring_view name, KeyId& key) {
    key = missing;
    if (!IsKeyName(name)) return error::InvalidParameter;
    if (const KeyId* known = KnownPath(parent, name)) {
        key = *known;
        return error::Success;
    }
    const std::wstring folded = FoldCase(name);
    Statement rows(database, "SELECT id FROM keys WHERE parent = ? AND folded = ? AND id <> 0", parent, folded);
    if (rows.Next()) {
        const KeyId found = rows.Integer(0, 1);
        const Key* row = nullptr;
        if (const DWORD code = rows.Result()) return code;
        if (const DWORD code = Load(found, row)) return code == error::KeyDeleted ? Damaged() : code;
        if (row->parent != parent || FoldCase(row->name) != folded)
            return Damaged();  // the index, not the row, differs
        key = found;
    } else if (rows.Result() == error::Success) {
        if (const DWORD code = CheckThatMissing(parent)) return code;
    }
    if (const DWORD code = rows.Result()) return code;
    _paths[parent].emplace(name, key);
    _weight += WeightOf(name);
    return error::Success;
}

// A key that was looked for in vain may stand where a damaged index does not lead.
DWORD KeyStore::Cache::CheckThatMissing(KeyId parent) {
    const Key* row = nullptr;
    if (const DWORD code = Load(parent, row)) return code;
    if (row->subkeys > mostCounted) return error::Success;
    Statement rows(database, "SELECT count(*) FROM keys WHERE parent = ? AND id <> 0", parent);
    const bool isCounted = rows.Next() && rows.Integer(0) == static_cast<std::int64_t>(row->subkeys);
    if (const DWORD code = rows.Result()) return code;
    return isCounted ? error::Success : Damaged();
}

// The statement's rows have the name in column `nameAt` and its folded form in the next one.
DWORD KeyStore::Cache::ReadNames(const char* sql, KeyId key, int nameAt, std::size_t longest,
                                 std::vector<std::wstring>& names) {
    Statement rows(database, sql, key);
    while (rows.NextRow()) {
        std::wstring name = rows.Text(nameAt, longest);
        const std::wstring folded = rows.Text(nameAt + 1, longest);
        if (rows.Result()) break;
        if (FoldCase(name) != folded) return Damaged();
        _weight += WeightOf(name);
        names.push_back(std::move(name));
    }
    return rows.Result();
}

DWORD KeyStore::Cache::KeyNames(KeyId key, const std::vector<std::wstring>*& names) {
    names = KnownKeyNames(key);
    if (names) return error::Success;
    const Key* row = nullptr;
    if (const DWORD code = Load(key, row)) return code;
    std::vector<std::wstring> read;
    static constexpr const char* sql =
        "SELECT id, parent, name, folded, volatile, subkeys, value_count, checksum FROM keys "
        "WHERE parent = ? AND id <> 0 ORDER BY folded";
    if (const DWORD code = ReadNames(sql, key, 2, longestKeyName, read)) return code;
    if (read.size() != row->subkeys) return Damaged();
    for (const std::wstring& name : read) {
        if (!IsKeyName(name)) return Damaged();
    }
    names = &(_keyNames[key] = std::move(read));
    return error::Success;
}

DWORD KeyStore::Cache::ValueNames(KeyId key, const std::vector<std::wstring>*& names) {
    const auto found = _valueNames.find(key);
    names = found == _valueNames.end() ? nullptr : &found->second;
    if (names) return error::Success;
    const Key* row = nullptr;
    if (const DWORD code = Load(key, row)) return code;
    std::vector<std::wstring> read;
    static constexpr const char* sql =
        "SELECT key, name, folded, name_checksum FROM key_values WHERE key = ? ORDER BY folded";
    if (const DWORD code = ReadNames(sql, key, 1, longestValueName, read)) return code;
    if (read.size() != row->values) return Damaged();
    names = &(_valueNames[key] = std::move(read));
    return error::Success;
}

DWORD KeyStore::Cache::ReadValue(KeyId key, std::wstring_view name, const Value*& value) {
    value = KnownValue(key, name);
    if (value) return error::Success;
    const std::vector<std::wstring>* names = nullptr;
    if (const DWORD code = ValueNames(key, names)) return code;
    Value read;
    // The names tell of most values that programs look for in vain.
    const std::wstring folded = FoldCase(name);
    const auto isBefore = [](const std::wstring& each, const std::wstring& sought) { return FoldCase(each) < sought; };
    const auto found = std::lower_bound(names->begin(), names->end(), folded, isBefore);
    if (found != names->end() && FoldCase(*found) == folded) {
        Statement rows(database,
                       "SELECT key, name, folded, type, data, checksum FROM key_values WHERE key = ? AND folded = ?",
                       key, folded);
        if (rows.NextRow()) {
            read.type = static_cast<DWORD>(rows.Integer(3, 0, std::numeric_limits<DWORD>::max()));
            const std::span<const BYTE> data = rows.Blob(4, largestData);
            read.data.assign(data.begin(), data.end());
            read.exists = true;
        }
        if (const DWORD code = rows.Result()) return code;
        if (!read.exists) return Damaged();  // the list of names has it
    }
    // A large one makes the next Refresh forget everything rather than be kept for good.
    _weight += WeightOf(name) + (read.data.size() > largestKept ? heaviest : read.data.size());
    value = &_values[key].insert_or_assign(std::wstring(name), std::move(read)).first->second;
    return error::Success;
}

}  // namespace platform
