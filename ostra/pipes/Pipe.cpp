#include <ostra/pipes/Pipe.h>

#include <ostra/foundation/display.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/text.h>
#include <platform/system/message_box.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

namespace {

constexpr std::size_t readBuffer = 10'000;

}  // namespace

Pipe::Pipe() : _event(CreateEventW(nullptr, 1, 0, nullptr)), _eventViewer(L"Ostra", NTEventViewer::Error, L"") {}

Pipe::Pipe(const Pipe& other)
    : _event(other._event),
      _handle(other._handle),
      _pipeMessage(other._pipeMessage),
      _eventViewer(L"Ostra", NTEventViewer::Error, L""),
      _iD(other._iD),
      _state(other._state) {
    std::copy(std::begin(other._name), std::end(other._name), _name);
}

Pipe::~Pipe() = default;

Pipe& Pipe::operator=(const Pipe& other) {
    if (this == &other) return *this;
    _iD = other._iD;
    std::copy(std::begin(other._name), std::end(other._name), _name);
    _state = other._state;
    _handle = other._handle;
    return *this;
}

Pipe& Pipe::operator=(const Pipe*) {
    return *this;
}

int Pipe::Send(const std::wstring& text) {
    constexpr wchar_t failure[] = L"Pipe::Send( ). Failure calling WriteFile. ";
    if (const std::size_t units = platform::Utf16Length(text); units > LongestText) {
        // The text itself is left out: the reason behind it would not fit the report.
        _eventViewer << _name + std::wstring(failure) +
                            platform::Format(L"A text of %u characters is too long: a message holds %u.",
                                             static_cast<DWORD>(units), static_cast<DWORD>(LongestText));
        SetLastError(platform::error::InvalidParameter);
        return 0;
    }
    OVERLAPPED record;
    ResetEvent(_event.Get());
    record.hEvent = _event.Get();
    const std::vector<BYTE> bytes = platform::ToUtf16(text);
    DWORD written = 0;
    WriteFile(_handle.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, &record);
    const int result = GetOverlappedResult(_handle.Get(), &record, &written, 1);
    if (!result) {
        const DWORD code = GetLastError();
        const std::wstring report = _name + std::wstring(failure) + text + LastErrorText();
        _eventViewer << report;
        DisplayFailure(_error, report);
        SetLastError(code);
    }
    return result;
}

void Pipe::Info() {
    platform::WriteOutputLine(L"Pipe::Info( void ). On entry.");
    platform::WriteOutput(platform::Format(L"_iD     :%d\n", _iD));
    platform::WriteOutput(platform::Format(L"_name   :%ws\n", _name));
    platform::WriteOutput(platform::Format(L"_state  :%d\n", _state));
    platform::WriteOutput(platform::Format(L"_handle :%p\n", static_cast<const void*>(_handle.Get())));
}

void Pipe::SetPath(const std::wstring& path) {
    const std::wstring_view fitting = platform::CutToUnits(path, std::size(_name) - 1);
    *std::copy(fitting.begin(), fitting.end(), _name) = L'\0';
}

bool Pipe::IsOpen() const {
    return _handle && _handle.Get() != INVALID_HANDLE_VALUE;
}

void Pipe::CloseHandles() {
    if (IsOpen()) _handle.Close();
}

std::optional<std::wstring> Pipe::Read(DWORD size) {
    std::array<BYTE, readBuffer> buffer = {};
    OVERLAPPED record;
    record.hEvent = _event.Get();
    DWORD count = 0;
    ReadFile(_handle.Get(), buffer.data(), size, &count, &record);
    if (!GetOverlappedResult(_handle.Get(), &record, &count, 1)) return std::nullopt;
    return platform::FromUtf16(buffer);
}

void Pipe::ShowFailure(const std::wstring& text) const {
    const DWORD code = GetLastError();
    MessageBoxW(nullptr, text.c_str(), productTitle, MB_DEFAULT_DESKTOP_ONLY);
    SetLastError(code);
}

std::wstring Pipe::LastErrorText() const {
    return _error.GetErrorString(GetLastError());
}

BOOL Pipe::CloseEvent(HEVENT event) {
    return CloseHandle(event);
}

BOOL Pipe::ClosePipe(HPIPE pipe) {
    if (pipe == INVALID_HANDLE_VALUE) return 0;
    FlushFileBuffers(pipe);
    DisconnectNamedPipe(pipe);  // refused for a client's end, which only closes
    return CloseHandle(pipe);
}
