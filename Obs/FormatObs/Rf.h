// SPDX-License-Identifier: Apache-2.0
/// Writer of RF lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Obs/CardLayouts/Rf.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Writes a line into at least rf::kLineColumns characters and gives its length. What does not fit its columns shows
/// as asterisks.
///
/// Returns 0; the error code of the sensor look-up when the observation's sensor is not known (logged by the sensor
/// library); 2 when the record has no RF part, with a message for a caller who reports it. On failure the
/// line is blank and its length 0.
std::int32_t CreateRFObs(const ObsRecord& rec, char* line, std::size_t& length, std::string_view* message = nullptr);

/// Days since 1950 UTC as RF time text, rounded to the microsecond; asterisks outside the years 1 to 9999.
void formatrftime(double ds50, char text[rf::kTimeLength]);

}  // namespace obs
