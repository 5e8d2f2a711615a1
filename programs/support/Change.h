#pragma once

#include <platform/base/types.h>
#include <programs/support/Context.h>
#include <programs/support/Transaction.h>

#include <functional>
#include <string>

namespace programs {

/// One change that a command makes, and how its end is told: made, not made, made but not to be read, or not known to
/// be made.
class Change {
public:
    /// In words: "Group Files" was, or was not, "renamed"; `look` is the command that shows what is.
    Change(Context& context, std::string subject, std::string verb, std::string look)
        : _context(context), _subject(std::move(subject)), _verb(std::move(verb)), _look(std::move(look)) {}

    // Run `steps` as one transaction, of the cluster or of this machine's registry: nobody else sees or makes a change
    // in between. What they throw undoes all of it and goes on to the caller; and so does anything that could not be
    // read or written, which the library often keeps to itself.
    void Make(const std::function<void()>& steps) const;
    void MakeInRegistry(const std::function<void()>& steps) const;
    /// The same on the cluster for steps that judge by themselves which failures undo them.
    void MakeJudged(const std::function<void()>& steps) const;

    /// Ends the command because the change was refused with `code`; `detail` follows what was not done. After
    /// error::OutcomeUnknown it says that, and how to look.
    [[noreturn]] void Refuse(DWORD code, const std::string& detail = {}) const;
    /// Does nothing but after error::OutcomeUnknown.
    void RequireKnown(DWORD code) const;

    /// Reads what the change has brought about. It is done: what cannot be read now is not told as its failure.
    void Report(const std::function<void()>& read) const;
    /// The same after a request that ended with `cause`, 0 or IoPending once it was accepted. After a refusal nothing
    /// was changed, and what cannot be read is told as that.
    void ReportAfter(DWORD cause, const std::function<void()>& read) const;
    static bool IsRefusal(DWORD cause);

private:
    void RunWhole(const std::function<void()>& steps) const;
    void Run(const Transactor& transact, const std::function<void()>& steps) const;

    Context& _context;
    std::string _subject;
    std::string _verb;
    std::string _look;
};

}  // namespace programs
