#pragma once

namespace programs {

/// Held by the one scheduler of a state directory for as long as this object lives; the system lets go of it when the
/// process dies, however that may be.
class InstanceLock {
public:
    /// Ends the command when another scheduler holds it.
    InstanceLock();
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

private:
    int _file;
};

}  // namespace programs
