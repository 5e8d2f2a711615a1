#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>

#include <iosfwd>
#include <optional>
#include <string>

/// A text and a set of separators, giving access to the text's words by position. Every character of the set parts
/// words; runs of separators count as one, and separators at the ends make no empty words. Words count from 1.
///
/// An object belongs to one thread at a time, reading its words included; others split theirs at once.
class OSTRA_API OstraString {
public:
    /// Null texts count as empty ones; a null end separator is none.
    OstraString(const std::wstring& text, const wchar_t* separator);
    OstraString(const std::wstring& text, const wchar_t* separator, const wchar_t* endSeparator);
    OstraString(const wchar_t* text, const wchar_t* separator);

    std::wstring Seperator() const { return _separator; }
    void SetSeperator(const wchar_t* separator);

    int WordCount() const;
    /// Word n; below 1 the first, beyond the last an empty text.
    std::wstring Word(int n) const;
    /// Word n and all that follow (from the first for an n below 1), joined by single blanks whatever the separators.
    std::wstring Words(int n) const;
    /// The piece between the n-th separator and the end separator; empty without one. Here the separators count as one
    /// whole string, of whose occurrences only the first character is skipped before the next is looked for.
    std::wstring FrankedWord(int n) const;

    /// The decimal number at the start of `text`: leading white space skipped, 0 when there is none.
    int AsInt(const std::wstring& text) const;
    DWORD AsDWORD(const std::wstring& text) const;
    /// The same for the text itself.
    LONG AsLONG() const;

    /// Writes a trace line to standard output and returns the text.
    std::wstring Info() const;

    /// Write the whole text and read one line; a failed read changes nothing. Narrow streams carry UTF-8.
    OSTRA_API friend std::wostream& operator<<(std::wostream& stream, const OstraString& string);
    OSTRA_API friend std::ostream& operator<<(std::ostream& stream, const OstraString& string);
    OSTRA_API friend std::wistream& operator>>(std::wistream& stream, OstraString& string);
    OSTRA_API friend std::istream& operator>>(std::istream& stream, OstraString& string);

private:
    void Initialize() {}

    std::wstring _text;
    std::wstring _separator;
    std::optional<std::wstring> _endSeparator;
    mutable std::wstring _words;
    mutable std::wstring _word;
    NTEventViewer _eventViewer;
};
