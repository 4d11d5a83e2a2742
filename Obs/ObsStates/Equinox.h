// SPDX-License-Identifier: Apache-2.0
/// Rotation to the equinox of date, the last step of every reader of right ascension and declination.
#pragma once

#include "Obs/ObsTypes/ObsRecord.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

/// Rotates a record's right ascension and declination to the equinox of date. The caller resets `equinoxInd`.
void rotobstodate(ObsRecord& rec);

/// Whether right ascension and declination are to be rotated to date.
inline bool needsRotation(std::int32_t obsType, std::int32_t equinoxInd, std::int32_t rotateToDate) {
    return rotateToDate != 0 && equinoxInd != 0 && ObsHasRaDec(obsType);
}

/// Rotates a record that carries right ascension and declination, when it asks for that and is not of date yet.
void rotateIfAsked(ObsRecord& rec);

}  // namespace obs
