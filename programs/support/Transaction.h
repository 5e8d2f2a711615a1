#pragma once

#include <platform/base/types.h>

#include <functional>
#include <string>

namespace programs {

/// Runs its argument as one transaction and answers the code of that, or its own.
using Transactor = std::function<DWORD(const std::function<DWORD()>&)>;

/// Runs `steps` as one transaction: nobody else sees or makes a change in between. What they throw undoes all of it and
/// goes on to the caller; the result is the code of a transaction that was refused, or 0.
DWORD RunTransaction(const Transactor& transact, const std::function<void()>& steps);

/// The same; a transaction that is refused ends the command with "WHAT: cause".
void RunTransaction(const std::string& what, const Transactor& transact, const std::function<void()>& steps);

}  // namespace programs
