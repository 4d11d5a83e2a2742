// SPDX-License-Identifier: Apache-2.0
/// Writer of CSV observation lines.
#pragma once

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/FormatObs/CardLines.h"
#include "Obs/FormatObs/Fineness.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Writes a line; nothing is written after its end. Every number is
/// the shortest text that reads back to the same value, the time to the same bits; a line that would be longer
/// than 512 characters has its reals, the seconds apart, rounded to 16 down to 9 significant digits until it fits.
///
/// Refuses type 7, and what no line can hold: a value that is not finite, a time outside the years 1 to 9999, a comma
/// or control character as classification or CSV character, a line that does not fit with 9 digits. The
/// length is then 0.
MaybeRefusal CreateCsvObs(const ObsRecord& rec, CardLines& lines);

/// Which elements a line carries, and how finely.
void finenessOfCsv(Elements& elements);

}  // namespace obs
