// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsStates/Topocentric.h"

#include <algorithm>
#include <cmath>

#include "Obs/ObsStates/Angles.h"
#include "siblings/include/Sensors.h"

namespace obs {

namespace {

constexpr double kMetresInKm = 1000;

bool isZero(const Vector3& vector) { return vector == Vector3{}; }

}  // namespace

family::StateKm temeState(const Vector3& posKm, const Vector3& velKms) {
    family::StateKm state = kNoState;
    if (!isZero(posKm)) std::copy(posKm.begin(), posKm.end(), state.posKm);
    if (!isZero(velKms)) std::copy(velKms.begin(), velKms.end(), state.velKms);
    return state;
}

std::optional<SensorPlace> groundSensor(std::int32_t senNum, double timeDs50, const SensorSource& sensors) {
    family::SensorData data;
    if (!sensors.find(senNum, data) || !data.hasPlace) return std::nullopt;
    SensorPlace sensor{data.latitudeDeg, data.longitudeDeg, data.heightM / kMetresInKm, {}};
    family::StateKm itrs{};
    family::geodetictoitrs(sensor.latitude(), sensor.longitude(), sensor.heightKm, itrs.posKm);
    family::itrstoteme(timeDs50, itrs, sensor.teme);
    return sensor;
}

std::optional<SensorPlace> spaceSensor(const family::StateKm& teme, double timeDs50) {
    SensorPlace sensor;
    sensor.teme = teme;
    family::StateKm itrs;
    family::temetoitrs(timeDs50, teme, itrs);
    double latitude = 0, longitude = 0;
    family::itrstogeodetic(itrs.posKm, latitude, longitude, sensor.heightKm);
    if (!std::isfinite(latitude + longitude + sensor.heightKm)) return std::nullopt;
    sensor.latitudeDeg = latitude * kDegPerRad;
    sensor.longitudeDeg = longitude * kDegPerRad;
    return sensor;
}

family::StateKm stateOfSeen(const SensorPlace& sensor, double timeDs50, const family::Horizon& seen) {
    family::StateKm itrs, teme;
    family::horizontoitrs(sensor.latitude(), sensor.longitude(), sensor.heightKm, seen, itrs);
    family::itrstoteme(timeDs50, itrs, teme);
    return teme;
}

family::Horizon seenOfState(const SensorPlace& sensor, double timeDs50, const family::StateKm& teme) {
    family::StateKm itrs;
    family::Horizon seen;
    family::temetoitrs(timeDs50, teme, itrs);
    family::itrstohorizon(sensor.latitude(), sensor.longitude(), sensor.heightKm, itrs, seen);
    return seen;
}

RaDec directionTo(const SensorPlace& sensor, const family::StateKm& teme) {
    double v[3];
    for (std::size_t i = 0; i < 3; ++i) v[i] = teme.posKm[i] - sensor.teme.posKm[i];
    const double level = std::hypot(v[0], v[1]);
    if (level == 0 && v[2] == 0) return {};
    return {std::atan2(v[1], v[0]), std::atan2(v[2], level)};
}

family::StateKm positionAt(const SensorPlace& sensor, const RaDec& direction, double rangeKm) {
    const double level = rangeKm * std::cos(direction.declination);
    family::StateKm teme = kNoState;
    teme.posKm[0] = sensor.teme.posKm[0] + level * std::cos(direction.rightAscension);
    teme.posKm[1] = sensor.teme.posKm[1] + level * std::sin(direction.rightAscension);
    teme.posKm[2] = sensor.teme.posKm[2] + rangeKm * std::sin(direction.declination);
    return teme;
}

}  // namespace obs
