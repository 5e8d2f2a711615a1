#pragma once

#include <platform/base/types.h>

#include <memory>
#include <string>
#include <vector>

namespace platform {

// Each instance of a pipe is one listening socket, and its file in the state directory's "pipe", which is named
// "NAME.XXXXXXXX" (eight random hexadecimal digits) while a client may connect to it, and with a "+" behind that from
// then on; when the server asks for the next client, it gets another random part. Three things follow from that, which
// no other instance ever had: any number of servers can serve one name; a client sees whether an instance is free
// without disturbing it; and a file whose server is dead can be removed by whoever notices, for no living server can
// have taken its place meanwhile.
//
// The name only tells. What keeps a second client out is the socket's queue, which holds one: the first client, until
// it is accepted, and then a connection of the server's own, its plug.
//
// Sockets keep messages apart (SOCK_SEQPACKET): what was written at once is read at once, whole.

/// A socket, closed with the object. Whoever waits on it shares it, so that its number cannot go to another file.
class Socket {
public:
    explicit Socket(int descriptor) : _descriptor(descriptor) {}
    ~Socket();
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int Descriptor() const { return _descriptor; }

private:
    const int _descriptor;
};

using SharedSocket = std::shared_ptr<Socket>;

/// The name in "\\.\pipe\NAME", in UTF-8. InvalidName: it is no such path, or NAME is no safe file name, or too long
/// for a socket's path.
DWORD ReadPipePath(const wchar_t* path, std::string& name);

/// The living instances of a pipe. Files that dead servers left are removed on the way.
struct PipeInstances {
    std::vector<std::string> free;  // the paths of their files
    std::size_t busy = 0;
};

PipeInstances FindPipeInstances(const std::string& name);

/// The folder of the sockets, made where it is missing; empty when it cannot be had.
std::string EnsurePipeFolder();

/// Connects to a free instance. FileNotFound: nobody serves the pipe; PipeBusy: no instance is free; AccessDenied: the
/// server belongs to another user.
DWORD ConnectToPipe(const std::string& name, SharedSocket& connection);

/// The socket on which a server waits for one client after the other, and its file, which goes with the object.
class PipeListener {
public:
    PipeListener() = default;
    ~PipeListener();
    PipeListener(const PipeListener&) = delete;
    PipeListener& operator=(const PipeListener&) = delete;

    /// Lets one client connect, under a new name.
    DWORD Start(const std::string& name);
    /// The client, if it is there; nobody else gets in until the next Start, but who comes in the very moment is the
    /// next one. IoPending: none came yet; AccessDenied: it was another user's and is sent away; BrokenPipe: the
    /// listener is not started.
    DWORD Accept(SharedSocket& connection);
    /// Sends away who came and was not accepted; nobody gets in until the next Start.
    void Stop();
    /// Ends it for good, and wakes who waits on the socket.
    void End();

    bool IsStarted() const { return _isStarted; }
    const SharedSocket& Waiting() const { return _socket; }

private:
    DWORD Create(const std::string& name);
    bool Reopen(const std::string& name);
    void Plug();
    void RemoveFile();

    SharedSocket _socket;
    SharedSocket _plug;  // what fills the queue while nobody may get in
    std::string _path;   // as it is named while it is free
    bool _isStarted = false;
};

}  // namespace platform
