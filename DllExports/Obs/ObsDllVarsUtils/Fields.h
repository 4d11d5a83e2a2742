// SPDX-License-Identifier: Apache-2.0
/// Loose fields (the list F of the exported header) to and from a record.
#pragma once

#include <cstdint>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// The list F. For types 5 and 9 `rangeRate` carries the equinox indicator.
struct Fields {
    char secClass = ' ';
    std::int32_t satNum = 0;
    std::int32_t senNum = 0;
    double obsTime = 0;
    double elOrDec = 0;
    double azOrRa = 0;
    double range = 0;
    double rangeRate = 0;
    double elRate = 0;
    double azRate = 0;
    double rangeAccel = 0;
    char obsType = ' ';
    std::int32_t indicator1 = 0;
    std::int32_t indicator2 = 0;
    std::int32_t altSatNum1 = 0;
    std::int32_t altSatNum2 = 0;
    Vector3 pos{};
    Vector3 vel{};
};

/// Copies a caller's vectors of three in.
void setVectors(Fields& fields, const double* pos, const double* vel);

/// Where a caller wants the list F; `vel` null where a call has none.
struct FieldOutputs {
    char* secClass;
    std::int32_t* satNum;
    std::int32_t* senNum;
    double* obsTime;
    double* elOrDec;
    double* azOrRa;
    double* range;
    double* rangeRate;
    double* elRate;
    double* azRate;
    double* rangeAccel;
    char* obsType;
    std::int32_t* indicator1;
    std::int32_t* indicator2;
    std::int32_t* altSatNum1;
    std::int32_t* altSatNum2;
    double* pos;
    double* vel;

    void set(const Fields& fields) const;
};

/// Whether the equinox indicator that types 5 and 9 carry in the range-rate slot is 0, 1, 2 or 3; true for others.
bool hasValidEquinox(const Fields& fields);

/// Builds a record from loose fields: vectors to the slots of the type, equinox indicator 1-3 rotated to date,
/// types 8 and 9 with a range renumbered.
ObsRecord fields2record(const Fields& fields);

/// Adds the observation of loose fields with the sigma list of an array (elements 40 on). Returns its key; 0 for a
/// refused duplicate; -1 when nothing could be added, silently for fields that make no key.
std::int64_t addfrfields(const Fields& fields, const double* obsArr);

/// Replaces the fields of a stored observation, except what its key is made of and its optional parts; vectors that the
/// new type does not use are cleared. Status 0, or 2 after a message.
std::int32_t updatefrfields(std::int64_t obsKey, Fields fields);

/// A record's fields; an equinox indicator takes the range-rate slot of types 5 and 9.
Fields record2fields(const ObsRecord& rec);

}  // namespace obs
