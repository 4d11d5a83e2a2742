// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Ordering.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "Obs/ObsTree/Named.h"
#include "Obs/ObsTree/RadixSort.h"
#include "Obs/ObsTree/Selection.h"

namespace obs {

namespace {

enum class Field : std::uint8_t { none, obsTime, senNum, satNum, obsType, elOrDec, seqNum };

using FieldList = std::array<Field, 5>;

/// The fields of each order. NOTE: that 1 leaves the satellite out and 7 the time is deliberate.
constexpr std::array<FieldList, 11> kOrders{{
    {},
    {Field::obsTime, Field::senNum, Field::obsType, Field::elOrDec},
    {Field::obsTime, Field::elOrDec},
    {Field::obsTime, Field::senNum, Field::obsType, Field::elOrDec, Field::satNum},
    {Field::senNum, Field::satNum, Field::obsTime, Field::elOrDec},
    {Field::senNum, Field::obsTime, Field::elOrDec},
    {Field::senNum, Field::satNum, Field::obsType, Field::obsTime, Field::elOrDec},
    {Field::satNum, Field::senNum, Field::obsType, Field::elOrDec},
    {Field::seqNum},
    {},
    {Field::satNum, Field::senNum, Field::obsTime},
}};

std::size_t indexOf(std::int32_t code) {
    const std::int64_t which = std::abs(std::int64_t{code});
    return which < std::int64_t{kOrders.size()} ? static_cast<std::size_t>(which) : 0;
}
const FieldList& orderOf(std::int32_t code) { return kOrders[indexOf(code)]; }

// Integers that order as the values do. Negative zero equals zero; "not a number" has a fixed place beyond
// the infinities, so that any store can be sorted.
std::uint64_t ordered(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value + 0.0);
    return (bits >> 63) != 0 ? ~bits : bits | 0x8000000000000000u;
}
std::uint64_t ordered(std::int32_t value) { return static_cast<std::uint32_t>(value) ^ 0x80000000u; }

// NOTE: inline, so that a constant field costs no more than its own case.
[[gnu::always_inline]] inline std::uint64_t valueOf(Field field, SlotNumber slot) {
    const StoredRecord& rec = gStore.pools.record(slot);
    switch (field) {
        case Field::obsTime: return ordered(rec.obsTime);
        case Field::senNum: return ordered(rec.senNum);
        case Field::satNum: return ordered(rec.satNum);
        case Field::obsType: return ordered(rec.obsType);
        case Field::elOrDec: return ordered(rec.elOrDec);
        case Field::seqNum: return ordered(gStore.pools.mark(slot).seqNum);
        case Field::none: break;
    }
    return 0;
}

/// What is compared: the first 128 bits of an observation's fields, so that hardly a comparison has to touch
/// a record, and the slot that finds the rest.
struct Item {
    std::uint64_t high;
    std::uint64_t low;
    SlotNumber slot;
};

/// Types are small; where all of a store are, 8 bits suffice for one.
constexpr unsigned kSmallTypeBits = 8;
bool isSmallType(std::int32_t type) { return type >= -1 && type < 255; }

/// Packs an order's fields one after another into two words. A field that does not fit whole gives its
/// upper bits and ends the packing: equal words then mean that the fields have to be compared.
template <std::size_t kOrder, bool kSmallTypes>
struct Packing {
    static Item itemOf(SlotNumber slot) {
        Item item{0, 0, slot};
        [&]<std::size_t... kPlaces>(std::index_sequence<kPlaces...>) { (append<kPlaces>(item), ...); }
        (std::make_index_sequence<kOrders[kOrder].size()>());
        return item;
    }

private:
    static constexpr unsigned widthOf(std::size_t place) {
        const Field field = kOrders[kOrder][place];
        if (field == Field::none) return 0;
        if (field == Field::obsTime || field == Field::elOrDec) return 64;
        return field == Field::obsType && kSmallTypes ? kSmallTypeBits : 32;
    }
    /// Bits before a field.
    static constexpr unsigned startOf(std::size_t place) {
        return place == 0 ? 0 : std::min(128u, startOf(place - 1) + widthOf(place - 1));
    }
    template <std::size_t kPlace>
    static void append(Item& item) {
        constexpr Field kField = kOrders[kOrder][kPlace];
        constexpr unsigned kStart = startOf(kPlace), kEnd = startOf(kPlace + 1), kWidth = widthOf(kPlace);
        if constexpr (kStart != kEnd) {
            std::uint64_t value = valueOf(kField, item.slot) >> (kWidth - (kEnd - kStart));
            if constexpr (kWidth == kSmallTypeBits) value = (value - ordered(-1)) & ((1u << kSmallTypeBits) - 1);
            if constexpr (kEnd <= 64) item.high |= value << (64 - kEnd);
            else if constexpr (kStart < 64) item.high |= value >> (kEnd - 64);
            if constexpr (kEnd > 64) item.low |= value << (128 - kEnd);
        }
    }
};

/// Whether one comes before another in an order; ties keep tree order.
class Before {
public:
    explicit Before(const FieldList& fields) : fields_(fields) {}

