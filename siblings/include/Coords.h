// SPDX-License-Identifier: Apache-2.0
/// What Obs asks of the coordinate library. Angles in radians, longitude east, azimuth from north to
/// east; km, km/s and radians per second. Frames and models: docs/design/coordinates.md.
///
/// Arguments that are not finite, and times of no calendar date, give results that are not numbers
/// unless said otherwise. A result may be the same object as an argument.
/// Threads: all functions are pure, given fixed Earth orientation.
#pragma once

#include <cstdint>

#include "siblings/include/Export.h"

namespace family {

/// Rotates right ascension and declination to the true equator, mean equinox of date
/// (the frame of two-line elements), in place.
///
/// `equinoxInd`: 1 mean equinox of the start of the observation's year (1 January 0h),
/// 2 J2000 (FK5), 3 B1950 (FK4); any other value changes nothing.
/// IAU 1976 precession, IAU 1980 nutation, equation of the equinoxes 1994; B1950 by
/// the FK4 to FK5 transformation for zero proper motion. Right ascension comes back in [0, 2 pi).
FAMILY_API void rotradec_eqnx2date(std::int32_t equinoxInd, double ds50, double& declination, double& rightAscension);

/// Kilometres to Earth radii and back, three components.
FAMILY_API void tocanonicalpos(const double km[3], double earthRadii[3]);
FAMILY_API void fromcanonicalpos(const double earthRadii[3], double km[3]);

// --- Earth-fixed (ITRS), true equator and mean equinox of date (TEME), J2000 (FK5) ----------------

struct StateKm {
    double posKm[3];
    double velKms[3];
};

/// WGS84, and back. At the Earth's axis the longitude is 0, at its centre the height that of a pole.
FAMILY_API void geodetictoitrs(double latitude, double longitude, double heightKm, double itrsKm[3]);
FAMILY_API void itrstogeodetic(const double itrsKm[3], double& latitude, double& longitude, double& heightKm);

/// Polar motion, sidereal time GMST82 of UT1, rotation of the Earth in the velocity; Earth orientation
/// as set by the application. The velocity in ITRS is that which an observer on the ground sees.
FAMILY_API void itrstoteme(double ds50, const StateKm& itrs, StateKm& teme);
FAMILY_API void temetoitrs(double ds50, const StateKm& teme, StateKm& itrs);

/// Precession, nutation and equation of the equinoxes as `rotradec_eqnx2date`. The frame's own turning,
/// below 0.1 mm/s at 7000 km, is left out of the velocity, as TEME is meant.
FAMILY_API void temetoj2000(double ds50, const StateKm& teme, StateKm& j2000);
FAMILY_API void j2000toteme(double ds50, const StateKm& j2000, StateKm& teme);

// --- What a station sees, without refraction, aberration and light time ---------------------------

struct Horizon {
    double azimuth, elevation, rangeKm;
    double azimuthRate, elevationRate, rangeRateKms;
};

/// Station by WGS84 latitude, longitude and height.
FAMILY_API void horizontoitrs(double latitude, double longitude, double heightKm, const Horizon& seen, StateKm& itrs);

/// Azimuth in [0, 2 pi). In the zenith, where they have no meaning, azimuth and the rates of both
/// angles are 0; at the station itself everything is.
FAMILY_API void itrstohorizon(double latitude, double longitude, double heightKm, const StateKm& itrs, Horizon& seen);

// --- Motion -----------------------------------------------------------------------------------------

/// Two-body motion over `seconds` (of either sign) about the Earth of the constants library, in an
/// inertial frame; any conic section. False, with `to` unchanged, for a state at the centre or not finite,
/// for what does not converge, and where rounding would cost a millionth of the distance: beyond 1e9
/// revolutions, or on a hyperbola from very far out.
FAMILY_API bool twobodymotion(const StateKm& from, double seconds, StateKm& to);

}  // namespace family
