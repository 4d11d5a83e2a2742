// SPDX-License-Identifier: Apache-2.0
/// Digits eight at a time, in a word whose lowest byte is the first of them.
#pragma once

#include <cstdint>

namespace obs {

inline constexpr unsigned kDigitRun = 8;
inline constexpr std::uint64_t kZeroDigits = 0x3030303030303030u;

/// Whether eight characters, less `kZeroDigits` bit by bit, were digits alone.
constexpr bool areDigitValues(std::uint64_t values) {
    return ((values | (values + 0x7676767676767676u)) & 0x8080808080808080u) == 0;  // a byte above 9 sets its top bit
}

/// The number that eight values of digits make: pairs, then fours, then all.
constexpr std::uint32_t numberOfDigits(std::uint64_t values) {
    constexpr std::uint64_t kPairs = 0x000000FF000000FFu;
    const std::uint64_t pairs = values * 10 + (values >> 8);
    return static_cast<std::uint32_t>(
        ((pairs & kPairs) * 0x000F424000000064u + (pairs >> 16 & kPairs) * 0x0000271000000001u) >> 32);
}
static_assert(numberOfDigits(0x0807060504030201u) == 12345678);

}  // namespace obs
