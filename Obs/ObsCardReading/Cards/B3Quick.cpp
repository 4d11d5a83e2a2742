// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/B3Quick.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/ObsCardReading/Cards/PlainColumns.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

/// What a plain card of one type shows.
struct Plain {
    bool known = false;
    ColumnSet digits;  ///< columns that must be digits
    ColumnSet blanks;  ///< columns that must be blank
};

constexpr Plain plainCard(std::int32_t type) {
    Plain plain;
    plain.known = true;
    plain.digits.add(b3::kSenNum);
    plain.digits.add(b3::kDateTime);
    plain.blanks.add(b3::kMeasurements);
    ColumnSet signs;
    for (const b3::SignedField& field : b3::kSignedFields) {
        if (!field.carriedBy.has(type)) continue;
        plain.digits.add(withoutSign(field.columns));
        signs.add({field.columns.first, field.columns.first});
    }
    if (kAngleTypes.has(type)) plain.digits.add(b3::kAzimuth);
    if (b3::kRangeWrittenTypes.has(type)) plain.digits.add(b3::kRange);
    if (kSensorPositionTypes.has(type)) {
        for (const Columns& component : b3::kSensorPosition) {
            plain.digits.add(withoutSign(component));
            signs.add({component.first, component.first});
        }
        ColumnSet range;  // digits or blanks, looked at by itself
        range.add(b3::kRange);
        plain.blanks.remove(range);
    }
    plain.blanks.remove(plain.digits);
    plain.blanks.remove(signs);
    return plain;
}

constexpr std::array<Plain, 10> kPlainCards = [] {
    std::array<Plain, 10> cards{};
    for (std::size_t type = 0; type < cards.size(); ++type)
        if (b3::kWrittenTypes.has(static_cast<std::int32_t>(type)))
            cards[type] = plainCard(static_cast<std::int32_t>(type));
    return cards;
}();

/// Values of sign columns, 16 more when the character negates.
constexpr std::uint8_t kNegative = 16;
constexpr std::array<std::uint8_t, 256> kSignColumn = [] {
    std::array<std::uint8_t, 256> values = kDigitOrBlank;
    for (unsigned digit = 1; digit <= 9; ++digit)
        values['J' + digit - 1] = static_cast<std::uint8_t>(kNegative + digit);
    values['-'] = kNegative;
    values['+'] = 0;
    return values;
}();

/// The number behind a column for the sign. False for a surprise there.
template <Columns field>
bool signedDigitsAt(const char* card, double& number, std::uint8_t mostSign = kNegative + 9) {
    const std::uint8_t sign = lookUp(kSignColumn, card, field);
    constexpr double kLeading = kPowersOfTen[field.width() - 1];
    const double size = (sign & 15u) * kLeading + digitsAt<withoutSign(field)>(card);
    number = (sign & kNegative) != 0 ? -size : size;
    return sign <= mostSign;
}

/// All of a card that nearly every card has.
bool headAndTailAt(const char* card, const Shape& shape, CommonFields& to) {
    const unsigned equinox = lookUp(kDigitOrBlank, card, b3::kEquinoxInd);
    const unsigned indicator1 = lookUp(kDigitOrBlank, card, b3::kIndicator1);
    const unsigned indicator2 = lookUp(kDigitOrBlank, card, b3::kIndicator2);
    to.equinoxInd = static_cast<std::int32_t>(equinox);
    to.indicator1 = static_cast<std::int32_t>(indicator1);
    to.indicator2 = static_cast<std::int32_t>(indicator2);
    to.senNum = static_cast<std::int32_t>(digitsAt<b3::kSenNum>(card));
    return std::max({equinox, indicator1, indicator2}) != kSurprise && satNumAt<b3::kSatNum>(card, shape, to.satNum) &&
           satNumAt<b3::kAltSatNum1>(card, shape, to.altSatNum1) &&
           satNumAt<b3::kAltSatNum2>(card, shape, to.altSatNum2);
}

/// NOTE: by the formula of `family::dtgtods50`, so that both give the same bits.
bool timeAt(const char* card, CommonFields& to, double& dayOfYear) {
    static_assert(b3::kDateTime.width() == 14);
    std::uint64_t front = 0, back = 0;  // YYDDDHHM, HMMSSsss
    std::memcpy(&front, card + b3::kDateTime.offset(), sizeof front);
    std::memcpy(&back, card + b3::kDateTime.last - kDigitRun, sizeof back);
    constexpr std::uint64_t kValues = 0x0F0F0F0F0F0F0F0Fu;
    front &= kValues;
    back &= kValues;
    const std::uint64_t frontPairs = front * 10 + (front >> 8);  // byte k: the number of digits k and k + 1
    const std::uint64_t backPairs = back * 10 + (back >> 8);
    const auto byteOf = [](std::uint64_t word, int k) { return static_cast<std::uint32_t>(word >> (8 * k)) & 0xff; };
    const family::TwoDigitYear year = family::twoDigitYear(byteOf(frontPairs, 0));
    const std::uint32_t day = 100 * byteOf(front, 2) + byteOf(frontPairs, 3);
    const std::uint32_t hour = byteOf(frontPairs, 5), minute = byteOf(backPairs, 1), second = byteOf(backPairs, 3);
    const std::uint32_t millis = 100 * byteOf(back, 5) + byteOf(backPairs, 6);
    if (day - 1 >= year.days || hour > 23 || minute > 59 || second > 59) return false;
    to.obsTime = family::timeOf(year.base + static_cast<std::int32_t>(day), hour, minute,
                                static_cast<double>(second * 1000 + millis) / 1000.0);
    dayOfYear = to.obsTime - year.base;
    return true;
}

