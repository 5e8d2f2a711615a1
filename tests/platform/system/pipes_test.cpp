#include <platform/system/pipes.h>

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <tests/support/FakeClock.h>
#include <tests/support/TemporaryHome.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <thread>

namespace {

namespace error = platform::error;

constexpr wchar_t path[] = L"\\\\.\\pipe\\talk";
constexpr uid_t nobody = 65534;

struct Record : OVERLAPPED {
    Record() { hEvent = CreateEventW(nullptr, 1, 0, nullptr); }
    ~Record() { CloseHandle(hEvent); }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
};

HPIPE Serve(const wchar_t* pipe = path, DWORD instances = PIPE_UNLIMITED_INSTANCES) {
    return CreateNamedPipeW(pipe, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, instances, 256, 256, 1000,
                            nullptr);
}

HPIPE Call(const wchar_t* pipe = path) {
    return CreateFileW(pipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
}

/// 0, or the last error of a call that answered no.
DWORD Code(BOOL answer) {
    return answer ? error::Success : GetLastError();
}

DWORD CallCode(const wchar_t* pipe = path) {
    return Code(Call(pipe) != INVALID_HANDLE_VALUE);
}

DWORD Write(HPIPE pipe, const std::string& bytes) {
    Record record;
    WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &record);
    return Code(GetOverlappedResult(pipe, &record, nullptr, 1));
}

/// The message, or the error's number.
std::string Read(HPIPE pipe, DWORD size = 100) {
    Record record;
    std::string bytes(size, '\0');
    DWORD count = 0;
    ReadFile(pipe, bytes.data(), size, nullptr, &record);
    if (!GetOverlappedResult(pipe, &record, &count, 1)) return std::to_string(GetLastError());
    return bytes.substr(0, count);
}

DWORD Connect(HPIPE pipe) {
    Record record;
    return Code(ConnectNamedPipe(pipe, &record));
}

/// Runs `body` in a process of its own; its result is the process's exit code.
pid_t Fork(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    return child;
}

int ExitCode(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class ANamedPipe : public testing::Test {
protected:
    std::filesystem::path Folder() const { return _home.Path() / "pipe"; }

    std::vector<std::string> Files() const {
        std::vector<std::string> files;
        std::error_code failure;
        for (const auto& file : std::filesystem::directory_iterator(Folder(), failure)) files.push_back(file.path());
        return files;
    }

    tests::TemporaryHome _home;
    tests::FakeClock _clock;
};

TEST_F(ANamedPipe, HasANameThatIsASafeFileName) {
    const std::wstring prefix = L"\\\\.\\pipe\\";
    for (const std::wstring& bad :
         {std::wstring(), std::wstring(L"talk"), prefix, prefix + L"..", prefix + L"../events", prefix + L"a\\b",
          prefix + L"a\nb", prefix + std::wstring(90, L'x'), std::wstring(L"\\\\other\\pipe\\talk")}) {
        EXPECT_EQ(error::InvalidName, Code(Serve(bad.c_str()) != INVALID_HANDLE_VALUE));
        EXPECT_EQ(error::InvalidName, Code(WaitNamedPipeW(bad.c_str(), NMPWAIT_WAIT_FOREVER)));
        EXPECT_EQ(error::InvalidName, CallCode(bad.c_str()));
    }
    EXPECT_FALSE(std::filesystem::exists(Folder()));
    const HPIPE server = Serve(L"\\\\.\\PIPE\\Größe 1");
    EXPECT_EQ(error::Success, CallCode((prefix + L"Größe 1").c_str()));
    EXPECT_EQ(error::FileNotFound, CallCode((prefix + L"Größe").c_str()));
    CloseHandle(server);
}

TEST_F(ANamedPipe, IsAwaitedOnTheClockUntilAnInstanceIsFree) {
    _clock.isAlone = true;
    const std::int64_t start = _clock.Now();
    EXPECT_EQ(error::FileNotFound, CallCode());
    EXPECT_EQ(error::FileNotFound, Code(WaitNamedPipeW(path, 2000)));
    EXPECT_EQ(start + 2, _clock.Now());
    _clock.isAlone = false;
    std::thread caller([] { EXPECT_TRUE(WaitNamedPipeW(path, NMPWAIT_WAIT_FOREVER)); });
    const HPIPE server = Serve();
    caller.join();
    EXPECT_TRUE(WaitNamedPipeW(path, NMPWAIT_WAIT_FOREVER));
    EXPECT_EQ(error::Success, CallCode());
    EXPECT_EQ(error::SemaphoreTimeout, Code(WaitNamedPipeW(path, NMPWAIT_NOWAIT)));
    EXPECT_EQ(error::PipeBusy, CallCode());
    EXPECT_EQ(error::PipeBusy, Code(Serve(path, 1) != INVALID_HANDLE_VALUE));
    EXPECT_EQ(error::PipeConnected, Connect(server));
    EXPECT_EQ(error::PipeBusy, CallCode());
    CloseHandle(server);
    EXPECT_EQ(error::FileNotFound, CallCode());
    EXPECT_TRUE(Files().empty());
}

TEST_F(ANamedPipe, ServesOneClientAnInstanceAndTheNextAfterADisconnect) {
    const HPIPE servers[] = {Serve(), Serve()};
    EXPECT_EQ("233", Read(servers[0]));
    EXPECT_EQ(error::PipeNotConnected, Write(servers[0], "early"));
    EXPECT_EQ(error::IoPending, Connect(servers[0]));
    const HPIPE clients[] = {Call(), Call()};
    EXPECT_EQ(error::PipeBusy, CallCode());
    for (const HPIPE client : clients) EXPECT_EQ(error::Success, Write(client, "to the server"));
    for (const HPIPE server : servers) {
        EXPECT_EQ(error::PipeConnected, Connect(server));
        EXPECT_EQ("to the server", Read(server));
        EXPECT_EQ(error::Success, Write(server, "to the client"));
        EXPECT_TRUE(FlushFileBuffers(server));
        EXPECT_TRUE(DisconnectNamedPipe(server));
        EXPECT_EQ("233", Read(server));
    }
    for (const HPIPE client : clients) {
        EXPECT_EQ("to the client", Read(client)) << "written before the server took leave";
        EXPECT_EQ("109", Read(client));
        EXPECT_EQ(error::BrokenPipe, Write(client, "late"));
        EXPECT_TRUE(CloseHandle(client));
    }
    EXPECT_EQ(error::PipeBusy, CallCode()) << "not before the server asks for the next client";
    EXPECT_EQ(error::IoPending, Connect(servers[1]));
    EXPECT_EQ(error::Success, CallCode());
    for (const HPIPE server : servers) CloseHandle(server);
}

TEST_F(ANamedPipe, KeepsMessagesApartAndWhole) {
    const HPIPE server = Serve();
    const HPIPE client = Call();
    ASSERT_EQ(error::PipeConnected, Connect(server));
    const std::string large(100'000, 'x');
    for (const std::string& message :
         {std::string("one"), std::string(), std::string("two"), large, std::string("three")})
        EXPECT_EQ(error::Success, Write(client, message));
    EXPECT_EQ("one", Read(server));
    EXPECT_EQ("tw", Read(server, 2));
    EXPECT_EQ(large, Read(server, 200'000));
    EXPECT_EQ("three", Read(server));
    EXPECT_EQ(error::InvalidParameter, Write(client, std::string(10'000'000, 'x')));
    EXPECT_EQ(error::Success, Write(server, "answer"));
    EXPECT_EQ(error::Success, Write(client, "nobody reads this"));
    CloseHandle(server);
    EXPECT_EQ("answer", Read(client));
    EXPECT_EQ("109", Read(client));
    CloseHandle(client);
}

TEST_F(ANamedPipe, WaitsForTheOtherEndWithoutLosingTheOperation) {
    const HPIPE server = Serve();
    Record record;
    DWORD count = 0;
    EXPECT_FALSE(ConnectNamedPipe(server, &record));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(record.hEvent, 0));
    EXPECT_EQ(error::IoIncomplete, Code(GetOverlappedResult(server, &record, &count, 0)));
    const HPIPE client = Call();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(record.hEvent, INFINITE));
    ResetEvent(record.hEvent);
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(record.hEvent, 100));

    char buffer[10];
    EXPECT_EQ(error::IoPending, Code(ReadFile(server, buffer, sizeof buffer, &count, &record)));
    std::thread writer([&] { Write(client, "late"); });
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(record.hEvent, INFINITE));
    writer.join();
    EXPECT_TRUE(GetOverlappedResult(server, &record, &count, 0));
    EXPECT_EQ("late", std::string(buffer, count));

    EXPECT_EQ(error::IoPending, Code(ReadFile(client, buffer, sizeof buffer, &count, &record)));
    std::thread closer([&] { CloseHandle(server); });
    EXPECT_EQ(error::BrokenPipe, Code(GetOverlappedResult(client, &record, &count, 1)));
    closer.join();
    EXPECT_EQ(error::InvalidHandle, Code(GetOverlappedResult(server, &record, &count, 1)));
    EXPECT_EQ(error::InvalidHandle, Code(CloseHandle(server)));
    EXPECT_EQ(error::InvalidHandle, Code(CloseHandle(INVALID_HANDLE_VALUE)));
    EXPECT_EQ(error::InvalidParameter, Code(ReadFile(client, buffer, sizeof buffer, &count, nullptr)));
    CloseHandle(client);
}

TEST_F(ANamedPipe, SurvivesTheDeathOfEitherEnd) {
    EXPECT_EQ(0, ExitCode(Fork([] { return Serve() == INVALID_HANDLE_VALUE; })));
    const std::vector<std::string> stale = Files();
    EXPECT_EQ(1U, stale.size());
    const std::string file = Folder() / "talk.0123abcd";
    close(open(file.c_str(), O_CREAT | O_WRONLY, 0600));
    EXPECT_EQ(error::FileNotFound, CallCode());
    EXPECT_EQ(std::vector<std::string>{file}, Files()) << "the dead server's is gone, what is no pipe stays";

    const HPIPE server = Serve();
    EXPECT_EQ(error::IoPending, Connect(server));
    const pid_t client = Fork([] { return Write(Call(), "half a mess") != 0; });
    EXPECT_EQ(0, ExitCode(client));
    EXPECT_EQ(error::PipeConnected, Connect(server));
    EXPECT_EQ("half a mess", Read(server));
    EXPECT_EQ("109", Read(server));
    EXPECT_EQ(error::BrokenPipe, Write(server, "no signal ends the process"));
    CloseHandle(server);
}

sockaddr_un Address(const std::string& file) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, file.c_str(), sizeof address.sun_path - 1);
    return address;
}

