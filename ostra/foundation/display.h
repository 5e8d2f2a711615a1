#pragma once

#include <ostra/foundation/OstraError.h>

#include <string>

/// The title of all message boxes and displays of the library.
inline constexpr wchar_t productTitle[] = L"Norvane Ostra";

/// Displays a failure with the product's title and the stop icon.
inline void DisplayFailure(const OstraError& error, const std::wstring& text) {
    constexpr UINT stopIcon = 16;
    error.Display(text, productTitle, stopIcon);
}
