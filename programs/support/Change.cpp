#include <programs/support/Change.h>

#include <platform/base/error_codes.h>
#include <platform/base/last_error.h>
#include <platform/system/registry.h>
#include <programs/support/Reading.h>

namespace error = platform::error;

namespace programs {

void Change::Make(const std::function<void()>& steps) const {
    MakeJudged([&] { RunWhole(steps); });
}

void Change::MakeJudged(const std::function<void()>& steps) const {
    Run([this](const auto& body) { return _context.Service().Transact(body); }, steps);
}

void Change::MakeInRegistry(const std::function<void()>& steps) const {
    Run(platform::TransactRegistry, [&] { RunWhole(steps); });
}

void Change::RunWhole(const std::function<void()>& steps) const {
    const platform::FailureWatch watch(IsReadFailure);
    steps();
    if (watch.First()) Refuse(watch.First());
}

void Change::Run(const Transactor& transact, const std::function<void()>& steps) const {
    if (const DWORD code = RunTransaction(transact, steps)) Refuse(code);
}

void Change::Refuse(DWORD code, const std::string& detail) const {
    RequireKnown(code);
    throw Refusal(_subject + " was not " + _verb + detail, code);
}

void Change::RequireKnown(DWORD code) const {
    if (code != error::OutcomeUnknown) return;
    throw CommandError(ExitCode::NotSettled, "It is not known whether " + _subject + " was " + _verb + ": " +
                                                 CauseText(code) + " Look with: " + _look);
}

void Change::Report(const std::function<void()>& read) const {
    try {
        RequireRead("what is now", read);
    } catch (const CommandError& problem) {
        throw CommandError(ExitCode::NotSettled,
                           _subject + " was " + _verb + ", but " + problem.what() + " Look with: " + _look);
    }
}

void Change::ReportAfter(DWORD cause, const std::function<void()>& read) const {
    if (IsRefusal(cause))
        read();
    else
        Report(read);
}

bool Change::IsRefusal(DWORD cause) {
    return cause && cause != error::IoPending;
}

}  // namespace programs
