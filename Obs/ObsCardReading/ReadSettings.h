// SPDX-License-Identifier: Apache-2.0
/// All that the reader of a line consults besides the line.
#pragma once

#include <cstdint>

#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsStates/SensorSource.h"

namespace obs {

struct ReadSettings {
    std::int32_t ttyYear = 0;       ///< 0 not set: TTY messages are refused
    std::int32_t rotateToDate = 1;  ///< of the records that are read
    const SensorSource* sensors = &familySensors();
    SlrCorrectionSettings corrections{};  ///< of laser ranges
    bool oneCardOnly = false;             ///< no second card may be taken from the file: its name is a default one
    bool ignoresYearLines = false;        ///< TTY_YEAR lines say nothing
    bool keepsStrayHeaders = false;       ///< a laser-ranging header that nothing introduces is an empty record
};

}  // namespace obs
