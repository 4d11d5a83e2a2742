// SPDX-License-Identifier: Apache-2.0
/// Rotation to the equinox of date, the last step of every reader of right ascension and declination.
#pragma once

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Rotates a record's right ascension and declination to the equinox of date. The caller resets `equinoxInd`.
void rotobstodate(ObsRecord& rec);

/// Rotates a record that carries right ascension and declination, when it asks for that and is not of date yet.
void rotateIfAsked(ObsRecord& rec);

}  // namespace obs
