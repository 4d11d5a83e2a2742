// SPDX-License-Identifier: Apache-2.0
/// What became of the observations of a save, counted and told one by one.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Obs/FormatObs/SaveLosses.h"
#include "Obs/ObsTypes/Progress.h"

namespace obs {

struct SaveCounts {
    std::int64_t written = 0;  ///< altered ones included
    std::int64_t leftOut = 0;
    std::int64_t altered = 0;
    std::int32_t systemError = 0;                       ///< 0 when the file is complete and on the disk
    std::array<std::int64_t, kSaveLossKinds> ofKind{};  ///< observations, kind 1 first
};

/// Told of an observation with a loss, once for each.
using SaveLossReport = void (*)(std::int64_t key, std::int32_t kind, const char* reason, void* user);

struct SaveReporter {
    SaveLossReport report = nullptr;
    void* user = nullptr;
};

/// Counts while observations are written. What is to be told waits until `finish`.
class SaveTally {
public:
    SaveTally();

    struct Loss {
        std::int64_t key;
        LossSet losses;
    };

    void takeWritten(std::int64_t observations = 1) { counts_.written += observations; }
    void takeLosses(const Loss& loss);
    const SaveCounts& counts() const { return counts_; }

    /// The progress, in observations. Whoever tells it holds no lock.
    bool isProgressWanted() const { return progress_.isWanted(); }
    bool isProgressDue() const { return progress_.isDue(); }
    void expect(std::int64_t observations) { progress_.expect(observations); }

    /// Tells of `observations` more when it is time to. Throws Cancelled, as does the next; the counts are none then.
    void advance(std::int64_t observations);
    void finishProgress();

    /// Keeps the counts for `latestSaveCounts` and tells, by ascending key; to be called when the store is free and the
    /// file closed. The error is the system's, of opening, writing or closing the file.
    void finish(std::int32_t systemError);

private:
    const SaveReporter reporter_;
    SaveCounts counts_;
    Progress progress_;
    std::vector<Loss> told_;
};

/// Of the latest save that ended, whole files and laser ranges alike.
SaveCounts latestSaveCounts();

/// Null ends the reports.
void setSaveLossReport(SaveLossReport report, void* user);

}  // namespace obs
