// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/AddObs.h"

#include <new>

#include "siblings/include/Services.h"

namespace obs {

namespace {

/// Logs a text that has to be built, or else another that says nearly as much.
template <class Build>
void logBuilt(Build build, std::string_view withoutMemory) {
    try {
        family::tracelogerror(build());
    } catch (const std::bad_alloc&) { family::tracelogerror(withoutMemory); }
}

void reportNoMemory(AddStage stage, std::int64_t key) {
    switch (stage) {
        case AddStage::handle: return family::tracelogerror("AddObOnly : Cannot allocate memory for a new dmaObs.");
        case AddStage::node:
            if (key == kNewAddressKey) break;
            return logBuilt([&] { return "AddObOnly: Unable to allocate memory for obsKey " + keyText(key) + "."; },
                            "AddObOnly: Unable to allocate memory for an obsKey.");
        case AddStage::record: break;
    }
    family::tracelogerror(key == kNewAddressKey ? "AddObOnly: Cannot allocate memory for a new obs."
                                                : "AddObOnly: Memory allocation failed");
}

}  // namespace

void LoadCounts::count(std::int64_t key) {
    if (key == kNoKey) ++bad;
    else if (key == kDuplicateKey) ++duplicate;
    else ++loaded;
}

std::string duplicateMessage(std::int64_t key) {
    return "AddObOnly: Duplicated record/obsKey " + keyText(key) + " found.";
}

std::int64_t refuseDuplicate(std::int64_t key) {
    if (family::dupkeymodeget() != 0) return key;
    logBuilt([&] { return duplicateMessage(key); }, "AddObOnly: Duplicated record found.");
    return kDuplicateKey;
}

std::int64_t AddObOnly(const ObsRecord& rec, std::int32_t gid, TakeBack* takeBack) {
    const std::int64_t firstKey = addressKeysInForce() ? kNewAddressKey : getobskey(rec);
    if (firstKey == kNoKey) return kNoKey;
    std::int64_t key = firstKey;
    AddStage stage = AddStage::node;
    try {
        if (obsaddnode(key, rec, gid, stage, takeBack) != kStatusDuplicate) return key;
    } catch (const std::bad_alloc&) {
        reportNoMemory(stage, firstKey);
        return kNoKey;
    }
    return refuseDuplicate(firstKey);
}

std::int64_t AddObsToMem(const ObsRecord& rec, LoadCounts& counts, std::int32_t gid, TakeBack* takeBack) {
    const std::int64_t key = AddObOnly(rec, gid, takeBack);
    counts.count(key);
    return key;
}

}  // namespace obs
