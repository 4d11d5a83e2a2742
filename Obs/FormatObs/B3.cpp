// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/B3.h"

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/Eci.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Constants.h"
#include "siblings/include/Coords.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

/// NOTE: TTY cards have no second indicator and give 9 for "not given", which a B3 card shows as a blank.
constexpr std::int32_t kIndicatorNotGiven = 9;

void putSatNum(const CardWriter& card, Columns columns, std::int32_t satNum) {
    family::numtoalpha5(satNum, card.at(columns));
    noteAsterisks(card.at(columns));
}

void putHead(const ObsRecord& rec, const CardWriter& card) {
    *card.at(b3::kSecClass) = GetClassChar(rec.secClass);
    putSatNum(card, b3::kSatNum, rec.satNum);
    // NOTE: the column holds three digits, so a sensor number loses its thousands on purpose.
    putDigits(card.at(b3::kSenNum), b3::kSenNum.width(), rec.senNum % 1000);
    family::ds50todate14(rec.obsTime, card.at(b3::kDateTime));
    noteAsterisks(card.at(b3::kDateTime));
}

void putTail(const ObsRecord& rec, char type, const CardWriter& card) {
    *card.at(b3::kObsType) = type;
    if (ObsHasRaDec(rec.obsType) && rec.equinoxInd != 0) *card.at(b3::kEquinoxInd) = oneDigit(rec.equinoxInd);
    *card.at(b3::kIndicator1) = oneDigit(rec.indicator1);
    if (rec.indicator2 != kIndicatorNotGiven) *card.at(b3::kIndicator2) = oneDigit(rec.indicator2);
    putSatNum(card, b3::kAltSatNum1, rec.altSatNum1);
    putSatNum(card, b3::kAltSatNum2, rec.altSatNum2);
}

void putRange(const ObsRecord& rec, const CardWriter& card) {
    GetRangeStr(card.at(b3::kRangeMantissa), rec.range);
    if (kSensorPositionTypes.has(rec.obsType) && rec.range == 0) *card.at(b3::kRangeExponent) = ' ';
}

void putMeasurements(const ObsRecord& rec, const CardWriter& card) {
    for (const b3::SignedField& field : b3::kSignedFields)
        if (field.carriedBy.has(rec.obsType))
            GetOverpunchStr(rec.*field.value, static_cast<int>(field.columns.width()) - field.decimals, field.decimals,
                            card.at(field.columns));
    if (ObsHasAzEl(rec.obsType)) GetAzimuthStr(card.at(b3::kAzimuth), rec.azOrRa);
    if (ObsHasRaDec(rec.obsType)) GetRightAscensionStr(card.at(b3::kAzimuth), rec.azOrRa);
    if (b3::kRangeWrittenTypes.has(rec.obsType)) putRange(rec, card);
    if (kSensorPositionTypes.has(rec.obsType))
        for (std::size_t i = 0; i < 3; ++i) GetPosStr(card.at(b3::kSensorPosition[i]), rec.senPos[i]);
}

void putComponents(const CardWriter& card, Columns first, int decimals, const double* values) {
    for (const Columns& field : eci::components(first)) putFixed(card.at(field), field.width(), decimals, *values++);
}

void putEciPositionVelocity(const ObsRecord& rec, const CardWriter& card) {
    putComponents(card, eci::kPosition, eci::kPositionDecimals, rec.satPos.data());
    *card.at(b3::kObsType) = 'V';
    putComponents(card, eci::kVelocity, eci::kVelocityDecimals, rec.satVel.data());
}

void putEciPosition(const ObsRecord& rec, const CardWriter& card) {
    double earthRadii[3];
    family::tocanonicalpos(rec.satPos.data(), earthRadii);
    putComponents(card, eci::kCanonicalPosition, eci::kCanonicalPositionDecimals, earthRadii);
    putTail(rec, 'P', card);
}

}  // namespace

MaybeRefusal CreateB3Obs(const ObsRecord& rec, CardLines& lines) {
    const CardWriter card(lines.text[0]);
    lines.length = {b3::kCardColumns, 0};
    putHead(rec, card);
    if (rec.obsType == kTypeEciPositionVelocity) {
        putEciPositionVelocity(rec, card);
        lines.length[0] = eci::kCardColumns;
    } else if (rec.obsType == kTypeEciPosition) {
        putEciPosition(rec, card);
    } else if (b3::kWrittenTypes.has(rec.obsType)) {
        putTail(rec, GetTypeChar(rec.obsType), card);
        putMeasurements(rec, card);
    }
    return std::nullopt;
}

void finenessOfB3(Elements& elements) {
    elements.putAsTheyAre<&ObsFields::secClass, &ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsType>();
    if (elements.type() != kTypeEciPositionVelocity)
        elements.putAsTheyAre<&ObsFields::indicator1, &ObsFields::indicator2, &ObsFields::altSatNum1,
                              &ObsFields::altSatNum2>();
    elements.put<&ObsFields::obsTime>(toUnit(unitOf(b3::kSecondsDecimals) / kSecondsOfDay));
    elements.put<&ObsFields::equinoxInd>(toUnit(0), kRaDecTypes);
    for (const b3::SignedField& field : b3::kSignedFields)
        elements.putReal(field.value, toUnit(unitOf(field.decimals)), field.carriedBy);
    elements.put<&ObsFields::azOrRa>(toUnit(unitOf(b3::kAzimuthDecimals)), kAzElTypes);
    elements.put<&ObsFields::azOrRa>(toUnit(unitOf(b3::kRightAscensionDecimals) * kDegreesPerRaSecond), kRaDecTypes);
    elements.put<&ObsFields::range>({unitOf(b3::kRangeExponentBias), static_cast<int>(b3::kRangeMantissa.width())},
                                    b3::kRangeWrittenTypes);
    elements.put<&ObsFields::senPos>(toUnit(unitOf(b3::kSensorPositionDecimals)), kSensorPositionTypes);
    elements.put<&ObsFields::satPos>(toUnit(unitOf(eci::kCanonicalPositionDecimals) * family::earthradiuskm()),
                                     {kTypeEciPosition});
    elements.put<&ObsFields::satPos>(toUnit(unitOf(eci::kPositionDecimals)), {kTypeEciPositionVelocity});
    elements.put<&ObsFields::satVel>(toUnit(unitOf(eci::kVelocityDecimals)), {kTypeEciPositionVelocity});
}

}  // namespace obs
