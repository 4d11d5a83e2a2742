// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Passes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

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
    if (steps.empty()) return kLeastGapDays;
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    double median = *middle;
    if (steps.size() % 2 == 0) median = (median + *std::max_element(steps.begin(), middle)) / 2;
    return std::max(kLeastGapDays, kMedianSteps * median);
}

/// Numbers pairs of satellite and sensor as they come; open addressing.
class Pairs {
public:
    struct Pair {
        std::int32_t satNum, senNum;
        std::uint32_t count;
    };

    std::uint32_t numberOf(const Sighting& one) {
        if (2 * (pairs_.size() + 1) > places_.size()) grow();
        Place& place = placeOf(codeOf(one.satNum, one.senNum));
        if (place.number == kFree) {
            place = {codeOf(one.satNum, one.senNum), static_cast<std::uint32_t>(pairs_.size())};
            pairs_.push_back({one.satNum, one.senNum, 0});
        }
        ++pairs_[place.number].count;
        return place.number;
    }

    const std::vector<Pair>& pairs() const { return pairs_; }

    /// Their numbers, by satellite and sensor.
    std::vector<std::uint32_t> inOrder() const {
        std::vector<std::pair<std::uint64_t, std::uint32_t>> codes;
        for (const Place& place : places_)
            if (place.number != kFree) codes.emplace_back(place.code, place.number);
        std::sort(codes.begin(), codes.end());
        std::vector<std::uint32_t> numbers;
        for (const auto& [code, number] : codes) numbers.push_back(number);
        return numbers;
    }

private:
    static constexpr std::uint32_t kFree = std::numeric_limits<std::uint32_t>::max();
    struct Place {
        std::uint64_t code = 0;
        std::uint32_t number = kFree;
    };

    /// In the order of the numbers, negative ones first.
    static std::uint64_t codeOf(std::int32_t satNum, std::int32_t senNum) {
        constexpr std::uint32_t kSign = 0x80000000;
        const auto unsignedOf = [](std::int32_t number) { return static_cast<std::uint32_t>(number) ^ kSign; };
        return std::uint64_t{unsignedOf(satNum)} << 32 | unsignedOf(senNum);
    }

    Place& placeOf(std::uint64_t code) {
        constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
        for (std::size_t at = code * kFactor >> 20;; ++at) {
            Place& place = places_[at & (places_.size() - 1)];
            if (place.number == kFree || place.code == code) return place;
        }
    }

    void grow() {
        constexpr std::size_t kLeast = 1024;  // a power of 2
        const std::vector<Place> former = std::move(places_);
        places_.assign(std::max(kLeast, 2 * former.size()), Place());
        for (const Place& place : former)
            if (place.number != kFree) placeOf(place.code) = place;
    }

    std::vector<Pair> pairs_;
    std::vector<Place> places_;
};

/// The passes of one pair, whose times are in ascending order.
void addPasses(const Pairs::Pair& pair, const double* from, const double* end, std::vector<double>& steps,
               std::vector<Pass>& passes) {
    const double gap = gapBetweenPasses(from, end, steps);
    for (const double* time = from; time != end; ++time) {
        if (time == from || *time - passes.back().last > gap)
            passes.push_back({pair.satNum, pair.senNum, 0, *time, *time});
        passes.back().last = *time;
        ++passes.back().observations;
    }
}

}  // namespace

// A sort of all sightings would cost more than the rest: they are dealt out to their pairs, where most are in order.
std::vector<Pass> passesOf(const std::vector<Sighting>& sightings) {
    Pairs numbered;
    constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
    std::vector<std::uint32_t> pairOf;
    pairOf.reserve(sightings.size());
    for (const Sighting& one : sightings) pairOf.push_back(std::isfinite(one.time) ? numbered.numberOf(one) : kNone);

    const std::vector<Pairs::Pair>& pairs = numbered.pairs();
    std::vector<std::size_t> ends;
    std::size_t sum = 0;
    for (const Pairs::Pair& pair : pairs) {
        ends.push_back(sum);
        sum += pair.count;
    }
    std::vector<double> times(sum);
    for (std::size_t i = 0; i < sightings.size(); ++i)
        if (pairOf[i] != kNone) times[ends[pairOf[i]]++] = sightings[i].time;

    std::vector<Pass> passes;
    std::vector<double> steps;
    for (const std::uint32_t i : numbered.inOrder()) {
        double* const end = times.data() + ends[i];
        double* const from = end - pairs[i].count;
        if (!std::is_sorted(from, end)) std::sort(from, end);
        addPasses(pairs[i], from, end, steps, passes);
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
