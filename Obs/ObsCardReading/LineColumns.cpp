// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LineColumns.h"

#include <algorithm>
#include <array>
#include <span>
#include <type_traits>
#include <utility>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/Csv.h"
#include "Obs/CardLayouts/Eci.h"
#include "Obs/CardLayouts/Rf.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Cards/Rf.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsTypes/FieldList.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr std::string_view kNotDigits = "holds something else than digits";
constexpr std::string_view kNotANumber = "is not a number";

bool isDigitsOrBlank(std::string_view text) {
    std::int32_t number = 0;
    return readDigits(text, number);
}
bool isAlpha5(std::string_view text) {
    std::int32_t number = 0;
    return family::readalpha5(text, number);
}
bool isReal(std::string_view text) {
    double number = 0;
    return family::readreal(text, 0, number);
}
bool isWhole(std::string_view text) {
    std::int64_t number = 0;
    return readInteger(text, number);
}
/// With or without its sign column, in which an overpunched letter may be.
bool isWholeOrSigned(std::string_view text) { return isWhole(text) || (!text.empty() && isWhole(text.substr(1))); }
bool isSigned(std::string_view text) {
    double number = 0;
    return readSigned(text, number);
}
bool isRightAscension(std::string_view text) {
    double degrees = 0;
    return readRightAscension(text, degrees);
}
/// Digits and an exponent digit.
bool isRange(std::string_view text) {
    return !text.empty() && isReal(text.substr(0, text.size() - 1)) && isDigitsOrBlank(text.substr(text.size() - 1));
}
/// A sign column, digits and an exponent digit.
bool isVectorComponent(std::string_view text) { return text.empty() || isRange(text.substr(1)); }

/// The column of a value of the record by a type, and its unit.
const FieldFacts& factsOf(double ObsRecord::*member, std::int32_t type) {
    static const ObsRecord record;
    const FieldFacts* found = nullptr;
    const Meaning other = ObsHasRaDec(type) ? Meaning::ofOthers : Meaning::ofRaDec;
    forEachFieldOf<ObsFields>([&](auto field) {
        if constexpr (field.isReal && !field.isComponent)
            if (&field.in(record) == &(record.*member) && (found == nullptr || field.facts.meaning != other) &&
                !field.facts.column.empty())
                found = &field.facts;
    });
    return *found;
}

std::string implied(int decimals) { return decimals == 0 ? "" : ", " + std::to_string(decimals) + " implied decimals"; }

std::string withUnit(std::string form, std::string_view unit) {
    if (!unit.empty()) form.append(", ").append(unit);
    return form;
}

/// The columns of up to two cards.
class Description {
public:
    Description(const CardText& line1, const CardText& line2) : lines_{line1, line2} {}

    void card(std::int32_t number) { card_ = number; }
    const CardText& text() const { return lines_[static_cast<std::size_t>(card_ - 1)]; }

    void put(std::string_view name, Columns columns, std::string form, bool isGood = true,
             std::string_view fault = kNotANumber) {
        columns_.push_back({std::string(name), std::move(form), isGood ? "" : std::string(fault), card_, columns});
    }
    template <class Check>
    void put(std::string_view name, Columns columns, std::string form, Check check,
             std::string_view fault = kNotANumber) requires std::is_invocable_r_v<bool, Check, std::string_view> {
        put(name, columns, std::move(form), check(text().at(columns)), fault);
    }

    void putDigits(std::string_view name, Columns columns) {
        put(name, columns, "digits", isDigitsOrBlank, kNotDigits);
    }
    void putAlpha5(std::string_view name, Columns columns) {
        put(name, columns, "digits, or a letter and four", isAlpha5, "is neither five digits nor a letter and four");
    }
    void putClass(Columns column) {
        put(
            kFactsOf<&ObsFields::secClass>.column, column, "U, C or S",
            [](std::string_view text) { return !text.empty() && isClassification(text.front()); }, "is not U, C or S");
    }
    void putType(Columns column) {
        put(
            kFactsOf<&ObsFields::obsType>.column, column, "0-9, P, V, R, M or O",
            [](std::string_view text) { return !text.empty() && family::obstypechartoint(text.front()) >= 0; },
            "is not a type of observation");
    }
    /// What the type does not carry: blank, or read over. @param check what the reader asks of it all the same
    template <class Check>
    void putUnused(Columns columns, Check check) {
        if (!text().isBlank(columns)) put("(not used)", columns, "not read for this type", check);
    }

