// SPDX-License-Identifier: Apache-2.0
/// Writer of TTY messages.
#pragma once

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/FormatObs/CardFields.h"
#include "Obs/FormatObs/CardLines.h"
#include "Obs/FormatObs/Fineness.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Writes both cards, each blank after its end; card 2 is all blank, and its length 0, for the types that need none.
/// Refuses nothing; what does not fit shows as asterisks. The year is not written.
MaybeRefusal CreateTTYObs(const ObsRecord& rec, CardLines& lines);

/// Which elements a message carries, and how finely.
void finenessOfTty(Elements& elements);

}  // namespace obs
