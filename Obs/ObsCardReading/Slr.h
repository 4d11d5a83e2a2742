/// Laser-ranging data inside observation files.
#pragma once

#include <string_view>

#include "Obs/ObsCardReading/LineReader.h"
#include "Obs/ObsCardReading/LoadState.h"

namespace obs {

/// Reads what an SLROBS line names or introduces; adds and counts its own records.
void readSlrSection(std::string_view line, family::Unit unit, LoadState& state);

/// Skips the lines of a file up to and including the next mark of a laser-ranging block. False at the end.
bool GoPassHeaderRecord(LineReader& lines);

/// Catalogue number of a laser-ranging satellite, sensor number of a laser station; 0 when not listed.
std::int32_t Nasa2SsnSat(std::int32_t nasaNumber);
std::int32_t Nasa2SsnSen(std::int32_t stationNumber);

}  // namespace obs
