// SPDX-License-Identifier: Apache-2.0
/// What Obs asks of the environment constants library.
#pragma once

#include "siblings/include/Export.h"

namespace family {

FAMILY_API double earthradiuskm();      ///< WGS-72, the radius of canonical units
FAMILY_API double earthflattening();    ///< WGS84, for geodetic stations
FAMILY_API double earthmukm3s2();       ///< WGS-72 gravitational parameter, km^3/s^2
FAMILY_API double earthrotationrads();  ///< rad per second of UT1
FAMILY_API double speedoflightkms();    ///< exact, km/s

}  // namespace family
