#include <platform/base/format.h>
#include <platform/base/text.h>

#include <locale.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <optional>

namespace platform {

namespace {

constexpr int widthLimit = 4096;
constexpr int numberLimit = 100'000'000;  // of what a format may say; ten times as much still fits an int

enum class Size { Plain, Byte, Half, Long, LongLong, LongDouble, Wide };

/// Has this thread write numbers as the C locale does, whatever the program's locale, while it lives.
class PlainNumbers {
public:
    PlainNumbers() : _before(uselocale(Plain())) {}
    PlainNumbers(const PlainNumbers&) = delete;
    PlainNumbers& operator=(const PlainNumbers&) = delete;
    ~PlainNumbers() { uselocale(_before); }

private:
    static locale_t Plain() {
        static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
        return plain;
    }

    locale_t _before;
};

/// One conversion of a format, its widths already taken from the arguments.
struct Conversion {
    std::string flags;
    int width = 0;
    std::optional<int> precision;
    Size size = Size::Plain;
    wchar_t type = 0;

    bool Has(char flag) const { return flags.find(flag) != std::string::npos; }
};

/// What a cut at a byte leaves of a UTF-8 text, less a last character that it went through.
std::string_view WithoutHalfCharacter(std::string_view bytes) {
    std::size_t trailing = 0;
    while (trailing < std::min<std::size_t>(bytes.size(), 3) && (bytes[bytes.size() - 1 - trailing] & 0xC0) == 0x80)
        ++trailing;
    if (trailing == bytes.size()) return bytes;
    const auto lead = static_cast<BYTE>(bytes[bytes.size() - 1 - trailing]);
    const std::size_t expected = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    return trailing < expected ? bytes.substr(0, bytes.size() - 1 - trailing) : bytes;
}

class Formatter {
public:
    Formatter(std::wstring_view format, bool isNarrow, std::va_list arguments) : _format(format), _isNarrow(isNarrow) {
        va_copy(_arguments, arguments);
    }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;
    ~Formatter() { va_end(_arguments); }

    std::wstring Run() {
        while (_at < _format.size()) {
            const std::size_t percent = std::min(_format.find(L'%', _at), _format.size());
            _result += _format.substr(_at, percent - _at);
            _at = percent;
            if (_at < _format.size()) Convert();
        }
        return std::move(_result);
    }

private:
    void Convert() {
        const std::size_t start = _at++;
        Conversion conversion;
        ParseFlags(conversion);
        ParseWidth(conversion);
        ParsePrecision(conversion);
        ParseSize(conversion);
        if (_at < _format.size()) conversion.type = _format[_at++];
        if (!Write(conversion)) _result += _format.substr(start, _at - start);
    }

    bool Accept(std::wstring_view expected) {
        if (!_format.substr(_at).starts_with(expected)) return false;
        _at += expected.size();
        return true;
    }

    void ParseFlags(Conversion& conversion) {
        for (; _at < _format.size() && std::wstring_view(L"-+ #0").find(_format[_at]) != std::wstring_view::npos; ++_at)
            if (!conversion.Has(static_cast<char>(_format[_at]))) conversion.flags += static_cast<char>(_format[_at]);
    }

    int ParseNumber() {
        int number = 0;
        for (; _at < _format.size() && _format[_at] >= L'0' && _format[_at] <= L'9'; ++_at)
            number = std::min(number * 10 + static_cast<int>(_format[_at] - L'0'), numberLimit);
        return number;
    }

    void ParseWidth(Conversion& conversion) {
        if (!Accept(L"*")) {
            conversion.width = std::min(ParseNumber(), widthLimit);
            return;
        }
        const int width = va_arg(_arguments, int);
        if (width < 0 && !conversion.Has('-')) conversion.flags += '-';
        conversion.width = width > -widthLimit && width < widthLimit ? std::abs(width) : widthLimit;
    }

    void ParsePrecision(Conversion& conversion) {
        if (!Accept(L".")) return;
        const int precision = Accept(L"*") ? va_arg(_arguments, int) : ParseNumber();
        if (precision >= 0) conversion.precision = precision;
    }

    void ParseSize(Conversion& conversion) {
        static constexpr std::pair<std::wstring_view, Size> prefixes[] = {
            {L"hh", Size::Byte},    {L"h", Size::Half},       {L"ll", Size::LongLong}, {L"I64", Size::LongLong},
            {L"I32", Size::Plain},  {L"l", Size::Long},       {L"j", Size::LongLong},  {L"z", Size::LongLong},
            {L"t", Size::LongLong}, {L"L", Size::LongDouble}, {L"w", Size::Wide},
        };
        for (const auto& [prefix, size] : prefixes) {
            if (!Accept(prefix)) continue;
            conversion.size = size;
            return;
        }
    }

    /// False when the conversion is none that is known; no argument is taken then.
    bool Write(const Conversion& conversion) {
        switch (conversion.type) {
            case L'%': _result += L'%'; return true;
            case L's':
            case L'S': WriteText(conversion); return true;
            case L'c':
            case L'C': WriteCharacter(conversion); return true;
            case L'd':
            case L'i': return WriteSigned(conversion);
            case L'u':
            case L'x':
            case L'X':
            case L'o': return WriteUnsigned(conversion);
            case L'f':
            case L'F':
            case L'e':
            case L'E':
            case L'g':
            case L'G':
            case L'a':
            case L'A': return WriteFloating(conversion);
            case L'p': WritePointer(conversion); return true;
            default: return false;
        }
    }

