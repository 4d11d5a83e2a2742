// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Passes.h"

#include <algorithm>
#include <bit>

#include "Obs/ObsTree/RadixSort.h"
#include "Obs/ObsTree/Store.h"

namespace obs {

namespace {

constexpr double kLeastGapDays = 10.0 / 1440;
constexpr double kMedianSteps = 5;

/// Runs are asked for that many before their turn: in the order of satellites their times lie anywhere.
constexpr std::ptrdiff_t kAhead = 16;

/// The gap that ends a pass, of times in ascending order. The median of an even number of steps is the mean of the
/// middle two. @param steps is room that is used again
double gapBetweenPasses(std::span<const double> times, std::vector<double>& steps) {
    steps.clear();
    bool isAnyLong = false;
    for (std::size_t i = 1; i < times.size(); ++i) {
        steps.push_back(times[i] - times[i - 1]);
        isAnyLong = isAnyLong || steps.back() > kLeastGapDays;
    }
    if (!isAnyLong) return kLeastGapDays;  // so that none ends a pass, whatever the median
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    double median = *middle;
    if (steps.size() % 2 == 0) median = (median + *std::max_element(steps.begin(), middle)) / 2;
    return std::max(kLeastGapDays, kMedianSteps * median);
}

}  // namespace

void PassFinder::passes(const std::function<void(const Pass&)>& use) {
    // Bits of the sensor that all share would be sorted for nothing.
    std::uint32_t varying = 0;
    for (const Run& run : runs_) varying |= static_cast<std::uint32_t>(run.code ^ runs_.front().code);
    const auto width = static_cast<unsigned>(std::bit_width(varying));
    const std::uint64_t mask = (std::uint64_t{1} << width) - 1;
    radixSort(runs_, [=](const Run& run) { return run.code >> 32 << width | (run.code & mask); });
    std::vector<double> several, steps;
    for (auto from = runs_.cbegin(), to = from; from != runs_.cend(); from = to) {
        while (to != runs_.cend() && to->code == from->code) ++to;
        std::span<double> times(times_.data() + from->first, from->count);
        if (to - from > 1) {
            several.clear();
            for (auto run = from; run != to; ++run) {
                if (runs_.cend() - run > kAhead) __builtin_prefetch(times_.data() + run[kAhead].first);
                for (std::uint32_t i = 0; i < run->count; ++i) several.push_back(times_[run->first + i]);
            }
            times = several;
        }
        if (!std::is_sorted(times.begin(), times.end())) std::sort(times.begin(), times.end());
        const double gap = gapBetweenPasses(times, steps);
        Pass pass{numberOf(from->code >> 32), numberOf(from->code), 0, times.front(), times.front()};
        for (const double time : times) {
            if (time - pass.last > gap) {
                use(pass);
                pass.observations = 0;
                pass.first = time;
            }
            pass.last = time;
            ++pass.observations;
        }
        use(pass);
    }
}

PassFinder storedSightings() {
    const ReadGuard guard;
    PassFinder finder(gStore.tree.size());
    gStore.pools.scan([&](SlotNumber slot) {
        const StoredRecord& rec = gStore.pools.record(slot);
        finder.add(rec.satNum, rec.senNum, rec.obsTime);
    });
    return finder;
}

}  // namespace obs
