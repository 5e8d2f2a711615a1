#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/store/Database.h>
#include <platform/store/KeyStore.h>
#include <platform/store/KeyStoreCache.h>

#include <algorithm>
#include <fstream>

namespace platform {

namespace {

constexpr std::size_t longestNote = 4096;

bool IsValueName(std::wstring_view name) {
    return name.size() <= KeyStore::longestValueName && name.find(L'\0') == std::wstring_view::npos &&
           std::ranges::all_of(name, IsCharacter);
}

// The boot of the machine that volatile keys belong to. Empty on a system that does not tell: volatile keys then last.
std::wstring CurrentBoot() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string line;
    std::getline(file, line);
    return FromUtf8(line.substr(0, 64));
}

std::wstring_view WithoutLastBackslash(std::wstring_view path) {
    return path.ends_with(L'\\') ? path.substr(0, path.size() - 1) : path;
}

}  // namespace

const char* const KeyStore::schema = R"(
    CREATE TABLE keys (
        id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id >= 0),
        parent INTEGER NOT NULL REFERENCES keys (id) DEFERRABLE INITIALLY DEFERRED,
        name TEXT NOT NULL CHECK (length(name) <= 255),
        folded TEXT NOT NULL CHECK (length(folded) <= 255),
        volatile INTEGER NOT NULL CHECK (volatile IN (0, 1)),
        subkeys INTEGER NOT NULL DEFAULT 0,
        value_count INTEGER NOT NULL DEFAULT 0,
        checksum INTEGER NOT NULL AS (row_checksum(id, parent, name, folded, volatile, subkeys, value_count)) STORED,
        UNIQUE (parent, folded)
    ) STRICT;
    CREATE INDEX keys_volatile ON keys (id) WHERE volatile = 1;
    INSERT INTO keys (id, parent, name, folded, volatile) VALUES (0, 0, '', '', 0);
    CREATE TABLE key_values (
        key INTEGER NOT NULL REFERENCES keys (id) ON DELETE CASCADE,
        name TEXT NOT NULL CHECK (length(name) <= 16383),
        folded TEXT NOT NULL CHECK (length(folded) <= 16383),
        type INTEGER NOT NULL CHECK (type BETWEEN 0 AND 4294967295),
        data BLOB NOT NULL CHECK (length(data) <= 1048576),
        name_checksum INTEGER NOT NULL AS (row_checksum(key, name, folded)) STORED,
        checksum INTEGER NOT NULL AS (row_checksum(key, name, folded, type, data)) STORED,
        UNIQUE (key, folded)
    ) STRICT;
    CREATE TRIGGER key_made AFTER INSERT ON keys WHEN new.id <> 0
        BEGIN UPDATE keys SET subkeys = subkeys + 1 WHERE id = new.parent; END;
    CREATE TRIGGER key_gone AFTER DELETE ON keys
        BEGIN UPDATE keys SET subkeys = subkeys - 1 WHERE id = old.parent; END;
    CREATE TRIGGER value_made AFTER INSERT ON key_values
        BEGIN UPDATE keys SET value_count = value_count + 1 WHERE id = new.key; END;
    CREATE TRIGGER value_gone AFTER DELETE ON key_values
        BEGIN UPDATE keys SET value_count = value_count - 1 WHERE id = old.key; END;
    CREATE TABLE key_notes (
        name TEXT NOT NULL PRIMARY KEY,
        text TEXT NOT NULL CHECK (length(text) <= 4096),
        checksum INTEGER NOT NULL AS (row_checksum(name, text)) STORED
    ) STRICT;
)";

const char* const KeyStore::conversion = R"(
    UPDATE keys SET value_count = (SELECT count(*) FROM key_values WHERE key = keys.id),
                    subkeys = (SELECT count(*) FROM keys AS child WHERE child.parent = keys.id AND child.id <> 0);
)";

KeyStore::KeyStore(Database& database) : _cache(std::make_unique<Cache>(database)) {}

KeyStore::~KeyStore() = default;

Database& KeyStore::Store() const {
    return _cache->database;
}

bool KeyStore::IsKeyName(std::wstring_view name) {
    return !name.empty() && name.size() <= longestKeyName && std::ranges::all_of(name, [](wchar_t character) {
        return IsCharacter(character) && !IsControl(character) && character != L'\\';
    });
}

