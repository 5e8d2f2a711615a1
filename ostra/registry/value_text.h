#pragma once

#include <platform/base/registry_types.h>
#include <platform/base/types.h>

#include <array>
#include <optional>
#include <span>
#include <string>

// How values of the registry and of the cluster database are stored, and how they read as texts.

inline constexpr wchar_t persistenceValueName[] = L"Persistence";

/// The raw data of a DWORD value.
std::array<BYTE, 4> BytesOfNumber(DWORD number);

/// The number in raw data of a DWORD value; none when it has fewer than four bytes.
std::optional<DWORD> NumberOfValue(std::span<const BYTE> data);

/// Whether data of that type reads as a text, of a list its first.
bool IsTextType(DWORD type);

/// Texts, binary data and the first string of a list up to their first null or the end of the data; a DWORD in signed
/// decimal. Empty for any other type, and for a DWORD of fewer than four bytes.
std::wstring TextOfValue(DWORD type, std::span<const BYTE> data);
