#pragma once

#include <platform/base/types.h>

#include <memory>
#include <string>
#include <vector>

namespace platform {

// Each instance of a pipe is one socket file in the state directory's "pipe", named "NAME.XXXXXXXX" (eight random
// hexadecimal digits) while a client may connect to it, and with a "+" behind that from then on. Three things follow
// from the random part, which no other instance ever gets: any number of servers can serve one name; a client sees
// whether an instance is free without disturbing it; and a file whose server is dead can be removed by whoever notices,
// for no living server can have taken its place meanwhile.
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

/// Connects to a free instance. FileNotFound: nobody serves the pipe; PipeBusy: no instance is free; AccessDenied: the
/// server belongs to another user.
DWORD ConnectToPipe(const std::string& name, SharedSocket& connection);

/// The file of one instance, and the socket on which its server waits for one client. The file says "busy" once a
/// client came and is removed with the object.
class PipeListener {
public:
    PipeListener() = default;
    ~PipeListener();
    PipeListener(const PipeListener&) = delete;
    PipeListener& operator=(const PipeListener&) = delete;

    /// Lets one client connect, under a new file that replaces the one before.
    DWORD Start(const std::string& name);
    /// The client, if it is there; nobody else gets in until the next Start. IoPending: none came yet; AccessDenied: it
    /// was another user's and is sent away.
    DWORD Accept(SharedSocket& connection);
    /// Sends away who came and was not accepted; nobody gets in until the next Start.
    void Stop();

    bool IsStarted() const { return _isStarted; }
    const SharedSocket& Waiting() const { return _socket; }

private:
    void RemoveFile();

    SharedSocket _socket;
    std::string _path;
    bool _isStarted = false;
};

}  // namespace platform
