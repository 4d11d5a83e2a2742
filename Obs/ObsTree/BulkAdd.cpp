// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/BulkAdd.h"

#include <algorithm>
#include <new>
#include <span>
#include <utility>

namespace obs {

namespace {

/// Keys ahead of the one being entered whose places are fetched.
constexpr std::size_t kPrefetchAhead = 24;

/// Observations that are entered before readers get a turn: some 10 ms.
constexpr std::size_t kSpell = std::size_t{1} << 18;

/// Below this share of the store new nodes are linked at once.
constexpr std::size_t kLooseShare = 16;

/// Where the observations of a batch come from, noted as they are entered.
class OriginNotes {
public:
    /// Throws std::bad_alloc.
    explicit OriginNotes(const BatchOrigin* origin) {
        if (origin == nullptr || !gStore.origins.isKept()) return;
        file_ = gStore.origins.fileNumber(origin->file);
        lines_ = origin->lines;
    }

    /// Of the one that was entered last. False without memory.
    bool note(std::size_t position) {
        if (lines_.empty()) return true;
        while (lines_.size() > 1 && lines_[1].position <= position) lines_ = lines_.subspan(1);
        const std::int64_t line = lines_[0].lineNumber + static_cast<std::int64_t>(position - lines_[0].position);
        try {
            gStore.origins.note(gStore.lastSeqNum, {file_, line});
            return true;
        } catch (const std::bad_alloc&) { return false; }
    }

private:
    std::int32_t file_ = -1;
    std::span<const LineRun> lines_;  ///< from the one that is due
};

}  // namespace

BulkAdd::~BulkAdd() {
    try {
        drop();
    } catch (...) {  // the slots stay reserved: a leak, never a fault
    }
}

void BulkAdd::add(std::int64_t key, ObsRecord& rec, std::int32_t gid) {
    if (needsTopUp()) topUp();
    const SlotNumber slot = reserved_.nextSlot();
    append(slot, key, gid);
    try {
        gStore.pools.writeReserved(slot, rec, reserved_);
    } catch (...) {
        pending_.popBack();
        throw;
    }
    reserved_.takeSlot();
}

void BulkAdd::append(SlotNumber slot, std::int64_t key, std::int32_t gid) {
    pending_.pushBack(slot);
    gStore.pools.node(slot).setIntendedKey(key);
    gStore.pools.mark(slot).gid = gid;
}

void BulkAdd::addAtPlace(std::int64_t key, const UncommonFields& rest) {
    const SlotNumber slot = reserved_.nextSlot();
    append(slot, key, gid_);
    gStore.pools.completeReserved(slot, rest, reserved_);
    reserved_.takeSlot();
}

/// Inside an update, seen or unseen.
void BulkAdd::open() {
    if (!open_) gStore.pools.open();
    open_ = true;
}

void BulkAdd::topUp() {
    constexpr std::size_t kLeastReserved = 64;
    if (!open_) obsreclaim();
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
    const UnseenUpdateGuard guard;
    close();
    gStore.pools.abandon(pending_);
    pending_.clear();
}

void BulkAdd::drop(HandedOver& others) {
    if (others.empty()) return;
    const UnseenUpdateGuard guard;
    gStore.pools.abandon(others);
    others.clear();
}

void BulkAdd::handOver(HandedOver& to) {
    handedOver_ += pending_.size();
    std::swap(pending_, to);
}

void BulkAdd::append(HandedOver& others) {
    if (!open_) {
        const UnseenUpdateGuard guard;
        open();
    }
    pending_.append(others);
    others.clear();
}

std::vector<BulkAdd::Refused> BulkAdd::commit(std::int64_t* keys, const BatchOrigin* origin) {
    const UpdateGuard guard;
    gStore.reserve(pending_.size(), gStore.pools.slotsUsed());
    if (takeBack_ != nullptr) takeBack_->reserve();
    // Of a large batch the order waits until somebody asks for it.
    const bool isLarge = pending_.size() >= gStore.tree.size() / kLooseShare;
    const std::int32_t seqNumBefore = gStore.lastSeqNum;
    accepted_ = 0;
    std::vector<Refused> refused;
    OriginNotes notes(origin);
    bool allNamed = true;
    SlotRuns::Cursor cursor(pending_), ahead(pending_);
    const auto fetchNext = [&] {
        if (!ahead.isAtEnd()) gStore.index.prefetch(gStore.pools.node(ahead.next()).intendedKey());
    };
    for (std::size_t i = 0; i < kPrefetchAhead; ++i) fetchNext();
    for (std::size_t i = 0; i < pending_.size(); ++i) {
        if (i % kSpell == 0) gProtocol.letReadersIn();  // at first, too: room for millions was made just now
        fetchNext();
        const SlotNumber slot = cursor.next();
        const std::int64_t intended = gStore.pools.node(slot).intendedKey();
        std::int64_t key = intended;
        const bool isEntered = enter(slot, key, isLarge);
        accepted_ += isEntered;
        if (keys != nullptr) keys[i] = isEntered ? key : kDuplicateKey;
        allNamed = (isEntered ? notes.note(i) : note({i, intended}, refused)) && allNamed;
    }
    if (takeBack_ != nullptr) takeBack_->note(seqNumBefore, accepted_);
    pending_.clear();
    close();
    if (!allNamed) throw std::bad_alloc{};
    return refused;
}

/// Makes an observation one of the store's, under a key that becomes the one it gets. False for a duplicate, which is
/// released.
bool BulkAdd::enter(SlotNumber slot, std::int64_t& key, bool isLoose) {
    if (!gStore.claimKey(slot, key)) {
        gStore.pools.release(slot);
        return false;
    }
    gStore.pools.mark(slot).seqNum = gStore.takeSeqNums(1) + 1;
    gStore.pools.noteLive(slot);
    if (isLoose) gStore.tree.addLoose(slot);
    else gStore.tree.link(slot);
    return true;
}

/// False without memory.
bool BulkAdd::note(Refused one, std::vector<Refused>& refused) {
    try {
        refused.push_back(one);
        return true;
    } catch (const std::bad_alloc&) { return false; }
}

}  // namespace obs
