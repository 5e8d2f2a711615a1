#include <programs/ostra-scheduler/ServiceNotices.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

namespace programs {

namespace {

std::uint64_t NumberIn(const char* variable) {
    const char* text = std::getenv(variable);
    std::uint64_t number = 0;
    if (!text) return 0;
    const char* const end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, number);
    return result.ec == std::errc() && result.ptr == end ? number : 0;
}

}  // namespace

void NotifyService(std::string_view state) {
    const char* const path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    const std::size_t length = path ? std::strlen(path) : 0;
    if (length < 2 || length >= sizeof address.sun_path) return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path, length);
    if (path[0] == '@') address.sun_path[0] = '\0';  // an abstract name
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0) return;
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    // A manager that does not listen is no reason to stop working.
    [[maybe_unused]] const ssize_t sent = ::sendto(socket, state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                                                   reinterpret_cast<const sockaddr*>(&address), size);
    ::close(socket);
}

DWORD WatchdogPeriod() {
    const std::uint64_t process = NumberIn("WATCHDOG_PID");
    if (process != 0 && process != static_cast<std::uint64_t>(::getpid())) return 0;
    return static_cast<DWORD>(
        std::min<std::uint64_t>(NumberIn("WATCHDOG_USEC") / 1000, std::numeric_limits<DWORD>::max()));
}

}  // namespace programs
