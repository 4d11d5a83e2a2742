// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Passes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "Obs/ObsTree/RadixSort.h"
#include "Obs/ObsTree/Store.h"

namespace obs {

namespace {

constexpr double kLeastGapDays = 10.0 / 1440;
constexpr double kMedianSteps = 5;

/// The gap that ends a pass, of times in ascending order. The median of an even number of steps is the mean of the
/// middle two. @param steps is room that is used again
double gapBetweenPasses(const double* from, const double* end, std::vector<double>& steps) {
    steps.clear();
    for (const double* next = from + 1; next < end; ++next) steps.push_back(*next - *(next - 1));
    // Mostly no step is long enough to end a pass, whatever the median.
    if (std::all_of(steps.begin(), steps.end(), [](double step) { return step <= kLeastGapDays; }))
        return kLeastGapDays;
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    double median = *middle;
    if (steps.size() % 2 == 0) median = (median + *std::max_element(steps.begin(), middle)) / 2;
    return std::max(kLeastGapDays, kMedianSteps * median);
}

/// The passes of one pair, whose times are in ascending order.
void addPasses(const PassFinder::Pair& pair, const double* from, const double* end, std::vector<double>& steps,
               std::vector<Pass>& passes) {
    const double gap = gapBetweenPasses(from, end, steps);
    for (const double* time = from; time != end; ++time) {
        if (time == from || *time - passes.back().last > gap)
            passes.push_back({pair.satNum, pair.senNum, 0, *time, *time});
        passes.back().last = *time;
        ++passes.back().observations;
    }
}

/// In the order of the numbers, negative ones first.
std::uint64_t codeOf(std::int32_t satNum, std::int32_t senNum) {
    constexpr std::uint32_t kSign = 0x80000000;
    const auto unsignedOf = [](std::int32_t number) { return static_cast<std::uint32_t>(number) ^ kSign; };
    return std::uint64_t{unsignedOf(satNum)} << 32 | unsignedOf(senNum);
}

}  // namespace

PassFinder::PassFinder(std::size_t expected) { times_.reserve(expected); }

void PassFinder::beginRun(std::int32_t satNum, std::int32_t senNum) {
    if (2 * (pairs_.size() + 1) > places_.size()) grow();
    const std::uint64_t code = codeOf(satNum, senNum);
    Place& place = placeOf(code);
    if (place.number == kFree) {
        place = {code, static_cast<std::uint32_t>(pairs_.size())};
        pairs_.push_back({satNum, senNum, 0});
    }
    runs_.push_back({place.number, 0});
}

PassFinder::Place& PassFinder::placeOf(std::uint64_t code) {
    constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
    for (std::size_t at = code * kFactor >> 20;; ++at) {
        Place& place = places_[at & (places_.size() - 1)];
        if (place.number == kFree || place.code == code) return place;
    }
}

void PassFinder::grow() {
    constexpr std::size_t kLeast = 1024;  // a power of 2
    const std::vector<Place> former = std::move(places_);
    places_.assign(std::max(kLeast, 2 * former.size()), Place());
    for (const Place& place : former)
        if (place.number != kFree) placeOf(place.code) = place;
}

// A sort of all observations would cost more than the rest: they are dealt out to their pairs, where most are in order.
std::vector<Pass> PassFinder::passes() {
    std::vector<Place> order(pairs_.size());
    for (std::uint32_t i = 0; i < order.size(); ++i) order[i] = {codeOf(pairs_[i].satNum, pairs_[i].senNum), i};
    radixSort(order, [](const Place& place) { return place.code; });
    for (const Run& run : runs_) pairs_[run.pair].count += run.count;
    std::vector<std::size_t> ends(pairs_.size());
    std::size_t sum = 0;
    for (const Place& place : order) {
        ends[place.number] = sum;
        sum += pairs_[place.number].count;
    }
    std::vector<double> times(sum);
    auto next = times_.cbegin();
    for (const Run& run : runs_) {
        std::copy_n(next, run.count, times.begin() + static_cast<std::ptrdiff_t>(ends[run.pair]));
        next += run.count;
        ends[run.pair] += run.count;
    }

    std::vector<Pass> passes;
    passes.reserve(order.size());
    std::vector<double> steps;
    double* from = times.data();
    for (const Place& place : order) {
        const Pair& pair = pairs_[place.number];
        double* const end = from + pair.count;
        if (!std::is_sorted(from, end)) std::sort(from, end);
        addPasses(pair, from, end, steps, passes);
        from = end;
    }
    return passes;
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
