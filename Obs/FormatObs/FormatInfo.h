// SPDX-License-Identifier: Apache-2.0
/// What each format that is written can carry, and how finely, as the layouts have it.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

enum class FormatNumber : std::int32_t { b3, tty, csv, rf, crdNormalPoints, crdFullRate };
inline constexpr std::size_t kFormatCount = 6;

inline constexpr std::int32_t kNoSaveForm = -1;

struct FormatFacts {
    std::string_view name;
    std::string_view description;
    std::int32_t saveForm;    ///< of `saveObsFile`
    std::int32_t dataType;    ///< of a file of laser ranges
    std::int32_t leastLines;  ///< of an observation; 0 when the format does not go line by line
    std::int32_t mostLines;
    std::int32_t headerLines;
    std::int32_t classColumn;  ///< of the classification, from 1; 0: none
    std::int32_t mostSatNum;
    std::int32_t mostSenNum;
    bool carriesYear;
    bool carriesCsvFields;
    bool carriesRfFields;
    ObsTypeSet types;  ///< whose lines read back as what they are
};
const FormatFacts& formatFacts(FormatNumber format);

/// How finely a value is written: to a multiple of `unit`, or to a number of significant digits, whichever is coarser.
struct Fineness {
    double unit = kNotCarried;
    int digits = 0;  ///< 0: any number

    static constexpr double kNotCarried = -1, kAsItIs = 0;
};

/// The fineness of the elements of the array form, in their units, in lines of a type.
using FinenessOfElements = std::array<Fineness, 64>;
FinenessOfElements finenessOf(FormatNumber format, std::int32_t type);

}  // namespace obs