    /// The parts of a time one after the other. @param isTime whether the reader can make a time of them
    struct Part {
        std::string_view name;
        unsigned width;
        std::int32_t least, most;
    };
    void putTime(Columns columns, std::span<const Part> parts, bool isTime, int secondsDecimals) {
        unsigned first = columns.first;
        const std::size_t before = columns_.size();
        bool anyFault = false;
        for (const Part& part : parts) {
            const Columns of{first, std::min(first + part.width - 1, columns.last)};
            const bool isSeconds = part.name == "seconds";
            // Of the seconds the whole ones are looked at.
            const std::string_view digits = text().at(of).substr(0, isSeconds ? 2 : std::string_view::npos);
            std::int32_t number = 0;
            const bool isNumber =
                isSeconds ? isReal(text().at(of)) && readDigits(digits, number) : readDigits(digits, number);
            const bool isGood = isTime || (isNumber && number >= part.least && number <= part.most);
            put(part.name, of, "digits" + implied(isSeconds ? secondsDecimals : 0), isGood,
                !isNumber ? std::string(kNotDigits)
                          : "is not from " + std::to_string(part.least) + " to " + std::to_string(part.most));
            anyFault = anyFault || !isGood;
            first = of.last + 1;
        }
        if (isTime || anyFault) return;
        for (std::size_t i = before; i < columns_.size(); ++i) columns_[i].fault = "with the others makes no time";
    }

    bool hasFault() const {
        return std::any_of(columns_.begin(), columns_.end(), [](const LineColumn& c) { return !c.fault.empty(); });
    }
    void clear() { columns_.clear(); }

    std::vector<LineColumn> take() {
        std::stable_sort(columns_.begin(), columns_.end(), [](const LineColumn& a, const LineColumn& b) {
            return a.card != b.card ? a.card < b.card : a.columns.first < b.columns.first;
        });
        return std::move(columns_);
    }

private:
    std::array<CardText, 2> lines_;
    std::int32_t card_ = 1;
    std::vector<LineColumn> columns_;
};

constexpr Description::Part kTimeParts[] = {
    {"year", 2, 0, 99}, {"day_of_year", 3, 1, 366}, {"hour", 2, 0, 23}, {"minute", 2, 0, 59}, {"seconds", 18, 0, 59}};

std::int32_t typeOf(const CardText& card, Columns column) { return family::obstypechartoint(card.at(column.first)); }

const std::string& rangeForm() {
    static const std::string form =
        "digits and an exponent digit: digits x 10^(exponent - " + std::to_string(b3::kRangeExponentBias) + "), km";
    return form;
}

// --- B3, B3E and ECI cards -----------------------------------------------------------------------------------------

void putB3Head(Description& to, Columns satNum, Columns senNum, Columns time, bool isTime, int decimals) {
    to.putAlpha5(kFactsOf<&ObsFields::satNum>.column, satNum);
    to.putDigits(kFactsOf<&ObsFields::senNum>.column, senNum);
    to.putTime(time, kTimeParts, isTime, decimals);
}

void putB3Tail(Description& to, bool isTypeGood = true) {
    if (isTypeGood) to.putType(b3::kObsType);
    else to.put(kFactsOf<&ObsFields::obsType>.column, b3::kObsType, "5", false, "is not 5");
    to.putDigits(kFactsOf<&ObsFields::equinoxInd>.column, b3::kEquinoxInd);
    to.putDigits(kFactsOf<&ObsFields::indicator1>.column, b3::kIndicator1);
    to.putDigits(kFactsOf<&ObsFields::indicator2>.column, b3::kIndicator2);
    to.putAlpha5(kFactsOf<&ObsFields::altSatNum1>.column, b3::kAltSatNum1);
    to.putAlpha5(kFactsOf<&ObsFields::altSatNum2>.column, b3::kAltSatNum2);
}

