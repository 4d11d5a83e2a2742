// SPDX-License-Identifier: Apache-2.0
/// Real numbers as nearly all lines have them: few enough digits that one division gives the nearest double.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

#include "Obs/CardLayouts/DigitRuns.h"

namespace obs {

/// Powers of ten that a double holds exactly.
inline constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                          1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// The power of ten after a mantissa: null for "E" without digits, or with more than two.
inline const char* takeExponent(const char* at, int& exponent) {
    if (*at != 'E' && *at != 'e') return at;
    ++at;
    const bool negative = *at == '-';
    at += negative || *at == '+';
    if (!isDigit(*at)) return nullptr;
    int size = *at++ - '0';
    if (isDigit(*at)) size = 10 * size + (*at++ - '0');
    exponent += negative ? -size : size;
    return isDigit(*at) ? nullptr : at;
}

/// Digits with a point or without, a minus sign before and an exponent after them, to the nearest double. Gives where
/// the number ends; null for one that takes more care, and for what is none. Eight characters from the end of its
/// digits on must be there to be looked at.
inline const char* takePlainReal(const char* at, double& value) {
    constexpr std::uint64_t kLargestExactInteger = std::uint64_t{1} << std::numeric_limits<double>::digits;
    constexpr std::ptrdiff_t kDigitsOf64Bits = std::numeric_limits<std::int64_t>::digits10 + 1;
    constexpr int kMostPower = static_cast<int>(std::size(kExactPowers)) - 1;
    const bool negative = *at == '-';
    at += negative;
    std::uint64_t number = 0;
    const char* behind = takeDigits(at, number);
    std::ptrdiff_t count = behind - at;
    int exponent = 0;
    if (*behind == '.') {
        const char* const point = behind;
        behind = takeDigits(point + 1, number);
        exponent = static_cast<int>(point + 1 - behind);
        count -= exponent;
    }
    if (count == 0 || count > kDigitsOf64Bits || number > kLargestExactInteger) return nullptr;
    behind = takeExponent(behind, exponent);
    if (behind == nullptr || exponent > kMostPower || exponent < -kMostPower) return nullptr;
    const auto mantissa = static_cast<double>(static_cast<std::int64_t>(number));
    const double size = exponent < 0 ? mantissa / kExactPowers[-exponent] : mantissa * kExactPowers[exponent];
    value = negative ? -size : size;
    return behind;
}

}  // namespace obs
