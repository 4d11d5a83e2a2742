// SPDX-License-Identifier: Apache-2.0
/// @file
/// The formats that convert writes, and what becomes of an observation in them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "Observations.h"

namespace obstool {

/// The values of an observation that can be compared with what its text gives back.
enum ValueIndex : std::size_t {
    kSecClass, kType, kSatellite, kSensor, kTime, kElOrDec, kAzOrRa, kRange, kRangeRate, kElRate, kAzRate,
    kRangeAccel, kEquinox, kIndicator1, kIndicator2, kAltSatNum1, kAltSatNum2, kPosition,
    kVelocity = kPosition + 3, kValueCount = kVelocity + 3
};
using Values = std::array<double, kValueCount>;

/// Types M and O count as 8 and 9, of which their range tells them.
Values valuesOf(const Observation& observation);

/// How finely a format writes a value of some types: to a multiple of `unit`, or to so many
/// significant digits, whichever is coarser.
struct Precision {
    ValueIndex first;
    std::size_t count;
    std::string_view types;  ///< empty: all
    double unit;
    int digits;              ///< 0: any number
};

/// The lines of one observation.
struct Cards {
    static constexpr std::size_t kLength = 512;
    char lines[2][kLength];

    int count() const;  ///< 1, or 2 when the second is not blank
};

class Trial;

struct Format {
    std::string_view name;
    std::string_view crdData;  ///< which of two rows of the same name, as --crd-data says; empty: there is one
    std::string_view description;
    std::string_view remark;   ///< on every report; what a comparison cannot find out
    std::int32_t (*save)(const char* fileName, std::int32_t saveMode);  ///< all observations
    std::int32_t (*load)(const char* fileName, std::int32_t group);     ///< a file of nothing else
    std::unique_ptr<Trial> (*tryOut)(const Format& format, std::int32_t freeGroup);
    /// Writes an observation, false when the format cannot carry it. Null for a format whose lines the library
    /// does not write singly.
    bool (*write)(std::int64_t key, Cards& cards);
    std::size_t classColumn;  ///< of the classification, from 0; in lines that `write` writes
    std::int64_t headerLines; ///< before the first observation
    bool carriesYear;
    bool carriesCsvFields;    ///< what only CSV lines have
    bool dropsRfFields;       ///< what only RF lines have; of observations that it carries
    std::span<const Precision> precision;
};

inline constexpr std::size_t kFormatCount = 6;
extern const std::array<Format, kFormatCount> kFormats;

/// The row of a name, and of a value of --crd-data where that makes a difference; null when there is none.
const Format* findFormat(std::string_view name, std::string_view crdData = {});

/// What the lines say when they are read, false when they cannot be. The TTY year must be set.
bool readBack(const Format& format, const Cards& cards, Values& values);

/// Half the last digit in which a format writes a value; 0 when observations of the type do not
/// have the value in this format.
double halfLastDigit(const Format& format, ValueIndex index, char type, double value);

}  // namespace obstool