void putB3Values(Description& to, std::int32_t type) {
    const bool isSensorCard = kSensorPositionTypes.has(type);
    // The reader looks at what it does not take as well, of some types.
    const bool isChecked = b3::kPlainCardTypes.has(type) || b3::kSensorCardTypes.has(type);
    const auto isUnusedGood = [&](std::string_view text) { return !isChecked || isWholeOrSigned(text); };
    for (const b3::SignedField& field : b3::kSignedFields) {
        const FieldFacts& facts = factsOf(field.value, type);
        if (field.carriedBy.has(type))
            to.put(facts.column, field.columns,
                   withUnit("digits after a sign column" + implied(field.decimals), facts.unit), isSigned);
        else if (!isSensorCard) to.putUnused(field.columns, isUnusedGood);
    }
    const FieldFacts& azimuth = factsOf(&ObsRecord::azOrRa, type);
    if (ObsHasRaDec(type)) to.put(azimuth.column, b3::kAzimuth, "HHMMSSs, tenths of a second last", isRightAscension);
    else if (ObsHasAzEl(type))
        to.put(azimuth.column, b3::kAzimuth, withUnit("digits" + implied(b3::kAzimuthDecimals), azimuth.unit), isReal);
    else to.putUnused(b3::kAzimuth, isUnusedGood);
    if (b3::kRangeReadTypes.has(type)) to.put(kFactsOf<&ObsFields::range>.column, b3::kRange, rangeForm(), isRange);
    else to.putUnused(b3::kRange, isUnusedGood);
    if (!isSensorCard) return;
    static constexpr std::string_view kNames[] = {kFactsOf<&ObsFields::senPos, 0>.column,
                                                  kFactsOf<&ObsFields::senPos, 1>.column,
                                                  kFactsOf<&ObsFields::senPos, 2>.column};
    for (std::size_t i = 0; i < 3; ++i)
        to.put(kNames[i], b3::kSensorPosition[i], "number" + implied(b3::kSensorPositionDecimals) + ", km", isReal);
}

void putComponents(Description& to, Columns first, int decimals, std::string_view unit,
                   const std::array<std::string_view, 3>& names) {
    std::size_t i = 0;
    for (const Columns& field : eci::components(first)) {
        const bool isGood = !to.text().isBlank(field) && isReal(to.text().at(field));
        to.put(names[i++], field, withUnit("number" + implied(decimals), unit), isGood,
               to.text().isBlank(field) ? "is blank" : kNotANumber);
    }
}

void describeB3(Description& to) {
    const CardText& card = to.text();
    char date[15];
    const bool isTime = readB3Date(card, date) != 0;
    const char typeChar = upperCase(card.at(b3::kObsType.first));
    const std::int32_t type = typeOf(card, b3::kObsType);
    to.putClass(b3::kSecClass);
    putB3Head(to, b3::kSatNum, b3::kSenNum, b3::kDateTime, isTime, b3::kSecondsDecimals);
    const bool hasBlanks = card.isBlank(b3::kSeparator1) && card.isBlank(b3::kSeparator2);
    const bool isEci = typeChar == 'V' || (typeChar == 'P' && card.isBlank(b3::kEciPositionBlank));
    if (IsB3Format(card) && isEci) {
        constexpr std::array<std::string_view, 3> kPosition = {kFactsOf<&ObsFields::satPos, 0>.column,
                                                               kFactsOf<&ObsFields::satPos, 1>.column,
                                                               kFactsOf<&ObsFields::satPos, 2>.column};
        constexpr std::array<std::string_view, 3> kVelocity = {kFactsOf<&ObsFields::satVel, 0>.column,
                                                               kFactsOf<&ObsFields::satVel, 1>.column,
                                                               kFactsOf<&ObsFields::satVel, 2>.column};
        if (typeChar == 'P') {
            putComponents(to, eci::kCanonicalPosition, eci::kCanonicalPositionDecimals, "Earth radii", kPosition);
            return putB3Tail(to);
        }
        putComponents(to, eci::kPosition, eci::kPositionDecimals, "km", kPosition);
        to.putType(b3::kObsType);
        return putComponents(to, eci::kVelocity, eci::kVelocityDecimals, "km/s", kVelocity);
    }
    if (!hasBlanks)
        for (const Columns separator : {b3::kSeparator1, b3::kSeparator2})
            to.put("(blank)", separator, "blank", card.isBlank(separator), "is not blank");
    putB3Values(to, type);
    putB3Tail(to);
}

