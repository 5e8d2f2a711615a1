#include <fcntl.h>
#include <platform/base/error_codes.h>
#include <platform/store/LockFile.h>
#include <platform/store/failures.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <random>
#include <thread>

namespace platform {

namespace {

using std::chrono::steady_clock;

// Inode and birth of a file: a file that was copied or renamed into its place differs in one of them.
std::string Identity(const std::string& path) {
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_BTIME, &status) != 0) return {};
    std::string identity = std::to_string(status.stx_ino);
    if (status.stx_mask & STATX_BTIME) {
        identity += '.' + std::to_string(status.stx_btime.tv_sec) + '.' + std::to_string(status.stx_btime.tv_nsec);
    }
    return identity;
}

}  // namespace

std::chrono::microseconds RandomPause() {
    thread_local std::minstd_rand random(std::random_device{}());
    return std::chrono::microseconds(std::uniform_int_distribution(50, 1050)(random));
}

LockFile::~LockFile() {
    if (_descriptor >= 0) ::close(_descriptor);
}

DWORD LockFile::Open(const std::string& databasePath) {
    _databasePath = databasePath;
    _path = databasePath + ".lock";
    return OpenDescriptor();
}

DWORD LockFile::OpenDescriptor() {
    if (_descriptor >= 0) ::close(_descriptor);
    _descriptor = ::open(_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
    if (_descriptor >= 0) return error::Success;
    return FailErrno(errno, L"The lock file \"%1\" cannot be opened: %2.", _path);
}

DWORD LockFile::Take(DWORD timeout) {
    const auto deadline = steady_clock::now() + std::chrono::milliseconds(timeout);
    for (;;) {
        if (::flock(_descriptor, LOCK_EX | LOCK_NB) == 0) {
            struct stat status {};
            _held = ::fstat(_descriptor, &status) == 0 && status.st_nlink > 0;
            if (_held) return error::Success;
            // Somebody has removed the file: others lock the one that is in its place by now.
            if (const DWORD code = OpenDescriptor()) return code;
        } else if (errno != EWOULDBLOCK && errno != EINTR) {
            return FailErrno(errno, L"The lock file \"%1\" cannot be locked: %2.", _path);
        }
        if (steady_clock::now() >= deadline) {
            return Fail(error::Timeout, L"Other programs kept writing to \"%1\" for too long.", _databasePath);
        }
        std::this_thread::sleep_for(RandomPause());
    }
}

void LockFile::Release() {
    if (!_held) return;
    ::flock(_descriptor, LOCK_UN);
    _held = false;
}

// "DATABASE LOCK": the identity of the database file and that of this file itself. When the second one does not fit,
// the whole directory was copied and says nothing about a replacement.
std::string LockFile::ReadRecord() const {
    char text[256];
    const ssize_t length = ::pread(_descriptor, text, sizeof text, 0);
    return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : std::string();
}

bool LockFile::IsBesideAnotherFile() const {
    const std::string record = ReadRecord();
    const std::string own = ' ' + Identity(_path);
    return record.ends_with(own) && record != Identity(_databasePath) + own;
}

bool LockFile::RemembersFile() const {
    return ReadRecord() == Identity(_databasePath) + ' ' + Identity(_path);
}

void LockFile::RememberFile() {
    const std::string record = Identity(_databasePath) + ' ' + Identity(_path);
    // A record that could not be written is no record: the check it serves is then left out.
    ForgetFile();
    if (::pwrite(_descriptor, record.data(), record.size(), 0) != static_cast<ssize_t>(record.size())) ForgetFile();
}

void LockFile::ForgetFile() {
    static_cast<void>(::ftruncate(_descriptor, 0) == 0);
}

}  // namespace platform
