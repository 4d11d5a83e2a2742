// SPDX-License-Identifier: Apache-2.0
/// Writer of laser ranges: ILRS Consolidated Laser Ranging Data format (CRD), version 2.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Obs/FormatObs/Fineness.h"

namespace obs {

enum class SlrDataType : std::int32_t { fullRate = 0, normalPoints = 1 };

/// Writes the ranges of laser stations, or those of a group, to a file. Left out and counted in an information line:
/// other types than 2 and 6; what CRD cannot carry (no satellite number, no pad number of the sensor, a time outside
/// the years 1957 to 9998, a range of less than a picosecond or more than half a day of flight, angles beyond a circle
/// or the zenith).
///
/// A sensor has a pad number by the station table; else its own number is one when it is 1004 to 9999, the table
/// does not use it and the sensor library knows it.
///
/// A session is of one station, one satellite and one sum of corrections by the second indicator; sessions are in that
/// order, then by time. One ends before a gap of more than half an hour, and before it is eight hours long: readers
/// tell a record's day by its distance from the start. It becomes two, of ranges without angles and of ranges with,
/// where a reader would give angles to one without.
///
/// Returns 0, or the error number of opening a file or reading the one that is appended to; failing writes are reported
/// by the file service, and no counts then. Save mode 0 replaces the file; any other appends: the file is rewritten
/// with its end mark after the new sessions, complete or not at all. An empty store leaves a file with nothing but the
/// end mark; for a group, none.
std::int32_t saveSlrFile(std::string_view fileName, std::int32_t saveMode, SlrDataType type,
                         std::optional<std::int32_t> gid);

/// Which elements a file carries, and how finely.
void finenessOfCrd(Elements& elements);

}  // namespace obs
