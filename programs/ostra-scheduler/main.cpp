#include <programs/ostra/RunOstra.h>

#include <unistd.h>

#include <iostream>

// The same as "ostra schedule run", under the name by which service managers know it.
int main(int argc, char** argv) {
    using namespace programs;
    const Streams streams{std::cin, std::cout, std::cerr, false, ColoursAreWelcome(STDOUT_FILENO), false};
    std::vector<std::string> arguments{"schedule", "run"};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    return RunOstra(arguments, streams);
}
