#include <ostra/scheduler/ExchangeOrder.h>

#include <algorithm>
#include <bit>
#include <numeric>

// Exchanging takes a number of steps that grows with the square of the row's length. The same order comes of less:
//
// Each pass holds an entry in its place and lets the rest of the row stream by. It takes an entry that is strictly
// earlier and passes the one held on, into the stream that the next pass sees; else it passes the entry itself on.
// Letting the row's entries run through all passes one by one, instead of letting the passes run one by one, changes
// nothing. So each entry meets what came before it already in order. It settles behind the entries of its own time. The
// entry that it displaces, the first of the next later time, is carried past all entries of that time, since none of
// them is strictly later, and displaces the first of the time after that, and so on. Hence:
//
//     An entry that arrives is put at the end of its own group of equal times, and in every group of a later time the
//     first entry moves to the end.
//
// A group is thus a wheel that turns by one for each earlier entry that arrives. How far it turned between two arrivals
// of its own can be counted, and the turns be undone from the last arrival back to the first.

namespace {

/// A row of counters that answers in logarithmic time.
class Counters {
public:
    explicit Counters(std::size_t size) : _sums(size + 1) {}

    void Add(std::size_t place, int amount) {
        for (++place; place < _sums.size(); place += LowestBit(place)) _sums[place] += static_cast<std::size_t>(amount);
    }

    std::size_t SumBefore(std::size_t place) const {
        std::size_t sum = 0;
        for (; place > 0; place -= LowestBit(place)) sum += _sums[place];
        return sum;
    }

    /// The first place whose counter, with all before it, exceeds `sum`.
    std::size_t Exceeding(std::size_t sum) const {
        std::size_t place = 0;
        for (std::size_t step = std::bit_floor(_sums.size() - 1); step > 0; step /= 2) {
            if (place + step >= _sums.size() || _sums[place + step] > sum) continue;
            place += step;
            sum -= _sums[place];
        }
        return place;
    }

private:
    static std::size_t LowestBit(std::size_t place) { return place & (~place + 1); }

    std::vector<std::size_t> _sums;  // at i, the sum of the LowestBit(i) counters that end at place i - 1
};

/// A group of equal times within a sorted row.
struct Group {
    std::size_t start;
    std::size_t size;
};

std::vector<Group> GroupsOf(std::span<const TimeValue> times, std::span<const std::size_t> sorted) {
    std::vector<Group> groups;
    for (std::size_t place = 0; place < sorted.size(); ++place) {
        if (place == 0 || times[sorted[place]] != times[sorted[place - 1]]) groups.push_back({place, 0});
        ++groups.back().size;
    }
    return groups;
}

/// For each entry of the row, how many before it are strictly earlier.
std::vector<std::size_t> EarlierArrivals(std::span<const std::size_t> sorted, std::span<const Group> groups) {
    std::vector<std::size_t> groupStart(sorted.size());
    for (const Group& group : groups)
        for (const std::size_t entry : sorted.subspan(group.start, group.size)) groupStart[entry] = group.start;
    std::vector<std::size_t> earlier;
    earlier.reserve(sorted.size());
    Counters arrived(sorted.size());
    for (const std::size_t start : groupStart) {
        earlier.push_back(arrived.SumBefore(start));
        arrived.Add(start, 1);
    }
    return earlier;
}

/// Turns a group, given in the order of arrival, into its final order; `allEarlier` entries of the row are earlier.
void Turn(std::span<std::size_t> group, std::span<const std::size_t> earlier, std::size_t allEarlier) {
    const std::vector<std::size_t> arrivals(group.begin(), group.end());
    Counters free(group.size());
    for (std::size_t place = 0; place < group.size(); ++place) free.Add(place, 1);
    std::size_t first = 0;  // where, among the places still free, the group began at that time
    for (std::size_t size = group.size(), seen = allEarlier; size > 0; --size) {
        const std::size_t arrival = arrivals[size - 1];
        const std::size_t turns = (seen - earlier[arrival]) % size;
        seen = earlier[arrival];
        first = (first + size - turns) % size;
        const std::size_t place = free.Exceeding((first + size - 1) % size);  // the end, where it arrived
        group[place] = arrival;
        free.Add(place, -1);
        if (first > 0) --first;  // the end lay right before it
    }
}

}  // namespace

std::vector<std::size_t> ExchangeOrder(std::span<const TimeValue> times) {
    std::vector<std::size_t> order(times.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t left, std::size_t right) { return times[left] < times[right]; });
    const std::vector<Group> groups = GroupsOf(times, order);
    const std::vector<std::size_t> earlier = EarlierArrivals(order, groups);
    for (const Group& group : groups)
        if (group.size > 1) Turn(std::span(order).subspan(group.start, group.size), earlier, group.start);
    return order;
}
