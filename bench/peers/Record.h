// SPDX-License-Identifier: Apache-2.0
/// What every peer keeps for one observation, and the rules all of them share with the product:
/// time scale, key, duplicate test, list orders.
#pragma once

#include <cstdint>
#include <tuple>

namespace peers {

/// 240 bytes, as a plain struct with the product's fields would be.
struct Record {
    char secClass = 'U';
    std::int32_t equinox = 0, satNum = 0, senNum = 0, obsType = 0;
    std::int32_t indicator1 = 0, indicator2 = 0, altSatNum1 = 0, altSatNum2 = 0;
    double obsTime = 0;  ///< days since 1950
    double elOrDec = 0, azOrRa = 0, range = 0, rangeRate = 0, elRate = 0, azRate = 0, rangeAccel = 0;
    double senPos[3] = {}, senVel[3] = {}, satPos[3] = {}, satVel[3] = {};
    std::int32_t rotateToDate = 1;
    void* parts[4] = {};  ///< the optional companions, which no B3 card fills
};
static_assert(sizeof(Record) == 240);

/// Days from the zero of the scale to the last day of the year before; 1957 to 2056.
inline int daysBeforeYear(int year) { return 365 * (year - 1950) + (year - 1949) / 4; }

inline bool isLeapYear(int year) { return year % 4 == 0; }

inline int yearOf(double days) {
    int year = 1950 + static_cast<int>((days - 1.0) / 365.25);
    while (days - daysBeforeYear(year + 1) >= 1.0) ++year;
    while (days - daysBeforeYear(year) < 1.0) --year;
    return year;
}

inline std::int64_t keyOf(const Record& r) {
    const double dayOfYear = r.obsTime - daysBeforeYear(yearOf(r.obsTime));
    return static_cast<std::int64_t>(864000.0 * dayOfYear) * 10'000'000'000 +
           std::int64_t{r.satNum % 10'000'000} * 1000 + r.senNum % 1000;
}

inline bool sameObservation(const Record& a, const Record& b) {
    return a.satNum == b.satNum && a.obsTime == b.obsTime && a.obsType == b.obsType && a.elOrDec == b.elOrDec &&
           a.azOrRa == b.azOrRa && a.range == b.range && a.rangeRate == b.rangeRate;
}

/// The orders 1, 6 and 10 of ObsGetLoaded.
inline bool comesBefore1(const Record& a, const Record& b) {
    return std::tie(a.obsTime, a.senNum, a.obsType, a.elOrDec) < std::tie(b.obsTime, b.senNum, b.obsType, b.elOrDec);
}
inline bool comesBefore6(const Record& a, const Record& b) {
    return std::tie(a.senNum, a.satNum, a.obsType, a.obsTime, a.elOrDec) <
           std::tie(b.senNum, b.satNum, b.obsType, b.obsTime, b.elOrDec);
}
inline bool comesBefore10(const Record& a, const Record& b) {
    return std::tie(a.satNum, a.senNum, a.obsTime) < std::tie(b.satNum, b.senNum, b.obsTime);
}

}  // namespace peers
