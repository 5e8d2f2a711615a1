#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/state_directory.h>
#include <platform/base/text.h>
#include <platform/store/Database.h>
#include <platform/store/failures.h>
#include <platform/system/hosts.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
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

    /// FileNotFound without the file, when it must exist; that costs one look at the file system. AccessDenied for a
    /// state directory that cannot be used.
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
        if (mode == OpenMode::MustExist && ::lstat(path.c_str(), &status) != 0) {
            if (errno != ENOENT && errno != ENOTDIR)
                return Fail(error::AccessDenied, L"\"%1\" cannot be read: %2.", path, std::strerror(errno));
            return error::FileNotFound;
        }
        const std::wstring fault = place.isLocal ? StateDirectoryFault() : std::wstring();
        if (!fault.empty()) return Fail(error::AccessDenied, L"%1", ToUtf8(fault));
        std::erase_if(_files, [](const auto& entry) { return entry.second->database->IsStale(); });
        if (mode == OpenMode::CreateIfMissing && place.isLocal && EnsureStateDirectory().empty()) {
            return error::AccessDenied;
        }
        const DWORD code = File::Open(path, mode, file);
        if (code == error::Success) _files.emplace(directory, file);
        return code;
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
    const std::string _fileName;
    std::mutex _mutex;
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
