// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/BulkAdd.h"

#include <algorithm>
#include <new>

namespace obs {

namespace {

/// Keys ahead of the one being entered whose places are fetched.
constexpr std::size_t kPrefetchAhead = 24;

/// Below this share of the store new nodes are linked at once.
constexpr std::size_t kLooseShare = 16;

}  // namespace

/// Of observations that were added.
std::vector<SlotNumber> BulkAdd::slotsOf(const HandedOver& observations) {
    std::vector<SlotNumber> slots(observations.size());
    std::transform(observations.begin(), observations.end(), slots.begin(), [](const Pending& p) { return p.slot; });
    return slots;
}

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

/// Inside an update, seen or unseen.
void BulkAdd::open() {
    if (!open_) gStore.pools.open();
    open_ = true;
}

void BulkAdd::topUp() {
    constexpr std::size_t kLeastReserved = 64;
    const std::uint32_t slotsEnd = reserved_.slots.end, triplesEnd = reserved_.triples.end;
    {
        const UnseenUpdateGuard guard;
        open();
        gStore.pools.reserve(reserved_, static_cast<std::uint32_t>(std::clamp<std::size_t>(
                                            handedOver_ + pending_.size(), kLeastReserved, Pools::kMostReserved)));
    }
    // Fresh memory is the dearest part of a load: it must not keep other adders waiting.
    if (reserved_.slots.end != slotsEnd) gStore.pools.supplySlots(reserved_.slots);
    if (reserved_.triples.end != triplesEnd) gStore.pools.supplyTriples(reserved_.triples);
}

/// Inside an update, seen or unseen.
void BulkAdd::close() {
    if (!open_) return;
    gStore.pools.close(reserved_);
    open_ = false;
}

void BulkAdd::drop() {
    if (!open_ && pending_.empty()) return;
    const std::vector<SlotNumber> slots = slotsOf(pending_);
    const UnseenUpdateGuard guard;
    close();
    gStore.pools.abandon(slots);
    pending_.clear();
}

void BulkAdd::drop(HandedOver& others) {
    if (others.empty()) return;
    const std::vector<SlotNumber> slots = slotsOf(others);
    const UnseenUpdateGuard guard;
    gStore.pools.abandon(slots);
    others.clear();
}

void BulkAdd::handOver(HandedOver& to) {
    handedOver_ += pending_.size();
    pending_.swap(to);
}

void BulkAdd::append(HandedOver& others) {
    if (!open_) {
        const UnseenUpdateGuard guard;
        open();
    }
    pending_.insert(pending_.end(), others.begin(), others.end());
    others.clear();
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

/// Of a large batch the order waits until somebody asks for it.
void BulkAdd::link() {
    const bool isLarge = pending_.size() >= gStore.tree.size() / kLooseShare;
    for (const Pending& pending : pending_)
        isLarge ? gStore.tree.addLoose(pending.slot) : static_cast<void>(gStore.tree.link(pending.slot));
}

}  // namespace obs
