#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/state_directory.h>
#include <platform/store/Database.h>
#include <platform/system/hosts.h>
#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace platform {

/// The databases of one kind that the process has open, one for each host's directory. `File` holds a `database` and
/// has a static `DWORD Open(const std::string& path, OpenMode, std::shared_ptr<File>&)`.
template <typename File>
class StateFiles {
public:
    explicit StateFiles(const std::string& fileName) : _fileName(std::string("/").append(fileName)) {}

    /// FileNotFound without the file, when it must exist; that costs one look at the file system.
    DWORD Find(const HostPlace& place, OpenMode mode, std::shared_ptr<File>& file) {
        const std::string directory = place.isLocal ? StateDirectory() : place.directory;
        const std::scoped_lock lock(_mutex);
        const auto found = _files.find(directory);
        if (found != _files.end()) {
            file = found->second;
            return error::Success;
        }
        const std::string path = directory + _fileName;
        struct stat status {};
        const bool isMissing = ::lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
        if (mode == OpenMode::MustExist && isMissing) {
            _missingFrom = directory;
            _missingSince = CoarseTick();
            return error::FileNotFound;
        }
        _missingSince = 0;
        std::erase_if(_files, [](const auto& entry) { return entry.second->database->IsStale(); });
        if (mode == OpenMode::CreateIfMissing && place.isLocal && EnsureStateDirectory().empty()) {
            return error::AccessDenied;
        }
        const DWORD code = File::Open(path, mode, file);
        if (code == error::Success) _files.emplace(directory, file);
        return code;
    }

    /// Whether this machine's file was looked for in vain within the present tick of the coarse clock, and not made
    /// since by this process. Costs no look at the file system.
    bool WasMissingJustNow() {
        const std::string directory = StateDirectory();
        const std::scoped_lock lock(_mutex);
        return directory == _missingFrom && _missingSince == CoarseTick();
    }

    /// The file was found to be no longer in its place.
    void Forget(const std::shared_ptr<File>& file) {
        const std::scoped_lock lock(_mutex);
        std::erase_if(_files, [&](const auto& entry) { return entry.second == file; });
    }

    /// Runs an operation on a file, once more when the file turned out to be replaced by another one.
    template <typename Operation>
    DWORD With(const HostPlace& place, OpenMode mode, const Operation& operation) {
        for (bool isRepeated = false;; isRepeated = true) {
            std::shared_ptr<File> file;
            DWORD code = Find(place, mode, file);
            if (code == error::Success) code = operation(file);
            if (code != error::FileInvalid || isRepeated) return code;
            Forget(file);
        }
    }

    /// Closes them all: a closed database is one whole file.
    void Clear() {
        const std::scoped_lock lock(_mutex);
        _files.clear();
    }

private:
    // Read without a system call; it moves on every few milliseconds.
    static std::int64_t CoarseTick() {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
    }

    const std::string _fileName;
    std::mutex _mutex;
    std::string _missingFrom;  // a directory
    std::int64_t _missingSince = 0;
    std::map<std::string, std::shared_ptr<File>> _files;  // by directory
};

/// The one StateFiles of a kind: it lives as long as anything may use it, and its files are closed when the process
/// ends.
template <typename File>
StateFiles<File>& StateFilesNamed(const char* fileName) {
    static auto& files = *new StateFiles<File>(fileName);
    static const struct CloseAtExit {
        ~CloseAtExit() { files.Clear(); }
    } closeAtExit;
    return files;
}

}  // namespace platform