void describeB3Extended(Description& to) {
    const CardText& card = to.text();
    const std::string_view date = card.at(b3e::kDateTime);
    // NOTE: as the reader has it, microseconds make up for an unreadable date.
    std::int32_t microseconds = 0;
    const bool isTime = readDigits(card.at(b3e::kDateMicroseconds), microseconds) &&
                        (family::dtgtods50(date.substr(0, b3e::kDateToMilliseconds)) != 0 || microseconds != 0);
    to.put("(mark)", {1, static_cast<unsigned>(b3e::kMark.size())}, "B3E");
    putB3Head(to, b3e::kSatNum, b3e::kSenNum, b3e::kDateTime, isTime, 0);
    to.put(factsOf(&ObsRecord::elOrDec, 5).column, b3e::kDeclination,
           "number" + implied(b3e::kDecimals) + " without a point, degrees", isReal);
    to.put("ra_hours", b3e::kRaHours, "number", isReal);
    to.put("ra_minutes", b3e::kRaMinutes, "number", isReal);
    to.put("ra_seconds", b3e::kRaSeconds, "number" + implied(b3e::kDecimals) + " without a point", isReal);
    putB3Tail(to, card.at(b3::kObsType.first) == b3e::kObsTypeChar);
}

// --- TTY messages --------------------------------------------------------------------------------------------------

void putTtyValue(Description& to, const tty::Measurement& field, std::int32_t type) {
    const FieldFacts& facts = factsOf(field.value, type);
    switch (field.coding) {
        case tty::Coding::kSigned: {
            const Columns digits{field.columns.first + 1, field.columns.last};
            to.put(facts.column, field.columns,
                   withUnit("digits after a sign column (1 negates)" + implied(field.decimals), facts.unit),
                   isReal(to.text().at(digits)));
            break;
        }
        case tty::Coding::kRightAscension:
            to.put(facts.column, field.columns, "HHMMSSs, tenths of a second last", isRightAscension);
            break;
        case tty::Coding::kRange: to.put(facts.column, field.columns, rangeForm(), isRange); break;
        default: to.put(facts.column, field.columns, withUnit("digits" + implied(field.decimals), facts.unit), isReal);
    }
}

void putTtyTime(Description& to, Columns columns) {
    constexpr Description::Part kParts[] = {kTimeParts[1], kTimeParts[2], kTimeParts[3], {"seconds", 5, 0, 59}};
    constexpr std::int32_t kAnyLeapYear = 2024;
    const CardText& card = to.text();
    std::int32_t day = 0, hour = 0, minute = 0;
    const unsigned first = columns.first;
    const bool isTime =
        !card.isBlank(columns) && readDigits(card.at({first, first + 2}), day) &&
        readDigits(card.at({first + 3, first + 4}), hour) && readDigits(card.at({first + 5, first + 6}), minute) &&
        isReal(card.at({first + 7, columns.last})) && family::tcomps2utc(kAnyLeapYear, day, hour, minute, 0) != 0;
    to.putTime(columns, kParts, isTime, tty::kSecondsDecimals);
}

void describeTty(Description& to) {
    const std::int32_t type = typeOf(to.text(), tty::kObsType);
    const bool isOneCard = tty::kCard1Types.has(type);
    to.put("(mark)", {1, static_cast<unsigned>(tty::kMark.size())}, "))");
    to.putClass(tty::kSecClass);
    to.put(kFactsOf<&ObsFields::indicator1>.column, tty::kIndicator1, "digit", isDigitsOrBlank, kNotDigits);
    to.putType(tty::kObsType);
    to.putDigits(kFactsOf<&ObsFields::senNum>.column, tty::kSenNum);
    to.putAlpha5(kFactsOf<&ObsFields::satNum>.column, tty::kSatNum);
    if (isOneCard) {
        putTtyTime(to, tty::kTimeOnCard1);
        for (const tty::Measurement& field : tty::kOnCard1)
            if (field.carriedBy.has(type)) putTtyValue(to, field, type);
        if (ObsHasRaDec(type)) to.putDigits(kFactsOf<&ObsFields::equinoxInd>.column, tty::kEquinoxIndOnCard1);
        return;
    }
    if (tty::kSatPosTypes.has(type)) {
        std::size_t i = 0;
        for (const Columns& columns : tty::kSatPosOnCard1)
            to.put(std::array{"sat_pos_x", "sat_pos_y", "sat_pos_z"}[i++], columns,
                   "number" + implied(tty::kSatPosDecimals) + ", km", isReal);
    }
    to.card(2);
    putTtyTime(to, tty::kTimeOnCard2);
    for (const tty::Measurement& field : tty::kOnCard2)
        if (field.carriedBy.has(type)) putTtyValue(to, field, type);
    for (const tty::Vector& vector : tty::kVectorsOnCard2) {
        if (!vector.carriedBy.has(type)) continue;
        for (std::size_t i = 0; i < 3; ++i)
            to.put(std::string(vector.name) + " " + "xyz"[i], vector.columns[i],
                   "sign column, digits after the point, exponent digit, m or m/s", isVectorComponent);
    }
    if (ObsHasRaDec(type)) to.putDigits(kFactsOf<&ObsFields::equinoxInd>.column, tty::kEquinoxIndOnCard2);
}

