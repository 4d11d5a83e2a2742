// Group "keys" of the exported header.
#include "DllExports/Obs/ObsDllExports/Frame.h"
#include "Obs/ObsTree/Store.h"

namespace {

/// An int32 field of a stored record, -1 when there is none.
int32_t numberOf(std::string_view name, int64_t obsKey, std::int32_t obs::StoredRecord::*field) {
    return obs::guarded(name, -1, [&] {
        const obs::ReadGuard guard;
        const obs::ObsRecordPtr rec = obs::obsfindrecptr(obsKey, nullptr, true);
        return rec == nullptr ? -1 : rec->*field;
    });
}

}  // namespace

int64_t ObsFieldsToObsKey(int32_t satNum, int32_t senNum, double obsTime) {
    return obs::obsfields2obskey(obsTime, satNum, senNum);
}

int64_t ObsFieldsToObsKeyML(int32_t satNum, int32_t senNum, double obsTime, int64_t* obsKey) {
    if (obs::refuseNull("ObsFieldsToObsKeyML", {obsKey})) return obs::kNoKey;
    return *obsKey = obs::obsfields2obskey(obsTime, satNum, senNum);
}

int32_t SatNumFrObsKey(int64_t obsKey) {
    return numberOf("SatNumFrObsKey", obsKey, &obs::StoredRecord::satNum);
}

int32_t SenNumFrObsKey(int64_t obsKey) {
    return numberOf("SenNumFrObsKey", obsKey, &obs::StoredRecord::senNum);
}
