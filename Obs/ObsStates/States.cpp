// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsStates/States.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsStates/Equinox.h"
#include "Obs/ObsStates/Topocentric.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr double kSecondsInDay = 86400;

/// So far away that adding a sensor's position leaves the direction as it is to the last bit or two.
constexpr double kFarKm = 1e12;

/// What is known at one time. Angles in degrees; what is not known is not a number.
struct Known {
    double timeDs50 = kNotKnown;
    std::optional<SensorPlace> sensor;
    family::StateKm satellite = kNoState;
    double azimuth = kNotKnown;
    double elevation = kNotKnown;
    double range = kNotKnown;
    double rangeRate = kNotKnown;
    double rightAscension = kNotKnown;
    double declination = kNotKnown;
};

bool isFinite(const double (&v)[3]) { return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]); }

/// Years 1 to 9999, which all frames and calendars have.
bool isDate(double timeDs50) {
    double dayOfYear = 0;
    std::int32_t year = 0;
    family::fyklok(timeDs50, dayOfYear, year);
    return year != 0;
}

// --- What was measured ---------------------------------------------------------------------

/// NOTE: an angle beyond the zenith or the pole is not a direction, and a range of 0 none of a satellite.
void takeMeasured(const ObsRecord& rec, Known& known) {
    const bool isDirection = std::fabs(rec.elOrDec) <= 90 && std::isfinite(rec.azOrRa);
    if (ObsHasAzEl(rec.obsType) && isDirection) {
        known.azimuth = withinTurnDeg(rec.azOrRa);
        known.elevation = rec.elOrDec;
    }
    if (ObsHasRaDec(rec.obsType) && isDirection) {
        known.rightAscension = withinTurnDeg(rec.azOrRa);
        known.declination = rec.elOrDec;
    }
    if (ObsHasRange(rec.obsType) && rec.range > 0) known.range = rec.range;
    if (ObsHasRangeRate(rec.obsType)) known.rangeRate = rec.rangeRate;
}

// --- Where sensor and satellite are ----------------------------------------------------------

std::optional<SensorPlace> sensorOf(const ObsRecord& rec) {
    if (kSensorPositionTypes.has(rec.obsType)) return spaceSensor(temeState(rec.senPos, rec.senVel), rec.obsTime);
    return groundSensor(rec.senNum, rec.obsTime);
}

/// The position that a direction and a distance give; with the rates of a type 4, the velocity as well.
family::StateKm stateAlong(const Known& known, const ObsRecord& rec, double rangeKm) {
    if (!known.sensor) return kNoState;
    if (!std::isfinite(known.azimuth))
        return positionAt(*known.sensor, {known.rightAscension / kDegPerRad, known.declination / kDegPerRad}, rangeKm);
    family::Horizon seen{
        known.azimuth / kDegPerRad, known.elevation / kDegPerRad, rangeKm, kNotKnown, kNotKnown, kNotKnown};
    if (ObsHasAzElRate(rec.obsType)) {
        seen.azimuthRate = rec.azRate / kDegPerRad;
        seen.elevationRate = rec.elRate / kDegPerRad;
        seen.rangeRateKms = rec.rangeRate;
    }
    return stateOfSeen(*known.sensor, known.timeDs50, seen);
}

family::StateKm satelliteOf(const ObsRecord& rec, const Known& known) {
    if (rec.obsType == kTypePositionVelocity) return temeState(rec.senPos, rec.senVel);
    if (rec.obsType == kTypeEciPositionVelocity) return temeState(rec.satPos, rec.satVel);
    if (rec.obsType == kTypeEciPosition) return temeState(rec.satPos, {});
    return stateAlong(known, rec, known.range);
}

Known atItsTime(const ObsRecord& rec) {
    Known known;
    known.timeDs50 = rec.obsTime;
    takeMeasured(rec, known);
    known.sensor = sensorOf(rec);
    known.satellite = satelliteOf(rec, known);
    return known;
}

/// The satellite, and a sensor in space, moved on; nothing measured holds any more. False when it cannot be done.
bool moveTo(double timeDs50, const ObsRecord& rec, Known& known) {
    const double seconds = (timeDs50 - known.timeDs50) * kSecondsInDay;
    Known moved;
    moved.timeDs50 = timeDs50;
    if (!family::twobodymotion(known.satellite, seconds, moved.satellite)) return false;
    // No type with a sensor in space has a velocity of the satellite.
    moved.sensor = groundSensor(rec.senNum, timeDs50);
    known = moved;
    return true;
}

// --- What follows ----------------------------------------------------------------------------

void fill(double& value, double from) {
    if (!std::isfinite(value)) value = from;
}

