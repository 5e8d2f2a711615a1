#include <ostra/foundation/OstraString.h>

#include <platform/base/output.h>
#include <platform/base/text.h>

#include <algorithm>
#include <istream>
#include <ostream>

namespace {

std::wstring TextOf(const wchar_t* text) {
    return text ? text : L"";
}

/// Takes the next word off the front of `rest`; empty when there is none.
std::wstring_view NextWord(std::wstring_view& rest, const std::wstring& separators) {
    const std::size_t start = std::min(rest.find_first_not_of(separators), rest.size());
    const std::size_t end = std::min(rest.find_first_of(separators, start), rest.size());
    const std::wstring_view word = rest.substr(start, end - start);
    rest.remove_prefix(end);
    return word;
}

}  // namespace

OstraString::OstraString(const std::wstring& text, const wchar_t* separator) : OstraString(text, separator, nullptr) {}

OstraString::OstraString(const std::wstring& text, const wchar_t* separator, const wchar_t* endSeparator)
    : _text(text), _separator(TextOf(separator)), _eventViewer(L"OstraString", NTEventViewer::Error, L"") {
    if (endSeparator) _endSeparator = endSeparator;
    Initialize();
}

OstraString::OstraString(const wchar_t* text, const wchar_t* separator) : OstraString(TextOf(text), separator) {}

void OstraString::SetSeperator(const wchar_t* separator) {
    _separator = TextOf(separator);
}

int OstraString::WordCount() const {
    int count = 0;
    for (std::wstring_view rest = _text; !NextWord(rest, _separator).empty();) ++count;
    return count;
}

std::wstring OstraString::Word(int n) const {
    std::wstring_view rest = _text;
    std::wstring_view word = NextWord(rest, _separator);
    for (int index = 1; index < n && !word.empty(); ++index) word = NextWord(rest, _separator);
    _word = word;
    return _word;
}

std::wstring OstraString::Words(int n) const {
    _words.clear();
    std::wstring_view rest = _text;
    for (int index = 1;; ++index) {
        const std::wstring_view word = NextWord(rest, _separator);
        if (word.empty()) return _words;
        if (index < n) continue;
        if (!_words.empty()) _words += L' ';
        _words += word;
    }
}

std::wstring OstraString::FrankedWord(int n) const {
    _word.clear();
    std::wstring_view rest = _text;
    for (int index = 0; index < n; ++index) {
        const std::size_t found = rest.find(_separator);
        if (found == std::wstring_view::npos || _separator.empty()) break;
        rest.remove_prefix(found + 1);
    }
    if (!_endSeparator) return _word;
    const std::size_t end = rest.find(*_endSeparator);
    if (end != std::wstring_view::npos) _word = rest.substr(0, end);
    return _word;
}

int OstraString::AsInt(const std::wstring& text) const {
    return platform::ParseInteger(text);
}

DWORD OstraString::AsDWORD(const std::wstring& text) const {
    return platform::ParseDecimal(text);
}

LONG OstraString::AsLONG() const {
    return platform::ParseInteger(_text);
}

std::wstring OstraString::Info() const {
    platform::WriteOutputLine(L"OstraString::Info( void ). On entry.");
    return _text;
}

std::wostream& operator<<(std::wostream& stream, const OstraString& string) {
    return stream << string._text;
}

std::ostream& operator<<(std::ostream& stream, const OstraString& string) {
    return stream << platform::ToUtf8(string._text);
}

std::wistream& operator>>(std::wistream& stream, OstraString& string) {
    std::wstring line;
    if (std::getline(stream, line)) string._text = line;
    return stream;
}

std::istream& operator>>(std::istream& stream, OstraString& string) {
    std::string line;
    if (std::getline(stream, line)) string._text = platform::FromUtf8(line);
    return stream;
}
