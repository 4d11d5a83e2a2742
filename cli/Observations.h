// SPDX-License-Identifier: Apache-2.0
/// @file
/// The stored observations as the subcommands show them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace obstool {

/// What ObsGetAllFields gives.
struct Observation {
    double time;  ///< days since 1950 UTC
    std::int32_t satellite, sensor;
    char type, secClass;
    double elOrDec, azOrRa;   ///< degrees
    double range, rangeRate;  ///< km, km/s; types 5 and 9 have the equinox indicator as range rate
    double elRate, azRate, rangeAccel;
    std::int32_t indicator1, indicator2;
    std::int32_t altSatNum1, altSatNum2;
    double pos[3], vel[3];  ///< km, km/s
};

/// What an observation type carries, of the values that are shown.
struct TypeInfo {
    bool angles, range, rangeRate;
    std::string carries;
};

/// An unknown type is taken to carry everything.
const TypeInfo& typeInfo(char type);

/// The keys of all stored observations in an order of ObsGetLoaded.
std::vector<std::int64_t> storedKeys(std::int32_t order);

/// The observation under a key that storedKeys gave out. The parts that its type does not
/// carry hold no meaning.
Observation observationOf(std::int64_t key);

}  // namespace obstool
