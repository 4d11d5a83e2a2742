// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllVarsUtils/LooseFields.h"

#include <new>
#include <utility>

#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsStates/Equinox.h"
#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// The vectors of a record that `pos` and `vel` mean, by the type's character; null where they mean none.
template <class Record>
auto vectorsOf(Record& rec, char type) {
    switch (type) {
        case '8':
        case '9':
        case 'M':
        case 'O': return std::pair{&rec.senPos, &rec.senVel};
        case 'P':
        case 'V': return std::pair{&rec.satPos, &rec.satVel};
        default: return decltype(std::pair{&rec.senPos, &rec.senVel}){};
    }
}

/// NOTE: types "O" (9 with a range) is not among them: it has a range-rate slot like any other.
bool carriesEquinox(char type) { return type == '5' || type == '9'; }

bool namesSatellite(const Fields& fields) {
    return fields.satNum != 0 || fields.altSatNum1 != 0 || fields.altSatNum2 != 0;
}

char canonicalType(char type) { return family::obstypeinttochar(family::obstypechartoint(type)); }

}  // namespace

bool hasValidEquinox(const Fields& fields) {
    const double indicator = fields.rangeRate;
    return !carriesEquinox(fields.typeChar) || indicator == 0 || indicator == 1 || indicator == 2 || indicator == 3;
}

ObsRecord fields2record(const Fields& fields) {
    ObsRecord rec;
    static_cast<ObsFields&>(rec) = fields;
    rec.obsType = family::obstypechartoint(fields.typeChar);
    if (const auto [pos, vel] = vectorsOf(rec, canonicalType(fields.typeChar)); pos != nullptr) {
        *pos = fields.pos;
        *vel = fields.vel;
    }
    if (carriesEquinox(fields.typeChar)) {
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
    static_cast<ObsFields&>(fields) = rec;
    fields.typeChar = family::obstypeinttochar(rec.obsType);
    if (carriesEquinox(fields.typeChar)) fields.rangeRate = rec.equinoxInd;
    if (const auto [pos, vel] = vectorsOf(rec, fields.typeChar); pos != nullptr) {
        fields.pos = *pos;
        fields.vel = *vel;
    }
    return fields;
}

}  // namespace obs
