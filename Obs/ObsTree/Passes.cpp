// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Passes.h"

#include <algorithm>
#include <bit>
#include <span>
#include <utility>

#include "Obs/ObsTree/RadixSort.h"
#include "Obs/ObsTree/Store.h"

namespace obs {

namespace {

constexpr double kLeastGapDays = 10.0 / 1440;
constexpr double kMedianSteps = 5;

/// The median of an even number of steps is the mean of the middle two. @param steps is room that is used again
double medianStep(std::span<const double> times, std::vector<double>& steps) {
    steps.clear();
    for (std::size_t i = 1; i < times.size(); ++i) steps.push_back(times[i] - times[i - 1]);
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    if (steps.size() % 2 != 0) return *middle;
    return (*middle + *std::max_element(steps.begin(), middle)) / 2;
}

/// The gap that ends a pass, of times in ascending order; the longest gap where that does not.
double gapBetweenPasses(std::span<const double> times, std::vector<double>& steps) {
    double longest = 0;
    for (std::size_t i = 1; i < times.size(); ++i) longest = std::max(longest, times[i] - times[i - 1]);
    return longest > kLeastGapDays ? std::max(kLeastGapDays, kMedianSteps * medianStep(times, steps)) : longest;
}

void tellPasses(std::int32_t satNum, std::int32_t senNum, std::span<const double> times, double gap,
                const std::function<void(const Pass&)>& use) {
    Pass pass{satNum, senNum, 0, times.front(), times.front()};
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

}  // namespace

/// By satellite and sensor, and else as they came.
void PassFinder::takeSorted(const Part& part, std::vector<Run>& runs) {
    part.runs.copyTo(runs);
    // Negative numbers come first. Bits of the sensor that all share would be sorted for nothing.
    constexpr std::uint32_t kSign = 0x80000000;
    const auto bitsOf = [](std::int32_t number) { return static_cast<std::uint32_t>(number) ^ kSign; };
    std::uint32_t varying = 0, first = 0;
    for (Run& run : runs) {
        varying |= bitsOf(run.senNum) ^ bitsOf(runs.front().senNum);
        run.first = std::exchange(first, first + run.count);
    }
    const auto width = static_cast<unsigned>(std::bit_width(varying));
    const std::uint64_t mask = (std::uint64_t{1} << width) - 1;
    radixSort(runs,
              [=](const Run& run) { return std::uint64_t{bitsOf(run.satNum)} << width | (bitsOf(run.senNum) & mask); });
}

void PassFinder::passes(const std::function<void(const Pass&)>& use) const {
    std::vector<Run> runs;
    std::vector<double> all, several, steps;
    for (const Part& part : parts_) {
        takeSorted(part, runs);
        part.times.copyTo(all);
        for (auto from = runs.cbegin(), to = from; from != runs.cend(); from = to) {
            std::span<double> times(all.data() + from->first, from->count);
            for (++to; to != runs.cend() && to->satNum == from->satNum && to->senNum == from->senNum; ++to) {
                if (to == from + 1) several.assign(times.begin(), times.end());
                several.insert(several.end(), all.data() + to->first, all.data() + to->first + to->count);
            }
            if (to - from > 1) times = several;
            if (!std::is_sorted(times.begin(), times.end())) std::sort(times.begin(), times.end());
            tellPasses(from->satNum, from->senNum, times, gapBetweenPasses(times, steps), use);
        }
    }
}

PassFinder storedSightings() {
    const ReadGuard guard;
    PassFinder finder;
    gStore.pools.scanRecords([&](SlotNumber slot) {
        const StoredRecord& rec = gStore.pools.record(slot);
        finder.add(rec.satNum, rec.senNum, rec.obsTime);
    });
    return finder;
}

}  // namespace obs
