#include "DllExports/Obs/ObsDllVarsUtils/Fields.h"

#include <algorithm>

#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Sensors.h"

namespace obs {

namespace {

enum class VectorSlots { none, sensor, satellite };

/// Which vectors of a record `pos` and `vel` mean, by the type's character.
VectorSlots vectorSlots(char type) {
    switch (type) {
        case '8':
        case '9':
        case 'M':
        case 'O': return VectorSlots::sensor;
        case 'P':
        case 'V': return VectorSlots::satellite;
        default: return VectorSlots::none;
    }
}

/// NOTE: types "O" (9 with a range) is not among them: it has a range-rate slot like any other.
bool carriesEquinox(char type) {
    return type == '5' || type == '9';
}

char canonicalType(char type) {
    return family::obstypeinttochar(family::obstypechartoint(type));
}

}  // namespace

void FieldOutputs::set(const Fields& fields) const {
    *secClass = fields.secClass;
    *satNum = fields.satNum;
    *senNum = fields.senNum;
    *obsTime = fields.obsTime;
    *elOrDec = fields.elOrDec;
    *azOrRa = fields.azOrRa;
    *range = fields.range;
    *rangeRate = fields.rangeRate;
    *elRate = fields.elRate;
    *azRate = fields.azRate;
    *rangeAccel = fields.rangeAccel;
    *obsType = fields.obsType;
    *indicator1 = fields.indicator1;
    *indicator2 = fields.indicator2;
    *altSatNum1 = fields.altSatNum1;
    *altSatNum2 = fields.altSatNum2;
    std::copy(fields.pos.begin(), fields.pos.end(), pos);
    if (vel != nullptr) std::copy(fields.vel.begin(), fields.vel.end(), vel);
}

bool hasValidEquinox(const Fields& fields) {
    const double indicator = fields.rangeRate;
    return !carriesEquinox(fields.obsType) || indicator == 0 || indicator == 1 || indicator == 2 || indicator == 3;
}

ObsRecord fields2record(const Fields& fields) {
    ObsRecord rec;
    rec.secClass = fields.secClass;
    rec.satNum = fields.satNum;
    rec.senNum = fields.senNum;
    rec.obsTime = fields.obsTime;
    rec.elOrDec = fields.elOrDec;
    rec.azOrRa = fields.azOrRa;
    rec.range = fields.range;
    rec.rangeRate = fields.rangeRate;
    rec.elRate = fields.elRate;
    rec.azRate = fields.azRate;
    rec.rangeAccel = fields.rangeAccel;
    rec.obsType = family::obstypechartoint(fields.obsType);
    rec.indicator1 = fields.indicator1;
    rec.indicator2 = fields.indicator2;
    rec.altSatNum1 = fields.altSatNum1;
    rec.altSatNum2 = fields.altSatNum2;
    const VectorSlots slots = vectorSlots(canonicalType(fields.obsType));
    if (slots == VectorSlots::sensor) {
        rec.senPos = fields.pos;
        rec.senVel = fields.vel;
    } else if (slots == VectorSlots::satellite) {
        rec.satPos = fields.pos;
        rec.satVel = fields.vel;
    }
    if (carriesEquinox(fields.obsType)) {
        rec.equinoxInd = static_cast<std::int32_t>(fields.rangeRate);
        rec.rangeRate = 0;
        if (rec.equinoxInd != 0) rotobstodate(rec);
        rec.equinoxInd = 0;
    }
    rec.obsType = typeWithRange(rec.obsType, rec.range);
    return rec;
}

Fields record2fields(const ObsRecord& rec) {
    Fields fields;
    fields.secClass = rec.secClass;
    fields.satNum = rec.satNum;
    fields.senNum = rec.senNum;
    fields.obsTime = rec.obsTime;
    fields.elOrDec = rec.elOrDec;
    fields.azOrRa = rec.azOrRa;
    fields.range = rec.range;
    fields.rangeRate = rec.rangeRate;
    fields.elRate = rec.elRate;
    fields.azRate = rec.azRate;
    fields.rangeAccel = rec.rangeAccel;
    fields.obsType = family::obstypeinttochar(rec.obsType);
    fields.indicator1 = rec.indicator1;
    fields.indicator2 = rec.indicator2;
    fields.altSatNum1 = rec.altSatNum1;
    fields.altSatNum2 = rec.altSatNum2;
    if (carriesEquinox(fields.obsType)) fields.rangeRate = rec.equinoxInd;
    const VectorSlots slots = vectorSlots(fields.obsType);
    if (slots == VectorSlots::sensor) {
        fields.pos = rec.senPos;
        fields.vel = rec.senVel;
    } else if (slots == VectorSlots::satellite) {
        fields.pos = rec.satPos;
        fields.vel = rec.satVel;
    }
    return fields;
}

}  // namespace obs
