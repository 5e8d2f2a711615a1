#include <programs/support/ExitCode.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/store/Database.h>
#include <platform/system/messages.h>

namespace error = platform::error;

namespace programs {

ExitCode ExitCodeOf(DWORD code) {
    switch (code) {
        case error::Success: return ExitCode::Done;
        case error::FileNotFound:
        case error::KeyDeleted:
        case error::ClusterNodeNotFound:
        case error::GroupNotFound:
        case error::ResourceNotFound:
        case error::ClusterNetworkNotFound:
        case error::ClusterNetInterfaceNotFound:
        case error::ResourceTypeNotFound: return ExitCode::NoSuchObject;
        case error::AlreadyExists:
        case error::FileExists:
        case error::ObjectAlreadyExists:
        case error::ClusterNodeExists:
        case error::ClusterNetworkExists: return ExitCode::AlreadyExists;
        case error::IoPending:
        case error::OutcomeUnknown: return ExitCode::NotSettled;
        case error::BadNetworkPath:
        case error::IoDevice:
        case error::FileInvalid:
        case error::FileCorrupt:
        case error::BadDatabase:
        case error::CannotOpenDatabase: return ExitCode::Unreachable;
        default: return ExitCode::Refused;
    }
}

std::string CauseText(DWORD code) {
    std::wstring text;
    platform::MessageText(nullptr, code, text);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r')) text.pop_back();
    const std::string number = "code " + std::to_string(code);
    const std::string cause = text.empty() ? number : platform::ToUtf8(text) + " (" + number + ")";
    const std::wstring words = platform::Database::LastMessage(code);
    return words.empty() ? cause : cause + " " + platform::ToUtf8(words);
}

CommandError Refusal(const std::string& what, DWORD code) {
    const DWORD cause = code ? code : DWORD{error::GeneralFailure};  // a failure whose cause was not told is still one
    const char* doubt = cause == error::OutcomeUnknown ? ", or perhaps all the same; look before you go on" : "";
    return CommandError(ExitCodeOf(cause), what + doubt + ": " + CauseText(cause));
}

}  // namespace programs
