// SPDX-License-Identifier: Apache-2.0
/// Digits eight at a time, in a word whose lowest byte is the first of them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Obs/CardLayouts/Columns.h"

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

/// The first digits of eight characters.
struct LeadingDigits {
    std::uint32_t number;
    unsigned count;
};
inline LeadingDigits leadingDigits(const char* at) {
    if constexpr (std::endian::native != std::endian::little) {
        LeadingDigits digits{0, 0};
        for (; digits.count < kDigitRun && isDigit(at[digits.count]); ++digits.count)
            digits.number = 10 * digits.number + static_cast<std::uint32_t>(at[digits.count] - '0');
        return digits;
    }
    std::uint64_t values = 0;
    std::memcpy(&values, at, sizeof values);
    values ^= kZeroDigits;
    // Of the first that is not a digit the top bit is set; carries reach only those after it.
    const std::uint64_t others = (values | (values + 0x7676767676767676u)) & 0x8080808080808080u;
    if (others == 0) return {numberOfDigits(values), kDigitRun};
    const auto count = static_cast<unsigned>(std::countr_zero(others)) / 8;
    return {numberOfDigits(values << 1 << (63 - 8 * count)), count};
}

/// Goes past digits and appends them to a number, modulo 2^64. Eight characters from the end of the digits on must be
/// there to be looked at.
inline const char* takeDigits(const char* at, std::uint64_t& number) {
    static constexpr std::uint64_t kPowers[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
    for (;;) {
        const LeadingDigits digits = leadingDigits(at);
        number = number * kPowers[digits.count] + digits.number;
        at += digits.count;
        if (digits.count < kDigitRun) return at;
    }
}

}  // namespace obs
