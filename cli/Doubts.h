// SPDX-License-Identifier: Apache-2.0
/// @file
/// Stored observations that make no sense.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace obstool {

/// Lines or observations with one thing wrong.
struct Group {
    std::string kind, reason;
    std::int64_t count = 0;
    std::vector<std::string> places;  ///< the first ones
};

/// What makes sense. A check whose limit is 0 is left out.
struct SenseLimits {
    double lowestElevation = -5;  ///< degrees
    double mostRange = 1e6;       ///< km
    double mostSpeed = 15;        ///< km/s
    int firstYear = 1957;         ///< always checked
    double near = 0.001;          ///< seconds between two of one satellite, sensor and type
    bool isOfKnownSensor = false;
};

/// A group for each thing that is wrong, that of the lowest key first.
/// @param limit of places in a group; 0 is all
std::vector<Group> doubtfulObservations(const SenseLimits& limits, std::size_t limit);

}  // namespace obstool
