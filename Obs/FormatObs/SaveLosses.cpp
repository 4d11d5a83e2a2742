// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/SaveLosses.h"

#include <array>
#include <cmath>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/Csv.h"
#include "Obs/CardLayouts/Rf.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/FormatObs/CardFields.h"
#include "Obs/ObsCardReading/Cards/Csv.h"
#include "Obs/ObsCardReading/Cards/Rf.h"
#include "siblings/include/Sensors.h"

namespace obs {

namespace {

struct Row {
    SaveLoss loss;
    SaveLossKind kind;
    const char* reason;
};

/// In the order of `SaveLoss`.
constexpr std::array<Row, kSaveLosses> kRows{{
    {SaveLoss::csvType7, SaveLossKind::leftOut, "CSV lines do not have type 7"},
    {SaveLoss::csvValue, SaveLossKind::leftOut, "a value, time or character that no CSV line can hold"},
    {SaveLoss::rfNoRfPart, SaveLossKind::leftOut, "no RF observation"},
    {SaveLoss::rfSensor, SaveLossKind::leftOut, "a sensor that is not known, so RF lines cannot name it"},
    {SaveLoss::crdType, SaveLossKind::leftOut, "CRD files hold types 2 and 6 alone"},
    {SaveLoss::crdSatellite, SaveLossKind::leftOut, "no satellite number that CRD files can hold"},
    {SaveLoss::crdTime, SaveLossKind::leftOut, "a time outside the years that CRD files can hold"},
    {SaveLoss::crdRange, SaveLossKind::leftOut, "no range, or one of more than half a day of flight"},
    {SaveLoss::crdAngles, SaveLossKind::leftOut, "angles beyond a circle or the zenith"},
    {SaveLoss::crdStation, SaveLossKind::leftOut, "a sensor that is not a laser station"},
    {SaveLoss::notOfForm, SaveLossKind::leftOut, "what the form does not have, its type or a value"},
    {SaveLoss::classification, SaveLossKind::unreadable, "a classification other than U, C and S"},
    {SaveLoss::typeOfCard, SaveLossKind::unreadable, "a type that B3 cards do not have"},
    {SaveLoss::typeOfTty, SaveLossKind::unreadable, "TTY messages of types 10 and 11 are not read as they are written"},
    {SaveLoss::emptyType7, SaveLossKind::unreadable, "a type 7 without a position and a velocity"},
    {SaveLoss::noSatellite, SaveLossKind::unreadable, "no satellite number where the form has one"},
    {SaveLoss::time, SaveLossKind::unreadable, "a time outside the years that the form can hold"},
    {SaveLoss::sensorOfTty, SaveLossKind::unreadable, "a sensor number over 999, which TTY messages cannot hold"},
    {SaveLoss::site, SaveLossKind::unreadable, "a site whose first eight characters name no sensor"},
    {SaveLoss::number, SaveLossKind::unreadable, "a number that does not fit its columns"},
    {SaveLoss::sensorOfB3, SaveLossKind::sensor,
     "a sensor number over 999, of which B3 cards hold the last three digits"},
    {SaveLoss::otherSite, SaveLossKind::sensor, "a site whose first eight characters name another sensor"},
    {SaveLoss::valuesOfTty, SaveLossKind::type, "a type of whose values TTY messages hold none"},
    {SaveLoss::type7OfTty, SaveLossKind::type, "type 7, which comes back from a TTY message as type 4"},
    {SaveLoss::typeOfRf, SaveLossKind::type, "another type than R, which RF lines make of it"},
    {SaveLoss::anglesOfCrd, SaveLossKind::type, "angles of 0, which CRD files have for none"},
    {SaveLoss::position, SaveLossKind::position, "a position or velocity for which the form has no place"},
    {SaveLoss::site1OfRf, SaveLossKind::site,
     "another site 1 than the observation's own sensor, which RF lines name twice"},
    {SaveLoss::site1OfCsv, SaveLossKind::site, "a site 1, for which CSV lines have no place"},
    {SaveLoss::exponent, SaveLossKind::exponent,
     "a component below 0.1, whose negative exponent TTY messages write as a positive one"},
}};
static_assert([] {
    for (unsigned i = 0; i < kSaveLosses; ++i)
        if (static_cast<unsigned>(kRows[i].loss) != i) return false;
    return true;
}());

constexpr LossSet allOf(SaveLossKind kind) {
    LossSet losses = 0;
    for (const Row& row : kRows) losses |= lossIf(row.kind == kind, row.loss);
    return losses;
}
constexpr LossSet kUnreadable = allOf(SaveLossKind::unreadable);

LossSet told(LossSet losses) { return (losses & kUnreadable) != 0 ? losses & kUnreadable : losses; }

bool hasAsterisk(std::string_view text) { return text.find('*') != std::string_view::npos; }

/// What is written as asterisks, and is read neither from a card nor from a line.
LossSet lossesOfAsterisks(std::string_view text, char firstOfTime) {
    if (!hasAsterisk(text)) return 0;
    return firstOfTime == '*' ? lossIf(true, SaveLoss::time) : lossIf(true, SaveLoss::number);
}

/// The vectors that a card of a type has columns for.
using VectorsOfTypes = std::array<std::uint8_t, 20>;
constexpr VectorsOfTypes vectorsOfTypes(std::initializer_list<std::pair<ObsTypeSet, VectorSet>> columns) {
    VectorsOfTypes vectors{};
    for (const auto& [types, bits] : columns)
        for (std::int32_t type = 0; type < 20; ++type)
            if (types.has(type)) vectors[static_cast<std::size_t>(type)] |= static_cast<std::uint8_t>(bits);
    return vectors;
}
constexpr VectorsOfTypes kOnB3 = vectorsOfTypes({{kSensorPositionTypes, kSenPosBit},
                                                 {{kTypeEciPosition, kTypeEciPositionVelocity}, kSatPosBit},
                                                 {{kTypeEciPositionVelocity}, kSatVelBit}});
constexpr VectorsOfTypes kOnTty =
    vectorsOfTypes({{kSensorPositionTypes, kSenPosBit}, {{kTypePositionVelocity}, kSenPosBit | kSenVelBit}});

LossSet lossesOfVectors(VectorSet vectors, const VectorsOfTypes& places, std::int32_t type) {
    if (vectors == 0) return 0;
    const VectorSet placed = type >= 0 && type < 20 ? places[static_cast<std::size_t>(type)] : 0;
    return lossIf((vectors & ~placed) != 0, SaveLoss::position);
}

/// NOTE: the exponent of a TTY component is a character of which the reader takes digits alone, see the writer.
LossSet lossesOfTtyVectors(const ObsRecord& rec) {
    constexpr int kMaxExponent = 6;
    LossSet losses = 0;
    for (const tty::Vector& vector : tty::kVectorsOnCard2) {
        if (!vector.carriedBy.has(rec.obsType)) continue;
        for (std::size_t i = 0; i < 3; ++i) {
            const double value = (rec.*vector.value)[i];
            if (isUsualComponent(value) || !std::isfinite(value)) continue;
            const auto digits = static_cast<int>(vector.columns[i].width()) - 2;
            const int exponent = significantDigits(value, digits).exponent;
            losses |= lossIf(exponent < 0, SaveLoss::exponent) | lossIf(exponent > kMaxExponent, SaveLoss::number);
        }
    }
    return losses;
}

/// What a line whose time is unusual says to its reader.
bool isTimeRefused(std::string_view csvLine) {
    ObsRecord readBack;
    return ReadCsv(csvLine, readBack).has_value();
}
bool isTimeLost(std::string_view rfLine, double timeDs50) {
    constexpr double kSecond = 1 / 86400.0;
    return !(std::fabs(parserftime(rfLine.substr(0, rf::kTimeLength)) - timeDs50) < kSecond);
}

}  // namespace

SaveLossKind kindOf(SaveLoss loss) { return kRows[static_cast<unsigned>(loss)].kind; }

const char* reasonOf(SaveLoss loss) { return kRows[static_cast<unsigned>(loss)].reason; }

LossSet lossesOfUnusualB3(const ObsRecord& rec, VectorSet vectors, std::string_view card) {
    const bool isPositionVelocity = rec.obsType == kTypeEciPositionVelocity;  // whose card has one satellite number
    const bool hasCard = b3::kWrittenTypes.has(rec.obsType) || isPositionVelocity || rec.obsType == kTypeEciPosition;
    const std::int32_t others = isPositionVelocity ? 0 : rec.altSatNum1 | rec.altSatNum2;
    return told(lossIf(!isClassification(rec.secClass), SaveLoss::classification) |
                lossIf(!hasCard, SaveLoss::typeOfCard) | lossIf((rec.satNum | others) == 0, SaveLoss::noSatellite) |
                lossesOfAsterisks(card.substr(b3::kSatNum.offset()), card[b3::kDateTime.offset()]) |
                lossIf(rec.senNum > kMaxOfThreeDigits, SaveLoss::sensorOfB3) |
                lossesOfVectors(vectors, kOnB3, rec.obsType));
}

LossSet lossesOfUnusualTty(const ObsRecord& rec, VectorSet vectors, std::string_view card1, std::string_view card2) {
    const bool hasValues = tty::kCard1Types.has(rec.obsType) || rec.obsType == kTypeAllRates ||
                           rec.obsType == kTypePositionVelocity || kSensorPositionTypes.has(rec.obsType);
    const bool isOnCard1 = tty::kTimeOnCard1WrittenTypes.has(rec.obsType);
    const char firstOfTime = isOnCard1 ? card1[tty::kTimeOnCard1.offset()] : card2[tty::kTimeOnCard2.offset()];
    const bool isSensorCut = rec.senNum > kMaxOfThreeDigits;
    const bool isType7 = rec.obsType == kTypePositionVelocity;
    const bool isMoving = (vectors & kSenPosBit) != 0 && (vectors & kSenVelBit) != 0;
    LossSet losses = lossIf(isType7, SaveLoss::type7OfTty) | lossIf(isType7 && !isMoving, SaveLoss::emptyType7) |
                     lossIf(tty::kSatPosTypes.has(rec.obsType), SaveLoss::typeOfTty) |
                     lossIf(rec.satNum == 0, SaveLoss::noSatellite) | lossIf(isSensorCut, SaveLoss::sensorOfTty) |
                     lossIf(!hasValues, SaveLoss::valuesOfTty) |
                     (vectors == 0 ? 0 : lossesOfVectors(vectors, kOnTty, rec.obsType) | lossesOfTtyVectors(rec));
    if (!isSensorCut)
        losses |= lossesOfAsterisks(card1.substr(tty::kIndicator1.offset()), firstOfTime) |
                  (isOnCard1 ? 0 : lossesOfAsterisks(card2, firstOfTime));
    return told(losses);
}

LossSet lossesOfUnusualCsv(const ObsRecord& rec, VectorSet vectors, std::string_view line) {
    return told(lossIf(!isClassification(rec.secClass), SaveLoss::classification) |
                lossIf(!isUsualTime(rec.obsTime) && isTimeRefused(line), SaveLoss::time) |
                lossIf((rec.satNum | rec.altSatNum1 | rec.altSatNum2) == 0, SaveLoss::noSatellite) |
                lossIf((vectors & ~kSenPosBit) != 0, SaveLoss::position) |
                lossIf(rec.rfData && rec.rfData->site1SenNum != 0, SaveLoss::site1OfCsv));
}

LossSet SitesReadBack::losses(std::string_view line, std::int32_t senNum) {
    Site& site = sites_[static_cast<std::uint32_t>(senNum) % sites_.size()];
    if (site.senNum == senNum) return site.losses;
    constexpr Columns kColumns = rf::columnsOf(rf::Item::site2);
    const std::string_view name = line.substr(kColumns.offset(), kColumns.width());
    const std::int64_t found = family::desctokey(name.substr(0, name.find_last_not_of(' ') + 1));
    site = {senNum, lossIf(found == -1, SaveLoss::site) | lossIf(found != -1 && found != senNum, SaveLoss::otherSite)};
    return site.losses;
}

LossSet lossesOfRf(const ObsRecord& rec, VectorSet vectors, std::string_view line, SitesReadBack& sites) {
    constexpr rf::Item kNumbers[] = {
        rf::Item::rangeM, rf::Item::rangeSigmaM, rf::Item::rangeRateMs, rf::Item::rangeRateSigmaMs, rf::Item::delay1,
        rf::Item::delay2, rf::Item::satNum,      rf::Item::rf,          rf::Item::processTime,      rf::Item::snr};
    LossSet losses = lossIf(!isUsualTime(rec.obsTime) && isTimeLost(line, rec.obsTime), SaveLoss::time) |
                     lossIf(rec.satNum == 0, SaveLoss::noSatellite) | sites.losses(line, rec.senNum) |
                     lossIf(rec.obsType != kTypeRf, SaveLoss::typeOfRf) | lossIf(vectors != 0, SaveLoss::position) |
                     lossIf(rec.rfData->site1SenNum != rec.senNum, SaveLoss::site1OfRf);
    for (const rf::Item item : kNumbers) losses |= lossIf(line[rf::columnsOf(item).offset()] == '*', SaveLoss::number);
    return told(losses);
}

LossSet lossesOfCrd(VectorSet vectors, bool anglesLost) {
    return lossIf(anglesLost, SaveLoss::anglesOfCrd) | lossIf(vectors != 0, SaveLoss::position);
}

}  // namespace obs
