// SPDX-License-Identifier: Apache-2.0
/// A record's fields by name, for case files and for comparing records.
#pragma once

#include <map>
#include <string>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs::test {

inline std::map<std::string, double> fieldsOf(const ObsRecord& rec) {
    return {{"satNum", rec.satNum},         {"senNum", rec.senNum},         {"obsType", rec.obsType},
            {"equinoxInd", rec.equinoxInd}, {"indicator1", rec.indicator1}, {"indicator2", rec.indicator2},
            {"altSatNum1", rec.altSatNum1}, {"altSatNum2", rec.altSatNum2}, {"obsTime", rec.obsTime},
            {"elOrDec", rec.elOrDec},       {"azOrRa", rec.azOrRa},         {"range", rec.range},
            {"rangeRate", rec.rangeRate},   {"elRate", rec.elRate},         {"azRate", rec.azRate},
            {"rangeAccel", rec.rangeAccel}, {"senPosX", rec.senPos[0]},     {"senPosY", rec.senPos[1]},
            {"senPosZ", rec.senPos[2]},     {"senVelX", rec.senVel[0]},     {"senVelY", rec.senVel[1]},
            {"senVelZ", rec.senVel[2]},     {"satPosX", rec.satPos[0]},     {"satPosY", rec.satPos[1]},
            {"satPosZ", rec.satPos[2]},     {"satVelX", rec.satVel[0]},     {"satVelY", rec.satVel[1]},
            {"satVelZ", rec.satVel[2]}};
}

inline double fieldOf(const ObsRecord& rec, const std::string& name) {
    return fieldsOf(rec).at(name);
}

}  // namespace obs::test
