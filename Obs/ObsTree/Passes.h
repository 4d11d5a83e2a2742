// SPDX-License-Identifier: Apache-2.0
/// Passes: runs of observations of one satellite by one sensor without a long gap.
#pragma once

#include <cstdint>
#include <vector>

namespace obs {

/// What tells to which pass an observation belongs; the time in days since 1950 UTC.
struct Sighting {
    std::int32_t satNum, senNum;
    double time;
};

struct Pass {
    std::int32_t satNum, senNum, observations;
    double first, last;  ///< days since 1950 UTC
};

/// The passes by satellite, sensor and time. One ends where the gap exceeds both 10 minutes and five times the median
/// step between the observations of that satellite by that sensor. A time that is not finite is in no pass.
std::vector<Pass> passesOf(const std::vector<Sighting>& sightings);

/// The sightings of all stored observations, in no order. Throws std::bad_alloc.
std::vector<Sighting> storedSightings();

}  // namespace obs
