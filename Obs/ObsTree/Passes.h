// SPDX-License-Identifier: Apache-2.0
/// Passes: runs of observations of one satellite by one sensor without a long gap.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace obs {

struct Pass {
    std::int32_t satNum, senNum, observations;
    double first, last;  ///< days since 1950 UTC
};

/// Takes observations, in any order, and gives the passes that they make.
class PassFinder {
public:
    /// @param expected about how many will come. Throws std::bad_alloc, as the rest.
    explicit PassFinder(std::size_t expected);

    /// @param time days since 1950 UTC; one that is not finite is in no pass
    void add(std::int32_t satNum, std::int32_t senNum, double time) {
        if (!std::isfinite(time)) return;
        // Those of a pass mostly come together, so that few pairs are looked up.
        if (runs_.empty() || pairs_[runs_.back().pair].satNum != satNum || pairs_[runs_.back().pair].senNum != senNum)
            beginRun(satNum, senNum);
        ++runs_.back().count;
        times_.push_back(time);
    }

    /// The passes by satellite, sensor and time; may be asked for once. One ends where the gap exceeds both 10 minutes
    /// and five times the median step between the observations of that satellite by that sensor.
    std::vector<Pass> passes();

    struct Pair {
        std::int32_t satNum, senNum;
        std::uint32_t count;
    };

private:
    static constexpr std::uint32_t kFree = std::numeric_limits<std::uint32_t>::max();
    struct Place {
        std::uint64_t code = 0;
        std::uint32_t number = kFree;
    };
    /// Observations of a pair that came one after the other.
    struct Run {
        std::uint32_t pair, count;
    };

    void beginRun(std::int32_t satNum, std::int32_t senNum);
    Place& placeOf(std::uint64_t code);
    void grow();

    std::vector<Pair> pairs_;
    std::vector<Place> places_;  ///< of the numbers of pairs; open addressing
    std::vector<Run> runs_;
    std::vector<double> times_;
};

/// Of all stored observations. Throws std::bad_alloc.
PassFinder storedSightings();

}  // namespace obs