DWORD KeyStore::FindKey(KeyId parent, std::wstring_view path, KeyId& key) {
    key = 0;
    path = WithoutLastBackslash(path);
    const auto lock = Store().Lock();
    if (const DWORD code = _cache->Refresh()) return code;
    KeyId found = Cache::missing;
    DWORD code = error::Success;
    if (const KeyId* known = _cache->KnownPath(parent, path)) {
        found = *known;
    } else {
        ReadTransaction transaction(Store());
        code = _cache->Begin(transaction);
        if (code == error::Success) code = _cache->Walk(parent, path, found);
    }
    if (code == error::Success && found == Cache::missing) code = error::FileNotFound;
    if (code == error::Success) key = found;
    return code;
}

DWORD KeyStore::CreateKey(KeyId parent, std::wstring_view path, bool isVolatile, KeyId& key, bool& created) {
    created = false;
    DWORD code = FindKey(parent, path, key);
    if (code != error::FileNotFound) return code;
    WriteTransaction transaction(Store());
    code = _cache->Begin(transaction);
    KeyId at = parent;
    bool isNew = false;
    for (std::wstring_view rest = WithoutLastBackslash(path); code == error::Success && !rest.empty();) {
        const std::size_t length = std::min(rest.find(L'\\'), rest.size());
        code = CreateChild(at, rest.substr(0, length), isVolatile, at, isNew);
        rest.remove_prefix(std::min(length + 1, rest.size()));
    }
    if (code == error::Success) code = transaction.Commit();
    if (code != error::Success) return code;
    key = at;
    created = isNew;
    return error::Success;
}

DWORD KeyStore::CreateChild(KeyId parent, std::wstring_view name, bool isVolatile, KeyId& key, bool& created) {
    created = false;
    KeyId found = Cache::missing;
    if (const DWORD code = _cache->Refresh()) return code;
    if (const DWORD code = _cache->Child(parent, name, found)) return code;
    if (found == Cache::missing) {
        const Cache::Key* above = nullptr;
        if (const DWORD code = _cache->Load(parent, above)) return code;
        if (above->isVolatile && !isVolatile) return error::ChildMustBeVolatile;
        if (above->depth >= deepestKey) return error::InvalidParameter;
        Statement row(Store(), "INSERT INTO keys (parent, name, folded, volatile) VALUES (?, ?, ?, ?)", parent, name,
                      FoldCase(name), isVolatile);
        if (const DWORD code = row.Run()) return code;
        found = Store().LastInsertedId();
        created = true;
    }
    key = found;
    return error::Success;
}

DWORD KeyStore::DeleteKey(KeyId parent, std::wstring_view path) {
    return Remove(parent, path, false);
}

DWORD KeyStore::DeleteTree(KeyId parent, std::wstring_view path) {
    return Remove(parent, path, true);
}

DWORD KeyStore::Remove(KeyId parent, std::wstring_view path, bool withSubkeys) {
    path = WithoutLastBackslash(path);
    if (path.empty()) return error::InvalidParameter;
    WriteTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    KeyId key = top;
    if (const DWORD code = _cache->Walk(parent, path, key)) return code;
    Statement subkeys(Store(), "SELECT 1 FROM keys WHERE parent = ? LIMIT 1", key);
    if (subkeys.Next() && !withSubkeys) return error::KeyHasChildren;
    if (const DWORD code = subkeys.Result()) return code;
    // UNION, which drops what it has seen: in a damaged file keys may stand in a circle.
    Statement removal(
        Store(),
        "WITH RECURSIVE doomed (id) AS (VALUES (?) UNION SELECT keys.id FROM keys JOIN doomed "
        "ON keys.parent = doomed.id WHERE keys.id <> 0) DELETE FROM keys WHERE id IN (SELECT id FROM doomed)",
        key);
    if (const DWORD code = removal.Run()) return code;
    return transaction.Commit();
}

DWORD KeyStore::RemoveVolatileKeys() {
    WriteTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    Statement removal(Store(),
                      "WITH RECURSIVE doomed (id) AS (SELECT id FROM keys WHERE volatile = 1 AND id <> 0 UNION "
                      "SELECT keys.id FROM keys JOIN doomed ON keys.parent = doomed.id WHERE keys.id <> 0) "
                      "DELETE FROM keys WHERE id IN (SELECT id FROM doomed)");
    if (const DWORD code = removal.Run()) return code;
    return transaction.Commit();
}

DWORD KeyStore::ForgetEarlierBoots() {
    const std::wstring current = CurrentBoot();
    std::wstring remembered;
    if (const DWORD code = ReadBoot(remembered)) return code;
    if (current.empty() || remembered == current) return error::Success;
    WriteTransaction transaction(Store());
    if (const DWORD code = transaction.Begin()) return code;
    // Another process may have done it while this one waited, and have made volatile keys since.
    if (const DWORD code = ReadBoot(remembered)) return code;
    if (remembered == current) return error::Success;
    if (const DWORD code = RemoveVolatileKeys()) return code;
    Statement note(Store(), "INSERT OR REPLACE INTO key_notes (name, text) VALUES ('boot', ?)", current);
    if (const DWORD code = note.Run()) return code;
    return transaction.Commit();
}

