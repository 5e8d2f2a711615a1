#pragma once

#include <platform/store/Database.h>
#include <platform/store/KeyStore.h>

#include <map>
#include <unordered_map>

namespace platform {

/// What a KeyStore has read since the database changed last, and the reading itself.
///
/// Refresh comes first in every operation: it forgets everything when the change counter differs. What the other
/// operations hand out lives until the next Refresh. Used under the database's lock.
struct KeyStore::Cache {
    struct Key {
        KeyId parent = top;
        std::wstring name;
        bool isVolatile = false;
        std::size_t subkeys = 0;
        std::size_t values = 0;
        std::size_t depth = 0;
    };
    struct Value {
        bool exists = false;
        DWORD type = 0;
        std::vector<BYTE> data;
    };

    static constexpr KeyId missing = -1;

    explicit Cache(Database& store) : database(store) {}

    DWORD Refresh();
    /// Begins the transaction for what is not known, and forgets what has changed up to its state.
    DWORD Begin(ReadTransaction& transaction);
    DWORD Begin(WriteTransaction& transaction);

    // Answers from memory; null when it must be read.
    const KeyId* KnownPath(KeyId parent, std::wstring_view path) const;
    const Value* KnownValue(KeyId key, std::wstring_view name) const;
    const std::vector<std::wstring>* KnownKeyNames(KeyId key) const;

    // Read what is not known. Inside a transaction, so that all of it belongs to one state.
    DWORD Load(KeyId key, const Key*& found);
    DWORD Walk(KeyId parent, std::wstring_view path, KeyId& key);
    DWORD Child(KeyId parent, std::wstring_view name, KeyId& key);
    DWORD KeyNames(KeyId key, const std::vector<std::wstring>*& names);
    DWORD ValueNames(KeyId key, const std::vector<std::wstring>*& names);
    DWORD ReadValue(KeyId key, std::wstring_view name, const Value*& value);

    Database& database;

private:
    template <typename Item>
    using ByName = std::unordered_map<KeyId, std::map<std::wstring, Item, std::less<>>>;

    DWORD ReadRow(KeyId key, Key& row) const;
    DWORD LoadTop(const Key*& found);
    DWORD CheckThatMissing(KeyId parent);
    DWORD ReadNames(const char* sql, KeyId key, int nameAt, std::size_t longest, std::vector<std::wstring>& names);
    DWORD Damaged() const;

    bool _isFilled = false;
    std::uint64_t _counter = 0;
    std::size_t _weight = 0;               // roughly, in bytes
    std::unordered_map<KeyId, Key> _keys;  // `top` among them
    ByName<KeyId> _paths;                  // as they were asked for; `missing` for a key that does not exist
    std::unordered_map<KeyId, std::vector<std::wstring>> _keyNames;
    std::unordered_map<KeyId, std::vector<std::wstring>> _valueNames;
    ByName<Value> _values;
};

}  // namespace platform
