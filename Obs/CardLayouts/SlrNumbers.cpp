// SPDX-License-Identifier: Apache-2.0
#include "Obs/CardLayouts/SlrNumbers.h"

#include <algorithm>
#include <array>

namespace obs {

namespace {

struct SatellitePair {
    std::int32_t nasaNumber;
    std::int32_t satNum;
};

/// In search order: the first equal entry counts.
constexpr std::array<SatellitePair, 36> kSatellites{{
    {6701101, 2674},  {6701401, 2680},  {7501001, 7646},  {7603901, 8820},  {8606101, 16908}, {8900103, 19751},
    {8903903, 20026}, {9105001, 21574}, {9204701, 22056}, {9205201, 22076}, {9207002, 22195}, {9305401, 22779},
    {9305501, 22782}, {9306102, 22824}, {9400301, 22969}, {9401601, 23027}, {9402102, 23044}, {9402801, 23101},
    {9405001, 23203}, {9405002, 23204}, {9405003, 23205}, {9407401, 23342}, {9500901, 23511}, {8601795, 23558},
    {9502101, 23560}, {9602903, 23908}, {9604601, 24277}, {9701001, 24744}, {9800701, 25157}, {9804301, 25398},
    {1401701, 39635}, {1803501, 43286}, {1406101, 40269}, {1501801, 40547}, {1600301, 41241}, {1303401, 39199},
}};

/// The station in row r (counted from 0) is sensor kFirstSensor + r, with the one exception below. The order is
/// what gives the numbers, so nothing here may be sorted or taken out.
constexpr std::array<std::int32_t, 148> kStations{
    1181, 1863, 1864, 1866, 1867, 1868, 1869, 1870, 1871, 1873, 1884, 1885, 1893, 1953, 7035, 7046, 7051, 7061, 7062,
    7063, 7064, 7065, 7067, 7068, 7069, 7080, 7082, 7084, 7085, 7086, 7090, 7091, 7092, 7096, 7097, 7100, 7101, 7102,
    7103, 7104, 7105, 7106, 7109, 7110, 7112, 7114, 7115, 7120, 7121, 7122, 7123, 7125, 7130, 7210, 7220, 7236, 7237,
    7249, 7265, 7274, 7288, 7295, 7308, 7400, 7401, 7403, 7404, 7410, 7411, 7501, 7502, 7505, 7510, 7512, 7515, 7517,
    7520, 7525, 7530, 7540, 7541, 7542, 7543, 7544, 7545, 7546, 7548, 7550, 7560, 7561, 7575, 7580, 7585, 7587, 7589,
    7596, 7597, 7599, 7602, 7805, 7810, 7811, 7824, 7831, 7832, 7833, 7834, 7835, 7836, 7837, 7838, 7839, 7840, 7843,
    7847, 7848, 7846, 7850, 7853, 7882, 7883, 7884, 7885, 7886, 7887, 7888, 7891, 7892, 7894, 7896, 7899, 7902, 7907,
    7918, 7919, 7920, 7921, 7929, 7935, 7939, 7940, 7943, 8833, 8834, 7124, 7806, 7845, 7827,
};
constexpr std::int32_t kFirstSensor = 50;

/// NOTE: this station keeps the sensor number that it had before the rows were numbered.
constexpr std::int32_t kExceptionalStation = 7090;
constexpr std::int32_t kExceptionalSensor = 18;

/// What stands beside a number in the first row that has it; 0 when none has.
std::int32_t satelliteBeside(std::int32_t SatellitePair::*known, std::int32_t number,
                             std::int32_t SatellitePair::*other) {
    const auto found = std::find_if(kSatellites.begin(), kSatellites.end(),
                                    [=](const SatellitePair& pair) { return pair.*known == number; });
    return found == kSatellites.end() ? 0 : (*found).*other;
}

}  // namespace

std::int32_t Nasa2SsnSat(std::int32_t nasaNumber) {
    return satelliteBeside(&SatellitePair::nasaNumber, nasaNumber, &SatellitePair::satNum);
}

std::int32_t Nasa2SsnSen(std::int32_t stationNumber) {
    if (stationNumber == kExceptionalStation) return kExceptionalSensor;
    const auto found = std::find(kStations.begin(), kStations.end(), stationNumber);
    return found == kStations.end() ? 0 : kFirstSensor + static_cast<std::int32_t>(found - kStations.begin());
}

std::string_view lunarTarget(std::int32_t ilrsId) {
    constexpr std::int32_t kFirst = 100;
    constexpr std::array<std::string_view, 5> kNames{"Apollo 11", "Luna 17", "Apollo 14", "Apollo 15", "Luna 21"};
    const std::int64_t row = static_cast<std::int64_t>(ilrsId) - kFirst;
    return row < 0 || row >= static_cast<std::int64_t>(kNames.size()) ? "" : kNames[static_cast<std::size_t>(row)];
}

std::int32_t Ssn2NasaSat(std::int32_t satNum) {
    return satelliteBeside(&SatellitePair::satNum, satNum, &SatellitePair::nasaNumber);
}

std::int32_t Ssn2NasaSen(std::int32_t senNum) {
    if (senNum == kExceptionalSensor) return kExceptionalStation;
    const std::int64_t row = static_cast<std::int64_t>(senNum) - kFirstSensor;
    if (row < 0 || row >= static_cast<std::int64_t>(kStations.size())) return 0;
    const std::int32_t station = kStations[static_cast<std::size_t>(row)];
    return station == kExceptionalStation ? 0 : station;  // nobody has the number of that row
}

}  // namespace obs
