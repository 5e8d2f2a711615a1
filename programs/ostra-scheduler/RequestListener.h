#pragma once

#include <ostra/pipes/PipeServer.h>
#include <platform/base/types.h>
#include <platform/system/pipes.h>
#include <programs/support/ScheduleRequest.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace programs {

/// Answers requests on the scheduler's pipe, in a thread of its own, so that a slow job keeps nobody waiting. A client
/// that connects and then stays silent is sent away after some seconds. Construction and destruction are for one
/// thread; the latter waits for the answer that is being made.
class RequestListener {
public:
    using Answerer = std::function<ScheduleAnswer(const ScheduleRequest&)>;

    /// `answer` is called in the listener's thread, one request at a time, until this object's end.
    explicit RequestListener(Answerer answer);
    RequestListener(const RequestListener&) = delete;
    RequestListener& operator=(const RequestListener&) = delete;
    ~RequestListener();

    /// False when the pipe could not be made; the last error of the thread that made this object has the reason then.
    bool IsListening() const { return _thread.joinable(); }

private:
    static constexpr DWORD readLimit = 5000;  // bytes

    void Listen();
    bool AwaitClient();
    void Pause();
    void Converse();
    bool Settle(BOOL isDone, DWORD& count);
    void Begin();

    Answerer _answer;
    PipeServer _server;
    const HPIPE _pipe = _server.Handle();
    HEVENT _event;
    OVERLAPPED _record;
    std::array<BYTE, readLimit> _request{};
    std::vector<BYTE> _reply;
    std::mutex _mutex;
    std::condition_variable _stopped;
    std::atomic<bool> _isStopping = false;
    std::thread _thread;
};

}  // namespace programs
