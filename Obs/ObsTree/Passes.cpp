// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Passes.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "Obs/ObsTree/Store.h"

namespace obs {

namespace {

constexpr double kLeastGapDays = 10.0 / 1440;
constexpr double kMedianSteps = 5;

using Sightings = std::vector<Sighting>::const_iterator;

/// The gap that ends a pass. The median of an even number of steps is the mean of the middle two.
double gapBetweenPasses(Sightings from, Sightings end) {
    std::vector<double> steps;
    for (auto next = from + 1; next < end; ++next) steps.push_back(next->time - (next - 1)->time);
    if (steps.empty()) return kLeastGapDays;
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    double median = *middle;
    if (steps.size() % 2 == 0) median = (median + *std::max_element(steps.begin(), middle)) / 2;
    return std::max(kLeastGapDays, kMedianSteps * median);
}

}  // namespace

std::vector<Pass> passesOf(std::vector<Sighting> sightings) {
    std::erase_if(sightings, [](const Sighting& one) { return !std::isfinite(one.time); });
    const auto placeOf = [](const Sighting& one) { return std::tuple(one.satNum, one.senNum, one.time); };
    std::sort(sightings.begin(), sightings.end(),
              [&](const Sighting& a, const Sighting& b) { return placeOf(a) < placeOf(b); });
    std::vector<Pass> passes;
    for (auto from = sightings.cbegin(), end = from; from != sightings.cend(); from = end) {
        end = std::find_if(from, sightings.cend(), [&](const Sighting& one) {
            return one.satNum != from->satNum || one.senNum != from->senNum;
        });
        const double gap = gapBetweenPasses(from, end);
        for (auto one = from; one != end; ++one) {
            if (one == from || one->time - passes.back().last > gap)
                passes.push_back({one->satNum, one->senNum, 0, one->time, one->time});
            passes.back().last = one->time;
            ++passes.back().observations;
        }
    }
    return passes;
}

std::vector<Sighting> storedSightings() {
    const ReadGuard guard;
    std::vector<Sighting> sightings;
    sightings.reserve(gStore.tree.size());
    gStore.pools.scan([&](SlotNumber slot) {
        const StoredRecord& rec = gStore.pools.record(slot);
        sightings.push_back({rec.satNum, rec.senNum, rec.obsTime});
    });
    return sightings;
}

}  // namespace obs
