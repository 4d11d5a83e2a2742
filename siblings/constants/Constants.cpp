// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Constants.h"

namespace family {

/// WGS-72 (DMA, "The Department of Defense World Geodetic System 1972"): the Earth model of the
/// orbit theory behind two-line elements, whose canonical unit of length is this radius.
double earthradiuskm() { return 6378.135; }

/// WGS84 defining parameter 1/f (NIMA TR8350.2, third edition, table 3.1).
double earthflattening() { return 1.0 / 298.257223563; }

/// WGS-72, same source as the radius.
double earthmukm3s2() { return 398600.8; }

/// Rate of Greenwich mean sidereal time 1982 without the precession in right ascension
/// (AIAA 2006-6753); the true rate is this times (1 - LOD / 86400 s).
double earthrotationrads() { return 7.29211514670698e-5; }

/// Exact since the 1983 definition of the metre (CGPM resolution 1).
double speedoflightkms() { return 299792.458; }

}  // namespace family
