#include <programs/ostra-scheduler/InstanceLock.h>

#include <fcntl.h>
#include <platform/base/state_directory.h>
#include <programs/support/ExitCode.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace programs {

InstanceLock::InstanceLock() {
    const std::string directory = platform::EnsureStateDirectory();
    if (directory.empty())
        throw CommandError(ExitCode::Unreachable,
                           "The state directory " + platform::StateDirectory() + " cannot be used.");
    const std::string path = directory + "/scheduler.lock";
    _file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (_file >= 0 && ::flock(_file, LOCK_EX | LOCK_NB) == 0) return;
    const int cause = errno;
    if (_file >= 0) ::close(_file);
    if (cause == EWOULDBLOCK)
        throw CommandError(ExitCode::Refused, "Another scheduler is running in " + directory + ".");
    throw CommandError(ExitCode::Unreachable, path + " cannot be locked: " + std::strerror(cause));
}

InstanceLock::~InstanceLock() {
    ::close(_file);
}

}  // namespace programs
