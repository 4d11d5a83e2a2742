// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/TtyQuick.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/Cards/PlainColumns.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

using tty::Coding;

constexpr ObsTypeSet kPlainTypes{0, 1, 2, 3, 4, 5, 6, 8, 9};
constexpr std::int32_t kIndicatorNotGiven = 9;
constexpr char kNegativeSign = '1';

/// A field of type 8 or 9 that messages have or leave blank, looked at by itself.
constexpr bool mayBeBlank(const tty::Measurement& field, std::int32_t type) {
    return field.coding == Coding::kRange && !tty::kRangeWrittenTypes.has(type);
}

template <class Table>
constexpr void addDigits(const Table& table, std::int32_t type, ColumnSet& digits) {
    for (const tty::Measurement& field : table)
        if (field.carriedBy.has(type) && !mayBeBlank(field, type))
            digits.add(field.coding == Coding::kSigned ? withoutSign(field.columns) : field.columns);
}

/// The columns that must be digits on a card of one type.
constexpr ColumnSet digitsOnCard1(std::int32_t type) {
    ColumnSet digits = setOf(tty::kSenNum);
    if (!tty::kCard1Types.has(type)) return digits;
    digits.add(tty::kTimeOnCard1);
    addDigits(tty::kOnCard1, type, digits);
    if (ObsHasRaDec(type)) digits.add(tty::kEquinoxIndOnCard1);
    return digits;
}
constexpr ColumnSet digitsOnCard2(std::int32_t type) {
    ColumnSet digits = setOf(tty::kTimeOnCard2);
    addDigits(tty::kOnCard2, type, digits);
    if (ObsHasRaDec(type)) digits.add(tty::kEquinoxIndOnCard2);
    for (const tty::Vector& vector : tty::kVectorsOnCard2)
        if (vector.carriedBy.has(type))
            for (const Columns& component : vector.columns) digits.add(withoutSign(component));
    return digits;
}

/// The columns of a card, blank where its text ends.
class CardColumns {
public:
    explicit CardColumns(std::string_view card) : text_(card.data()) {
        if (card.size() >= tty::kCardColumns) return;
        std::memset(padded_, ' ', sizeof padded_);
        card.copy(padded_, card.size());
        text_ = padded_;
    }
    CardColumns(const CardColumns&) = delete;
    CardColumns& operator=(const CardColumns&) = delete;

    const char* text() const { return text_; }

private:
    const char* text_;
    char padded_[tty::kCardColumns];
};

double withSign(char sign, double size) { return sign == kNegativeSign && size != 0 ? -size : size; }

std::int32_t digitAt(const char* card, Columns column) { return card[column.offset()] - '0'; }

/// Mantissa x 10^(exponent digit - bias).
template <Columns field>
double mantissaAndExponentAt(const char* card, int bias) {
    constexpr Columns kMantissa{field.first, field.last - 1};
    return scaled(digitsAt<kMantissa>(card), digitAt(card, {field.last, field.last}) - bias);
}

/// False for a range that is neither digits nor blank.
template <const tty::Measurement& field, std::int32_t type>
bool valueAt(const char* card, const Shape& shape, double& value) {
    constexpr Columns kColumns = field.columns;
    if constexpr (field.coding == Coding::kSigned) {
        value = withSign(card[kColumns.offset()], scaled(digitsAt<withoutSign(kColumns)>(card), -field.decimals));
    } else if constexpr (field.coding == Coding::kRightAscension) {
        const std::uint32_t all = digitsAt<kColumns>(card);
        const std::uint32_t hours = all / 100000, minutes = all / 1000 % 100;
        value = rightAscensionDegrees(hours, minutes, all % 1000 / 10.0);
    } else if constexpr (field.coding == Coding::kRange) {
        constexpr ColumnSet kRange = setOf(kColumns);
        if (mayBeBlank(field, type) && !shape.notBlank.meets(kRange)) return true;
        if (mayBeBlank(field, type) && shape.notDigit.meets(kRange)) return false;
        value = mantissaAndExponentAt<kColumns>(card, tty::kRangeExponentBias);
    } else {
        value = scaled(digitsAt<kColumns>(card), -field.decimals);
    }
    return true;
}

constexpr bool isRare(double ObsRecord::*value) {
    return value == &ObsRecord::elRate || value == &ObsRecord::azRate || value == &ObsRecord::rangeAccel;
}

template <const auto& table, std::size_t i, std::int32_t type>
bool measurementAt(const char* card, const Shape& shape, CommonFields& to, RareFields& rare) {
    static constexpr tty::Measurement kField = table[i];
    if constexpr (!kField.carriedBy.has(type)) return true;
    else if constexpr (isRare(kField.value))
        return valueAt<kField, type>(card, shape, rare.*static_cast<double RareFields::*>(kField.value));
    else return valueAt<kField, type>(card, shape, to.*static_cast<double CommonFields::*>(kField.value));
}

template <const auto& table, std::int32_t type>
bool measurementsAt(const char* card, const Shape& shape, CommonFields& to, RareFields& rare) {
    return [&]<std::size_t... i>(std::index_sequence<i...>) {
        return (measurementAt<table, i, type>(card, shape, to, rare) && ...);
    }
    (std::make_index_sequence<table.size()>());
}

