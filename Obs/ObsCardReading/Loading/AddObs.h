// SPDX-License-Identifier: Apache-2.0
/// From a read record to the store, and the counts of a load.
#pragma once

#include <cstdint>
#include <string_view>

#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsTree/Store.h"

namespace obs {

struct LoadCounts {
    std::int64_t loaded = 0;
    std::int64_t duplicate = 0;
    std::int64_t bad = 0;
    SlrCorrectionCounts slr;

    /// Counts an observation by the key that adding it gave.
    void count(std::int64_t key);
};

/// What adding gives for a refused duplicate whose first key was `key`: 0 and a message, or the key itself while
/// the family's duplicate-key mode is on. NOTE: the caller then counts it as loaded although the store keeps
/// the earlier record; that is what the mode is for.
std::int64_t refuseDuplicate(std::int64_t key);

/// The message of `refuseDuplicate`.
std::string duplicateMessage(std::int64_t key);

/// Why an observation gets no key, for those who tell of it.
inline constexpr std::string_view kNoKeyReason = "No satellite number, or a number or time that makes no key.";

/// Adds a copy of a record. Returns its key, 0 for a refused duplicate, -1 when nothing could be added
/// (silently when the record makes no key). `takeBack`, unless null, notes it.
std::int64_t AddObOnly(const ObsRecord& rec, std::int32_t gid = 0, TakeBack* takeBack = nullptr);

/// `AddObOnly`, counted.
std::int64_t AddObsToMem(const ObsRecord& rec, LoadCounts& counts, std::int32_t gid = 0, TakeBack* takeBack = nullptr);

}  // namespace obs