/// A signed field, where the type carries it; else the common ones are 0.
template <std::int32_t type, std::size_t i>
bool signedFieldAt(const char* card, CommonFields& to, RareFields& rare) {
    constexpr const b3::SignedField& kField = b3::kSignedFields[i];
    constexpr bool kIsRare = kField.carriedBy.bits() == kRateTypes.bits();
    double number = 0;
    bool isGood = true;
    if constexpr (kField.carriedBy.has(type)) {
        isGood = signedDigitsAt<kField.columns>(card, number);
        number = scaled(number, -kField.decimals);
    }
    if constexpr (!kIsRare) to.*static_cast<double CommonFields::*>(kField.value) = number;
    else if constexpr (kField.carriedBy.has(type)) rare.*static_cast<double RareFields::*>(kField.value) = number;
    return isGood;
}

template <std::int32_t type>
double azimuthAt(const char* card) {
    if constexpr (ObsHasAzEl(type)) return scaled(digitsAt<b3::kAzimuth>(card), -b3::kAzimuthDecimals);
    if constexpr (!ObsHasRaDec(type)) return 0;
    const std::uint32_t all = digitsAt<b3::kAzimuth>(card);
    return rightAscensionDegrees(all / 100000, all / 1000 % 100, all % 1000 / 10.0);
}

template <std::size_t... i>
bool sensorPositionAt(const char* card, RareFields& rare, std::index_sequence<i...>) {
    constexpr std::uint8_t kMinusAlone = kNegative;  // letters are not signs here
    const bool isGood = (signedDigitsAt<b3::kSensorPosition[i]>(card, rare.senPos[i], kMinusAlone) && ...);
    for (double& component : rare.senPos) component = scaled(component, -b3::kSensorPositionDecimals);
    return isGood;
}

double rangeAt(const char* card) {
    const int exponent = card[b3::kRangeExponent.offset()] - '0';
    return scaled(digitsAt<b3::kRangeMantissa>(card), exponent - b3::kRangeExponentBias);
}

/// Whether the range columns hold digits, or blanks where those may be; if so, the range.
template <std::int32_t type>
bool readRange(const char* card, const Shape& shape, double& range) {
    range = 0;
    if constexpr (b3::kRangeReadTypes.has(type)) {
        constexpr ColumnSet kRange = setOf(b3::kRange);
        if (!shape.notBlank.meets(kRange)) return true;
        if (shape.notDigit.meets(kRange)) return false;
        range = rangeAt(card);
    }
    return true;
}

/// A card whose columns are digits and blanks where its type has them. Each type has its own, in which what it carries
/// is known beforehand.
template <std::int32_t type>
bool readPlain(const char* card, const Shape& shape, CommonFields& to, RareFields& rare, double& dayOfYear) {
    if constexpr (kTypesWithRareFields.has(type)) rare = {};
    to.azOrRa = azimuthAt<type>(card);
    bool isGood = readRange<type>(card, shape, to.range);
    to.obsType = typeWithRange(type, to.range);
    [&]<std::size_t... i>(std::index_sequence<i...>) {
        isGood = (isGood && ... && signedFieldAt<type, i>(card, to, rare));
    }
    (std::make_index_sequence<b3::kSignedFields.size()>());
    if constexpr (kSensorPositionTypes.has(type))
        isGood = isGood && sensorPositionAt(card, rare, std::make_index_sequence<b3::kSensorPosition.size()>());
    return isGood && headAndTailAt(card, shape, to) && timeAt(card, to, dayOfYear);
}

using PlainReader = bool (*)(const char*, const Shape&, CommonFields&, RareFields&, double&);
constexpr auto kPlainReaders = []<std::int32_t... type>(std::integer_sequence<std::int32_t, type...>) {
    return std::array<PlainReader, sizeof...(type)>{&readPlain<type>...};
}
(std::make_integer_sequence<std::int32_t, kPlainCards.size()>());

/// Of 90 columns.
bool readPlainCard(const char* card, CommonFields& to, RareFields& rare, double& dayOfYear) {
    if constexpr (!kHasPlainColumns) return false;
    const auto type = static_cast<std::uint32_t>(card[b3::kObsType.offset()] - '0');
    if (type >= kPlainCards.size() || !kPlainCards[type].known) return false;
    const Shape shape = shapeOf<b3::kCardColumns>(card);
    if (shape.notDigit.meets(kPlainCards[type].digits) || shape.notBlank.meets(kPlainCards[type].blanks)) return false;
    return kPlainReaders[type](card, shape, to, rare, dayOfYear);
}

}  // namespace

bool readPlainB3(std::string_view line, CommonFields& to, RareFields& rare, double& dayOfYear) {
    if (line.size() >= b3::kCardColumns) return readPlainCard(line.data(), to, rare, dayOfYear);
    if (line.size() < b3::kObsType.last) return false;
    char padded[b3::kCardColumns];
    std::memset(padded, ' ', sizeof padded);
    std::memcpy(padded, line.data(), line.size());
    return readPlainCard(padded, to, rare, dayOfYear);
}

}  // namespace obs
