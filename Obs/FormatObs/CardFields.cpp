// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/CardFields.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/FormatObs/Named.h"
#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// Mantissa digits and an exponent digit: mantissa x 10^(exponent - 5) km. Ranges that need no
/// exponent count units of 10^-5 km.
void putRange(char* out, double range, unsigned digits) {
    constexpr double kLeast = 1e-5;
    const auto width = static_cast<int>(digits);
    const double most = static_cast<double>(kIntegerPowers[width] - 1);
    if (std::isnan(range)) {
        putAsterisks(out, digits + 1);
    } else if (range < kLeast) {
        std::memset(out, '0', digits + 1);
    } else if (range > most) {
        std::memset(out, '9', digits);
        out[digits] = '5';
    } else {
        int exponent = 1;  // range = 0.ddddddd x 10^exponent
        while (range >= kPowersOfTen[exponent]) ++exponent;
        std::int64_t mantissa = nearest(range, width - exponent);
        if (mantissa == kIntegerPowers[width]) {
            mantissa /= 10;
            ++exponent;
        }
        const int noExponent = width - 5;
        if (exponent <= noExponent) mantissa = nearest(range, 5);
        putDigits(out, digits, mantissa);
        out[digits] = static_cast<char>('0' + (exponent <= noExponent ? 0 : exponent - noExponent));
    }
}

/// As `significantDigits`, for numbers whose power of ten the table of exact ones does not reach.
SignificantDigits significantDigitsOfText(double size, int digits) {
    constexpr int kWritten = 30;  // enough that only a true half shows as one
    char text[kWritten + 8];      // a point, "e", sign and three digits
    const auto end = std::to_chars(text, text + sizeof text, size, std::chars_format::scientific, kWritten - 1).ptr;
    std::swap(text[0], text[1]);  // the point first, as 0.ddd has it
    SignificantDigits result;
    for (int i = 1; i <= digits; ++i) result.digits = 10 * result.digits + (text[i] - '0');
    result.digits += text[digits + 1] >= '5';
    const char* exponent = text + kWritten + 2;
    std::from_chars(exponent + (*exponent == '+'), end, result.exponent);
    ++result.exponent;
    return result;
}

}  // namespace

std::atomic<std::uint32_t> gAsteriskFields{0};

void putAsterisks(char* out, unsigned width) {
    std::memset(out, '*', width);
    noteAsterisks(out);
}

SignificantDigits significantDigits(double value, int digits) {
    constexpr int kMinExponent = -2, kMaxExponent = 11;
    constexpr double kLeast = 1e-3;
    const double size = std::fabs(value);
    if (size == 0) return {};
    SignificantDigits result{0, size < 1 ? kMinExponent : 0};
    if (size >= kLeast && size < kPowersOfTen[kMaxExponent]) {
        while (size >= scaled(1, result.exponent)) ++result.exponent;
        result.digits = nearest(size, digits - result.exponent);
    } else {
        result = significantDigitsOfText(size, digits);
    }
    if (result.digits == kIntegerPowers[digits]) {
        result.digits /= 10;
        ++result.exponent;
    }
    return result;
}

char oneDigit(std::int32_t number) {
    if (number >= 0 && number <= 9) return static_cast<char>('0' + number);
    char asterisk = 0;
    putAsterisks(&asterisk, 1);
    return asterisk;
}

char GetClassChar(char secClass) {
    const bool printable = static_cast<unsigned char>(secClass) >= ' ' && secClass != 0x7f;
    return printable ? secClass : '*';
}

char GetTypeChar(std::int32_t type) {
    if (type == kTypeSpaceAzElRange) return '8';
    if (type == kTypeSpaceRaDecRange) return '9';
    return family::obstypeinttochar(type);
}

namespace {

/// Whether a value lies exactly between two numbers of that many decimals: its own last decimal is then a 5 one place
/// further. No such value has more digits than are looked at.
bool isHalfway(double value, int decimals) {
    constexpr int kDigitsOfHalves = 110;
    char digits[512];
    if (!std::isfinite(value)) return false;
    const char* const end =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, kDigitsOfHalves).ptr;
    const char* const half = end - kDigitsOfHalves + decimals;
    return *half == '5' && std::all_of(half + 1, end, [](char digit) { return digit == '0'; });
}

}  // namespace

void GetAzimuthStr(char out[7], double degrees) {
    constexpr unsigned kWidth = 7;
    const double azimuth = eastwardsDeg(degrees);
    putDigits(out, kWidth, azimuth < 0 ? -1 : roundedUnits(azimuth, 4, kIntegerPowers[kWidth]));
}

void GetRightAscensionStr(char out[7], double degrees) {
    family::degtohhmmsss_str(degrees, out);
    noteAsterisks(out);
}

void GetOverpunchStr(double value, int nInt, int nDec, char* out) {
    const auto width = static_cast<unsigned>(nInt + nDec);
    const std::int64_t units = roundedUnits(value, nDec, kIntegerPowers[width]);
    putDigits(out, width, units);
    if (units < 0 || !std::signbit(value)) return;
    const std::int64_t leading = units / kIntegerPowers[width - 1];
    // NOTE: a field with one integer digit gives a zero there up for the sign; a wider one has a blank to give.
    *out = leading == 0 ? '-' : static_cast<char>('J' + leading - 1);
}

void GetRangeStr(char out[8], double range) { putRange(out, range, 7); }

void GetRangeStrType6(char out[9], double range) { putRange(out, range, 8); }

void GetPosStr(char out[9], double value) {
    constexpr unsigned kDigits = 8;
    if (value == 0) {
        std::memset(out, ' ', kDigits + 1);
        return;
    }
    const std::int64_t metres = roundedUnits(value, 3, kIntegerPowers[kDigits]);
    out[0] = metres < 0 ? '*' : value < 0 ? '-' : '+';
    putDigits(out + 1, kDigits, metres);
}

void putFixed(char* out, unsigned width, int decimals, double value) {
    char text[352];  // the largest double has 309 integer digits
    // NOTE: std::to_chars takes a value half-way between two texts to the even one.
    if (isHalfway(value, decimals)) value = std::nextafter(value, value < 0 ? -HUGE_VAL : HUGE_VAL);
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals).ptr;
    const auto length = static_cast<std::size_t>(end - text);
    if (length > width || !std::isfinite(value)) {
        putAsterisks(out, width);
        return;
    }
    std::memset(out, ' ', width);
    std::memcpy(out + width - length, text, length);
}

}  // namespace obs
