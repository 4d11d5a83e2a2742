// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Selection.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <utility>

#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::size_t kMostListed = 10;
constexpr std::int32_t kMostType = 19;

/// Never destroyed: other threads may select while the process ends.
struct GlobalSelection {
    std::mutex selob;
    ObsSelection gselob;  ///< guarded by `selob`
};
GlobalSelection& global() {
    static GlobalSelection& criteria = *new GlobalSelection;
    return criteria;
}

constexpr double kTurnDeg = 360;

/// An angle brought into a turn; one that is there already as it is, 360 included.
double withinTurn(double degrees) {
    if (!std::isfinite(degrees) || (degrees >= 0 && degrees <= kTurnDeg)) return degrees;
    const double rest = std::fmod(degrees, kTurnDeg);
    return rest < 0 ? rest + kTurnDeg : rest;
}

/// RF observations carry a range and a range rate too, as differences between two sites.
bool carries(std::int32_t type, Criterion criterion) {
    switch (criterion) {
        case Criterion::elevation:
        case Criterion::azimuth: return kAngleTypes.has(type);
        case Criterion::range: return kRangeTypes.has(type) || type == kTypeRf;
        case Criterion::rangeRate: return kRangeRateTypes.has(type) || type == kTypeRf;
        default: return true;
    }
}

double valueOf(SlotNumber slot, const StoredRecord& rec, Criterion criterion) {
    switch (criterion) {
        case Criterion::time: return rec.obsTime;
        case Criterion::satellite: return rec.satNum;
        case Criterion::sensor: return rec.senNum;
        case Criterion::elevation: return rec.elOrDec;
        case Criterion::azimuth: return withinTurn(rec.azOrRa);
        case Criterion::range: return rec.range;
        case Criterion::rangeRate: return rec.rangeRate;
        case Criterion::type: return rec.obsType;
        case Criterion::classification: return rec.secClass;
        case Criterion::group: return gStore.pools.mark(slot).gid;
    }
    return 0;
}

/// A criterion's intervals, which are in order and apart.
struct Bounds {
    const double* pairs;
    std::size_t count;

    bool hold(double value) const {
        std::size_t low = 0, high = count;  // the first interval that does not end before the value
        while (low < high) {
            const std::size_t middle = (low + high) / 2;
            if (pairs[2 * middle + 1] < value) low = middle + 1;
            else high = middle;
        }
        return low < count && pairs[2 * low] <= value && value <= pairs[2 * low + 1];
    }
};

Bounds boundsOf(const ObsSelection& selection, Criterion criterion) {
    const auto which = static_cast<std::size_t>(criterion);
    if (!selection.asks(which)) return {nullptr, 0};
    const std::size_t first = selection.first(which);
    return {selection.bounds->values.data() + 2 * first, selection.ends[which] - first};
}

constexpr Criterion criterionAt(std::size_t index) {
    return static_cast<Criterion>(index);
}

bool isOpen(const double* pair) {
    return pair[0] == 0 && pair[1] == 0;
}

struct PairElement {
    SelectionElement element;
    Criterion criterion;
};
constexpr std::array kPairs{
    PairElement{kSelTime, Criterion::time},           PairElement{kSelSatellite, Criterion::satellite},
    PairElement{kSelSensor, Criterion::sensor},       PairElement{kSelElevation, Criterion::elevation},
    PairElement{kSelAzimuth, Criterion::azimuth},     PairElement{kSelRange, Criterion::range},
    PairElement{kSelRangeRate, Criterion::rangeRate},
};

/// Both a pair and a list may ask for satellites: the list's within the pair are allowed.
void takeSatelliteList(const double* criteria, SelectionDraft& draft) {
    const double* pair = criteria + kSelSatellite;
    bool any = false;
    for (std::size_t i = 0; i < static_cast<std::size_t>(criteria[kSelSatCount]); ++i) {
        const double number = criteria[kSelSatellites + i];
        if (!isOpen(pair) && (number < pair[0] || number > pair[1])) continue;
        draft.allow(Criterion::satellite, number, number);
        any = true;
    }
    if (!any) draft.allow(Criterion::satellite, kInfinity, kInfinity);  // none at all
}

void takePairs(const double* criteria, SelectionDraft& draft) {
    for (const auto& [element, criterion] : kPairs) {
        const double* pair = criteria + element;
        const bool listed = criterion == Criterion::satellite && criteria[kSelSatCount] != 0;
        if (!isOpen(pair) && !listed) draft.allow(criterion, pair[0], pair[1]);
    }
    if (criteria[kSelSatCount] != 0) takeSatelliteList(criteria, draft);
}

void takeFlags(const double* criteria, SelectionDraft& draft) {
    const auto mask = static_cast<std::uint32_t>(criteria[kSelTypeMask]);
    for (std::int32_t type = 0; type <= kMostType; ++type)
        if ((mask >> type & 1u) != 0) draft.allowType(type);
    constexpr char kClasses[] = {'U', 'C', 'S'};
    if (criteria[kSelClass] != 0) {
        const char secClass = kClasses[static_cast<std::size_t>(criteria[kSelClass]) - 1];
        draft.allow(Criterion::classification, secClass, secClass);
    }
    if (criteria[kSelUseGroup] != 0) draft.allow(Criterion::group, criteria[kSelGroup], criteria[kSelGroup]);
}

