#pragma once

#include <platform/base/export.h>

#include <string>
#include <string_view>

namespace platform {

/// Where the library's lines of "standard output" go: its traces, and the lines that its operations leave there. A
/// program that wants none of them on its own output puts `SilentOutput()`, or a sink of its own, in place.
///
/// May be called from any thread, and by several at once; a sink must not itself write output.
class PLATFORM_API OutputSink {
public:
    virtual ~OutputSink() = default;
    virtual void Write(std::wstring_view text) = 0;
    /// False when nothing that is written now is kept: then traces are not even put together.
    virtual bool IsRead() const { return true; }
};

/// Puts another sink in place and returns the one before; null restores the default, which writes UTF-8 to the
/// process's standard output, behind what the program itself has given to C's `stdout` (and to `std::cout`, unless it
/// has parted the two), and blocks for as long as that does. The caller keeps the sink alive until it is replaced and
/// no call is under way on another thread.
PLATFORM_API OutputSink* SetOutputSink(OutputSink* sink);

/// The sink that throws everything away.
PLATFORM_API OutputSink& SilentOutput();

/// Whether the sink in place keeps what is written. Asked by whoever would have to put a text together first.
PLATFORM_API bool IsOutputRead();

/// Writes a text to the sink, as it stands.
PLATFORM_API void WriteOutput(std::wstring_view text);

/// WriteOutput followed by a line end.
PLATFORM_API void WriteOutputLine(std::wstring_view text);

}  // namespace platform
