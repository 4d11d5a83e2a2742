// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsStates/Equinox.h"

#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Coords.h"

namespace obs {

void rotobstodate(ObsRecord& rec) {
    if (rec.equinoxInd < 1 || rec.equinoxInd > 3) return;  // not even the last bit may change then
    double declination = rec.elOrDec * kRadPerDeg;
    double rightAscension = rec.azOrRa * kRadPerDeg;
    family::rotradec_eqnx2date(rec.equinoxInd, rec.obsTime, declination, rightAscension);
    rec.elOrDec = declination * kDegPerRad;
    rec.azOrRa = rightAscension * kDegPerRad;
}

void rotateIfAsked(ObsRecord& rec) {
    if (!needsRotation(rec.obsType, rec.equinoxInd, rec.rotateToDate)) return;
    rotobstodate(rec);
    rec.equinoxInd = 0;
}

}  // namespace obs
