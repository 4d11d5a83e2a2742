// SPDX-License-Identifier: Apache-2.0
/// What one adder has added, kept so that it can be taken back whatever others add and remove meanwhile: as runs of
/// insertion numbers, which no other observation has. A key would not do: another thread may have removed the
/// observation and added its own under it.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "Obs/ObsTypes/ObsNode.h"

namespace obs {

class TakeBack {
public:
    TakeBack();
    ~TakeBack();
    TakeBack(const TakeBack&) = delete;
    TakeBack& operator=(const TakeBack&) = delete;

    /// Removes what was noted and is still there. Other threads get their turn on the way. Needs no memory.
    void remove();

    // --- Updater side ---

    /// Makes room for one note. Throws std::bad_alloc.
    void reserve() { runs_.reserve(runs_.size() + 1); }

    /// Notes numbers above one, after `reserve`; those of one adder come in ascending order.
    void note(std::int32_t above, std::size_t count);

    /// The stored observations are about to be numbered from 1 on in their order, which is that of `numbered`.
    void renumber(const std::vector<std::pair<std::int32_t, SlotNumber>>& numbered);

private:
    struct Run {
        std::int32_t first, last;
    };

    bool has(std::int32_t seqNum) const;

    std::vector<Run> runs_;
};

}  // namespace obs
