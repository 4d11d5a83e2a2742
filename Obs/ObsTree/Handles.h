// SPDX-License-Identifier: Apache-2.0
/// The handles of address keys. A handle is never moved and never reused, so that a key
/// whose observation is gone is recognised as such; memory is only followed when it is one of
/// these handles.
///
/// Handles are given out from blocks of address space in ascending order. Emptying the store gives the memory of those
/// given out back to the system and keeps their addresses.
///
/// Threads: as the pools (reading on the reader side, the rest on the updater side).
#pragma once

#include <vector>

#include "Obs/ObsTypes/ObsNode.h"

namespace obs {

class Handles {
public:
    /// A new handle to a slot. Throws std::bad_alloc.
    ObsDma* create(SlotNumber slot);

    /// The handle of an address key, or null for a key that was never given out.
    ObsDma* find(std::int64_t obsKey);

    /// Every handle's observation is gone.
    void releaseAll();

private:
    /// Kept for the life of the process.
    struct Block {
        ObsDma* handles;
        std::size_t firstKept = 0;  ///< the memory of those before was given back
        std::size_t used = 0;
    };

    Block& addBlock();

    std::vector<Block> byAddress_;
    std::size_t last_ = 0;  ///< the block that is being filled
};

}  // namespace obs
