// SPDX-License-Identifier: Apache-2.0
/// Layout of laser-ranging records (consolidated laser ranging data, versions 1 and 2): items in free form,
/// and the columns that version 1 gives the items of its headers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "Obs/CardLayouts/Columns.h"

namespace obs::crd {

/// Most items of a line that anybody looks at, the record id included.
inline constexpr std::size_t kMaxItems = 24;

/// Items of a record, numbered from 0, the record id. The ones that are read have names.
namespace h1 {
inline constexpr std::size_t kFormat = 1, kVersion = 2;
}
namespace h2 {
inline constexpr std::size_t kPadNumber = 2;
}
namespace h3 {
inline constexpr std::size_t kIlrsId = 2, kCatalogueNumber = 4;
}
namespace h4 {
inline constexpr std::size_t kStart = 2, kTroposphereApplied = 15, kCentreOfMassApplied = 16, kSystemDelayApplied = 18,
                             kRangeType = 20;
}
namespace c0 {
inline constexpr std::size_t kWavelengthNm = 2, kId = 3;
}
namespace range {  // records 10 and 11
inline constexpr std::size_t kSecondOfDay = 1, kTimeOfFlight = 2, kConfiguration = 3, kEpochEvent = 4, kFilterFlag = 5;
}
namespace supplement {  // record 12
inline constexpr std::size_t kSecondOfDay = 1, kTroposphericPs = 3, kCentreOfMassM = 4;
}
namespace conditions {  // record 20
inline constexpr std::size_t kSecondOfDay = 1, kPressure = 2, kTemperature = 3, kHumidity = 4;
}
namespace pointing {  // record 30
inline constexpr std::size_t kSecondOfDay = 1, kAzimuth = 2, kElevation = 3;
}

inline constexpr int kAngleDecimals = 6;       ///< degrees, of pointing records
inline constexpr double kFlightUnitS = 1e-12;  ///< of times of flight, two-way

/// Launch year, launch number, piece: 0000101 at least, of which files drop the leading zeros.
inline constexpr std::int32_t kLeastIlrsId = 1000, kMostIlrsId = 9'999'999;

/// An item of a header, with the columns that version 1 gives it.
struct HeaderItem {
    Columns columns;
    bool isWholeNumber = true;
    std::int32_t least = std::numeric_limits<std::int32_t>::min();  ///< of a whole number
};

/// The items of a header, from item 1 on.
using Header = std::span<const HeaderItem>;

inline constexpr HeaderItem kH1Items[] = {{{4, 6}, false}, {{8, 9}}, {{11, 14}}, {{16, 17}}, {{19, 20}}, {{22, 23}}};
inline constexpr HeaderItem kH2Items[] = {{{4, 13}, false}, {{15, 18}}, {{20, 21}}, {{23, 24}}, {{26, 27}}};
inline constexpr HeaderItem kH3Items[] = {
    {{4, 13}, false}, {{15, 22}, true, kLeastIlrsId}, {{24, 27}}, {{29, 36}}, {{38, 38}}, {{40, 40}}};
inline constexpr HeaderItem kH4Items[] = {{{4, 5}},   {{7, 10}},  {{12, 13}}, {{15, 16}}, {{18, 19}}, {{21, 22}},
                                          {{24, 25}}, {{27, 30}}, {{32, 33}}, {{35, 36}}, {{38, 39}}, {{41, 42}},
                                          {{44, 45}}, {{47, 48}}, {{50, 50}}, {{52, 52}}, {{54, 54}}, {{56, 56}},
                                          {{58, 58}}, {{60, 60}}, {{62, 62}}};

inline constexpr Header kH1{kH1Items};
inline constexpr Header kH2{kH2Items};
inline constexpr Header kH3{kH3Items};
inline constexpr Header kH4{kH4Items};

}  // namespace obs::crd
