/// Reader of ECI position cards (type characters "P" and "V").
#pragma once

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsCardReading/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

MaybeRefusal ReadECIXYZ(const CardText& card, ObsRecord& rec);

}  // namespace obs
