// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Handles.h"

#include <algorithm>
#include <new>

#include <sys/mman.h>

#include "Obs/ObsTree/Keys.h"
#include "Obs/ObsTree/Pages.h"

namespace obs {

namespace {

constexpr std::size_t kBlockSize = std::size_t{1} << 18;
constexpr std::size_t kBlockBytes = kBlockSize * sizeof(ObsDma);

/// Stands for all whose memory was given back.
ObsDma gGone;

std::uintptr_t addressOf(const ObsDma* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

}  // namespace

Handles::Block& Handles::addBlock() {
    byAddress_.reserve(byAddress_.size() + 1);
    // Pages are supplied as they are first written.
    void* const memory =
        mmap(nullptr, kBlockBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc{};
    const Block block{static_cast<ObsDma*>(memory)};
    const auto place =
        std::upper_bound(byAddress_.begin(), byAddress_.end(), block,
                         [](const Block& a, const Block& b) { return addressOf(a.handles) < addressOf(b.handles); });
    last_ = static_cast<std::size_t>(place - byAddress_.begin());
    return *byAddress_.insert(place, block);
}

ObsDma* Handles::create(SlotNumber slot) {
    Block& block = byAddress_.empty() || byAddress_[last_].used == kBlockSize ? addBlock() : byAddress_[last_];
    ObsDma* const handle = &block.handles[block.used++];
    *handle = {handle, slot};
    return handle;
}

ObsDma* Handles::find(std::int64_t obsKey) {
    const std::uintptr_t address = obskeytoaddr(obsKey);
    const auto after =
        std::upper_bound(byAddress_.begin(), byAddress_.end(), address,
                         [](std::uintptr_t a, const Block& block) { return a < addressOf(block.handles); });
    if (after == byAddress_.begin()) return nullptr;
    const Block& block = *std::prev(after);
    const std::uintptr_t offset = address - addressOf(block.handles);
    const std::size_t number = offset / sizeof(ObsDma);
    if (number >= block.used || offset % sizeof(ObsDma) != 0) return nullptr;
    if (number < block.firstKept) return &gGone;
    ObsDma* const handle = block.handles + number;
    return handle->self == handle ? handle : nullptr;
}

void Handles::releaseAll() {
    const std::size_t perPage = kPageSize / sizeof(ObsDma);
    for (Block& block : byAddress_) {
        const std::size_t kept = block.used - block.used % perPage;
        // NOTE: where the system refuses, the memory is lost and nothing else: it is not looked at any more.
        if (kept > block.firstKept)
            static_cast<void>(mmap(block.handles + block.firstKept, (kept - block.firstKept) * sizeof(ObsDma),
                                   PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1, 0));
        block.firstKept = kept;
        for (std::size_t i = kept; i < block.used; ++i) block.handles[i].rec = kNoSlot;
    }
}

}  // namespace obs
