// SPDX-License-Identifier: Apache-2.0
/// The store's node and handle as values, and references for lists.
#pragma once

#include <cstdint>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// Number of a place in the store's pools; stands for a pointer in half the bytes.
using SlotNumber = std::uint32_t;
inline constexpr SlotNumber kNoSlot = 0x7fffffff;

/// The handle of an address key. `self` holds the handle's own address, so that a key
/// can be tested before it is trusted; a handle whose `rec` is none was deallocated.
/// Handles are never moved and never reused.
struct ObsDma {
    const ObsDma* self = nullptr;
    SlotNumber rec = kNoSlot;
};

/// References for lists, so that sorting and selecting never copy records: to a record as
/// the store keeps it, and to a node.
struct StoredRecord;
using ObsRecordPtr = const StoredRecord*;
using ObsBinTreePtr = SlotNumber;

/// One node of the store as a value. The store keeps the same facts apart (what a descent
/// touches, what a listing touches, the record), so this is what is copied out of it.
/// Copying shares the children and copies the record.
struct ObsBinTree {
    std::int64_t obsKey = 0;
    std::int32_t seqNum = 0;   ///< order of insertion, over the life of the process
    std::int32_t balance = 0;  ///< height of right less height of left: -1, 0, +1
    std::int32_t gid = 0;      ///< group id, 0 when none was given
    ObsBinTreePtr left = kNoSlot;
    ObsBinTreePtr right = kNoSlot;
    Owned<ObsRecord> rec;  ///< absent for an observation held through an ObsDma
};

}  // namespace obs
