// SPDX-License-Identifier: Apache-2.0
/// Numbers in fixed columns. Blanks inside a field are ignored and a blank field is 0; each function
/// returns false for anything else that is not what its field may hold, and then leaves its result alone.
#pragma once

#include <cstdint>
#include <string_view>

namespace obs {

/// An integer field: one sign before the digits is allowed, a sign alone is not. At most 18 digits.
bool readInteger(std::string_view field, std::int64_t& value);

/// A field of digits (and blanks) only.
bool readDigits(std::string_view field, std::int32_t& value);

/// A field whose first column carries the sign: "J" to "R" are -1 to -9, "-" negates, a digit, "+" or blank is
/// positive. There is deliberately no letter for a negative leading zero ("-" stands for it) and none for
/// positive values. Gives the number unscaled.
bool readSigned(std::string_view field, double& value);

/// Seven columns HHMMSSs in degrees. Seconds, minutes and hours carry upwards, so that 60 minutes are an hour
/// and 24 hours are none.
bool readRightAscension(std::string_view field, double& degrees);

/// Carries seconds into minutes, minutes into hours, hours modulo 24, each keeping its own sign.
double rightAscensionDegrees(double hours, double minutes, double seconds);

/// Powers of ten that a double holds exactly.
inline constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11};

/// value x 10^exponent with one rounding: division by a power of ten, never multiplication by a tenth.
constexpr double scaled(double value, int exponent) {
    return exponent < 0 ? value / kPowersOfTen[-exponent] : value * kPowersOfTen[exponent];
}

}  // namespace obs
