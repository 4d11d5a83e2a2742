// SPDX-License-Identifier: Apache-2.0
/// The 56 fields of a CSV line in their order, walked by reader and writer, so that the place of a field stands here
/// and nowhere else. docs/formats/csv.md prints the same table; a test holds the two together.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs::csv {

inline constexpr char kSeparator = ',';
inline constexpr char kPairSeparator = ':';

/// What a line gives in another form than the record: the time in parts, and the angles in places that tell which
/// pair they are.
struct LineValues {
    std::int32_t year = 0;
    std::int32_t dayOfYear = 0;
    std::int32_t hour = 0;
    std::int32_t minute = 0;
    double seconds = 0;
    double elevation = 0;  ///< degrees, as the other angles
    double elevationRate = 0;
    double declination = 0;
    double declinationRate = 0;
    double azimuth = 0;
    double azimuthRate = 0;
    double rightAscension = 0;
    double rightAscensionRate = 0;
};

enum class Kind : std::uint8_t {
    character,
    integer,
    real,
    exactReal,  ///< never rounded to make a long line fit: the key hangs on it
    realPair,   ///< two reals that stand one after the other in memory
    repeated,   ///< a real that an earlier field gives already: written again, ignored when read
};

/// The owner of a value.
enum class Part : std::uint8_t { line, record, csvData, biases, rfData };
inline constexpr std::size_t kPartCount = 5;

struct Field {
    std::string_view name;
    Kind kind;
    Part part;
    std::uint16_t offset;  ///< of the value in its owner, bytes
};

/// Bytes up to an element of an array member that begins at `array`.
constexpr std::size_t element(std::size_t array, std::size_t index) {
    return array + index * sizeof(double);
}

