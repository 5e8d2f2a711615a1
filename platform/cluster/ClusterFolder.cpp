#include <platform/cluster/ClusterFolder.h>

#include <platform/base/error_codes.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <platform/store/failures.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>
#include <utility>

namespace platform {

namespace {

constexpr std::size_t longestName = 60;
constexpr off_t largestDescription = 65'536;
constexpr int descriptionFormat = 1;
constexpr const char* descriptionFile = "cluster.json";
constexpr const char* unfinishedPattern = "/.new-XXXXXX";
constexpr const char* removedPattern = "/.removed-XXXXXX";

class Descriptor {
public:
    explicit Descriptor(int number) : _number(number) {}
    Descriptor(Descriptor&& other) noexcept : _number(std::exchange(other._number, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        if (_number >= 0) close(_number);
    }
    explicit operator bool() const { return _number >= 0; }
    int Number() const { return _number; }

private:
    int _number;
};

Descriptor OpenDirectory(const std::string& path) {
    return Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool Sync(const std::string& directory) {
    const Descriptor descriptor = OpenDirectory(directory);
    return descriptor && fsync(descriptor.Number()) == 0;
}

std::string ClustersDirectory() {
    return StateDirectory() + "/clusters";
}

/// Held by whoever makes or removes a folder, so that what lies half made while nobody holds it was left by a crash.
class ClustersLock {
public:
    /// Waits for others, up to a bound.
    static DWORD Take(const std::string& clusters, std::optional<ClustersLock>& lock) {
        const std::string path = clusters + "/.lock";
        Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
        struct stat status = {};
        if (!file || fstat(file.Number(), &status) != 0) return FailErrno(errno, L"\"%1\" cannot be opened: %2.", path);
        if (!S_ISREG(status.st_mode)) return Fail(error::AccessDenied, L"\"%1\" is no regular file.", path);
        for (int attempt = 0; flock(file.Number(), LOCK_EX | LOCK_NB) != 0; ++attempt) {
            if (errno != EWOULDBLOCK && errno != EINTR) return CodeOfErrno(errno);
            if (attempt == attempts) return error::Timeout;
            const timespec pause{0, 10'000'000};
            nanosleep(&pause, nullptr);
        }
        lock.emplace(std::move(file));
        return error::Success;
    }

    explicit ClustersLock(Descriptor file) : _file(std::move(file)) {}

private:
    static constexpr int attempts = 1000;  // ten seconds

    Descriptor _file;
};

void RemoveTree(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::vector<std::filesystem::path> EntriesOf(const std::string& directory) {
    std::vector<std::filesystem::path> entries;
    std::error_code failure;
    std::filesystem::directory_iterator entry(directory, failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure))
        entries.push_back(entry->path());
    return entries;
}

void RemoveLeftovers(const std::string& clusters) {
    for (const auto& entry : EntriesOf(clusters)) {
        const std::string name = entry.filename().string();
        if (name.starts_with(".new-") || name.starts_with(".removed-")) RemoveTree(entry.string());
    }
}

/// The clusters' directory, made when missing, with its lock and without what a crash has left in it.
DWORD Enter(std::string& clusters, std::optional<ClustersLock>& lock) {
    clusters = EnsureStateDirectory("clusters");
    if (clusters.empty()) {
        const std::wstring fault = StateDirectoryFault("clusters");
        const std::wstring words = L"\"" + FromUtf8(ClustersDirectory()) + L"\" cannot be made.";
        return Fail(error::AccessDenied, L"%1", ToUtf8(fault.empty() ? words : fault));
    }
    if (const DWORD code = ClustersLock::Take(clusters, lock)) return code;
    RemoveLeftovers(clusters);
    return error::Success;
}

bool HasDescription(const std::filesystem::path& folder) {
    struct stat status = {};
    if (lstat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
    return lstat((folder / descriptionFile).c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// The path of the folder of that name in its own case or, without one, in any. Empty without a folder.
std::string PathOf(const std::wstring& name) {
    std::string found;
    if (!IsClusterName(name)) return found;
    for (const auto& entry : EntriesOf(ClustersDirectory())) {
        const std::wstring entryName = FromUtf8(entry.filename().string());
        if (entryName == name) return entry.string();
        if (found.empty() && EqualIgnoringCase(entryName, name)) found = entry.string();
    }
    return found;
}

std::optional<std::string> ReadWhole(const Descriptor& file) {
    std::string text(static_cast<std::size_t>(largestDescription) + 1, '\0');
    std::size_t length = 0;
    while (length < text.size()) {
        const ssize_t count = read(file.Number(), text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return {};
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    if (length == text.size()) return {};
    text.resize(length);
    return text;
}

DWORD ReadDescription(const std::string& text, std::wstring& engine) {
    const nlohmann::json description = nlohmann::json::parse(text, nullptr, false);
    if (!description.is_object()) return error::FileCorrupt;
    const auto format = description.find("format");
    if (format == description.end() || !format->is_number_integer()) return error::FileCorrupt;
    if (*format > descriptionFormat) return error::NotSupported;
    const auto name = description.find("engine");
    if (*format != descriptionFormat || name == description.end() || !name->is_string()) return error::FileCorrupt;
    engine = FromUtf8(name->get_ref<const std::string&>());
    return error::Success;
}

DWORD OpenDescription(const std::string& path, FileStamp& stamp, std::string& text) {
    const Descriptor directory = OpenDirectory(path);
    if (!directory) return CodeOfErrno(errno);
    struct stat status = {};
    if (fstat(directory.Number(), &status) != 0) return CodeOfErrno(errno);
    if (status.st_uid != geteuid()) return Fail(error::AccessDenied, L"\"%1\" belongs to another user.", path);
    const Descriptor file(openat(directory.Number(), descriptionFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file || fstat(file.Number(), &status) != 0) return CodeOfErrno(errno);
    if (status.st_uid != geteuid()) return Fail(error::AccessDenied, L"\"%1\" belongs to another user.", path);
    if (!S_ISREG(status.st_mode) || status.st_size > largestDescription) return error::FileCorrupt;
    auto content = ReadWhole(file);
    if (!content) return error::FileCorrupt;
    text = std::move(*content);
    stamp = {status.st_dev, status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
    return error::Success;
}

DWORD WriteDescription(const std::string& directory, const std::wstring& name, const std::wstring& engine) {
    const nlohmann::json description = {
        {"engine", ToUtf8(engine)}, {"name", ToUtf8(name)}, {"format", descriptionFormat}};
    const std::string text = description.dump(4, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    const Descriptor file(
        open((directory + "/" + descriptionFile).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) return CodeOfErrno(errno);
    const ssize_t written = write(file.Number(), text.data(), text.size());
    if (written != static_cast<ssize_t>(text.size())) return written < 0 ? CodeOfErrno(errno) : error::DiskFull;
    return fsync(file.Number()) == 0 ? error::Success : CodeOfErrno(errno);
}

/// Moves a folder to the name under which it is found, and to no name that is taken. After a failure it is where it
/// was.
DWORD Publish(const std::string& from, const std::string& to, const std::string& clusters) {
    if (!Sync(from)) return error::GeneralFailure;
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) return CodeOfErrno(errno);
    if (Sync(clusters)) return error::Success;
    rename(to.c_str(), from.c_str());
    return error::GeneralFailure;
}

}  // namespace

bool IsClusterName(const std::wstring& name) {
    return IsSafeFileName(name) && name.size() <= longestName && name.front() != L'.' && FromUtf8(ToUtf8(name)) == name;
}

bool IsNewClusterName(const std::wstring& name) {
    return IsClusterName(name) && std::ranges::all_of(name, IsNameCharacter);
}

StringArray ClusterFolderNames() {
    StringArray names;
    for (const auto& entry : EntriesOf(ClustersDirectory())) {
        std::wstring name = FromUtf8(entry.filename().string());
        if (IsClusterName(name) && HasDescription(entry)) names.push_back(std::move(name));
    }
    return names;
}

DWORD FindClusterFolder(const std::wstring& name, ClusterFolder& folder) {
    const std::wstring fault = StateDirectoryFault("clusters");
    if (!fault.empty()) return Fail(error::AccessDenied, L"%1", ToUtf8(fault));
    folder.path = PathOf(name);
    if (folder.path.empty()) return error::FileNotFound;
    std::string text;
    DWORD code = OpenDescription(folder.path, folder.stamp, text);
    if (code == error::Success) code = ReadDescription(text, folder.engine);
    if (code == error::FileCorrupt) return Fail(code, L"\"%1/cluster.json\" describes no cluster.", folder.path);
    if (code == error::NotSupported) return Fail(code, L"\"%1/cluster.json\" is of a later version.", folder.path);
    return code;
}

DWORD MakeClusterFolder(const std::wstring& name, const std::wstring& engine,
                        const std::function<DWORD(const std::string& directory)>& fill) {
    std::string clusters;
    std::optional<ClustersLock> lock;
    if (const DWORD code = Enter(clusters, lock)) return code;
    if (!PathOf(name).empty()) return error::AlreadyExists;
    std::string unfinished = clusters + unfinishedPattern;
    if (!mkdtemp(unfinished.data())) return CodeOfErrno(errno);
    DWORD code = WriteDescription(unfinished, name, engine);
    if (code == error::Success) code = fill(unfinished);
    if (code == error::Success) code = Publish(unfinished, clusters + "/" + ToUtf8(name), clusters);
    if (code != error::Success) RemoveTree(unfinished);
    return code;
}

DWORD RemoveClusterFolder(const std::wstring& name) {
    if (PathOf(name).empty()) return error::FileNotFound;
    std::string clusters;
    std::optional<ClustersLock> lock;
    if (const DWORD code = Enter(clusters, lock)) return code;
    const std::string path = PathOf(name);
    if (path.empty()) return error::FileNotFound;
    std::string removed = clusters + removedPattern;
    if (!mkdtemp(removed.data())) return CodeOfErrno(errno);
    const DWORD code = rename(path.c_str(), (removed + "/cluster").c_str()) == 0 ? error::Success : CodeOfErrno(errno);
    if (code == error::Success) Sync(clusters);
    RemoveTree(removed);
    return code;
}

}  // namespace platform
