// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Handles.h"

#include <algorithm>
#include <functional>

#include "Obs/ObsTree/Keys.h"

namespace obs {

ObsDma* Handles::create(SlotNumber slot) {
    if (usedInLast_ == kBlockSize) {
        auto block = std::make_unique<ObsDma[]>(kBlockSize);
        byAddress_.insert(std::upper_bound(byAddress_.begin(), byAddress_.end(), block.get(), std::less<>{}), block.get());
        last_ = block.release();
        usedInLast_ = 0;
    }
    ObsDma* handle = &last_[usedInLast_++];
    *handle = {handle, slot};
    return handle;
}

ObsDma* Handles::find(std::int64_t obsKey) {
    const std::uintptr_t address = obskeytoaddr(obsKey);
    auto after = std::upper_bound(byAddress_.begin(), byAddress_.end(), address, [](std::uintptr_t a, const ObsDma* block) {
        return a < reinterpret_cast<std::uintptr_t>(block);
    });
    if (after == byAddress_.begin()) return nullptr;
    const std::uintptr_t offset = address - reinterpret_cast<std::uintptr_t>(*std::prev(after));
    if (offset >= kBlockSize * sizeof(ObsDma) || offset % sizeof(ObsDma) != 0) return nullptr;
    ObsDma* handle = *std::prev(after) + offset / sizeof(ObsDma);
    return handle->self == handle ? handle : nullptr;
}

void Handles::releaseAll() {
    for (ObsDma* block : byAddress_)
        for (std::size_t i = 0; i < kBlockSize; ++i) block[i].rec = kNoSlot;
}

}  // namespace obs
