// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Coords.h"

#include <cmath>

#include <erfa.h>

#include "siblings/coords/Epoch.h"

namespace family {
namespace {

constexpr std::int32_t kYearStart = 1;
constexpr std::int32_t kB1950 = 3;

/// From the mean equator and equinox of the year's start to the mean ones of date.
void yearStartToMean(const Epoch& time, double matrix[3][3]) {
    double zeta = 0, z = 0, theta = 0;
    eraPrec76(time.yearStart, 0, time.ttDay, time.ttFraction, &zeta, &z, &theta);
    eraIr(matrix);
    eraRz(-zeta, matrix);
    eraRy(theta, matrix);
    eraRz(-z, matrix);
}

}  // namespace

void rotradec_eqnx2date(std::int32_t equinoxInd, double ds50, double& declination, double& rightAscension) {
    if (equinoxInd < kYearStart || equinoxInd > kB1950 || !std::isfinite(ds50) || !std::isfinite(declination) ||
        !std::isfinite(rightAscension)) {
        return;
    }
    Epoch time;
    if (!epochOf(ds50, time)) { return; }
    double ra = rightAscension, dec = declination;
    double toMean[3][3];
    if (equinoxInd == kYearStart) {
        yearStartToMean(time, toMean);
    } else {
        if (equinoxInd == kB1950) {
            eraFk45z(rightAscension, declination, eraEpb(time.ttDay, time.ttFraction), &ra, &dec);
        }
        eraPmat76(time.ttDay, time.ttFraction, toMean);
    }
    Nutation nutation = nutationOf(time);
    double toTrue[3][3], given[3], rotated[3];
    eraRxr(nutation.matrix, toMean, toTrue);
    eraS2c(ra, dec, given);
    eraRxp(toTrue, given, rotated);
    eraC2s(rotated, &ra, &dec);
    declination = dec;
    rightAscension = withinTurn(ra - nutation.equationOfEquinoxes);
}

}  // namespace family