bool isWholeUpTo(double value, double most) {
    return value >= 0 && value <= most && value == std::floor(value);
}

std::string_view faultOf(const double* criteria) {
    if (std::any_of(criteria, criteria + kSelectionLength, [](double value) { return std::isnan(value); }))
        return "A criterion is not a number.";
    for (const auto& [element, criterion] : kPairs)
        if (criterion != Criterion::azimuth && criteria[element] > criteria[element + 1])
            return "A low end is above its high end.";
    if (!isWholeUpTo(criteria[kSelTypeMask], (1u << (kMostType + 1)) - 1))
        return "The type mask has bits for types 0 to 19.";
    if (!isWholeUpTo(criteria[kSelClass], 3)) return "The classification is 0 to 3.";
    if (!isWholeUpTo(criteria[kSelSatCount], kMostListed)) return "The list holds 0 to 10 satellites.";
    if (std::any_of(criteria + kSelReserved, criteria + kSelectionLength, [](double value) { return value != 0; }))
        return "The reserved elements must be 0.";
    return {};
}

}  // namespace

void SelectionDraft::allow(Criterion criterion, double low, double high) {
    if (criterion == Criterion::azimuth && std::isfinite(high - low) && high - low >= kTurnDeg) {
        low = -kInfinity;
        high = kInfinity;
    } else if (criterion == Criterion::azimuth) {
        low = withinTurn(low);
        high = withinTurn(high);
    }
    if (criterion == Criterion::azimuth && low > high) {  // through north
        intervals(criterion).push_back({-kInfinity, high});
        intervals(criterion).push_back({low, kInfinity});
        return;
    }
    if (criterion == Criterion::classification)  // a record has the letter in the case of its card
        intervals(criterion).push_back({low + ('a' - 'A'), high + ('a' - 'A')});
    intervals(criterion).push_back({low, high});
}

void SelectionDraft::allowType(std::int32_t type) {
    allow(Criterion::type, type, type);
    const std::int32_t withRange = typeWithRange(type, 1);
    if (withRange != type) allow(Criterion::type, withRange, withRange);
}

ObsSelection SelectionDraft::made() const {
    ObsSelection selection;
    RealList& bounds = selection.bounds.create();
    for (std::size_t i = 0; i < kCriterionCount; ++i) {
        std::vector<Interval> sorted = intervals_[i];
        std::sort(sorted.begin(), sorted.end(), [](const Interval& a, const Interval& b) { return a.low < b.low; });
        const std::size_t first = bounds.values.size();
        for (const Interval& next : sorted) {
            if (bounds.values.size() > first && next.low <= bounds.values.back()) {
                bounds.values.back() = std::max(bounds.values.back(), next.high);
                continue;
            }
            bounds.values.insert(bounds.values.end(), {next.low, next.high});
        }
        selection.ends[i] = static_cast<std::uint32_t>(bounds.values.size() / 2);
    }
    return selection;
}

bool meets(SlotNumber slot, const ObsSelection& selection, Criterion criterion) {
    const Bounds bounds = boundsOf(selection, criterion);
    if (bounds.count == 0) return true;
    const StoredRecord& rec = gStore.pools.record(slot);
    return carries(rec.obsType, criterion) && bounds.hold(valueOf(slot, rec, criterion));
}

bool meets(SlotNumber slot, const ObsSelection& selection) {
    for (std::size_t i = 0; i < kCriterionCount; ++i)
        if (selection.asks(i) && !meets(slot, selection, criterionAt(i))) return false;
    return true;
}

SelectionCounts countSelected(const ObsSelection& one, const ObsSelection& other) {
    SelectionCounts counts;
    std::array<std::size_t, kCriterionCount> asked{};
    std::size_t askedCount = 0;
    for (std::size_t i = 0; i < kCriterionCount; ++i)
        if (one.asks(i) || other.asks(i)) asked[askedCount++] = i;
    const ReadGuard guard;
    if (askedCount == 0) {
        counts.selected = static_cast<std::int32_t>(gStore.tree.size());
        return counts;
    }
    gStore.pools.scan([&](SlotNumber slot) {
        bool all = true;
        for (std::size_t at = 0; at < askedCount; ++at) {
            const std::size_t i = asked[at];
            if (meets(slot, one, criterionAt(i)) && meets(slot, other, criterionAt(i))) continue;
            ++counts.dropped[i];
            all = false;
        }
        counts.selected += all;
    });
    return counts;
}

void setSelection(ObsSelection&& selection) {
    const std::lock_guard lock(global().selob);
    std::swap(global().gselob, selection);
}

ObsSelection currentSelection() {
    const std::lock_guard lock(global().selob);
    return global().gselob;
}

std::string_view selectionFromArray(const double* criteria, ObsSelection& selection) {
    const std::string_view fault = faultOf(criteria);
    if (!fault.empty()) return fault;
    SelectionDraft draft;
    takePairs(criteria, draft);
    takeFlags(criteria, draft);
    selection = draft.made();
    return {};
}

}  // namespace obs
