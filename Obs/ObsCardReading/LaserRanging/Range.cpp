// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Range.h"

#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Constants.h"

namespace obs {

namespace {

constexpr double kSecondsPerDay = 86400;

}  // namespace

MaybeRefusal slrSatellite(std::int32_t ilrsId, std::int32_t catalogueNumber, std::int32_t& satNum) {
    satNum = Nasa2SsnSat(ilrsId);
    if (satNum == 0 && catalogueNumber > 0) satNum = catalogueNumber;
    if (satNum != 0) return std::nullopt;
    if (const std::string_view name = lunarTarget(ilrsId); !name.empty())
        return Refusal{"ReadSlr: Ranges to the Moon are not satellite observations: target ",
                       std::to_string(ilrsId).append(" is ").append(name), 0, "."};
    return Refusal{"ReadSlr: Laser-ranging satellite ", std::to_string(ilrsId), 0,
                   " has no known satellite number, and no header H3 gives its catalogue number."};
}

MaybeRefusal slrSensor(std::int32_t padNumber, const SensorSource& sensors, std::int32_t& senNum) {
    senNum = Nasa2SsnSen(padNumber);
    family::SensorData sensor;
    const bool mayBeSensor = padNumber >= kLowestPadSensor && padNumber <= kHighestPadSensor;
    if (senNum == 0 && mayBeSensor && sensors.find(padNumber, sensor)) senNum = padNumber;
    if (senNum != 0) return std::nullopt;
    return Refusal{"ReadSlr: Laser station ", std::to_string(padNumber), 0,
                   mayBeSensor ? " has no known sensor number; a sensor of the station's own number would do."
                               : " has no known sensor number."}
        .forWantOf(mayBeSensor ? "laser station " + std::to_string(padNumber) : "");
}

double slrRangeKm(double timeOfFlightS, bool twoWay) {
    const double km = family::speedoflightkms() * timeOfFlightS;
    return twoWay ? km / 2 : km;
}

void setSlrRange(CommonFields& to, std::int32_t satNum, std::int32_t senNum, std::int32_t dayDs50,
                 double bounceSecondOfDay, double rangeKm) {
    to = static_cast<const CommonFields&>(kDefaultFields);
    to.satNum = satNum;
    to.senNum = senNum;
    to.obsType = kTypeRange;
    to.obsTime = dayDs50 + bounceSecondOfDay / kSecondsPerDay;
    to.range = rangeKm;
}

std::int32_t slrDayShift(double secondOfDay, double startSecondOfDay) {
    if (secondOfDay < startSecondOfDay - kSecondsPerDay / 2) return 1;
    return secondOfDay > startSecondOfDay + kSecondsPerDay / 2 ? -1 : 0;
}

}  // namespace obs
