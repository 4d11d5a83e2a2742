// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/B3.h"

#include <algorithm>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/ObsCardReading/Cards/B3Quick.h"
#include "Obs/ObsCardReading/Cards/Eci.h"
#include "Obs/ObsStates/Equinox.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr std::string_view kAngleCardTypes = "012345689MO";

bool hasClassification(const CardText& card) { return isClassification(card.at(b3::kSecClass.first)); }

bool hasEciType(const CardText& card) {
    const char type = upperCase(card.at(b3::kObsType.first));
    return type == 'V' || (type == 'P' && card.isBlank(b3::kEciPositionBlank));
}

bool separatorsAreBlank(const CardText& card) {
    return card.at(b3::kSeparator1.first) == ' ' && card.at(b3::kSeparator2.first) == ' ';
}

// --- Validation ------------------------------------------------------------------

bool isInteger(const CardText& card, Columns field) {
    std::int64_t ignored = 0;
    return readInteger(card.at(field), ignored);
}

/// Whether the columns that cards of such types have for numbers hold integers, with or without their sign columns.
bool areIntegers(const CardText& card, ObsTypeSet types, bool withSigns) {
    if (!isInteger(card, b3::kAzimuth) || !isInteger(card, b3::kRange)) return false;
    for (const b3::SignedField& field : b3::kSignedFields)
        if (field.carriedBy.meets(types) && !isInteger(card, withSigns ? field.columns : withoutSign(field.columns)))
            return false;
    return !kSensorPositionTypes.meets(types) ||
           std::all_of(b3::kSensorPosition.begin(), b3::kSensorPosition.end(),
                       [&](const Columns& field) { return isInteger(card, field); });
}

// NOTE: a card may fail with its sign columns and pass without them: overpunched letters are there. That
// types "M" and "O" are not validated is deliberate; what they cannot decode is refused later.
bool isValid(const CardText& card, char type) {
    for (const ObsTypeSet types : {b3::kPlainCardTypes, b3::kSensorCardTypes})
        if (isDigit(type) && types.has(type - '0'))
            return areIntegers(card, types, true) || areIntegers(card, types, false);
    return true;
}

// --- Measurements of a B3 card --------------------------------------------------------

bool readRange(const CardText& card, ObsRecord& rec) {
    double mantissa = 0;
    std::int32_t exponent = 0;
    if (!family::readreal(card.at(b3::kRangeMantissa), 0, mantissa) ||
        !readDigits(card.at(b3::kRangeExponent), exponent))
        return false;
    rec.range = scaled(mantissa, exponent - b3::kRangeExponentBias);
    return true;
}

bool readAzimuth(const CardText& card, ObsRecord& rec) {
    double number = 0;
    if (!family::readreal(card.at(b3::kAzimuth), 0, number)) return false;
    rec.azOrRa = scaled(number, -b3::kAzimuthDecimals);
    return true;
}

bool readSensorPosition(const CardText& card, ObsRecord& rec) {
    for (std::size_t i = 0; i < 3; ++i)
        if (!family::readreal(card.at(b3::kSensorPosition[i]), b3::kSensorPositionDecimals, rec.senPos[i]))
            return false;
    return true;
}

bool readSignedFields(const CardText& card, ObsRecord& rec) {
    for (const b3::SignedField& field : b3::kSignedFields) {
        if (!field.carriedBy.has(rec.obsType)) continue;
        double number = 0;
        if (!readSigned(card.at(field.columns), number)) return false;
        rec.*field.value = scaled(number, -field.decimals);
    }
    return true;
}

/// Types 7 and 10 to 17 carry nothing on a B3 card.
bool readMeasurements(const CardText& card, ObsRecord& rec) {
    const std::int32_t type = rec.obsType;
    if (!readSignedFields(card, rec)) return false;
    if (ObsHasAzEl(type) && !readAzimuth(card, rec)) return false;
    if (ObsHasRaDec(type) && !readRightAscension(card.at(b3::kAzimuth), rec.azOrRa)) return false;
    if (kSensorPositionTypes.has(type) && !readSensorPosition(card, rec)) return false;
    if (b3::kRangeReadTypes.has(type) && !readRange(card, rec)) return false;
    rec.obsType = typeWithRange(type, rec.range);
    return true;
}

Refusal badCard(const CardText& card) { return {"ReadB3: Bad B3 card/", std::string(card.text()), kCardLength, ""}; }

}  // namespace

