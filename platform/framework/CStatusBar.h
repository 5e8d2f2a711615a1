#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <string>

class CWnd;

inline constexpr DWORD WS_CHILD = 0x40000000;
inline constexpr DWORD WS_VISIBLE = 0x10000000;
inline constexpr DWORD CBRS_BOTTOM = 0x8000;

/// A line of panes at the edge of a window, as a windowing layer provides it. Panes are numbered from 0. Its destructor
/// takes it off the screen. The library calls it on the thread that called the library.
class PLATFORM_API CStatusBar {
public:
    /// The identifier under which a window looks for its status bar.
    static constexpr UINT standardId = 0xE801;

    virtual ~CStatusBar();
    /// Makes the bar appear as a child of `parent`; 0 when it cannot.
    virtual BOOL Create(CWnd* parent, DWORD style, UINT id) = 0;
    /// Gives the bar one pane for each of the `count` indicators; 0 when it cannot.
    virtual BOOL SetIndicators(const UINT* indicators, int count) = 0;
    /// 0 when there is no such pane. Without `redraw` the text shows when the bar is next drawn.
    virtual BOOL SetPaneText(int pane, const std::wstring& text, BOOL redraw) = 0;
    /// Draws at once what waits to be drawn.
    virtual void UpdateWindow() = 0;
};

inline constexpr UINT SBT_NOBORDERS = 0x100;

/// The control inside a status bar, whose parts are numbered from 0.
class PLATFORM_API CStatusBarCtrl {
public:
    virtual ~CStatusBarCtrl();
    /// `style` holds SBT_ flags; 0 when there is no such part.
    virtual BOOL SetText(const std::wstring& text, int part, UINT style) = 0;
};