DWORD KeyStore::ReadBoot(std::wstring& boot) {
    boot.clear();
    Statement rows(Store(), "SELECT name, text, checksum FROM key_notes WHERE name = 'boot'");
    if (rows.NextRow()) boot = rows.Text(1, longestNote);
    return rows.Result();
}

DWORD KeyStore::KeyName(KeyId key, std::wstring& name) {
    name.clear();
    const auto lock = Store().Lock();
    ReadTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    const Cache::Key* row = nullptr;
    const DWORD code = _cache->Load(key, row);
    if (code == error::Success) name = row->name;
    return code;
}

DWORD KeyStore::ParentOf(KeyId key, KeyId& parent) {
    parent = top;
    const auto lock = Store().Lock();
    ReadTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    const Cache::Key* row = nullptr;
    const DWORD code = _cache->Load(key, row);
    if (code == error::Success) parent = row->parent;
    return code;
}

DWORD KeyStore::SetValue(KeyId key, std::wstring_view name, DWORD type, std::span<const BYTE> data) {
    if (!IsValueName(name) || data.size() > largestData || key == top) return error::InvalidParameter;
    WriteTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    const Cache::Key* row = nullptr;
    if (const DWORD code = _cache->Load(key, row)) return code;
    Statement value(Store(),
                    "INSERT INTO key_values (key, name, folded, type, data) VALUES (?, ?, ?, ?, ?) "
                    "ON CONFLICT (key, folded) DO UPDATE SET type = excluded.type, data = excluded.data",
                    key, name, FoldCase(name), type, data);
    if (const DWORD code = value.Run()) return code;
    return transaction.Commit();
}

DWORD KeyStore::QueryValue(KeyId key, std::wstring_view name, DWORD& type, std::vector<BYTE>& data) {
    type = 0;
    data.clear();
    const auto lock = Store().Lock();
    if (const DWORD code = _cache->Refresh()) return code;
    const Cache::Value* value = _cache->KnownValue(key, name);
    if (!value) {
        ReadTransaction transaction(Store());
        if (const DWORD code = _cache->Begin(transaction)) return code;
        if (const DWORD code = _cache->ReadValue(key, name, value)) return code;
    }
    if (!value->exists) return error::FileNotFound;
    type = value->type;
    data = value->data;
    return error::Success;
}

DWORD KeyStore::DeleteValue(KeyId key, std::wstring_view name) {
    WriteTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    const Cache::Key* row = nullptr;
    if (const DWORD code = _cache->Load(key, row)) return code;
    Statement removal(Store(), "DELETE FROM key_values WHERE key = ? AND folded = ?", key, FoldCase(name));
    if (const DWORD code = removal.Run()) return code;
    if (Store().ChangedRows() == 0) return error::FileNotFound;
    return transaction.Commit();
}

DWORD KeyStore::EnumKey(KeyId key, DWORD index, std::wstring& name) {
    name.clear();
    const auto lock = Store().Lock();
    if (const DWORD code = _cache->Refresh()) return code;
    const std::vector<std::wstring>* names = _cache->KnownKeyNames(key);
    if (!names) {
        ReadTransaction transaction(Store());
        if (const DWORD code = _cache->Begin(transaction)) return code;
        if (const DWORD code = _cache->KeyNames(key, names)) return code;
    }
    if (index >= names->size()) return error::NoMoreItems;
    name = (*names)[index];
    return error::Success;
}

DWORD KeyStore::EnumValue(KeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data) {
    name.clear();
    type = 0;
    data.clear();
    const auto lock = Store().Lock();
    ReadTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    const std::vector<std::wstring>* names = nullptr;
    if (const DWORD code = _cache->ValueNames(key, names)) return code;
    if (index >= names->size()) return error::NoMoreItems;
    const Cache::Value* value = nullptr;
    if (const DWORD code = _cache->ReadValue(key, (*names)[index], value)) return code;
    name = (*names)[index];
    type = value->type;
    data = value->data;
    return error::Success;
}

DWORD KeyStore::CountKeys(KeyId key, DWORD& count) {
    count = 0;
    const auto lock = Store().Lock();
    ReadTransaction transaction(Store());
    if (const DWORD code = _cache->Begin(transaction)) return code;
    const std::vector<std::wstring>* names = nullptr;
    const DWORD code = _cache->KeyNames(key, names);
    if (code == error::Success) count = static_cast<DWORD>(names->size());
    return code;
}

}  // namespace platform
