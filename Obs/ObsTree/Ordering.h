// SPDX-License-Identifier: Apache-2.0
/// The ten orders in which keys are listed.
///
/// |code| selects the fields that are compared in turn (table in Ordering.cpp); ties keep tree order, that
/// is ascending key. A code of 0 or below lists ascending, one above 0 descending (the exact reverse,
/// ties included), except that code 9 through `obsgettreekeys` always ascends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "Obs/ObsTree/Store.h"
#include "Obs/ObsTypes/ObsSelection.h"

namespace obs {

inline constexpr std::int32_t kTreeOrder = 9;

/// Fills `keys` with the keys of all nodes, or of a group's, in the order of `code`; an empty selection
/// leaves it untouched. Returns their number; optionally gives the earliest and latest times among them. Throws
/// std::bad_alloc, `keys` being untouched.
std::int32_t obssort(std::int32_t code, std::int64_t* keys, std::optional<std::int32_t> gid = std::nullopt,
                     double* earliestTime = nullptr, double* latestTime = nullptr);

/// `obssort`, and for code 9 the walk alone. `count` grows by the number of keys written from keys[count] on.
void obsgettreekeys(std::int32_t& count, std::int64_t* keys, std::int32_t code,
                    std::optional<std::int32_t> gid = std::nullopt);

/// The same, writing at most the first `room` keys. Returns how many there are.
std::int32_t obslistkeys(std::int32_t code, std::optional<std::int32_t> gid, std::int64_t* keys, std::size_t room);

/// Whether a code lists by key, so that the tree is walked.
bool isByKey(std::int32_t code);

/// The slots of all nodes, in the order in which `obsgettreekeys` lists their keys. Inside an `OrderGuard` of the
/// caller's, asked by `isByKey`. Throws std::bad_alloc.
std::vector<SlotNumber> obslistslots(std::int32_t code);

/// The keys of the nodes that meet both selections, as `obsgettreekeys` lists all.
std::int32_t obsgetselected(const ObsSelection& one, const ObsSelection& other, std::int32_t code, std::int64_t* keys);

}  // namespace obs
