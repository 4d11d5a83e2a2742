// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsStates/Type7.h"

#include <cmath>

#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsStates/Topocentric.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

MaybeRefusal convertType7(ObsRecord& rec, const SensorSource& sensors) {
    const std::optional<SensorPlace> sensor = groundSensor(rec.senNum, rec.obsTime, sensors);
    if (!sensor)
        return Refusal{"ReadTTY2Lines: A type 7 observation needs its sensor, and the place of sensor ",
                       std::to_string(rec.senNum), 0, " is not known."}
            .forWantOf("sensor " + std::to_string(rec.senNum));
    const family::Horizon seen = seenOfState(*sensor, rec.obsTime, temeState(rec.senPos, rec.senVel));
    if (!std::isfinite(seen.azimuthRate + seen.elevationRate + seen.rangeRateKms))
        return Refusal{"ReadTTY2Lines: A type 7 observation needs a position and a velocity.", {}, 0, {}};
    rec.obsType = kTypeAllRates;
    rec.azOrRa = withinTurnDeg(seen.azimuth * kDegPerRad);
    rec.elOrDec = seen.elevation * kDegPerRad;
    rec.range = seen.rangeKm;
    rec.rangeRate = seen.rangeRateKms;
    rec.azRate = seen.azimuthRate * kDegPerRad;
    rec.elRate = seen.elevationRate * kDegPerRad;
    rec.rangeAccel = 0;
    rec.senPos = rec.senVel = {};
    return std::nullopt;
}

}  // namespace obs
