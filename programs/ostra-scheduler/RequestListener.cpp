#include <programs/ostra-scheduler/RequestListener.h>

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/base/text.h>

#include <chrono>
#include <span>
#include <utility>

namespace error = platform::error;

namespace programs {

namespace {

constexpr DWORD patience = 5000;  // milliseconds for a client to say what it wants, and to take the answer

}  // namespace

RequestListener::RequestListener(Answerer answer)
    : _answer(std::move(answer)), _server(schedulerPipe), _event(CreateEventW(nullptr, 1, 0, nullptr)) {
    if (_pipe != INVALID_HANDLE_VALUE && _event) _thread = std::thread([this] { Listen(); });
}

RequestListener::~RequestListener() {
    {
        const std::scoped_lock lock(_mutex);
        _isStopping = true;
    }
    _stopped.notify_one();
    _server.Close();  // ends what the thread waits for
    if (_thread.joinable()) _thread.join();
    if (_event) CloseHandle(_event);
}

void RequestListener::Listen() {
    while (!_isStopping) {
        if (AwaitClient())
            Converse();
        else
            Pause();
        DisconnectNamedPipe(_pipe);
    }
}

// A disk that is full, or too many open files: it may be better the next time.
void RequestListener::Pause() {
    constexpr std::chrono::milliseconds pause(250);
    std::unique_lock lock(_mutex);
    _stopped.wait_for(lock, pause, [this] { return _isStopping.load(); });
}

bool RequestListener::AwaitClient() {
    Begin();
    if (ConnectNamedPipe(_pipe, &_record)) return true;
    if (GetLastError() == error::PipeConnected) return true;
    if (GetLastError() != error::IoPending) return false;
    WaitForSingleObject(_event, INFINITE);
    DWORD count = 0;
    return GetOverlappedResult(_pipe, &_record, &count, 0);
}

void RequestListener::Converse() {
    DWORD count = 0;
    Begin();
    if (!Settle(ReadFile(_pipe, _request.data(), readLimit, &count, &_record), count)) return;
    ScheduleRequest request;
    ScheduleAnswer answer{error::InvalidParameter, 0};
    if (FromText(platform::FromUtf16(std::span(_request).first(count)), request)) answer = _answer(request);
    _reply = platform::ToUtf16(ToText(answer));
    Begin();
    Settle(WriteFile(_pipe, _reply.data(), static_cast<DWORD>(_reply.size()), &count, &_record), count);
}

/// Waits for the end of an operation that began. False when it failed, or the client was too slow.
bool RequestListener::Settle(BOOL isDone, DWORD& count) {
    if (isDone) return true;
    if (GetLastError() != error::IoPending || WaitForSingleObject(_event, patience) != WAIT_OBJECT_0) return false;
    return GetOverlappedResult(_pipe, &_record, &count, 0);
}

void RequestListener::Begin() {
    ResetEvent(_event);
    _record.hEvent = _event;
}

}  // namespace programs
