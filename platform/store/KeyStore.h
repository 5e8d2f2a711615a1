#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

class Database;

/// Names a key for as long as it exists, also when it is renamed. Never used again for another key.
using KeyId = std::int64_t;

/// A durable tree of keys, each with typed values, in tables of a Database; other tables may stand beside them in the
/// same file. Key and value names compare without regard to case, keep the case in which they were first written, and
/// enumerate in the order of their folded form. Safe for use from any thread.
///
/// Every operation is one transaction, or a part of the WriteTransaction around it, and answers a code of
/// platform::error: FileNotFound without such a key or value, KeyDeleted when the key given is gone, InvalidParameter
/// for a name or data that cannot be, FileCorrupt for content that cannot be, and the database's own. Out parameters
/// are 0 or empty after a failure.
///
/// A path is one or more names joined by backslashes; a last backslash does not count.
class PLATFORM_API KeyStore {
public:
    /// The parent of all roots: roots are its children, made by CreateKey. It cannot be deleted and holds no values.
    static constexpr KeyId top = 0;

    static constexpr std::size_t longestKeyName = 255;
    static constexpr std::size_t longestValueName = 16'383;
    static constexpr std::size_t largestData = 1'048'576;
    static constexpr std::size_t deepestKey = 512;

    /// The statements that make the tables, for a DatabaseSchema. Their names begin with "key". The names and data of
    /// values have a checksum each, so that values can be listed without reading their data; a key's row counts its
    /// subkeys and values, so that none is missed when an index is damaged.
    static const char* const schema;
    /// What the tables of a file without these counts need, for a DatabaseSchema.
    static const char* const conversion;

    /// The database must outlive the store.
    explicit KeyStore(Database& database);
    ~KeyStore();
    KeyStore(const KeyStore&) = delete;
    KeyStore& operator=(const KeyStore&) = delete;

    /// An empty path finds the parent itself.
    DWORD FindKey(KeyId parent, std::wstring_view path, KeyId& key);

    /// Finds the key at the path, or makes it and whatever of its parents is missing. An existing key stays as it is,
    /// volatile or not. ChildMustBeVolatile for a lasting key below a volatile one.
    DWORD CreateKey(KeyId parent, std::wstring_view path, bool isVolatile, KeyId& key, bool& created);

    /// Deletes one key with its values. KeyHasChildren, and nothing happens, while it has subkeys.
    DWORD DeleteKey(KeyId parent, std::wstring_view path);

    /// Deletes a key with all that is below it.
    DWORD DeleteTree(KeyId parent, std::wstring_view path);

    /// Deletes every volatile key.
    DWORD RemoveVolatileKeys();
    /// Deletes those that were made before the machine started; whoever opens a file does this first.
    DWORD ForgetEarlierBoots();

    DWORD KeyName(KeyId key, std::wstring& name);
    DWORD ParentOf(KeyId key, KeyId& parent);

    /// Writes a value, or replaces its type and data. An empty name is the key's default value.
    DWORD SetValue(KeyId key, std::wstring_view name, DWORD type, std::span<const BYTE> data);
    DWORD QueryValue(KeyId key, std::wstring_view name, DWORD& type, std::vector<BYTE>& data);
    DWORD DeleteValue(KeyId key, std::wstring_view name);

    /// The subkey or value at an index, counted from 0; NoMoreItems behind the last. Enumerating a key that nobody
    /// changes meanwhile gives every item once.
    DWORD EnumKey(KeyId key, DWORD index, std::wstring& name);
    DWORD EnumValue(KeyId key, DWORD index, std::wstring& name, DWORD& type, std::vector<BYTE>& data);
    DWORD CountKeys(KeyId key, DWORD& count);

    Database& Store() const;

    /// Whether a name can be that of a key: not empty, at most 255 characters, no backslash, no control character.
    static bool IsKeyName(std::wstring_view name);

private:
    struct Cache;

    DWORD CreateChild(KeyId parent, std::wstring_view name, bool isVolatile, KeyId& key, bool& created);
    DWORD ReadBoot(std::wstring& boot);
    DWORD Remove(KeyId parent, std::wstring_view path, bool withSubkeys);

    std::unique_ptr<Cache> _cache;
};

}  // namespace platform
