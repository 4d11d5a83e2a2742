// SPDX-License-Identifier: Apache-2.0
/// Fields of fixed-column cards as text. Numbers are rounded to the nearest unit, halves away from zero; a number
/// that does not fit its columns fills them with asterisks, which every reader refuses.
#pragma once

#include <array>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/Columns.h"

namespace obs {

/// A card that is being written into memory of the caller's, blank to begin with.
class CardWriter {
public:
    static constexpr std::size_t kCapacity = 128;  ///< characters needed; the longest card has 126 columns

    explicit CardWriter(char* text) : text_(text) { std::memset(text, ' ', kCapacity); }

    char* at(Columns columns) const { return text_ + columns.offset(); }

private:
    char* text_;
};

/// Counts the fields of asterisks that any thread writes: a card that is written meanwhile has none while it stays the
/// same, and need not be looked through.
extern std::atomic<std::uint32_t> gAsteriskFields;

void putAsterisks(char* out, unsigned width);

/// For a field that another library has filled: asterisks begin in its first column.
inline void noteAsterisks(const char* field) {
    if (*field == '*') gAsteriskFields.fetch_add(1, std::memory_order_relaxed);
}

// Where width and decimals are known beforehand, rounding and digits take no call and no loop.

inline constexpr std::int64_t kIntegerPowers[] = {1,      10,      100,      1000,      10000,
                                                  100000, 1000000, 10000000, 100000000, 1000000000};

/// The pairs "00" to "99".
inline constexpr auto kDigitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

/// The nearest integer to x = value x 10^exponent, halves upwards, for x from 0 to 2^40. One product or
/// quotient may be a rounding away from a half; there, and only there, the exact sign of the rest decides.
inline std::int64_t nearest(double value, int exponent) {
    constexpr double kCloseToHalf = 1e-3;  // above the rounding of a product below 2^40
    const double x = scaled(value, exponent);
    const auto whole = static_cast<std::int64_t>(x);
    const double rest = x - static_cast<double>(whole);
    if (std::fabs(rest - 0.5) > kCloseToHalf) return whole + (rest > 0.5);
    const double half = static_cast<double>(whole) + 0.5;
    const bool below = exponent < 0 ? std::fma(half, kPowersOfTen[-exponent], -value) > 0
                                    : std::fma(value, kPowersOfTen[exponent], -half) < 0;
    return whole + !below;
}

/// |value| x 10^decimals to the nearest integer; -1 when it is not below `limit` (or not a number). Limits up to 10^12.
inline std::int64_t roundedUnits(double value, int decimals, std::int64_t limit) {
    const double size = std::fabs(value);
    if (!(size < static_cast<double>(limit))) return -1;
    const std::int64_t units = nearest(size, decimals);
    return units < limit ? units : -1;
}

/// 0.digits x 10^exponent; the first digit is not 0, but for the number 0, which has the exponent 0.
struct SignificantDigits {
    std::int64_t digits = 0;
    int exponent = 0;
};

/// |value| rounded to that many digits, 1 to 8. Finite numbers only.
SignificantDigits significantDigits(double value, int digits);

/// The digits of a number from 0 on, zero-filled to `width`; asterisks when there are more or it is negative.
inline void putDigits(char* out, unsigned width, std::int64_t number) {
    if (number < 0 || number >= kIntegerPowers[width]) {
        putAsterisks(out, width);
        return;
    }
    auto rest = static_cast<std::uint32_t>(number);
    while (width >= 2) {
        width -= 2;
        std::memcpy(out + width, &kDigitPairs[std::size_t{2} * (rest % 100)], 2);
        rest /= 100;
    }
    if (width == 1) *out = static_cast<char>('0' + rest);
}

/// One digit, "*" for a number that has more or is negative.
char oneDigit(std::int32_t number);

/// The classification as a card shows it: "*" for a control character, which would end the line of a file.
char GetClassChar(char secClass);

/// The type character of a card: that of the sensor library, but "8" and "9" for types 18 and 19.
char GetTypeChar(std::int32_t type);

/// An azimuth in 7 columns, units of 10^-4 degrees without a point; a negative one has 360 added.
void GetAzimuthStr(char out[7], double degrees);

/// A right ascension in 7 columns, HHMMSSs.
void GetRightAscensionStr(char out[7], double degrees);

/// A field whose sign is in its first column (nInt integer digits, nDec decimals, as wide as both):
/// "J" to "R" for -1 to -9, "-" before fewer digits, "0" before fewer digits of a positive number.
void GetOverpunchStr(double value, int nInt, int nDec, char* out);

/// 7-digit mantissa and exponent digit, 8 columns. km.
void GetRangeStr(char out[8], double range);

/// A sensor position component in 9 columns: sign and 8 digits of metres, blank for 0. km.
void GetPosStr(char out[9], double value);

/// Fixed-point in `width` columns, right-aligned.
void putFixed(char* out, unsigned width, int decimals, double value);

}  // namespace obs
