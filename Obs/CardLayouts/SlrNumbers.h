// SPDX-License-Identifier: Apache-2.0
/// What readers and writer of laser ranges share: who is who, what a record says of its corrections, and limits.
#pragma once

#include <cstdint>
#include <string_view>

namespace obs {

/// Catalogue number of a laser-ranging satellite, sensor number of a laser station; 0 when not listed.
std::int32_t Nasa2SsnSat(std::int32_t nasaNumber);
std::int32_t Nasa2SsnSen(std::int32_t stationNumber);

/// What a reflector on the Moon is called that has an ILRS id of its own (it has no catalogue number); empty for
/// others.
std::string_view lunarTarget(std::int32_t ilrsId);

/// And back: ILRS id of a satellite number, pad number of a sensor number; 0 when the tables have none.
std::int32_t Ssn2NasaSat(std::int32_t satNum);
std::int32_t Ssn2NasaSen(std::int32_t senNum);

/// The first indicator of a full-rate range that its file flags as noise.
inline constexpr std::int32_t kNoiseIndicator = 1;

/// What the second indicator of a laser range tells about it: a sum of these.
inline constexpr std::int32_t kSlrTroposphereApplied = 1;   ///< by the file or when it was read
inline constexpr std::int32_t kSlrCentreOfMassApplied = 2;  ///< likewise
inline constexpr std::int32_t kSlrSystemDelayLeft = 4;      ///< the range still contains the station's system delay

/// Greater numbers of satellites are none.
inline constexpr std::int32_t kLargestCatalogueNumber = 999'999'999;

/// Angles beyond these, or below their negatives, are none.
inline constexpr double kMostAzimuthDeg = 360, kMostElevationDeg = 90;

/// Pad numbers that may be sensor numbers: smaller ones are sensors of other kinds.
inline constexpr std::int32_t kLowestPadSensor = 1004, kHighestPadSensor = 9999;

}  // namespace obs
