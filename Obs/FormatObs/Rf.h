// SPDX-License-Identifier: Apache-2.0
/// Writer of RF lines.
#pragma once

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/CardLayouts/Rf.h"
#include "Obs/FormatObs/CardLines.h"
#include "Obs/FormatObs/Fineness.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Writes a line. What does not fit its columns shows as asterisks.
///
/// Refuses, the line being blank, an observation whose sensor is not known, with the error code of the sensor look-up,
/// and one without an RF part, with the status 2; neither is to be logged.
MaybeRefusal CreateRFObs(const ObsRecord& rec, CardLines& lines);

/// Days since 1950 UTC as RF time text, rounded to the microsecond; asterisks outside the years 1 to 9999.
void formatrftime(double ds50, char text[rf::kTimeLength]);

/// Which elements a line carries, and how finely.
void finenessOfRf(Elements& elements);

}  // namespace obs
