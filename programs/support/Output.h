#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace programs {

/// What a command has found out, in the order in which it is shown; tables, records and JSON all come from it.
using Json = nlohmann::ordered_json;

/// How a text stands out on a terminal.
enum class Tone { Plain, Good, Bad, Warning, Faint, Strong };

/// A place to write texts for people: knows whether colours are welcome, and lets no control character through that
/// came out of a name or a database.
class TextWriter {
public:
    TextWriter(std::ostream& stream, bool isColoured) : _stream(stream), _isColoured(isColoured) {}
    TextWriter& Write(std::string_view text, Tone tone = Tone::Plain);
    TextWriter& Line(std::string_view text = {}, Tone tone = Tone::Plain);

private:
    std::ostream& _stream;
    bool _isColoured;
};

struct Column {
    std::string key;
    std::string heading;
};

/// An aligned table of the rows' columns; a missing key shows as nothing. `tone` of a row colours its column "text".
void WriteTable(TextWriter& writer, const std::vector<Column>& columns, const Json& rows);

/// "Heading: value" lines, aligned; lists one item a line, and objects indented.
void WriteRecord(TextWriter& writer, const Json& record, unsigned indent = 0);

/// A value as people read it.
std::string TextOf(const Json& value);

/// The number of columns that a UTF-8 text takes on a terminal, one a character.
std::size_t WidthOf(std::string_view text);

/// The first `most` characters of a UTF-8 text.
std::string Beginning(const std::string& text, std::size_t most);

/// A time as local date and clock, "2026-11-24 19:30:00".
std::string TimeText(std::int64_t time);

/// A text without its line ends.
std::string OneLine(std::string text);

/// The tone of a state text as the library gives it.
Tone ToneOfState(std::string_view text);

/// Whether a terminal is behind this descriptor, one that obeys escape sequences (TERM is not "dumb"), and colours are
/// welcome there (NO_COLOR respected).
bool IsTerminal(int descriptor);
bool ObeysEscapes(int descriptor);
/// Whether it is a pipe that nobody reads any more.
bool IsReaderGone(int descriptor);
bool ColoursAreWelcome(int descriptor);

}  // namespace programs
