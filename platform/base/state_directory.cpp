#include <platform/base/state_directory.h>
#include <platform/base/text.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

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

/// Whether a path is a directory of this user's, reached through no symbolic link that another user could turn.
bool IsOwnDirectory(const std::string& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) return false;
    if (S_ISLNK(status.st_mode)) {
        if (status.st_uid != geteuid() && status.st_uid != 0) return false;
        if (stat(path.c_str(), &status) != 0) return false;
    }
    return S_ISDIR(status.st_mode) && status.st_uid == geteuid();
}

bool MakeDirectories(const std::string& path) {
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string level = path.substr(0, slash);
        struct stat status = {};
        if (mkdir(level.c_str(), 0700) != 0 && stat(level.c_str(), &status) != 0) return false;
        if (slash == std::string::npos) return true;
    }
}

bool EnsureOwnDirectory(const std::string& path) {
    return IsOwnDirectory(path) || (MakeDirectories(path) && IsOwnDirectory(path));
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

bool IsSafeFileName(const std::wstring& name) {
    const auto isRefused = [](wchar_t character) {
        return character == L'/' || character == L'\\' || IsControl(character) || !IsCharacter(character);
    };
    return !name.empty() && name != L"." && name != L".." && std::none_of(name.begin(), name.end(), isRefused) &&
           ToUtf8(name).size() <= 200;
}

}  // namespace platform
