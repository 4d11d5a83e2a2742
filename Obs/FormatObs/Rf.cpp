// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Rf.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "Obs/FormatObs/CardFields.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

using rf::Item;

constexpr std::int32_t kNoRfPart = 2;

/// The columns of one item in the line that is being written.
struct ItemText {
    char* text;
    unsigned width;

    ItemText(char* line, Item item) : text(line + rf::columnsOf(item).offset()), width(rf::columnsOf(item).width()) {}
    void putAsterisks() const { std::memset(text, '*', width); }
    void putRight(const char* from, const char* to) const {
        const auto length = static_cast<std::size_t>(to - from);
        if (length > width) putAsterisks();
        else std::memcpy(text + width - length, from, length);
    }
};

/// A control character would break the line.
char printable(char c) { return static_cast<unsigned char>(c) >= ' ' && c != 0x7f ? c : '*'; }

// --- Numbers ----------------------------------------------------------------------------

void putInteger(ItemText field, std::int64_t number) {
    char digits[24];
    field.putRight(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

/// NOTE: towards zero, although delay 1 has a decimal; the columns of delay 2 are an integer by definition.
void putTruncated(ItemText field, double value) {
    constexpr double kBeyondColumns = 1e6;
    if (std::fabs(value) < kBeyondColumns) putInteger(field, static_cast<std::int64_t>(value));
    else field.putAsterisks();
}

/// Fixed-point, at most nine digits. A leading zero gives way where there is no room for it: "-.5".
void putFixedPoint(ItemText field, int decimals, double value) {
    constexpr std::int64_t kLimit = 1'000'000'000;
    std::int64_t units = roundedUnits(value, decimals, kLimit);
    if (units < 0) return field.putAsterisks();
    const bool negative = value < 0 && units > 0;
    char text[16];
    char* const end = text + sizeof text;
    char* at = end;
    for (int i = 0; i < decimals; ++i, units /= 10) *--at = static_cast<char>('0' + units % 10);
    *--at = '.';
    const auto room = static_cast<std::ptrdiff_t>(field.width) - negative;
    if (units > 0 || end - at < room) {
        do *--at = static_cast<char>('0' + units % 10);
        while ((units /= 10) > 0);
    }
    if (negative) *--at = '-';
    field.putRight(at, end);
}

/// Powers of ten from 1e-7; those from 1 up are exact.
constexpr double kPowers[] = {1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1, 1e0,  1e1,  1e2,  1e3,  1e4,  1e5, 1e6,
                              1e7,  1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19};
constexpr double powerOfTen(int exponent) { return kPowers[exponent + 7]; }
constexpr double kLeastPlain = powerOfTen(-7);
constexpr double kBeyondPlain = powerOfTen(18);

/// The power of ten at or below a plain size.
int decimalExponent(double size) {
    constexpr double kLog10Of2 = 0.30103;
    const auto exponent = static_cast<int>(std::floor(std::ilogb(size) * kLog10Of2));
    return size >= powerOfTen(exponent + 1) ? exponent + 1 : exponent;
}

/// size x 10^scale, below 2^44, to the nearest integer, halves upwards. One product or quotient is off by less than
/// 2^-9; where that could decide, the exact sign of the rest does.
std::int64_t nearestMantissa(double size, int scale) {
    constexpr double kCloseToHalf = 1e-2;
    const double power = powerOfTen(std::abs(scale));
    const double x = scale < 0 ? size / power : size * power;
    const auto whole = static_cast<std::int64_t>(x);
    const double rest = x - static_cast<double>(whole);
    if (std::fabs(rest - 0.5) > kCloseToHalf) return whole + (rest > 0.5);
    const double half = static_cast<double>(whole) + 0.5;
    const bool below = scale < 0 ? std::fma(half, power, -size) > 0 : std::fma(size, power, -half) < 0;
    return whole + !below;
}

/// Sign or blank, digit, point, decimals and a two-digit exponent, which fill the field exactly.
void putMantissaAndExponent(char* out, int decimals, bool negative, std::int64_t mantissa, int exponent) {
    constexpr std::int64_t kLowDigits = 1'000'000;
    const auto lowest = static_cast<std::int64_t>(powerOfTen(decimals));
    const auto width = static_cast<unsigned>(decimals);
    out[0] = negative ? '-' : ' ';
    putDigits(out + 1, 1, mantissa / lowest);
    out[2] = '.';
    putDigits(out + 3, width - 6, mantissa % lowest / kLowDigits);
    putDigits(out + 3 + width - 6, 6, mantissa % kLowDigits);
    out[3 + width] = 'E';
    out[4 + width] = exponent < 0 ? '-' : '+';
    putDigits(out + 5 + width, 2, std::abs(exponent));
}

/// Sizes that no measurement has. None of them can lie on a half: outside the plain ones a double has too few
/// or too many decimals to end in that digit.
void putUnusual(ItemText field, int decimals, double value) {
    if (!std::isfinite(value)) return field.putAsterisks();
    char text[32];
    char* const end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, decimals).ptr;
    for (char* c = text; c != end; ++c) *c = upperCase(*c);
    field.putRight(text, end);
}

void putScientific(ItemText field, int decimals, double value) {
    const double size = std::fabs(value);
    if (size == 0) return putMantissaAndExponent(field.text, decimals, false, 0, 0);
    if (!(size >= kLeastPlain && size < kBeyondPlain)) return putUnusual(field, decimals, value);
    int exponent = decimalExponent(size);
    std::int64_t mantissa = nearestMantissa(size, decimals - exponent);
    if (mantissa == static_cast<std::int64_t>(powerOfTen(decimals + 1))) {
        mantissa /= 10;
        ++exponent;
    }
    putMantissaAndExponent(field.text, decimals, value < 0, mantissa, exponent);
}

// --- Line -------------------------------------------------------------------------------

/// NOTE: both columns name the sensor of the observation itself. The number of the first site that the record
/// keeps is not written, so a line that is read back has the second site twice.
void putSites(char* line, const family::SensorData& sensor) {
    for (const Item item : {Item::site1, Item::site2}) {
        const ItemText field(line, item);
        for (unsigned i = 0; i < field.width; ++i) field.text[i] = printable(sensor.description[i]);
    }
}

void putMeasurements(char* line, const ObsRecord& rec, const RfObsData& data) {
    putScientific({line, Item::rangeM}, rf::kMeasurementDecimals, rec.range * 1000.0);
    putScientific({line, Item::rangeSigmaM}, rf::kSigmaDecimals, data.rangeSigmaM);
    putScientific({line, Item::rangeRateMs}, rf::kMeasurementDecimals, rec.rangeRate * 1000.0);
    putScientific({line, Item::rangeRateSigmaMs}, rf::kSigmaDecimals, data.rangeRateSigmaMs);
}

void putRest(char* line, const ObsRecord& rec, const RfObsData& data) {
    putFixedPoint({line, Item::delay1}, rf::kDelay1Decimals, data.delay1);
    putTruncated({line, Item::delay2}, data.delay2);
    const ItemText satNum(line, Item::satNum);
    putDigits(satNum.text, satNum.width, rec.satNum);
    putInteger({line, Item::rf}, data.rf);
    formatrftime(data.processTime, ItemText(line, Item::processTime).text);
    putFixedPoint({line, Item::snr}, rf::kSnrDecimals, data.snr);
    *ItemText(line, Item::flag1).text = printable(data.flags[0]);
    *ItemText(line, Item::flag2).text = printable(data.flags[1]);
    *ItemText(line, Item::reserved).text = printable(data.flags[2]);
}

}  // namespace

