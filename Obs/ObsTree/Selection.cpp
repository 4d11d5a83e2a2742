// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Selection.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <utility>

#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsTypes/SecClass.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/ForkHold.h"

namespace obs {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::size_t kMaxListed = 10;
constexpr std::int32_t kMaxType = 19;

constinit std::mutex selob;

/// Guarded by `selob`. Never destroyed: other threads may select while the process ends.
ObsSelection& gselob = *new ObsSelection;

[[maybe_unused]] const int gForkHandled = family::holdAtForks<selob>();

// What a bound is met by. RF observations carry a range and a range rate too, as differences between two sites.
bool hasRange(std::int32_t type) { return kRangeTypes.has(type) || type == kTypeRf; }
bool hasRangeRate(std::int32_t type) { return kRangeRateTypes.has(type) || type == kTypeRf; }

/// What no interval holds and what is not outside any either.
constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

/// A test's intervals, which are in order and apart.
struct Bounds {
    const double* pairs;
    std::size_t count;
    bool outside;

    bool hold(double value) const {
        std::size_t low = 0, high = count;  // the first interval that does not end before the value
        while (low < high) {
            const std::size_t middle = (low + high) / 2;
            if (pairs[2 * middle + 1] < value) low = middle + 1;
            else high = middle;
        }
        const bool inside = low < count && pairs[2 * low] <= value && value <= pairs[2 * low + 1];
        return inside != outside && value == value;
    }
};

// Where the observations of a block are.
const StoredRecord& recordIn(const SlotBlock& block, std::size_t i) { return gStore.pools.record(block.slots[i]); }
const ObsRecord& recordIn(const RecordBlock& block, std::size_t i) { return *block.records[i]; }
std::int32_t groupIn(const SlotBlock& block, std::size_t i) { return gStore.pools.mark(block.slots[i]).gid; }
std::int32_t groupIn(const RecordBlock& block, std::size_t i) { return block.groups[i]; }

Origin originIn(const SlotBlock& block, std::size_t i) {
    return gStore.origins.of(gStore.pools.mark(block.slots[i]).seqNum);
}
Origin originIn(const RecordBlock& block, std::size_t i) { return block.origins[i]; }

/// NOTE: no branch on the outcome, which cannot be guessed.
template <class Holds>
SlotBlock::Set setWhere(std::size_t count, const Holds& holds) {
    SlotBlock::Set set{};
    for (std::size_t i = 0; i < count; ++i)
        set[i / SlotBlock::kWordBits] |= std::uint64_t{holds(i)} << (i % SlotBlock::kWordBits);
    return set;
}

template <class Value>
SlotBlock::Set setWithin(std::size_t count, const Bounds& bounds, const Value& value) {
    if (bounds.count != 1 || bounds.outside)
        return setWhere(count, [&](std::size_t i) { return bounds.hold(value(i)); });
    const double low = bounds.pairs[0], high = bounds.pairs[1];
    return setWhere(count, [&](std::size_t i) {
        const double at = value(i);
        return (static_cast<unsigned>(low <= at) & static_cast<unsigned>(at <= high)) != 0;
    });
}

Bounds boundsOf(const SelectionTest& test, const ObsSelection& selection) {
    return {selection.bounds->values.data() + 2 * std::size_t{test.first}, test.end - test.first, test.outside};
}

/// The observations of a block that meet one test.
template <class Block>
SlotBlock::Set meeting(const Block& block, const SelectionTest& test, const Bounds& bounds) {
    const auto within = [&](const auto& value) {
        return setWithin(block.count, bounds, [&](std::size_t i) -> double { return value(recordIn(block, i)); });
    };
    switch (test.criterion) {
        case Criterion::time: return within([](const auto& rec) { return rec.obsTime; });
        case Criterion::satellite: return within([](const auto& rec) { return rec.satNum; });
        case Criterion::sensor: return within([](const auto& rec) { return rec.senNum; });
        case Criterion::elevation:
            return within([](const auto& rec) { return kAngleTypes.has(rec.obsType) ? rec.elOrDec : kNoValue; });
        case Criterion::azimuth:
            return within(
                [](const auto& rec) { return kAngleTypes.has(rec.obsType) ? inClosedTurnDeg(rec.azOrRa) : kNoValue; });
        case Criterion::range:
            return within([](const auto& rec) { return hasRange(rec.obsType) ? rec.range : kNoValue; });
        case Criterion::rangeRate:
            return within([](const auto& rec) { return hasRangeRate(rec.obsType) ? rec.rangeRate : kNoValue; });
        case Criterion::type: return within([](const auto& rec) { return rec.obsType; });
        case Criterion::classification: return within([](const auto& rec) { return upperClass(rec.secClass); });
        case Criterion::indicator1: return within([](const auto& rec) { return rec.indicator1; });
        case Criterion::indicator2: return within([](const auto& rec) { return rec.indicator2; });
        case Criterion::group:
            return setWithin(block.count, bounds, [&](std::size_t i) -> double { return groupIn(block, i); });
        case Criterion::file:
        case Criterion::line:
            return setWithin(block.count, bounds, [&](std::size_t i) -> double {
                const Origin origin = originIn(block, i);
                if (test.criterion == Criterion::file) return origin.file < 0 ? kNoValue : origin.file;
                return origin.line <= 0 ? kNoValue : static_cast<double>(origin.line);
            });
    }
    return {};
}

/// A part of a selection's tests: from the one of number `first` down to that of number `last`.
struct TestRun {
    std::size_t first, last;
};

/// Sends `waiting` through a run of tests, each set on to where its test leads; those who leave the run for anywhere
/// but kNotSelected.
template <class Block>
SlotBlock::Set passing(const Block& block, const ObsSelection& selection, TestRun run, const SlotBlock::Set& waiting) {
    std::array<SlotBlock::Set, ObsSelection::kMaxTests> at;
    std::fill_n(at.begin() + static_cast<std::ptrdiff_t>(run.last), run.first - run.last + 1, SlotBlock::Set{});
    at[run.first] = waiting;
    SlotBlock::Set passed{};
    const auto send = [&](std::uint8_t to, std::size_t word, std::uint64_t bits) {
        if (to == ObsSelection::kNotSelected) return;
        (to >= run.last && to < run.first ? at[to] : passed)[word] |= bits;
    };
    for (std::size_t number = run.first + 1; number-- > run.last;) {
        const SlotBlock::Set& here = at[number];
        if (here == SlotBlock::Set{}) continue;
        const SelectionTest& test = selection.tests[number];
        const SlotBlock::Set met = meeting(block, test, boundsOf(test, selection));
        for (std::size_t word = 0; word < SlotBlock::kWords; ++word) {
            send(test.ifMet, word, here[word] & met[word]);
            send(test.ifNotMet, word, here[word] & ~met[word]);
        }
    }
    return passed;
}

/// Calls `visit(run)` for the tests of each term, in their order.
template <class Visit>
void forEachTerm(const ObsSelection& selection, const Visit& visit) {
    for (std::size_t end = selection.testCount; end > 0;) {
        std::size_t last = end - 1;
        while (last > 0 && selection.tests[last - 1].term == selection.tests[end - 1].term) --last;
        visit(TestRun{end - 1, last});
        end = last;
    }
}

template <class Block>
SlotBlock::Set selectedIn(const Block& block, const ObsSelection& selection) {
    const SlotBlock::Set all = SlotBlock::first(block.count);
    if (selection.testCount == 0) return all;
    return passing(block, selection, {selection.testCount - std::size_t{1}, 0}, all);
}

/// Whether observations in some intervals could meet a test, and whether they could not meet it.
struct Outcomes {
    bool met, notMet;
};
Outcomes outcomesIn(const std::vector<double>& ends, const Bounds& bounds) {
    Outcomes found{false, false};
    for (std::size_t i = 0; i < ends.size(); i += 2) {
        const double low = ends[i], high = ends[i + 1];
        bool within = false;
        for (std::size_t j = 0; j < bounds.count; ++j) {
            found.met = found.met || (bounds.pairs[2 * j] <= high && low <= bounds.pairs[2 * j + 1]);
            within = within || (bounds.pairs[2 * j] <= low && high <= bounds.pairs[2 * j + 1]);
        }
        found.notMet = found.notMet || !within;
    }
    if (bounds.outside) std::swap(found.met, found.notMet);
    return found;
}

std::int32_t sizeOf(const SlotBlock::Set& set) {
    std::int32_t size = 0;
    for (const std::uint64_t word : set) size += std::popcount(word);
    return size;
}

SlotBlock::Set both(SlotBlock::Set one, const SlotBlock::Set& other) {
    for (std::size_t word = 0; word < SlotBlock::kWords; ++word) one[word] &= other[word];
    return one;
}

bool isOpen(const double* pair) { return pair[0] == 0 && pair[1] == 0; }

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

using Draft = std::vector<Intervals>;

/// Both a pair and a list may ask for satellites: the list's within the pair are allowed.
void takeSatelliteList(const double* criteria, Draft& draft) {
    const double* pair = criteria + kSelSatellite;
    Intervals& listed = draft.emplace_back(Criterion::satellite);
    for (std::size_t i = 0; i < static_cast<std::size_t>(criteria[kSelSatCount]); ++i) {
        const double number = criteria[kSelSatellites + i];
        if (isOpen(pair) || (number >= pair[0] && number <= pair[1])) listed.allow(number, number);
    }
}

void takePairs(const double* criteria, Draft& draft) {
    for (const auto& [element, criterion] : kPairs) {
        const double* pair = criteria + element;
        const bool listed = criterion == Criterion::satellite && criteria[kSelSatCount] != 0;
        if (!isOpen(pair) && !listed) draft.emplace_back(criterion).allow(pair[0], pair[1]);
    }
    if (criteria[kSelSatCount] != 0) takeSatelliteList(criteria, draft);
}

void takeFlags(const double* criteria, Draft& draft) {
    const auto mask = static_cast<std::uint32_t>(criteria[kSelTypeMask]);
    if (mask != 0) {
        Intervals& types = draft.emplace_back(Criterion::type);
        for (std::int32_t type = 0; type <= kMaxType; ++type)
            if ((mask >> type & 1u) != 0) types.allowType(type);
    }
    constexpr char kClasses[] = {'U', 'C', 'S'};
    if (criteria[kSelClass] != 0) {
        const char secClass = kClasses[static_cast<std::size_t>(criteria[kSelClass]) - 1];
        draft.emplace_back(Criterion::classification).allow(secClass, secClass);
    }
    if (criteria[kSelUseGroup] != 0)
        draft.emplace_back(Criterion::group).allow(criteria[kSelGroup], criteria[kSelGroup]);
}

bool isWholeUpTo(double value, double most) { return value >= 0 && value <= most && value == std::floor(value); }

MaybeRefusal refusalOf(const double* criteria) {
    if (std::any_of(criteria, criteria + kSelectionLength, [](double value) { return std::isnan(value); }))
        return Refusal{"A criterion is not a number."};
    for (const auto& [element, criterion] : kPairs)
        if (criterion != Criterion::azimuth && criteria[element] > criteria[element + 1])
            return Refusal{"A low end is above its high end."};
    if (!isWholeUpTo(criteria[kSelTypeMask], (1u << (kMaxType + 1)) - 1))
        return Refusal{"The type mask has bits for types 0 to 19."};
    if (!isWholeUpTo(criteria[kSelClass], 3)) return Refusal{"The classification is 0 to 3."};
    if (!isWholeUpTo(criteria[kSelSatCount], kMaxListed)) return Refusal{"The list holds 0 to 10 satellites."};
    if (std::any_of(criteria + kSelReserved, criteria + kSelectionLength, [](double value) { return value != 0; }))
        return Refusal{"The reserved elements must be 0."};
    return std::nullopt;
}

}  // namespace