/// What the sensor sees, where it was not measured.
void completeSeen(const ObsRecord& rec, Known& known) {
    if (!known.sensor) return;
    const bool isPlaced = isFinite(known.satellite.posKm);
    // A measured direction takes precedence over one from a position, which near the sensor is nothing but rounding.
    const bool isMeasured = std::isfinite(known.azimuth) || std::isfinite(known.rightAscension);
    const family::StateKm target = isMeasured ? stateAlong(known, rec, kFarKm) : known.satellite;
    const RaDec direction = directionTo(*known.sensor, target);
    const family::Horizon seen = seenOfState(*known.sensor, known.timeDs50, target);
    if (!(seen.rangeKm > 0)) return;
    fill(known.azimuth, withinTurnDeg(seen.azimuth * kDegPerRad));
    fill(known.elevation, seen.elevation * kDegPerRad);
    fill(known.rightAscension, withinTurnDeg(direction.rightAscension * kDegPerRad));
    fill(known.declination, direction.declination * kDegPerRad);
    if (!isPlaced || isMeasured) return;
    fill(known.range, seen.rangeKm);
    fill(known.rangeRate, seen.rangeRateKms);
}

using Values = std::array<double, kStatesLength>;

void put(Values& values, StateBit block, std::initializer_list<double> reals) {
    std::copy(reals.begin(), reals.end(), values.begin() + kStateBlocks[block].first);
}

void put(Values& values, StateBit block, const double (&v)[3]) { put(values, block, {v[0], v[1], v[2]}); }

void putSatellite(const Known& known, Values& values) {
    if (!isFinite(known.satellite.posKm) && !isFinite(known.satellite.velKms)) return;
    family::StateKm j2000, itrs;
    double latitude = 0, longitude = 0, heightKm = 0;
    family::temetoj2000(known.timeDs50, known.satellite, j2000);
    family::temetoitrs(known.timeDs50, known.satellite, itrs);
    family::itrstogeodetic(itrs.posKm, latitude, longitude, heightKm);
    put(values, kSatPosBlock, known.satellite.posKm);
    put(values, kSatVelBlock, known.satellite.velKms);
    put(values, kSatPosJ2000Block, j2000.posKm);
    put(values, kSatVelJ2000Block, j2000.velKms);
    put(values, kSatGeodeticBlock, {latitude * kDegPerRad, longitude * kDegPerRad, heightKm});
}

void putSensor(const SensorPlace& sensor, Values& values) {
    put(values, kSenPosBlock, sensor.teme.posKm);
    put(values, kSenVelBlock, sensor.teme.velKms);
    put(values, kSenGeodeticBlock,
        {sensor.latitudeDeg, std::remainder(sensor.longitudeDeg, kTurnDeg), sensor.heightKm});
}

/// Blocks of numbers alone go out and into the mask. False when there is none but the time.
bool putValid(const Values& values, double* states) {
    unsigned mask = 0;
    for (std::size_t bit = 0; bit < kStateBlocks.size(); ++bit) {
        const double* first = values.data() + kStateBlocks[bit].first;
        const double* last = first + kStateBlocks[bit].count;
        if (!std::all_of(first, last, [](double value) { return std::isfinite(value); })) continue;
        std::copy(first, last, states + kStateBlocks[bit].first);
        mask |= 1u << bit;
    }
    states[kStatesMask] = mask;
    return mask != 1u << kTimeBlock;
}

}  // namespace

MaybeRefusal obsrec2states(ObsRecord rec, double timeDs50, double* states) {
    std::fill_n(states, kStatesLength, 0.0);
    rec.rotateToDate = 1;
    rotateIfAsked(rec);
    rec.obsType = typeWithRange(rec.obsType, rec.range);
    const double time = timeDs50 != 0 ? timeDs50 : rec.obsTime;
    if (!isDate(rec.obsTime) || !isDate(time)) return Refusal{"The time is not within the years 1 to 9999."};
    Known known = atItsTime(rec);
    if (time != rec.obsTime && !moveTo(time, rec, known))
        return Refusal{isFinite(known.satellite.velKms)
                           ? "Two-body motion does not lead from the observation's state to that time."
                           : "The observation has no position and velocity to be moved to another time."};
    completeSeen(rec, known);

    Values values{};
    values.fill(kNotKnown);
    put(values, kTimeBlock, {known.timeDs50});
    put(values, kAzElBlock, {known.azimuth, known.elevation});
    put(values, kRangeBlock, {known.range});
    put(values, kRangeRateBlock, {known.rangeRate});
    put(values, kRaDecBlock, {known.rightAscension, known.declination});
    putSatellite(known, values);
    if (known.sensor) putSensor(*known.sensor, values);
    if (putValid(values, states)) return std::nullopt;
    std::fill_n(states, kStatesLength, 0.0);
    return Refusal{"The observation determines nothing (type ",
                   std::to_string(rec.obsType) + ", sensor " + std::to_string(rec.senNum), 0, ")."};
}

}  // namespace obs
