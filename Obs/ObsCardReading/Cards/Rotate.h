// SPDX-License-Identifier: Apache-2.0
/// Rotation to the equinox of date, the last step of every reader of right ascension and declination.
#pragma once

#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/ObsRecord.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

/// Rotates a record that carries right ascension and declination, when it asks for that and is not of date yet.
inline void rotateIfAsked(ObsRecord& rec) {
    if (rec.rotateToDate == 0 || rec.equinoxInd == 0 || !ObsHasRaDec(rec.obsType)) return;
    rotobstodate(rec);
    rec.equinoxInd = 0;
}

}  // namespace obs
