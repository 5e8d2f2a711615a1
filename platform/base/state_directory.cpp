#include <platform/base/state_directory.h>
#include <platform/base/text.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace platform {

namespace {

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

std::string HomeDirectory() {
    const std::string home = Environment("HOME");
    if (home.starts_with('/')) return home;
    std::vector<char> buffer(16384);
    passwd entry = {};
    passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    return found && found->pw_dir ? found->pw_dir : "";
}

std::string ChosenDirectory() {
    std::string chosen = Environment("OSTRA_HOME");
    if (chosen.starts_with('/')) return chosen;
    if (!chosen.empty()) {
        std::error_code failure;
        return std::filesystem::absolute(chosen, failure).string();
    }
    if (geteuid() == 0) return "/var/lib/ostra";
    const std::string states = Environment("XDG_STATE_HOME");
    return (states.starts_with('/') ? states : HomeDirectory() + "/.local/state") + "/ostra";
}

std::string Unreadable(const std::string& path, int number) {
    return "\"" + path + "\" cannot be read: " + std::generic_category().message(number) + ".";
}

/// What is wrong with a directory that should be this user's alone, reached through no symbolic link that another user
/// could turn. Empty when nothing is, or there is none.
std::string FaultOf(const std::string& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) return errno == ENOENT ? std::string() : Unreadable(path, errno);
    if (S_ISLNK(status.st_mode)) {
        const bool isTrusted = status.st_uid == geteuid() || status.st_uid == 0;
        if (!isTrusted) return "\"" + path + "\" is a symbolic link of another user's.";
        if (stat(path.c_str(), &status) != 0) return Unreadable(path, errno);
    }
    if (!S_ISDIR(status.st_mode)) return "\"" + path + "\" is no directory.";
    if (status.st_uid != geteuid()) return "\"" + path + "\" belongs to another user.";
    if (status.st_mode & (S_IWGRP | S_IWOTH))
        return "\"" + path + "\" can be written by other users. Forbid that with: chmod go-w '" + path + "'";
    if (faccessat(AT_FDCWD, path.c_str(), R_OK | X_OK, AT_EACCESS) != 0) return Unreadable(path, errno);
    return {};
}

bool Exists(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0;
}

// A directory that was made but not written into the one above could be gone after a power cut, with all in it.
bool SyncParent(const std::string& path) {
    const std::string parent = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
    const int descriptor = open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return errno == EACCES;  // a directory above that may be passed through only
    const bool isSynced = fsync(descriptor) == 0 || errno == EINVAL || errno == EROFS;
    close(descriptor);
    return isSynced;
}

bool MakeDirectories(const std::string& path) {
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string level = path.substr(0, slash);
        if (mkdir(level.c_str(), 0700) == 0) {
            if (!SyncParent(level)) return false;
        } else if (!Exists(level)) {
            return false;
        }
        if (slash == std::string::npos) return true;
    }
}

bool EnsureOwnDirectory(const std::string& path) {
    return (Exists(path) || MakeDirectories(path)) && FaultOf(path).empty();
}

}  // namespace

std::string StateDirectory() {
    std::string path = ChosenDirectory();
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
}

std::string EnsureStateDirectory(const std::string& name) {
    const std::string root = StateDirectory();
    if (root.empty() || !EnsureOwnDirectory(root)) return {};
    if (name.empty()) return root;
    const std::string path = root + "/" + name;
    return EnsureOwnDirectory(path) ? path : std::string();
}

std::wstring StateDirectoryFault(const std::string& name) {
    const std::string root = StateDirectory();
    const std::string fault = FaultOf(root);
    return FromUtf8(!fault.empty() || name.empty() ? fault : FaultOf(root + "/" + name));
}

bool IsSafeFileName(const std::wstring& name) {
    const auto isRefused = [](wchar_t character) {
        return character == L'/' || character == L'\\' || IsControl(character) || !IsCharacter(character);
    };
    return !name.empty() && name != L"." && name != L".." && std::none_of(name.begin(), name.end(), isRefused) &&
           ToUtf8(name).size() <= 200;
}

}  // namespace platform
