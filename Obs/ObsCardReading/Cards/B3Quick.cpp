// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/B3Quick.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/DigitRuns.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace obs {

#if !defined(__SSE2__)

bool readB3Quick(const CardText&, ObsRecord&) { return kHasQuickB3; }

#else

namespace {

/// A set of the 90 columns, one bit each.
struct ColumnSet {
    std::uint64_t low = 0;   // columns 1-64
    std::uint64_t high = 0;  // columns 65-90

    constexpr void add(Columns columns) {
        for (unsigned column = columns.first; column <= columns.last; ++column)
            (column <= 64 ? low : high) |= std::uint64_t{1} << ((column - 1) % 64);
    }
    constexpr void remove(const ColumnSet& other) {
        low &= ~other.low;
        high &= ~other.high;
    }
    constexpr bool meets(const ColumnSet& other) const { return ((low & other.low) | (high & other.high)) != 0; }
};

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
        plain.digits.add(b3::withoutSign(field.columns));
        signs.add({field.columns.first, field.columns.first});
    }
    if (kAngleTypes.has(type)) plain.digits.add(b3::kAzimuth);
    if (b3::kRangeWrittenTypes.has(type)) plain.digits.add(b3::kRange);
    if (kSensorPositionTypes.has(type)) {
        for (const Columns& component : b3::kSensorPosition) {
            plain.digits.add(b3::withoutSign(component));
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

constexpr ColumnSet kRangeColumns = [] {
    ColumnSet set;
    set.add(b3::kRange);
    return set;
}();

/// Sign columns: the digit that the character stands for, 16 more when it negates; 255 for a surprise.
constexpr std::uint8_t kNegative = 16;
constexpr std::uint8_t kSurprise = 255;
constexpr std::array<std::uint8_t, 256> kSignColumn = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(kSurprise);
    for (unsigned digit = 0; digit <= 9; ++digit) values['0' + digit] = static_cast<std::uint8_t>(digit);
    for (unsigned digit = 1; digit <= 9; ++digit)
        values['J' + digit - 1] = static_cast<std::uint8_t>(kNegative + digit);
    values['-'] = kNegative;
    values['+'] = values[' '] = 0;
    return values;
}();

struct Shape {
    ColumnSet notDigit;
    ColumnSet notBlank;
};

/// Looks at 90 columns; the last load overlaps the one before, so that nothing after them is read.
Shape shapeOf(const char* card) {
    std::uint64_t digits[6], blanks[6];
    static constexpr unsigned kStarts[6] = {0, 16, 32, 48, 64, 74};
    for (unsigned i = 0; i < 6; ++i) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(card + kStarts[i]));
        const __m128i value = _mm_sub_epi8(block, _mm_set1_epi8('0'));
        const __m128i isDigitHere = _mm_cmpeq_epi8(_mm_min_epu8(value, _mm_set1_epi8(9)), value);
        digits[i] = static_cast<std::uint32_t>(_mm_movemask_epi8(isDigitHere));
        blanks[i] = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(' '))));
    }
    const auto low = [](const std::uint64_t* m) { return m[0] | m[1] << 16 | m[2] << 32 | m[3] << 48; };
    const auto high = [](const std::uint64_t* m) { return m[4] | m[5] << 10; };
    return {{~low(digits), ~high(digits)}, {~low(blanks), ~high(blanks)}};
}

/// The number in up to eight digit columns. Reads eight bytes from the field's start.
template <unsigned width>
std::uint32_t digitsAt(const char* card, Columns field) {
    static_assert(width >= 1 && width <= kDigitRun);
    std::uint64_t v = 0;
    std::memcpy(&v, card + field.offset(), sizeof v);
    return numberOfDigits((v & 0x0F0F0F0F0F0F0F0Fu) << (8 * (kDigitRun - width)));
}

/// A signed field, where the type carries it. False for a surprise in its sign column.
template <std::size_t i>
bool signedFieldAt(const char* card, ObsRecord& rec) {
    constexpr const b3::SignedField& kField = b3::kSignedFields[i];
    if (!kField.carriedBy.has(rec.obsType)) return true;
    const std::uint8_t sign = kSignColumn[static_cast<unsigned char>(card[kField.columns.offset()])];
    if (sign == kSurprise) return false;
    constexpr unsigned kDigits = kField.columns.width() - 1;
    constexpr double kLeading = kPowersOfTen[kDigits];
    const double size = (sign & 15u) * kLeading + digitsAt<kDigits>(card, b3::withoutSign(kField.columns));
    rec.*kField.value = scaled((sign & kNegative) != 0 ? -size : size, -kField.decimals);
    return true;
}

template <std::size_t... i>
bool signedFieldsAt(const char* card, ObsRecord& rec, std::index_sequence<i...>) {
    return (signedFieldAt<i>(card, rec) && ...);
}

