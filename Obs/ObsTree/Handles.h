// SPDX-License-Identifier: Apache-2.0
/// The handles behind address keys. A handle is never moved and never reused, so that a key
/// whose observation is gone is recognised as such; memory is only followed when it is one of
/// these handles.
///
/// Threads: as the pools (reading on the reader side, the rest on the updater side).
#pragma once

#include <memory>
#include <vector>

#include "Obs/ObsTypes/Companions.h"

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
    static constexpr std::size_t kBlockSize = 4096;

    std::vector<ObsDma*> byAddress_;  ///< blocks of kBlockSize handles, kept for the life of the process
    ObsDma* last_ = nullptr;          ///< the block that is being filled
    std::size_t usedInLast_ = kBlockSize;
};

}  // namespace obs