// --- Lines of items ------------------------------------------------------------------------------------------------

std::string_view formOf(csv::Kind kind) {
    switch (kind) {
        case csv::Kind::character: return "character";
        case csv::Kind::integer: return "whole number";
        case csv::Kind::realPair: return "two numbers with a colon between them";
        case csv::Kind::repeated: return "an earlier field again, not read";
        default: return "number";
    }
}

bool isCsvValue(csv::Kind kind, std::string_view text) {
    if (kind == csv::Kind::character || kind == csv::Kind::repeated) return true;
    const std::size_t colon =
        kind == csv::Kind::realPair ? std::min(text.find(csv::kPairSeparator), text.size()) : text.size();
    return isReal(text.substr(0, colon)) && (colon == text.size() || isReal(text.substr(colon + 1)));
}

/// The column that a field goes to; of a pair, and of a field that goes to none, what messages call it.
std::string_view csvColumn(std::size_t number) {
    const csv::Field& field = csv::kFields[number - 1];
    std::string_view column = field.name;
    forEachField([&](auto row) {
        if (row.facts.csv == static_cast<int>(number) && !row.facts.column.empty()) column = row.facts.column;
    });
    return field.kind == csv::Kind::realPair ? field.name : column;
}

bool isDatePart(std::size_t number, std::string_view text) {
    static constexpr double kBounds[][2] = {{0, 9999}, {1, 366}, {0, 23}, {0, 59}, {0, 60}};
    const auto& [least, most] = kBounds[number - csv::kFirstDateField];
    double value = 0;
    return family::readreal(text, 0, value) && value >= least && value <= most &&
           (number == csv::kLastDateField ? value < 60 : value == static_cast<std::int32_t>(value));
}

void describeCsv(Description& to) {
    const std::string_view line = to.text().text();
    unsigned first = 1;
    for (std::size_t number = 1; number <= csv::kFieldCount && first <= line.size(); ++number) {
        const std::string_view rest = line.substr(first - 1);
        const std::string_view text = rest.substr(0, rest.find(csv::kSeparator));
        const auto last = static_cast<unsigned>(first + text.size()) - 1;
        const csv::Kind kind = csv::kFields[number - 1].kind;
        const bool ofDate = number >= csv::kFirstDateField && number <= csv::kLastDateField;
        const bool isGood = ofDate ? isDatePart(number, text) : isCsvValue(kind, text);
        to.put(csvColumn(number), {first, std::max(first, last)}, std::string(formOf(kind)), isGood,
               ofDate ? "is not a part of a time" : kNotANumber);
        first = last + 2;
    }
}

bool isRfNumber(std::string_view text) { return text.find(' ') == std::string_view::npos && isReal(text); }

bool isRfWhole(std::string_view text) {
    const std::size_t digits = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
    std::int64_t number = 0;
    return text.size() > digits && text.find_first_not_of("0123456789", digits) == std::string_view::npos &&
           readInteger(text, number);
}

