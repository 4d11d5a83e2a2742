// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Pools.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <type_traits>

#include "Obs/ObsTypes/FieldList.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace obs {

namespace {

constexpr std::uint32_t kSlotLimit = kNoSlot - Pools::kMostReserved;
constexpr std::uint32_t kTripleLimit = 0xffff0000u;

std::uint64_t bitsOf(double value) { return std::bit_cast<std::uint64_t>(value); }

/// A triple of the rare fields; their structure has nothing between them.
static_assert(std::is_standard_layout_v<RareFields> && sizeof(RareFields) == kRareTriples * sizeof(Triple));
const char* tripleOf(const RareFields& rare, unsigned kind) {
    return reinterpret_cast<const char*>(&rare) + kind * sizeof(Triple);
}

/// Which triples are not all zero.
std::uint8_t maskOf(const RareFields& rare) {
    unsigned mask = 0;
    for (unsigned kind = 0; kind < kRareTriples; ++kind) {
        std::uint64_t bits[3];
        std::memcpy(bits, tripleOf(rare, kind), sizeof bits);  // a negative zero is kept
        mask |= static_cast<unsigned>((bits[0] | bits[1] | bits[2]) != 0) << kind;
    }
    return static_cast<std::uint8_t>(mask);
}

/// An RF part is kept by its bytes.
static_assert(std::is_trivially_copyable_v<RfObsData> && sizeof(RfObsData) == kRfTriples * sizeof(Triple));
constexpr std::uint8_t kRfMask = ((1u << kRfTriples) - 1) << kRareTriples;
constexpr std::uint8_t kVectorsMask = ((1u << kRareTriples) - 1) & ~1u;  ///< all triples but that of the rates

bool hasRfAlone(const OptionalParts& parts) {
    return parts.rfData && !parts.csvData && !parts.extraValues && !parts.biases;
}

/// Most CSV lines fill none of the fields that CSV alone has; then one mark says it all.
bool hasDefaultCsvOnly(const ObsRecord& rec) {
    static constexpr CsvObsData kDefault;
    if (!rec.csvData || rec.extraValues || rec.biases || rec.rfData) return false;
    bool isDefault = true;
    forEachFieldOf<CsvObsData>([&](auto field) {
        const auto& value = field.in(*rec.csvData);
        // Bits, not values: a negative zero is kept.
        if constexpr (field.isReal) isDefault = isDefault && bitsOf(value) == bitsOf(field.in(kDefault));
        else isDefault = isDefault && value == field.in(kDefault);
    });
    return isDefault;
}

std::unique_ptr<OptionalParts> copyParts(const OptionalParts& parts) {
    return parts.hasParts() ? std::make_unique<OptionalParts>(parts) : nullptr;
}

/// Makes a part the only one.
template <class T>
void setAlone(OptionalParts& parts, Owned<T> OptionalParts::*part, const T& value) {
    if (!(parts.*part)) (parts.*part).create();
    *(parts.*part) = value;
    parts.extraValues.release();
    parts.biases.release();
    if constexpr (!std::is_same_v<T, CsvObsData>) parts.csvData.release();
    if constexpr (!std::is_same_v<T, RfObsData>) parts.rfData.release();
}

unsigned tripleCount(const StoredRecord& stored) { return static_cast<unsigned>(std::popcount(stored.tripleMask)); }

}  // namespace

SlotNumber Pools::popFreeSlot() {
    const SlotNumber slot = freeSlots_;
    freeSlots_ = nodes_[slot].words[0];
    return slot;
}

void Pools::releaseSlot(SlotNumber slot) {
    Node& node = nodes_[slot];
    // NOTE: a slot that was never linked is dead already, and readers may be scanning keys just now.
    if (node.key != Node::kDead) node.key = Node::kDead;
    node.words[0] = freeSlots_;
    freeSlots_ = slot;
}

void Pools::ensureSlots(std::uint64_t count) {
    nodes_.ensure(count);
    parents_.ensure(count);
    marks_.ensure(count);
    records_.ensure(count);
}

SlotNumber Pools::acquire() {
    if (freeSlots_ != kNoSlot) return popFreeSlot();
    if (freshSlot_ >= kSlotLimit) throw std::bad_alloc{};
    ensureSlots(std::uint64_t{freshSlot_} + 1);
    nodes_[freshSlot_].key = Node::kDead;
    return freshSlot_++;
}

void Pools::release(SlotNumber slot) {
    releaseRecord(records_[slot]);
    releaseSlot(slot);
}

void Pools::releaseRecord(StoredRecord& stored) {
    delete stored.parts;
    stored.parts = nullptr;
    if (stored.tripleMask != 0) releaseTriples(stored.triples, tripleCount(stored));
    stored.tripleMask = 0;
}

