/// Adding observations from text, and converting one text form into another without touching the store.
#pragma once

#include <cstdint>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsCardReading/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Adds the observation of a B3 or B3E card, letters in either case. Its key, 0 for a refused duplicate, or -1
/// after a message.
std::int64_t AddFrB3Card(const CardText& card);

}  // namespace obs
