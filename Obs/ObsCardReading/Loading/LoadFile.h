// SPDX-License-Identifier: Apache-2.0
/// Loading whole files: observation and keyword lines, include files, counts.
///
/// A file is read in two passes. The first acts on TTY_YEAR, SLROBS and OBSFIL lines, so that a year or an
/// include file anywhere in it is in force for the observations, which the second pass reads. A file without
/// such lines is read only once: its observations are collected while the first pass still looks, and none
/// is entered before it is known that the first pass has nothing to do.
///
/// Laser-ranging records that an SLROBS line introduces belong to the first pass, the other lines among them to both
/// passes as usual.
///
/// A bad line never stops a load. Not re-entrant: one file load at a time.
#pragma once

#include <cstdint>
#include <string_view>

#include "Obs/ObsCardReading/Loading/LoadState.h"

namespace obs {

/// Loads a file, its observations belonging to a group when one is given. Returns the outcome of the last
/// observation line (0 good, 2 bad), or the error number of opening the file. NOTE: so a bad line followed by
/// a good one gives 0; counts and messages tell what happened.
std::int32_t ReadObsFrFile(std::string_view fileName, std::int32_t gid = 0);

/// The same for a file of laser ranges, which has no keyword lines.
std::int32_t ReadSlrFrFile(std::string_view fileName, std::int32_t gid = 0);

/// The counts of the latest load of a file.
LoadCounts latestLoadCounts();

/// Names each bad or duplicate line of a load in the order of the file; null ends this.
void setLineReport(LineReport report, void* user);

}  // namespace obs
