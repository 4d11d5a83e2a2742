// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/SaveReport.h"

#include <algorithm>
#include <bit>
#include <cerrno>

namespace obs {

namespace {

SaveCounts gLatestCounts;
SaveReporter gReporter;

template <class Visit>
void forEachLoss(LossSet losses, Visit visit) {
    for (; losses != 0; losses &= losses - 1) visit(static_cast<SaveLoss>(std::countr_zero(losses)));
}

/// Tells progress; a cancelled save has this error and no counts.
template <class Tell>
void tell(Tell tellIt) {
    try {
        tellIt();
    } catch (const Cancelled&) {
        gLatestCounts.systemError = ECANCELED;
        throw;
    }
}

}  // namespace

SaveTally::SaveTally() : reporter_(gReporter) {
    gLatestCounts = {};
    gLatestCounts.systemError = ENOMEM;  // stays when nothing but an exception ends the save
}

void SaveTally::takeLosses(const Loss& loss) {
    if (loss.losses == 0) return takeWritten();
    std::array<bool, kSaveLossKinds> hasKind{};
    forEachLoss(loss.losses, [&](SaveLoss one) { hasKind[static_cast<std::size_t>(kindOf(one)) - 1] = true; });
    for (std::size_t i = 0; i < hasKind.size(); ++i) counts_.ofKind[i] += hasKind[i];
    if (hasKind[static_cast<std::size_t>(SaveLossKind::leftOut) - 1]) {
        ++counts_.leftOut;
    } else {
        ++counts_.written;
        ++counts_.altered;
    }
    if (reporter_.report != nullptr) told_.push_back(loss);
}

void SaveTally::advance(std::int64_t observations) {
    progress_.advance(observations);
    tell([&] { progress_.tellIfDue(); });
}

void SaveTally::finishProgress() {
    tell([&] { progress_.finish(); });
}

void SaveTally::finish(std::int32_t systemError) {
    counts_.systemError = systemError;
    gLatestCounts = counts_;
    std::stable_sort(told_.begin(), told_.end(), [](const Loss& a, const Loss& b) { return a.key < b.key; });
    for (const Loss& told : told_)
        forEachLoss(told.losses, [&](SaveLoss loss) {
            reporter_.report(told.key, static_cast<std::int32_t>(kindOf(loss)), reasonOf(loss), reporter_.user);
        });
}

SaveCounts latestSaveCounts() { return gLatestCounts; }

void setSaveLossReport(SaveLossReport report, void* user) { gReporter = {report, user}; }

}  // namespace obs
