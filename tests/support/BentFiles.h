#pragma once

#include <sqlite3.h>

#include <functional>
#include <map>

namespace tests {

/// SQLite's file layer, with something of the test's done before some of its calls, in the databases opened while the
/// object lives.
class BentFiles {
public:
    BentFiles() {
        layer = *system;
        layer.zName = "bent";
        layer.xOpen = &Open;
        sqlite3_vfs_register(&layer, 1);
    }
    ~BentFiles() {
        beforeOpen = nullptr;
        beforeSync = nullptr;
        beforeRead = nullptr;
        beforeUnfetch = nullptr;
        sqlite3_vfs_unregister(&layer);
    }
    BentFiles(const BentFiles&) = delete;
    BentFiles& operator=(const BentFiles&) = delete;

    static inline std::function<void()> beforeOpen;  // of a database, not of what SQLite keeps beside it
    static inline std::function<int()> beforeSync;   // a failure that it answers is the sync's
    static inline std::function<int()> beforeRead;   // and so for reads
    static inline std::function<void()> beforeUnfetch;

private:
    struct Methods {
        sqlite3_io_methods bent;
        const sqlite3_io_methods* original;
    };

    static const sqlite3_io_methods& Original(sqlite3_file* file) {
        return *reinterpret_cast<const Methods*>(file->pMethods)->original;
    }
    static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* answered) {
        static std::map<const sqlite3_io_methods*, Methods> known;
        if (beforeOpen && (flags & SQLITE_OPEN_MAIN_DB)) beforeOpen();
        const int status = system->xOpen(system, name, file, flags, answered);
        if (status != SQLITE_OK || !file->pMethods) return status;
        Methods& methods = known[file->pMethods];
        methods = {*file->pMethods, file->pMethods};
        methods.bent.xSync = &Sync;
        methods.bent.xRead = &Read;
        if (methods.bent.iVersion > 2) methods.bent.xUnfetch = &Unfetch;
        file->pMethods = &methods.bent;
        return status;
    }
    static int Sync(sqlite3_file* file, int flags) {
        const int failure = beforeSync ? beforeSync() : SQLITE_OK;
        return failure ? failure : Original(file).xSync(file, flags);
    }
    static int Read(sqlite3_file* file, void* bytes, int size, sqlite3_int64 at) {
        const int failure = beforeRead ? beforeRead() : SQLITE_OK;
        return failure ? failure : Original(file).xRead(file, bytes, size, at);
    }
    static int Unfetch(sqlite3_file* file, sqlite3_int64 at, void* page) {
        if (beforeUnfetch) beforeUnfetch();
        return Original(file).xUnfetch(file, at, page);
    }

    static inline sqlite3_vfs* const system = sqlite3_vfs_find("unix");
    static inline sqlite3_vfs layer;
};

}  // namespace tests
