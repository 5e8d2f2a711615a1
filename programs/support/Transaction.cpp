#include <programs/support/Transaction.h>

#include <platform/base/error_codes.h>
#include <programs/support/ExitCode.h>

#include <exception>

namespace programs {

void RunTransaction(const std::string& what, const Transactor& transact, const std::function<void()>& steps) {
    std::exception_ptr problem;
    const DWORD code = transact([&]() -> DWORD {
        try {
            steps();
            return platform::error::Success;
        } catch (...) {  // those who run it need not let exceptions through
            problem = std::current_exception();
            return platform::error::GeneralFailure;
        }
    });
    if (problem) std::rethrow_exception(problem);
    if (code) throw Refusal(what, code);
}

}  // namespace programs
