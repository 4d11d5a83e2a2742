// SPDX-License-Identifier: Apache-2.0
/// Groups: the observations that were loaded under one group id. The id belongs to the node, not to the record:
/// copying, updating or converting an observation never carries or changes it.
#pragma once

#include <cstdint>

namespace obs {

/// Removes the observations of a group by ascending key, each in an update of its own, so that others may read
/// between two. Stops at the first failure. Status 0 (also for an empty group; and when there is no memory for the list
/// of keys, which is logged) or 2.
std::int32_t removegidobs(std::int32_t gid);

}  // namespace obs
