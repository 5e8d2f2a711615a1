#pragma once

#include <platform/base/types.h>

#include <cstddef>
#include <span>
#include <vector>

/// The order in which exchanging leaves a row of entries: for each place from the first on, whenever an entry behind it
/// is strictly earlier than the one in that place, the two are exchanged. At each place of the result, where in the row
/// its entry stood. Ascending by time; what equal times end up in is neither the row's order nor its reverse, and jobs
/// of one minute run in it.
std::vector<std::size_t> ExchangeOrder(std::span<const TimeValue> times);
