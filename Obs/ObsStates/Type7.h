// SPDX-License-Identifier: Apache-2.0
/// Type 7 observations of TTY messages: position and velocity of a satellite, credited to a sensor.
#pragma once

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsStates/SensorSource.h"
#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Makes a type 7 observation, whose satellite position (km) and velocity (km/s) of date are in `senPos` and
/// `senVel`, the type 4 observation that its sensor would have made: the inverse of the state of a type 4. The rates of
/// the angles are degrees per second; the range acceleration, which no state holds, is 0. The sensor must be one of
/// `sensors`.
MaybeRefusal convertType7(ObsRecord& rec, const SensorSource& sensors = familySensors());

}  // namespace obs
