#pragma once

#include <platform/base/export.h>

#include <string>

/// A list of texts to choose from, as a windowing layer provides it. Items are numbered from 0. The library calls it on
/// the thread that called the library.
class PLATFORM_API CComboBox {
public:
    virtual ~CComboBox();
    /// The index of the new item; negative when it could not be added.
    virtual int AddString(const std::wstring& text) = 0;
    /// The index now chosen; negative when there is no such item, and then none is chosen.
    virtual int SetCurSel(int index) = 0;
};
