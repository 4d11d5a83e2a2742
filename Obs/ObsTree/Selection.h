// SPDX-License-Identifier: Apache-2.0
/// Selecting observations by criteria, and the criteria that SELOB lines set for the whole process.
///
/// An observation whose type does not carry a quantity does not meet a bound on it, nor "is not" a value.
#pragma once

#include <array>
#include <bit>
#include <utility>
#include <vector>

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/ObsSelection.h"

namespace obs {

/// Intervals of one criterion's values, both ends included, in any order.
class Intervals {
public:
    explicit Intervals(Criterion criterion) : criterion_(criterion) {}

    /// Allows the values from `low` to `high` besides those allowed before. An azimuth or right ascension is brought
    /// into a turn, and goes through 0 where `low` is above `high`.
    void allow(double low, double high);

    /// The same, an azimuth being a number like any other.
    void allowAsIs(double low, double high) { pairs_.push_back({low, high}); }

    /// Allows an observation type; 8 and 9 also as those with a range, 18 and 19.
    void allowType(std::int32_t type);

    Criterion criterion() const { return criterion_; }

private:
    friend std::uint8_t addTest(ObsSelection&, Intervals&&, SelectionTest);

    struct Pair {
        double low, high;
    };
    Criterion criterion_;
    std::vector<Pair> pairs_;
};

/// Adds a test to a selection, which must have room, before the tests that it has; without intervals no value is
/// allowed. `test` says what follows, to which term it belongs and whether the values shall be outside the intervals.
/// Returns the test's number. Throws std::bad_alloc.
std::uint8_t addTest(ObsSelection& selection, Intervals&& intervals, SelectionTest test);

/// Slots that are looked at together: their records fit the inner caches, so that each test can be made of all of them
/// in turn. A set of them has a bit for each.
struct SlotBlock {
    static constexpr std::size_t kWords = 4, kWordBits = 64, kMax = kWords * kWordBits;
    using Set = std::array<std::uint64_t, kWords>;

    std::array<SlotNumber, kMax> slots;
    std::size_t count = 0;

    /// The first `count` of a block.
    static Set first(std::size_t count);
    static bool has(const Set& set, std::size_t i) { return (set[i / kWordBits] >> i % kWordBits & 1u) != 0; }
    Set all() const { return first(count); }
};

/// The slots of a block whose observations meet a selection. Inside a read of the caller's.
SlotBlock::Set selectedOf(const SlotBlock& block, const ObsSelection& selection);

/// Records that are looked at together, their groups and where they come from: observations that are not stored.
struct RecordBlock {
    std::array<const ObsRecord*, SlotBlock::kMax> records;
    std::array<std::int32_t, SlotBlock::kMax> groups;
    std::array<Origin, SlotBlock::kMax> origins;
    std::size_t count = 0;
};
SlotBlock::Set selectedOf(const RecordBlock& block, const ObsSelection& selection);

/// What is known of where observations are: for each of some criteria the intervals that all their values lie in, which
/// are low and high ends in turn. Of the other criteria nothing is known.
struct SelectionBox {
    std::array<std::vector<double>, kCriterionCount> ends;
    std::array<bool, kCriterionCount> isKnown{};
};

/// Whether an observation in a box could meet a selection. False is certain.
bool mayMeet(const ObsSelection& selection, const SelectionBox& box);

/// Calls `visit(block)` for all live slots in order of storage. Inside a read of the caller's.
template <class Visit>
void scanBlocks(Visit&& visit) {
    SlotBlock block;
    gStore.pools.scanRecords([&](SlotNumber slot) {
        block.slots[block.count++] = slot;
        if (block.count < SlotBlock::kMax) return;
        visit(std::as_const(block));
        block.count = 0;
    });
    if (block.count > 0) visit(std::as_const(block));
}

/// Calls `visit(slot)` for all live slots whose observations meet both selections, in order of storage. Inside a read
/// of the caller's.
template <class Visit>
void scanSelected(const ObsSelection& one, const ObsSelection& other, Visit&& visit) {
    scanBlocks([&](const SlotBlock& block) {
        const SlotBlock::Set first = selectedOf(block, one), second = selectedOf(block, other);
        for (std::size_t word = 0; word < SlotBlock::kWords; ++word)
            for (std::uint64_t left = first[word] & second[word]; left != 0; left &= left - 1)
                visit(block.slots[word * SlotBlock::kWordBits + static_cast<std::size_t>(std::countr_zero(left))]);
    });
}

/// How many observations meet two selections, and how many do not meet each criterion. A term of several tests belongs
/// to no criterion.
struct SelectionCounts {
    std::array<std::int32_t, kCountedCriteria> dropped{};
    std::int32_t selected = 0;
};
SelectionCounts countSelected(const ObsSelection& one, const ObsSelection& other);

/// How many observations meet a selection, and how many do not meet each of its terms.
struct TermCounts {
    std::vector<std::int32_t> dropped;
    std::int32_t selected = 0;
};
TermCounts countTerms(const ObsSelection& selection);

// The global criteria. Guarded by the critical section `selob`; any thread.
void setSelection(ObsSelection&& selection);
ObsSelection currentSelection();

// The criteria as an array of reals. Pairs low, high; 0, 0 is open.
inline constexpr std::size_t kSelectionLength = 32;
enum SelectionElement : std::size_t {
    kSelTime = 0,        ///< pair, days since 1950 UTC
    kSelSatellite = 2,   ///< pair
    kSelSensor = 4,      ///< pair
    kSelElevation = 6,   ///< pair, elevation or declination, degrees
    kSelAzimuth = 8,     ///< pair, azimuth or right ascension, degrees; low above high goes through 0
    kSelRange = 10,      ///< pair, km
    kSelRangeRate = 12,  ///< pair, km/s
    kSelTypeMask = 14,   ///< sum of 2^type; 0 all
    kSelClass = 15,      ///< 0 all, 1 U, 2 C, 3 S
    kSelUseGroup = 16,   ///< nonzero: the next element counts
    kSelGroup = 17,
    kSelSatCount = 18,  ///< 0-10
    kSelSatellites = 19,
    kSelReserved = 29
};

/// Reads the array; refuses one that no selection is.
MaybeRefusal selectionFromArray(const double* criteria, ObsSelection& selection);

}  // namespace obs
