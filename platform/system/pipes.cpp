#include <platform/system/pipes.h>

#include <platform/base/HandleTable.h>
#include <platform/base/clock.h>
#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/system/PipeOperation.h>
#include <platform/system/PipeWatch.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

using namespace platform;

BOOL Answer(DWORD code) {
    if (code == error::Success) return 1;
    SetLastError(code);
    return 0;
}

/// Asks until the answer is yes or so many milliseconds of naps have passed.
template <typename Question>
bool NapUntil(DWORD milliseconds, const Question& question) {
    constexpr DWORD longestNap = 20;
    DWORD nap = 1;
    while (!question()) {
        if (milliseconds == 0) return false;
        const DWORD step = std::min(nap, milliseconds);
        platform::Sleep(step);
        if (milliseconds != INFINITE) milliseconds -= step;
        nap = std::min(nap * 2, longestNap);
    }
    return true;
}

PipeOperation::Deadline DeadlineAfter(DWORD milliseconds) {
    if (milliseconds == INFINITE) return std::nullopt;
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
}

/// An event, and the last operation that it was given to.
class Event {
public:
    Event(bool isManualReset, bool isSignalled) : _isManualReset(isManualReset), _isSignalled(isSignalled) {}

    void Begin(const OVERLAPPED* record, std::shared_ptr<PipeOperation> operation) {
        const std::scoped_lock lock(_mutex);
        _isSignalled = false;
        _record = record;
        _operation = std::move(operation);
        _hasTold = false;
    }

    /// Null when the event was last given with another record.
    std::shared_ptr<PipeOperation> OperationOf(const OVERLAPPED* record) const {
        const std::scoped_lock lock(_mutex);
        return record == _record ? _operation : nullptr;
    }

    void Reset() {
        const std::scoped_lock lock(_mutex);
        _isSignalled = false;
    }

    /// Signals, once, that the operation is done, unless another one has begun.
    void Tell(const std::shared_ptr<PipeOperation>& done) {
        const std::scoped_lock lock(_mutex);
        if (done == _operation && !std::exchange(_hasTold, true)) _isSignalled = true;
    }

    bool Wait(DWORD milliseconds) {
        if (Take()) return true;
        if (const auto operation = Pending()) {
            if (operation->Await(DeadlineAfter(milliseconds)) != error::IoPending) Tell(operation);
            return Take();
        }
        return NapUntil(milliseconds, [this] { return Take(); });
    }

private:
    bool Take() {
        const std::scoped_lock lock(_mutex);
        return _isManualReset ? _isSignalled : std::exchange(_isSignalled, false);
    }

    std::shared_ptr<PipeOperation> Pending() const {
        const std::scoped_lock lock(_mutex);
        return _hasTold ? nullptr : _operation;
    }

    mutable std::mutex _mutex;
    const bool _isManualReset;
    bool _isSignalled;
    const OVERLAPPED* _record = nullptr;
    std::shared_ptr<PipeOperation> _operation;
    bool _hasTold = false;  // whether the end of the operation was signalled
};

HandleTable<HEVENT, Event>& Events() {
    static auto& events = *new HandleTable<HEVENT, Event>;
    return events;
}

HandleTable<HPIPE, PipeEnd>& Pipes() {
    static auto& pipes = *new HandleTable<HPIPE, PipeEnd>;
    return pipes;
}

/// The handle of an end that was had, or the invalid one and the reason.
HPIPE OpenHandle(DWORD code, std::shared_ptr<PipeEnd> end) {
    return Answer(code) ? Pipes().Open(std::move(end)) : INVALID_HANDLE_VALUE;
}

/// Gives the record's event an operation that `make` makes for the pipe's end, and lets it go as far as it gets.
template <typename Make>
BOOL Begin(HPIPE pipe, const OVERLAPPED* record, DWORD* transferred, const Make& make) {
    if (transferred) *transferred = 0;
    const std::shared_ptr<PipeEnd> end = Pipes().Find(pipe);
    if (!end) return Answer(error::InvalidHandle);
    const std::shared_ptr<Event> event = record ? Events().Find(record->hEvent) : nullptr;
    if (!event) return Answer(error::InvalidParameter);
    const std::shared_ptr<PipeOperation> operation = make(end);
    event->Begin(record, operation);
    const DWORD code = operation->Try();
    if (code != error::IoPending) event->Tell(operation);
    if (transferred) *transferred = operation->Transferred();
    return Answer(code);
}

DWORD CheckCreation(DWORD openMode, DWORD pipeMode, DWORD maxInstances, const void* security) {
    constexpr DWORD servedMode = PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT;
    if (maxInstances == 0 || maxInstances > PIPE_UNLIMITED_INSTANCES) return error::InvalidParameter;
    const bool isServed = openMode == (PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED) && pipeMode == servedMode;
    return isServed && !security ? error::Success : error::NotSupported;
}

/// Looks whenever an instance of some pipe has become free, until one of this pipe is or the time is over.
void AwaitInstance(const std::string& name, DWORD milliseconds, PipeInstances& instances) {
    std::unique_ptr<PipeWatch> watch = PipeWatch::Take();
    watch->Begin(EnsurePipeFolder());
    const PipeOperation::Deadline deadline = DeadlineAfter(milliseconds);
    for (bool isOver = false; !isOver;) {
        instances = FindPipeInstances(name);
        if (!instances.free.empty()) break;
        isOver = !watch->Await(PipeOperation::MillisecondsUntil(deadline));
        if (isOver) instances = FindPipeInstances(name);
    }
    PipeWatch::GiveBack(std::move(watch));
}