void Intervals::allow(double low, double high) {
    const bool isAngle = criterion_ == Criterion::azimuth;
    if (isAngle && std::isfinite(high - low) && high - low >= kTurnDeg) {
        low = -kInfinity;
        high = kInfinity;
    } else if (isAngle) {
        low = inClosedTurnDeg(low);
        high = inClosedTurnDeg(high);
    }
    if (isAngle && low > high) {  // through north
        pairs_.push_back({-kInfinity, high});
        pairs_.push_back({low, kInfinity});
        return;
    }
    pairs_.push_back({low, high});
}

void Intervals::allowType(std::int32_t type) {
    allow(type, type);
    const std::int32_t withRange = typeWithRange(type, 1);
    if (withRange != type) allow(withRange, withRange);
}

std::uint8_t addTest(ObsSelection& selection, Intervals&& intervals, SelectionTest test) {
    auto& sorted = intervals.pairs_;
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.low < b.low; });
    if (!selection.bounds) selection.bounds.create();
    std::vector<double>& bounds = selection.bounds->values;
    const std::size_t first = bounds.size();
    for (const auto& [low, high] : sorted) {
        if (bounds.size() > first && low <= bounds.back()) bounds.back() = std::max(bounds.back(), high);
        else bounds.insert(bounds.end(), {low, high});
    }
    test.criterion = intervals.criterion();
    test.first = static_cast<std::uint32_t>(first / 2);
    test.end = static_cast<std::uint32_t>(bounds.size() / 2);
    selection.tests[selection.testCount] = test;
    return selection.testCount++;
}

