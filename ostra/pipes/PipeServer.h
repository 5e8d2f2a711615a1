#pragma once

#include <ostra/pipes/Pipe.h>

/// The end of a text channel that waits: it creates the pipe, receives one text from one client, and may answer it with
/// Send. A server of many clients calls DisconnectNamedPipe on its Handle before each Open: nobody gets in, and is
/// lost, between one Open and the next. Several servers, also of several programs, may serve one name.
class OSTRA_API PipeServer : public Pipe {
public:
    /// Creates the pipe; a client can connect from now on. Handle is INVALID_HANDLE_VALUE when it could not be created.
    explicit PipeServer(const std::wstring& name, int = 0);
    PipeServer(const PipeServer&) = default;
    /// The last of the objects that share the pipe takes leave of the client, who can still read what was sent.
    ~PipeServer() override = default;
    PipeServer& operator=(const PipeServer&) = default;
    using Pipe::operator=;

    /// Waits, without limit, until a client has connected and sent a text; one that connects and stays silent keeps it
    /// waiting. 1: PipeMessage has it. 0: a message box told the reason; also when a client had connected before the
    /// call (PipeConnected).
    int Open();
    /// Takes leave of the client and closes the pipe. 0.
    int Close();
};