std::uint32_t Pools::acquireTriples(unsigned count, Reservation* reserved) {
    if (reserved != nullptr) {
        const std::uint32_t first = reserved->triples.next;
        reserved->triples.next += count;
        return first;
    }
    if (freeTriples_[count] != 0) {
        const std::uint32_t first = freeTriples_[count] - 1;
        std::memcpy(&freeTriples_[count], &triples_[first], sizeof freeTriples_[count]);
        return first;
    }
    if (freshTriple_ >= kTripleLimit) throw std::bad_alloc{};
    triples_.ensure(std::uint64_t{freshTriple_} + count);
    const std::uint32_t first = freshTriple_;
    freshTriple_ += count;
    return first;
}

void Pools::releaseTriples(std::uint32_t first, unsigned count) {
    if (first + count == freshTriple_) {
        freshTriple_ = first;
        return;
    }
    std::memcpy(&triples_[first], &freeTriples_[count], sizeof freeTriples_[count]);
    freeTriples_[count] = first + 1;
}

void Pools::write(SlotNumber slot, const ObsRecord& rec) {
    StoredRecord& stored = records_[slot];
    stored.parts = nullptr;
    stored.tripleMask = 0;
    const bool defaultCsv = hasDefaultCsvOnly(rec);
    writeFields(slot, rec, defaultCsv || hasRfAlone(rec) ? nullptr : copyParts(rec), nullptr);
    stored.defaultCsv = defaultCsv;
}

void Pools::writeReserved(SlotNumber slot, ObsRecord& rec, Reservation& reserved) {
    std::unique_ptr<OptionalParts> parts;
    const bool defaultCsv = hasDefaultCsvOnly(rec);
    if (rec.hasParts() && !defaultCsv && !hasRfAlone(rec))
        parts = std::make_unique<OptionalParts>(std::move(static_cast<OptionalParts&>(rec)));
    writeFields(slot, rec, std::move(parts), &reserved);
    records_[slot].defaultCsv = defaultCsv;
}

void Pools::writeFields(SlotNumber slot, const ObsRecord& rec, std::unique_ptr<OptionalParts> parts,
                        Reservation* reserved) {
    StoredRecord& stored = records_[slot];
    if (parts) anyParts_.store(true, std::memory_order_relaxed);
    writeTriples(stored, &rec, hasRfAlone(rec) ? &*rec.rfData : nullptr, reserved);
    static_cast<CommonFields&>(stored) = rec;
    stored.parts = parts.release();
    stored.secClass = rec.secClass;
    stored.rotateToDate = rec.rotateToDate != 0;
}

void Pools::writeTriples(StoredRecord& stored, const RareFields* rare, const RfObsData* rf, Reservation* reserved) {
    const std::uint8_t rareMask = rare == nullptr ? 0 : maskOf(*rare);
    const std::uint8_t mask = rareMask | (rf == nullptr ? 0 : kRfMask);
    if (mask != 0) {
        stored.triples = acquireTriples(static_cast<unsigned>(std::popcount(mask)), reserved);
        std::uint32_t at = stored.triples;
        for (unsigned kind = 0; kind < kRareTriples; ++kind)
            if ((rareMask >> kind & 1u) != 0) std::memcpy(&triples_[at++], tripleOf(*rare, kind), sizeof(Triple));
        if (rf != nullptr)
            for (unsigned i = 0; i < kRfTriples; ++i)
                std::memcpy(&triples_[at++], reinterpret_cast<const char*>(rf) + i * sizeof(Triple), sizeof(Triple));
    }
    stored.tripleMask = mask;
}

void Pools::completeReserved(SlotNumber slot, const UncommonFields& rest, Reservation& reserved) {
    StoredRecord& stored = records_[slot];
    stored.parts = nullptr;
    stored.triples = 0;
    stored.secClass = rest.secClass;
    stored.tripleMask = 0;
    stored.rotateToDate = rest.rotateToDate;
    stored.defaultCsv = 0;
    if (rest.rare != nullptr || rest.rf != nullptr) writeTriples(stored, rest.rare, rest.rf, &reserved);
}

void Pools::rewrite(SlotNumber slot, const ObsRecord& rec) {
    StoredRecord old = records_[slot];
    try {
        write(slot, rec);
    } catch (...) {
        records_[slot] = old;
        throw;
    }
    releaseRecord(old);
}

/// The triples that a record has; the others stay as they are.
void Pools::readRareFields(const StoredRecord& stored, RareFields& rare) const {
    std::uint32_t at = stored.triples;
    for (unsigned kind = 0; kind < kRareTriples; ++kind)
        if ((stored.tripleMask >> kind & 1u) != 0)
            std::memcpy(const_cast<char*>(tripleOf(rare, kind)), &triples_[at++], sizeof(Triple));
}

