/// Reader of ECI position cards (type characters "P" and "V") and conversion of type 7 observations.
#pragma once

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsCardReading/Refusal.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

MaybeRefusal ReadECIXYZ(const CardText& card, ObsRecord& rec);

/// Makes a type 7 observation, whose position (km) and velocity (km/s) stand in `senPos` and `senVel`, one of type 4.
MaybeRefusal convertType7(ObsRecord& rec);

}  // namespace obs
