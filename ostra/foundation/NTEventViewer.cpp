#include <ostra/foundation/NTEventViewer.h>

#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/text.h>
#include <platform/system/event_log.h>

namespace {

constexpr std::size_t reportLimit = 1063;
constexpr int mostLocalSources = 32;  // the library has eight; what names more of them has each to itself

/// A source on this computer, registered for as long as the process lives.
struct LocalSource {
    const std::wstring name;
    const HEVENTSOURCE handle;
    const LocalSource* next;
};

std::atomic<const LocalSource*> localSources = nullptr;

std::shared_ptr<EventSourceHandle> Register(std::wstring_view sourceName, std::wstring_view serverName) {
    const std::wstring server(serverName);
    const HEVENTSOURCE source =
        RegisterEventSourceW(server.empty() ? nullptr : server.c_str(), std::wstring(sourceName).c_str());
    if (!source) return nullptr;
    return {source, [](HEVENTSOURCE last) { DeregisterEventSource(last); }};
}

std::shared_ptr<EventSourceHandle> Borrow(const LocalSource& source) {
    return {std::shared_ptr<void>(), source.handle};
}

/// The registration of one source on one server; null when it was refused.
std::shared_ptr<EventSourceHandle> Registration(std::wstring_view sourceName, std::wstring_view serverName) {
    if (!serverName.empty()) return Register(sourceName, serverName);
    const LocalSource* first = localSources.load(std::memory_order_acquire);
    int count = 0;
    for (const LocalSource* source = first; source; source = source->next, ++count)
        if (source->name == sourceName) return Borrow(*source);
    if (count >= mostLocalSources) return Register(sourceName, {});
    const HEVENTSOURCE handle = RegisterEventSourceW(nullptr, std::wstring(sourceName).c_str());
    if (!handle) return nullptr;
    auto* added = new LocalSource{std::wstring(sourceName), handle, first};
    // Of two threads that register one source at once, each keeps its own: both serve.
    while (!localSources.compare_exchange_weak(added->next, added, std::memory_order_acq_rel)) {
    }
    return Borrow(*added);
}

}  // namespace

std::atomic<DWORD> NTEventViewer::_eventID = 0;

NTEventViewer::NTEventViewer(std::wstring_view sourceName, WORD eventType, std::wstring_view serverName)
    : _handle(Registration(sourceName, serverName)), _eventType(eventType) {
    _eventID.store(0, std::memory_order_relaxed);
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
    const platform::KeptLastError kept;  // of what is reported
    const std::wstring report(platform::CutToUnits(text, reportLimit));
    const wchar_t* strings[] = {report.c_str()};
    if (ReportEventW(_handle.get(), _eventType, 0, ++_eventID, nullptr, 1, 0, strings, nullptr)) return 1;
    platform::WriteOutputLine(L"NTEventViewer::Log( ). Failure calling ReportEvent( ).");
    return 0;
}
