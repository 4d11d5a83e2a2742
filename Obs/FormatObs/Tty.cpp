// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Tty.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "Obs/CardLayouts/Tty.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

void putHead(const ObsRecord& rec, const CardWriter& card1) {
    tty::kMark.copy(card1.at({1, 2}), tty::kMark.size());
    *card1.at(tty::kSecClass) = GetClassChar(rec.secClass);
    *card1.at(tty::kIndicator1) = oneDigit(rec.indicator1);
    *card1.at(tty::kObsType) = GetTypeChar(rec.obsType);
    // NOTE: the thousands of a sensor number are not dropped as on a B3 card: a number over 999 is asterisks.
    putDigits(card1.at(tty::kSenNum), tty::kSenNum.width(), rec.senNum);
    family::numtoalpha5(rec.satNum, card1.at(tty::kSatNum));
    noteAsterisks(card1.at(tty::kSatNum));
}

/// The date text less its year.
void putTime(double timeDs50, char* out) {
    constexpr std::size_t kYear = 2;
    char text[kYear + tty::kTimeOnCard1.width()];
    family::ds50todate14(timeDs50, text);
    noteAsterisks(text);
    std::memcpy(out, text + kYear, tty::kTimeOnCard1.width());
}

char signOf(double value) { return value < 0 ? '1' : '0'; }

[[gnu::always_inline]] inline void putSigned(char* out, Columns columns, int decimals, double value) {
    const unsigned digits = columns.width() - 1;
    out[0] = signOf(value);
    putDigits(out + 1, digits, roundedUnits(value, decimals, kIntegerPowers[digits]));
}

/// Mantissa digits and an exponent digit. A range that needs no exponent is rounded a second time, from its
/// significant digits to units of 10^-5 km.
void putRange(char* out, Columns columns, double range) {
    constexpr double kLeast = 1e-5;
    constexpr int kLargestExponent = 5;
    const auto digits = static_cast<int>(columns.width()) - 1;
    const std::int64_t most = kIntegerPowers[digits] - 1;
    SignificantDigits mantissa{0, 0};
    int exponent = 0;
    if (std::isnan(range)) {
        putAsterisks(out, columns.width());
        return;
    }
    if (range > static_cast<double>(most)) {
        mantissa.digits = most;
        exponent = kLargestExponent;
    } else if (range >= kLeast) {
        mantissa = significantDigits(range, digits);
        exponent = mantissa.exponent - (digits - tty::kRangeExponentBias);
        if (exponent < 0) {
            mantissa.digits = (mantissa.digits + kIntegerPowers[-exponent] / 2) / kIntegerPowers[-exponent];
            exponent = 0;
        }
    }
    putDigits(out, columns.width() - 1, mantissa.digits);
    out[digits] = static_cast<char>('0' + exponent);
}

/// NOTE: of the exponent only the last digit is written, so the sign of a negative one is lost; the 3 that makes
/// km metres is added to the character, so exponents of 7 to 9 give ":", ";" and "<". Receivers of these cards
/// rely on exactly this text.
void putVectorComponent(char* out, Columns columns, double value) {
    constexpr int kMetresPerKmExponent = 3;
    const unsigned digits = columns.width() - 2;
    out[0] = signOf(value);
    if (!std::isfinite(value)) {
        putAsterisks(out + 1, digits + 1);
        return;
    }
    const SignificantDigits number = significantDigits(value, static_cast<int>(digits));
    putDigits(out + 1, digits, number.digits);
    out[1 + digits] = static_cast<char>('0' + std::abs(number.exponent) % 10 + kMetresPerKmExponent);
}

/// A whole number of units, right-aligned.
void putSatPosComponent(char* out, Columns columns, double km) {
    constexpr std::int64_t kLimit = 1'000'000'000'000;
    char text[16] = {'-'};
    const std::int64_t units = roundedUnits(km, tty::kSatPosDecimals, kLimit);
    const bool negative = km < 0 && units > 0;
    const char* end = std::to_chars(text + 1, text + sizeof text, units).ptr;
    const char* start = negative ? text : text + 1;
    const auto length = static_cast<std::size_t>(end - start);
    if (units < 0 || length > columns.width()) putAsterisks(out, columns.width());
    else std::memcpy(out + columns.width() - length, start, length);
}

template <const auto& table, std::size_t i, std::int32_t type>
void putIfCarried(const ObsRecord& rec, const CardWriter& card) {
    constexpr const tty::Measurement& field = table[i];
    constexpr bool kIsWritten = field.coding != tty::Coding::kRange || tty::kRangeWrittenTypes.has(type);
    if constexpr (field.carriedBy.has(type) && kIsWritten) {
        char* const out = card.at(field.columns);
        const double value = rec.*field.value;
        switch (field.coding) {
            case tty::Coding::kSigned: return putSigned(out, field.columns, field.decimals, value);
            case tty::Coding::kAzimuth:
            case tty::Coding::kAzimuthOnCard2: return GetAzimuthStr(out, value);
            case tty::Coding::kRightAscension: return GetRightAscensionStr(out, value);
            case tty::Coding::kRange: return putRange(out, field.columns, value);
        }
    }
}

