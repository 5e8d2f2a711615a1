#pragma once

#include <ostra/foundation/OstraError.h>

#include <string>

/// Displays a failure met while building lists or discovering.
inline void DisplayFailure(const OstraError& error, const std::wstring& text) {
    constexpr UINT errorIcon = 16;
    error.Display(text, L"Norvane Ostra", errorIcon);
}