    bool operator()(const Item& a, const Item& b) const {
        if (a.high == b.high && a.low == b.low) [[unlikely]]
            return beforeByRecord(a.slot, b.slot);
        // No branch: in a shuffled store its outcome cannot be guessed.
        return static_cast<bool>(static_cast<unsigned>(a.high < b.high) |
                                 (static_cast<unsigned>(a.high == b.high) & static_cast<unsigned>(a.low < b.low)));
    }

private:
    [[gnu::noinline]] bool beforeByRecord(SlotNumber a, SlotNumber b) const {
        for (const Field field : fields_) {
            if (field == Field::none) break;
            const std::uint64_t x = valueOf(field, a);
            const std::uint64_t y = valueOf(field, b);
            if (x != y) return x < y;
        }
        return gStore.pools.node(a).key < gStore.pools.node(b).key;
    }

    const FieldList& fields_;
};

/// Items ahead of the one in turn that are fetched where they lie in no order.
constexpr std::size_t kFetchAhead = 16;

/// Runs up to this length are sorted by insertion before they are merged.
constexpr std::size_t kShortRun = 16;

using Leading = radix::Leading;

/// Of places in a list of items.
class BeforeAtPlaces {
public:
    BeforeAtPlaces(const Before& before, const std::vector<Item>& items) : before_(before), items_(items) {}
    bool operator()(Leading a, Leading b) const { return before_(items_[a.place], items_[b.place]); }

private:
    const Before& before_;
    const std::vector<Item>& items_;
};

void insertionSort(const BeforeAtPlaces& before, Leading* list, std::size_t n) {
    for (std::size_t i = 1; i < n; ++i) {
        const Leading moving = list[i];
        std::size_t at = i;
        for (; at > 0 && before(moving, list[at - 1]); --at) list[at] = list[at - 1];
        list[at] = moving;
    }
}

/// Stable merge sort. `work` holds (n + 1) / 2 elements. Linear for a list that is in order already.
void mergehelper(const BeforeAtPlaces& before, Leading* list, std::size_t n, Leading* work) {
    if (n <= kShortRun) return insertionSort(before, list, n);
    const std::size_t half = (n + 1) / 2;
    mergehelper(before, list, half, work);
    mergehelper(before, list + half, n - half, work);
    if (!before(list[half], list[half - 1])) return;
    std::copy(list, list + half, work);
    const Leading* first = work;
    const Leading* const firstEnd = work + half;
    const Leading* second = list + half;
    const Leading* const secondEnd = list + n;
    Leading* out = list;
    while (first != firstEnd && second != secondEnd) {
        const bool takeSecond = before(*second, *first);
        *out++ = *(takeSecond ? second : first);
        second += takeSecond;
        first += !takeSecond;
    }
    std::copy(first, firstEnd, out);
}

/// The first 32 of the bits in which items differ, for the most part: what all of them share is left out, as the upper
/// bits of a number that is always small.
class Squeezing {
public:
    explicit Squeezing(const std::vector<Item>& items) {
        std::uint64_t high = 0, low = 0;
        for (const Item& item : items) {
            high |= item.high ^ items.front().high;
            low |= item.low ^ items.front().low;
        }
        addRuns(&Item::high, high);
        addRuns(&Item::low, low);
    }

