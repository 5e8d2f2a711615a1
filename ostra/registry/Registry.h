#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/types.h>
#include <platform/system/registry.h>

#include <iosfwd>
#include <string>

class CArchive;
class Persistence;

/// One key of the registry of this machine or of another host, named by a full path such as
/// "HKEY_LOCAL_MACHINE\SOFTWARE\Norvane\Ostra\ExpertWizard\Groups\".
///
/// Nothing is contacted before `Open`. Operations answer null, 0 or an empty text on failure, after a report to the
/// event log (source "Ostra::Registry") or through `OstraError::Display`, and leave the code as the last error (6
/// without an open key, 87 for a path without a root key); the object stays usable. Keys that `GetHandle` and the
/// `AddKey` forms return are the caller's, who closes them, for instance through `Close`; the key that `Open` returns
/// stays the object's and closes with it.
///
/// An object belongs to one thread at a time. Writing and creating wait up to ten seconds for other writers.
class OSTRA_API Registry {
public:
    /// Takes a path that begins with a root key's name and ends with a backslash (text behind the last one is not
    /// looked at), and a host, empty for this machine.
    Registry(const std::wstring& path, const std::wstring& hostName);
    virtual ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    /// Splits a path into root and key path. 0 when it does not begin with the exact name of a root key.
    int Initialize(const std::wstring& path);

    /// Opens the key, component by component, at most 50 of them; with `openOnly` 0 it creates what is missing. The
    /// first argument is not used. After a success a further call walks the key path below the key that is open; the
    /// one that was open before closes once it is replaced. When the host, which is asked first, cannot be reached, the
    /// key that was open stays open and is returned; null when the path is not valid or a component could not be
    /// opened.
    HKEY Open(HKEY key, int openOnly);

    /// Closes the open key and, when it is not null, `other`. Always 0. To open again, name the path anew by
    /// `Initialize`.
    int Close(HKEY other);

    /// 1 when the path began with a known root key.
    int Valid() const { return _valid; }

    /// A key below the open one, for reading and writing.
    HKEY GetHandle(const std::wstring& subkeyPath);

    /// The text of a value of the open key, as `FormatData` gives it; empty when there is none, or when its data has
    /// more than 10,000 bytes (last error 234).
    std::wstring GetValue(const std::wstring& name);

    /// The same for a value of the given key, of at most 40,000 bytes.
    std::wstring GetValue(const std::wstring& name, HKEY key);

    /// The text of `size` bytes of raw value data as the registry holds them (UTF-16LE for texts), whatever the
    /// pointer's type. Lists and binary data are traced on standard output.
    std::wstring FormatData(const wchar_t* data, DWORD type, DWORD size);

    /// The text of raw value data: a text, or the first string of a list, up to its first null; a DWORD in signed
    /// decimal; empty for other types, whose data is not looked at. That of a text must hold a null unit, that of a
    /// DWORD four bytes.
    std::wstring FormatData(DWORD type, const std::wstring& name, BYTE* data);

    /// Reads the names of the open key's subkeys, the first 1000, anew and returns their number. The argument is not
    /// used.
    int GetChildren(StringArray* array);

    /// Appends the names of the open key's subkeys, the first 1000, to the array and returns their number. The key
    /// argument is not used.
    int GetChildren(StringArray* array, HKEY key) const;

    /// The names of the open key's subkeys, read anew.
    const StringArray& SubKeys();

    /// Creates or opens a subkey of the open key.
    HKEY AddKey(const std::wstring& subkey);

    /// Creates or opens a subkey of the key at `parentPath` below the open key, and writes a value to it unless
    /// `valueName` is empty. The new key is returned also when the value could not be written.
    HKEY AddKey(const std::wstring& parentPath, const std::wstring& subkey, const std::wstring& valueName,
                const std::wstring& value, DWORD type);

    /// The same below the given key.
    HKEY AddKey(HKEY parent, const std::wstring& subkey, const std::wstring& valueName, const std::wstring& value,
                DWORD type);

    /// Writes a text and its null under the given type, whatever that is; an empty text as no bytes at all. 1 or 0. A
    /// text under REG_DWORD is no number and does not read back as one: numbers go through the other form.
    int AddValue(HKEY key, const std::wstring& name, const std::wstring& value, DWORD type);

    /// Writes a REG_DWORD. 1 or 0.
    int AddValue(HKEY key, const std::wstring& name, DWORD value);

    /// Write and read a text as the value "Persistence" of the open key.
    Registry& operator<<(std::wstring& text);
    Registry& operator>>(std::wstring& text);

    /// Write the object's persistent text, and hand it back to the object's `SetPersistence`.
    Registry& operator<<(Persistence& object);
    Registry& operator>>(Persistence& object);

private:
    using OwnedKey = platform::SharedHandle<HKEY, RegCloseKey>;

    OwnedKey Walk(OwnedKey key, bool isCreating) const;
    OwnedKey OpenComponent(HKEY parent, const std::wstring& component, bool isCreating) const;
    DWORD ReadValue(HKEY key, const std::wstring& name, DWORD capacity);
    void ReadSubKeys();
    int EnumerateSubKeys(StringArray& names, DWORD capacity) const;
    void Report(const std::wstring& text) const;
    void Display(const std::wstring& text) const;
    void ReportAndDisplay(const std::wstring& text) const;

    std::wstring _keyPath;   // below the root key
    OwnedKey _keyHandle;     // the open key
    OwnedKey _rootKey;       // the predefined root; since the last successful Open, the key that this opened
    std::wstring _rootName;  // empty when it is no root key's
    std::wstring _value;     // text of the value last read
    int _valid = 0;
    std::wstring _hostName;  // empty for this machine
    StringArray _subKeys;
    NTEventViewer _eventViewer;
    OstraError _error;
};

/// A registry key carries no data into an archive or a stream: the archive forms leave a trace on standard output, the
/// stream forms do nothing.
OSTRA_API CArchive& operator>>(CArchive& archive, Registry& registry);
OSTRA_API CArchive& operator<<(CArchive& archive, Registry& registry);
OSTRA_API std::istream& operator>>(std::istream& stream, Registry& registry);
OSTRA_API std::wistream& operator>>(std::wistream& stream, Registry& registry);
OSTRA_API std::ostream& operator<<(std::ostream& stream, Registry& registry);
OSTRA_API std::wostream& operator<<(std::wostream& stream, Registry& registry);
