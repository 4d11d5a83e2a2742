// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTypes/Progress.h"

#include <algorithm>

namespace obs {

namespace {

/// Nine of them and the last one, which waits for nothing, are ten in a second.
constexpr std::chrono::milliseconds kInterval{125};

struct Reporter {
    ProgressReport report = nullptr;
    void* user = nullptr;
};
Reporter gReporter;

}  // namespace

Progress::Progress() : report_(gReporter.report), user_(gReporter.user) {
    if (isWanted()) last_ = Clock::now();
}

bool Progress::isTime() const { return Clock::now() - last_ >= kInterval; }

void Progress::tell() {
    total_ = std::max(total_, done_);  // a file may have grown
    if (report_(done_, total_, user_) != 0) throw Cancelled();
    last_ = Clock::now();
}

void Progress::finish() {
    if (!isWanted()) return;
    done_ = total_ = std::max(total_, done_);
    tell();
}

void setProgressReport(ProgressReport report, void* user) { gReporter = {report, user}; }

}  // namespace obs