SlotBlock::Set SlotBlock::first(std::size_t count) {
    Set set{};
    for (std::size_t word = 0; word < kWords && word * kWordBits < count; ++word) {
        const std::size_t rest = count - word * kWordBits;
        set[word] = rest >= kWordBits ? ~std::uint64_t{0} : (std::uint64_t{1} << rest) - 1;
    }
    return set;
}

SlotBlock::Set selectedOf(const SlotBlock& block, const ObsSelection& selection) {
    return selectedIn(block, selection);
}

SlotBlock::Set selectedOf(const RecordBlock& block, const ObsSelection& selection) {
    return selectedIn(block, selection);
}

bool mayMeet(const ObsSelection& selection, const SelectionBox& box) {
    if (selection.testCount == 0) return true;
    std::array<bool, ObsSelection::kMaxTests> isReached{};
    isReached[selection.testCount - std::size_t{1}] = true;
    for (std::size_t number = selection.testCount; number-- > 0;) {
        if (!isReached[number]) continue;
        const SelectionTest& test = selection.tests[number];
        const auto criterion = static_cast<std::size_t>(test.criterion);
        Outcomes can{true, true};
        if (box.isKnown[criterion]) can = outcomesIn(box.ends[criterion], boundsOf(test, selection));
        const auto lead = [&](bool isPossible, std::uint8_t to) {
            if (isPossible && to < selection.testCount) isReached[to] = true;
            return isPossible && to == ObsSelection::kSelected;
        };
        if (lead(can.met, test.ifMet) || lead(can.notMet, test.ifNotMet)) return true;
    }
    return false;
}

