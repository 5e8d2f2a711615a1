#include <ostra/pipes/PipeClient.h>
#include <ostra/pipes/PipeServer.h>
#include <tests/support/TemporaryHome.h>

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>

namespace {

constexpr wchar_t path[] = L"\\\\.\\pipe\\bench";
constexpr std::size_t messageSize = 128;
using Message = std::array<char, messageSize>;

/// One end of a pipe with a message at a time, as the library uses it.
class PipeSide {
public:
    explicit PipeSide(HPIPE pipe) : _pipe(pipe) { _record.hEvent = CreateEventW(nullptr, 1, 0, nullptr); }
    ~PipeSide() {
        CloseHandle(_pipe);
        CloseHandle(_record.hEvent);
    }
    PipeSide(const PipeSide&) = delete;
    PipeSide& operator=(const PipeSide&) = delete;

    bool Connect() {
        ConnectNamedPipe(_pipe, &_record);
        return WaitForSingleObject(_record.hEvent, INFINITE) == WAIT_OBJECT_0;
    }
    bool Write(const Message& message) {
        WriteFile(_pipe, message.data(), messageSize, nullptr, &_record);
        return GetOverlappedResult(_pipe, &_record, nullptr, 1);
    }
    bool Read(Message& message) {
        ReadFile(_pipe, message.data(), messageSize, nullptr, &_record);
        return GetOverlappedResult(_pipe, &_record, nullptr, 1);
    }

private:
    HPIPE _pipe;
    OVERLAPPED _record;
};

void BareSocketEcho(benchmark::State& state) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) return state.SkipWithError("no sockets");
    std::thread server([end = ends[1]] {
        Message message;
        while (recv(end, message.data(), messageSize, 0) > 0) send(end, message.data(), messageSize, MSG_NOSIGNAL);
    });
    Message message = {};
    for (auto _ : state) {
        send(ends[0], message.data(), messageSize, MSG_NOSIGNAL);
        if (recv(ends[0], message.data(), messageSize, 0) <= 0) state.SkipWithError("the echo ended");
    }
    shutdown(ends[0], SHUT_RDWR);
    server.join();
    close(ends[0]);
    close(ends[1]);
}
BENCHMARK(BareSocketEcho)->UseRealTime();

void PipeEcho(benchmark::State& state) {
    const tests::TemporaryHome home;
    PipeSide served(CreateNamedPipeW(path, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE,
                                     PIPE_UNLIMITED_INSTANCES, 256, 256, 1000, nullptr));
    std::thread server([&served] {
        Message message;
        served.Connect();
        while (served.Read(message) && served.Write(message)) {
        }
    });
    {
        PipeSide client(
            CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
        Message message = {};
        for (auto _ : state) {
            if (!client.Write(message) || !client.Read(message)) state.SkipWithError("the echo ended");
        }
    }
    server.join();
}
BENCHMARK(PipeEcho)->UseRealTime();

/// A socket's file that is connected to, asked once, and closed: what a text channel does for each request.
void BareSocketConversation(benchmark::State& state) {
    const tests::TemporaryHome home;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (home.Path() / "socket").string().copy(address.sun_path, sizeof address.sun_path - 1);
    const auto* place = reinterpret_cast<const sockaddr*>(&address);
    const int listener = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    if (bind(listener, place, sizeof address) != 0 || listen(listener, 1) != 0) return state.SkipWithError("no socket");
    std::thread server([listener] {
        Message message;
        for (int client; (client = accept(listener, nullptr, nullptr)) >= 0; close(client)) {
            if (recv(client, message.data(), messageSize, 0) > 0)
                send(client, message.data(), messageSize, MSG_NOSIGNAL);
        }
    });
    Message message = {};
    for (auto _ : state) {
        const int client = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        if (connect(client, place, sizeof address) != 0) state.SkipWithError("no connection");
        send(client, message.data(), messageSize, MSG_NOSIGNAL);
        if (recv(client, message.data(), messageSize, 0) <= 0) state.SkipWithError("no answer");
        close(client);
    }
    shutdown(listener, SHUT_RDWR);
    server.join();
    close(listener);
}
BENCHMARK(BareSocketConversation)->UseRealTime();

/// The client made, one text, its answer, the client closed; the server keeps its pipe.
void TextChannelConversation(benchmark::State& state) {
    const tests::TemporaryHome home;
    const std::wstring text(messageSize / 2 - 1, L'x');
    const std::wstring stop = L"stop";
    PipeServer server(L"bench");
    std::thread answers([&] {
        do {
            DisconnectNamedPipe(server.Handle());
            if (server.Open()) server.Send(server.PipeMessage());
        } while (server.PipeMessage() != stop);
    });
    const auto ask = [](const std::wstring& question) {
        PipeClient client(L"bench", L"");
        return client.Open(0) && client.Send(question) && client.Receive() == question;
    };
    while (!ask(text)) {
    }  // the first one may come before the server is ready
    for (auto _ : state) {
        if (!ask(text)) state.SkipWithError("no answer");
    }
    while (!ask(stop)) {
    }
    answers.join();
}
BENCHMARK(TextChannelConversation)->UseRealTime();

}  // namespace
