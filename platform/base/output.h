#pragma once

#include <platform/base/export.h>

#include <string>
#include <string_view>

namespace platform {

/// Where the library's lines of "standard output" go. Write may be called from any thread.
class PLATFORM_API OutputSink {
public:
    virtual ~OutputSink() = default;
    virtual void Write(std::wstring_view text) = 0;
};

/// Puts another sink in place and returns the one before; null restores the default, which writes UTF-8 to the
/// process's standard output. The caller keeps the sink alive until it is replaced.
PLATFORM_API OutputSink* SetOutputSink(OutputSink* sink);

/// Writes a text to the sink, as it stands.
PLATFORM_API void WriteOutput(std::wstring_view text);

/// WriteOutput followed by a line end.
PLATFORM_API void WriteOutputLine(std::wstring_view text);

}  // namespace platform
