// SPDX-License-Identifier: Apache-2.0
/// CSV observation lines.
#pragma once

#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsCardReading/FieldNote.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Whether a line is a CSV observation: "C", "S" or "U" first, and exactly 2 colons or exactly 55 commas. The
/// either-or is deliberate: a line with both colon pairs passes whatever its commas.
bool IsCsvObs(const CardText& line);

/// Fills a default record and its CSV part from one line; biases and RF part only where one of their values is not
/// 0. Missing and empty fields are 0 or blank; what cannot be taken as it stands is told in `notes`, which the line
/// is added to.
///
/// A record that is read into again and again may keep its parts: the CSV part is overwritten where it is, the
/// biases and the RF part are set or released. All other fields must be the default ones.
///
/// After a refusal the record may be partly filled and is to be discarded.
MaybeRefusal ReadCsv(const CardText& line, ObsRecord& rec, FieldNotes* notes = nullptr);

}  // namespace obs
