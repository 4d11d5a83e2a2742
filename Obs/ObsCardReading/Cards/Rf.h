// SPDX-License-Identifier: Apache-2.0
/// Reader of RF lines.
#pragma once

#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsStates/SensorSource.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Fills a default record and its RF part from one line: sixteen items separated by blanks or commas, or, when that
/// cannot be read, by the columns in which lines are written. Sites are looked up in `sensors`. After a
/// refusal the record may be partly filled and is to be discarded.
MaybeRefusal ReadRFObs(const CardText& line, ObsRecord& rec, const SensorSource& sensors = familySensors());

/// The same into common fields that hold defaults, and a default RF part.
MaybeRefusal readRfLine(const CardText& line, const SensorSource& sensors, CommonFields& to, RfObsData& data);

/// RF time text to days since 1950 UTC; false, leaving the time alone, when it is not a date and time.
bool readRfTime(std::string_view text, double& timeDs50);

/// The same; 0 for a text that is not a date and time.
double parserftime(std::string_view text28);

}  // namespace obs
