#pragma once

#include <platform/base/types.h>

#include <memory>
#include <string>

namespace platform {

/// Tells that an instance of some pipe has become free: its file gets its name then. To begin one is cheap, to end
/// one takes the system milliseconds: they are kept for the next who waits.
class PipeWatch {
public:
    /// One that nobody else uses until it is given back.
    static std::unique_ptr<PipeWatch> Take();
    static void GiveBack(std::unique_ptr<PipeWatch> watch);

    PipeWatch() = default;
    ~PipeWatch();
    PipeWatch(const PipeWatch&) = delete;
    PipeWatch& operator=(const PipeWatch&) = delete;

    /// Watches the folder of the pipes: what happens from now on ends the next Await.
    void Begin(const std::string& folder);
    /// False when nothing happened for so many milliseconds. Without a folder that can be watched it is a short nap,
    /// after which there may be something to see.
    bool Await(DWORD milliseconds);

private:
    void Forget();

    int _descriptor = -1;
    int _watched = -1;
    int _process = 0;  // whose it is: a child would take its parent's notices
};

}  // namespace platform
