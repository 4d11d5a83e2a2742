// SPDX-License-Identifier: Apache-2.0
// Group "states" of the exported header.
#include <algorithm>
#include <span>
#include <utility>
#include <vector>

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

int32_t ObsGetStatesMany(int32_t count, const int64_t* keys, double time, double* states, int32_t* statuses) {
    if (obs::refuseCount("ObsGetStatesMany", count, {keys, states, statuses})) return kStatusRefused;
    const auto total = static_cast<std::size_t>(count);
    std::fill_n(states, total * obs::kStatesLength, 0.0);
    std::fill_n(statuses, total, kStatusRefused);
    return obs::guarded("ObsGetStatesMany", kStatusRefused, [&] {
        obs::UnknownKeys unknown;
        obs::RefusedKeys refused;
        // Copied out of the store first: states take too long to keep those waiting who want to change it.
        constexpr std::size_t kAtOnce = 256;
        std::vector<std::pair<std::size_t, obs::ObsRecord>> found(std::min(total, kAtOnce));
        for (std::size_t from = 0; from < total; from += kAtOnce) {
            std::size_t size = 0;
            const auto copy = [&](std::size_t i, const obs::ObsRecord* rec) {
                if (rec == nullptr) return unknown.note(keys[from + i]);
                found[size].first = from + i;
                static_cast<obs::ObsFields&>(found[size++].second) = *rec;
            };
            obs::obsfindrecs(keys + from, std::min(kAtOnce, total - from), false, copy);
            for (const auto& [at, rec] : std::span(found).first(size)) {
                const obs::MaybeRefusal why = obs::obsrec2states(rec, time, states + at * obs::kStatesLength);
                statuses[at] = why ? why->status : kStatusOk;
                if (why) refused.note(keys[at], *why);
            }
        }
        const std::int32_t ofRefused = refused.status("ObsGetStatesMany", total);
        return std::max(ofRefused, unknown.status("ObsGetStatesMany", total));
    });
}
