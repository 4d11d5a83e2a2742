// SPDX-License-Identifier: Apache-2.0
/// Keyword lines other than those of one format.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace obs {

/// The file that an OBSFIL or SLROBS line names: as given, or else beside the file that names it.
std::string includedFileName(std::string_view line, std::string_view namingFile);

/// The year of a TTY_YEAR line; false, leaving it alone, when the line's value is not one whole number.
bool readTtyYear(std::string_view line, std::int32_t& year);

/// Sets the selection criteria from a SELOB line; a bad one is logged and the old criteria stay.
bool readSelectionCard(std::string_view line);

}  // namespace obs
