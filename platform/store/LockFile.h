#pragma once

#include <platform/base/types.h>

#include <chrono>
#include <string>

namespace platform {

/// How long to wait before asking again for what others hold. Random, so that those who wait do not meet, and not
/// growing, so that one who has waited long does not wait longer than one who has just come.
std::chrono::microseconds RandomPause();

/// The file beside a database that its writers and checkpointers lock. It also remembers which database file it stands
/// beside, because a database that was put in place of another while the old one's write-ahead log stayed would be read
/// as a mixture of both, and nothing in SQLite notices.
class LockFile {
public:
    LockFile() = default;
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    /// Opens or makes the file. Answers a code of platform::error.
    DWORD Open(const std::string& databasePath);

    /// Waits for the lock, at most so many milliseconds: Timeout. Between processes and between objects of one.
    DWORD Take(DWORD timeout);
    void Release();

    /// Whether the database file is another than the one remembered, although this lock file stayed in its place.
    bool IsBesideAnotherFile() const;
    bool RemembersFile() const;
    /// Remembers the database file as it is now, or forgets it for the time of a change to what it is. The lock must be
    /// held: whoever opens a file that is not remembered waits for it.
    void RememberFile();
    void ForgetFile();

    /// Forgets the descriptor without closing it: it is the parent process's.
    void Abandon() { _descriptor = -1; }

private:
    DWORD OpenDescriptor();
    std::string ReadRecord() const;

    std::string _databasePath;
    std::string _path;
    int _descriptor = -1;
    bool _held = false;
};

}  // namespace platform
