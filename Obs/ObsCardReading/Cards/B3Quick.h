// SPDX-License-Identifier: Apache-2.0
/// The path of the well-formed B3 card, which is nearly every card of a deck: all columns are checked
/// sixteen at a time and digits are taken eight at a time. Whatever is not plain goes to the careful
/// reader, so this one decides nothing: a card that it takes means the same there, bit for bit.
#pragma once

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

#if defined(__SSE2__)
inline constexpr bool kHasQuickB3 = true;
#else
inline constexpr bool kHasQuickB3 = false;  // without wide loads the careful reader is as good: none is taken
#endif

/// Fills the record (without rotating) and returns true, or returns false for a card that needs the careful
/// reader; the record may then be partly filled.
bool readB3Quick(const CardText& card, ObsRecord& rec);

}  // namespace obs
