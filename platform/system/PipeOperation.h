#pragma once

#include <platform/system/PipeEnd.h>

#include <chrono>
#include <mutex>
#include <optional>

namespace platform {

/// One overlapped operation on a pipe, from its start until its result is known. It moves on only while it is tried or
/// awaited, in the thread that does so.
class PipeOperation {
public:
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;  // none: without limit

    /// Rounded up, so that a wait never ends before its deadline; INFINITE without one.
    static DWORD MillisecondsUntil(const Deadline& deadline);

    virtual ~PipeOperation() = default;

    /// Goes as far as it gets without waiting. IoPending, or the result, which stays.
    DWORD Try();
    /// The same, and waits for the result until the deadline.
    DWORD Await(Deadline deadline);
    /// Bytes that a successful operation moved.
    DWORD Transferred() const;

protected:
    struct Wakeup {
        SharedSocket socket;
        short events;  // as poll takes them
    };

    explicit PipeOperation(DWORD code) : _code(code) {}
    virtual DWORD Attempt(DWORD& transferred) = 0;
    /// What can happen before another attempt makes sense.
    virtual Wakeup Awaited() const = 0;

private:
    mutable std::mutex _mutex;
    DWORD _code;
    DWORD _transferred = 0;
};

/// Waits for a client; begun with what BeginAccepting answered.
class AcceptOperation final : public PipeOperation {
public:
    AcceptOperation(std::shared_ptr<PipeEnd> end, DWORD code) : PipeOperation(code), _end(std::move(end)) {}

private:
    DWORD Attempt(DWORD& transferred) override;
    Wakeup Awaited() const override;

    std::shared_ptr<PipeEnd> _end;
};

/// Reads a message. A null connection makes it PipeNotConnected.
class ReadOperation final : public PipeOperation {
public:
    ReadOperation(SharedSocket connection, void* buffer, DWORD size);

private:
    DWORD Attempt(DWORD& transferred) override;
    Wakeup Awaited() const override;

    SharedSocket _connection;
    void* _buffer;
    DWORD _size;
};

/// Writes a message. A null connection makes it PipeNotConnected.
class WriteOperation final : public PipeOperation {
public:
    WriteOperation(SharedSocket connection, const void* data, DWORD size);

private:
    DWORD Attempt(DWORD& transferred) override;
    Wakeup Awaited() const override;

    SharedSocket _connection;
    const void* _data;
    DWORD _size;
};

}  // namespace platform
