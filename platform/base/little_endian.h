#pragma once

#include <platform/base/types.h>

namespace platform {

/// The 32-bit number in the four bytes at a place, as property lists and registry values hold it.
constexpr DWORD NumberAt(const BYTE* place) {
    return DWORD{place[0]} | DWORD{place[1]} << 8 | DWORD{place[2]} << 16 | DWORD{place[3]} << 24;
}

constexpr void PutNumber(BYTE* place, DWORD number) {
    for (unsigned byte = 0; byte < 4; ++byte) place[byte] = static_cast<BYTE>(number >> (8 * byte));
}

}  // namespace platform
