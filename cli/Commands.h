// SPDX-License-Identifier: Apache-2.0
/// @file
/// The subcommands and their options; main.cpp reads the command line into these.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Output.h"
#include "Session.h"

namespace obstool {

struct InfoOptions : CommonOptions {
    std::size_t top = 10;  ///< rows of the sensor and satellite tables; 0 is all
    bool json = false;
};

struct ListOptions : CommonOptions {
    std::int32_t order = -1;  ///< of ObsGetLoaded
    bool keysOnly = false;
    std::optional<std::size_t> limit;
};

struct ConvertOptions : CommonOptions {
    std::string output;
    std::string format;  ///< a name of formats()
    std::string crdData = "npt";
    bool append = false;
    std::string strict;  ///< empty, or one of kStrict...
    std::string report;  ///< file for the report; empty: standard error
    bool noReport = false;
    std::size_t examples = 3;
};

inline constexpr std::string_view kStrictLosses = "true";  ///< of a flag without value; rounding is not a loss
inline constexpr std::string_view kStrictExact = "exact";

ExitStatus runInfo(const InfoOptions& options, Output& out);
ExitStatus runList(const ListOptions& options, Output& out);
ExitStatus runConvert(const ConvertOptions& options, Output& out);

}  // namespace obstool
