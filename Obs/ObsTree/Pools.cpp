// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Pools.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>

namespace obs {

namespace {

constexpr std::uint32_t kSlotLimit = kNoSlot - Pools::kMostReserved;
constexpr std::uint32_t kTripleLimit = 0xffff0000u;

// The five vectors of a record, in the order of the mask's bits.
struct Vectors {
    double v[kVectorKinds][3];
};

Vectors vectorsOf(const ObsFields& rec) {
    Vectors all{{{rec.elRate, rec.azRate, rec.rangeAccel}, {}, {}, {}, {}}};
    std::memcpy(all.v[1], rec.senPos.data(), sizeof all.v[1]);
    std::memcpy(all.v[2], rec.senVel.data(), sizeof all.v[2]);
    std::memcpy(all.v[3], rec.satPos.data(), sizeof all.v[3]);
    std::memcpy(all.v[4], rec.satVel.data(), sizeof all.v[4]);
    return all;
}

// Bits, not values: a negative zero is kept.
std::uint8_t maskOf(const Vectors& all) {
    unsigned mask = 0;
    for (unsigned kind = 0; kind < kVectorKinds; ++kind) {
        const double* v = all.v[kind];
        const std::uint64_t bits = std::bit_cast<std::uint64_t>(v[0]) | std::bit_cast<std::uint64_t>(v[1]) |
                                   std::bit_cast<std::uint64_t>(v[2]);
        mask |= static_cast<unsigned>(bits != 0) << kind;
    }
    return static_cast<std::uint8_t>(mask);
}

/// Most CSV lines fill none of the fields that CSV alone has; then one mark says it all.
bool hasDefaultCsvOnly(const ObsRecord& rec) {
    // Bits, not values: a negative zero is kept.
    static constexpr CsvObsData kDefault;
    return rec.csvData && !rec.extraValues && !rec.biases && !rec.rfData && *rec.csvData == kDefault &&
           std::none_of(rec.csvData->csvReals.begin(), rec.csvData->csvReals.end(), [](double v) { return std::signbit(v); }) &&
           std::none_of(rec.csvData->lastReals.begin(), rec.csvData->lastReals.end(), [](double v) { return std::signbit(v); }) &&
           !std::signbit(rec.csvData->unindexedReal) && !std::signbit(rec.csvData->csvReal10);
}

std::unique_ptr<OptionalParts> copyParts(const ObsRecord& rec) {
    if (!rec.hasParts()) return nullptr;
    return std::unique_ptr<OptionalParts>(new OptionalParts{rec.extraValues, rec.biases, rec.csvData, rec.rfData});
}

void setDefaultCsv(ObsRecord& rec) {
    rec.extraValues.release();
    rec.biases.release();
    rec.rfData.release();
    if (rec.csvData) *rec.csvData = CsvObsData{};
    else rec.csvData.create();
}

unsigned vectorCount(const StoredRecord& stored) {
    return static_cast<unsigned>(std::popcount(stored.vectorMask));
}

}  // namespace

SlotNumber Pools::popFreeSlot() {
    const SlotNumber slot = freeSlots_;
    freeSlots_ = nodes_[slot].words[0];
    return slot;
}

void Pools::freeSlot(SlotNumber slot) {
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
    freeSlot(slot);
}

void Pools::releaseRecord(StoredRecord& stored) {
    delete stored.parts;
    stored.parts = nullptr;
    if (stored.vectorMask != 0) releaseTriples(stored.vectors, vectorCount(stored));
    stored.vectorMask = 0;
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
    stored.vectorMask = 0;
    const bool defaultCsv = hasDefaultCsvOnly(rec);
    writeFields(slot, rec, defaultCsv ? nullptr : copyParts(rec), nullptr);
    stored.defaultCsv = defaultCsv;
}

void Pools::writeReserved(SlotNumber slot, ObsRecord& rec, Reservation& reserved) {
    std::unique_ptr<OptionalParts> parts;
    const bool defaultCsv = hasDefaultCsvOnly(rec);
    if (rec.hasParts() && !defaultCsv)
        parts.reset(new OptionalParts{std::move(rec.extraValues), std::move(rec.biases), std::move(rec.csvData),
                                      std::move(rec.rfData)});
    writeFields(slot, rec, std::move(parts), &reserved);
    records_[slot].defaultCsv = defaultCsv;
}

void Pools::writeFields(SlotNumber slot, const ObsFields& rec, std::unique_ptr<OptionalParts> parts,
                        Reservation* reserved) {
    StoredRecord& stored = records_[slot];
    if (parts) anyParts_.store(true, std::memory_order_relaxed);
    const Vectors all = vectorsOf(rec);
    const std::uint8_t mask = maskOf(all);
    if (mask != 0) {
        stored.vectors = acquireTriples(static_cast<unsigned>(std::popcount(mask)), reserved);
        std::uint32_t at = stored.vectors;
        for (unsigned kind = 0; kind < kVectorKinds; ++kind)
            if ((mask >> kind & 1u) != 0) std::memcpy(triples_[at++].v, all.v[kind], sizeof all.v[kind]);
    }
    stored.obsTime = rec.obsTime;
    stored.elOrDec = rec.elOrDec;
    stored.azOrRa = rec.azOrRa;
    stored.range = rec.range;
    stored.rangeRate = rec.rangeRate;
    stored.satNum = rec.satNum;
    stored.senNum = rec.senNum;
    stored.altSatNum1 = rec.altSatNum1;
    stored.altSatNum2 = rec.altSatNum2;
    stored.obsType = rec.obsType;
    stored.equinoxInd = rec.equinoxInd;
    stored.indicator1 = rec.indicator1;
    stored.indicator2 = rec.indicator2;
    stored.parts = parts.release();
    stored.secClass = rec.secClass;
    stored.vectorMask = mask;
    stored.rotateToDate = rec.rotateToDate != 0;
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

/// The vectors that a record has; the others stay as they are.
void Pools::readVectors(const StoredRecord& stored, ObsRecord& rec) const {
    std::uint32_t at = stored.vectors;
    if ((stored.vectorMask & 1u) != 0) {
        const Triple& rates = triples_[at++];
        rec.elRate = rates.v[0];
        rec.azRate = rates.v[1];
        rec.rangeAccel = rates.v[2];
    }
    Vector3* const vectors[] = {&rec.senPos, &rec.senVel, &rec.satPos, &rec.satVel};
    for (unsigned kind = 1; kind < kVectorKinds; ++kind)
        if ((stored.vectorMask >> kind & 1u) != 0)
            std::memcpy(vectors[kind - 1]->data(), triples_[at++].v, sizeof(Triple));
}

unsigned Pools::read(SlotNumber slot, ObsRecord& rec, bool withParts) const {
    const StoredRecord& stored = records_[slot];
    rec.secClass = stored.secClass;
    rec.equinoxInd = stored.equinoxInd;
    rec.satNum = stored.satNum;
    rec.senNum = stored.senNum;
    rec.obsType = stored.obsType;
    rec.indicator1 = stored.indicator1;
    rec.indicator2 = stored.indicator2;
    rec.altSatNum1 = stored.altSatNum1;
    rec.altSatNum2 = stored.altSatNum2;
    rec.obsTime = stored.obsTime;
    rec.elOrDec = stored.elOrDec;
    rec.azOrRa = stored.azOrRa;
    rec.range = stored.range;
    rec.rangeRate = stored.rangeRate;
    rec.rotateToDate = stored.rotateToDate;
    rec.elRate = rec.azRate = rec.rangeAccel = 0;
    rec.senPos = rec.senVel = rec.satPos = rec.satVel = {};
    if (stored.vectorMask != 0) readVectors(stored, rec);
    if (withParts) readParts(stored, rec);
    return stored.vectorMask >> 1u;
}

void Pools::readParts(const StoredRecord& stored, ObsRecord& rec) {
    if (stored.defaultCsv != 0) return setDefaultCsv(rec);
    if (stored.parts == nullptr) return freeobsrecord(rec);
    rec.extraValues = stored.parts->extraValues;
    rec.biases = stored.parts->biases;
    rec.csvData = stored.parts->csvData;
    rec.rfData = stored.parts->rfData;
}

void Pools::reserve(Reservation& reserved, std::uint32_t slots) {
    while (freeSlots_ != kNoSlot && reserved.slotsLeft() < slots)
        reserved.reused.push_back(popFreeSlot());
    if (reserved.slotsLeft() == 0) {
        if (freshSlot_ >= kSlotLimit) throw std::bad_alloc{};
        const std::uint32_t end = freshSlot_ + slots;
        ensureSlots(end);
        nodes_.supply(freshSlot_, end);
        parents_.supply(freshSlot_, end);
        marks_.supply(freshSlot_, end);
        records_.supply(freshSlot_, end);
        reserved.slots = {freshSlot_, end};
        // Below the scan limit they are dead already, see `freeSlot`.
        for (; freshSlot_ < end; ++freshSlot_)
            if (freshSlot_ >= scanLimit_) nodes_[freshSlot_].key = Node::kDead;
    }
    if (reserved.triples.size() < kVectorKinds) {
        if (freshTriple_ >= kTripleLimit) throw std::bad_alloc{};
        if (reserved.triples.end != freshTriple_) reserved.triples.next = freshTriple_;
        reserved.triples.end = freshTriple_ + std::max<std::uint32_t>(slots, kVectorKinds);
        triples_.ensure(reserved.triples.end);
        triples_.supply(reserved.triples.next, reserved.triples.end);
        freshTriple_ = reserved.triples.end;
    }
}

void Pools::close(Reservation& reserved) {
    for (const SlotNumber slot : reserved.reused) freeSlot(slot);
    for (; reserved.slots.size() != 0; --reserved.slots.end) {
        if (reserved.slots.end == freshSlot_) --freshSlot_;
        else freeSlot(reserved.slots.end - 1);
    }
    if (reserved.triples.end == freshTriple_) freshTriple_ = reserved.triples.next;
    reserved = Reservation{};
    --openReservations_;
}

void Pools::abandon(const std::vector<SlotNumber>& slots) {
    for (auto slot = slots.rbegin(); slot != slots.rend(); ++slot) {
        releaseRecord(records_[*slot]);
        if (*slot + 1 == freshSlot_) --freshSlot_;
        else freeSlot(*slot);
    }
}

void Pools::clear() {
    // NOTE: an open reservation belongs to a load in another thread that writes into these
    // arrays without keeping anyone out, so they must stay where they are.
    const bool keepArrays = openReservations_ > 0;
    if (keepArrays || anyParts_.load(std::memory_order_relaxed))
        for (SlotNumber slot = 0; slot < scanLimit_; ++slot)
            if (nodes_[slot].key != Node::kDead) release(slot);
    if (keepArrays) return;
    anyParts_.store(false, std::memory_order_relaxed);
    nodes_.clear();
    parents_.clear();
    marks_.clear();
    records_.clear();
    triples_.clear();
    freshSlot_ = freshTriple_ = scanLimit_ = 0;
    freeSlots_ = kNoSlot;
    for (std::uint32_t& head : freeTriples_) head = 0;
}

}  // namespace obs