unsigned Pools::read(SlotNumber slot, ObsRecord& rec, bool withParts) const {
    const StoredRecord& stored = records_[slot];
    static_cast<CommonFields&>(rec) = stored;
    rec.secClass = stored.secClass;
    rec.rotateToDate = stored.rotateToDate;
    static_cast<RareFields&>(rec) = kDefaultFields;
    if (stored.tripleMask != 0) readRareFields(stored, rec);
    if (withParts) readParts(stored, rec);
    return (stored.tripleMask & kVectorsMask) >> 1u;
}

void Pools::readRf(const StoredRecord& stored, OptionalParts& parts) const {
    RfObsData rf;
    const std::uint32_t first = stored.triples + tripleCount(stored) - kRfTriples;
    for (unsigned i = 0; i < kRfTriples; ++i)
        std::memcpy(reinterpret_cast<char*>(&rf) + i * sizeof(Triple), &triples_[first + i], sizeof(Triple));
    setAlone(parts, &OptionalParts::rfData, rf);
}

void Pools::readParts(const StoredRecord& stored, OptionalParts& parts) const {
    if (stored.defaultCsv != 0) setAlone(parts, &OptionalParts::csvData, CsvObsData{});
    else if ((stored.tripleMask & kRfMask) != 0) readRf(stored, parts);
    else if (stored.parts != nullptr) parts = *stored.parts;
    else if (parts.hasParts()) parts = OptionalParts{};
}

void Pools::reserve(Reservation& reserved, std::uint32_t slots) {
    while (freeSlots_ != kNoSlot && reserved.slotsLeft() < slots) reserved.reused.push_back(popFreeSlot());
    if (reserved.slotsLeft() == 0) {
        if (freshSlot_ >= kSlotLimit) throw std::bad_alloc{};
        const std::uint32_t end = freshSlot_ + slots;
        ensureSlots(end);
        nodes_.supply(freshSlot_, end);
        reserved.slots = {freshSlot_, end};
        // Below the scan limit they are dead already, see `releaseSlot`.
        for (; freshSlot_ < end; ++freshSlot_)
            if (freshSlot_ >= scanLimit_) nodes_[freshSlot_].key = Node::kDead;
    }
    if (reserved.triples.size() < kTripleKinds) {
        if (freshTriple_ >= kTripleLimit) throw std::bad_alloc{};
        if (reserved.triples.end != freshTriple_) reserved.triples.next = freshTriple_;
        reserved.triples.end = freshTriple_ + std::max<std::uint32_t>(slots, kTripleKinds);
        triples_.ensure(reserved.triples.end);
        freshTriple_ = reserved.triples.end;
    }
}

void Pools::supplySlots(const Reservation::Run& slots) {
    marks_.supply(slots.next, slots.end);
    records_.supply(slots.next, slots.end);
}

void Pools::close(Reservation& reserved) {
    for (const SlotNumber slot : reserved.reused) releaseSlot(slot);
    for (; reserved.slots.size() != 0; --reserved.slots.end) {
        if (reserved.slots.end == freshSlot_) --freshSlot_;
        else releaseSlot(reserved.slots.end - 1);
    }
    if (reserved.triples.end == freshTriple_) freshTriple_ = reserved.triples.next;
    reserved = Reservation{};
    --openReservations_;
}

void Pools::abandon(const SlotRuns& slots) {
    slots.forEachBackwards([this](SlotNumber slot) {
        releaseRecord(records_[slot]);
        if (slot + 1 == freshSlot_) --freshSlot_;
        else releaseSlot(slot);
    });
}

void Pools::clear() {
    // NOTE: an open reservation belongs to a load in another thread that writes into these
    // arrays without keeping anyone out, so they must stay where they are.
    const bool keepArrays = openReservations_ > 0;
    if (keepArrays || anyParts_.load(std::memory_order_relaxed))
        for (SlotNumber slot = 0; slot < scanLimit_; ++slot)
            if (nodes_[slot].key != Node::kDead) release(slot);
    if (keepArrays) return;
    [[maybe_unused]] const bool hadParts = anyParts_.exchange(false, std::memory_order_relaxed);
    nodes_.clear();
    parents_.clear();
    marks_.clear();
    records_.clear();
    triples_.clear();
    freshSlot_ = freshTriple_ = scanLimit_ = 0;
    freeSlots_ = kNoSlot;
    for (std::uint32_t& head : freeTriples_) head = 0;
#if defined(__GLIBC__)
    if (hadParts) malloc_trim(0);  // else the many small parts stay with the process
#endif
}

}  // namespace obs
