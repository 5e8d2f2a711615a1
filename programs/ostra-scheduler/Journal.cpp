#include <programs/ostra-scheduler/Journal.h>

#include <platform/base/text.h>
#include <platform/system/event_log.h>

#include <utility>

namespace programs {

Journal::Journal(std::function<void(const std::string&)> say)
    : _events(L"ostra-scheduler", NTEventViewer::Information, L""), _say(std::move(say)) {}

void Journal::Inform(const std::wstring& text) {
    Report(EVENTLOG_INFORMATION_TYPE, text);
}

void Journal::Warn(const std::wstring& text) {
    Report(EVENTLOG_WARNING_TYPE, text);
}

void Journal::Fail(const std::wstring& text) {
    Report(EVENTLOG_ERROR_TYPE, text);
}

void Journal::Say(const std::wstring& text) {
    _say(platform::ToUtf8(text));
}

void Journal::Report(WORD type, const std::wstring& text) {
    _events.ResetEventType(type);
    _events << text;
    Say(text);
}

}  // namespace programs
