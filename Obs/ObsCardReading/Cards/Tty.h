// SPDX-License-Identifier: Apache-2.0
/// Readers of TTY messages: one card, or two for the types that need them. The cards carry no year: it
/// is one of the settings that they are read with.
///
/// They touch only the record given, which should be a default one but for its rotate-to-date flag; after a
/// refusal it may be partly filled and is to be discarded. A value that cannot be read is 0 and refuses nothing, but is
/// told in `notes`, unless that is null; so is one that a card without its end mark ends inside of or before.
///
/// Threads: any number at once on different records.
#pragma once

#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsCardReading/FieldNote.h"
#include "Obs/ObsCardReading/ReadSettings.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

class LineReader;

/// Reads the head of card 1: classification, indicator, type, sensor, satellite.
MaybeRefusal ReadTTY1stLine(const CardText& card1, const ReadSettings& settings, ObsRecord& rec,
                            FieldNotes* notes = nullptr);

/// Reads the time and the values of the record's type, which `ReadTTY1stLine` has set. Types 8 and 9 with a range
/// become 18 and 19; a type 7 that is to be rotated to date becomes a type 4.
MaybeRefusal ReadTTY2Lines(const CardText& card1, const CardText& card2, const ReadSettings& settings, ObsRecord& rec,
                           FieldNotes* notes = nullptr);

/// Both; does not ask whether the second card is needed.
MaybeRefusal ReadTTYFrLines(const CardText& card1, const CardText& card2, const ReadSettings& settings, ObsRecord& rec,
                            FieldNotes* notes = nullptr);

/// Whether a message with this card 1 has a second card when it is read from a file.
bool hasSecondCard(const CardText& card1);

/// Reads a message whose second card, when its type needs one, is the next line of `unit` (null: no file, then such
/// a type is refused).
MaybeRefusal ReadTTYFrFile(LineReader* unit, const CardText& card1, const ReadSettings& settings, ObsRecord& rec,
                           FieldNotes* notes = nullptr);

}  // namespace obs
