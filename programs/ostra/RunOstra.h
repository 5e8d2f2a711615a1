#pragma once

#include <programs/support/Context.h>

#include <string>
#include <vector>

namespace programs {

/// Runs `ostra` with these arguments (without the program's name) and returns its exit code. Never throws.
int RunOstra(const std::vector<std::string>& arguments, const Streams& streams);

}  // namespace programs
