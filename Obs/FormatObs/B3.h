// SPDX-License-Identifier: Apache-2.0
/// Writer of B3 cards and of the ECI cards that share their head.
#pragma once

#include "Obs/FormatObs/CardFields.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Writes a card into at least CardWriter::kCapacity characters, blank behind its end, and returns its columns: 90,
/// or 126 for a position-and-velocity card. Never fails; what does not fit shows as asterisks. Types 18 and 19 are written with the characters of 8 and 9; their
/// positive range brings them back. A type that no card carries gives the head alone.
std::size_t CreateB3Obs(const ObsRecord& rec, char* text);

}  // namespace obs
