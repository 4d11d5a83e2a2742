// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Tty.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/DigitRuns.h"
#include "Obs/CardLayouts/LineReader.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/Named.h"
#include "Obs/ObsStates/Equinox.h"
#include "Obs/ObsStates/Type7.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr char kNegativeSign = '1';
constexpr std::int32_t kIndicatorNotGiven = 9;  ///< of the second indicator, which these cards do not have

/// Quotes a card with all its columns.
Refusal refused(std::string_view before, const CardText& card) {
    return {before, std::string(card.text()), kCardLength, ")."};
}

// --- Numbers ----------------------------------------------------------------------------------

/// The number in up to eight columns that hold digits alone, as nearly all do: eight bytes that end with
/// the field are taken at once. False for anything else, which says nothing about the field.
[[gnu::always_inline]] inline bool readPlainDigits(const CardText& card, Columns columns, std::uint32_t& number) {
    const std::string_view text = card.text();
    if (std::endian::native != std::endian::little || columns.last > text.size() || columns.last < kDigitRun)
        return false;
    std::uint64_t v = 0;
    std::memcpy(&v, text.data() + columns.last - kDigitRun, kDigitRun);
    const unsigned bitsBefore = 8 * (kDigitRun - columns.width());
    v = (v ^ kZeroDigits) >> bitsBefore << bitsBefore;
    if (!areDigitValues(v)) return false;
    number = numberOfDigits(v);
    return true;
}

[[gnu::always_inline]] inline bool readNumber(const CardText& card, Columns columns, int decimals, double& number) {
    std::uint32_t digits = 0;
    if (!readPlainDigits(card, columns, digits)) return family::readreal(card.at(columns), decimals, number);
    number = scaled(digits, -decimals);
    return true;
}

bool readWhole(const CardText& card, Columns columns, std::int32_t& number) {
    std::uint32_t digits = 0;
    if (!readPlainDigits(card, columns, digits)) return readDigits(card.at(columns), number);
    number = static_cast<std::int32_t>(digits);
    return true;
}

/// One digit or a blank, which is 0.
bool readDigit(char c, std::int32_t& digit) {
    if (!isDigit(c) && c != ' ') return false;
    digit = c == ' ' ? 0 : c - '0';
    return true;
}

// --- Values: what cannot be read is 0 ------------------------------------------------------

// `isRead` becomes false for one that holds something all the same.

[[gnu::always_inline]] inline double plainNumber(const CardText& card, Columns columns, int decimals, bool& isRead) {
    double number = 0;
    isRead = readNumber(card, columns, decimals, number);
    return isRead ? number : 0;
}

/// NOTE: only "1" in the sign column negates, and only a value that was read. A "-" there does not; inside the digits
/// it does, as in any number.
double withSign(char sign, double size) { return sign == kNegativeSign && size != 0 ? -size : size; }

[[gnu::always_inline]] inline double signedNumber(const CardText& card, Columns columns, int decimals, bool& isRead) {
    const double size = plainNumber(card, {columns.first + 1, columns.last}, decimals, isRead);
    return withSign(card.at(columns.first), size);
}

/// All columns but the last are the mantissa, the last one is an exponent digit: mantissa x 10^(exponent - bias).
[[gnu::always_inline]] inline double mantissaAndExponent(const CardText& card, Columns columns, int bias,
                                                         bool& isRead) {
    double mantissa = 0;
    std::int32_t exponent = 0;
    isRead =
        readDigit(card.at(columns.last), exponent) && readNumber(card, {columns.first, columns.last - 1}, 0, mantissa);
    if (!isRead) return 0;
    const double value = scaled(mantissa, exponent - bias);
    isRead = std::isfinite(value);
    return isRead ? value : 0;
}

/// Metres on the card, kilometres in the record; the point stands before the mantissa.
double vectorComponent(const CardText& card, Columns columns, bool& isRead) {
    constexpr int kMetresPerKmExponent = 3;
    const auto digits = static_cast<int>(columns.width()) - 2;
    const double size =
        mantissaAndExponent(card, {columns.first + 1, columns.last}, digits + kMetresPerKmExponent, isRead);
    return withSign(card.at(columns.first), size);
}

