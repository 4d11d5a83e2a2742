// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/TakeBack.h"

#include <algorithm>

#include "Obs/ObsTree/Store.h"

namespace obs {

TakeBack::TakeBack() {
    const StandstillGuard guard;
    gStore.takeBacks.push_back(this);
}

TakeBack::~TakeBack() {
    try {
        const StandstillGuard guard;
        std::erase(gStore.takeBacks, this);
    } catch (const StoreLost&) {  // nobody comes to look at it any more
    }
}

void TakeBack::note(std::int32_t above, std::size_t count) {
    if (count == 0) return;
    const std::int32_t last = above + static_cast<std::int32_t>(count);
    if (!runs_.empty() && runs_.back().last == above) runs_.back().last = last;
    else runs_.push_back({above + 1, last});
}

void TakeBack::renumber(const std::vector<std::pair<std::int32_t, SlotNumber>>& numbered) {
    const auto countBelow = [&](std::int64_t seqNum) {
        const auto at =
            std::partition_point(numbered.begin(), numbered.end(), [&](const auto& one) { return one.first < seqNum; });
        return static_cast<std::int32_t>(at - numbered.begin());
    };
    for (Run& run : runs_) run = {countBelow(run.first) + 1, countBelow(std::int64_t{run.last} + 1)};
    std::erase_if(runs_, [](const Run& run) { return run.first > run.last; });
}

bool TakeBack::has(std::int32_t seqNum) const {
    const auto run = std::partition_point(runs_.begin(), runs_.end(), [&](const Run& r) { return r.last < seqNum; });
    return run != runs_.end() && run->first <= seqNum;
}

void TakeBack::remove() {
    constexpr SlotNumber kSpell = 1024;  // some 0.1 ms
    bool isLast = runs_.empty();
    for (SlotNumber from = 0; !isLast; from += kSpell) {
        const UpdateGuard guard;
        isLast = gStore.pools.scan(from, from + kSpell, [&](SlotNumber slot) {
            if (has(gStore.pools.mark(slot).seqNum)) gStore.remove(gStore.pools.node(slot).key, slot);
        });
    }
    runs_.clear();
}

}  // namespace obs