SelectionCounts countSelected(const ObsSelection& one, const ObsSelection& other) {
    SelectionCounts counts;
    const ReadGuard guard;
    scanBlocks([&](const SlotBlock& block) {
        SlotBlock::Set all = block.all();
        std::array<SlotBlock::Set, kCountedCriteria> meet;
        meet.fill(all);
        for (const ObsSelection* selection : {&one, &other})
            forEachTerm(*selection, [&](TestRun term) {
                const SlotBlock::Set passed = passing(block, *selection, term, block.all());
                const auto criterion = static_cast<std::size_t>(selection->tests[term.first].criterion);
                if (term.first == term.last && criterion < kCountedCriteria)
                    meet[criterion] = both(meet[criterion], passed);
                all = both(all, passed);
            });
        counts.selected += sizeOf(all);
        for (std::size_t i = 0; i < kCountedCriteria; ++i)
            counts.dropped[i] += static_cast<std::int32_t>(block.count) - sizeOf(meet[i]);
    });
    return counts;
}

TermCounts countTerms(const ObsSelection& selection) {
    TermCounts counts;
    counts.dropped.resize(selection.termCount);
    const ReadGuard guard;
    scanBlocks([&](const SlotBlock& block) {
        SlotBlock::Set all = block.all();
        forEachTerm(selection, [&](TestRun term) {
            const SlotBlock::Set meet = passing(block, selection, term, block.all());
            counts.dropped[selection.tests[term.first].term] += static_cast<std::int32_t>(block.count) - sizeOf(meet);
            all = both(all, meet);
        });
        counts.selected += sizeOf(all);
    });
    return counts;
}

void setSelection(ObsSelection&& selection) {
    const std::lock_guard lock(selob);
    std::swap(gselob, selection);
}

ObsSelection currentSelection() {
    const std::lock_guard lock(selob);
    return gselob;
}

MaybeRefusal selectionFromArray(const double* criteria, ObsSelection& selection) {
    if (MaybeRefusal refusal = refusalOf(criteria)) return refusal;
    Draft draft;
    takePairs(criteria, draft);
    takeFlags(criteria, draft);
    ObsSelection made;
    std::uint8_t next = ObsSelection::kSelected;
    for (Intervals& intervals : draft) {
        const SelectionTest test{.term = made.termCount++, .ifMet = next, .ifNotMet = ObsSelection::kNotSelected};
        next = addTest(made, std::move(intervals), test);
    }
    selection = std::move(made);
    return std::nullopt;
}

}  // namespace obs
