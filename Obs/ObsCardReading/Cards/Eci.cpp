// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Eci.h"

#include <cmath>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/CardNumbers.h"
#include "Obs/CardLayouts/Eci.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Coords.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

/// One component. What is out of range is refused, be it too great or too small to tell from 0; and so is a number
/// without a point in a field that the line does not fill, whose decimals nobody could place.
bool readComponent(const CardText& card, Columns field, int decimals, double& value) {
    constexpr double kMax = 1e15;
    const std::string_view text = card.at(field);
    const bool isCut = card.text().size() < field.last && text.find('.') == std::string_view::npos;
    if (isCut || card.isBlank(field) || !family::readreal(text, decimals, value) || !(std::abs(value) <= kMax))
        return false;
    const std::string_view mantissa = text.substr(0, text.find_first_of("EeDd"));
    return value != 0 || mantissa.find_first_of("123456789") == std::string_view::npos;
}

/// Three components. NOTE: a blank one is none, where blank fields of other cards are 0: an observation that is
/// nothing but a position has no component to spare.
bool readComponents(const CardText& card, Columns first, int decimals, Vector3& values) {
    double* value = values.data();
    for (const Columns& field : eci::components(first))
        if (!readComponent(card, field, decimals, *value++)) return false;
    return true;
}

bool readPositionVelocity(const CardText& card, ObsRecord& rec) {
    rec.obsType = kTypeEciPositionVelocity;
    return family::readalpha5(card.at(b3::kSatNum), rec.satNum) &&
           readComponents(card, eci::kPosition, eci::kPositionDecimals, rec.satPos) &&
           readComponents(card, eci::kVelocity, eci::kVelocityDecimals, rec.satVel);
}

bool readPosition(const CardText& card, ObsRecord& rec) {
    Vector3 earthRadii;
    if (!readB3Tail(card, rec) || !readB3SatNums(card, b3::kSatNum, rec) ||
        !readComponents(card, eci::kCanonicalPosition, eci::kCanonicalPositionDecimals, earthRadii))
        return false;
    family::fromcanonicalpos(earthRadii.data(), rec.satPos.data());
    return std::isfinite(rec.satPos[0] + rec.satPos[1] + rec.satPos[2]);
}

Refusal badCard(const CardText& card) {
    return {"ReadECIXYZ: Bad ECI card/", std::string(card.text()), kCardLength, ""};
}

}  // namespace

MaybeRefusal ReadECIXYZ(const CardText& card, ObsRecord& rec) {
    rec.secClass = card.at(b3::kSecClass.first);
    if (!readDigits(card.at(b3::kSenNum), rec.senNum)) return badCard(card);
    char date[15];
    rec.obsTime = readB3Date(card, date);
    if (family::eqr(rec.obsTime, 0.0))
        return Refusal{"ReadECIXYZ: Bad date time string in ECI card (", std::string(date, sizeof date), 0, ")."};
    const bool withVelocity = upperCase(card.at(b3::kObsType.first)) == 'V';
    if (!(withVelocity ? readPositionVelocity(card, rec) : readPosition(card, rec))) return badCard(card);
    return std::nullopt;
}

}  // namespace obs
