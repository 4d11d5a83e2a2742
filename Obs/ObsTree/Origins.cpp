// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Origins.h"

#include <algorithm>

namespace obs {

void Origins::keep(bool isWanted) {
    isKept_ = isWanted;
    clear();
}

std::int32_t Origins::fileNumber(std::string_view name) {
    // The file of the latest load is asked for most.
    const auto found = std::find(files_.rbegin(), files_.rend(), name);
    if (found != files_.rend()) return static_cast<std::int32_t>(files_.rend() - found) - 1;
    files_.emplace_back(name);
    return static_cast<std::int32_t>(files_.size()) - 1;
}

void Origins::note(std::int32_t seqNum, Origin origin) {
    constexpr std::int64_t kMostStep = 1 << 20;
    if (!runs_.empty()) {
        Run& last = runs_.back();
        const std::int64_t step = origin.line - last.line;
        if (last.first == last.last && step > 0 && step < kMostStep) last.step = static_cast<std::int32_t>(step);
        const std::int64_t due = last.line + std::int64_t{last.step} * (seqNum - last.first);
        if (last.last == seqNum - 1 && last.file == origin.file && due == origin.line) {
            last.last = seqNum;
            return;
        }
    }
    const auto place =
        std::partition_point(runs_.begin(), runs_.end(), [&](const Run& run) { return run.first < seqNum; });
    runs_.insert(place, {seqNum, seqNum, origin.file, 1, origin.line});
}

Origin Origins::of(std::int32_t seqNum) const {
    const auto run =
        std::partition_point(runs_.begin(), runs_.end(), [&](const Run& one) { return one.last < seqNum; });
    if (run == runs_.end() || run->first > seqNum) return {};
    return {run->file, run->line + std::int64_t{run->step} * (seqNum - run->first)};
}

void Origins::renumber(const std::vector<std::pair<std::int32_t, SlotNumber>>& numbered) {
    Origins renumbered;
    std::int32_t number = 0;
    for (const auto& [seqNum, slot] : numbered) {
        ++number;
        if (const Origin origin = of(seqNum); origin.file >= 0) renumbered.note(number, origin);
    }
    runs_ = std::move(renumbered.runs_);
}

}  // namespace obs