double rightAscension(const CardText& card, Columns columns, bool& isRead) {
    std::uint32_t digits = 0;
    if (readPlainDigits(card, columns, digits)) {
        const std::uint32_t hours = digits / 100000, minutes = digits / 1000 % 100, tenths = digits % 1000;
        return rightAscensionDegrees(hours, minutes, tenths / 10.0);
    }
    double degrees = 0;
    isRead = readRightAscension(card.at(columns), degrees);
    return isRead ? degrees : 0;
}

[[gnu::always_inline]] inline double valueOf(const CardText& card, const tty::Measurement& field, bool& isRead) {
    switch (field.coding) {
        case tty::Coding::kSigned: return signedNumber(card, field.columns, field.decimals, isRead);
        case tty::Coding::kAzimuth: return plainNumber(card, field.columns, field.decimals, isRead);
        case tty::Coding::kAzimuthOnCard2: return scaled(plainNumber(card, field.columns, 0, isRead), -field.decimals);
        case tty::Coding::kRightAscension: return rightAscension(card, field.columns, isRead);
        case tty::Coding::kRange: return mantissaAndExponent(card, field.columns, tty::kRangeExponentBias, isRead);
    }
    return 0;
}

// --- What is told of values -----------------------------------------------------------------

/// A card whose values are read, and who is told of those that cannot be.
struct Card {
    const CardText& text;
    int number;
    FieldNotes* notes;
};

bool hasEndMark(const CardText& card) { return card.text().find(tty::kEndMark) != std::string_view::npos; }

/// Without regard to blanks at the end, which some callers cut.
bool endsBefore(const CardText& card, unsigned column) { return card.text().find_last_not_of(' ') + 1 < column; }

[[gnu::noinline]] void tell(const Card& card, Columns columns, std::string_view field, bool isRead) {
    if (card.notes == nullptr || (isRead && (!endsBefore(card.text, columns.last) || hasEndMark(card.text)))) return;
    std::string text = "ReadTTY2Lines: Field " + std::to_string(columns.first) + "-" + std::to_string(columns.last) +
                       " of card " + std::to_string(card.number) + " (";
    text.append(field).append(isRead ? ") is cut: The card ends before it, or inside of it, without an end mark."
                                     : ") is not a number and is taken as 0.");
    card.notes->push_back({FieldNote::Kind::zeroed, field, std::move(text)});
}

/// Cards that end beyond the field and are read are done with at once.
[[gnu::always_inline]] inline void tellIfDoubtful(const Card& card, Columns columns, std::string_view field,
                                                  bool isRead) {
    if (!isRead || card.text.at(columns.last) == ' ') [[unlikely]]
        tell(card, columns, field, isRead);
}

constexpr std::string_view nameOf(const tty::Measurement& field, std::int32_t type) {
    if (field.value == &ObsRecord::elOrDec) return ObsHasRaDec(type) ? "declination" : "elevation";
    if (field.value == &ObsRecord::azOrRa) return ObsHasRaDec(type) ? "right ascension" : "azimuth";
    if (field.value == &ObsRecord::range) return "range";
    if (field.value == &ObsRecord::rangeRate) return "range rate";
    if (field.value == &ObsRecord::elRate) return "elevation rate";
    return field.value == &ObsRecord::azRate ? "azimuth rate" : "range acceleration";
}

// --- From cards to the record -----------------------------------------------------------------

template <std::int32_t type, const auto& table, std::size_t i>
inline void readIfCarried(const Card& card, ObsRecord& rec) {
    constexpr const tty::Measurement& field = table[i];
    if constexpr (field.carriedBy.has(type)) {
        bool isRead = true;
        rec.*field.value = valueOf(card.text, field, isRead);
        tellIfDoubtful(card, field.columns, nameOf(field, type), isRead);
    }
}

template <std::int32_t type, const auto& table>
void readMeasurementsOf(const Card& card, ObsRecord& rec) {
    [&]<std::size_t... i>(std::index_sequence<i...>) { (readIfCarried<type, table, i>(card, rec), ...); }
    (std::make_index_sequence<table.size()>());
}

