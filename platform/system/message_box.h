#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

inline constexpr UINT MB_OK = 0;
inline constexpr UINT MB_ICONSTOP = 16;
inline constexpr UINT MB_ICONINFORMATION = 64;
inline constexpr UINT MB_DEFAULT_DESKTOP_ONLY = 0x20000;

inline constexpr int IDOK = 1;

/// Shows a message through the process's handler and returns what it answers. Without a handler, which is how a process
/// without a windowing layer runs, nothing is shown and the answer is IDOK. A null text or title counts as empty;
/// `owner`, an owner window, means nothing here. May be called from any thread; blocks for as long as the handler does.
PLATFORM_API int MessageBoxW(void* owner, const wchar_t* text, const wchar_t* title, UINT style);

namespace platform {

/// Shows the process's message boxes, each where that process has its user: the library has such a box for many
/// failures to read or write the cluster's database, and for some of pipes. Show may be called from any thread, by
/// several at once.
class PLATFORM_API MessageBoxHandler {
public:
    virtual ~MessageBoxHandler();
    /// `style` holds MB_ flags. The number of the button that the user chose; IDOK when there was no choice.
    virtual int Show(const std::wstring& text, const std::wstring& title, UINT style) = 0;
};

/// Puts another handler in place and returns the one before, null when there was none; null removes it. The caller
/// keeps the handler alive until it is replaced and no call is under way on another thread.
PLATFORM_API MessageBoxHandler* SetMessageBoxHandler(MessageBoxHandler* handler);

}  // namespace platform
