#include <programs/ostra/RunOstra.h>

#include <unistd.h>

#include <csignal>
#include <iostream>

int main(int argc, char** argv) {
    using namespace programs;
    // Both show as the failure of the write, which says more than a death.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const Streams streams{std::cin,
                          std::cout,
                          std::cerr,
                          IsTerminal(STDIN_FILENO) && IsTerminal(STDERR_FILENO),
                          ColoursAreWelcome(STDOUT_FILENO),
                          ObeysEscapes(STDERR_FILENO)};
    return RunOstra(std::vector<std::string>(argv + 1, argv + argc), streams);
}
