/// What Obs asks of the coordinate library. Angles in radians, positions in km.
///
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
FAMILY_API void rotradec_eqnx2date(std::int32_t equinoxInd, double ds50, double& declination,
                                   double& rightAscension);

/// Kilometres to Earth radii and back, three components.
FAMILY_API void tocanonicalpos(const double km[3], double earthRadii[3]);
FAMILY_API void fromcanonicalpos(const double earthRadii[3], double km[3]);

}  // namespace family