    bool TakesWide(const Conversion& conversion) const {
        if (conversion.size == Size::Wide || conversion.size == Size::Long) return true;
        if (conversion.size == Size::Half) return false;
        const bool isCapital = conversion.type == L'S' || conversion.type == L'C';
        return isCapital == _isNarrow;
    }

    void WriteText(const Conversion& conversion) {
        // Like the C functions, a precision also bounds what is read: the text may lack its end then.
        const auto limit = conversion.precision;
        if (TakesWide(conversion)) {
            const wchar_t* text = va_arg(_arguments, const wchar_t*);
            if (!text) text = L"(null)";
            const auto size = limit ? wcsnlen(text, static_cast<std::size_t>(*limit)) : std::wcslen(text);
            WritePadded(std::wstring_view(text, size), conversion);
        } else {
            const char* text = va_arg(_arguments, const char*);
            if (!text) text = "(null)";
            const auto size = limit ? strnlen(text, static_cast<std::size_t>(*limit)) : std::strlen(text);
            const bool isCut = limit && size == static_cast<std::size_t>(*limit);
            const std::string_view bytes(text, size);
            WritePadded(FromUtf8(isCut ? WithoutHalfCharacter(bytes) : bytes), conversion);
        }
    }

    void WriteCharacter(const Conversion& conversion) {
        const int value = va_arg(_arguments, int);
        if (TakesWide(conversion)) {
            const auto character = static_cast<wchar_t>(value);
            WritePadded(std::wstring_view(&character, 1), conversion);
        } else {
            const auto character = static_cast<char>(value);
            WritePadded(FromUtf8(std::string_view(&character, 1)), conversion);
        }
    }

    static bool IsIntegerSize(Size size) { return size != Size::Wide && size != Size::LongDouble; }

    bool WriteSigned(const Conversion& conversion) {
        if (!IsIntegerSize(conversion.size)) return false;
        long long value = 0;
        if (conversion.size == Size::LongLong) {
            value = va_arg(_arguments, long long);
        } else {
            const int argument = va_arg(_arguments, int);
            value = conversion.size == Size::Byte   ? static_cast<signed char>(argument)
                    : conversion.size == Size::Half ? static_cast<std::int16_t>(argument)
                                                    : argument;
        }
        WriteNumber(conversion, "ll", 'd', value);
        return true;
    }

    bool WriteUnsigned(const Conversion& conversion) {
        if (!IsIntegerSize(conversion.size)) return false;
        unsigned long long value = 0;
        if (conversion.size == Size::LongLong) {
            value = va_arg(_arguments, unsigned long long);
        } else {
            const unsigned argument = va_arg(_arguments, unsigned);
            value = conversion.size == Size::Byte   ? static_cast<BYTE>(argument)
                    : conversion.size == Size::Half ? static_cast<WORD>(argument)
                                                    : argument;
        }
        WriteNumber(conversion, "ll", static_cast<char>(conversion.type), value);
        return true;
    }

    bool WriteFloating(const Conversion& conversion) {
        const PlainNumbers plain;
        const auto type = static_cast<char>(conversion.type);
        if (conversion.size == Size::LongDouble)
            WriteNumber(conversion, "L", type, va_arg(_arguments, long double));
        else if (conversion.size == Size::Plain || conversion.size == Size::Long)
            WriteNumber(conversion, "", type, va_arg(_arguments, double));
        else
            return false;
        return true;
    }

    void WritePointer(const Conversion& conversion) {
        Conversion pointer = conversion;
        std::erase_if(pointer.flags, [](char flag) { return flag != '-'; });
        pointer.precision.reset();
        WriteNumber(pointer, "", 'p', va_arg(_arguments, const void*));
    }

    template <typename Value>
    void WriteNumber(const Conversion& conversion, const char* size, char type, Value value) {
        std::string format = "%";
        format += conversion.flags;
        if (conversion.width != 0) format += std::to_string(conversion.width);  // a width of 0 would read as a flag
        if (conversion.precision)
            format.append(".").append(std::to_string(std::min(*conversion.precision, widthLimit)));
        format.append(size).push_back(type);
        char buffer[64];
        const int length = std::snprintf(buffer, sizeof buffer, format.c_str(), value);
        if (length < 0) return;
        const auto written = static_cast<std::size_t>(length);
        std::string longer(written < sizeof buffer ? 0 : written + 1, '\0');
        if (!longer.empty()) std::snprintf(longer.data(), longer.size(), format.c_str(), value);
        const char* digits = longer.empty() ? buffer : longer.data();
        _result.append(digits, digits + written);
    }

    void WritePadded(std::wstring_view text, const Conversion& conversion) {
        const auto width = static_cast<std::size_t>(conversion.width);
        const std::wstring padding(width > text.size() ? width - text.size() : 0, L' ');
        if (!conversion.Has('-')) _result += padding;
        _result += text;
        if (conversion.Has('-')) _result += padding;
    }

    std::wstring_view _format;
    bool _isNarrow;
    std::va_list _arguments;
    std::size_t _at = 0;
    std::wstring _result;
};

}  // namespace

std::wstring FormatArguments(const wchar_t* format, std::va_list arguments) {
    return format ? Formatter(format, false, arguments).Run() : std::wstring();
}

std::string FormatArguments(const char* format, std::va_list arguments) {
    if (!format) return {};
    const std::wstring wide = FromUtf8(format);
    return ToUtf8(Formatter(wide, true, arguments).Run());
}

std::wstring Format(const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::wstring text = FormatArguments(format, arguments);
    va_end(arguments);
    return text;
}

std::string Format(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = FormatArguments(format, arguments);
    va_end(arguments);
    return text;
}

}  // namespace platform
