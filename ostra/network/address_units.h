#pragma once

#include <array>
#include <string>

/// The units of an address: three that a dot ends each, and what follows the third dot. From the first dot that is
/// missing on they are empty.
std::array<std::wstring, 4> UnitsOf(const std::wstring& address);

/// What follows the last dot; the whole text when there is none.
std::wstring LastUnit(const std::wstring& address);

/// The decimal number that a unit begins with, after white space and a sign. 0 when there is none; the nearest int for
/// one that no int holds, so that a huge unit never passes for a small one.
int UnitValue(const std::wstring& unit);

/// The same, but 0 for a unit that begins with anything but a digit.
int UnsignedUnitValue(const std::wstring& unit);
