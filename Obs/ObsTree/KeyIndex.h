// SPDX-License-Identifier: Apache-2.0
/// A hash table from key to slot beside the tree: one cache line for a look-up where a descent
/// touches some ten. It decides which keys are taken; the tree keeps their order.
///
/// Open addressing with linear probing in 32-bit entries, at most half full. An entry holds
/// the slot's number + 1 in its lower bits and, in the bits that the number leaves free, more of the
/// key's hash, so that a foreign entry is mostly told apart without touching its node.
///
/// A removed entry leaves a mark that probes pass over and additions take; closing the gap instead would have to
/// look at the nodes of the entries after it, a cache miss each.
///
/// What the table tells does not depend on the hash, which differs from run to run.
///
/// Invariant: every live slot's key is found; entries and marks together fill at most half of the table.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Obs/ObsTree/Pages.h"
#include "Obs/ObsTree/Pools.h"

namespace obs {

class KeyIndex {
public:
    explicit KeyIndex(const Pools& pools);

    /// The slot of a key, or `kNoSlot`.
    SlotNumber find(std::int64_t key) const;

    /// Makes room for `count` keys in slots below `slotLimit`. Throws std::bad_alloc.
    void reserve(std::uint64_t count, std::uint64_t slotLimit);

    /// Adds a key unless it is there. Returns the slot that holds it: `slot`, or the earlier one.
    /// Room must have been reserved; the node's key is compared for the keys that were added before.
    SlotNumber findOrAdd(std::int64_t key, SlotNumber slot);

    /// Forgets a key; its node must still carry it.
    void remove(std::int64_t key);

    /// Fetches the place of a key ahead of its use.
    void prefetch(std::int64_t key) const {
        if (bits_ != 0) __builtin_prefetch(&entries_[position(hashOf(key))]);
    }

    void clear();

    std::uint64_t count() const { return count_; }

private:
    /// Two rounds of multiply and shift: keys are arithmetic patterns (times times 10^10), and one
    /// multiplication would leave their regular distances visible in the upper bits.
    std::uint32_t hashOf(std::int64_t key) const {
        auto h = static_cast<std::uint64_t>(key);
        h = (h ^ (h >> 32)) * multipliers_[0];
        h = (h ^ (h >> 29)) * multipliers_[1];
        return static_cast<std::uint32_t>(h >> 32);
    }
    std::uint32_t position(std::uint32_t hash) const {
        return static_cast<std::uint32_t>(std::uint64_t{hash} >> (32 - bits_));
    }
    std::uint32_t tag(std::uint32_t hash) const { return static_cast<std::uint32_t>(std::uint64_t{hash} << bits_); }
    std::uint32_t numberMask() const { return static_cast<std::uint32_t>((std::uint64_t{1} << bits_) - 1); }
    std::uint32_t entry(std::uint32_t hash, SlotNumber slot) const { return tag(hash) | (slot + 1); }
    SlotNumber slotOf(std::uint32_t entry) const { return (entry & numberMask()) - 1; }
    std::uint32_t* place(std::int64_t key, std::uint32_t hash) const;
    void rebuild(unsigned bits);

    const Pools& pools_;
    /// Odd, drawn anew in each process: with known ones anyone could write a deck whose keys all want one place.
    std::array<std::uint64_t, 2> multipliers_;
    std::unique_ptr<std::uint32_t[], FreeMemory> entries_;
    unsigned bits_ = 0;  ///< the table has 2^bits entries
    std::uint64_t count_ = 0;
    std::uint64_t removed_ = 0;  ///< marks of removed entries
};

}  // namespace obs
