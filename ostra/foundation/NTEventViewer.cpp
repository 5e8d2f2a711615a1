#include <ostra/foundation/NTEventViewer.h>

#include <ostra/foundation/SharedObjects.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/text.h>
#include <platform/system/event_log.h>

namespace {

constexpr std::size_t reportLimit = 1063;

/// The registration of one source on one server; null when it was refused.
std::shared_ptr<EventSourceHandle> Register(std::wstring_view sourceName, std::wstring_view serverName) {
    static auto& sources = *new SharedObjects<EventSourceHandle>;
    std::wstring remoteKey;
    if (!serverName.empty()) remoteKey.append(serverName).append(1, L'\0').append(sourceName);
    return sources.Get(serverName.empty() ? sourceName : remoteKey, [=]() -> std::shared_ptr<EventSourceHandle> {
        const std::wstring server(serverName);
        const HEVENTSOURCE source =
            RegisterEventSourceW(server.empty() ? nullptr : server.c_str(), std::wstring(sourceName).c_str());
        if (!source) return nullptr;
        return {source, [](HEVENTSOURCE last) { DeregisterEventSource(last); }};
    });
}

}  // namespace

std::atomic<DWORD> NTEventViewer::_eventID = 0;

NTEventViewer::NTEventViewer(std::wstring_view sourceName, WORD eventType, std::wstring_view serverName)
    : _handle(Register(sourceName, serverName)), _eventType(eventType) {
    _eventID = 0;
    if (!_handle)
        platform::WriteOutputLine(L"NTEventViewer::NTEventViewer( ). Failure calling RegisterEventSource( ).");
}

const NTEventViewer& NTEventViewer::operator<<(const std::wstring& text) const {
    Log(text);
    return *this;
}

const NTEventViewer& NTEventViewer::operator<<(int number) const {
    Log(std::to_wstring(number));
    return *this;
}

int NTEventViewer::Log(const std::wstring& text) const {
    const platform::LastErrorKept kept;
    const std::wstring report(platform::CutToUnits(text, reportLimit));
    const wchar_t* strings[] = {report.c_str()};
    if (ReportEventW(_handle.get(), _eventType, 0, ++_eventID, nullptr, 1, 0, strings, nullptr)) return 1;
    platform::WriteOutputLine(L"NTEventViewer::Log( ). Failure calling ReportEvent( ).");
    return 0;
}
