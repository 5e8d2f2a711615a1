#pragma once

#include <platform/base/types.h>

#include <compare>
#include <functional>
#include <string>

// The folders of clusters, `clusters/NAME/` in the state directory. Each holds `cluster.json`,
//     {"engine": "embedded", "name": "NAME", "format": 1}
// and whatever its engine keeps beside it. Names that begin with a dot are those of folders being made or removed.
namespace platform {

/// Tells one `cluster.json` from another that was made later in its place.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    auto operator<=>(const FileStamp&) const = default;
};

struct ClusterFolder {
    std::string path;
    std::wstring engine;
    FileStamp stamp;
};

/// Whether a cluster can have that name: that of a file which is not hidden, of at most 60 characters.
bool IsClusterName(const std::wstring& name);
/// The same for a name that is given now: of characters that people see and tell apart.
bool IsNewClusterName(const std::wstring& name);

/// The names of all folders with a `cluster.json`, in no order.
StringArray ClusterFolderNames();

/// The folder of a cluster. FileNotFound without one, AccessDenied for another user's and for a state directory that
/// cannot be used, FileCorrupt for a `cluster.json` that is none, NotSupported for one of a later format.
DWORD FindClusterFolder(const std::wstring& name, ClusterFolder& folder);

/// Makes a folder that appears under its name only when `fill`, given its path so far, has answered Success. `fill`
/// leaves nothing open in it. AlreadyExists when there is one of that name.
DWORD MakeClusterFolder(const std::wstring& name, const std::wstring& engine,
                        const std::function<DWORD(const std::string& directory)>& fill);

/// Removes a folder: from its name at once, then with all it holds.
DWORD RemoveClusterFolder(const std::wstring& name);

}  // namespace platform