    std::uint32_t operator()(const Item& item) const {
        std::uint32_t bits = 0;
        for (const Run& run : runs_)
            bits |= (static_cast<std::uint32_t>(item.*run.word >> run.from) & run.mask) << run.to;
        return bits;
    }

private:
    struct Run {
        std::uint64_t Item::*word = &Item::high;
        unsigned from = 0, to = 0;
        std::uint32_t mask = 0;
    };
    static constexpr unsigned kGap = 3;  ///< a run goes on over fewer bits that are shared

    void addRuns(std::uint64_t Item::*word, std::uint64_t varying) {
        while (varying != 0 && room_ != 0 && used_ != runs_.size()) {
            const auto top = static_cast<unsigned>(std::bit_width(varying));
            unsigned from = top;  // the run's lowest bit
            while (from > 0 && top - from < room_ && (varying << (64 - from) >> (64 - kGap)) != 0) --from;
            const unsigned width = top - from;
            room_ -= width;
            runs_[used_++] = {word, from, room_, static_cast<std::uint32_t>((std::uint64_t{1} << width) - 1)};
            varying &= (std::uint64_t{1} << from) - 1;
        }
    }

    std::array<Run, 4> runs_;
    std::size_t used_ = 0;
    unsigned room_ = radix::kLeadingBits;
};

/// The slots of items in their order: by leading bits, then each run of equal ones by comparison.
std::vector<SlotNumber> sorted(const Before& before, const std::vector<Item>& items) {
    std::vector<Leading> list(items.size()), work;
    const Squeezing leadingBitsOf(items);
    for (std::uint32_t i = 0; i < list.size(); ++i) list[i] = {leadingBitsOf(items[i]), i};
    radix::sortByDigits(list, radix::kLeadingBits, [](const Leading& one) { return one.bits; });

    const BeforeAtPlaces beforeAt(before, items);
    for (std::size_t from = 0, to = 0; from < list.size(); from = to) {
        bool isInOrder = true;
        for (++to; to < list.size() && list[to].bits == list[from].bits; ++to) {
            if (to + kFetchAhead < list.size()) __builtin_prefetch(&items[list[to + kFetchAhead].place]);
            isInOrder = isInOrder && !beforeAt(list[to], list[to - 1]);
        }
        if (isInOrder) continue;
        work.resize(std::max(work.size(), (to - from + 1) / 2));
        mergehelper(beforeAt, list.data() + from, to - from, work.data());
    }
    std::vector<SlotNumber> slots(list.size());
    std::transform(list.begin(), list.end(), slots.begin(), [&](Leading one) { return items[one.place].slot; });
    return slots;
}

/// Puts slots in order that come in the order of storage. As long as that is the wanted one but for a few moves, as in
/// decks in order of time, the slots are all there is to keep; else items are collected, and sorted at the end.
template <class Packing>
class Sorter {
public:
    Sorter(const Before& before, std::size_t most) : before_(before), most_(most) { slots_.reserve(most); }

    void take(SlotNumber slot) {
        const Item item = Packing::itemOf(slot);
        if (!isInOrder_) return items_.push_back(item);
        slots_.push_back(slot);
        if (slots_.size() == 1 || !before_(item, last_)) last_ = item;
        else moveDown(item);
    }

    std::vector<SlotNumber> slots() && { return isInOrder_ ? std::move(slots_) : sorted(before_, items_); }

private:
    /// Moves per slot that the order of storage may need.
    static constexpr std::size_t kMovesAllowed = 4, kMovesAtFirst = 256;

