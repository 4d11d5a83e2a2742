// SPDX-License-Identifier: Apache-2.0
/// Writer of TTY messages.
#pragma once

#include "Obs/FormatObs/CardFields.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Writes both cards, each into at least CardWriter::kCapacity characters and blank behind its end; card 2 is all
/// blank for the types that need none. Never fails; what does not fit shows as asterisks. The year is not written.
void CreateTTYObs(const ObsRecord& rec, char* card1, char* card2);

}  // namespace obs
