// SPDX-License-Identifier: Apache-2.0
/// Between what a sensor sees and where the satellite is: what the states of observations and the conversion of type 7
/// share, so that one is the inverse of the other.
///
/// Angles in radians, km, km/s. Inertial positions and velocities are of date (true equator, mean equinox: TEME).
/// Without refraction, aberration and light time. A value that is not known is not a number, and neither is what
/// follows from it. Threads: everything here is pure, given the sensors and the Earth orientation.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsStates/SensorSource.h"
#include "Obs/ObsTypes/ObsRecord.h"
#include "siblings/include/Coords.h"

namespace obs {

inline constexpr double kNotKnown = std::numeric_limits<double>::quiet_NaN();
inline constexpr family::StateKm kNoState{{kNotKnown, kNotKnown, kNotKnown}, {kNotKnown, kNotKnown, kNotKnown}};

/// A sensor at one time.
struct SensorPlace {
    double latitudeDeg = 0;   ///< geodetic, WGS84
    double longitudeDeg = 0;  ///< east
    double heightKm = 0;

    double latitude() const { return latitudeDeg / kDegPerRad; }
    double longitude() const { return longitudeDeg / kDegPerRad; }
    family::StateKm teme{};
};

/// A direction among the stars.
struct RaDec {
    double rightAscension = kNotKnown;
    double declination = kNotKnown;
};

/// A state of date from a record's vectors; a vector of zeros is none.
family::StateKm temeState(const Vector3& posKm, const Vector3& velKms);

/// A sensor that turns with the Earth; none when its number is not known. Logs nothing.
std::optional<SensorPlace> groundSensor(std::int32_t senNum, double timeDs50,
                                        const SensorSource& sensors = familySensors());

/// A sensor in space; its geodetic place is where its horizon is.
std::optional<SensorPlace> spaceSensor(const family::StateKm& teme, double timeDs50);

/// What is seen in the horizon of a sensor, as a state; and back.
family::StateKm stateOfSeen(const SensorPlace& sensor, double timeDs50, const family::Horizon& seen);
family::Horizon seenOfState(const SensorPlace& sensor, double timeDs50, const family::StateKm& teme);

/// The direction from a sensor to a position; and the position at a distance.
RaDec directionTo(const SensorPlace& sensor, const family::StateKm& teme);
family::StateKm positionAt(const SensorPlace& sensor, const RaDec& direction, double rangeKm);

}  // namespace obs
