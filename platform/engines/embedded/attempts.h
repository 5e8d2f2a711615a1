#pragma once

#include <platform/engines/embedded/ClusterStore.h>

#include <cstdint>

namespace platform::embedded {

// How often a resource was restarted, or a group failed over, within a period that begins with the first of these
// times. Kept in the object's key, as two numbers whatever happens, so that every process counts on. Inside Write.

/// Counts one more of at most `threshold` attempts within `period` milliseconds. `number` is which it is, from 1; 0,
/// and nothing is counted, when they are used up.
DWORD CountAttempt(ClusterStore& store, ObjectId object, DWORD threshold, std::int64_t period, DWORD& number);

/// From now on the object has all its attempts again.
DWORD ForgetAttempts(ClusterStore& store, ObjectId object);

}  // namespace platform::embedded
