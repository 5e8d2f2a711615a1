#pragma once

#include <platform/system/pipe_sockets.h>

#include <mutex>

namespace platform {

/// One end of a pipe: the client's, which is a connection, or one instance of a server's, which has a connection while
/// a client is there. Nothing here blocks.
class PipeEnd {
public:
    /// The server's end. The code of the listener's start.
    static DWORD Serve(const std::string& name, std::shared_ptr<PipeEnd>& end);
    /// The client's end. The codes of ConnectToPipe.
    static DWORD Connect(const std::string& name, std::shared_ptr<PipeEnd>& end);

    /// Lets a client in, of a server's end. PipeConnected: one is there; IoPending: none yet.
    DWORD BeginAccepting();
    /// Success: a client is there; IoPending: none yet; BrokenPipe: the end was closed.
    DWORD Accept();
    /// Sends the client of a server's end away.
    DWORD Disconnect();
    /// Ends everything, and wakes those who wait on the sockets.
    void Close();

    /// Null while no client is there.
    SharedSocket Connection() const;
    /// The socket on which a server's end waits.
    SharedSocket Waiting() const;

private:
    DWORD AcceptOwnUser();
    void Hangup();

    mutable std::mutex _mutex;
    std::string _name;
    std::unique_ptr<PipeListener> _listener;  // null in a client's end
    SharedSocket _connection;
};

}  // namespace platform
