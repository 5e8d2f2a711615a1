#pragma once

#include <platform/base/export.h>
#include <platform/base/registry_types.h>
#include <platform/base/types.h>

#include <cstdint>
#include <functional>

// The registry: a tree of keys and typed values of each host, lasting in `registry.db` of its state directory. Names
// compare without regard to case and enumerate in that order; texts are UTF-16LE bytes. Every function answers a code,
// 0 for success, and leaves that of a failure (which 234 and 259 are not) as the thread's last error:
//   2 no such key or value; 5 the key was opened without the right, or has subkeys; 6 no open key; 53 the host cannot
//   be reached; 87 a name or pointer that cannot be; 234 the buffer is too small; 259 no more items; 1018 the key was
//   deleted; 1021 a lasting key below a volatile one; 1006 the registry's file was replaced under an open key; 1460
//   others kept writing for ten seconds, which is how long a change waits for them; reading waits for no writer.
// A change is on disk when its function returns. All functions may be called from any thread, but not in the child of a
// fork that came after the first use: it gets 6 for everything.

inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(0x80000000UL);
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(0x80000001UL);
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(0x80000002UL);
inline const HKEY HKEY_USERS = reinterpret_cast<HKEY>(0x80000003UL);
inline const HKEY HKEY_CURRENT_CONFIG = reinterpret_cast<HKEY>(0x80000005UL);

/// Opens the root of a host's registry; null or empty is this machine. `root` is one of the predefined keys or an open
/// key of that host (without a host, of any), of which another handle is made. A name may begin with two backslashes.
/// `*result` is to be closed by the caller, here and below, and is null on failure.
PLATFORM_API LONG RegConnectRegistryW(const wchar_t* host, HKEY root, HKEY* result);

/// Opens an existing key; a null or empty path opens `key` itself anew. Nothing is created, no file either.
PLATFORM_API LONG RegOpenKeyExW(HKEY key, const wchar_t* path, DWORD options, DWORD access, HKEY* result);

/// Opens a key, which changes nothing, or makes it with all of its parents that are missing. REG_OPTION_VOLATILE makes
/// keys that vanish with the machine's boot. Class and security attributes are not used. `disposition` (may be null)
/// tells which it was.
PLATFORM_API LONG RegCreateKeyExW(HKEY key, const wchar_t* path, DWORD reserved, const wchar_t* className,
                                  DWORD options, DWORD access, const void* securityAttributes, HKEY* result,
                                  DWORD* disposition);

/// Reads a value. `type` may be null. Without `data`, `*size` becomes the number of bytes; with it, `*size` is the room
/// and becomes the number of bytes, also when they do not fit: then nothing is written and the result is 234.
PLATFORM_API LONG RegQueryValueExW(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                                   DWORD* size);

/// Writes a value as it is given, whatever the type; at most 1 MiB.
PLATFORM_API LONG RegSetValueExW(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                                 DWORD size);

/// The name of the subkey at an index. `*nameSize` is the room in characters with the null, and becomes the length
/// without it. A name that does not fit is cut, and the result is 234.
PLATFORM_API LONG RegEnumKeyExW(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, DWORD* reserved,
                                wchar_t* className, DWORD* classSize, void* lastWriteTime);

/// The value at an index: its name as by RegEnumKeyExW, its type and data as by RegQueryValueExW.
PLATFORM_API LONG RegEnumValueW(HKEY key, DWORD index, wchar_t* name, DWORD* nameSize, DWORD* reserved, DWORD* type,
                                BYTE* data, DWORD* dataSize);

/// Deletes a key with its values; one that has subkeys is refused.
PLATFORM_API LONG RegDeleteKeyW(HKEY key, const wchar_t* path);

PLATFORM_API LONG RegDeleteValueW(HKEY key, const wchar_t* name);

/// A predefined key stays open.
PLATFORM_API LONG RegCloseKey(HKEY key);

namespace platform {

/// Which content of the local registry this process reads: it differs from an earlier one whenever that may have
/// changed.
struct RegistryVersion {
    std::uint64_t file = 0;
    std::uint64_t changes = 0;
    bool operator==(const RegistryVersion&) const = default;
};

/// Costs no system call as a rule. A registry file that another program makes, or puts in the place of another, may
/// show some milliseconds late. 2 while there is no registry; `version` is set on success only, and the last error
/// stays.
PLATFORM_API DWORD ReadRegistryVersion(RegistryVersion& version);

/// Runs `steps` as one transaction of the local registry: whatever this thread does with it meanwhile, others see all
/// of it or nothing, and a code other than 0 from `steps`, which is then the result, undoes it. Other writers wait, so
/// that `steps` must not block on anything else. `steps` may call this too; an inner one undoes only its own. A
/// registry that there is not yet is made. Other codes are those of a change.
PLATFORM_API DWORD TransactRegistry(const std::function<DWORD()>& steps);

/// Runs `steps`, whose reads of the local registry all see one state of it, whatever others write meanwhile. They must
/// not write, and keep it short. When there is no registry, or it cannot be read, they find that out by themselves.
PLATFORM_API void ViewRegistry(const std::function<void()>& steps);

/// From now on this process reads and writes a copy of the local registry in memory, which EndRegistryRehearsal throws
/// away. Keys opened before stay keys of the real one, and the other way round. Answers a code; 0 also when a rehearsal
/// is under way already.
PLATFORM_API DWORD BeginRegistryRehearsal();
PLATFORM_API void EndRegistryRehearsal();
PLATFORM_API bool IsRegistryRehearsed();

}  // namespace platform
