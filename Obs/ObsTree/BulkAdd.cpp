// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/BulkAdd.h"

#include <algorithm>
#include <new>

#include "Obs/ObsTree/RadixSort.h"

namespace obs {

namespace {

/// Keys ahead of the one being entered whose places are fetched.
constexpr std::size_t kPrefetchAhead = 24;

/// Below this share of the store new nodes are linked one by one, above it the tree is built anew.
constexpr std::size_t kRebuildShare = 16;

/// Moves per element that an insertion sort may cost before the order counts as unsorted.
constexpr std::size_t kMovesAllowed = 8;

}  // namespace

BulkAdd::~BulkAdd() {
    try {
        drop();
    } catch (...) {  // the slots stay reserved: a leak, never a fault
    }
}

void BulkAdd::add(std::int64_t key, ObsRecord& rec, std::int32_t gid) {
    if (needsTopUp()) topUp();
    pending_.push_back({key, kNoSlot, gid});
    const SlotNumber slot = reserved_.takeSlot();
    try {
        gStore.pools.writeReserved(slot, rec, reserved_);
    } catch (...) {
        pending_.pop_back();
        reserved_.reused.push_back(slot);
        throw;
    }
    pending_.back().slot = slot;
}

void BulkAdd::addAtPlace(std::int64_t key, char secClass, bool rotateToDate, const RareFields* rare) {
    const SlotNumber slot = reserved_.nextSlot();
    pending_.push_back({key, slot, gid_});
    gStore.pools.completeReserved(slot, secClass, rotateToDate, rare, reserved_);
    reserved_.takeSlot();
}

void BulkAdd::topUp() {
    const UnseenUpdateGuard guard;
    if (!open_) gStore.pools.open();
    open_ = true;
    constexpr std::size_t kLeastReserved = 64;
    gStore.pools.reserve(reserved_, static_cast<std::uint32_t>(std::clamp<std::size_t>(pending_.size(), kLeastReserved,
                                                                                       Pools::kMostReserved)));
}

/// Inside an update, seen or unseen.
void BulkAdd::close() {
    if (!open_) return;
    gStore.pools.close(reserved_);
    open_ = false;
}

void BulkAdd::drop() {
    if (!open_ && pending_.empty()) return;
    std::vector<SlotNumber> slots;
    slots.reserve(pending_.size());
    for (const Pending& pending : pending_) slots.push_back(pending.slot);
    const UnseenUpdateGuard guard;
    close();
    gStore.pools.abandon(slots);
    pending_.clear();
}

ObsRecord BulkAdd::recordAt(std::size_t position) const {
    ObsRecord rec;
    gStore.pools.read(pending_[position].slot, rec);
    return rec;
}

std::vector<BulkAdd::Refused> BulkAdd::commit(std::int64_t* keys) {
    const UpdateGuard guard;
    gStore.reserve(pending_.size(), gStore.pools.slotsUsed());
    if (takeBack_ != nullptr) takeBack_->reserve();
    std::vector<Refused> refused;
    const bool allNamed = claimKeys(refused, keys);
    link();
    pending_.clear();
    close();
    if (!allNamed) throw std::bad_alloc{};
    return refused;
}

/// Settles every key in order of adding and leaves in `pending_` those that were accepted. False when
/// memory did not suffice to name every refused one.
bool BulkAdd::claimKeys(std::vector<Refused>& refused, std::int64_t* keys) {
    bool allNamed = true;
    std::size_t accepted = 0;
    for (std::size_t i = 0; i < pending_.size(); ++i) {
        if (i + kPrefetchAhead < pending_.size()) gStore.index.prefetch(pending_[i + kPrefetchAhead].key);
        Pending pending = pending_[i];
        const std::int64_t firstKey = pending.key;
        const bool claimed = gStore.claimKey(pending.slot, pending.key);
        if (keys != nullptr) keys[i] = claimed ? pending.key : kDuplicateKey;
        if (claimed) {
            pending_[accepted++] = pending;
            continue;
        }
        gStore.pools.release(pending.slot);
        try {
            refused.push_back({i, firstKey});
        } catch (const std::bad_alloc&) { allNamed = false; }
    }
    pending_.resize(accepted);
    accepted_ = accepted;
    std::int32_t seqNum = gStore.takeSeqNums(static_cast<std::uint32_t>(accepted));
    if (takeBack_ != nullptr) takeBack_->note(seqNum, accepted);
    for (const Pending& pending : pending_) {
        gStore.pools.mark(pending.slot) = {++seqNum, pending.gid};
        gStore.pools.noteLive(pending.slot);
    }
    return allNamed;
}

void BulkAdd::link() {
    if (pending_.size() >= gStore.tree.size() / kRebuildShare) {
        try {
            sortByKey();
            std::vector<SlotNumber> order(pending_.size());
            std::transform(pending_.begin(), pending_.end(), order.begin(), [](const Pending& p) { return p.slot; });
            gStore.tree.linkSorted(order);
            return;
        } catch (const std::bad_alloc&) {  // one by one needs no memory
        }
    }
    for (const Pending& pending : pending_) gStore.tree.link(pending.slot);
}

/// Decks in order of time are nearly sorted already; anything else is sorted by digits.
void BulkAdd::sortByKey() {
    std::size_t movesLeft = kMovesAllowed * pending_.size();
    for (std::size_t i = 1; i < pending_.size(); ++i) {
        const Pending moving = pending_[i];
        std::size_t at = i;
        for (; at > 0 && pending_[at - 1].key > moving.key && movesLeft > 0; --at, --movesLeft)
            pending_[at] = pending_[at - 1];
        pending_[at] = moving;
        if (movesLeft == 0)
            return radixSort(pending_, [](const Pending& p) { return static_cast<std::uint64_t>(p.key); });
    }
}

}  // namespace obs