    void moveDown(const Item& item) {
        std::size_t at = slots_.size() - 1;
        std::size_t movesLeft = kMovesAtFirst + kMovesAllowed * slots_.size() - moves_;
        const std::size_t movesBefore = movesLeft;
        for (; at > 0 && movesLeft > 0 && before_(item, Packing::itemOf(slots_[at - 1])); --at, --movesLeft)
            slots_[at] = slots_[at - 1];
        slots_[at] = item.slot;
        moves_ += movesBefore - movesLeft;
        if (movesLeft == 0) collectItems();
    }

    void collectItems() {
        isInOrder_ = false;
        items_.reserve(most_);
        for (const SlotNumber slot : slots_) items_.push_back(Packing::itemOf(slot));
        slots_ = {};
    }

    const Before& before_;
    std::size_t most_;
    bool isInOrder_ = true;
    Item last_{};
    std::size_t moves_ = 0;
    std::vector<SlotNumber> slots_;
    std::vector<Item> items_;
};

/// The slots that `gather(take)` calls `take(slot)` with, in ascending order. They come in the order of storage, or of
/// the tree where the order is by key.
template <std::size_t kOrder, class Gather>
std::vector<SlotNumber> sortedSlots(const Gather& gather) {
    constexpr const FieldList& kFields = kOrders[kOrder];
    const std::size_t most = gStore.tree.size();
    if constexpr (kFields.front() == Field::none) {
        std::vector<SlotNumber> slots;
        slots.reserve(most);
        gather([&](SlotNumber slot) { slots.push_back(slot); });
        return slots;
    } else {
        const Before before(kFields);
        if constexpr (std::find(kFields.begin(), kFields.end(), Field::obsType) != kFields.end()) {
            Sorter<Packing<kOrder, true>> sorter(before, most);
            bool allSmall = true;
            gather([&](SlotNumber slot) {
                allSmall = allSmall && isSmallType(gStore.pools.record(slot).obsType);
                sorter.take(slot);
            });
            if (allSmall) return std::move(sorter).slots();
        }
        Sorter<Packing<kOrder, false>> sorter(before, most);  // also for a type that no format has
        gather([&](SlotNumber slot) { sorter.take(slot); });
        return std::move(sorter).slots();
    }
}

/// The same for an order that is not known beforehand.
template <class Gather>
std::vector<SlotNumber> sortedSlots(std::int32_t code, const Gather& gather) {
    return [&]<std::size_t... kOrder>(std::index_sequence<kOrder...>) {
        using Sorted = std::vector<SlotNumber> (*)(const Gather&);
        static constexpr Sorted kSorted[] = {&sortedSlots<kOrder, Gather>...};
        return kSorted[indexOf(code)](gather);
    }
    (std::make_index_sequence<kOrders.size()>());
}

/// The slots of all nodes, or of those of a group, in ascending order. Inside an `OrderGuard`, asked by `isByKey`.
std::vector<SlotNumber> sortedNodes(std::int32_t code, std::optional<std::int32_t> gid) {
    return sortedSlots(code, [&](const auto& take) {
        const auto takeOne = [&](SlotNumber slot) {
            if (!gid || gStore.pools.mark(slot).gid == *gid) take(slot);
        };
        if (isByKey(code)) gStore.tree.walk(takeOne);
        else gStore.pools.scan(takeOne);
    });
}

/// The keys of the nodes that meet both selections, ascending; their end. Keys are positive.
std::int64_t* putSelectedInTreeOrder(const ObsSelection& one, const ObsSelection& other, std::int64_t* keys) {
    std::int64_t* end = keys;
    scanSelected(one, other, [&](SlotNumber slot) { *end++ = gStore.pools.node(slot).key; });
    if (!std::is_sorted(keys, end)) {
        std::vector<std::int64_t> sorted(keys, end);
        radixSort(sorted, [](std::int64_t key) { return static_cast<std::uint64_t>(key); });
        std::copy(sorted.begin(), sorted.end(), keys);
    }
    return end;
}

void timesOf(const std::vector<SlotNumber>& slots, double* earliest, double* latest) {
    for (const SlotNumber slot : slots) {
        const double time = gStore.pools.record(slot).obsTime;
        if (earliest != nullptr && (slot == slots.front() || time < *earliest)) *earliest = time;
        if (latest != nullptr && (slot == slots.front() || time > *latest)) *latest = time;
    }
}

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

/// Writes the first `room` of the slots' keys in the sense of `code`.
void putKeys(const std::vector<SlotNumber>& slots, bool descending, std::int64_t* keys, std::size_t room = kNoLimit) {
    const auto keyOf = [](SlotNumber slot) { return gStore.pools.node(slot).key; };
    const auto count = static_cast<std::ptrdiff_t>(std::min(slots.size(), room));
    if (descending) std::transform(slots.rbegin(), slots.rbegin() + count, keys, keyOf);
    else std::transform(slots.begin(), slots.begin() + count, keys, keyOf);
}

}  // namespace

