#pragma once

#include <platform/base/types.h>

#include <stdexcept>
#include <string>

namespace programs {

/// How the programs end, the same everywhere. Not settled is also what was changed, or may have been, and cannot be
/// read now.
enum class ExitCode : int {
    Done = 0,
    Refused = 1,
    Usage = 2,
    NoSuchObject = 3,
    AlreadyExists = 4,
    NotSettled = 5,
    Unreachable = 6,
};

/// Ends a command. The text says what went wrong and, where there is one, what to do next.
class CommandError : public std::runtime_error {
public:
    CommandError(ExitCode exitCode, const std::string& text) : std::runtime_error(text), _exitCode(exitCode) {}
    ExitCode Code() const { return _exitCode; }

private:
    ExitCode _exitCode;
};

/// The exit code for a result code of the cluster or the registry.
ExitCode ExitCodeOf(DWORD code);

/// A result code's text in one line, with the code: "Access is denied. (code 5)".
std::string CauseText(DWORD code);

/// A CommandError of a refused call: "WHAT: cause". Where the outcome is unknown it says that WHAT may be wrong.
CommandError Refusal(const std::string& what, DWORD code);

}  // namespace programs
