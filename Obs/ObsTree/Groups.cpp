// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Groups.h"

#include <new>
#include <vector>

#include "Obs/ObsTree/Store.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

std::vector<std::int64_t> keysOfGroup(std::int32_t gid) {
    const ReadGuard guard;
    std::vector<std::int64_t> keys;
    gStore.pools.scan([&](SlotNumber slot) {
        if (gStore.pools.mark(slot).gid == gid) keys.push_back(gStore.pools.node(slot).key);
    });
    return keys;
}

}  // namespace

std::int32_t removegidobs(std::int32_t gid) {
    std::vector<std::int64_t> keys;
    try {
        keys = keysOfGroup(gid);
    } catch (const std::bad_alloc&) {
        family::tracelogerror("ObsRemoveGID: Out of memory. No observation was removed.");
        return kStatusOk;
    }
    for (const std::int64_t key : keys)
        if (const std::int32_t status = obsremovenode(key); status != kStatusOk) return status;
    return kStatusOk;
}

}  // namespace obs