bool IsB3Format(const CardText& card) {
    if (!hasClassification(card)) return false;
    if (!separatorsAreBlank(card)) return hasEciType(card);
    return kAngleCardTypes.find(upperCase(card.at(b3::kObsType.first))) != std::string_view::npos;
}

double readB3Date(const CardText& card, char (&date)[15]) {
    constexpr unsigned kBeforePoint = 11;
    for (unsigned i = 0, column = b3::kDateTime.first; i < sizeof date; ++i)
        date[i] = i == kBeforePoint ? '.' : card.at(column++);
    return family::dtgtods50({date, sizeof date});
}

bool readB3Tail(const CardText& card, ObsRecord& rec) {
    rec.obsType = family::obstypechartoint(card.at(b3::kObsType.first));
    return readDigits(card.at(b3::kEquinoxInd), rec.equinoxInd) &&
           readDigits(card.at(b3::kIndicator1), rec.indicator1) && readDigits(card.at(b3::kIndicator2), rec.indicator2);
}

bool readB3SatNums(const CardText& card, Columns satNum, ObsRecord& rec) {
    return family::readalpha5(card.at(satNum), rec.satNum) &&
           family::readalpha5(card.at(b3::kAltSatNum1), rec.altSatNum1) &&
           family::readalpha5(card.at(b3::kAltSatNum2), rec.altSatNum2);
}

MaybeRefusal readB3Carefully(const CardText& card, ObsRecord& rec) {
    rec.secClass = card.at(b3::kSecClass.first);
    if (!readDigits(card.at(b3::kSenNum), rec.senNum) || !readB3Tail(card, rec)) return badCard(card);
    if (!isValid(card, card.at(b3::kObsType.first))) return badCard(card);

    char date[15];
    rec.obsTime = readB3Date(card, date);
    if (family::eqr(rec.obsTime, 0.0)) {
        // The message shows the text with its point, which stands nowhere on the card.
        return Refusal{"ReadB3: Bad date time string in B3 card (", std::string(date, sizeof date), 0, ")."};
    }
    // Nothing may become 0 in silence: what the validation let pass and no rule decodes is a bad card.
    if (!readB3SatNums(card, b3::kSatNum, rec) || !readMeasurements(card, rec)) return badCard(card);
    return std::nullopt;
}

MaybeRefusal ReadB3(const CardText& card, ObsRecord& rec) {
    if (!readB3Quick(card, rec)) {
        if (hasClassification(card) && hasEciType(card)) return ReadECIXYZ(card, rec);
        if (MaybeRefusal refusal = readB3Carefully(card, rec)) return refusal;
    }
    rotateIfAsked(rec);
    return std::nullopt;
}

MaybeRefusal ReadB3Ext(const CardText& card, ObsRecord& rec) {
    const std::string_view date = card.at(b3e::kDateTime);
    double hours = 0, minutes = 0, seconds = 0;
    std::int32_t microseconds = 0;
    rec.secClass = 'U';
    const bool read =
        readDigits(card.at(b3e::kSenNum), rec.senNum) && readB3Tail(card, rec) &&
        readB3SatNums(card, b3e::kSatNum, rec) && readDigits(card.at(b3e::kDateMicroseconds), microseconds) &&
        family::readreal(card.at(b3e::kDeclination), b3e::kDecimals, rec.elOrDec) &&
        family::readreal(card.at(b3e::kRaHours), 0, hours) && family::readreal(card.at(b3e::kRaMinutes), 0, minutes) &&
        family::readreal(card.at(b3e::kRaSeconds), b3e::kDecimals, seconds);
    if (!read || card.at(b3::kObsType.first) != b3e::kObsTypeChar)
        return Refusal{"ReadB3Ext: Bad B3E card/", std::string(card.text()), kCardLength, ""};

    // NOTE: the microseconds are added before the check, so that an unreadable date with some passes.
    rec.obsTime = family::dtgtods50(date.substr(0, b3e::kDateToMilliseconds)) + microseconds / 1e6 / 86400.0;
    if (family::eqr(rec.obsTime, 0.0))
        return Refusal{"ReadB3Ext: Bad date time string in B3E card (", std::string(date), b3e::kDateTime.width(),
                       ")."};
    rec.azOrRa = 15.0 * hours + 0.25 * minutes + seconds / 240.0;
    rotateIfAsked(rec);
    return std::nullopt;
}

}  // namespace obs
