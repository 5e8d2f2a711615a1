#pragma once

#include <platform/base/error_codes.h>
#include <platform/base/export.h>

#include <string>
#include <string_view>

struct sqlite3;

namespace platform {

/// Keeps the code and the words for Database::LastMessage, with `path` in place of "%1" and `detail` in place of "%2",
/// and returns the code.
PLATFORM_API DWORD Fail(DWORD code, const wchar_t* message, const std::string& path, std::string_view detail = {});

/// The code for an errno value.
DWORD CodeOfErrno(int number, DWORD otherwise = error::GeneralFailure);

/// Fail with the code and the detail of an errno value.
DWORD FailErrno(int number, const wchar_t* message, const std::string& path);

/// The same with those of an SQLite result; `connection` has the detail and may be null. The caller has cleared errno
/// before the call that failed.
DWORD FailSqlite(int status, sqlite3* connection, const wchar_t* message, const std::string& path);

struct Failure {
    DWORD code = error::Success;
    std::wstring words;
};

/// What was kept last by the calling thread.
const Failure& LastFailure();
/// Puts back what a clean-up may have replaced.
void KeepFailure(const Failure& failure);
/// Gives the words kept last another code, and returns it.
DWORD FailAs(DWORD code);

}  // namespace platform
