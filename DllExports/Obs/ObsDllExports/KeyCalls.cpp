// SPDX-License-Identifier: Apache-2.0
// Group "keys" of the exported header.
#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "Obs/ObsTree/Store.h"

namespace {

/// An int32 field of a stored record, -1 when there is none. NOTE: the two that ask for it stay silent then.
int32_t numberOf(std::string_view name, int64_t obsKey, std::int32_t obs::StoredRecord::*field) {
    try {
        const obs::ReadGuard guard;
        const obs::ObsRecordPtr rec = obs::obsfindrecptr(obsKey, nullptr, true);
        return rec == nullptr ? -1 : rec->*field;
    } catch (...) {
        obs::logException(name);
        return -1;
    }
}

int64_t makeKey(std::string_view name, int32_t satNum, int32_t senNum, double obsTime) {
    return obs::guarded(
        name, obs::kNoKey, [&] { return obs::obsfields2obskey(obsTime, satNum, senNum); },
        "A number is negative, or the time is not within the years 1 to 9999.");
}

}  // namespace

int64_t ObsFieldsToObsKey(int32_t satNum, int32_t senNum, double obsTime) {
    return makeKey("ObsFieldsToObsKey", satNum, senNum, obsTime);
}

int64_t ObsFieldsToObsKeyML(int32_t satNum, int32_t senNum, double obsTime, int64_t* obsKey) {
    if (obs::refuseNull("ObsFieldsToObsKeyML", {obsKey})) return obs::kNoKey;
    return *obsKey = makeKey("ObsFieldsToObsKeyML", satNum, senNum, obsTime);
}

int32_t SatNumFrObsKey(int64_t obsKey) { return numberOf("SatNumFrObsKey", obsKey, &obs::StoredRecord::satNum); }

int32_t SenNumFrObsKey(int64_t obsKey) { return numberOf("SenNumFrObsKey", obsKey, &obs::StoredRecord::senNum); }
