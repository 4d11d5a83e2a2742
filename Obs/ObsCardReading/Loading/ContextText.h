// SPDX-License-Identifier: Apache-2.0
/// What the laser ranges before a cut mean for those after it, as a text that another process can go on from.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Obs/ObsCardReading/Loading/Context.h"

namespace obs {

/// As many characters as a state of the exported header has room for.
inline constexpr std::size_t kMostKeptText = 368;

/// Printable, without blanks; empty where nothing is kept. Of a context in which nothing is open.
std::string keptText(const ReadContext& context);

/// False, the context being as it was, for a text that `keptText` does not give.
bool keepText(std::string_view text, ReadContext& context);

}  // namespace obs
