// SPDX-License-Identifier: Apache-2.0
/// The store's memory. One slot number stands for one observation in four arrays, kept apart
/// because different work touches them: nodes (a descent), parents (a change of the tree), marks (listing by
/// insertion, groups) and records. Fresh memory is the largest part of a load, so a record keeps its common
/// fields in 88 bytes and its rare fields and optional parts elsewhere, only when it has them.
///
/// Invariants:
/// 1. A slot whose node has key -1 is dead: free, or reserved and not linked yet. One with another negative key is
///    gone: it holds nothing and waits for the tree to give it back.
/// 2. Every slot below the scan limit is live, gone or dead, never uninitialised.
/// 3. A reserved slot is touched by its owner alone, except that its node's key stays -1 until
///    it is linked.
///
/// Threads: `reserve`, `close` and `abandon` need updaters kept out; writing a reserved slot needs nothing;
/// everything else needs the updater side, reading needs the reader side.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "Obs/ObsTree/ChunkArray.h"
#include "Obs/ObsTree/SlotRuns.h"
#include "Obs/ObsTypes/ObsNode.h"

namespace obs {

/// What a descent touches. A set bit above a child's number says that this side is the higher one.
struct Node {
    std::int64_t key;
    std::uint32_t words[2];  ///< left, right

    static constexpr std::uint32_t kHeavy = 0x80000000u;
    static constexpr std::int64_t kDead = -1;

    bool isLive() const { return key >= 0; }

    /// Removed, but not from the tree yet, in which its key still has its place. Keys are not negative.
    bool isGone() const { return key < kDead; }
    void setGone() { key |= kGone; }
    std::int64_t orderKey() const { return key & ~kGone; }
    static constexpr std::int64_t kGone = std::numeric_limits<std::int64_t>::min();

    /// The child on a side; an index, so that a descent does not branch on it.
    SlotNumber child(bool right) const { return words[right] & ~kHeavy; }
    void setChild(bool right, SlotNumber slot) { words[right] = (words[right] & kHeavy) | slot; }
    SlotNumber left() const { return child(false); }
    SlotNumber right() const { return child(true); }

    int balance() const { return static_cast<int>(words[1] >> 31) - static_cast<int>(words[0] >> 31); }
    void setBalance(int balance) {
        words[0] = left() | (balance < 0 ? kHeavy : 0);
        words[1] = right() | (balance > 0 ? kHeavy : 0);
    }
    void set(SlotNumber left, SlotNumber right, int balance) {
        words[0] = left | (balance < 0 ? kHeavy : 0);
        words[1] = right | (balance > 0 ? kHeavy : 0);
    }

    /// Neither side has a child and both are the higher one: the tree has not got to this node yet.
    bool isLoose() const { return words[0] == kLoose && words[1] == kLoose; }
    void setLoose() { words[0] = words[1] = kLoose; }
    static constexpr std::uint32_t kLoose = kHeavy | kNoSlot;

    /// The key that a node is to get, while its slot is reserved.
    void setIntendedKey(std::int64_t intended) { std::memcpy(words, &intended, sizeof intended); }
    std::int64_t intendedKey() const {
        std::int64_t intended;
        std::memcpy(&intended, words, sizeof intended);
        return intended;
    }
};
static_assert(sizeof(Node) == 16);

struct Mark {
    std::int32_t seqNum;
    std::int32_t gid;
};

/// A record as it is kept. The triples of its rare fields are in their order from `triples` on, those that are all
/// zero left out; after them an RF part, where that is the only part.
struct StoredRecord : CommonFields {
    OptionalParts* parts;  ///< owned; null when the record has none, or is kept without them
    std::uint32_t triples;
    char secClass;
    std::uint8_t tripleMask;  ///< which triples there are
    std::uint8_t rotateToDate;
    std::uint8_t defaultCsv;  ///< the record has a CSV part that holds nothing but defaults, and no other part
};
static_assert(sizeof(StoredRecord) == 88);

/// Three reals, as the store keeps rare fields, or as much of an RF part.
struct Triple {
    double v[3];
};
inline constexpr unsigned kRareTriples = sizeof(RareFields) / sizeof(Triple);
inline constexpr unsigned kRfTriples = sizeof(RfObsData) / sizeof(Triple);
inline constexpr unsigned kTripleKinds = kRareTriples + kRfTriples;

/// Slots and triples set aside for one owner, which may fill them while readers go on.
struct Reservation {
    struct Run {
        std::uint32_t next = 0, end = 0;
        std::uint32_t size() const { return end - next; }
    };
    std::vector<SlotNumber> reused;  ///< slots that were free
    Run slots;                       ///< slots never used before
    Run triples;

    std::size_t slotsLeft() const { return reused.size() + slots.size(); }
    SlotNumber nextSlot() const { return reused.empty() ? slots.next : reused.back(); }
    SlotNumber takeSlot() {
        const SlotNumber slot = nextSlot();
        if (reused.empty()) ++slots.next;
        else reused.pop_back();
        return slot;
    }
};

class Pools {
public:
    static constexpr std::uint32_t kMostReserved = 4096;  ///< slots that a reservation asks for at once

    Node& node(SlotNumber slot) { return nodes_[slot]; }
    const Node& node(SlotNumber slot) const { return nodes_[slot]; }
    SlotNumber& parent(SlotNumber slot) { return parents_[slot]; }
    Mark& mark(SlotNumber slot) { return marks_[slot]; }
    const Mark& mark(SlotNumber slot) const { return marks_[slot]; }
    StoredRecord& record(SlotNumber slot) { return records_[slot]; }
    const StoredRecord& record(SlotNumber slot) const { return records_[slot]; }

