// SPDX-License-Identifier: Apache-2.0
/// How the operations of the store and the calls end.
#pragma once

#include <cstdint>

namespace obs {

inline constexpr std::int32_t kStatusOk = 0;
inline constexpr std::int32_t kStatusGrown = 1;  ///< linked, and the tree grew in height
inline constexpr std::int32_t kStatusRefused = 2;
inline constexpr std::int32_t kStatusDuplicate = 3;

}  // namespace obs