template <const auto& table, std::int32_t type>
void putMeasurements(const ObsRecord& rec, const CardWriter& card) {
    [&]<std::size_t... i>(std::index_sequence<i...>) { (putIfCarried<table, i, type>(rec, card), ...); }
    (std::make_index_sequence<table.size()>());
}

/// Gives the columns that the card has then.
template <const auto& table>
std::size_t putEndMark(std::int32_t type, const CardWriter& card) {
    for (const tty::EndMarkColumns& mark : table) {
        if (!mark.carriedBy.has(type)) continue;
        tty::kEndMark.copy(card.at(mark.columns), tty::kEndMark.size());
        return mark.columns.last;
    }
    return tty::kCardColumns;
}

template <std::int32_t type>
std::size_t putCard1Values(const ObsRecord& rec, const CardWriter& card1) {
    putMeasurements<tty::kOnCard1, type>(rec, card1);
    if (ObsHasRaDec(type)) *card1.at(tty::kEquinoxIndOnCard1) = tty::kEquinoxOfDate;
    if (tty::kSatPosTypes.has(type))
        for (std::size_t i = 0; i < 3; ++i)
            putSatPosComponent(card1.at(tty::kSatPosOnCard1[i]), tty::kSatPosOnCard1[i], rec.satPos[i]);
    return putEndMark<tty::kEndMarksOnCard1>(type, card1);
}

template <std::int32_t type>
std::size_t putCard2Values(const ObsRecord& rec, const CardWriter& card2) {
    putMeasurements<tty::kOnCard2, type>(rec, card2);
    if (ObsHasRaDec(type)) *card2.at(tty::kEquinoxIndOnCard2) = oneDigit(rec.equinoxInd);
    for (const tty::Vector& vector : tty::kVectorsOnCard2)
        if (vector.carriedBy.has(type))
            for (std::size_t i = 0; i < 3; ++i)
                putVectorComponent(card2.at(vector.columns[i]), vector.columns[i], (rec.*vector.value)[i]);
    return putEndMark<tty::kEndMarksOnCard2>(type, card2);
}

template <std::int32_t type>
void putMessage(const ObsRecord& rec, CardLines& lines) {
    const CardWriter first(lines.text[0]), second(lines.text[1]);
    putHead(rec, first);
    if constexpr (tty::kTimeOnCard1WrittenTypes.has(type)) {
        putTime(rec.obsTime, first.at(tty::kTimeOnCard1));
        lines.length = {putCard1Values<type>(rec, first), 0};
    } else {
        putTime(rec.obsTime, second.at(tty::kTimeOnCard2));
        lines.length = {tty::kCardColumns, putCard2Values<type>(rec, second)};
    }
}

Fineness finenessOf(const tty::Measurement& field) {
    switch (field.coding) {
        case tty::Coding::kRightAscension: return toUnit(unitOf(field.decimals) * kDegreesPerRaSecond);
        case tty::Coding::kRange: return {unitOf(tty::kRangeExponentBias), static_cast<int>(field.columns.width()) - 1};
        default: return toUnit(unitOf(field.decimals));
    }
}

}  // namespace

MaybeRefusal CreateTTYObs(const ObsRecord& rec, CardLines& lines) {
    // Each type has its own walk through the tables, in which what it carries is known beforehand.
    static constexpr std::int32_t kOther = 20;
    static constexpr auto kWriters = []<std::int32_t... type>(std::integer_sequence<std::int32_t, type...>) {
        return std::array<void (*)(const ObsRecord&, CardLines&), sizeof...(type)>{&putMessage<type>...};
    }
    (std::make_integer_sequence<std::int32_t, kOther + 1>());
    kWriters[std::min(static_cast<std::uint32_t>(rec.obsType), std::uint32_t{kOther})](rec, lines);
    return std::nullopt;
}

void finenessOfTty(Elements& elements) {
    elements.putAsTheyAre<&ObsFields::secClass, &ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsType,
                          &ObsFields::indicator1>();
    elements.put<&ObsFields::obsTime>(toUnit(unitOf(tty::kSecondsDecimals) / kSecondsOfDay));
    elements.put<&ObsFields::equinoxInd>(toUnit(0), kRaDecTypes);
    const auto putValues = [&](const auto& table) {
        for (const tty::Measurement& field : table)
            if (field.coding != tty::Coding::kRange) elements.putReal(field.value, finenessOf(field), field.carriedBy);
            else elements.putReal(field.value, finenessOf(field), field.carriedBy & tty::kRangeWrittenTypes);
    };
    putValues(tty::kOnCard1);
    putValues(tty::kOnCard2);
    for (const tty::Vector& vector : tty::kVectorsOnCard2) {
        const Fineness fineness = toDigits(static_cast<int>(vector.columns[0].width()) - 2);
        if (vector.value == &ObsRecord::senPos) elements.put<&ObsFields::senPos>(fineness, vector.carriedBy);
        else elements.put<&ObsFields::senVel>(fineness, vector.carriedBy);
    }
}

}  // namespace obs