inline constexpr std::array<Field, 56> kFields{{
    // clang-format off
    {"secClass",             Kind::character, Part::record,  offsetof(ObsFields, secClass)},              // 1
    {"satNum",               Kind::integer,   Part::record,  offsetof(ObsFields, satNum)},
    {"senNum",               Kind::integer,   Part::record,  offsetof(ObsFields, senNum)},
    {"year",                 Kind::integer,   Part::line,    offsetof(LineValues, year)},
    {"day of year",          Kind::integer,   Part::line,    offsetof(LineValues, dayOfYear)},            // 5
    {"hour",                 Kind::integer,   Part::line,    offsetof(LineValues, hour)},
    {"minute",               Kind::integer,   Part::line,    offsetof(LineValues, minute)},
    {"seconds",              Kind::exactReal, Part::line,    offsetof(LineValues, seconds)},
    {"elevation",            Kind::real,      Part::line,    offsetof(LineValues, elevation)},
    {"elevation rate",       Kind::real,      Part::line,    offsetof(LineValues, elevationRate)},        // 10
    {"declination",          Kind::real,      Part::line,    offsetof(LineValues, declination)},
    {"declination rate",     Kind::real,      Part::line,    offsetof(LineValues, declinationRate)},
    {"azimuth",              Kind::real,      Part::line,    offsetof(LineValues, azimuth)},
    {"azimuth rate",         Kind::real,      Part::line,    offsetof(LineValues, azimuthRate)},
    {"right ascension",      Kind::real,      Part::line,    offsetof(LineValues, rightAscension)},       // 15
    {"right-ascension rate", Kind::real,      Part::line,    offsetof(LineValues, rightAscensionRate)},
    {"range",                Kind::real,      Part::record,  offsetof(ObsFields, range)},
    {"rangeRate",            Kind::real,      Part::record,  offsetof(ObsFields, rangeRate)},
    {"rangeAccel",           Kind::real,      Part::record,  offsetof(ObsFields, rangeAccel)},
    {"obsType",              Kind::integer,   Part::record,  offsetof(ObsFields, obsType)},               // 20
    {"senPos X",             Kind::real,      Part::record,  element(offsetof(ObsFields, senPos), 0)},
    {"senPos Y",             Kind::real,      Part::record,  element(offsetof(ObsFields, senPos), 1)},
    {"senPos Z",             Kind::real,      Part::record,  element(offsetof(ObsFields, senPos), 2)},
    {"indicator1",           Kind::integer,   Part::record,  offsetof(ObsFields, indicator1)},
    {"indicator2",           Kind::integer,   Part::record,  offsetof(ObsFields, indicator2)},            // 25
    {"altSatNum1",           Kind::integer,   Part::record,  offsetof(ObsFields, altSatNum1)},
    {"altSatNum2",           Kind::integer,   Part::record,  offsetof(ObsFields, altSatNum2)},
    {"csvChar",              Kind::character, Part::csvData, offsetof(CsvObsData, csvChar)},
    {"csvReals 1 and 2",     Kind::realPair,  Part::csvData, element(offsetof(CsvObsData, csvReals), 0)},
    {"csvReals 5",           Kind::real,      Part::csvData, element(offsetof(CsvObsData, csvReals), 4)}, // 30
    {"csvReals 6",           Kind::real,      Part::csvData, element(offsetof(CsvObsData, csvReals), 5)},
    {"csvReals 7",           Kind::real,      Part::csvData, element(offsetof(CsvObsData, csvReals), 6)},
    {"csvReals 8",           Kind::real,      Part::csvData, element(offsetof(CsvObsData, csvReals), 7)},
    {"csvReals 9",           Kind::real,      Part::csvData, element(offsetof(CsvObsData, csvReals), 8)},
    {"biases 1",             Kind::real,      Part::biases,  element(offsetof(ObsBiases, values), 0)},    // 35
    {"biases 2",             Kind::real,      Part::biases,  element(offsetof(ObsBiases, values), 1)},
    {"biases 3",             Kind::real,      Part::biases,  element(offsetof(ObsBiases, values), 2)},
    {"biases 4",             Kind::real,      Part::biases,  element(offsetof(ObsBiases, values), 3)},
    {"biases 5",             Kind::real,      Part::biases,  element(offsetof(ObsBiases, values), 4)},
    {"biases 6",             Kind::real,      Part::biases,  element(offsetof(ObsBiases, values), 5)},    // 40
    {"biases 7",             Kind::real,      Part::biases,  element(offsetof(ObsBiases, values), 6)},
    {"csvReals 3 and 4",     Kind::realPair,  Part::csvData, element(offsetof(CsvObsData, csvReals), 2)},
    {"csvInt1",              Kind::integer,   Part::csvData, offsetof(CsvObsData, csvInt1)},
    {"equinoxInd",           Kind::integer,   Part::record,  offsetof(ObsFields, equinoxInd)},
    {"csvInt2",              Kind::integer,   Part::csvData, offsetof(CsvObsData, csvInt2)},              // 45
    {"biases 4 again",       Kind::repeated,  Part::biases,  element(offsetof(ObsBiases, values), 3)},
    {"biases 5 again",       Kind::repeated,  Part::biases,  element(offsetof(ObsBiases, values), 4)},
    {"biases 6 again",       Kind::repeated,  Part::biases,  element(offsetof(ObsBiases, values), 5)},
    {"biases 7 again",       Kind::repeated,  Part::biases,  element(offsetof(ObsBiases, values), 6)},
    {"rangeSigmaM",          Kind::real,      Part::rfData,  offsetof(RfObsData, rangeSigmaM)},           // 50
    {"unindexedReal",        Kind::real,      Part::csvData, offsetof(CsvObsData, unindexedReal)},
    {"rangeRateSigmaMs",     Kind::real,      Part::rfData,  offsetof(RfObsData, rangeRateSigmaMs)},
    {"lastReals 1",          Kind::real,      Part::csvData, element(offsetof(CsvObsData, lastReals), 0)},
    {"lastReals 2",          Kind::real,      Part::csvData, element(offsetof(CsvObsData, lastReals), 1)},
    {"lastReals 3",          Kind::real,      Part::csvData, element(offsetof(CsvObsData, lastReals), 2)}, // 55
    {"csvReal10",            Kind::real,      Part::csvData, offsetof(CsvObsData, csvReal10)},
    // clang-format on
}};

/// The fields of the time, counted from 1.
inline constexpr std::size_t kFirstDateField = 4, kLastDateField = 8;
static_assert(kFields[kFirstDateField - 1].name == "year" && kFields[kLastDateField - 1].name == "seconds");

/// The owners of a line's values, in the order of `Part`; the reader's are written through, the writer's only read.
template <class Byte>
using Owners = std::array<Byte*, kPartCount>;

constexpr std::size_t ownerOf(const Field& field) {
    return static_cast<std::size_t>(field.part);
}

/// The value of a field in its owner, which must hold a `Value` there.
template <class Value>
Value& valueOf(const Owners<char>& owners, const Field& field) {
    return *reinterpret_cast<Value*>(owners[ownerOf(field)] + field.offset);
}
template <class Value>
const Value& valueOf(const Owners<const char>& owners, const Field& field) {
    return *reinterpret_cast<const Value*>(owners[ownerOf(field)] + field.offset);
}

}  // namespace obs::csv
