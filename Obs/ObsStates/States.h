// SPDX-License-Identifier: Apache-2.0
/// What an observation says about where satellite and sensor are, as one array of 64 reals.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

inline constexpr std::size_t kStatesLength = 64;
inline constexpr std::size_t kStatesMask = 0;  ///< element: the sum of 2^bit of the blocks that are determined

/// Elements that are determined together; the place in the table is the bit.
struct StateBlock {
    std::size_t first;
    std::size_t count;
    std::string_view holds;
    std::string_view unit;
};

enum StateBit : std::size_t {
    kTimeBlock,
    kSatPosBlock,
    kSatVelBlock,
    kSatPosJ2000Block,
    kSatVelJ2000Block,
    kSenPosBlock,
    kSenVelBlock,
    kSatGeodeticBlock,
    kSenGeodeticBlock,
    kAzElBlock,
    kRangeBlock,
    kRangeRateBlock,
    kRaDecBlock,
    kStateBlockCount,
};

/// The exported header prints this table; a test compares the two.
inline constexpr std::array<StateBlock, kStateBlockCount> kStateBlocks{{
    {1, 1, "time", "days since 1950 UTC"},
    {2, 3, "satellite position, of date", "km"},
    {5, 3, "satellite velocity, of date", "km/s"},
    {8, 3, "satellite position, J2000", "km"},
    {11, 3, "satellite velocity, J2000", "km/s"},
    {14, 3, "sensor position, of date", "km"},
    {17, 3, "sensor velocity, of date", "km/s"},
    {20, 3, "satellite latitude, longitude, height", "degrees, km"},
    {23, 3, "sensor latitude, longitude, height", "degrees, km"},
    {26, 2, "azimuth, elevation", "degrees"},
    {28, 1, "range", "km"},
    {29, 1, "range rate", "km/s"},
    {30, 2, "right ascension, declination", "degrees"},
}};

/// Fills the array from an observation at a time, 0 for its own. Right ascension that is not of date is rotated
/// first. Another time needs a satellite position and velocity. A refusal leaves the array cleared.
MaybeRefusal obsrec2states(ObsRecord rec, double timeDs50, double* states);

}  // namespace obs
