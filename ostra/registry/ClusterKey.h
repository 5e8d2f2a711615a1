#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/cluster/cluster_api.h>

#include <span>
#include <string>

class Persistence;

/// A place in the cluster database, the registry that the cluster keeps for all of its nodes.
///
/// `Root` is the root of this object's tree, `Handle` the key that values are written to and read from; both close with
/// the object. Keys that `GetHandle` and the `AddKey` forms return are the caller's to close (ClusterRegCloseKey), but
/// for `GetHandle("Root")`, which is the object's own root. A plain ClusterKey has no current key: whether its database
/// could be opened, `Root` tells. Operations answer null, 0 or an empty text on failure, after a report to the event
/// log (source "Ostra::ClusterKey"), in a message box or on standard output, and leave the code as the last error (6
/// without a key, 87 for a list or name that cannot be); the object stays usable. Assignment copies nothing.
///
/// An object belongs to one thread at a time, and blocks for as long as the cluster takes, or a message box shows.
///
/// Parameter strings name one value: name "=" type keyword ":" value text. The name ends at the first "=", the keyword
/// at the first ":" behind it. Keywords: REG_SZ, REG_DWORD, REG_EXPAND_SZ, REG_MULTI_SZ, REG_BINARY, case-sensitive;
/// any other counts as REG_SZ.
class OSTRA_API ClusterKey {
public:
    /// The database of an open cluster, which stays the caller's.
    explicit ClusterKey(HCLUSTER cluster);

    /// The database of the cluster of that name, opened for the object's life.
    explicit ClusterKey(const std::wstring& clusterName);

    ~ClusterKey();
    ClusterKey(const ClusterKey&) = delete;
    ClusterKey& operator=(const ClusterKey& other);
    ClusterKey& operator=(const ClusterKey* other);

    /// Do nothing; 0 and 1. The keys are open from construction on.
    int Open(HKEY key);
    int Close();

    HKEY Root() const { return _root.Get(); }
    HKEY Handle() const { return _handle.Get(); }
    /// The same key as `Handle`.
    HKEY Parameters() const { return _handle.Get(); }
    /// Non-zero when there is a current key, which only the typed keys give themselves.
    int Valid() const { return _handle ? 1 : 0; }

    /// Opens a key below the root; "Root" is the root itself.
    HKEY GetHandle(const std::wstring& path);

    /// Creates or opens a subkey, a new one as a volatile key, which vanishes when the cluster restarts. Null, without
    /// a report, when the parent key is null.
    HKEY GetHandle(const std::wstring& name, HKEY parentKey);

    /// Creates or opens a lasting subkey of the key at `parentPath`, and writes a value to it unless `valueName` is
    /// empty. The key, open for writing, is returned also when the value could not be written.
    HKEY AddKey(const std::wstring& parentPath, const std::wstring& name, const std::wstring& valueName,
                const std::wstring& value, DWORD type);

    /// The same below the given key, open for reading and writing.
    HKEY AddKey(HKEY parentKey, const std::wstring& name, const std::wstring& valueName, const std::wstring& value,
                DWORD type);

    /// Writes a text and its null under the given type, whatever that is. 1 or 0. A text under REG_DWORD is no number
    /// and does not read back as one: numbers go through the other form, or through parameter strings.
    int AddValue(HKEY key, const std::wstring& name, const std::wstring& value, DWORD type);

    /// Writes a REG_DWORD. 1 or 0.
    int AddValue(HKEY key, const std::wstring& name, DWORD value);

    /// Writes parameter strings: DWORD numbers to the current key, anything else to `key`. A failed write does not stop
    /// the others; the result is that of the last one, and 0 when there was none.
    int SetParameters(const StringArray* parameters, HKEY key);

    /// The same to a key of that name: "Printers" is a subkey of the current key, created volatile when it is missing;
    /// any other is opened as GetHandle(keyName) does and must exist.
    int SetParameters(const StringArray* parameters, const std::wstring& keyName);

    /// Deletes one subkey that has no subkeys of its own. 1 or 0.
    int Delete(HKEY key, const std::wstring& name);

    /// The value as text: texts, binary data and the first string of a list up to the first null, a DWORD in signed
    /// decimal. Empty when there is none, or when its data has more than 65,001 bytes (last error 234).
    std::wstring GetValue(const std::wstring& name, HKEY key) const;
    /// A value of the current key.
    std::wstring GetValue(const std::wstring& name) const;

    /// The decimal number at the start of the value's text, modulo 2^32; 0 when there is none.
    int GetValueAsInt(const std::wstring& name, HKEY key) const;

    /// Appends the names of a key's subkeys, the first 200, and returns their number.
    int GetChildren(StringArray* array, HKEY key) const;

    /// Collects the values of all keys below `key`, for Info. Always 0.
    int GetChildKey(HKEY key, int depth);

    /// Writes every value of the tree below the root to standard output: of each key the first 20 that have at most 200
    /// bytes and a text. Always 0.
    int Info();

    /// Write the object's persistent text as the value "Persistence" of the current key, and hand it back to the
    /// object's `SetPersistence`. A text that could not be read back, of more than 32,499 UTF-16 units, is not written;
    /// nor is any by a key that found one in the cluster database, which reads as an empty text: a message box says so,
    /// and the last error is MoreData.
    ClusterKey& operator<<(Persistence& object);
    ClusterKey& operator>>(Persistence& object);

protected:
    using OwnedKey = platform::SharedHandle<HKEY, ClusterRegCloseKey>;

    /// Deletes a subkey of the current key. 1 or 0.
    int Delete(const std::wstring& name);

    /// Creates or opens a subkey of the current key, and writes a REG_SZ value to it unless `valueName` is empty.
    HKEY AddKey(const std::wstring& name, const std::wstring& valueName, const std::wstring& value);

    /// The registry type of a type keyword.
    DWORD WriteMode(const std::wstring& typeName);

    /// Collects the values of `key` and of all keys below it. Always 0.
    int Discover(HKEY key, int depth);

    /// Collects the values of `key` and of all keys below it anew and writes a line for each to standard output.
    void WriteTree(HKEY key, const std::wstring& separator);

    /// Opens a key below `parent`; `status` receives the result.
    static OwnedKey OpenKey(HKEY parent, const std::wstring& path, DWORD access, LONG& status);

    void Message(const std::wstring& text, const std::wstring& title, UINT style) const;
    void Show(const std::wstring& text) const;
    void Report(const std::wstring& text) const;
    /// To the event log and in a message box.
    void ReportAndShow(const std::wstring& text) const;

    OwnedKey _root;
    OwnedKey _handle;
    StringArray _valueNames;  // collected by Discover
    StringArray _valueTexts;  // the matching texts
    NTEventViewer _eventViewer;
    OstraError _error;

private:
    int Initialize();
    /// The key at a path below the root, which is shared when the path names the root itself.
    OwnedKey KeyAt(const std::wstring& path);
    HKEY CreateKey(HKEY parentKey, const std::wstring& name, DWORD access);
    int WriteParameter(const std::wstring& parameter, HKEY key);
    std::wstring FormatDataValue(DWORD type, const std::wstring& name, std::span<const BYTE> data) const;

    std::wstring _clusterName;
    HCLUSTER _cluster = nullptr;
    int _ownsCluster = 0;
    bool _isPersistenceUnread = false;  // what was there could not be read, and is not to be lost
};
