// SPDX-License-Identifier: Apache-2.0
// Group "selection" of the exported header.
#include <algorithm>

#include "DllExports/Obs/ObsDllExports/Frame.h"
#include "Obs/ObsCardReading/Loading/SelectionText.h"
#include "Obs/ObsTree/Ordering.h"
#include "Obs/ObsTree/Selection.h"

namespace {

using obs::kStatusOk;
using obs::kStatusRefused;

static_assert(OBS_CRITERIA == obs::kCriterionCount);

/// Reads the criteria; false after a message.
bool takeCriteria(std::string_view name, const double* criteria, obs::ObsSelection& selection) {
    const std::string_view fault = obs::selectionFromArray(criteria, selection);
    if (!fault.empty()) obs::logFailure(name, fault);
    return fault.empty();
}

}  // namespace

void ObsGetSelected(const double criteria[32], int32_t order, int32_t* count, int64_t* keys) {
    if (obs::refuseNull("ObsGetSelected", {count})) return;
    *count = 0;
    if (obs::refuseNull("ObsGetSelected", {criteria, keys})) return;
    obs::guarded("ObsGetSelected", kStatusRefused, [&] {
        obs::ObsSelection own;
        if (!takeCriteria("ObsGetSelected", criteria, own)) return kStatusRefused;
        if (!obs::obstreeisempty()) *count = obs::obsgetselected(own, obs::currentSelection(), order, keys);
        return kStatusOk;
    });
}

void ObsResetSelObs(void) {
    obs::setSelection({});
}

int32_t ObsSetSelObs(const char* criteria) {
    if (obs::refuseNull("ObsSetSelObs", {criteria})) return kStatusRefused;
    return obs::guarded("ObsSetSelObs", kStatusRefused, [&] {
        return obs::setSelectionFromText("ObsSetSelObs", family::chararrtostr(criteria)) ? kStatusOk : kStatusRefused;
    });
}

int32_t ObsGetSelectionCounts(const double criteria[32], int32_t* selected, int32_t dropped[OBS_CRITERIA]) {
    if (obs::refuseNull("ObsGetSelectionCounts", {criteria, selected, dropped})) return kStatusRefused;
    *selected = 0;
    std::fill_n(dropped, OBS_CRITERIA, 0);
    return obs::guarded("ObsGetSelectionCounts", kStatusRefused, [&] {
        obs::ObsSelection own;
        if (!takeCriteria("ObsGetSelectionCounts", criteria, own)) return kStatusRefused;
        const obs::SelectionCounts counts = obs::countSelected(own, obs::currentSelection());
        *selected = counts.selected;
        std::copy(counts.dropped.begin(), counts.dropped.end(), dropped);
        return kStatusOk;
    });
}
