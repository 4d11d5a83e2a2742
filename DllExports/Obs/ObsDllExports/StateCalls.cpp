// SPDX-License-Identifier: Apache-2.0
// Group "states" of the exported header.
#include <algorithm>
#include <utility>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "Obs/ObsStates/States.h"
#include "Obs/ObsTree/Store.h"

namespace {

using obs::kStatusOk;
using obs::kStatusRefused;

std::int32_t toStates(std::string_view name, obs::ObsRecord rec, double timeDs50, double* states) {
    const obs::MaybeRefusal refusal = obs::obsrec2states(std::move(rec), timeDs50, states);
    if (!refusal) return kStatusOk;
    obs::logFailure(name, refusal->message());
    return refusal->status;
}

}  // namespace

int32_t ObsDataToStates(const double obsArr[64], double states[64]) {
    if (obs::refuseNull("ObsDataToStates", {obsArr, states})) return kStatusRefused;
    constexpr double kItsOwnTime = 0;
    return obs::guarded("ObsDataToStates", kStatusRefused,
                        [&] { return toStates("ObsDataToStates", obs::obsarr2obsrec(obsArr), kItsOwnTime, states); });
}

int32_t ObsGetStates(int64_t obsKey, double states[64], double time) {
    if (obs::refuseNull("ObsGetStates", {states})) return kStatusRefused;
    std::fill_n(states, obs::kStatesLength, 0.0);
    return obs::guarded("ObsGetStates", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (obs::obsfindfields(obsKey, rec)) return toStates("ObsGetStates", std::move(rec), time, states);
        obs::logUnknownKey("ObsGetStates", obsKey);
        return kStatusRefused;
    });
}
