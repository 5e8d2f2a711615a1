#pragma once

#include <platform/base/types.h>
#include <programs/support/Context.h>

#include <functional>
#include <string>
#include <vector>

namespace programs {

/// One value of a key, as people read and write it.
struct KeyValue {
    std::wstring name;
    DWORD type = 0;
    std::vector<BYTE> data;
};

/// The local registry or a cluster's database, under one set of operations. Each answers a result code.
class KeyTree {
public:
    virtual ~KeyTree() = default;
    /// The key at a path from the tree's root; an empty path is the root of a cluster's database. Keys are closed by
    /// Close.
    virtual DWORD Open(const std::wstring& path, DWORD access, HKEY& key) = 0;
    virtual DWORD Create(const std::wstring& path, HKEY& key) = 0;
    virtual void Close(HKEY key) = 0;
    virtual DWORD SubkeyAt(HKEY key, DWORD index, std::wstring& name) = 0;
    virtual DWORD ValueAt(HKEY key, DWORD index, KeyValue& value) = 0;
    virtual DWORD Query(HKEY key, KeyValue& value) = 0;
    virtual DWORD Set(HKEY key, const KeyValue& value) = 0;
    virtual DWORD DeleteValue(HKEY key, const std::wstring& name) = 0;
    virtual DWORD DeleteKey(HKEY parent, const std::wstring& name) = 0;

    /// All of them; ends the command when one cannot be read.
    StringArray Subkeys(HKEY key);
    std::vector<KeyValue> Values(HKEY key);
};

/// The registry of this machine. Paths begin with a root's name, such as HKEY_LOCAL_MACHINE.
std::unique_ptr<KeyTree> LocalRegistry();
/// The database of the cluster that the context names.
std::unique_ptr<KeyTree> ClusterDatabase(Context& context);

/// Calls `visit` with the path and each value of every key below `path`, and once with an empty value name for a key
/// without values; keys in order, at most 64 deep.
void WalkKeys(KeyTree& tree, HKEY key, const std::wstring& path,
              const std::function<void(const std::wstring& path, const KeyValue& value)>& visit);

/// Deletes every key below the one at `path`. A failure leaves what has not been deleted so far.
DWORD DeleteSubkeys(KeyTree& tree, const std::wstring& path);

/// "REG_SZ" and so on; a type without a keyword shows as its number.
std::string TypeName(DWORD type);
/// The value as text: texts as they are, numbers in decimal, binary data as the text it holds or in hexadecimal.
std::string ValueText(const KeyValue& value);
/// Reads "NAME=TYPE:VALUE"; throws a usage error that says what is wrong.
KeyValue ParseKeyValue(const std::string& text);

}  // namespace programs
