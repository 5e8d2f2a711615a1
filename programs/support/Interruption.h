#pragma once

#include <csignal>

namespace programs {

/// Lets a command that follows something end in good order at SIGINT or SIGTERM, for as long as this object lives.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();
    bool HasCome() const;

private:
    struct sigaction _interrupt {};
    struct sigaction _terminate {};
};

}  // namespace programs
