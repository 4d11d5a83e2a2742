// SPDX-License-Identifier: Apache-2.0
/// Columns of the B3 card (90 columns) and of its extended form B3E, shared by readers and writer.
/// docs/formats/b3.md prints the same tables; a test holds the two together.
#pragma once

#include <array>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsTypes/ObsRecord.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs::b3 {

inline constexpr unsigned kCardColumns = 90;

inline constexpr Columns kSecClass{1, 1};
inline constexpr Columns kSatNum{2, 6};  ///< alpha-5
inline constexpr Columns kSenNum{7, 9};
inline constexpr Columns kDateTime{10, 23};  ///< YYDDDHHMMSSsss
inline constexpr int kSecondsDecimals = 3;
inline constexpr Columns kElOrDec{24, 29};
inline constexpr Columns kSeparator1{30, 30};  ///< blank on every angle card
inline constexpr Columns kAzimuth{31, 37};     ///< or right ascension
inline constexpr Columns kSeparator2{38, 38};  ///< blank on every angle card
inline constexpr Columns kRangeMantissa{39, 45};
inline constexpr Columns kRangeExponent{46, 46};
inline constexpr Columns kRange{kRangeMantissa.first, kRangeExponent.last};
inline constexpr Columns kObsType{75, 75};
inline constexpr Columns kEquinoxInd{76, 76};
inline constexpr Columns kIndicator1{77, 77};
inline constexpr Columns kIndicator2{80, 80};
inline constexpr Columns kAltSatNum1{81, 85};  ///< alpha-5
inline constexpr Columns kAltSatNum2{86, 90};  ///< alpha-5

/// The number that a "sensor position" card type puts over the range-rate and rate columns.
inline constexpr std::array<Columns, 3> kSensorPosition{{{47, 55}, {56, 64}, {65, 73}}};
inline constexpr int kSensorPositionDecimals = 3;

/// An ECI card has no blank here, and "V", or "P" with blanks in these columns, for its type.
inline constexpr Columns kEciPositionBlank{60, 74};

/// Fields whose first column carries the sign (integer digits follow from width and decimals).
struct SignedField {
    Columns columns;
    int decimals;
    ObsTypeSet carriedBy;
    double ObsRecord::*value;
};
inline constexpr std::array<SignedField, 5> kSignedFields{{
    {kElOrDec, 4, kAngleTypes, &ObsRecord::elOrDec},        // degrees
    {{48, 54}, 5, kRangeRateTypes, &ObsRecord::rangeRate},  // km/s
    {{56, 60}, 4, kRateTypes, &ObsRecord::elRate},
    {{62, 66}, 4, kRateTypes, &ObsRecord::azRate},
    {{68, 72}, 4, kRateTypes, &ObsRecord::rangeAccel},
}};
inline constexpr int kAzimuthDecimals = 4;
inline constexpr int kRightAscensionDecimals = 1;  ///< of the second, HHMMSSs

/// All that a card without sensor position may hold between its time and its type.
inline constexpr Columns kMeasurements{kElOrDec.first, kSignedFields.back().columns.last};

/// Range = mantissa x 10^(exponent - this), km.
inline constexpr int kRangeExponentBias = 5;

/// Types whose cards have range columns to read: 8 and 9 become 18 and 19 when there is one.
inline constexpr ObsTypeSet kRangeReadTypes{2, 3, 4, 6, 8, 9, 18, 19};
inline constexpr ObsTypeSet kRangeWrittenTypes{2, 3, 4, 6, 18, 19};

/// The card with a sensor position in the place of the rates, and the other one, as the validation has them.
inline constexpr ObsTypeSet kSensorCardTypes{8, 9};
inline constexpr ObsTypeSet kPlainCardTypes{0, 1, 2, 3, 4, 5, 6};

/// Types that have a B3 card.
inline constexpr ObsTypeSet kWrittenTypes{0, 1, 2, 3, 4, 5, 6, 8, 9, 18, 19};

}  // namespace obs::b3

namespace obs::b3e {

inline constexpr std::string_view kMark = "B3E";  ///< columns 1-3
inline constexpr Columns kSatNum{4, 8};
inline constexpr Columns kSenNum{9, 11};
inline constexpr Columns kDateTime{12, 29};          ///< YYDDDHHMMSS.ssssss
inline constexpr unsigned kDateToMilliseconds = 15;  ///< characters of the date up to the milliseconds
inline constexpr Columns kDateMicroseconds{27, 29};  ///< fourth to sixth decimals of the second
inline constexpr Columns kDeclination{31, 40};
inline constexpr Columns kRaHours{42, 43};
inline constexpr Columns kRaMinutes{44, 45};
inline constexpr Columns kRaSeconds{46, 54};
inline constexpr int kDecimals = 6;        ///< of declination and seconds, when no point is written
inline constexpr char kObsTypeChar = '5';  ///< the only type that the extended card carries
// Columns 75 to 90 are those of the B3 card.

}  // namespace obs::b3e
