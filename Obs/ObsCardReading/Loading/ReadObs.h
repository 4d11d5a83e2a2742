// SPDX-License-Identifier: Apache-2.0
/// One observation line, by the reader of its class.
#pragma once

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsCardReading/Cards/Csv.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/ReadSettings.h"

namespace obs {

/// The settings of the process as they are now.
ReadSettings processSettings();

/// Fills a record from a line of a class that has a reader; a line of any other class leaves it as it is. `notes`
/// unless null gets what is to be told of values; `unit` is the text after the line, for messages of two cards
/// (null: a line by itself).
MaybeRefusal readLine(const CardText& line, LineClass lineClass, ObsRecord& rec, const ReadSettings& settings = {},
                      FieldNotes* notes = nullptr, LineReader* unit = nullptr);

/// Whether `readLine` has a reader for a class, if only one that says why it cannot read.
bool hasReader(LineClass lineClass);

/// Reads one observation line and adds it. Returns the status: 0 good or duplicate, 2 bad. A line of a class
/// without a reader adds the default record, which names no satellite: bad under field keys, an empty
/// observation under address keys.
std::int32_t ReadObsRec(const CardText& line, LineClass lineClass, LoadCounts& counts, std::int32_t gid = 0);

/// Reads a TTY pair, a B3 or a B3E card and adds it; as `ReadObsRec`.
std::int32_t ReadTTY2LineObs(const CardText& line1, const CardText& line2, LineClass lineClass, LoadCounts& counts);

/// Any observation line or TTY pair, for callers that take it apart. Refuses other classes with the message given.
MaybeRefusal parseLines(const CardText& line1, const CardText& line2, std::string_view unsupported, ObsRecord& rec);

/// Writes what a line's reader had to say to the log.
void logNotes(const FieldNotes& notes);

}  // namespace obs
