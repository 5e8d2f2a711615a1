#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <cstdarg>
#include <string>

namespace platform {

/// Formats by the published rules of wide formats: `%s`, `%ws` and `%ls` take a wide text, `%hs` and `%S` a narrow
/// (UTF-8) one, `%c` and `%wc` a wide character; `%d %i %u %x %X %o %p %%` and `%f %e %g %a` (and their capitals) are
/// C's, with its flags, widths and precisions, the latter two up to 4096. `l` and `h` mean 32 and 16 bits (the
/// published interfaces were 32-bit), `ll`, `I64`, `j`, `z` and `t` 64, `L` a long double. Numbers look as in the C
/// locale, whatever the program's. A null text formats as "(null)"; an unknown conversion is copied as it stands and
/// takes no argument. Never fails. May be called from any thread.
PLATFORM_API std::wstring Format(const wchar_t* format, ...);
PLATFORM_API std::wstring FormatArguments(const wchar_t* format, std::va_list arguments);

/// The same for narrow formats: `%s` takes a narrow (UTF-8) text, `%ws`, `%ls` and `%S` a wide one. The result is
/// UTF-8.
PLATFORM_API std::string Format(const char* format, ...);
PLATFORM_API std::string FormatArguments(const char* format, std::va_list arguments);

}  // namespace platform