void putRfItem(Description& to, rf::Item item, Columns columns, std::string_view text) {
    const std::string_view name = rf::kItems[static_cast<std::size_t>(item)].name;
    double time = 0;
    switch (item) {
        case rf::Item::date:
        case rf::Item::processTime:
            return to.put(name, columns, "YYYY:MM:DD::HH:MM:SS.ffffff", readRfTime(text, time), "is not a time");
        case rf::Item::site1:
        case rf::Item::site2: return to.put(name, columns, "name of a sensor");
        case rf::Item::satNum:
        case rf::Item::rf:
            return to.put(name, columns, "whole number", isRfWhole(text), "is not a whole number in range");
        case rf::Item::flag1:
        case rf::Item::flag2:
        case rf::Item::reserved: return to.put(name, columns, "character", text.size() == 1, "is not one character");
        default: return to.put(name, columns, "number", isRfNumber(text));
    }
}

/// Items between blanks or commas.
void describeFreeRf(Description& to) {
    const std::string_view line = to.text().text();
    std::size_t at = 0;
    for (std::size_t i = 0; i < rf::kItemCount; ++i) {
        at = line.find_first_not_of(" \t", at);
        if (at == std::string_view::npos) return;
        const std::size_t end = std::min(line.find_first_of(" \t,", at), line.size());
        const Columns columns{static_cast<unsigned>(at + 1), static_cast<unsigned>(std::max(end, at + 1))};
        putRfItem(to, static_cast<rf::Item>(i), columns, line.substr(at, end - at));
        at = std::min(line.find_first_not_of(" \t", end), line.size());
        if (at < line.size() && line[at] == ',') ++at;
    }
}

/// The columns in which items are written.
void describeWrittenRf(Description& to) {
    for (std::size_t i = 0; i < rf::kItemCount; ++i) {
        const Columns columns = rf::kItems[i].columns;
        std::string_view text = to.text().at(columns);
        text = text.substr(std::min(text.find_first_not_of(' '), text.size()));
        text = text.substr(0, text.find_last_not_of(' ') + 1);
        putRfItem(to, static_cast<rf::Item>(i), columns, text.empty() && columns.width() == 1 ? " " : text);
    }
}

void describeRf(Description& to) {
    describeFreeRf(to);
    const bool isWritten = std::all_of(rf::kBlanks.begin(), rf::kBlanks.end(),
                                       [&](const Columns& blank) { return to.text().isBlank(blank); });
    if (!isWritten || !to.hasFault()) return;
    to.clear();
    describeWrittenRf(to);
}

struct Kind {
    LineClass lineClass;
    std::string_view name;
    void (*describe)(Description&);
};
constexpr Kind kKinds[] = {
    {LineClass::b3, "B3 card", describeB3},
    {LineClass::b3Extended, "B3E card", describeB3Extended},
    {LineClass::tty, "TTY message", describeTty},
    {LineClass::csv, "CSV line", describeCsv},
    {LineClass::rf, "RF line", describeRf},
    {LineClass::slrBlock, "mark of a block of laser ranges", nullptr},
    {LineClass::slrHeader, "record of a laser-ranging session", nullptr},
    {LineClass::includeFile, "keyword line", nullptr},
    {LineClass::slrSection, "keyword line", nullptr},
    {LineClass::ttyYear, "keyword line", nullptr},
    {LineClass::selection, "keyword line", nullptr},
    {LineClass::dmaMode, "keyword line", nullptr},
};

const Kind* kindOf(const CardText& line) {
    const LineClass lineClass = ObsCardType(line);
    for (const Kind& kind : kKinds)
        if (kind.lineClass == lineClass) return &kind;
    return nullptr;
}

}  // namespace

std::vector<LineColumn> describeLine(const CardText& line1, const CardText& line2) {
    Description to(line1, line2);
    const Kind* const kind = kindOf(line1);
    if (kind != nullptr && kind->describe != nullptr) kind->describe(to);
    else if (kind == nullptr && isClassification(line1.at(1)))
        (line1.text().find(csv::kSeparator) < b3::kDateTime.first ? describeCsv : describeB3)(to);
    return to.take();
}

std::string_view kindOfLine(const CardText& line) {
    if (isCommentOrBlank(line.text())) return "comment";
    const Kind* const kind = kindOf(line);
    if (kind == nullptr) return "not an observation";
    constexpr unsigned kType = b3::kObsType.first;
    const bool isEci =
        kind->lineClass == LineClass::b3 && (upperCase(line.at(kType)) == 'V' || (upperCase(line.at(kType)) == 'P'));
    return isEci ? "ECI card" : kind->name;
}

}  // namespace obs
