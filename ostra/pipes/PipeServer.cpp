#include <ostra/pipes/PipeServer.h>

#include <ostra/foundation/display.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>

namespace {

constexpr DWORD readLimit = 5000;
constexpr DWORD bufferSize = 256;
constexpr DWORD defaultTimeout = 1000;  // milliseconds

}  // namespace

PipeServer::PipeServer(const std::wstring& name, int) {
    SetPath(platform::Format(L"\\\\.\\pipe\\%s", name.c_str()));
    Take(CreateNamedPipeW(_name, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                          PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES, bufferSize,
                          bufferSize, defaultTimeout, nullptr));
    if (IsOpen()) return;
    const DWORD code = GetLastError();
    DisplayFailure(_error, L"PipeServer::PipeServer( ). Failure calling CreateNamedPipe( )." + name + LastErrorText());
    SetLastError(code);
}

int PipeServer::Open() {
    OVERLAPPED record;
    record.hEvent = _event.Get();
    if (ConnectNamedPipe(_handle.Get(), &record) || GetLastError() != platform::error::IoPending) {
        ShowFailure(std::wstring(L"PipeServer::Open( ). Failure calling ConnectNamedPipe( ).") + _name +
                    LastErrorText());
        return 0;
    }
    WaitForSingleObject(_event.Get(), INFINITE);
    ResetEvent(_event.Get());
    const std::optional<std::wstring> text = Read(readLimit);
    if (!text) {
        ShowFailure(L"PipeServer::Open( ). Failure calling ReadFile( )." + LastErrorText());
        return 0;
    }
    _pipeMessage = *text;
    return 1;
}

int PipeServer::Close() {
    CloseHandles();
    return 0;
}
