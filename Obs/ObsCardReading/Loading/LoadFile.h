// SPDX-License-Identifier: Apache-2.0
/// Loading whole files: observation and keyword lines, include files, counts.
///
/// A file is read in two passes. The first acts on TTY_YEAR, SLROBS and OBSFIL lines, so that a year or an
/// include file anywhere in it is in force for the observations, which the second pass reads. A file without
/// such lines is read only once: its observations are collected while it is not yet known that there are none, and
/// are dropped when there is one after all.
///
/// Laser-ranging records that an SLROBS line introduces belong to the first pass, the other lines among them to both
/// passes as usual.
///
/// A bad line never stops a load. Not re-entrant: one file load at a time. docs/design/loading.md has the whole path.
#pragma once

#include <cstdint>
#include <string_view>

#include "Obs/ObsCardReading/Loading/LoadState.h"

namespace obs {

/// Loads a file, its observations belonging to a group when one is given. Returns the outcome of the last
/// observation line (0 good, 2 bad), or the error number of opening the file. NOTE: so a bad line followed by
/// a good one gives 0; counts and messages tell what happened.
std::int32_t ReadObsFrFile(std::string_view fileName, std::int32_t gid = 0);

/// The same, as the options say. 2 also when there were more lines than they allow.
std::int32_t readObsWith(std::string_view fileName, const LoadOptions& options);

/// The same for a file of laser ranges, which has no keyword lines.
std::int32_t ReadSlrFrFile(std::string_view fileName, std::int32_t gid = 0);

/// Both for a text in memory, under a name: messages give it, and files that the text names are looked for beside it.
/// Nothing is opened under it.
std::int32_t readObsText(std::string_view name, std::string_view text, const LoadOptions& options);
std::int32_t readSlrText(std::string_view name, std::string_view text, std::int32_t gid);

/// What the latest load came to.
const LoadResult& latestLoad();

/// Names each line of a load that there is something to tell of, in the order of the file; null ends this.
void setLineReport(LineReport report, void* user);

}  // namespace obs
