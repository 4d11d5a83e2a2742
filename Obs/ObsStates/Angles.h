// SPDX-License-Identifier: Apache-2.0
/// Constants of angles and the ways to bring one into a turn. Each leaves an angle that is there already as it is, to
/// the last bit.
#pragma once

#include <cmath>

namespace obs {

inline constexpr double kTurnDeg = 360;
inline constexpr double kDegPerRad = 57.295779513082320876798154814105;
inline constexpr double kRadPerDeg = 0.017453292519943295769236907684886;

/// An angle above -1 turn, such as an azimuth counted from north either way, as one counted eastwards.
inline double eastwardsDeg(double degrees) { return degrees < 0 ? degrees + kTurnDeg : degrees; }

/// Any angle as one from 0 to 360, both included. What is not finite stays as it is.
inline double inClosedTurnDeg(double degrees) {
    if (!std::isfinite(degrees) || (degrees >= 0 && degrees <= kTurnDeg)) return degrees;
    return eastwardsDeg(std::fmod(degrees, kTurnDeg));
}

/// Any angle as one from 0 to below 360.
inline double withinTurnDeg(double degrees) {
    if (degrees >= 0 && degrees < kTurnDeg) return degrees;
    const double within = eastwardsDeg(std::fmod(degrees, kTurnDeg));
    // NOTE: a tiny negative angle and a turn add up to a whole one; adding 0 takes the sign off a zero.
    return within < kTurnDeg ? within + 0.0 : 0;
}

}  // namespace obs
