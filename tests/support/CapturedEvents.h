#pragma once

#include <platform/system/event_log.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace tests {

/// Takes the reports to the event log while it lives.
class CapturedEvents : public platform::EventSink {
public:
    CapturedEvents() = default;
    CapturedEvents(const CapturedEvents&) = delete;
    CapturedEvents& operator=(const CapturedEvents&) = delete;
    ~CapturedEvents() override { platform::SetEventSink(_before); }

    void Write(const platform::EventRecord& record) override {
        const std::scoped_lock lock(_mutex);
        _records.push_back(record);
    }

    /// The reports since the start or since the last call.
    std::vector<platform::EventRecord> Take() {
        const std::scoped_lock lock(_mutex);
        return std::exchange(_records, {});
    }

    /// Their texts only.
    std::vector<std::wstring> TakeTexts() {
        std::vector<std::wstring> texts;
        for (platform::EventRecord& record : Take()) texts.push_back(std::move(record.text));
        return texts;
    }

private:
    std::mutex _mutex;
    std::vector<platform::EventRecord> _records;
    platform::EventSink* _before = platform::SetEventSink(this);
};

}  // namespace tests
