// SPDX-License-Identifier: Apache-2.0
/// Columns of the two TTY cards, shared by reader and writer. docs/formats/tty.md prints the same tables; a test holds
/// the two together.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsTypes/ObsRecord.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs::tty {

inline constexpr unsigned kCardColumns = 80;

// --- Head of card 1 ---------------------------------------------------------------------

inline constexpr std::string_view kMark = "))";  ///< columns 1-2
inline constexpr Columns kSecClass{3, 3};
inline constexpr Columns kIndicator1{7, 7};
inline constexpr Columns kObsType{8, 8};
inline constexpr Columns kSenNum{9, 11};
inline constexpr Columns kSatNum{12, 16};  ///< alpha-5

// --- Time: DDDHHMMSSsss, the year being set beforehand -------------------------------------

inline constexpr Columns kTimeOnCard1{17, 28};
inline constexpr Columns kTimeOnCard2{1, 12};
inline constexpr int kSecondsDecimals = 3;

/// Types whose messages are card 1 alone when read.
inline constexpr ObsTypeSet kCard1Types{0, 1, 2, 3, 5, 6};

// NOTE: positions (types 10 and 11) are written with their time on card 1 and looked for on card 2, so such a
// message does not read back. Both halves are established use; the mismatch is kept.
inline constexpr ObsTypeSet kTimeOnCard1WrittenTypes{0, 1, 2, 3, 5, 6, 10, 11};

// --- Values -----------------------------------------------------------------------------------

/// How the columns of a value hold it.
enum class Coding : std::uint8_t {
    kSigned,          ///< sign column, where "1" alone negates, and digits; implied decimals
    kAzimuth,         ///< digits, implied decimals
    kAzimuthOnCard2,  ///< the same, but a written point does not override the implied decimals
    kRightAscension,  ///< HHMMSSs
    kRange,           ///< mantissa and exponent digit: mantissa x 10^(exponent - kRangeExponentBias), km
};

struct Measurement {
    Columns columns;
    Coding coding;
    int decimals;
    ObsTypeSet carriedBy;
    double ObsRecord::*value;
};

inline constexpr int kAngleDecimals = 4;      ///< degrees; also of the three rates
inline constexpr int kRangeRateDecimals = 5;  ///< km/s
inline constexpr int kRangeExponentBias = 5;

// NOTE: the mantissa of type 6 has eight columns where the others' have seven.
inline constexpr std::array<Measurement, 7> kOnCard1{{
    {{29, 36}, Coding::kSigned, kRangeRateDecimals, {0}, &ObsRecord::rangeRate},
    {{29, 35}, Coding::kSigned, kAngleDecimals, {1, 2, 3, 5}, &ObsRecord::elOrDec},
    {{37, 43}, Coding::kAzimuth, kAngleDecimals, {1, 2, 3}, &ObsRecord::azOrRa},
    {{37, 43}, Coding::kRightAscension, 1, {5}, &ObsRecord::azOrRa},
    {{45, 52}, Coding::kRange, 0, {2, 3}, &ObsRecord::range},
    {{54, 61}, Coding::kSigned, kRangeRateDecimals, {3}, &ObsRecord::rangeRate},
    {{29, 37}, Coding::kRange, 0, {6}, &ObsRecord::range},
}};

// NOTE: the range of types 9 and 19 stands one column to the right of the others', after the equinox digit.
inline constexpr std::array<Measurement, 9> kOnCard2{{
    {{13, 19}, Coding::kSigned, kAngleDecimals, {4, 8, 9, 18, 19}, &ObsRecord::elOrDec},
    {{21, 27}, Coding::kAzimuthOnCard2, kAngleDecimals, {4, 8, 18}, &ObsRecord::azOrRa},
    {{21, 27}, Coding::kRightAscension, 1, {9, 19}, &ObsRecord::azOrRa},
    {{29, 36}, Coding::kRange, 0, {4, 8, 18}, &ObsRecord::range},
    {{30, 37}, Coding::kRange, 0, {9, 19}, &ObsRecord::range},
    {{38, 45}, Coding::kSigned, kRangeRateDecimals, {4}, &ObsRecord::rangeRate},
    {{47, 52}, Coding::kSigned, kAngleDecimals, {4}, &ObsRecord::elRate},
    {{54, 59}, Coding::kSigned, kAngleDecimals, {4}, &ObsRecord::azRate},
    {{61, 66}, Coding::kSigned, kAngleDecimals, {4}, &ObsRecord::rangeAccel},
}};

// NOTE: the range of types 8 and 9 is read, making them 18 and 19, and its columns are written blank: these types
// have none.
inline constexpr ObsTypeSet kRangeWrittenTypes{2, 3, 4, 6, 18, 19};

inline constexpr Columns kEquinoxIndOnCard1{45, 45};  ///< type 5
inline constexpr Columns kEquinoxIndOnCard2{29, 29};  ///< types 9 and 19

// NOTE: type 5 is always written as of date, which every stored one is, whatever its indicator says.
inline constexpr char kEquinoxOfDate = '0';

/// X, Y and Z: a sign column, mantissa digits, and an exponent of ten that turns 0.mantissa into m or m/s.
struct Vector {
    std::array<Columns, 3> columns;
    ObsTypeSet carriedBy;
    Vector3 ObsRecord::*value;
    std::string_view name;
};
inline constexpr std::array<Vector, 3> kVectorsOnCard2{{
    {{{{39, 48}, {49, 58}, {59, 68}}}, kSensorPositionTypes, &ObsRecord::senPos, "sensor position"},
    {{{{13, 22}, {23, 32}, {33, 42}}}, {7}, &ObsRecord::senPos, "position"},
    {{{{43, 51}, {52, 60}, {61, 69}}}, {7}, &ObsRecord::senVel, "velocity"},
}};

/// The satellite's position of types 10 and 11, on card 1; km.
inline constexpr std::array<Columns, 3> kSatPosOnCard1{{{29, 40}, {41, 52}, {53, 64}}};
inline constexpr int kSatPosDecimals = 6;
inline constexpr ObsTypeSet kSatPosTypes{10, 11};

// --- End mark: written two columns after the values, not looked at by the reader -----------------

inline constexpr std::string_view kEndMark = "$$";
struct EndMarkColumns {
    Columns columns;
    ObsTypeSet carriedBy;
};
// NOTE: types 10 and 11 have none.
inline constexpr std::array<EndMarkColumns, 6> kEndMarksOnCard1{{
    {{39, 40}, {0}},
    {{46, 47}, {1}},
    {{55, 56}, {2}},
    {{64, 65}, {3}},
    {{47, 48}, {5}},
    {{40, 41}, {6}},
}};
inline constexpr std::array<EndMarkColumns, 3> kEndMarksOnCard2{{
    {{69, 70}, {4}},
    {{70, 71}, {7}},
    {{71, 72}, kSensorPositionTypes},
}};

}  // namespace obs::tty
