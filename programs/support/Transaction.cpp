#include <programs/support/Transaction.h>

#include <platform/base/error_codes.h>
#include <programs/support/ExitCode.h>

#include <exception>

namespace programs {

DWORD RunTransaction(const Transactor& transact, const std::function<void()>& steps) {
    std::exception_ptr problem;
    const DWORD code = transact([&]() -> DWORD {
        problem = nullptr;  // an engine may have to run them again
        try {
            steps();
            return platform::error::Success;
        } catch (...) {  // those who run it need not let exceptions through
            problem = std::current_exception();
            return platform::error::GeneralFailure;
        }
    });
    if (problem) std::rethrow_exception(problem);
    return code;
}

void RunTransaction(const std::string& what, const Transactor& transact, const std::function<void()>& steps) {
    if (const DWORD code = RunTransaction(transact, steps)) throw Refusal(what, code);
}

}  // namespace programs
