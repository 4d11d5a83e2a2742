// SPDX-License-Identifier: Apache-2.0
/// Writing the store to files, one observation after another by ascending key.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Obs/FormatObs/SaveReport.h"
#include "siblings/include/Services.h"

namespace obs {

/// Writes all observations, or those of a group, to an open file, while the store stands still: readers go on, who
/// adds or removes waits until all is written, or until progress is told on the way. Then it is the turn of those who
/// wait, and what they change of the observations that are not written yet shows in the file. An observation that the
/// writer refuses is left out. A form that is none of the four writes nothing. Throws Cancelled.
void obswritelines(family::Unit unit, std::int32_t saveForm, std::optional<std::int32_t> gid, SaveTally& tally);

/// Opens, writes and closes a file. Returns 0, or the error number of opening it; a write that fails is told by
/// the file service and in `latestSaveCounts`. Save mode 0 replaces the file, any other appends. An empty store leaves
/// an empty file.
std::int32_t saveObsFile(std::string_view fileName, std::int32_t saveMode, std::int32_t saveForm);

/// The same for a group. NOTE: unlike the above, an empty store touches no file.
std::int32_t saveObsFileOfGroup(std::string_view fileName, std::int32_t gid, std::int32_t saveMode,
                                std::int32_t saveForm);

}  // namespace obs
