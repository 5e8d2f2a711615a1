#include <platform/system/PipeEnd.h>

#include <platform/base/error_codes.h>

#include <sys/socket.h>

namespace platform {

DWORD PipeEnd::Serve(const std::string& name, std::shared_ptr<PipeEnd>& end) {
    auto served = std::make_shared<PipeEnd>();
    served->_name = name;
    served->_listener = std::make_unique<PipeListener>();
    const DWORD code = served->_listener->Start(name);
    if (code == error::Success) end = std::move(served);
    return code;
}

DWORD PipeEnd::Connect(const std::string& name, std::shared_ptr<PipeEnd>& end) {
    auto connected = std::make_shared<PipeEnd>();
    const DWORD code = ConnectToPipe(name, connected->_connection);
    if (code == error::Success) end = std::move(connected);
    return code;
}

DWORD PipeEnd::BeginAccepting() {
    const std::scoped_lock lock(_mutex);
    if (!_listener) return error::InvalidParameter;
    if (_connection) return error::PipeConnected;
    if (!_listener->IsStarted()) {
        // Whoever is there as soon as this has happened did not come before the call.
        const DWORD code = _listener->Start(_name);
        return code == error::Success ? error::IoPending : code;
    }
    const DWORD code = AcceptOwnUser();
    return code == error::Success ? error::PipeConnected : code;
}

DWORD PipeEnd::Accept() {
    const std::scoped_lock lock(_mutex);
    return _connection ? error::Success : AcceptOwnUser();
}

DWORD PipeEnd::AcceptOwnUser() {
    const DWORD code = _listener->Accept(_connection);
    if (code != error::AccessDenied) return code;
    const DWORD restarted = _listener->Start(_name);
    return restarted == error::Success ? error::IoPending : restarted;
}

DWORD PipeEnd::Disconnect() {
    const std::scoped_lock lock(_mutex);
    if (!_listener) return error::InvalidParameter;
    _listener->Stop();
    Hangup();
    return error::Success;
}

void PipeEnd::Close() {
    const std::scoped_lock lock(_mutex);
    if (_listener) _listener->End();
    Hangup();
}

void PipeEnd::Hangup() {
    if (_connection) ::shutdown(_connection->Descriptor(), SHUT_RDWR);
    _connection = nullptr;
}

SharedSocket PipeEnd::Connection() const {
    const std::scoped_lock lock(_mutex);
    return _connection;
}

SharedSocket PipeEnd::Waiting() const {
    const std::scoped_lock lock(_mutex);
    return _listener ? _listener->Waiting() : nullptr;
}

}  // namespace platform
