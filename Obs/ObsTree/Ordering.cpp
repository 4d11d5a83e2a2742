// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Ordering.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <limits>
#include <new>
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

const FieldList& orderOf(std::int32_t code) {
    const std::int64_t which = std::abs(std::int64_t{code});
    return kOrders[which < std::int64_t{kOrders.size()} ? static_cast<std::size_t>(which) : 0];
}

// Integers that order as the values do. Negative zero equals zero; "not a number" has a fixed place beyond
// the infinities, so that any store can be sorted.
std::uint64_t ordered(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value + 0.0);
    return (bits >> 63) != 0 ? ~bits : bits | 0x8000000000000000u;
}
std::uint64_t ordered(std::int32_t value) { return static_cast<std::uint32_t>(value) ^ 0x80000000u; }

std::uint64_t valueOf(Field field, SlotNumber slot) {
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

/// What is sorted: the first 128 bits of an observation's fields, so that hardly a comparison has to touch
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
class Packing {
public:
    Packing(const FieldList& fields, bool smallTypes) : fields_(fields), smallTypes_(smallTypes) {}

    Item itemOf(SlotNumber slot) const {
        std::uint64_t words[2] = {0, 0};
        unsigned used = 0;
        for (const Field field : fields_) {
            if (field == Field::none || used == 128) break;
            const unsigned width = widthOf(field, used);
            const std::uint64_t value = narrowed(field, slot, width);
            const unsigned room = 128 - used;
            const unsigned taken = std::min(width, room);
            append(words, used, value >> (width - taken), taken);
            used += taken;
        }
        return {words[0], words[1], slot};
    }

    bool before(const Item& a, const Item& b) const {
        if (a.high == b.high && a.low == b.low) [[unlikely]]
            return beforeByRecord(a.slot, b.slot);
        // No branch: in a shuffled store its outcome cannot be guessed.
        return static_cast<bool>(static_cast<unsigned>(a.high < b.high) |
                                 (static_cast<unsigned>(a.high == b.high) & static_cast<unsigned>(a.low < b.low)));
    }

private:
    unsigned widthOf(Field field, unsigned used) const {
        if (field == Field::obsTime || field == Field::elOrDec) return 64;
        return field == Field::obsType && used == 64 && smallTypes_ ? kSmallTypeBits : 32;
    }
    static std::uint64_t narrowed(Field field, SlotNumber slot, unsigned width) {
        if (width != kSmallTypeBits) return valueOf(field, slot);
        return static_cast<std::uint64_t>(std::int64_t{gStore.pools.record(slot).obsType} + 1);
    }
    static void append(std::uint64_t (&words)[2], unsigned used, std::uint64_t value, unsigned width) {
        const unsigned end = used + width;
        if (end <= 64) words[0] |= value << (64 - end);
        else if (used >= 64) words[1] |= end == 128 ? value : value << (128 - end);
        else {
            words[0] |= value >> (end - 64);
            words[1] |= value << (128 - end);
        }
    }
    bool beforeByRecord(SlotNumber a, SlotNumber b) const {
        for (const Field field : fields_) {
            if (field == Field::none) break;
            const std::uint64_t x = valueOf(field, a);
            const std::uint64_t y = valueOf(field, b);
            if (x != y) return x < y;
        }
        return gStore.pools.node(a).key < gStore.pools.node(b).key;  // ties keep tree order
    }

    const FieldList& fields_;
    bool smallTypes_;
};

/// Runs up to this length are sorted by insertion before they are merged.
constexpr std::size_t kShortRun = 16;

void insertionSort(const Packing& order, Item* list, std::size_t n) {
    for (std::size_t i = 1; i < n; ++i) {
        const Item moving = list[i];
        std::size_t at = i;
        for (; at > 0 && order.before(moving, list[at - 1]); --at) list[at] = list[at - 1];
        list[at] = moving;
    }
}

/// Stable merge sort. `work` holds (n + 1) / 2 items. Linear for a list that is in order already.
void mergehelper(const Packing& order, Item* list, std::size_t n, Item* work) {
    if (n <= kShortRun) return insertionSort(order, list, n);
    const std::size_t half = (n + 1) / 2;
    mergehelper(order, list, half, work);
    mergehelper(order, list + half, n - half, work);
    if (!order.before(list[half], list[half - 1])) return;
    std::copy(list, list + half, work);
    const Item* first = work;
    const Item* const firstEnd = work + half;
    const Item* second = list + half;
    const Item* const secondEnd = list + n;
    Item* out = list;
    while (first != firstEnd && second != secondEnd) {
        const bool takeSecond = order.before(*second, *first);
        *out++ = *(takeSecond ? second : first);
        second += takeSecond;
        first += !takeSecond;
    }
    std::copy(first, firstEnd, out);
}

bool allTypesSmall() {
    bool all = true;
    gStore.pools.scan([&](SlotNumber slot) { all = all && isSmallType(gStore.pools.record(slot).obsType); });
    return all;
}

/// Above this share of places where an order breaks, a list counts as being in none.
constexpr std::size_t kBreaksAllowed = 16;

bool isNearlySorted(const std::vector<Item>& items) {
    std::size_t breaks = 0;
    for (std::size_t i = 1; i < items.size(); ++i) breaks += items[i].high < items[i - 1].high;
    return breaks * kBreaksAllowed <= items.size();
}

/// Sorts by the first word alone, then each run of equal ones by the rest.
void sortUnordered(const Packing& order, std::vector<Item>& items, std::vector<Item>& work) {
    radixSort(items, [](const Item& item) { return item.high; });
    for (std::size_t from = 0, to = 0; from < items.size(); from = to) {
        while (to < items.size() && items[to].high == items[from].high) ++to;
        if (to - from > 1) mergehelper(order, items.data() + from, to - from, work.data());
    }
}

void sortItems(const Packing& order, std::vector<Item>& items) {
    const auto before = [&](const Item& a, const Item& b) { return order.before(a, b); };
    if (std::is_sorted(items.begin(), items.end(), before)) return;
    std::vector<Item> work((items.size() + 1) / 2);
    if (isNearlySorted(items)) mergehelper(order, items.data(), items.size(), work.data());
    else sortUnordered(order, items, work);
}

/// The nodes for which `takes(slot)`, in ascending order of `fields`.
template <class Takes>
std::vector<Item> sortedItems(const FieldList& fields, const Takes& takes) {
    std::vector<Item> items;
    items.reserve(gStore.tree.size());
    if (fields.front() == Field::none) {
        gStore.tree.walk([&](SlotNumber slot) {
            if (takes(slot)) items.push_back({0, 0, slot});
        });
        return items;
    }
    const bool hasType = std::find(fields.begin(), fields.end(), Field::obsType) != fields.end();
    const Packing order(fields, hasType && allTypesSmall());
    gStore.pools.scan([&](SlotNumber slot) {
        if (takes(slot)) items.push_back(order.itemOf(slot));
    });
    sortItems(order, items);
    return items;
}

/// The nodes that meet both selections, in ascending order of `fields`.
std::vector<Item> selectedItems(const ObsSelection& one, const ObsSelection& other, const FieldList& fields) {
    std::vector<Item> items;
    items.reserve(gStore.tree.size());
    bool allSmall = true;
    const auto gather = [&](const Packing& order) {
        items.clear();
        scanSelected(one, other, [&](SlotNumber slot) {
            allSmall = allSmall && isSmallType(gStore.pools.record(slot).obsType);
            items.push_back(order.itemOf(slot));
        });
    };
    gather(Packing(fields, true));
    if (!allSmall) gather(Packing(fields, false));  // a type that no format has
    sortItems(Packing(fields, allSmall), items);
    return items;
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

void timesOf(const std::vector<Item>& items, double* earliest, double* latest) {
    for (const Item& item : items) {
        const double time = gStore.pools.record(item.slot).obsTime;
        if (earliest != nullptr && (item.slot == items.front().slot || time < *earliest)) *earliest = time;
        if (latest != nullptr && (item.slot == items.front().slot || time > *latest)) *latest = time;
    }
}

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

/// Writes the first `room` of the items' keys in the sense of `code`.
void putKeys(const std::vector<Item>& items, bool descending, std::int64_t* keys, std::size_t room = kNoLimit) {
    const auto keyOf = [](const Item& item) { return gStore.pools.node(item.slot).key; };
    const auto count = static_cast<std::ptrdiff_t>(std::min(items.size(), room));
    if (descending) std::transform(items.rbegin(), items.rbegin() + count, keys, keyOf);
    else std::transform(items.begin(), items.begin() + count, keys, keyOf);
}

auto inGroup(std::optional<std::int32_t> gid) {
    return [gid](SlotNumber slot) { return !gid || gStore.pools.mark(slot).gid == *gid; };
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
    const std::vector<Item> items = sortedItems(orderOf(code), inGroup(gid));
    putKeys(items, code > 0, keys);
    timesOf(items, earliestTime, latestTime);
    return static_cast<std::int32_t>(items.size());
}

void obsgettreekeys(std::int32_t& count, std::int64_t* keys, std::int32_t code, std::optional<std::int32_t> gid) {
    count += obslistkeys(code, gid, keys + count, kNoLimit);
}

std::int32_t obslistkeys(std::int32_t code, std::optional<std::int32_t> gid, std::int64_t* keys, std::size_t room) {
    if (room == 0) return obsgetnumoftreenodes(gid);
    const OrderGuard<ReadGuard> guard(isByKey(code));
    if (code != kTreeOrder) {
        const std::vector<Item> items = sortedItems(orderOf(code), inGroup(gid));
        putKeys(items, code > 0, keys, room);
        return static_cast<std::int32_t>(items.size());
    }
    std::size_t count = 0;
    walkNodes(gid, [&](SlotNumber slot) {
        if (count < room) keys[count] = gStore.pools.node(slot).key;
        ++count;
    });
    return static_cast<std::int32_t>(count);
}

std::vector<SlotNumber> obslistslots(std::int32_t code) {
    std::vector<SlotNumber> slots;
    slots.reserve(gStore.tree.size());
    if (code == kTreeOrder) {
        gStore.tree.walk([&](SlotNumber slot) { slots.push_back(slot); });
        return slots;
    }
    for (const Item& item : sortedItems(orderOf(code), inGroup(std::nullopt))) slots.push_back(item.slot);
    if (code > 0) std::reverse(slots.begin(), slots.end());
    return slots;
}

std::int32_t obsgetselected(const ObsSelection& one, const ObsSelection& other, std::int32_t code, std::int64_t* keys) {
    const ReadGuard guard;
    const bool descending = code > 0 && code != kTreeOrder;
    const FieldList& fields = orderOf(code);
    if (fields.front() == Field::none) {
        std::int64_t* const end = putSelectedInTreeOrder(one, other, keys);
        if (descending) std::reverse(keys, end);
        return static_cast<std::int32_t>(end - keys);
    }
    const std::vector<Item> items = selectedItems(one, other, fields);
    putKeys(items, descending, keys);
    return static_cast<std::int32_t>(items.size());
}

}  // namespace obs