bool HasRoom(const std::string& name, DWORD maxInstances) {
    // Looked at also without a limit: that removes what dead servers left.
    const PipeInstances instances = FindPipeInstances(name);
    return maxInstances == PIPE_UNLIMITED_INSTANCES || instances.free.size() + instances.busy < maxInstances;
}

}  // namespace

HEVENT CreateEventW(const void* security, BOOL isManualReset, BOOL isSignalled, const wchar_t* name) {
    if (security || name) {
        SetLastError(error::NotSupported);
        return nullptr;
    }
    return Events().Open(std::make_shared<Event>(isManualReset != 0, isSignalled != 0));
}

BOOL ResetEvent(HEVENT event) {
    const std::shared_ptr<Event> found = Events().Find(event);
    if (!found) return Answer(error::InvalidHandle);
    found->Reset();
    return 1;
}

DWORD WaitForSingleObject(HEVENT event, DWORD milliseconds) {
    const std::shared_ptr<Event> found = Events().Find(event);
    if (!found) {
        SetLastError(error::InvalidHandle);
        return WAIT_FAILED;
    }
    return found->Wait(milliseconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

BOOL CloseHandle(HEVENT event) {
    return Answer(Events().Close(event) ? error::Success : error::InvalidHandle);
}

HPIPE CreateNamedPipeW(const wchar_t* path, DWORD openMode, DWORD pipeMode, DWORD maxInstances, DWORD, DWORD, DWORD,
                       const void* security) {
    std::string name;
    std::shared_ptr<PipeEnd> end;
    DWORD code = CheckCreation(openMode, pipeMode, maxInstances, security);
    if (code == error::Success) code = ReadPipePath(path, name);
    if (code == error::Success && !HasRoom(name, maxInstances)) code = error::PipeBusy;
    if (code == error::Success) code = PipeEnd::Serve(name, end);
    return OpenHandle(code, std::move(end));
}

BOOL ConnectNamedPipe(HPIPE pipe, OVERLAPPED* record) {
    const BOOL isDone = Begin(pipe, record, nullptr, [](const std::shared_ptr<PipeEnd>& end) {
        return std::make_shared<AcceptOperation>(end, end->BeginAccepting());
    });
    // A client who came during the call: the event tells it at once.
    return isDone ? Answer(error::IoPending) : isDone;
}

BOOL DisconnectNamedPipe(HPIPE pipe) {
    const std::shared_ptr<PipeEnd> end = Pipes().Find(pipe);
    return Answer(end ? end->Disconnect() : error::InvalidHandle);
}

BOOL WaitNamedPipeW(const wchar_t* path, DWORD milliseconds) {
    constexpr DWORD defaultWait = 1000;
    std::string name;
    if (const DWORD code = ReadPipePath(path, name)) return Answer(code);
    if (milliseconds == NMPWAIT_USE_DEFAULT_WAIT) milliseconds = defaultWait;
    PipeInstances instances = FindPipeInstances(name);
    if (instances.free.empty() && milliseconds != NMPWAIT_NOWAIT) AwaitInstance(name, milliseconds, instances);
    if (!instances.free.empty()) return 1;
    return Answer(instances.busy > 0 ? error::SemaphoreTimeout : error::FileNotFound);
}

HPIPE CreateFileW(const wchar_t* path, DWORD access, DWORD, const void* security, DWORD disposition, DWORD flags,
                  const void* templateFile) {
    std::string name;
    std::shared_ptr<PipeEnd> end;
    const bool isServed = access == (GENERIC_READ | GENERIC_WRITE) && disposition == OPEN_EXISTING &&
                          flags == FILE_FLAG_OVERLAPPED && !security && !templateFile;
    DWORD code = isServed ? ReadPipePath(path, name) : error::NotSupported;
    if (code == error::Success) code = PipeEnd::Connect(name, end);
    return OpenHandle(code, std::move(end));
}

BOOL ReadFile(HPIPE pipe, void* buffer, DWORD size, DWORD* transferred, OVERLAPPED* record) {
    if (!buffer || size == 0) return Answer(error::InvalidParameter);
    return Begin(pipe, record, transferred, [=](const std::shared_ptr<PipeEnd>& end) {
        return std::make_shared<ReadOperation>(end->Connection(), buffer, size);
    });
}

BOOL WriteFile(HPIPE pipe, const void* data, DWORD size, DWORD* transferred, OVERLAPPED* record) {
    if (!data && size > 0) return Answer(error::InvalidParameter);
    return Begin(pipe, record, transferred, [=](const std::shared_ptr<PipeEnd>& end) {
        return std::make_shared<WriteOperation>(end->Connection(), data, size);
    });
}

BOOL GetOverlappedResult(HPIPE pipe, OVERLAPPED* record, DWORD* transferred, BOOL isWaiting) {
    if (transferred) *transferred = 0;
    if (!Pipes().Find(pipe)) return Answer(error::InvalidHandle);
    const std::shared_ptr<Event> event = record ? Events().Find(record->hEvent) : nullptr;
    const std::shared_ptr<PipeOperation> operation = event ? event->OperationOf(record) : nullptr;
    if (!operation) return Answer(error::InvalidParameter);
    const DWORD code = isWaiting ? operation->Await(std::nullopt) : operation->Try();
    if (code == error::IoPending) return Answer(error::IoIncomplete);
    event->Tell(operation);
    if (transferred) *transferred = operation->Transferred();
    return Answer(code);
}

BOOL FlushFileBuffers(HPIPE pipe) {
    return Answer(Pipes().Find(pipe) ? error::Success : error::InvalidHandle);
}

BOOL CloseHandle(HPIPE pipe) {
    const std::shared_ptr<PipeEnd> end = Pipes().Find(pipe);
    if (!end || !Pipes().Close(pipe)) return Answer(error::InvalidHandle);
    end->Close();
    return 1;
}