void formatrftime(double ds50, char text[rf::kTimeLength]) {
    std::int32_t year = 0, dayOfYear = 0, hour = 0, minute = 0, month = 0, day = 0;
    double seconds = 0;
    family::dyklok(ds50, rf::kFractionDecimals, year, dayOfYear, hour, minute, seconds);
    if (year == 0) {
        std::memset(text, '*', rf::kTimeLength);
        return;
    }
    family::jul2mmdd(year, dayOfYear, month, day);
    constexpr std::int64_t kMicrosPerSecond = 1'000'000;
    const auto micros = std::llround(seconds * kMicrosPerSecond);
    const auto put = [&](Columns columns, std::int64_t number) {
        putDigits(text + columns.offset(), columns.width(), number);
    };
    std::memcpy(text, "    :  :  ::  :  :  .       ", rf::kTimeLength);
    put(rf::kYear, year);
    put(rf::kMonth, month);
    put(rf::kDay, day);
    put(rf::kHour, hour);
    put(rf::kMinute, minute);
    put(rf::kSecond, micros / kMicrosPerSecond);
    putDigits(text + rf::kFraction.offset() + 1, rf::kFractionDecimals, micros % kMicrosPerSecond);
}

MaybeRefusal CreateRFObs(const ObsRecord& rec, CardLines& lines) {
    char* const line = lines.text[0];
    std::memset(line, ' ', rf::kLineColumns);
    lines.length = {};
    family::SensorData sensor;
    // NOTE: not logged here: the sensor library has named the sensor, and that a file of RF lines holds nothing else
    // needs no word.
    if (const std::int32_t error = family::getsendata(rec.senNum, sensor); error != 0)
        return Refusal{"CreateRFObs: The sensor is not known.", {}, 0, {}, error, false};
    if (!rec.rfData) return Refusal{"CreateRFObs: RF obs type not allocated", {}, 0, {}, kNoRfPart, false};
    formatrftime(rec.obsTime, ItemText(line, Item::date).text);
    putMeasurements(line, rec, *rec.rfData);
    putSites(line, sensor);
    putRest(line, rec, *rec.rfData);
    lines.length[0] = rf::kLineColumns;
    return std::nullopt;
}

void finenessOfRf(Elements& elements) {
    constexpr int kDigits = rf::kMeasurementDecimals + 1;
    elements.putAsTheyAre<&ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsType>();
    elements.put<&ObsFields::obsTime>(toUnit(unitOf(rf::kFractionDecimals) / kSecondsOfDay));
    elements.put<&ObsFields::range>(toDigits(kDigits));
    elements.put<&ObsFields::rangeRate>(toDigits(kDigits));
}

}  // namespace obs