std::string_view textAt(const char* card, Columns columns) { return {card + columns.offset(), columns.width()}; }

bool oneDigitOrBlank(const char* card, Columns column, std::int32_t& value) {
    const char c = card[column.offset()];
    value = isDigit(c) ? c - '0' : 0;
    return isDigit(c) || c == ' ';
}

double rightAscensionAt(const char* card) {
    const std::uint32_t all = digitsAt<b3::kAzimuth.width()>(card, b3::kAzimuth);
    return rightAscensionDegrees(all / 100000, all / 1000 % 100, all % 1000 / 10.0);
}

bool sensorPositionAt(const char* card, ObsRecord& rec) {
    constexpr unsigned kDigits = b3::kSensorPosition[0].width() - 1;
    for (std::size_t i = 0; i < 3; ++i) {
        const Columns component = b3::kSensorPosition[i];
        const char sign = card[component.offset()];
        const std::uint8_t digit = kSignColumn[static_cast<unsigned char>(sign)];
        if (digit > kNegative) return false;  // surprises, and letters, which are not signs here
        double number = digitsAt<kDigits>(card, b3::withoutSign(component));
        number += (digit & 15u) * kPowersOfTen[kDigits];
        rec.senPos[i] = scaled(sign == '-' ? -number : number, -b3::kSensorPositionDecimals);
    }
    return true;
}

bool dateTimeAt(const char* card, ObsRecord& rec) {
    char text[15];
    std::memcpy(text, card + b3::kDateTime.offset(), 11);
    text[11] = '.';
    std::memcpy(text + 12, card + b3::kDateTime.offset() + 11, 3);
    rec.obsTime = family::dtgtods50({text, sizeof text});
    return rec.obsTime != 0.0;
}

bool readPlain(const char* card, ObsRecord& rec) {
    const auto type = static_cast<std::uint32_t>(card[b3::kObsType.offset()] - '0');
    if (type >= kPlainCards.size() || !kPlainCards[type].known) return false;
    const Shape shape = shapeOf(card);
    if (shape.notDigit.meets(kPlainCards[type].digits) || shape.notBlank.meets(kPlainCards[type].blanks)) return false;
    rec.obsType = static_cast<std::int32_t>(type);
    rec.secClass = card[b3::kSecClass.offset()];
    if (!oneDigitOrBlank(card, b3::kEquinoxInd, rec.equinoxInd) ||
        !oneDigitOrBlank(card, b3::kIndicator1, rec.indicator1) ||
        !oneDigitOrBlank(card, b3::kIndicator2, rec.indicator2))
        return false;
    if (!family::readalpha5(textAt(card, b3::kSatNum), rec.satNum) ||
        !family::readalpha5(textAt(card, b3::kAltSatNum1), rec.altSatNum1) ||
        !family::readalpha5(textAt(card, b3::kAltSatNum2), rec.altSatNum2))
        return false;
    rec.senNum = static_cast<std::int32_t>(digitsAt<b3::kSenNum.width()>(card, b3::kSenNum));
    constexpr std::make_index_sequence<b3::kSignedFields.size()> kSignedFields;
    if (!dateTimeAt(card, rec) || !signedFieldsAt(card, rec, kSignedFields)) return false;
    if (ObsHasAzEl(rec.obsType))
        rec.azOrRa = scaled(digitsAt<b3::kAzimuth.width()>(card, b3::kAzimuth), -b3::kAzimuthDecimals);
    if (ObsHasRaDec(rec.obsType)) rec.azOrRa = rightAscensionAt(card);
    if (kSensorPositionTypes.has(rec.obsType) && !sensorPositionAt(card, rec)) return false;
    if (b3::kRangeReadTypes.has(rec.obsType) && shape.notBlank.meets(kRangeColumns)) {
        if (shape.notDigit.meets(kRangeColumns)) return false;
        const int exponent = card[b3::kRangeExponent.offset()] - '0';
        rec.range =
            scaled(digitsAt<b3::kRangeMantissa.width()>(card, b3::kRangeMantissa), exponent - b3::kRangeExponentBias);
        rec.obsType = typeWithRange(rec.obsType, rec.range);
    }
    return true;
}

}  // namespace

bool readB3Quick(const CardText& card, ObsRecord& rec) {
    const std::string_view text = card.text();
    if (text.size() >= b3::kCardColumns) return readPlain(text.data(), rec);
    if (text.size() < b3::kObsType.last) return false;
    char padded[b3::kCardColumns];
    std::memset(padded, ' ', sizeof padded);
    std::memcpy(padded, text.data(), text.size());
    return readPlain(padded, rec);
}

#endif

}  // namespace obs
