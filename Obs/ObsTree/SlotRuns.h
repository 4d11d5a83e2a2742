// SPDX-License-Identifier: Apache-2.0
/// A list of slots, in which those that follow each other take no more room than one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Obs/ObsTypes/ObsNode.h"

namespace obs {

class SlotRuns {
    struct Run {
        SlotNumber first;
        std::uint32_t count;
    };

public:
    bool empty() const { return size_ == 0; }
    std::size_t size() const { return size_; }

    /// Throws std::bad_alloc, the list being as it was.
    void pushBack(SlotNumber slot) {
        if (!runs_.empty() && slot == runs_.back().first + runs_.back().count) ++runs_.back().count;
        else runs_.push_back({slot, 1});
        ++size_;
    }
    void popBack() {
        if (--runs_.back().count == 0) runs_.pop_back();
        --size_;
    }
    /// Throws std::bad_alloc, the list being as it was.
    void append(const SlotRuns& others) {
        runs_.insert(runs_.end(), others.runs_.begin(), others.runs_.end());
        size_ += others.size_;
    }
    void clear() {
        runs_.clear();
        size_ = 0;
    }

    /// Goes through the slots in turn.
    class Cursor {
    public:
        explicit Cursor(const SlotRuns& list) : run_(list.runs_.data()), end_(run_ + list.runs_.size()) {}
        bool isAtEnd() const { return run_ == end_; }
        SlotNumber next() {
            const SlotNumber slot = run_->first + at_;
            if (++at_ == run_->count) ++run_, at_ = 0;
            return slot;
        }

    private:
        const Run* run_;
        const Run* end_;
        std::uint32_t at_ = 0;
    };

    /// Calls `use(slot)` for each, the last one first.
    template <class Use>
    void forEachBackwards(Use&& use) const {
        for (auto run = runs_.rbegin(); run != runs_.rend(); ++run)
            for (std::uint32_t left = run->count; left > 0; --left) use(run->first + left - 1);
    }

private:
    std::vector<Run> runs_;
    std::size_t size_ = 0;
};

}  // namespace obs
