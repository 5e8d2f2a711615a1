#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

// Everything here may be called from any thread, and blocks on nothing.

/// Loads a message table by its name, whose case does not count: "netmsg.dll" holds the messages of the network. Tables
/// are part of this library, so that loading one only counts its users. Null for a name that is none, with last error
/// 126. Each successful call is undone by one of FreeLibrary.
PLATFORM_API HMODULE LoadLibraryW(const wchar_t* name);

/// Non-zero when the table was loaded; 0, with last error 6, for anything else.
PLATFORM_API BOOL FreeLibrary(HMODULE module);

namespace platform {

/// The message text of a result code, in English, with "\r\n" at its end and its insert markers left as they are.
/// Searches the table of `module`, when that is loaded, and then the system's own. False, and an empty text, when
/// neither has the code.
PLATFORM_API bool MessageText(HMODULE module, DWORD code, std::wstring& text);

}  // namespace platform
