#pragma once

#include <platform/base/export.h>

#include <memory>

class CStatusBar;

/// A window of the program's, as a windowing layer provides it. The library calls it on the thread that called the
/// library.
class PLATFORM_API CWnd {
public:
    virtual ~CWnd();
    /// A status bar that is still to be created, which then appears in a window; null when the layer has none to give.
    virtual std::unique_ptr<CStatusBar> NewStatusBar() = 0;
};
