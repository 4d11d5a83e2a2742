// SPDX-License-Identifier: Apache-2.0
/// The older fixed-column laser-ranging formats: a mark, the header of a pass, then a line a range.
/// All items are right-justified digits without points. docs/formats/slr_blocks.md prints the same tables.
#pragma once

#include <cstdint>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"

namespace obs::slr_blocks {

inline constexpr std::string_view kNormalPointMark = "99999";
inline constexpr std::string_view kEngineeringMark = "88888";

namespace header {
inline constexpr Columns kSatellite{1, 7};  ///< ILRS id
inline constexpr Columns kYear{8, 9};       ///< of the century
inline constexpr Columns kDayOfYear{10, 12};
inline constexpr Columns kStation{13, 16};  ///< pad number
inline constexpr Columns kWavelength{21, 24};
inline constexpr Columns kSystemDelayPs{25, 32};  ///< two-way
inline constexpr Columns kSummed{1, 52};
inline constexpr Columns kCheckSum{53, 54};

/// Wavelengths from here on are in tenths of a nanometre, smaller ones in nanometres.
inline constexpr std::int64_t kFirstTenthNm = 3000;
inline constexpr std::int64_t kFirstNm = 1000;
}  // namespace header

// Both kinds of data line begin alike.
inline constexpr Columns kFiringTime{1, 12};     ///< second of day, 0.1 us
inline constexpr Columns kTimeOfFlight{13, 24};  ///< two-way, ps

/// Where a kind of data line has the rest.
struct DataColumns {
    Columns pressure;     ///< 0.1 hPa
    Columns temperature;  ///< 0.1 K
    Columns humidity;     ///< %
    Columns summed;
    Columns checkSum;
};
inline constexpr DataColumns kNormalPoint{{32, 36}, {37, 40}, {41, 43}, {1, 52}, {53, 54}};
inline constexpr DataColumns kEngineering{{25, 29}, {30, 33}, {34, 36}, {1, 67}, {68, 69}};

// Sampled engineering data only.
inline constexpr Columns kAngleOrigin{49, 49};  ///< 0 unknown (or none), 1 computed, 2 commanded, 3 measured
inline constexpr Columns kAzimuth{50, 56};      ///< 1e-4 degrees
inline constexpr Columns kElevation{57, 62};    ///< 1e-4 degrees

}  // namespace obs::slr_blocks
