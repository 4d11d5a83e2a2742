// SPDX-License-Identifier: Apache-2.0
/// The path of the well-formed B3 card, which is nearly every card of a deck: all columns are checked
/// sixteen at a time and digits are taken eight at a time. Whatever is not plain goes to the careful
/// reader, so this one decides nothing: a card that it takes means the same there, bit for bit.
#pragma once

#include <string_view>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Fills all common fields, without rotating; the rare ones where the type that is read has some, all of them then;
/// `dayOfYear` as `family::fyklok` gives it. The classification is the first column of the line, whatever it is. False
/// for a card that needs the careful reader; the fields may then be partly filled.
bool readPlainB3(std::string_view line, CommonFields& to, RareFields& rare, double& dayOfYear);

/// The same into a default record.
inline bool readB3Quick(const CardText& card, ObsRecord& rec) {
    double dayOfYear = 0;
    rec.secClass = card.at(1);
    return readPlainB3(card.text(), rec, rec, dayOfYear);
}

}  // namespace obs
