// SPDX-License-Identifier: Apache-2.0
/// Writer of B3 cards and of the ECI cards that share their head.
#pragma once

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/FormatObs/CardFields.h"
#include "Obs/FormatObs/CardLines.h"
#include "Obs/FormatObs/Fineness.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Writes a card, blank after its end, of 90 columns, or 126 for a position-and-velocity card. Refuses nothing; what
/// does not fit shows as asterisks. Types 18 and 19 are written with the characters of 8 and 9; their positive range
/// brings them back. A type that no card carries gives the head alone.
MaybeRefusal CreateB3Obs(const ObsRecord& rec, CardLines& lines);

/// Which elements a card carries, and how finely.
void finenessOfB3(Elements& elements);

}  // namespace obs
