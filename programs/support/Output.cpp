#include <programs/support/Output.h>

#include <platform/base/clock.h>
#include <platform/base/text.h>
#include <programs/support/Json.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <utility>

template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace programs {

namespace {

std::string_view EscapeOf(Tone tone) {
    switch (tone) {
        case Tone::Good: return "\x1b[32m";
        case Tone::Bad: return "\x1b[31m";
        case Tone::Warning: return "\x1b[33m";
        case Tone::Faint: return "\x1b[2m";
        case Tone::Strong: return "\x1b[1m";
        case Tone::Plain: break;
    }
    return {};
}

// C0 and C1 control characters, which a terminal would obey.
std::string WithoutControls(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool isC1 = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (isC1) ++i;
        clean += byte < 0x20 || byte == 0x7F || isC1 ? '?' : text[i];
    }
    return clean;
}

std::string Padded(std::string text, std::size_t width) {
    const std::size_t present = WidthOf(text);
    if (present < width) text.append(width - present, ' ');
    return text;
}

std::string HeadingOf(const std::string& key) {
    std::string heading = key;
    if (!heading.empty() && heading[0] >= 'a' && heading[0] <= 'z') heading[0] = static_cast<char>(heading[0] - 32);
    return heading;
}

}  // namespace

TextWriter& TextWriter::Write(std::string_view text, Tone tone) {
    const bool isPlain = !_isColoured || tone == Tone::Plain;
    if (!isPlain) _stream << EscapeOf(tone);
    _stream << WithoutControls(text);
    if (!isPlain) _stream << "\x1b[0m";
    return *this;
}

TextWriter& TextWriter::Line(std::string_view text, Tone tone) {
    Write(text, tone);
    _stream << '\n';
    return *this;
}

void WriteTable(TextWriter& writer, const std::vector<Column>& columns, const Json& rows) {
    std::vector<std::size_t> widths;
    for (const Column& column : columns) {
        std::size_t width = WidthOf(column.heading);
        for (const Json& row : rows)
            if (row.contains(column.key)) width = std::max(width, WidthOf(TextOf(row[column.key])));
        widths.push_back(width);
    }
    const auto writeCell = [&](std::size_t i, const std::string& text, Tone tone) {
        const bool isLast = i + 1 == columns.size();
        writer.Write(isLast ? text : Padded(text, widths[i] + 2), tone);
        if (isLast) writer.Line();
    };
    for (std::size_t i = 0; i < columns.size(); ++i) writeCell(i, columns[i].heading, Tone::Faint);
    for (const Json& row : rows) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const std::string text = row.contains(columns[i].key) ? TextOf(row[columns[i].key]) : std::string();
            writeCell(i, text, columns[i].key == "text" ? ToneOfState(text) : Tone::Plain);
        }
    }
}

void WriteRecord(TextWriter& writer, const Json& record, unsigned indent) {
    std::size_t width = 0;
    for (const auto& [key, value] : record.items()) width = std::max(width, WidthOf(key));
    const std::string margin(indent, ' ');
    for (const auto& [key, value] : record.items()) {
        writer.Write(margin + Padded(HeadingOf(key) + ":", width + 2), Tone::Faint);
        if (value.is_object()) {
            writer.Line(value.empty() ? "-" : "");
            WriteRecord(writer, value, indent + 2);
        } else if (value.is_array() && !value.empty() && value[0].is_object()) {
            writer.Line();
            for (const Json& item : value) WriteRecord(writer, item, indent + 2);
        } else {
            const std::string text = TextOf(value);
            writer.Line(text.empty() ? "-" : text, key == "text" ? ToneOfState(text) : Tone::Plain);
        }
    }
}

std::string TextOf(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_null()) return {};
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (!value.is_array()) return value.dump();
    std::string joined;
    for (const Json& item : value) joined += (joined.empty() ? "" : ", ") + TextOf(item);
    return joined;
}

std::size_t WidthOf(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string Beginning(const std::string& text, std::size_t most) {
    return platform::ToUtf8(platform::FromUtf8(text).substr(0, most));
}

std::string TimeText(std::int64_t time) {
    constexpr std::int64_t latest = std::numeric_limits<TimeValue>::max();
    const auto clamped = static_cast<TimeValue>(std::clamp<std::int64_t>(time, -latest - 1, latest));
    return platform::ToUtf8(platform::FormatTime(clamped, L"%Y-%m-%d %H:%M:%S"));
}

std::string OneLine(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::erase(text, '\r');
    return text;
}

Tone ToneOfState(std::string_view text) {
    static constexpr std::array<std::pair<std::string_view, Tone>, 12> words{{{"fail", Tone::Bad},
                                                                              {"down", Tone::Bad},
                                                                              {"unavailable", Tone::Bad},
                                                                              {"unreachable", Tone::Bad},
                                                                              {"partitioned", Tone::Warning},
                                                                              {"off line", Tone::Faint},
                                                                              {"offline", Tone::Faint},
                                                                              {"pending", Tone::Warning},
                                                                              {"partial", Tone::Warning},
                                                                              {"paused", Tone::Warning},
                                                                              {"line", Tone::Good},
                                                                              {"up", Tone::Good}}};
    for (const auto& [word, tone] : words)
        if (text.find(word) != std::string_view::npos) return tone;
    return Tone::Plain;
}

bool IsTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

bool ObeysEscapes(int descriptor) {
    const char* kind = std::getenv("TERM");
    return IsTerminal(descriptor) && (!kind || std::string_view(kind) != "dumb");
}

bool IsReaderGone(int descriptor) {
    pollfd state{descriptor, 0, 0};
    return poll(&state, 1, 0) == 1 && (state.revents & POLLERR) != 0;
}

bool ColoursAreWelcome(int descriptor) {
    const char* noColour = std::getenv("NO_COLOR");
    return (!noColour || !*noColour) && ObeysEscapes(descriptor);
}

}  // namespace programs
