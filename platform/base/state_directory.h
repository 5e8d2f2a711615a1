#pragma once

#include <platform/base/export.h>

#include <string>

namespace platform {

/// The directory that holds all of the product's state: `$OSTRA_HOME`; without it /var/lib/ostra for root and
/// `${XDG_STATE_HOME:-$HOME/.local/state}/ostra` for others. An absolute UTF-8 path without a final slash; the
/// environment is read anew on every call. Nothing is created.
PLATFORM_API std::string StateDirectory();

/// Creates a directory below the state directory (and the state directory itself), mode 0700, and returns its path;
/// empty when it cannot be made, or StateDirectoryFault has an answer. `name` is one of ours, never user input. What
/// was created is on disk.
PLATFORM_API std::string EnsureStateDirectory(const std::string& name = {});

/// What keeps this user from the state directory, or from that directory in it, in words for a person: it cannot be
/// read, is no directory, belongs to another user, or can be written by others. Empty when nothing does, or it does not
/// exist.
PLATFORM_API std::wstring StateDirectoryFault(const std::string& name = {});

/// Whether a name may stand as one file name: not empty, at most 200 bytes in UTF-8, not "." or "..", no slash,
/// no backslash, no control character.
PLATFORM_API bool IsSafeFileName(const std::wstring& name);

}  // namespace platform
