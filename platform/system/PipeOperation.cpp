#include <platform/system/PipeOperation.h>

#include <platform/base/clock.h>
#include <platform/base/error_codes.h>

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace platform {

namespace {

DWORD InitialCode(const SharedSocket& connection) {
    return connection ? error::IoPending : error::PipeNotConnected;
}

DWORD CodeOf(int failure) {
    switch (failure) {
        case EAGAIN:
        case EINTR: return error::IoPending;
        case EMSGSIZE: return error::InvalidParameter;
        case ENOMEM:
        case ENOBUFS: return error::NotEnoughMemory;
        default: return error::BrokenPipe;
    }
}

}  // namespace

DWORD PipeOperation::MillisecondsUntil(const Deadline& deadline) {
    constexpr DWORD unlimited = 0xFFFFFFFF;
    if (!deadline) return unlimited;
    using std::chrono::milliseconds;
    const auto rest = std::chrono::ceil<milliseconds>(*deadline - std::chrono::steady_clock::now()).count();
    return static_cast<DWORD>(std::clamp<std::int64_t>(rest, 0, unlimited - 1));
}

DWORD PipeOperation::Try() {
    const std::scoped_lock lock(_mutex);
    if (_code == error::IoPending) _code = Attempt(_transferred);
    return _code;
}

DWORD PipeOperation::Await(Deadline deadline) {
    for (;;) {
        const DWORD code = Try();
        if (code != error::IoPending) return code;
        const Wakeup awaited = Awaited();
        if (!platform::Await(awaited.socket->Descriptor(), awaited.events, MillisecondsUntil(deadline))) return Try();
    }
}

DWORD PipeOperation::Transferred() const {
    const std::scoped_lock lock(_mutex);
    return _transferred;
}

DWORD AcceptOperation::Attempt(DWORD&) {
    return _end->Accept();
}

PipeOperation::Wakeup AcceptOperation::Awaited() const {
    return {_end->Waiting(), POLLIN};
}

ReadOperation::ReadOperation(SharedSocket connection, void* buffer, DWORD size)
    : PipeOperation(InitialCode(connection)), _connection(std::move(connection)), _buffer(buffer), _size(size) {}

DWORD ReadOperation::Attempt(DWORD& transferred) {
    ssize_t count = ::recv(_connection->Descriptor(), _buffer, _size, 0);
    // Told once, ahead of what the other end wrote, when it closed without having read everything itself.
    if (count < 0 && errno == ECONNRESET) count = ::recv(_connection->Descriptor(), _buffer, _size, 0);
    if (count < 0) return CodeOf(errno);
    // An empty message ends the reading as well: no end of ours writes one.
    if (count == 0) return error::BrokenPipe;
    transferred = static_cast<DWORD>(count);
    return error::Success;
}

PipeOperation::Wakeup ReadOperation::Awaited() const {
    return {_connection, POLLIN};
}

WriteOperation::WriteOperation(SharedSocket connection, const void* data, DWORD size)
    : PipeOperation(InitialCode(connection)), _connection(std::move(connection)), _data(data), _size(size) {}

DWORD WriteOperation::Attempt(DWORD& transferred) {
    // An empty one would look like the end to its reader.
    if (_size == 0) return error::Success;
    const ssize_t count = ::send(_connection->Descriptor(), _data, _size, MSG_NOSIGNAL);
    if (count < 0) return CodeOf(errno);
    transferred = static_cast<DWORD>(count);
    return error::Success;
}

PipeOperation::Wakeup WriteOperation::Awaited() const {
    return {_connection, POLLOUT};
}

}  // namespace platform
