#include <platform/store/failures.h>

#include <platform/base/text.h>
#include <sqlite3.h>

#include <cerrno>
#include <system_error>

namespace platform {

namespace {

// Databases that statics hold are closed when what is thread_local has gone already: then a spare one serves.
Failure& KeptFailure() {
    thread_local bool hasGone = false;
    struct Kept {
        ~Kept() { hasGone = true; }
        Failure failure;
    };
    thread_local Kept kept;
    static Failure& spare = *new Failure;
    return hasGone ? spare : kept.failure;
}

void Replace(std::wstring& text, std::wstring_view mark, const std::wstring& value) {
    if (const std::size_t at = text.find(mark); at != std::wstring::npos) text.replace(at, mark.size(), value);
}

DWORD FromSqlite(int status, int number) {
    if (status == SQLITE_READONLY_DBMOVED) return error::FileInvalid;
    if (status == SQLITE_CONSTRAINT_UNIQUE || status == SQLITE_CONSTRAINT_PRIMARYKEY) return error::AlreadyExists;
    switch (status & 0xFF) {
        case SQLITE_OK:
        case SQLITE_ROW:
        case SQLITE_DONE: return error::Success;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:  // SQLite itself has waited some ten seconds by then
        case SQLITE_SCHEMA: return error::Busy;
        case SQLITE_FULL: return error::DiskFull;
        case SQLITE_IOERR: return CodeOfErrno(number == ENOENT ? 0 : number, error::IoDevice);
        case SQLITE_CANTOPEN: return CodeOfErrno(number, error::CannotOpenDatabase);
        case SQLITE_READONLY:
        case SQLITE_PERM:
        case SQLITE_AUTH: return error::AccessDenied;
        case SQLITE_CORRUPT: return error::FileCorrupt;
        case SQLITE_NOTADB:
        case SQLITE_FORMAT: return error::BadDatabase;
        case SQLITE_NOMEM: return error::NotEnoughMemory;
        case SQLITE_CONSTRAINT: return error::InvalidData;
        case SQLITE_TOOBIG:
        case SQLITE_MISMATCH:
        case SQLITE_RANGE: return error::InvalidParameter;
        default: return error::GeneralFailure;
    }
}

const char* Explain(int status) {
    switch (status) {
        case SQLITE_CANTOPEN_SYMLINK: return "it is a symbolic link";
        case SQLITE_READONLY_CANTINIT:
        case SQLITE_READONLY_RECOVERY:
        case SQLITE_READONLY_DIRECTORY: return "its directory cannot be written, which reading needs, too";
        case SQLITE_PROTOCOL: return "other programs are locking it too often; try again";
        default: return nullptr;
    }
}

}  // namespace

DWORD CodeOfErrno(int number, DWORD otherwise) {
    switch (number) {
        case ENOENT:
        case ENOTDIR: return error::FileNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
        case ELOOP:  // a symbolic link where none may be
            return error::AccessDenied;
        case ENOSPC:
        case EDQUOT:
        case EFBIG: return error::DiskFull;
        case ENOMEM: return error::NotEnoughMemory;
        case EIO:
        case ENXIO:
        case ENODEV: return error::IoDevice;
        case EEXIST:
        case ENOTEMPTY: return error::AlreadyExists;
        default: return otherwise;
    }
}

DWORD Fail(DWORD code, const wchar_t* message, const std::string& path, std::string_view detail) {
    std::wstring text = message;
    Replace(text, L"%2", FromUtf8(detail));
    Replace(text, L"%1", path.empty() ? L"in memory" : FromUtf8(path));
    KeptFailure() = {code, std::move(text)};
    return code;
}

DWORD FailErrno(int number, const wchar_t* message, const std::string& path) {
    return Fail(CodeOfErrno(number), message, path, std::generic_category().message(number));
}

DWORD FailSqlite(int status, sqlite3* connection, const wchar_t* message, const std::string& path) {
    int number = connection ? sqlite3_system_errno(connection) : 0;
    if (!number) number = errno;  // a commit that fails does not keep it
    std::string detail = connection ? sqlite3_errmsg(connection) : sqlite3_errstr(status);
    const char* const explained = Explain(status);
    if (explained) detail = explained;
    const DWORD code = FromSqlite(status, number);
    if (!explained && (code == error::DiskFull || code == error::AccessDenied || code == error::IoDevice) && number) {
        detail += " (" + std::generic_category().message(number) + ")";
    }
    return Fail(code, message, path, detail);
}

const Failure& LastFailure() {
    return KeptFailure();
}

void KeepFailure(const Failure& failure) {
    KeptFailure() = failure;
}

DWORD FailAs(DWORD code) {
    return KeptFailure().code = code;
}

}  // namespace platform
