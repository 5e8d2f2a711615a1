#include <ostra/pipes/PipeClient.h>

#include <platform/base/clock.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>

namespace {

// One more than the server's: published so.
constexpr DWORD readLimit = 5001;
constexpr DWORD timedWait = 2000;  // milliseconds

}  // namespace

PipeClient::PipeClient(const std::wstring& name, const std::wstring& targetHost, int) : _targetHost(targetHost) {
    SetPath(platform::Format(L"\\\\.\\pipe\\%ws", name.c_str()));
}

PipeClient& PipeClient::operator=(const PipeClient&) {
    return *this;
}

PipeClient& PipeClient::operator=(const PipeClient*) {
    return *this;
}

int PipeClient::Open(int isTimed) {
    const int result = WaitNamedPipeW(_name, isTimed ? timedWait : NMPWAIT_WAIT_FOREVER);
    if (!result) return Fail(L"PipeClient::Open( ). Failure calling WaitNamedPipe( ).", isTimed);
    const HPIPE pipe = CreateFileW(_name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) return Fail(L"PipeClient::Open( ). Failure calling CreateFile( ).", isTimed);
    Take(pipe);
    return result;
}

const std::wstring& PipeClient::Receive(wchar_t*) {
    _received = Read(readLimit).value_or(std::wstring());
    return _received;
}

int PipeClient::Close() {
    CloseHandles();
    return 0;
}

int PipeClient::Fail(const wchar_t* text, int isTimed) const {
    const DWORD code = GetLastError();
    const std::wstring time = platform::FormatTime(platform::CurrentTime(), L"%H:%M:%S");
    const std::wstring report = text + LastErrorText() + _name + time;
    if (!isTimed) ShowFailure(report);
    SetLastError(code);
    return 0;
}
