// SPDX-License-Identifier: Apache-2.0
/// Earth orientation as the application set it, for conversions within the coordinate library.
#pragma once

#include <cstdint>

namespace family {

struct EarthOrientation {
    double dut1S = 0;     ///< UT1-UTC, seconds
    double xpArcsec = 0;  ///< polar motion
    double ypArcsec = 0;
    double lodS = 0;  ///< excess length of day, seconds
};

/// The values at a time, of one setting or one file, never a mixture of two.
EarthOrientation earthorientation(double ds50);

/// Another number after each change of the values.
std::uint32_t earthorientationversion();

}  // namespace family