    /// Asks for a record's memory ahead of its use.
    void prefetchRecord(SlotNumber slot) const {
        const char* record = reinterpret_cast<const char*>(&records_[slot]);
        __builtin_prefetch(record);
        __builtin_prefetch(record + sizeof(StoredRecord) - 1);
    }

    /// Calls `visit(slot)` for every live slot in order of storage, which is kind to the caches.
    template <class Visit>
    void scan(Visit&& visit) const {
        scan(0, scanLimit_, visit);
    }

    /// The same for the slots from one to before another; true when there are none after these.
    template <class Visit>
    bool scan(SlotNumber from, SlotNumber end, Visit&& visit) const {
        for (SlotNumber slot = from; slot < end && slot < scanLimit_; ++slot)
            if (nodes_[slot].isLive()) visit(slot);
        return end >= scanLimit_;
    }

    /// The same for who reads the records. They are asked for ahead: the processor does that itself, but only to the
    /// end of a page.
    template <class Visit>
    bool scanRecords(SlotNumber from, SlotNumber end, Visit&& visit) const {
        constexpr SlotNumber kAhead = 16;
        return scan(from, end, [&](SlotNumber slot) {
            if (slot + kAhead < scanLimit_) prefetchRecord(slot + kAhead);
            visit(slot);
        });
    }
    template <class Visit>
    void scanRecords(Visit&& visit) const {
        scanRecords(0, scanLimit_, visit);
    }

    /// Slots ever used: all slot numbers are below.
    std::uint32_t slotsUsed() const { return freshSlot_; }

    /// Takes a dead slot. Throws std::bad_alloc.
    SlotNumber acquire();
    /// Kills a slot: its triples, parts and number become free.
    void release(SlotNumber slot);
    /// The same in two steps.
    void releaseContents(SlotNumber slot) { releaseRecord(records_[slot]); }
    void releaseSlot(SlotNumber slot);
    /// Writes a record into an acquired slot, as a deep copy. On std::bad_alloc the slot holds no record.
    void write(SlotNumber slot, const ObsRecord& rec);
    /// Writes a record into a reserved slot, taking its optional parts over. The reservation must hold at least
    /// `kTripleKinds` triples. On std::bad_alloc the slot holds no record.
    void writeReserved(SlotNumber slot, ObsRecord& rec, Reservation& reserved);
    /// Makes a record of a reserved slot whose common fields are written.
    void completeReserved(SlotNumber slot, const UncommonFields& rest, Reservation& reserved);
    /// Replaces a slot's record; on std::bad_alloc the old one stays.
    void rewrite(SlotNumber slot, const ObsRecord& rec);
    /// Reads a record; `withParts` false leaves the optional parts as they are in `rec`. Gives which of senPos, senVel,
    /// satPos and satVel are not all zero: a bit for each, the lowest first.
    unsigned read(SlotNumber slot, ObsRecord& rec, bool withParts = true) const;

    /// Opens a reservation: until it is closed `clear` keeps the arrays.
    void open() { ++openReservations_; }
    /// Tops a reservation up, with at most `slots` slots. Throws std::bad_alloc.
    void reserve(Reservation& reserved, std::uint32_t slots);
    /// Has the memory supplied of slots and triples that a reservation has got, which the owner may do beside others.
    void supplySlots(const Reservation::Run& slots);
    void supplyParents() { parents_.supply(0, freshSlot_); }
    void supplyTriples(const Reservation::Run& triples) { triples_.supply(triples.next, triples.end); }
    /// Takes the unused rest back and closes the reservation.
    void close(Reservation& reserved);
    /// Gives filled slots that were never linked back, newest first where that shortens the arrays.
    void abandon(const SlotRuns& slots);

    /// A slot became live: scans must reach it.
    void noteLive(SlotNumber slot) {
        if (slot >= scanLimit_) scanLimit_ = slot + 1;
    }

    /// Kills every live slot; frees the arrays when no reservation is open.
    void clear();

private:
    std::uint32_t acquireTriples(unsigned count, Reservation* reserved);
    void writeTriples(StoredRecord& stored, const RareFields* rare, const RfObsData* rf, Reservation* reserved);
    void writeFields(SlotNumber slot, const ObsRecord& rec, std::unique_ptr<OptionalParts> parts,
                     Reservation* reserved);
    void readRareFields(const StoredRecord& stored, RareFields& rare) const;
    void readRf(const StoredRecord& stored, OptionalParts& parts) const;
    void readParts(const StoredRecord& stored, OptionalParts& parts) const;
    void releaseRecord(StoredRecord& stored);
    void releaseTriples(std::uint32_t first, unsigned count);
    SlotNumber popFreeSlot();
    void ensureSlots(std::uint64_t count);

    ChunkArray<Node> nodes_;
    ChunkArray<SlotNumber> parents_;
    ChunkArray<Mark> marks_;
    ChunkArray<StoredRecord> records_;
    ChunkArray<Triple> triples_;

    std::uint32_t freshSlot_ = 0;
    std::uint32_t freshTriple_ = 0;
    std::uint32_t scanLimit_ = 0;
    SlotNumber freeSlots_ = kNoSlot;  ///< linked through Node::words[0]
    /// Free runs of triples by length, linked through their first bytes; number + 1, 0 none.
    std::uint32_t freeTriples_[kTripleKinds + 1] = {};
    std::int32_t openReservations_ = 0;
    std::atomic<bool> anyParts_{false};  ///< set by loads outside the mutex, too
};

}  // namespace obs
