// SPDX-License-Identifier: Apache-2.0
/// Selecting observations by criteria, and the criteria that SELOB lines set for the whole process.
///
/// An observation whose type does not carry a quantity does not meet a bound on it.
#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "Obs/ObsTree/Store.h"

namespace obs {

/// Collects the intervals of criteria in any order.
class SelectionDraft {
public:
    /// Allows the values from `low` to `high`, both included, besides those allowed before.
    void allow(Criterion criterion, double low, double high);

    /// Allows an observation type; 8 and 9 also as those with a range, 18 and 19.
    void allowType(std::int32_t type);

    bool asks(Criterion criterion) const { return !intervals(criterion).empty(); }

    /// Throws std::bad_alloc.
    ObsSelection made() const;

private:
    struct Interval {
        double low, high;
    };
    std::vector<Interval>& intervals(Criterion criterion) { return intervals_[static_cast<std::size_t>(criterion)]; }
    const std::vector<Interval>& intervals(Criterion criterion) const {
        return intervals_[static_cast<std::size_t>(criterion)];
    }

    std::array<std::vector<Interval>, kCriterionCount> intervals_;
};

/// Whether a node's observation meets all criteria, or one of them. Inside a read of the caller's.
bool meets(SlotNumber slot, const ObsSelection& selection);
bool meets(SlotNumber slot, const ObsSelection& selection, Criterion criterion);

/// How many observations do not meet each criterion, counted by itself, and how many meet all.
struct SelectionCounts {
    std::array<std::int32_t, kCriterionCount> dropped{};
    std::int32_t selected = 0;
};
SelectionCounts countSelected(const ObsSelection& one, const ObsSelection& other);

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
    kSelSatCount = 18,   ///< 0-10
    kSelSatellites = 19,
    kSelReserved = 29
};

/// Reads the array; what is wrong with it, or an empty text.
std::string_view selectionFromArray(const double* criteria, ObsSelection& selection);

}  // namespace obs