/// The type picks its walk through the table, so that what a field is and where it stands is known beforehand.
template <const auto& table>
void readMeasurements(const Card& card, ObsRecord& rec) {
    using Reader = void (*)(const Card&, ObsRecord&);
    static constexpr auto kReaders = []<std::int32_t... type>(std::integer_sequence<std::int32_t, type...>) {
        return std::array<Reader, sizeof...(type)>{&readMeasurementsOf<type, table>...};
    }
    (std::make_integer_sequence<std::int32_t, 20>());
    const auto type = static_cast<std::uint32_t>(rec.obsType);
    if (type < kReaders.size()) kReaders[type](card, rec);
}

void readVectors(const Card& card, ObsRecord& rec) {
    for (const tty::Vector& vector : tty::kVectorsOnCard2) {
        if (!vector.carriedBy.has(rec.obsType)) continue;
        for (std::size_t i = 0; i < 3; ++i) {
            bool isRead = true;
            (rec.*vector.value)[i] = vectorComponent(card.text, vector.columns[i], isRead);
            tellIfDoubtful(card, vector.columns[i], vector.name, isRead);
        }
    }
}

std::int32_t equinoxOf(const Card& card, Columns column) {
    std::int32_t equinox = 0;
    tellIfDoubtful(card, column, "equinox", readDigit(card.text.at(column.first), equinox));
    return equinox;
}

/// Values of the types that are done with card 1.
void readCard1Values(const Card& card1, ObsRecord& rec) {
    readMeasurements<tty::kOnCard1>(card1, rec);
    if (!ObsHasRaDec(rec.obsType)) return;
    rec.equinoxInd = equinoxOf(card1, tty::kEquinoxIndOnCard1);
    rec.senPos = {};
}

void readSatPos(const Card& card1, ObsRecord& rec) {
    for (std::size_t i = 0; i < 3; ++i) {
        const Columns columns = tty::kSatPosOnCard1[i];
        const bool isRead = family::readreal(card1.text.at(columns), tty::kSatPosDecimals, rec.satPos[i]);
        if (!isRead) rec.satPos[i] = 0;
        tellIfDoubtful(card1, columns, "satellite position", isRead);
    }
}

/// Values of the types that have a second card.
void readCard2Values(const Card& card1, const Card& card2, ObsRecord& rec) {
    readMeasurements<tty::kOnCard2>(card2, rec);
    readVectors(card2, rec);
    if (ObsHasRaDec(rec.obsType)) rec.equinoxInd = equinoxOf(card2, tty::kEquinoxIndOnCard2);
    if (tty::kSatPosTypes.has(rec.obsType)) readSatPos(card1, rec);
    rec.obsType = typeWithRange(rec.obsType, rec.range);
}

/// False for a blank field, one that holds anything but digits and, in the seconds, a number, and for a time that no
/// day of the year has.
bool readTime(const CardText& card, Columns field, std::int32_t year, double& timeDs50) {
    const auto part = [&](unsigned first, unsigned last) -> Columns {
        return {field.first + first - 1, field.first + last - 1};
    };
    std::int32_t dayOfYear = 0, hour = 0, minute = 0;
    double seconds = 0;
    std::uint32_t toTensOfSeconds = 0, milliseconds = 0;
    if (readPlainDigits(card, part(1, 8), toTensOfSeconds) && readPlainDigits(card, part(9, 12), milliseconds)) {
        dayOfYear = static_cast<std::int32_t>(toTensOfSeconds / 100000);
        hour = static_cast<std::int32_t>(toTensOfSeconds / 1000 % 100);
        minute = static_cast<std::int32_t>(toTensOfSeconds / 10 % 100);
        seconds = scaled(toTensOfSeconds % 10 * 10000 + milliseconds, -tty::kSecondsDecimals);
    } else if (card.isBlank(field) || !readDigits(card.at(part(1, 3)), dayOfYear) ||
               !readDigits(card.at(part(4, 5)), hour) || !readDigits(card.at(part(6, 7)), minute) ||
               !family::readreal(card.at(part(8, 12)), tty::kSecondsDecimals, seconds)) {
        return false;
    }
    if (!(seconds >= 0 && seconds < 60)) return false;
    timeDs50 = family::tcomps2utc(year, dayOfYear, hour, minute, seconds);
    return timeDs50 != 0;
}

}  // namespace

