#include <programs/support/Reading.h>

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <programs/support/ExitCode.h>

namespace error = platform::error;

namespace programs {

bool IsReadFailure(DWORD code) {
    switch (code) {
        case error::MoreData:  // asked again with more room
        case error::NoMoreItems:
        case error::IoPending:
        case error::ResourceNotAvailable: return false;  // a disk resource without its disk
        default: return ExitCodeOf(code) != ExitCode::NoSuchObject;
    }
}

void RequireRead(const std::string& what, const std::function<void()>& read) {
    const platform::FailureWatch watch(IsReadFailure);
    read();
    if (const DWORD code = watch.First()) throw Refusal(what + " cannot be read", code);
}

}  // namespace programs
