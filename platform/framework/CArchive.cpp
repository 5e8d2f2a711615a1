#include <platform/framework/CArchive.h>

#include <platform/base/text.h>

#include <algorithm>
#include <iterator>
#include <limits>

namespace {

constexpr BYTE textMark[] = {0xFF, 0xFE, 0xFF};
constexpr BYTE longerThanByte = 0xFF;
constexpr WORD longerThanWord = 0xFFFF;

/// FromUtf16 ends at a null unit, but an archived text may hold some.
std::wstring DecodeWithNulls(std::span<const BYTE> bytes) {
    std::wstring text;
    for (;;) {
        const std::wstring piece = platform::FromUtf16(bytes);
        text += piece;
        const std::size_t size = 2 * platform::Utf16Length(piece);
        if (size >= bytes.size()) return text;
        text += L'\0';
        bytes = bytes.subspan(size + 2);
    }
}

}  // namespace

CArchive::CArchive(std::vector<BYTE>& bytes, Mode mode) : _bytes(bytes), _mode(mode) {}

CArchive& CArchive::operator<<(const std::wstring& text) {
    const std::size_t length = platform::Utf16Length(text);
    if (length > std::numeric_limits<DWORD>::max()) _hasFailed = true;
    if (!CanStore()) return *this;
    _bytes.insert(_bytes.end(), std::begin(textMark), std::end(textMark));
    if (length < longerThanByte) {
        StoreNumber(static_cast<DWORD>(length), 1);
    } else {
        StoreNumber(longerThanByte, 1);
        if (length >= longerThanWord) StoreNumber(longerThanWord, 2);
        StoreNumber(static_cast<DWORD>(length), length < longerThanWord ? 2 : 4);
    }
    platform::AppendUtf16(_bytes, text);
    return *this;
}

CArchive& CArchive::operator<<(LONG value) {
    StoreNumber(static_cast<DWORD>(value), 4);
    return *this;
}

CArchive& CArchive::operator<<(DWORD value) {
    StoreNumber(value, 4);
    return *this;
}

CArchive& CArchive::operator<<(WORD value) {
    StoreNumber(value, 2);
    return *this;
}

CArchive& CArchive::operator<<(BYTE value) {
    StoreNumber(value, 1);
    return *this;
}

CArchive& CArchive::operator>>(std::wstring& text) {
    text.clear();
    const auto mark = Take(std::size(textMark));
    if (!std::ranges::equal(mark, textMark)) _hasFailed = true;
    const std::size_t length = LoadTextLength();
    text = DecodeWithNulls(Take(2 * length));
    return *this;
}

CArchive& CArchive::operator>>(LONG& value) {
    value = static_cast<LONG>(LoadNumber(4));
    return *this;
}

CArchive& CArchive::operator>>(DWORD& value) {
    value = LoadNumber(4);
    return *this;
}

CArchive& CArchive::operator>>(WORD& value) {
    value = static_cast<WORD>(LoadNumber(2));
    return *this;
}

CArchive& CArchive::operator>>(BYTE& value) {
    value = static_cast<BYTE>(LoadNumber(1));
    return *this;
}

bool CArchive::CanStore() {
    if (!IsStoring()) _hasFailed = true;
    return !_hasFailed;
}

void CArchive::StoreNumber(DWORD value, unsigned size) {
    if (!CanStore()) return;
    for (unsigned index = 0; index < size; ++index) _bytes.push_back(static_cast<BYTE>(value >> (8 * index)));
}

DWORD CArchive::LoadNumber(unsigned size) {
    DWORD value = 0;
    unsigned shift = 0;
    for (const BYTE byte : Take(size)) {
        value |= DWORD{byte} << shift;
        shift += 8;
    }
    return value;
}

std::size_t CArchive::LoadTextLength() {
    const DWORD byte = LoadNumber(1);
    if (byte < longerThanByte) return byte;
    const DWORD word = LoadNumber(2);
    return word < longerThanWord ? word : LoadNumber(4);
}

std::span<const BYTE> CArchive::Take(std::size_t size) {
    if (!IsLoading() || _at > _bytes.size() || size > _bytes.size() - _at) _hasFailed = true;
    if (_hasFailed) return {};
    const std::span<const BYTE> taken(_bytes.data() + _at, size);
    _at += size;
    return taken;
}
