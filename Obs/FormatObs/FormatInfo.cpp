// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/FormatInfo.h"

#include <cmath>
#include <limits>

#include "Obs/CardLayouts/B3.h"
#include "Obs/CardLayouts/Crd.h"
#include "Obs/CardLayouts/Csv.h"
#include "Obs/CardLayouts/Eci.h"
#include "Obs/CardLayouts/Rf.h"
#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/CardLayouts/Tty.h"
#include "Obs/FormatObs/SaveFile.h"
#include "Obs/ObsStates/Angles.h"
#include "siblings/include/Constants.h"

namespace obs {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kDegreesPerRaSecond = kTurnDeg / kSecondsPerDay;
constexpr std::int32_t kAny = std::numeric_limits<std::int32_t>::max();
constexpr ObsTypeSet kEciTypes{kTypeEciPosition, kTypeEciPositionVelocity};
constexpr ObsTypeSet kTtyReadTypes = tty::kCard1Types | ObsTypeSet{4} | kSensorPositionTypes;
constexpr ObsTypeSet kCsvTypes{0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
constexpr ObsTypeSet kCrdTypes{kTypeAzElRange, kTypeRange};

constexpr std::int32_t formOf(SaveForm form) { return static_cast<std::int32_t>(form); }

/// In the order of `FormatNumber`.
// clang-format off
constexpr std::array<FormatFacts, kFormatCount> kFormats{{
    {"b3", "B3 cards", formOf(SaveForm::b3), kNoSaveForm, 1, 1, 0, b3::kSecClass.first, kMostAlpha5,
     mostOf(b3::kSenNum.width()), true, false, false, b3::kWrittenTypes | kEciTypes},
    {"tty", "TTY messages", formOf(SaveForm::tty), kNoSaveForm, 1, 2, 0, tty::kSecClass.first, kMostAlpha5,
     mostOf(tty::kSenNum.width()), false, false, false, kTtyReadTypes},
    {"csv", "CSV lines", formOf(SaveForm::csv), kNoSaveForm, 1, 1, 0, 1, kAny, kAny, true, true, false, kCsvTypes},
    {"rf", "RF lines", formOf(SaveForm::rf), kNoSaveForm, 1, 1, 1, 0, mostOf(rf::columnsOf(rf::Item::satNum).width()),
     kAny, true, false, true, {kTypeRf}},
    {"crd", "CRD normal points", kNoSaveForm, 1, 0, 0, 0, 0, kLargestCatalogueNumber, kAny, true, false, false,
     kCrdTypes},
    {"crd", "CRD full-rate data", kNoSaveForm, 0, 0, 0, 0, 0, kLargestCatalogueNumber, kAny, true, false, false,
     kCrdTypes},
}};
// clang-format on

double unitOf(int decimals) { return std::pow(10.0, -decimals); }

/// The elements of a line of some type.
class Elements {
public:
    explicit Elements(std::int32_t type) : type_(type) {}

    /// A field by its member; of three components the first stands for all.
    template <auto kMember>
    void put(Fineness fineness, ObsTypeSet types = fieldlist::kAll) {
        if (!types.has(type_)) return;
        constexpr auto kFirst = static_cast<std::size_t>(kFactsOf<kMember>.element);
        const std::size_t count = FieldPlace<kMember, 0>::isComponent ? 3 : 1;
        for (std::size_t i = kFirst; i < kFirst + count; ++i) elements_[i] = fineness;
    }
    template <auto... kMembers>
    void putAsTheyAre() {
        (put<kMembers>({Fineness::kAsItIs, 0}), ...);
    }
    /// A field of a table, which has its member by value.
    void putReal(double ObsRecord::*member, Fineness fineness, ObsTypeSet types) {
        forEachFieldOf<ObsFields>([&](auto field) {
            if constexpr (field.facts.element != kNoElement && field.isReal && !field.isComponent)
                if (types.has(type_) && &field.in(record_) == &(record_.*member))
                    elements_[field.facts.element] = fineness;
        });
    }
    void putElement(std::size_t element, Fineness fineness) { elements_[element] = fineness; }

    const FinenessOfElements& all() const { return elements_; }

private:
    std::int32_t type_;
    ObsRecord record_;
    FinenessOfElements elements_;
};

constexpr Fineness toUnit(double unit) { return {unit, 0}; }
constexpr Fineness toDigits(int digits) { return {Fineness::kAsItIs, digits}; }

void putB3(Elements& elements, std::int32_t type) {
    elements.putAsTheyAre<&ObsFields::secClass, &ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsType>();
    if (type != kTypeEciPositionVelocity)
        elements.putAsTheyAre<&ObsFields::indicator1, &ObsFields::indicator2, &ObsFields::altSatNum1,
                              &ObsFields::altSatNum2>();
    elements.put<&ObsFields::obsTime>(toUnit(unitOf(b3::kSecondsDecimals) / kSecondsPerDay));
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

Fineness finenessOf(const tty::Measurement& field) {
    switch (field.coding) {
        case tty::Coding::kRightAscension: return toUnit(unitOf(field.decimals) * kDegreesPerRaSecond);
        case tty::Coding::kRange: return {unitOf(tty::kRangeExponentBias), static_cast<int>(field.columns.width()) - 1};
        default: return toUnit(unitOf(field.decimals));
    }
}

void putTty(Elements& elements) {
    elements.putAsTheyAre<&ObsFields::secClass, &ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsType,
                          &ObsFields::indicator1>();
    elements.put<&ObsFields::obsTime>(toUnit(unitOf(tty::kSecondsDecimals) / kSecondsPerDay));
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

void putCsv(Elements& elements, std::int32_t type) {
    elements.putAsTheyAre<&ObsFields::obsTime>();
    forEachField([&](auto field) {
        if constexpr (field.facts.csv != 0 && field.facts.element != kNoElement)
            if (!field.isComponent || kSensorPositionTypes.has(type))
                elements.putElement(field.facts.element, field.isReal ? toDigits(csv::kFewestDigits) : toUnit(0));
    });
}

void putRf(Elements& elements) {
    constexpr int kDigits = rf::kMeasurementDecimals + 1;
    elements.putAsTheyAre<&ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsType>();
    elements.put<&ObsFields::obsTime>(toUnit(unitOf(rf::kFractionDecimals) / kSecondsPerDay));
    elements.put<&ObsFields::range>(toDigits(kDigits));
    elements.put<&ObsFields::rangeRate>(toDigits(kDigits));
}

void putCrd(Elements& elements) {
    constexpr ObsTypeSet kWithAngles{kTypeAzElRange};
    elements.putAsTheyAre<&ObsFields::satNum, &ObsFields::senNum, &ObsFields::obsTime, &ObsFields::obsType,
                          &ObsFields::indicator2>();
    elements.put<&ObsFields::elOrDec>(toUnit(unitOf(crd::kAngleDecimals)), kWithAngles);
    elements.put<&ObsFields::azOrRa>(toUnit(unitOf(crd::kAngleDecimals)), kWithAngles);
    elements.put<&ObsFields::range>(toUnit(family::speedoflightkms() * crd::kFlightUnitS / 2));
}

}  // namespace

const FormatFacts& formatFacts(FormatNumber format) { return kFormats[static_cast<std::size_t>(format)]; }

FinenessOfElements finenessOf(FormatNumber format, std::int32_t type) {
    Elements elements(type);
    switch (format) {
        case FormatNumber::b3: putB3(elements, type); break;
        case FormatNumber::tty: putTty(elements); break;
        case FormatNumber::csv: putCsv(elements, type); break;
        case FormatNumber::rf: putRf(elements); break;
        case FormatNumber::crdNormalPoints:
        case FormatNumber::crdFullRate: putCrd(elements); break;
    }
    return elements.all();
}

}  // namespace obs