TEST_F(ANamedPipe, TurnsAnotherUserAway) {
    if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
    const HPIPE server = Serve();
    Record record;
    EXPECT_FALSE(ConnectNamedPipe(server, &record));
    // As if somebody had opened the directories to everybody: to look for a socket, and later to make one.
    const auto open = [&](std::filesystem::perms permissions) {
        for (const std::filesystem::path& directory :
             {std::filesystem::path(_home.Path()), std::filesystem::path(Folder())})
            std::filesystem::permissions(directory, permissions);
    };
    open(std::filesystem::perms{0711});
    std::filesystem::permissions(Files()[0], std::filesystem::perms::all);
    const sockaddr_un address = Address(Files()[0]);
    const int stranger = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    ASSERT_EQ(0, ExitCode(Fork([&] {
                  return setresuid(nobody, nobody, nobody) ||
                         connect(stranger, reinterpret_cast<const sockaddr*>(&address), sizeof address) ||
                         send(stranger, "let me in", 9, MSG_NOSIGNAL) != 9;
              })));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(record.hEvent, 0));
    char byte = 0;
    EXPECT_GE(0, recv(stranger, &byte, 1, 0)) << "sent away";
    close(stranger);
    const HPIPE client = Call();
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(record.hEvent, 0));
    CloseHandle(client);
    CloseHandle(server);

    open(std::filesystem::perms::all);
    const int impostor = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    const sockaddr_un trap = Address(Folder() / "talk.0123abcd");
    ASSERT_EQ(0, ExitCode(Fork([&] {
                  return setresuid(nobody, nobody, nobody) ||
                         bind(impostor, reinterpret_cast<const sockaddr*>(&trap), sizeof trap) || listen(impostor, 5);
              })));
    EXPECT_EQ(error::AccessDenied, CallCode());
    close(impostor);
}

}  // namespace