template <std::size_t... i>
void sensorPositionAt(const char* card, Vector3& position, std::index_sequence<i...>) {
    constexpr const tty::Vector& kVector = tty::kVectorsOnCard2[0];
    static_assert(kVector.carriedBy.bits() == kSensorPositionTypes.bits());
    constexpr int kMetresPerKmExponent = 3;
    constexpr int kBias = static_cast<int>(kVector.columns[0].width()) - 2 + kMetresPerKmExponent;
    ((position[i] = withSign(card[kVector.columns[i].offset()],
                             mantissaAndExponentAt<withoutSign(kVector.columns[i])>(card, kBias))),
     ...);
}

template <Columns field>
bool timeAt(const char* card, const TtyYearDays& year, double& timeDs50) {
    static_assert(field.width() == 12);
    const std::uint32_t front = digitsAt<Columns{field.first, field.first + 7}>(card);  // DDDHHMMS
    const std::uint32_t back = digitsAt<Columns{field.first + 8, field.last}>(card);    // Ssss
    const std::uint32_t day = front / 100000, hour = front / 1000 % 100, minute = front / 10 % 100;
    const std::uint32_t milliseconds = front % 10 * 10000 + back;
    if (day - 1 >= year.days() || hour > 23 || minute > 59 || milliseconds > 59999) return false;
    timeDs50 = family::timeOf(year.base() + static_cast<std::int32_t>(day), hour, minute,
                              scaled(milliseconds, -tty::kSecondsDecimals));
    return timeDs50 != 0;
}

bool headAt(const char* card1, const Shape& shape, CommonFields& to) {
    const unsigned indicator1 = lookUp(kDigitOrBlank, card1, tty::kIndicator1);
    to.indicator1 = static_cast<std::int32_t>(indicator1);
    to.indicator2 = kIndicatorNotGiven;
    to.senNum = static_cast<std::int32_t>(digitsAt<tty::kSenNum>(card1));
    if (indicator1 == kSurprise || !satNumAt<tty::kSatNum>(card1, shape, to.satNum)) return false;
    to.altSatNum1 = to.altSatNum2 = to.satNum;
    return true;
}

template <std::int32_t type>
bool readOneCard(const char* card, const Shape& shape, const TtyYearDays& year, CommonFields& to, RareFields& rare) {
    if (ObsHasRaDec(type)) to.equinoxInd = digitAt(card, tty::kEquinoxIndOnCard1);
    return measurementsAt<tty::kOnCard1, type>(card, shape, to, rare) &&
           timeAt<tty::kTimeOnCard1>(card, year, to.obsTime);
}

template <std::int32_t type>
bool readSecondCard(std::string_view text, const TtyYearDays& year, CommonFields& to, RareFields& rare) {
    constexpr ColumnSet kDigits = digitsOnCard2(type);
    const CardColumns columns(text);
    const char* const card = columns.text();
    const Shape shape = shapeOf<tty::kCardColumns>(card);
    if (shape.notDigit.meets(kDigits)) return false;
    rare = {};
    if (ObsHasRaDec(type)) to.equinoxInd = digitAt(card, tty::kEquinoxIndOnCard2);
    if (kSensorPositionTypes.has(type)) sensorPositionAt(card, rare.senPos, std::make_index_sequence<3>());
    if (!measurementsAt<tty::kOnCard2, type>(card, shape, to, rare)) return false;
    to.obsType = typeWithRange(type, to.range);
    return timeAt<tty::kTimeOnCard2>(card, year, to.obsTime);
}

/// Of a card 1 whose columns are all there.
template <std::int32_t type>
bool readPlain(const char* card1, std::string_view card2, const TtyYearDays& year, CommonFields& to, RareFields& rare) {
    if constexpr (!kPlainTypes.has(type)) return false;
    constexpr ColumnSet kDigits = digitsOnCard1(type);
    const Shape shape = shapeOf<64>(card1);
    if (shape.notDigit.meets(kDigits)) return false;
    to = static_cast<const CommonFields&>(kDefaultFields);
    to.obsType = type;
    if (!headAt(card1, shape, to)) return false;
    if constexpr (tty::kCard1Types.has(type)) return readOneCard<type>(card1, shape, year, to, rare);
    else return readSecondCard<type>(card2, year, to, rare);
}

}  // namespace

void TtyYearDays::setYear(std::int32_t year) {
    if (year == year_) return;
    const auto timeOfDay = [&](std::int32_t day) { return family::tcomps2utc(year, day, 0, 0, 0); };
    year_ = year;
    base_ = static_cast<std::int32_t>(timeOfDay(2)) - 2;  // of the day before, 0 would say that there is none
    days_ = timeOfDay(2) == 0 ? 0 : timeOfDay(366) == 0 ? 365 : 366;
}

bool readPlainTty(std::string_view card1, std::string_view card2, const TtyYearDays& year, CommonFields& to,
                  RareFields& rare, double& dayOfYear) {
    using Reader = bool (*)(const char*, std::string_view, const TtyYearDays&, CommonFields&, RareFields&);
    static constexpr auto kReaders = []<std::int32_t... type>(std::integer_sequence<std::int32_t, type...>) {
        return std::array<Reader, sizeof...(type)>{&readPlain<type>...};
    }
    (std::make_integer_sequence<std::int32_t, 10>());
    if (!kHasPlainColumns || card1.size() < tty::kObsType.last) return false;
    const auto type = static_cast<std::uint32_t>(card1[tty::kObsType.offset()] - '0');
    if (type >= kReaders.size()) return false;
    const CardColumns columns(card1);
    if (!kReaders[type](columns.text(), card2, year, to, rare)) return false;
    dayOfYear = to.obsTime - year.base();
    return true;
}

}  // namespace obs
