// SPDX-License-Identifier: Apache-2.0
/// Fields of fixed-column cards as text. Numbers are rounded to the nearest unit, halves away from zero; a number
/// that does not fit its columns fills them with asterisks, which every reader refuses.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

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

/// |value| x 10^decimals to the nearest integer; -1 when it is not below `limit` (or not a number). Limits up to 10^12.
std::int64_t roundedUnits(double value, int decimals, std::int64_t limit);

/// 0.digits x 10^exponent; the first digit is not 0, but for the number 0, which has the exponent 0.
struct SignificantDigits {
    std::int64_t digits = 0;
    int exponent = 0;
};

/// |value| rounded to that many digits, 1 to 8. Finite numbers only.
SignificantDigits significantDigits(double value, int digits);

/// The digits of a number from 0 on, zero-filled to `width`; asterisks when there are more or it is negative.
void putDigits(char* out, unsigned width, std::int64_t number);

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