MaybeRefusal ReadTTY1stLine(const CardText& card1, const ReadSettings& settings, ObsRecord& rec, FieldNotes* notes) {
    if (settings.ttyYear == 0) return Refusal{"ReadTTY1stLine: Must set the year for TTY input file.", {}, 0, {}};
    rec.secClass = card1.at(tty::kSecClass.first);
    if (!readDigit(card1.at(tty::kIndicator1.first), rec.indicator1) || !readWhole(card1, tty::kSenNum, rec.senNum))
        return refused("ReadTTY1stLine: Bad TTY card (", card1);
    const bool isRead = family::readalpha5(card1.at(tty::kSatNum), rec.satNum);
    if (!isRead) tell({card1, 1, notes}, tty::kSatNum, "satellite number", false);
    rec.altSatNum1 = rec.altSatNum2 = rec.satNum;
    rec.indicator2 = kIndicatorNotGiven;
    rec.obsType = family::obstypechartoint(card1.at(tty::kObsType.first));
    return std::nullopt;
}

MaybeRefusal ReadTTY2Lines(const CardText& card1, const CardText& card2, const ReadSettings& settings, ObsRecord& rec,
                           FieldNotes* notes) {
    if (tty::kCard1Types.has(rec.obsType)) {
        if (!readTime(card1, tty::kTimeOnCard1, settings.ttyYear, rec.obsTime))
            return refused("ReadTTY2Lines: Bad TTY card #1 (", card1);
        readCard1Values({card1, 1, notes}, rec);
    } else {
        if (!readTime(card2, tty::kTimeOnCard2, settings.ttyYear, rec.obsTime))
            return refused("ReadTTY2Lines: Bad TTY card #2 (", card2);
        readCard2Values({card1, 1, notes}, {card2, 2, notes}, rec);
    }
    rotateIfAsked(rec);
    if (rec.obsType == kTypePositionVelocity && rec.rotateToDate != 0) return convertType7(rec, *settings.sensors);
    return std::nullopt;
}

MaybeRefusal ReadTTYFrLines(const CardText& card1, const CardText& card2, const ReadSettings& settings, ObsRecord& rec,
                            FieldNotes* notes) {
    if (MaybeRefusal refusal = ReadTTY1stLine(card1, settings, rec, notes)) return refusal;
    return ReadTTY2Lines(card1, card2, settings, rec, notes);
}

bool hasSecondCard(const CardText& card1) {
    return !tty::kCard1Types.has(family::obstypechartoint(card1.at(tty::kObsType.first)));
}

MaybeRefusal ReadTTYFrFile(LineReader* unit, const CardText& card1, const ReadSettings& settings, ObsRecord& rec,
                           FieldNotes* notes) {
    if (MaybeRefusal refusal = ReadTTY1stLine(card1, settings, rec, notes)) return refusal;
    if (!hasSecondCard(card1)) return ReadTTY2Lines(card1, std::string_view(), settings, rec, notes);
    if (unit == nullptr) return Refusal{"ReadTTYFrFile: This TTY obs needs the 2nd card", {}, 0, {}};
    // A file of this kind is not loaded, but another one may include it. NOTE: the text, "Velmora" too, is established.
    if (settings.oneCardOnly)
        return Refusal{"ReadTTYFrFile: Using fort.n not allowed in Velmora due to security risk", {}, 0, {}};
    std::string_view card2;
    if (!unit->next(card2)) return refused("ReadTTYFrFile: Bad TTY card #2 (", card2);
    return ReadTTY2Lines(card1, card2, settings, rec, notes);
}

double ParseElevTTY(std::string_view field) {
    bool isRead = true;
    return signedNumber(field, {1, 7}, tty::kAngleDecimals, isRead);
}

double ParseRateTTY(std::string_view field) {
    bool isRead = true;
    return signedNumber(field, {1, 6}, tty::kAngleDecimals, isRead);
}

double ParseRangeRateTTY(std::string_view field) {
    bool isRead = true;
    return signedNumber(field, {1, 8}, tty::kRangeRateDecimals, isRead);
}

}  // namespace obs
