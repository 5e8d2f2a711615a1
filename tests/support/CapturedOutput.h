#pragma once

#include <platform/base/output.h>

#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace tests {

/// Collects what goes to standard output while it lives.
class CapturedOutput : public platform::OutputSink {
public:
    CapturedOutput() = default;
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    ~CapturedOutput() override { platform::SetOutputSink(_before); }

    void Write(std::wstring_view text) override {
        const std::scoped_lock lock(_mutex);
        _text += text;
    }

    std::wstring Text() const {
        const std::scoped_lock lock(_mutex);
        return _text;
    }

    /// The text since the start or since the last call.
    std::wstring Take() {
        const std::scoped_lock lock(_mutex);
        return std::exchange(_text, {});
    }

private:
    mutable std::mutex _mutex;
    std::wstring _text;
    platform::OutputSink* _before = platform::SetOutputSink(this);
};

}  // namespace tests
