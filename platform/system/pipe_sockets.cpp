#include <platform/system/pipe_sockets.h>

#include <platform/base/error_codes.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>

namespace platform {

namespace {

constexpr std::wstring_view pipePrefix = L"\\\\.\\pipe\\";
constexpr char folder[] = "pipe";
constexpr char busyMark = '+';
constexpr std::size_t digits = 8;
constexpr int attempts = 16;  // to find a random part that nobody has
constexpr std::size_t longestPath = sizeof(sockaddr_un::sun_path) - 1;

// The system's: std::random_device asks the processor first what it can, which takes a virtual machine long.
std::string RandomDigits() {
    std::uint32_t number = 0;
    if (::getrandom(&number, sizeof number, 0) != sizeof number) number = std::random_device()();
    char text[digits + 1];
    std::snprintf(text, sizeof text, "%08x", number);
    return text;
}

std::string InstancePrefix(const std::string& directory, const std::string& name) {
    return directory + '/' + name + '.';
}

std::string BusyPath(const std::string& path) {
    return path + busyMark;
}

// Client and server both mark, whoever is first: the other one finds nothing to rename any more.
void MarkBusy(const std::string& path) {
    static_cast<void>(std::rename(path.c_str(), BusyPath(path).c_str()));
}

DWORD CodeOf(int failure) {
    switch (failure) {
        case EACCES:
        case EPERM:
        case EROFS: return error::AccessDenied;
        case EMFILE:
        case ENFILE:
        case ENOMEM:
        case ENOBUFS: return error::NotEnoughMemory;
        case ENOSPC: return error::DiskFull;
        case ENAMETOOLONG: return error::InvalidName;
        default: return error::GeneralFailure;
    }
}

SharedSocket MakeSocket(int type) {
    const int descriptor = ::socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    return descriptor < 0 ? nullptr : std::make_shared<Socket>(descriptor);
}

/// Calls `bind` or `connect` with a path; 0 or the errno.
template <typename Function>
int CallWithPath(Function function, const Socket& socket, const std::string& path) {
    if (path.size() > longestPath) return ENAMETOOLONG;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int result = function(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return result == 0 ? 0 : errno;
}

/// Whether a process still holds the socket of a file. A connect of another type answers without reaching the server.
bool IsAlive(const std::string& path) {
    const SharedSocket probe = MakeSocket(SOCK_DGRAM);
    if (!probe) return true;
    const int failure = CallWithPath(::connect, *probe, path);
    return failure != ECONNREFUSED && failure != ENOENT;
}

bool IsOwnUser(const Socket& socket) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket.Descriptor(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::geteuid();
}

bool IsInstance(std::string_view file, std::string_view name) {
    if (file.ends_with(busyMark)) file.remove_suffix(1);
    if (file.size() != name.size() + 1 + digits || !file.starts_with(name) || file[name.size()] != '.') return false;
    const std::string_view end = file.substr(name.size() + 1);
    return end.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// The files of a pipe's instances, of living servers and of dead ones.
std::vector<std::string> InstanceFiles(const std::string& name) {
    std::vector<std::string> files;
    std::error_code failure;
    std::filesystem::directory_iterator at(StateDirectory() + '/' + folder, failure);
    for (; !failure && at != std::filesystem::directory_iterator(); at.increment(failure)) {
        std::error_code ignored;
        if (IsInstance(at->path().filename().native(), name) && at->is_socket(ignored) && !at->is_symlink(ignored))
            files.push_back(at->path().native());
    }
    return files;
}

DWORD ConnectToInstance(const std::string& path, SharedSocket& connection) {
    const SharedSocket socket = MakeSocket(SOCK_SEQPACKET);
    if (!socket) return CodeOf(errno);
    if (const int failure = CallWithPath(::connect, *socket, path)) {
        return failure == EACCES || failure == EPERM ? error::AccessDenied : error::PipeBusy;
    }
    if (!IsOwnUser(*socket)) return error::AccessDenied;
    MarkBusy(path);
    connection = socket;
    return error::Success;
}

/// A listening socket under the busy name of `path`. Its queue holds one client, so that a second one finds it busy.
int Listen(const Socket& socket, const std::string& path) {
    ::fchmod(socket.Descriptor(), S_IRUSR | S_IWUSR);
    if (const int failure = CallWithPath(::bind, socket, BusyPath(path))) return failure;
    if (::listen(socket.Descriptor(), 0) == 0) return 0;
    const int failure = errno;
    ::unlink(BusyPath(path).c_str());
    return failure;
}

}  // namespace

Socket::~Socket() {
    ::close(_descriptor);
}

DWORD ReadPipePath(const wchar_t* path, std::string& name) {
    const std::wstring text = path ? path : L"";
    if (!EqualIgnoringCase(text.substr(0, pipePrefix.size()), pipePrefix)) return error::InvalidName;
    const std::wstring wideName = text.substr(pipePrefix.size());
    if (!IsSafeFileName(wideName)) return error::InvalidName;
    name = ToUtf8(wideName);
    const std::string longest =
        InstancePrefix(StateDirectory() + '/' + folder, name) + std::string(digits, '0') + busyMark;
    return longest.size() > longestPath ? error::InvalidName : error::Success;
}

PipeInstances FindPipeInstances(const std::string& name) {
    PipeInstances instances;
    for (const std::string& path : InstanceFiles(name)) {
        if (!IsAlive(path)) {
            ::unlink(path.c_str());
        } else if (path.ends_with(busyMark)) {
            ++instances.busy;
        } else {
            instances.free.push_back(path);
        }
    }
    return instances;
}

std::string EnsurePipeFolder() {
    return EnsureStateDirectory(folder);
}

DWORD ConnectToPipe(const std::string& name, SharedSocket& connection) {
    DWORD refusal = error::Success;
    for (const std::string& path : InstanceFiles(name)) {
        if (path.ends_with(busyMark)) continue;
        const DWORD attempt = ConnectToInstance(path, connection);
        if (attempt == error::Success) return attempt;
        if (attempt != error::PipeBusy) refusal = attempt;
    }
    if (refusal != error::Success) return refusal;
    const PipeInstances instances = FindPipeInstances(name);
    return instances.free.empty() && instances.busy == 0 ? error::FileNotFound : error::PipeBusy;
}

PipeListener::~PipeListener() {
    RemoveFile();
}

DWORD PipeListener::Start(const std::string& name) {
    if (Reopen(name)) return error::Success;
    return Create(name);
}

DWORD PipeListener::Create(const std::string& name) {
    const std::string directory = EnsurePipeFolder();
    if (directory.empty()) return error::AccessDenied;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const std::string path = InstancePrefix(directory, name) + RandomDigits();
        const SharedSocket socket = MakeSocket(SOCK_SEQPACKET);
        if (!socket) return CodeOf(errno);
        const int failure = Listen(*socket, path);
        if (failure == EADDRINUSE) continue;
        if (failure != 0) return CodeOf(failure);
        // Fails when another program saw the file before its socket was there, and removed it as a dead server's.
        if (std::rename(BusyPath(path).c_str(), path.c_str()) != 0) continue;
        RemoveFile();
        _path = path;
        _socket = socket;
        _plug = nullptr;
        _isStarted = true;
        return error::Success;
    }
    return error::GeneralFailure;
}

/// Lets the next client into the socket that is there. False when there is none, or its file is gone.
bool PipeListener::Reopen(const std::string& name) {
    if (!_socket) return false;
    const std::string directory = _path.substr(0, _path.rfind('/'));
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const std::string path = InstancePrefix(directory, name) + RandomDigits();
        if (_plug) ::close(::accept4(_socket->Descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
        _plug = nullptr;
        if (::renameat2(AT_FDCWD, BusyPath(_path).c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) {
            _path = path;
            return _isStarted = true;
        }
        if (errno != EEXIST) return false;
    }
    return false;
}

DWORD PipeListener::Accept(SharedSocket& connection) {
    if (!_isStarted) return error::BrokenPipe;
    pollfd waiting = {_socket->Descriptor(), POLLIN, 0};
    if (::poll(&waiting, 1, 0) <= 0) return error::IoPending;
    MarkBusy(_path);
    _isStarted = false;
    const int accepted = ::accept4(_socket->Descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    const int failure = errno;
    Plug();
    if (accepted < 0) return failure == EMFILE || failure == ENFILE ? error::NotEnoughMemory : error::BrokenPipe;
    const auto client = std::make_shared<Socket>(accepted);
    if (!IsOwnUser(*client)) return error::AccessDenied;
    connection = client;
    return error::Success;
}

void PipeListener::Stop() {
    if (!_isStarted) return;
    MarkBusy(_path);
    _isStarted = false;
    const int unwanted = ::accept4(_socket->Descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (unwanted >= 0) ::close(unwanted);
    Plug();
}

void PipeListener::End() {
    Stop();
    if (_socket) ::shutdown(_socket->Descriptor(), SHUT_RDWR);
}

/// Without one, the client who is in the queue already keeps the others out.
void PipeListener::Plug() {
    const SharedSocket plug = MakeSocket(SOCK_SEQPACKET);
    if (plug && CallWithPath(::connect, *plug, BusyPath(_path)) == 0) _plug = plug;
}

void PipeListener::RemoveFile() {
    if (_path.empty()) return;
    ::unlink(_path.c_str());
    ::unlink(BusyPath(_path).c_str());
}

}  // namespace platform
