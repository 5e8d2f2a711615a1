#pragma once

#include <ostra/foundation/NTEventViewer.h>
#include <platform/base/types.h>

#include <functional>
#include <string>

namespace programs {

/// What a scheduler reports: to the event log, and as a line to whoever runs it. For one thread; it blocks as the event
/// log's database does.
class Journal {
public:
    explicit Journal(std::function<void(const std::string&)> say);

    void Inform(const std::wstring& text);
    void Warn(const std::wstring& text);
    void Fail(const std::wstring& text);
    /// A line only.
    void Say(const std::wstring& text);

private:
    void Report(WORD type, const std::wstring& text);

    NTEventViewer _events;
    std::function<void(const std::string&)> _say;
};

}  // namespace programs