bool isByKey(std::int32_t code) { return orderOf(code).front() == Field::none; }

bool lessthan(ObsBinTreePtr a, ObsBinTreePtr b, std::int32_t code) {
    for (const Field field : orderOf(code)) {
        if (field == Field::none) break;
        const std::uint64_t x = valueOf(field, a);
        const std::uint64_t y = valueOf(field, b);
        if (x != y) return x < y;
    }
    return false;
}

std::int32_t obssort(std::int32_t code, std::int64_t* keys, std::optional<std::int32_t> gid, double* earliestTime,
                     double* latestTime) {
    const OrderGuard<ReadGuard> guard(isByKey(code));
    const std::vector<SlotNumber> slots = sortedNodes(code, gid);
    putKeys(slots, code > 0, keys);
    if (earliestTime != nullptr || latestTime != nullptr) timesOf(slots, earliestTime, latestTime);
    return static_cast<std::int32_t>(slots.size());
}

void obsgettreekeys(std::int32_t& count, std::int64_t* keys, std::int32_t code, std::optional<std::int32_t> gid) {
    count += obslistkeys(code, gid, keys + count, kNoLimit);
}

std::int32_t obslistkeys(std::int32_t code, std::optional<std::int32_t> gid, std::int64_t* keys, std::size_t room) {
    if (room == 0) return obsgetnumoftreenodes(gid);
    const OrderGuard<ReadGuard> guard(isByKey(code));
    if (code != kTreeOrder) {
        const std::vector<SlotNumber> slots = sortedNodes(code, gid);
        putKeys(slots, code > 0, keys, room);
        return static_cast<std::int32_t>(slots.size());
    }
    std::size_t count = 0;
    walkNodes(gid, [&](SlotNumber slot) {
        if (count < room) keys[count] = gStore.pools.node(slot).key;
        ++count;
    });
    return static_cast<std::int32_t>(count);
}

std::vector<SlotNumber> obslistslots(std::int32_t code) {
    std::vector<SlotNumber> slots = sortedNodes(code, std::nullopt);
    if (code > 0 && code != kTreeOrder) std::reverse(slots.begin(), slots.end());
    return slots;
}

std::int32_t obsgetselected(const ObsSelection& one, const ObsSelection& other, std::int32_t code, std::int64_t* keys) {
    const ReadGuard guard;
    const bool descending = code > 0 && code != kTreeOrder;
    if (isByKey(code)) {
        std::int64_t* const end = putSelectedInTreeOrder(one, other, keys);
        if (descending) std::reverse(keys, end);
        return static_cast<std::int32_t>(end - keys);
    }
    const std::vector<SlotNumber> slots = sortedSlots(code, [&](const auto& take) { scanSelected(one, other, take); });
    putKeys(slots, descending, keys);
    return static_cast<std::int32_t>(slots.size());
}

}  // namespace obs
