// SPDX-License-Identifier: Apache-2.0
/// Readers of B3 and B3E cards. They touch only the record given, which should be a default one but for
/// its rotate-to-date flag; after a refusal it may be partly filled and is to be discarded.
#pragma once

#include <array>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Whether a line is a B3 card or an ECI card, in either case of letters.
bool IsB3Format(const CardText& card);

MaybeRefusal ReadB3(const CardText& card, ObsRecord& rec);

/// Reads an angle, range or rate card column by column, without rotating: what `ReadB3` does with any card that
/// its quick path leaves.
MaybeRefusal readB3Carefully(const CardText& card, ObsRecord& rec);

MaybeRefusal ReadB3Ext(const CardText& card, ObsRecord& rec);

// --- Parts of a card that ECI cards have as well ---

/// The time, 0 when it is not a date. `date` gets its text with a point before the milliseconds, as messages show it.
double readB3Date(const CardText& card, char (&date)[15]);

/// Type, equinox and indicators; false where a field cannot be decoded.
bool readB3Tail(const CardText& card, ObsRecord& rec);

/// The satellite number in the columns given and both further ones; false where one cannot be decoded.
bool readB3SatNums(const CardText& card, Columns satNum, ObsRecord& rec);

}  // namespace obs
