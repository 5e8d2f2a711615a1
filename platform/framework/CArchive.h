#pragma once

#include <platform/base/export.h>
#include <platform/base/types.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

/// A binary stream of values into or out of a vector of bytes. Nothing in it says what a value is: a reader asks for
/// what the writer wrote, in the same order.
///
/// Numbers are little-endian; a DWORD, a LONG and a time value take four bytes, a WORD two, a BYTE one. A text is the
/// bytes FF FE FF, its length in UTF-16 units, and the units in UTF-16LE without a terminating null. The length takes
/// one byte below 255; else a byte FF and a WORD below 65535; else a byte FF, a WORD FFFF and a DWORD.
///
/// Any failure lasts: from then on every text read is empty, every number 0, and nothing is written. An archive serves
/// one thread.
class PLATFORM_API CArchive {
public:
    enum class Mode { Store, Load };

    /// Stores at the end of `bytes`, or loads from their start. The vector outlives the archive, and nobody else
    /// changes it meanwhile.
    CArchive(std::vector<BYTE>& bytes, Mode mode);

    bool IsStoring() const { return _mode == Mode::Store; }
    bool IsLoading() const { return _mode == Mode::Load; }

    /// Whether the bytes ended within a value, a text did not begin as one, or the archive was used against its mode.
    bool Failed() const { return _hasFailed; }

    CArchive& operator<<(const std::wstring& text);
    CArchive& operator<<(LONG value);
    CArchive& operator<<(DWORD value);
    CArchive& operator<<(WORD value);
    CArchive& operator<<(BYTE value);

    CArchive& operator>>(std::wstring& text);
    CArchive& operator>>(LONG& value);
    CArchive& operator>>(DWORD& value);
    CArchive& operator>>(WORD& value);
    CArchive& operator>>(BYTE& value);

private:
    bool CanStore();
    void StoreNumber(DWORD value, unsigned size);
    DWORD LoadNumber(unsigned size);
    std::size_t LoadTextLength();
    /// The next `size` bytes; none, and a failed archive, when so many are not there.
    std::span<const BYTE> Take(std::size_t size);

    std::vector<BYTE>& _bytes;
    Mode _mode;
    std::size_t _at = 0;
    bool _hasFailed = false;
};
