#pragma once

#include <functional>
#include <string>

namespace programs {

/// Runs the scheduler in this process until a signal asks it to stop, or, with `isOnce`, until nothing is due any more;
/// `say` gets a line for each thing that it reports. Ends the command when another scheduler is running or the state
/// directory cannot be read and, with `isOnce`, when a cluster's jobs could not be read or what was due not be done.
void RunScheduler(bool isOnce, std::function<void(const std::string&)> say);

}  // namespace programs
