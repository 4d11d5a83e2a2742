// SPDX-License-Identifier: Apache-2.0
/// Selection criteria as text, the way SELOB lines and callers give them: `name=value`, `name=low:high`, separated by
/// blanks. A value may be a list with commas; either end of a range may be left open.
#pragma once

#include <string_view>

#include "Obs/ObsCardReading/Refusal.h"
#include "Obs/ObsTypes/Companions.h"

namespace obs {

/// Reads criteria; an empty text asks for nothing. Refused with a message that begins with `operation` and quotes
/// the bad text, `selection` being as it was.
MaybeRefusal parseSelection(std::string_view operation, std::string_view criteria, ObsSelection& selection);

/// Sets the global criteria from a text; false after a message, the old criteria staying.
bool setSelectionFromText(std::string_view operation, std::string_view criteria);

}  // namespace obs
