// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllVarsUtils/Fields.h"

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <utility>

#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// Fields that pass between list and record as they are.
template <class T>
using Same = std::pair<T Fields::*, T ObsFields::*>;

constexpr std::array kReals{
    Same<double>{&Fields::obsTime, &ObsFields::obsTime},     Same<double>{&Fields::elOrDec, &ObsFields::elOrDec},
    Same<double>{&Fields::azOrRa, &ObsFields::azOrRa},       Same<double>{&Fields::range, &ObsFields::range},
    Same<double>{&Fields::rangeRate, &ObsFields::rangeRate}, Same<double>{&Fields::elRate, &ObsFields::elRate},
    Same<double>{&Fields::azRate, &ObsFields::azRate},       Same<double>{&Fields::rangeAccel, &ObsFields::rangeAccel},
};
constexpr std::array kIntegers{
    Same<std::int32_t>{&Fields::satNum, &ObsFields::satNum},
    Same<std::int32_t>{&Fields::senNum, &ObsFields::senNum},
    Same<std::int32_t>{&Fields::indicator1, &ObsFields::indicator1},
    Same<std::int32_t>{&Fields::indicator2, &ObsFields::indicator2},
    Same<std::int32_t>{&Fields::altSatNum1, &ObsFields::altSatNum1},
    Same<std::int32_t>{&Fields::altSatNum2, &ObsFields::altSatNum2},
};

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

bool namesSatellite(const Fields& fields) {
    return fields.satNum != 0 || fields.altSatNum1 != 0 || fields.altSatNum2 != 0;
}

char canonicalType(char type) {
    return family::obstypeinttochar(family::obstypechartoint(type));
}

}  // namespace

void setVectors(Fields& fields, const double* pos, const double* vel) {
    std::copy_n(pos, fields.pos.size(), fields.pos.begin());
    std::copy_n(vel, fields.vel.size(), fields.vel.begin());
}

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
    rec.obsType = family::obstypechartoint(fields.obsType);
    for (const auto& [inFields, inRecord] : kReals) rec.*inRecord = fields.*inFields;
    for (const auto& [inFields, inRecord] : kIntegers) rec.*inRecord = fields.*inFields;
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

std::int64_t addfrfields(const Fields& fields, const double* obsArr) {
    if (!namesSatellite(fields)) return kNoKey;
    if (!hasValidEquinox(fields)) {
        family::tracelogerror("AddFrFields: Invalid equinox indicator. Its valid range is from 0 to 3.");
        return kNoKey;
    }
    ObsRecord rec = fields2record(fields);
    try {
        attachSigmas(obsArr, rec);
    } catch (const std::bad_alloc&) {
        family::tracelogerror("AddFrFields: Cannot allocate memory for a obs sigmas node.");
        return kNoKey;
    }
    return AddObOnly(rec);
}

std::int32_t updatefrfields(std::int64_t obsKey, Fields fields) {
    ObsRecord stored;
    if (!obsfindrec(obsKey, stored)) {
        // NOTE: the text names ObsGetAllFields, with which it is shared.
        logUnknownKey("ObsGetAllFields", obsKey);
        return kStatusRefused;
    }
    if (!hasValidEquinox(fields)) {
        family::tracelogerror("ObsUpdateFrFields: Invalid equinox indicator. Its valid range is 0 to 3.");
        return kStatusRefused;
    }
    fields.satNum = stored.satNum;
    fields.senNum = stored.senNum;
    fields.obsTime = stored.obsTime;
    ObsFields fresh = fields2record(fields);
    fresh.rotateToDate = stored.rotateToDate;
    if (fresh.obsType == kTypePositionVelocity && stored.obsType == kTypePositionVelocity) {
        // The list F has no place for the vectors of this type.
        fresh.senPos = stored.senPos;
        fresh.senVel = stored.senVel;
    }
    static_cast<ObsFields&>(stored) = fresh;
    return obsupdaterec(obsKey, stored);
}

Fields record2fields(const ObsRecord& rec) {
    Fields fields;
    fields.secClass = rec.secClass;
    fields.obsType = family::obstypeinttochar(rec.obsType);
    for (const auto& [inFields, inRecord] : kReals) fields.*inFields = rec.*inRecord;
    for (const auto& [inFields, inRecord] : kIntegers) fields.*inFields = rec.*inRecord;
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
