// SPDX-License-Identifier: Apache-2.0
/// Real numbers as nearly all lines have them: few enough digits that one division gives the nearest double.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
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

/// As `takePlainReal`, for a number without sign and exponent that eight characters hold; null for any other.
inline const char* takeShortReal(const char* at, double& value) {
    if constexpr (std::endian::native != std::endian::little) return nullptr;
    std::uint64_t values = 0;
    std::memcpy(&values, at, sizeof values);
    values ^= kZeroDigits;
    constexpr std::uint64_t kTopBits = 0x8080808080808080u;
    const std::uint64_t others = (((values & ~kTopBits) + 0x7676767676767676u) | values) & kTopBits;
    if (others == 0) return nullptr;
    const auto whole = static_cast<unsigned>(std::countr_zero(others)) / 8;
    const bool hasPoint = at[whole] == '.';
    const std::uint64_t afterPoint = others & (others - 1);
    const unsigned size = !hasPoint         ? whole
                          : afterPoint == 0 ? kDigitRun
                                            : static_cast<unsigned>(std::countr_zero(afterPoint)) / 8;
    const unsigned count = size - hasPoint;
    if (count == 0 || isDigit(at[size]) || (at[size] | 0x20) == 'e') return nullptr;
    // The digits after the point move up to those before it.
    const std::uint64_t before = (std::uint64_t{1} << 8 * whole) - 1;
    if (hasPoint) values = (values & before) | (values >> 8 & ~before);
    value = numberOfDigits(values << 8 * (kDigitRun - count)) / kExactPowers[count - whole];
    return at + size;
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
    if (const char* const behind = takeShortReal(at, value)) {
        value = negative ? -value : value;
        return behind;
    }
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
