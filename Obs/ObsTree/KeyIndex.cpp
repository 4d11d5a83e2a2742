// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/KeyIndex.h"

#include <algorithm>
#include <bit>
#include <utility>

#include <sys/random.h>

namespace obs {

namespace {

constexpr unsigned kMinBits = 10;

/// No live entry looks so: the table has more places than the highest number needs.
constexpr std::uint32_t kRemoved = 0xffffffffu;

bool isLive(std::uint32_t entry) { return entry != 0 && entry != kRemoved; }

}  // namespace

KeyIndex::KeyIndex(const Pools& pools) : pools_(pools), multipliers_{0x9E3779B97F4A7C15u, 0xBF58476D1CE4E5B9u} {
    std::array<std::uint64_t, 2> drawn{};
    // NOTE: where the system has nothing to draw from yet, the fixed ones do.
    if (getrandom(drawn.data(), sizeof drawn, GRND_NONBLOCK) != sizeof drawn) return;
    for (std::size_t i = 0; i < drawn.size(); ++i) multipliers_[i] ^= drawn[i] & ~std::uint64_t{1};
}

// NOTE: the tag is stored above the number: the table has 2^bits entries and a number needs at most
// `bits` bits, since the table grows until it is twice as large as the highest number.

/// The entry of a key, or the place where it would be added.
std::uint32_t* KeyIndex::place(std::int64_t key, std::uint32_t hash) const {
    const std::uint32_t mask = numberMask();
    const std::uint32_t wanted = tag(hash);
    std::uint32_t* reusable = nullptr;
    for (std::uint32_t at = position(hash);; at = (at + 1) & mask) {
        std::uint32_t& here = entries_[at];
        if (here == 0) return reusable != nullptr ? reusable : &here;
        if (here == kRemoved) {
            if (reusable == nullptr) reusable = &here;
        } else if ((here & ~mask) == wanted && pools_.node(slotOf(here)).key == key) {
            return &here;
        }
    }
}

SlotNumber KeyIndex::find(std::int64_t key) const {
    if (bits_ == 0) return kNoSlot;
    const std::uint32_t hash = hashOf(key);
    // Who looks a key up wants its record: asked for here, it comes while the node is still on its way.
    const std::uint32_t likely = entries_[position(hash)];
    if (isLive(likely)) pools_.prefetchRecord(slotOf(likely));
    const std::uint32_t entry = *place(key, hash);
    return isLive(entry) ? slotOf(entry) : kNoSlot;
}

SlotNumber KeyIndex::findOrAdd(std::int64_t key, SlotNumber slot) {
    const std::uint32_t hash = hashOf(key);
    std::uint32_t& here = *place(key, hash);
    if (isLive(here)) return slotOf(here);
    removed_ -= here == kRemoved;
    here = entry(hash, slot);
    ++count_;
    return slot;
}

void KeyIndex::remove(std::int64_t key) {
    if (bits_ == 0) return;
    std::uint32_t& here = *place(key, hashOf(key));
    if (!isLive(here)) return;
    here = kRemoved;
    --count_;
    ++removed_;
}

void KeyIndex::reserve(std::uint64_t count, std::uint64_t slotLimit) {
    // At least two numbers more than slots: none is all ones, which together with its tag would be the mark.
    const std::uint64_t least = std::max(count, (slotLimit + 1) / 2 + 1);
    const unsigned bits = std::max({kMinBits, static_cast<unsigned>(std::bit_width(2 * least - 1)), bits_});
    if (bits > bits_ || 2 * (count + removed_) > std::uint64_t{1} << bits_) rebuild(bits);
}

void KeyIndex::rebuild(unsigned bits) {
    const std::size_t bytes = sizeof(std::uint32_t) << bits;
    decltype(entries_) larger(static_cast<std::uint32_t*>(takeMemory(bytes).release()));
    supplyPages(larger.get(), bytes);
    std::fill_n(larger.get(), std::size_t{1} << bits, 0u);
    const auto old = std::exchange(entries_, std::move(larger));
    const std::uint64_t oldSize = bits_ == 0 ? 0 : std::uint64_t{1} << bits_;
    const std::uint32_t oldMask = numberMask();
    bits_ = bits;
    removed_ = 0;
    const std::uint32_t mask = numberMask();
    for (std::uint64_t i = 0; i < oldSize; ++i) {
        if (!isLive(old[i])) continue;
        const SlotNumber slot = (old[i] & oldMask) - 1;
        const std::uint32_t hash = hashOf(pools_.node(slot).key);
        std::uint32_t at = position(hash);
        while (entries_[at] != 0) at = (at + 1) & mask;
        entries_[at] = entry(hash, slot);
    }
}

void KeyIndex::clear() {
    entries_.reset();
    bits_ = 0;
    count_ = removed_ = 0;
}

}  // namespace obs
