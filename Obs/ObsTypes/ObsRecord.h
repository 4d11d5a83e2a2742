// SPDX-License-Identifier: Apache-2.0
/// One observation, as every reader fills it and every writer takes it, with the
/// optional parts it may own. Plain values; a default record is what each reader starts from.
///
/// Ownership: a record owns its optional parts. Copying a record copies them, releasing a
/// record (or leaving its scope) releases them. Copying can throw std::bad_alloc.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Obs/ObsTypes/Owned.h"

namespace obs {

using Vector3 = std::array<double, 3>;

/// A list of reals with its own bounds: `values[0]` has the index `lowerBound`.
struct RealList {
    std::int32_t lowerBound = 1;
    std::vector<double> values;

    std::int32_t upperBound() const { return lowerBound + static_cast<std::int32_t>(values.size()) - 1; }
};

/// Bias and sigma values, carried through unnamed.
struct ObsBiases {
    std::array<double, 7> values{};
};

/// What only the CSV format carries.
struct CsvObsData {
    char csvChar = ' ';
    std::int32_t csvInt1 = 0;
    std::int32_t csvInt2 = 1;
    std::array<double, 9> csvReals{};
    double unindexedReal = 0;  ///< reached by no field index
    double csvReal10 = 0;
    std::array<double, 3> lastReals{};
};

/// What only a differential-range (RF) observation carries.
struct RfObsData {
    std::int32_t site1SenNum = 0;
    double delay1 = 0;
    double delay2 = 0;
    double rangeSigmaM = 0;
    double rangeRateSigmaMs = 0;
    std::int64_t rf = 0;
    double snr = 0;
    std::array<char, 3> flags{' ', ' ', ' '};
    double processTime = 0;  ///< days since 1950 UTC
};

/// The numbers that nearly every observation has. They are stored as they stand here, see Pools.h.
struct CommonFields {
    std::int32_t equinoxInd = 0;  ///< 0 of date, 1 start of year, 2 J2000, 3 B1950
    std::int32_t satNum = 0;
    std::int32_t senNum = 0;
    std::int32_t obsType = 0;  ///< 18 and 19 are 8 and 9 with a range
    std::int32_t indicator1 = 0;
    std::int32_t indicator2 = 0;
    std::int32_t altSatNum1 = 0;  ///< keys the observation when satNum is 0
    std::int32_t altSatNum2 = 0;  ///< keys the observation when both others are 0
    double obsTime = 0;           ///< days since 1950 UTC
    double elOrDec = 0;           ///< elevation or declination by type, degrees
    double azOrRa = 0;            ///< azimuth or right ascension by type, degrees
    double range = 0;             ///< km
    double rangeRate = 0;         ///< km/s
};

/// Triples of reals that few observations have; the store keeps those that are not all zero.
struct RareFields {
    double elRate = 0;      ///< as on the cards
    double azRate = 0;      ///< as on the cards
    double rangeAccel = 0;  ///< as on the cards
    Vector3 senPos{};       ///< sensor position, km (types 8, 9, 18, 19)
    Vector3 senVel{};       ///< km/s
    Vector3 satPos{};       ///< satellite position, km (types 10, 11)
    Vector3 satVel{};       ///< km/s
};

/// The plain fields of an observation. FieldList.h tells what else there is to know of each.
struct ObsFields : CommonFields, RareFields {
    char secClass = 'U';            ///< classification; "U", "C" and "S" are recognised
    std::int32_t rotateToDate = 1;  ///< nonzero: readers rotate right ascension and declination to date
};

/// What an observation may have besides.
struct OptionalParts {
    Owned<RealList> extraValues;  ///< sigmas: 6, 7 or 21 values
    Owned<ObsBiases> biases;
    Owned<CsvObsData> csvData;
    Owned<RfObsData> rfData;

    bool hasParts() const { return extraValues || biases || csvData || rfData; }
};

struct ObsRecord : ObsFields, OptionalParts {};

/// What goes with common fields that are written where the record stays.
struct UncommonFields {
    char secClass = 'U';
    bool rotateToDate = true;
    const RareFields* rare = nullptr;  ///< null where all of them are 0
    const RfObsData* rf = nullptr;     ///< the only optional part, or null
};

/// Releases each optional part that is present; the record itself stays usable.
void freeobsrecord(ObsRecord& rec);

/// NOTE: where compilers see that these are zeros they write them by an instruction that is slow to start; copied from
/// elsewhere they go in wide pieces.
extern const ObsFields kDefaultFields;

/// Makes a record the default one again.
inline void resetobsrecord(ObsRecord& rec) {
    static_cast<ObsFields&>(rec) = kDefaultFields;
    if (rec.hasParts()) freeobsrecord(rec);
}

}  // namespace obs
