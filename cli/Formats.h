// SPDX-License-Identifier: Apache-2.0
/// @file
/// The formats that convert writes, and what becomes of an observation in them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Observations.h"

namespace obstool {

/// The values of an observation that can be compared with what its text gives back.
enum ValueIndex : std::size_t {
    kSecClass,
    kType,
    kSatellite,
    kSensor,
    kTime,
    kElOrDec,
    kAzOrRa,
    kRange,
    kRangeRate,
    kElRate,
    kAzRate,
    kRangeAccel,
    kEquinox,
    kIndicator1,
    kIndicator2,
    kAltSatNum1,
    kAltSatNum2,
    kPosition,
    kVelocity = kPosition + 3,
    kValueCount = kVelocity + 3
};
using Values = std::array<double, kValueCount>;

/// Whether a value of an observation of a satellite says that there is none. The readers of formats without these fields
/// fill them in.
bool isAbsent(ValueIndex index, double value, double satellite);

/// Types M and O count as 8 and 9, of which their range tells them.
Values valuesOf(const Observation& observation);

/// The lines of one observation.
struct Cards {
    static constexpr std::size_t kLength = 512;
    char lines[2][kLength];

    int count() const;  ///< 1, or 2 when the second is not blank
};

class Trial;
struct Format;

// What becomes of observations in formats whose lines are read back singly, in RF lines and in CRD files. The latter
// two hold a SecondSet under the free group.
std::unique_ptr<Trial> tryCards(const Format& format, std::int32_t freeGroup);
std::unique_ptr<Trial> tryRfLines(const Format& format, std::int32_t freeGroup);
std::unique_ptr<Trial> tryCrdFile(const Format& format, std::int32_t freeGroup);

/// What the library tells of a format, and how the command goes about it.
struct Format {
    std::string name;
    std::string description;
    std::array<std::int32_t, 16> facts;  ///< of enum ObsFormatFact
    std::string_view crdData;  ///< which of two rows of the same name, as --crd-data says; empty: there is one
    std::string_view remark;   ///< on every report; what a comparison cannot find out
    std::unique_ptr<Trial> (*tryOut)(const Format& format, std::int32_t freeGroup) = tryCards;
    std::int32_t number;  ///< OBS_FORMAT_...

    std::int32_t load(const char* fileName, std::int32_t group) const;  ///< a file of nothing else
    bool write(std::int64_t key, Cards& cards) const;  ///< an observation; false when the format cannot carry it
    bool isOfCards() const { return tryOut == tryCards; }
    bool hasLines() const;                                                 ///< false for files of laser ranges
    std::int32_t save(const char* fileName, std::int32_t saveMode) const;  ///< all observations
    bool carriesYear() const;
    bool carriesCsvFields() const;  ///< what only CSV lines have
    bool dropsRfFields() const;     ///< what only RF lines have; of observations that it carries
};

/// In the order in which they are offered.
const std::vector<Format>& formats();

/// The row of a name, and of a value of --crd-data where that makes a difference; null when there is none.
const Format* findFormat(std::string_view name, std::string_view crdData = {});

/// What the lines say when they are read, false when they cannot be. The TTY year must be set.
bool readBack(const Format& format, const Cards& cards, Values& values);

/// Half the last digit in which a format writes a value; 0 when observations of the type do not
/// have the value in this format.
double halfLastDigit(const Format& format, ValueIndex index, char type, double value);

}  // namespace obstool
